#include <gtest/gtest.h>

#include <Eigen/LU>
#include <cmath>
#include <functional>
#include <kdl/chainjnttojacsolver.hpp>
#include <random>

#include "support/fixture.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

namespace {

constexpr double kRight = M_PI / 2;
constexpr int kPoses = 1000;
constexpr int kUntouched = -77;

std::mt19937 engine(20240703);

double uniform(double low, double high) { return std::uniform_real_distribution<double>(low, high)(engine); }

using Joints = std::array<double, 6>;
using Matrix = Eigen::Matrix<double, 6, 6>;

// Standard Denavit-Hartenberg parameters, m and radians.
struct Chain {
    double alpha[6], a[6], d[6];
};

Chain arm(double d1, double a2, double a3, double d4, double d5, double d6) {
    return {{kRight, 0, 0, kRight, -kRight, 0}, {0, a2, a3, 0, 0, 0}, {d1, 0, 0, d4, d5, d6}};
}

Joints randomPose() {
    Joints q;
    for (double& angle : q) angle = static_cast<float>(uniform(-2 * M_PI, 2 * M_PI));
    return q;
}

KDL::Frame link(const Chain& chain, int i, double theta) {
    return KDL::Frame::DH(chain.a[i], chain.alpha[i], chain.d[i], theta);
}

Matrix byKdl(const Chain& chain, const Joints& q) {
    KDL::Chain segments;
    KDL::JntArray position(6);
    for (int i = 0; i < 6; i++) {
        segments.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ), link(chain, i, 0)));
        position(static_cast<unsigned>(i)) = q[static_cast<size_t>(i)];
    }
    KDL::Jacobian result(6);
    KDL::ChainJntToJacSolver(segments).JntToJac(position, result);
    return result.data;
}

// Central differences of the flange's pose.
Matrix byDifferences(const Chain& chain, const Joints& q) {
    const double step = 1e-5;
    const auto flange = [&chain](const Joints& at) {
        KDL::Frame pose;
        for (int i = 0; i < 6; i++) pose = pose * link(chain, i, at[static_cast<size_t>(i)]);
        return pose;
    };
    Matrix result;
    for (int k = 0; k < 6; k++) {
        Joints up = q, down = q;
        up[static_cast<size_t>(k)] += step;
        down[static_cast<size_t>(k)] -= step;
        const KDL::Frame high = flange(up), low = flange(down);
        const KDL::Vector v = high.p - low.p, w = (high.M * low.M.Inverse()).GetRot();
        for (int r = 0; r < 3; r++) {
            result(r, k) = v(r) / (2 * step);
            result(3 + r, k) = w(r) / (2 * step);
        }
    }
    return result;
}

testing::AssertionResult same(const Matrix& got, const Matrix& want, double tolerance) {
    for (int r = 0; r < 6; r++)
        for (int c = 0; c < 6; c++)
            if (!(std::fabs(got(r, c) - want(r, c)) <= tolerance))
                return testing::AssertionFailure() << "row " << r << ", joint " << c + 1 << ": " << got(r, c)
                                                   << ", expected " << want(r, c);
    return testing::AssertionSuccess();
}

Matrix general(Chain chain, Joints q) {
    double J[6][6];
    EXPECT_EQ(Jacobian_com(chain.alpha, chain.a, chain.d, q.data(), J), 0);
    return Eigen::Map<Eigen::Matrix<double, 6, 6, Eigen::RowMajor>>(J[0]);
}

// A dmat with bounds that do not start at 0, inside a larger one that must not change.
Matrix closedForm(int (*form)(double*, dmat), Joints q) {
    Eigen::Matrix<double, 8, 8, Eigen::RowMajor> storage;
    double* rows[8];
    storage.setConstant(kUntouched);
    for (int i = 0; i < 8; i++) rows[i] = storage.data() + 8 * i;
    EXPECT_EQ(form(q.data(), dmat{1, 6, 1, 6, storage.data(), rows}), 0);
    EXPECT_EQ((storage.array() == kUntouched).count(), 64 - 36);
    return storage.block<6, 6>(1, 1);
}

