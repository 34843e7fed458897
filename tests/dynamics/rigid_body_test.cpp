// The rigid-body model against KDL, and against what holds for any such model.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "support/fixture.h"
#include "support/rigid_body.h"
#include "tmczvoutputmcg.h"

namespace {

using ref::ArmState;
using ref::singleTerms;
using ref::SingleTerms;
using ref::torque;
using tarn::ParameterSet;
using Matrix6 = Eigen::Matrix<double, 6, 6>;
using Vector6 = Eigen::Matrix<double, 6, 1>;

constexpr double kRadian = M_PI / 180;

struct Terms {
    Matrix6 M, C;
    Vector6 G;
};

Terms terms(const ParameterSet& set, const ArmState& at) {
    Terms t;
    output_MCG(set.paramSDH, at.q, at.qd, at.qdd, set.inparaM, set.inparaC, set.inparaI, set.inparaIj,
               at.load, at.gravity, t.M.data(), t.C.data(), t.G.data());
    return t;
}

Vector6 speed(const ArmState& at) { return Eigen::Map<const Vector6>(at.qd) * kRadian; }

template <typename A, typename B>
double distance(const A& a, const B& b) {
    const double d = (a.template cast<double>() - b).cwiseAbs().maxCoeff();
    return std::isnan(d) ? fixture::kInf : d;
}

TEST(RigidBody, EveryStandardSetAgreesWithKdl) {
    ref::StateDraw draw;
    for (int k = 0; k < 2000; k++) {
        const ParameterSet& set = *ref::kStandardSets[k % std::size(ref::kStandardSets)];
        SCOPED_TRACE(testing::Message() << set.name << ", state " << k);
        const ArmState at = draw();
        const ref::Dynamics want = ref::dynamics(set, at);
        const double inertia = want.mass.cwiseAbs().maxCoeff();

        const Terms ours = terms(set, at);
        ASSERT_LT(distance(ours.M, want.mass), 1e-9 * inertia);
        ASSERT_EQ(ours.M, ours.M.transpose());
        ASSERT_LT(distance(ours.C * speed(at), want.coriolisTorque), 1e-9 * want.largest);
        ASSERT_LT(distance(ours.G, want.gravity), 1e-9 * want.largest);

        const SingleTerms single = singleTerms(set, at);
        const double tolerance = 2e-5;
        ASSERT_LT(distance(single.tau, want.torque), tolerance * want.largest);
        ASSERT_LT(distance(single.G, want.gravity), tolerance * want.largest);
        ASSERT_LT(distance(single.M, want.mass), tolerance * inertia);
        ASSERT_LT(distance(single.C, ours.C), tolerance * ours.C.cwiseAbs().maxCoeff());
    }
}

TEST(RigidBody, OffsetShapeAndBuiltInArmAgreeWithKdl) {
    ref::StateDraw draw;
    for (const ParameterSet& set : {tarn::kSetPQ1, ref::builtInArm()})
        for (int k = 0; k < 1000; k++) {
            const ArmState at = draw();
            const ref::Dynamics want = ref::dynamics(set, at);
            ASSERT_LT(distance(torque(set, at), want.torque), 1e-9 * want.largest)
                << set.name << ", state " << k;
        }
}

// C(i, j) = sum over k of half (dM_ij/dq_k + dM_ik/dq_j - dM_jk/dq_i) qd_k, which makes dM/dt - 2 C
// skew-symmetric.
TEST(RigidBody, CoriolisMatrixIsOfChristoffelForm) {
    ref::StateDraw draw;
    for (const ParameterSet* set : ref::kStandardSets) {
        const ArmState at = draw();
        const double step = 0.01;  // degrees
        Matrix6 slope[6];          // of M by joint
        for (int k = 0; k < 6; k++) {
            ArmState before = at, after = at;
            before.q[k] -= step;
            after.q[k] += step;
            slope[k] = (terms(*set, after).M - terms(*set, before).M) / (2 * step * kRadian);
        }
        Matrix6 want = Matrix6::Zero(), rate = want;
        const Vector6 qd = speed(at);
        for (int k = 0; k < 6; k++) {
            rate += slope[k] * qd[k];
            for (int i = 0; i < 6; i++)
                for (int j = 0; j < 6; j++)
                    want(i, j) += (slope[k](i, j) + slope[j](i, k) - slope[i](j, k)) * qd[k] / 2;
        }
        const Matrix6 C = terms(*set, at).C;
        const double scale = C.cwiseAbs().maxCoeff();
        EXPECT_LT(distance(C, want), 1e-7 * scale) << set->name;
        EXPECT_LT(distance(C + C.transpose(), rate), 1e-7 * scale) << set->name;
        ArmState still = at;
        std::fill_n(still.qd, 6, 0.0);
        EXPECT_EQ(terms(*set, still).C, Matrix6::Zero()) << set->name;
    }
}

// A body's second moments are those of a cloud of particles: no negative principal one.
bool possible(const double* t) {
    Eigen::Matrix3d tensor;
    tensor << t[0], t[1], t[2], t[1], t[3], t[4], t[2], t[4], t[5];
    const Eigen::Matrix3d second = tensor.trace() / 2 * Eigen::Matrix3d::Identity() - tensor;
    return Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d>(second).eigenvalues()[0] > 0;
}

// With bodies that can exist, M is positive definite even without the rotors.
TEST(RigidBody, AllLinksButTwoAreBodiesThatCanExist) {
    std::vector<ParameterSet> sets = {tarn::kSetPQ1, ref::builtInArm()};
    for (const ParameterSet* set : ref::kStandardSets) sets.push_back(*set);
    std::set<std::string> impossible;
    for (const ParameterSet& set : sets)
        for (int k = 0; k < 6; k++)
            if (!possible(set.inparaI + 6 * k))
                impossible.insert(std::string(set.name) + " link " + std::to_string(k + 1));
    // documented with the model
    EXPECT_EQ(impossible, (std::set<std::string>{"A3 link 6", "PQ1 link 6"}));
}

// Ten seconds of a free swing without friction or rotors, by Runge and Kutta's rule: kinetic energy by the
// own mass matrix, potential energy by KDL.
TEST(RigidBody, FreeSwingKeepsItsEnergy) {
    ref::StateDraw draw;
    for (const ParameterSet* named : {&tarn::kSetB, &tarn::kSetE}) {
        ParameterSet set = *named;
        std::fill_n(set.inparaIj, 6, 0.0);
        ArmState at = draw();
        std::fill_n(at.qd, 6, 0.0);
        Vector6 q = Eigen::Map<const Vector6>(at.q) * kRadian, qd = Vector6::Zero();
        const auto model = [&](const Vector6& angle, const Vector6& rate) {
            Eigen::Map<Vector6>(at.q) = angle / kRadian;
            Eigen::Map<Vector6>(at.qd) = rate / kRadian;
            return terms(set, at);
        };
        const auto accel = [&](const Vector6& angle, const Vector6& rate) -> Vector6 {
            const Terms t = model(angle, rate);
            const Eigen::LLT<Matrix6> mass(t.M);
            EXPECT_EQ(mass.info(), Eigen::Success) << set.name << ": not positive definite";
            return -mass.solve(t.C * rate + t.G);
        };
        const auto energy = [&] {
            const double kinetic = qd.dot(model(q, qd).M * qd) / 2;
            return kinetic + ref::potentialEnergy(set, at);
        };
        const double start = energy(), h = 0.00025;
        double fastest = 0;
        for (int k = 0; k < 40000; k++) {
            const Vector6 a1 = accel(q, qd), v2 = qd + h / 2 * a1;
            const Vector6 a2 = accel(q + h / 2 * qd, v2), v3 = qd + h / 2 * a2;
            const Vector6 a3 = accel(q + h / 2 * v2, v3), v4 = qd + h * a3;
            const Vector6 a4 = accel(q + h * v3, v4);
            q += h / 6 * (qd + 2 * v2 + 2 * v3 + v4);
            qd += h / 6 * (a1 + 2 * a2 + 2 * a3 + a4);
            fastest = std::max(fastest, qd.norm());
        }
        EXPECT_GT(fastest, 3) << set.name << ": did not swing";
        EXPECT_NEAR(energy(), start, 1e-3) << set.name;
    }
}

TEST(RigidBody, SignsOfLengthsRestAnEmptyFlangeAndNonFiniteInput) {
    ref::StateDraw draw;
    ArmState at = draw();
    ParameterSet set = tarn::kSetB;
    const Terms before = terms(set, at);
    ParameterSet offset = tarn::kSetPQ1;
    const Vector6 torqueBefore = torque(offset, at);
    for (int i : {1, 2}) {
        set.paramSDH[i] *= -1;
        offset.paramSDH[i] *= -1;
    }
    EXPECT_EQ(terms(set, at).M, before.M);
    EXPECT_EQ(torque(offset, at), torqueBefore);

    // at rest: the holding torque, to the last bit
    std::fill_n(at.qd, 6, 0.0);
    std::fill_n(at.qdd, 6, 0.0);
    const SingleTerms single = singleTerms(set, at);
    EXPECT_EQ(single.tau, single.G);

    // no mass at the flange: nothing is a number
    at.load[0] = set.inparaM[5] = 0;
    const Terms massless = terms(set, at);
    EXPECT_FALSE(massless.M.array().isFinite().any());
    EXPECT_FALSE(massless.G.array().isFinite().any());
    offset.inparaM[5] = 0;
    EXPECT_FALSE(torque(offset, at).array().isFinite().any());

    for (const double bad : {fixture::kNan, fixture::kInf}) {
        ArmState wild = draw();
        wild.q[3] = wild.qd[1] = wild.qdd[2] = wild.load[2] = wild.gravity[1] = bad;
        EXPECT_FALSE(std::isfinite(torque(tarn::kSetPQ1, wild)[0]));
        EXPECT_FALSE(std::isfinite(singleTerms(tarn::kSetB, wild).tau[0]));
    }
}

TEST(ComMatrices, AreTheBareArmOfFamilyBOnTheFloorInRadians) {
    double store[36], *rows[6];
    for (int i = 0; i < 6; i++) rows[i] = store + 6 * i;
    using RowMajor = Eigen::Matrix<double, 6, 6, Eigen::RowMajor>;
    const dmat out = {0, 5, 0, 5, store, rows}, column = {0, 5, 0, 0, store, rows};
    ParameterSet set = tarn::kSetB;
    std::fill_n(set.inparaIj, 6, 0.0);
    fixture::start(103);
    mcb.robotInstallYangle = 40;  // plays no part
    ref::StateDraw draw;
    for (int n = 0; n < 100; n++) {
        ArmState at = draw();
        std::fill_n(at.load, 10, 0.0);
        at.gravity[0] = at.gravity[1] = 0;
        at.gravity[2] = -9.8;
        const Terms want = terms(set, at);
        double q[6], qd[6];
        for (int i = 0; i < 6; i++) {
            q[i] = at.q[i] * kRadian;
            qd[i] = at.qd[i] * kRadian;
        }
        EXPECT_EQ(com_M_matrix(q, out), 0);
        EXPECT_LT(distance(Eigen::Map<RowMajor>(store), want.M), 1e-12);
        EXPECT_EQ(com_C_matrix(q, qd, out), 0);
        EXPECT_LT(distance(Eigen::Map<RowMajor>(store), want.C), 1e-11);
        EXPECT_EQ(com_G_matrix(q, column), 0);
        EXPECT_EQ(rows[0][0], 0.0);
        EXPECT_LT(distance(Eigen::Map<RowMajor>(store).col(0), want.G), 1e-11);
    }
}

}  // namespace
