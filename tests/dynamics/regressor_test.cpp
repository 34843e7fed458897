// Regressors against KDL: parameter by parameter, and as the torque of a load.
#include "dynamics/regressor.h"

#include <gtest/gtest.h>

#include <Eigen/Core>
#include <algorithm>
#include <functional>
#include <kdl/chainidsolver_recursive_newton_euler.hpp>
#include <random>

#include "model/gravity_test_vectors.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "support/rigid_body.h"
#include "tmcforceblock.h"
#include "zvmcidentifydynamicblock.h"

namespace {

using Torque = Eigen::VectorXd;
using Matrix = Eigen::MatrixXd;
using Forward = int (*)(double*, double*, double*, dmat);

std::mt19937 engine(20240717);
double uniform(double low, double high) { return std::uniform_real_distribution<double>(low, high)(engine); }

// Calls with a matrix whose bounds start where `lower` says.
Matrix filled(int rows, int columns, int lower, const std::function<int(dmat)>& call) {
    Matrix out = Matrix::Constant(columns, rows, fixture::kNan);  // by columns: our rows lie in one piece
    std::vector<double*> el(static_cast<size_t>(rows + lower));
    for (int i = 0; i < rows; i++) el[static_cast<size_t>(i + lower)] = out.col(i).data() - lower;
    EXPECT_EQ(call({lower, lower + rows - 1, lower, lower + columns - 1, out.data(), el.data()}), 0);
    return out.transpose();
}

struct Motion {
    double q[9], dq[9], ddq[9];
};

Motion draw(int moving) {
    Motion m = {};
    for (int i = 0; i < 9; i++) m.q[i] = uniform(-M_PI, M_PI);
    for (int i = 9 - moving; i < 9; i++) {
        m.dq[i] = uniform(-3, 3);
        m.ddq[i] = uniform(-10, 10);
    }
    return m;
}

struct Arm {
    const char* name;
    int axes;  // 9 with the mounting, 6 without
    double d1, a2, a3, d4, d5, d6, shoulder;
    Forward torque;
};
const Arm kArms[] = {
    {"A", 9, 0.14, 0.28, 0.24, 0.102, 0.102, 0.1, 0.114, computeZvA_selftautest},
    {"B", 9, 0.152, 0.425, 0.395, 0.102, 0.102, 0.1, 0, computeZvB_selftautest},
    {"C", 9, 0.18, 0.7, 0.586, 0.195, 0.114, 0.106, 0.185, computeZvC_selftautest},
    {"D", 9, 0.18, 0.52, 0.4, 0.195, 0.114, 0.106, 0.185, computeZvD_selftautest},
    {"identified", 6, 0.15, 0.425, 0.395, 0.13, 0.102, 0.1, 0.138, nullptr},
};

// Alpha of link `axis` (0 to 8), by its quarter turns.
constexpr int kQuarterTurns[9] = {1, -1, 0, 1, 0, 0, 1, -1, 0};

// Torques of the last `outer` axes with one body at the end of one link, nothing else weighing anything.
Torque kdlTorque(const Arm& arm, int outer, int link, const KDL::RigidBodyInertia& body, const Motion& m) {
    const double a[9] = {0, 0, 0, 0, -arm.a2, -arm.a3, 0, 0, 0};
    const double d[9] = {0, 0, 0, arm.d1, arm.shoulder, -arm.shoulder, arm.d4, arm.d5, arm.d6};
    KDL::Chain chain;
    const int first = 9 - arm.axes;
    const auto axes = static_cast<unsigned>(arm.axes);
    KDL::JntArray q(axes), dq(axes), ddq(axes), torque(axes);
    for (int k = first; k < 9; k++) {
        chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ),
                                      KDL::Frame::DH(a[k], kQuarterTurns[k] * M_PI / 2, d[k], 0),
                                      k == link ? body : KDL::RigidBodyInertia::Zero()));
        const auto i = static_cast<unsigned>(k - first);
        q(i) = m.q[k];
        dq(i) = m.dq[k];
        ddq(i) = m.ddq[k];
    }
    KDL::ChainIdSolver_RNE solver(chain, KDL::Vector(0, 0, -9.81));
    EXPECT_EQ(solver.CartToJnt(q, dq, ddq, KDL::Wrenches(axes, KDL::Wrench::Zero()), torque), 0);
    return torque.data.tail(outer);
}