// The two forms in single precision; the signs of a2 and a3 do not matter to them.
template <bool byRows>
Matrix single(const Chain& chain, const Joints& pose) {
    const double mm[6] = {chain.d[0], chain.a[1], -chain.a[2], chain.d[3], chain.d[4], chain.d[5]};
    float paramDH[6], q[6], J[6][6];
    for (size_t i = 0; i < 6; i++) {
        paramDH[i] = static_cast<float>(mm[i] * 1000);
        q[i] = static_cast<float>(pose[i]);
    }
    byRows ? velocityJacobOld(paramDH, q, J) : velocityJacob(paramDH, q, J[0]);
    Eigen::Matrix<float, 6, 6> result = Eigen::Map<Eigen::Matrix<float, 6, 6>>(J[0]);
    if (byRows) result.transposeInPlace();
    return result.cast<double>();
}

TEST(Jacobian, EveryFormAgreesWithKdlAndWithDifferencesOfThePose) {
    const Chain a = arm(0.14, -0.28, -0.24, 0.102, 0.102, 0.1);
    const Chain b = arm(0.152, -0.425, -0.395, 0.102, 0.102, 0.1);
    const Chain c = arm(0.18, -0.7, -0.586, 0.195, 0.114, 0.106);
    const Chain d = arm(0.18, -0.52, -0.4, 0.195, 0.114, 0.106);
    const Chain e = arm(0.215, -1, -0.716, 0.166, 0.138, 0.12);
    const Chain offset = {{kRight, 0, kRight, -kRight, -kRight, 0},  // forearm along joint 4
                          {0, -0.42, 0, 0, 0, 0},
                          {0.14, 0, 0.012, 0.36, 0.102, 0.1}};
    const auto inMatrix = [](int (*form)(double*, dmat)) {
        return [form](const Chain&, const Joints& q) { return closedForm(form, q); };
    };
    const struct {
        const char* name;
        Chain chain;
        double tolerance;
        std::function<Matrix(const Chain&, const Joints&)> form;
    } rows[] = {
        {"zvA_jacob", a, 1e-9, inMatrix(zvA_jacob)},   {"zvB_jacob", b, 1e-9, inMatrix(zvB_jacob)},
        {"zvC_jacob", c, 1e-9, inMatrix(zvC_jacob)},   {"zvD_jacob", d, 1e-9, inMatrix(zvD_jacob)},
        {"Jacobian_com A", a, 1e-9, general},          {"Jacobian_com B", b, 1e-9, general},
        {"Jacobian_com E", e, 1e-9, general},          {"Jacobian_com offset", offset, 1e-9, general},
        {"velocityJacob A", a, 1e-5, single<false>},   {"velocityJacob E", e, 1e-5, single<false>},
        {"velocityJacobOld C", c, 1e-5, single<true>}, {"velocityJacobOld E", e, 1e-5, single<true>},
    };
    for (const auto& row : rows)
        for (int k = 0; k < kPoses && !HasFailure(); k++) {
            SCOPED_TRACE(testing::Message() << row.name << ", pose " << k);
            const Joints q = randomPose();
            const Matrix got = row.form(row.chain, q);
            EXPECT_TRUE(same(got, byKdl(row.chain, q), row.tolerance));
            EXPECT_TRUE(same(got, byDifferences(row.chain, q), row.tolerance));
        }
}

// One parameter off the common shape at a time: none may be taken for that shape. Then chains of no shape.
TEST(Jacobian, TakesAnyChain) {
    for (int k = 0; k < kPoses && !HasFailure(); k++) {
        SCOPED_TRACE(testing::Message() << "chain " << k);
        Chain chain = arm(0.14, -0.28, -0.24, 0.102, 0.102, 0.1);
        double* const parameters[3] = {chain.alpha, chain.a, chain.d};
        if (k < 18) {
            parameters[k / 6][k % 6] += 0.3;
        } else {
            for (double* list : parameters)
                for (int i = 0; i < 6; i++) list[i] = uniform(-3, 3);
        }
        const Joints q = randomPose();
        EXPECT_TRUE(same(general(chain, q), byKdl(chain, q), 1e-12));
    }
}

// ---- end velocity

struct MappedArm {
    std::vector<int> types;
    Chain chain;
};

