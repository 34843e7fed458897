#include "collision/custom_thresholds.h"

#include <gtest/gtest.h>

#include <Eigen/LU>
#include <climits>
#include <kdl/chainjnttojacsolver.hpp>
#include <random>

#include "collision/trace.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

namespace {

using fixture::Lines;
using tarn::customThresholds;
using tarn::test::guarded;
using Matrix = Eigen::Matrix<double, 6, 6>;
using Wrench = Eigen::Matrix<double, 6, 1>;

COLLISION_DETECTION& detection = mcb.collisionDetection;
std::mt19937 engine(6);
double uniform(double range) { return std::uniform_real_distribution<double>(-range, range)(engine); }

struct Row {
    int first, last;
    double a2, a3, d4, d5, d6;  // mm; d1 does not move a Jacobian
};
// clang-format off
const Row kRows[] = {  // the signs of a2 and a3 do not count
    {1, 100, -280, -240, 102, 102, 100},     {201, 300, -700, -586, 159, 114, 106},
    {301, 400, -520, -400, 159, 114, 106},   {401, 500, -1000, -716, 166, 138, 120},
    {701, 701, -420, -12, 360, 102, 100},    {703, 703, -280, -240, 102, 102, 100},
    {901, 901, -280, -240, 102, 102, 100},   {902, 902, -700, -586, 211, 114, 106},
    {903, 903, -280, -240, 102, 102, 100},   {1001, 1100, -700, -536, 166, 138, 120},
    {INT_MIN, INT_MAX, -425, -395, 102, 102, 100},
};
// clang-format on

Matrix jacobianByKdl(int type) {
    const Row* row = kRows;
    while (type < row->first || type > row->last) row++;
    const double a[6] = {0, row->a2, row->a3, 0, 0, 0}, d[6] = {0, 0, 0, row->d4, row->d5, row->d6};
    const double right = M_PI / 2, alpha[6] = {right, 0, 0, right, -right, 0};
    KDL::Chain chain;
    KDL::JntArray q(6);
    for (unsigned i = 0; i < 6; i++) {
        const KDL::Frame tip = KDL::Frame::DH(a[i] / 1000, alpha[i], d[i] / 1000, 0);
        chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ), tip));
        q(i) = mpb.jC.v[i] * M_PI / 180;
    }
    KDL::Jacobian jacobian(6);
    KDL::ChainJntToJacSolver(chain).JntToJac(q, jacobian);
    return jacobian.data;
}

constexpr float kUntouched = -77;
double deviation[6], torque[6];

void start(int type, int flag) {
    fixture::start(type);
    customThresholds = {};
    detection.CustomCollisionFlag = static_cast<uint8_t>(flag);
    for (int i = 0; i < 6; i++) {
        deviation[i] = 0;
        torque[i] = uniform(1);
        detection.tcpRealForce[i] = kUntouched;
        detection.tcpDetectionThreshold[i] = detection.jointDetectionThreshold[i] = 1e9f;
    }
}
int check() {
    int result = 1;
    EXPECT_EQ(guarded([&] { result = zvmcCustomCollisionDetectionMain(deviation, torque); }), "");
    return result;
}

TEST(CustomThresholds, EstimateTheForceThatTheTorquesBalance) {
    for (int type : ref::types()) {
        start(type, 2);
        const double reach[6] = {170, 20, 20, 170, 20, 170},
                     middle[6] = {0, -60, 60, 0, 80, 0};  // not singular
        for (int i = 0; i < 6; i++) mpb.jC.v[i] = middle[i] + uniform(reach[i]);
        const bool known = type < 704 || type > 800;
        Wrench want = Wrench::Constant(double{kUntouched});
        if (known) want = jacobianByKdl(type).transpose().lu().solve(Wrench(torque) * 100);
        ASSERT_EQ(check(), known ? 0 : -1) << "type " << type;
        for (int i = 0; i < 6; i++)
            ASSERT_NEAR(static_cast<double>(detection.tcpRealForce[i]), want(i), 1e-4 * want.norm())
                << "type " << type << ", axis " << i;
    }
}

TEST(CustomThresholds, LogASingularPoseAndLeaveAllElse) {
    start(101, 3);
    const double pose[6] = {10, -40, 60, 20, 0, 30};  // wrist straight
    std::copy_n(pose, 6, mpb.jC.v);
    for (int i = 0; i < 6; i++) {
        deviation[i] = 2e9;
        customThresholds.jointCollisionCount[i] = customThresholds.tcpCollisionCount[i] = 3;
    }
    const fixture::Blocks before;
    EXPECT_EQ(check(), -1);
    EXPECT_TRUE(before.unchanged());
    EXPECT_EQ(customThresholds.jointCollisionCount[0], 3);
    EXPECT_EQ(customThresholds.tcpCollisionCount[5], 3);

    // the transposed Jacobian by rows
    const Matrix want = jacobianByKdl(101).transpose();
    const Lines lines = fixture::calls();
    ASSERT_EQ(lines.size(), 7u);
    EXPECT_TRUE(lines[0].starts_with("Write_Log 4 detValue = "));
    for (int r = 0; r < 6; r++) {
        const std::string start = "Write_Log 4 TJacob" + std::to_string(r + 1) + ": = ";
        const std::string& line = lines[static_cast<size_t>(r) + 1];
        ASSERT_TRUE(line.starts_with(start)) << line;
        EXPECT_NEAR(std::stod(line.substr(start.size())), want(r, 0), 2e-6);
        EXPECT_NEAR(std::stod(line.substr(line.rfind(',') + 1)), want(r, 5), 2e-6);
    }
}