// Column by column what one of a body's Ixx Ixy Ixz Iyy Iyz Izz (about the frame's origin) mx my mz weighs.
Matrix kdlRegressor(const Arm& arm, int outer, const Motion& m) {
    Matrix H = Matrix::Zero(outer, 9 * outer);
    for (int j = 0; j < outer; j++) {
        const int k = 9 - outer + j;
        const bool twisted = kQuarterTurns[k] != 0;
        const int kept[7] = {0, 1, 2, twisted ? 3 : 4, twisted ? 4 : 5, 6, twisted ? 8 : 7};
        const KDL::Vector origin = KDL::Vector::Zero();
        const Torque mass = kdlTorque(arm, outer, k, KDL::RigidBodyInertia(1, origin), m);
        for (int p = 0; p < 7; p++) {
            double one[9] = {};
            one[kept[p]] = 1;
            const KDL::Vector c(one[6], one[7], one[8]);
            const double away = KDL::dot(c, c);  // of a kilogram out there, the first moment alone
            const KDL::RotationalInertia tensor(one[0] - away + one[6], one[3] - away + one[7],
                                                one[5] - away + one[8], one[1], one[2], one[4]);
            H.col(9 * j + p) =
                kdlTorque(arm, outer, k, KDL::RigidBodyInertia(away, c, tensor), m) - away * mass;
        }
        H(j, 9 * j + 7) = m.dq[k];
        H(j, 9 * j + 8) = m.dq[k] > 0 ? 1 : m.dq[k] < 0 ? -1 : 0;
    }
    return H;
}

TEST(Regressor, ColumnsAreTheTorquesOfSingleParameters) {
    for (const Arm& arm : kArms) {
        for (int n = 0; n < 40; n++) {
            Motion m = draw(n % 3 == 0 ? 0 : arm.axes);  // every third at rest
            const int outer = arm.torque != nullptr ? 6 : 3;
            Matrix got(6, 54), want = kdlRegressor(arm, outer, m);
            for (int j = 0; j < 54 && arm.torque != nullptr; j++) {
                for (int i = 0; i < 54; i++) gtau[i] = i == j;
                got.col(j) = filled(6, 1, n % 2, [&](dmat out) { return arm.torque(m.q, m.dq, m.ddq, out); });
            }
            if (arm.torque == nullptr) {
                got = filled(3, 27, n % 2,
                             [&](dmat out) { return solve_Hb5(m.q + 3, m.dq + 3, m.ddq + 3, out); });
                want = Eigen::Vector3d(0.8151, 0.8407, 1.0).asDiagonal() * want;
            }
            EXPECT_LT((got - want).cwiseAbs().maxCoeff(), 1e-10) << arm.name << ", state " << n;
        }
    }
}

// The table of what a kilogram adds and the column order must mean a point mass at the flange.
TEST(Regressor, LoadOfFamilyBIsAPointMassAtTheFlange) {
    tarn::ParameterSet bare = tarn::kSetB;
    std::fill_n(bare.inparaM, 6, 1e-300);  // KDL divides by the mass of a link
    std::fill_n(bare.inparaI, 36, 0.0);
    std::fill_n(bare.inparaIj, 6, 0.0);
    for (int n = 0; n < 1000; n++) {
        Motion m = draw(6);
        m.q[0] = 0;
        const double Y = -m.q[1], Z = m.q[2];
        ref::ArmState at = {};
        for (int i = 0; i < 6; i++) {
            at.q[i] = m.q[3 + i] * 180 / M_PI;
            at.qd[i] = m.dq[3 + i] * 180 / M_PI;
            at.qdd[i] = m.ddq[3 + i] * 180 / M_PI;
        }
        at.load[0] = uniform(0, 10);
        const double bottomRow[3] = {-std::sin(Y) * std::cos(Z), std::sin(Y) * std::sin(Z), std::cos(Y)};
        for (int i = 0; i < 3; i++) at.gravity[i] = -9.81 * bottomRow[i];

        Matrix torque[2];
        for (int loaded = 0; loaded < 2; loaded++) {
            for (int i = 0; i < 54; i++)
                gtau[i] = tarn::kGravityTestB[i] + loaded * at.load[0] * tarn::kGravityTestLoadB[i];
            torque[loaded] =
                filled(6, 1, 0, [&](dmat out) { return computeZvB_selftautest(m.q, m.dq, m.ddq, out); });
        }
        const Torque want = ref::dynamics(bare, at).torque;
        ASSERT_LT((torque[1] - torque[0] - want).cwiseAbs().maxCoeff(), 1e-9) << "state " << n;
    }
}

TEST(Regressor, AreFitForTheCycle) {
    Motion m = draw(6);
    double wide[6][27], *rows[6];
    for (int i = 0; i < 6; i++) rows[i] = wide[i];
    EXPECT_EQ(tarn::test::guarded([&] {
                  computeZvA_selftautest(m.q, m.dq, m.ddq, {0, 5, 0, 0, wide[0], rows});
                  solve_Hb5(m.q, m.dq, m.ddq, {0, 2, 0, 26, wide[0], rows});
              }),
              "");
}

}  // namespace