const MappedArm kMapped[] = {
    {{1, 3, 100}, arm(0.14, -0.28, -0.24, 0.102, 0.102, 0.1)},
    {{101, 200, 0, -1, 501, 701, 1001, 1100, 70000}, arm(0.152, -0.425, -0.395, 0.102, 0.102, 0.1)},
    {{201, 300}, arm(0.18, -0.7, -0.586, 0.159, 0.114, 0.106)},
    {{301, 400}, arm(0.18, -0.52, -0.4, 0.159, 0.114, 0.106)},
    {{401, 500}, arm(0.215, -1, -0.716, 0.166, 0.138, 0.12)},
};

TEST(EndVelocity, InvertsTheJacobianOfTheType) {
    for (const MappedArm& mapped : kMapped)
        for (int type : mapped.types) {
            fixture::start(type);
            const fixture::Blocks before;
            for (int k = 0; k < kPoses && !HasFailure(); k++) {
                SCOPED_TRACE(testing::Message() << "type " << type << ", pose " << k);
                // clear of the singular poses, and of those where an inverse without row exchange loses
                // digits
                Joints degrees, q;
                Matrix J;
                do {
                    for (size_t i = 0; i < 6; i++) {
                        degrees[i] = uniform(-360, 360);
                        q[i] = degrees[i] * M_PI / 180;
                    }
                    J = byKdl(mapped.chain, q);
                } while (std::fabs(J.determinant()) < 1e-3 || std::fabs(std::sin(q[0])) < 0.1 ||
                         std::fabs(J(0, 0)) < 0.01);
                const Eigen::Matrix<double, 6, 1> want = Eigen::Matrix<double, 6, 1>::Random();
                Eigen::Matrix<double, 6, 1> given = J * want, got;
                EXPECT_EQ(EndvelToJointvel(degrees.data(), given.data(), got.data()), 0);
                EXPECT_LT((got - want).cwiseAbs().maxCoeff(), 1e-9);
                for (size_t i = 0; i < 6; i++) EXPECT_NEAR(degrees[i], q[i], 1e-14) << "back in radians";
            }
            EXPECT_TRUE(before.unchanged()) << "type " << type;
        }
}

TEST(EndVelocity, RefusesOnlyADeterminantOfExactlyZero) {
    const double nearly = 1e-6;  // degrees
    enum Result { Refused, Large, NoNumbers };
    const struct {
        const char* name;
        double q[6];  // degrees
        Result result;
    } rows[] = {
        {"all joints at zero", {0, 0, 0, 0, 0, 0}, Refused},
        {"joint 6 along joint 4, arm level", {30, 0, 40, -40, 0, 20}, Refused},
        {"nearly so", {30, 0, 40, -40, nearly, 20}, Large},
        {"elbow nearly straight", {30, -50, nearly, 10, 60, 20}, Large},
        {"joint 1 at zero", {0, -50, 70, 10, 60, 20}, NoNumbers},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fixture::start(103);
        double q[6], given[6] = {0.1, 0.2, -0.1, 0.3, 0.2, 0.1}, got[6];
        std::copy_n(row.q, 6, q);
        std::fill_n(got, 6, kUntouched);
        const bool refused = row.result == Refused;
        EXPECT_EQ(EndvelToJointvel(q, given, got), refused ? -1 : 0);
        EXPECT_EQ(mcb.ioError, refused ? 0x16000002u : 0x16000000u);
        double largest = 0;
        bool finite = true;
        for (int i = 0; i < 6; i++) {
            EXPECT_DOUBLE_EQ(q[i], row.q[i] * M_PI / 180);
            EXPECT_EQ(got[i] == kUntouched, refused);
            largest = std::max(largest, std::fabs(got[i]));
            finite = finite && std::isfinite(got[i]);
        }
        EXPECT_EQ(finite, row.result != NoNumbers);
        EXPECT_EQ(largest > 1e6, row.result == Large);

        // nothing but the fault changes, and the same array is converted again
        mcb.ioError = zvCtlIOOK;
        const fixture::Blocks before;
        EndvelToJointvel(q, given, got);
        for (int i = 0; i < 6; i++) EXPECT_DOUBLE_EQ(q[i], row.q[i] * M_PI / 180 * M_PI / 180);
        mcb.ioError = zvCtlIOOK;
        EXPECT_TRUE(before.unchanged());
    }
}

}  // namespace