TEST(CustomThresholds, CountTheFirstJointAndAxisOutsideAlone) {
    for (int flag = 0; flag < 5; flag++) {
        start(101, flag);
        const bool tcp = flag == 2 || flag == 3, joints = flag == 1 || flag == 3;
        const double pose[6] = {10, -40, 60, 20, 70, 30};
        std::copy_n(pose, 6, mpb.jC.v);
        const auto expectCounts = [&](std::array<float, 6> want) {
            EXPECT_EQ(check(), 0);
            const std::array<float, 6> none{};
            EXPECT_EQ(std::to_array(customThresholds.tcpCollisionCount), tcp ? want : none) << flag;
            EXPECT_EQ(std::to_array(customThresholds.jointCollisionCount), joints ? want : none) << flag;
        };
        expectCounts({});
        EXPECT_EQ(detection.tcpRealForce[0] == kUntouched, !tcp);

        const auto leaveBand = [](int i, double way) {
            detection.jointDetectionThreshold[i] = 0.5f;
            detection.tcpDetectionThreshold[i] = 0.5f * std::fabs(detection.tcpRealForce[i]);
            deviation[i] = way;
        };
        leaveBand(4, -0.6);
        expectCounts({0, 0, 0, 0, 1});
        expectCounts({0, 0, 0, 0, 2});
        leaveBand(2, 0.6);
        expectCounts({0, 0, 1, 0, 2});
        mpb.sysJntsNo = 4;
        std::fill_n(torque, 6, 0.0);
        std::fill_n(deviation, 6, 0.0);
        deviation[0] = detection.jointDetectionThreshold[0] = 0.25f;  // on the edge: inside
        expectCounts({0, 0, 0, 0, 2});
    }
}

TEST(CollisionTrace, SlidesAndIsPrintedByQuantityThenRow) {
    fixture::start(101);
    const char* const names[] = {"tarpos", "realpos", "tarvel", "realvel",
                                 "taracc", "realacc", "tartor", "realtor"};
    const double scale[] = {1, 1, 1e3, 1e3, 1e6, 1e6, 0.01, 1};
    // joint i + 1 of quantity f in save n
    const auto value = [](int n, int f, int i) { return n + 1000 * f + 0.125 * i; };
    const auto save = [&value](int n) {
        JNTS want{}, got{};
        JNTS* const fields[] = {&mpb.jC,    &mpb.j6,    &mpb.jCvel, &mpb.j6vel,
                                &mpb.jCacc, &mpb.j6acc, &want,      &got};
        for (int f = 0; f < 8; f++)
            for (int i = 0; i < 6; i++) fields[f]->v[i] = value(n, f, i);
        EXPECT_EQ(guarded([&] { collisionMessageSave(&want, got.v); }), "");
    };
    for (int n = 0; n < 205; n++) save(n);
    for (int call = 0; call < 800; call++) {
        saveMsgPrintfCount = call;
        fixture::forgetCalls();
        EXPECT_EQ(tarn::trace.saveMsgflag, 0);
        EXPECT_EQ(guarded([] { collisionMessagePrintf(saveMsgPrintfCount); }), "");
        std::string want;
        for (int f : {call / 200 * 2, call / 200 * 2 + 1}) {
            want += std::string("Write_Log 2 ") + (f % 2 ? "" : std::to_string(call % 200) + " ") + names[f];
            for (int i = 0; i < 6; i++) want += " " + std::to_string(value(call % 200 + 5, f, i) * scale[f]);
            want += "; ";
        }
        ASSERT_EQ(fixture::callText(), want);
    }
    EXPECT_EQ(tarn::trace.saveMsgflag, 1);
    EXPECT_EQ(saveMsgPrintfCount, 0);

    save(9);
    EXPECT_EQ(tarn::trace.saveMsgflag, 0);
    EXPECT_EQ(collisionJointTarpos[0][0], 9);

    fixture::forgetCalls();
    for (int i : {-1, 200, 800, INT_MIN, INT_MAX})
        for (int position : {0, 799, 800, INT_MIN, INT_MAX}) {
            saveMsgPrintfCount = position;
            if (i != 200 || position != 799) collisionMessagePrintf(i);
        }
    EXPECT_EQ(fixture::callText(), "");
}

}  // namespace
