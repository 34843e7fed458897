#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <Eigen/LU>
#include <Eigen/SVD>
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "force_control/drag_state.h"
#include "force_control/singularity_force.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

namespace {

using tarn::forceDrag;
using tarn::test::guarded;
using Joints = Eigen::Matrix<double, 6, 1>;  // radians
using Matrix = Eigen::Matrix<double, 6, 6>;
using ByRows = Eigen::Matrix<double, 6, 6, Eigen::RowMajor>;

std::mt19937 engine(77);
double uniform(double range) { return std::uniform_real_distribution<double>(-range, range)(engine); }

struct Row {
    std::vector<int> types;
    double a2, a3, d4, d5, d6, wcr, wth, lamda, lamdaStretch;  // m, m^3
};
const Row kRows[] = {
    {{1, 3, 100}, 0.28, 0.24, 0.102, 0.102, 0.1, 0.0024, 0.01, 1500, 1500},
    {{101, 200}, 0.425, 0.395, 0.102, 0.102, 0.1, 0.005, 0.05, 1500, 3000},
    {{201, 300}, 0.7, 0.586, 0.159, 0.114, 0.106, 0.038, 0.15, 1500, 1500},
    {{301, 400}, 0.52, 0.4, 0.159, 0.114, 0.106, 0.013, 0.06, 1500, 1500},
    {{401, 500}, 1, 0.716, 0.166, 0.138, 0.12, 0.05, 0.2, 1500, 1500},
    {{1001, 1100}, 0.7, 0.536, 0.166, 0.138, 0.12, 0.04, 0.16, 1500, 1500},
    {{0, -5, 501, 901, 1000, 1101}, 0.425, 0.395, 0.102, 0.102, 0.1, 0.005, 0.05, 1500, 1500},
};

// From axes and origins of the link frames; angles in single precision, as the library's.
Matrix jacobian(const Row& arm, const Joints& q) {
    const double a[6] = {0, -arm.a2, -arm.a3}, d[6] = {0.15, 0, 0, arm.d4, arm.d5, arm.d6};
    const double alpha[6] = {M_PI / 2, 0, 0, M_PI / 2, -M_PI / 2, 0};
    Eigen::Isometry3d frame[7] = {Eigen::Isometry3d::Identity()};
    for (int k = 0; k < 6; k++)
        frame[k + 1] = frame[k] * Eigen::AngleAxisd(static_cast<float>(q[k]), Eigen::Vector3d::UnitZ()) *
                       Eigen::Translation3d(a[k], 0, d[k]) *
                       Eigen::AngleAxisd(alpha[k], Eigen::Vector3d::UnitX());
    Matrix J;
    for (int k = 0; k < 6; k++) {
        const Eigen::Vector3d axis = frame[k].linear().col(2);
        J.col(k) << axis.cross(frame[6].translation() - frame[k].translation()), axis;
    }
    return J;
}

// Product of the singular values of three rows, seen on the motions with which the others stand still.
// *condition: by how much the held rows can blow up rounding.
double measure(const Matrix& J, bool rotation, double* condition = nullptr) {
    using Rows = Eigen::Matrix<double, 3, Eigen::Dynamic>;
    const Rows moving = J.middleRows<3>(rotation ? 3 : 0), held = J.middleRows<3>(rotation ? 0 : 3);
    const Eigen::JacobiSVD<Rows> svd(held, Eigen::ComputeFullV);
    if (condition) *condition = svd.singularValues()[0] / svd.singularValues()[2];
    return Eigen::JacobiSVD<Rows>(moving * svd.matrixV().rightCols<3>()).singularValues().prod();
}

// Random, or with elbow, wrist or shoulder up to `near` radians or meters off their singularity.
Joints pose(const Row& arm, int kind, double near) {
    Joints q;
    for (double& angle : q) angle = uniform(M_PI);
    if (kind == 1) q[2] = uniform(near);
    if (kind == 2) q[4] = uniform(near);
    const double s = (arm.a2 * std::cos(q[1]) + arm.a3 * std::cos(q[1] + q[2]) + uniform(near)) / arm.d5;
    if (kind == 3 && std::fabs(s) < 1) q[3] = std::asin(s) - q[1] - q[2];
    return q;
}

TEST(Mobility, IsTheProductOfTheProjectedSingularValues) {
    for (int k = 0; k < 3000 && !HasFailure(); k++) {
        const Row& arm = kRows[k % 7];
        Matrix J = jacobian(arm, pose(arm, k / 7 % 4, k % 2 ? 0.3 : 1e-4));
        if (k % 10 == 0) J.setRandom();
        Eigen::Matrix<float, 6, 6> single = J.cast<float>();
        ByRows rows = single.cast<double>();
        auto* const twin = reinterpret_cast<double(*)[6]>(rows.data());
        double condition[2];
        const double want[2] = {measure(rows, false, condition), measure(rows, true, condition + 1)};
        float got[2];
        EXPECT_EQ(guarded([&] { got[0] = testOutTrans(single.data()), got[1] = testOutRot(single.data()); }),
                  "");
        for (int m : {0, 1}) {
            EXPECT_NEAR(static_cast<double>(got[m]), want[m], 1e-6 * condition[m] * (1 + want[m])) << k;
            EXPECT_NEAR((m ? zvmcInputJJOutROT : zvmcInputJJOutTrans)(twin), want[m],
                        1e-13 + 1e-11 * want[m]);
        }
    }
    float J[36] = {};
    for (int i = 0; i < 3; i++) J[3 + 7 * i] = 1;  // rotation only
    EXPECT_EQ(testOutTrans(J), 0);
    EXPECT_TRUE(std::isnan(testOutRot(J)));
}

// The law in double precision at the pose in the blocks.
struct Expected {
    double t[2], kw[2];  // of translation and rotation
    Joints force;        // end frame, without its limit
    bool tie;            // both ways of a probe better the measure alike: precision decides
};
Expected expected(const Row& arm, const Joints& q, const Eigen::Matrix3d& end) {
    const Matrix J = jacobian(arm, q), inverse = J.inverse();
    Expected e = {};
    const double lamda = std::fabs(mpb.jC.v[2]) <= 30 ? arm.lamdaStretch : arm.lamda;
    const double critical[2] = {arm.wcr, 0.1}, threshold[2] = {arm.wth, 0.5};
    for (int m : {0, 1}) {
        const double t = e.t[m] = measure(J, m);
        const double height = lamda * (1 / (t - critical[m]) - 1 / (threshold[m] - critical[m]));
        e.kw[m] = t > threshold[m] ? 0 : t > critical[m] ? height : -2 * height;
    }
    for (int c = 0; c < 6; c++) {
        const auto gain = [&, m = c / 3](double step) {
            return measure(jacobian(arm, q + inverse.col(c) * step), m) - e.t[m];
        };
        const double up = gain(0.001 * M_PI / 180), down = gain(-0.001 * M_PI / 180);
        e.force[c] = (up <= 0 && down <= 0 ? 0 : up >= down ? up : -down) * e.kw[c / 3] * 5;
        e.tie = e.tie || (up > 0 && down > 0 && std::fabs(up - down) < 0.2 * up);
    }
    e.force << end.transpose() * e.force.head<3>(), end.transpose() * e.force.tail<3>();
    return e;
}

TEST(ConstraintForce, ClimbsToMoreMobilityBehindItsBarrier) {
    enum { Free, InBand, Beyond, Limited = 6, Crossing, Stretched };
    int seen[9] = {};
    for (const Row& arm : kRows)
        for (int k = 0; k < 900 && !HasFailure(); k++) {
            fixture::start(arm.types[static_cast<size_t>(k) % arm.types.size()]);
            SCOPED_TRACE(testing::Message() << "type " << mcb.robotType << ", pose " << k);
            const Joints q = pose(arm, k % 4, k % 3 == 0 ? 1e-4 : 0.5);
            for (int i = 0; i < 6; i++) mpb.jC.v[i] = q[i] * 180 / M_PI;
            // any end frame: only the force's frame and the shoulder's measure come from it
            const Eigen::Matrix3d R =
                Eigen::Quaterniond(uniform(1), uniform(1), uniform(1), uniform(1)).normalized().matrix();
            Eigen::Map<Eigen::Matrix3d>(&mpb.tC.n.x) = R;
            mpb.tC.p = {uniform(600), uniform(600), uniform(600)};
            const Expected e = expected(arm, q, R);
            // clear of the refusal, and of poses where the inverse, taken without row exchange, loses digits
            const Matrix J = jacobian(arm, q);
            if (std::fabs(J.determinant()) < 2e-6 || std::fabs(std::sin(q[0])) < 0.1 ||
                std::fabs(J(0, 0)) < 0.01 || e.tie)
                continue;
            Joints Fv;
            int result = 1;
            EXPECT_EQ(guarded([&] { result = zvmcConstraintsAdmittance(Fv.data(), 3); }), "");
            EXPECT_EQ(result, 0);
            for (int i = 0; i < 6; i++) {
                const double limit = i < 3 ? 100 : 6, want = std::clamp(e.force[i], -limit, limit);
                // what single precision leaves of the difference of two measures, and of the barrier
                const double noise = std::fabs(e.kw[i / 3]) * 5 * (i < 3 ? 8e-7 : 1.5e-6) * (1 + 2 * arm.a2);
                EXPECT_NEAR(Fv[i], want, noise + 0.02 * std::fabs(want)) << i << ", measure " << e.t[i / 3];
                seen[Limited] += std::fabs(Fv[i]) == limit;
            }
            for (int m : {0, 1})
                seen[(e.kw[m] == 0 ? Free : e.t[m] > (m ? 0.1 : arm.wcr) ? InBand : Beyond) + 3 * m]++;
            seen[Crossing] += e.t[0] < 2e-5;  // a probe passes through the singularity
            seen[Stretched] += e.kw[0] != 0 && std::fabs(mpb.jC.v[2]) <= 30 && arm.lamda != arm.lamdaStretch;
            const Eigen::Vector2d wrist(mpb.tC.p.x / 1000 - R(0, 2) * arm.d6,
                                        mpb.tC.p.y / 1000 - R(1, 2) * arm.d6);
            EXPECT_NEAR(forceDrag.shoulderSingularDis, wrist.squaredNorm() - arm.d4 * arm.d4, 1e-12);
            EXPECT_EQ(fixture::callText(), "");
        }
    for (int count : seen) EXPECT_GT(count, 5);
}

TEST(ConstraintForce, LogsASingularPoseAndCarriesNonNumbers) {
    fixture::start(103);
    forceDrag.shoulderSingularDis = 77;
    mpb.jC = {{0, 10, 20, 30, 0, 50}, {}, 6};
    Joints Fv = Joints::Constant(9);
    EXPECT_EQ(zvmcConstraintsAdmittance(Fv.data(), 0), -1);
    EXPECT_TRUE((Fv.array() == 9).all());
    EXPECT_EQ(forceDrag.shoulderSingularDis, 77) << "stays";
    fixture::Lines lines = fixture::calls();
    ASSERT_EQ(lines.size(), 7u);
    EXPECT_TRUE(lines[0].starts_with("Write_Log 4 detValue = ")) << lines[0];
    EXPECT_TRUE(lines[6].starts_with("Write_Log 4 JJ6: = 1.000000,0.000000,0.000000,0.000000,-0.500000,"))
        << lines[6];

    fixture::forgetCalls();
    mpb.jC.v[1] = fixture::kNan;
    EXPECT_EQ(zvmcConstraintsAdmittance(Fv.data(), 0), 0);
    EXPECT_TRUE(Fv.array().isNaN().all());
    EXPECT_EQ(fixture::callText(), "");
}

TEST(Matrix3, InvertsAndRefusesTheSingularOne) {
    double m[3][3] = {{2, 1, 0}, {-3, 0.5, 4}, {1, 7, -2}}, inverse[3][3], product[3][3], determinant;
    det3(m, &determinant);
    EXPECT_EQ(determinant, 2 * (-1 - 28) - (6 - 4));
    EXPECT_EQ(inverseMatrix3(m, inverse), 0);
    MatrixMul3(m, inverse, product);
    for (int i = 0; i < 9; i++) EXPECT_NEAR(product[i / 3][i % 3], i % 4 == 0, 1e-14);
    fixture::start(103);
    for (int i = 0; i < 3; i++) m[2][i] = 2 * m[0][i], inverse[0][i] = 9;
    EXPECT_EQ(inverseMatrix3(m, inverse), -1);
    EXPECT_EQ(inverse[0][0], 9);
    EXPECT_EQ(fixture::callText(), "Write_Log 2 Matrix is not invertible.\n; ");
}

}  // namespace
