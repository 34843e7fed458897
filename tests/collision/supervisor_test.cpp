#include "collision/supervisor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <tuple>

#include "collision/after_collision.h"
#include "collision/custom_thresholds.h"
#include "collision/torque_record.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "support/reference.h"
#include "tarnhost/planner_values.h"
#include "tmcforceblock.h"

namespace {

using tarn::afterCollision;
using tarn::customThresholds;
using tarn::supervisor;
using Counts = std::vector<int>;
using Currents = std::vector<int16_t>;

// In the middle of a motion, with rated torques of 1 N m: a current of 1000 is 1 N m, nothing is expected,
// and every band is plus and minus 0.5 N m.
void start(int type = 103) {
    fixture::start(type);
    fixture::rateMotors(1);
    supervisor = {};
    afterCollision = {};
    customThresholds = {};
    tarn::torqueRecord = {};
    mpb.j1CollisionValue = mpb.j2CollisionValue = mpb.j3CollisionValue = 0.5f;
    mpb.j4CollisionValue = mpb.j5CollisionValue = mpb.j6CollisionValue = 0.5f;
    std::fill_n(mpb.collisionLevel, 6, 1.0f);
    std::fill_n(mcb.collisionDetection.jointDetectionThreshold, 6, 0.55f);
    mpb.collisionErrorTime = 3;
    mpb.state = 2;
    mpb.ci = {500, 1000};
}

// One cycle with the measured currents; the counts after it.
Counts cycle(const Currents& currents = {}) {
    std::fill_n(how.currentFeedback, 6, int16_t{0});
    std::copy(currents.begin(), currents.end(), how.currentFeedback);
    EXPECT_EQ(tarn::test::guarded([] { zvmcCheckForCollisionError(); }), "");
    return {mpb.collisionErrorCount, mpb.collisionErrorCount + 6};
}

TEST(Supervisor, ACountAtItsEndStaysAndFires) {
    start();
    mcb.collisionPauseFlag = 1;
    mpb.collisionErrorCount[1] = INT_MAX;
    mpb.collisionErrorTime = INT_MAX;
    EXPECT_EQ(cycle({0, 1000})[1], 0);
    EXPECT_EQ(mcb.collisionStateback, 1);
}

// clang-format off
TEST(Supervisor, EveryReactionCallsTheHostInOrder) {
    const std::string weld = "doConfigHandle 1 1; resetWeldControlPara; ", pause = "tmcPause; " + weld, log = "Write_Log 2 ",
                      stop = "tmcStop; " + weld, drag = stop + "tmcDragSwitch 1; " + log, flag = "mcb.collisionPauseFlag = :",
                      after = "Collision After to DragMode " + flag, tcp = log + "TCP Collision " + flag;
    const struct { uint8_t flag, board; std::string joint, tool; std::array<int, 4> state; } rows[] = {
        // flag board  joint's calls                             tool's calls               time start custom friction
        {  0, 2, log + "mcbCollision:13000003\n; " + pause, pause + tcp + "0; ",           {   7, 9, 1, 1}},
        {  1, 0, "",                                        "",                            {   7, 9, 1, 1}},
        {  2, 1, stop,                                      stop + tcp + "2; ",            {   7, 9, 0, 1}},
        {  2, 2, drag + "safetyStopEnable " + after + "2; ",
                 stop + tcp + "2; tmcDragSwitch 1; " + log + "TCP safetyStopEnable " + after + "2; ", {7, 9, 0, 0}},
        {  3, 1, drag + after + "3; ",                      drag + "TCP " + after + "3; ", {1000, 9, 0, 0}},
        {  4, 2, drag + after + "4; ",                      drag + "TCP " + after + "4; ", {5000, 1, 0, 0}},
        {  5, 0, drag + after + "5; ",                      drag + "TCP " + after + "5; ", {1234, 1, 0, 0}},
        {  6, 2, "",                                        "",                            {   7, 9, 1, 1}},
        {255, 0, "",                                        "",                            {   7, 9, 1, 1}}};
    // clang-format on
    for (const auto& row : rows)
        for (bool tool : {false, true}) {
            start();
            mcb.collisionPauseFlag = row.flag;
            mcb.safetyPara.safetyStopEnable = row.board;
            mcb.collisionDetection.safeTime = 1234;
            uint8_t& custom = mcb.collisionDetection.CustomCollisionFlag = 1;
            afterCollision = {7, 9, {}, {}, {}, {}};
            mpb.collisionErrorCount[2] = tool ? 0 : 2;
            customThresholds.tcpCollisionCount[2] = tool ? 3.0f : 2.5f;
            const fixture::Blocks before;
            const int counted = mpb.collisionErrorCount[2];
            EXPECT_EQ(cycle(tool ? Currents{} : Currents{0, 0, 510}), Counts(6, 0));

            const testing::ScopedTrace trace(__FILE__, __LINE__,
                                             (tool ? "tool " : "joint ") + std::to_string(row.flag));
            const bool alarm = row.joint.empty();
            EXPECT_EQ(fixture::callText(),
                      tool ? row.tool : row.joint + (alarm ? "" : "Write_Log 4 collisionError:3; "));
            EXPECT_EQ(mcb.collisionError, 0x13000000u + (alarm ? 0 : tool ? 7 : 3));
            EXPECT_EQ(mcb.motionAlarm, alarm ? 0x22000003u : 0x22000000u);
            EXPECT_EQ(
                (std::array<int, 4>{afterCollision.CollisionAfterTime, afterCollision.CollisionStartFlag,
                                    custom, mcb.fricCompensationFlag}),
                row.state);
            EXPECT_TRUE(mcb.collisionStateback == 1 && customThresholds.tcpCollisionCount[2] == 0);

            // with these put back, the blocks are as they were
            mcb.collisionError = zvCtlCollisionOK;
            mcb.motionAlarm = zvCtlMotionNoAlarm;
            mcb.collisionStateback = 0;
            custom = mcb.fricCompensationFlag = 1;
            mpb.collisionErrorCount[2] = counted;
            std::fill_n(mpb.jActualTheory, 6, 0.0f);
            std::fill_n(how.currentFeedback, 6, int16_t{0});
            EXPECT_TRUE(before.unchanged());
        }
}

// The first cycle of a window, which widens by 0.118578 N m.
void widened() {
    mpb.defaultJointAccel.v[1] = 720;
    mcb.mode = 2;
    mpb.jCaccRaw.v[0] = 1;
}

// clang-format off
TEST(Supervisor, CountsTheFirstJointOutsideItsBandBehindTheGates) {
    const struct { void (*set)(); Currents currents; Counts counts; } rows[] = {  // joint 4 starts at a count of 1
        {[] {}, {500, -501}, {0, 1, 0, 1, 0, 0}},
        {[] { tarn::host::plannerValues.collisionRatio[4] = 0.5f; }, {0, 0, 0, 0, 251, 501}, {0, 0, 0, 1, 1, 0}},
        {[] { mpb.collisionLevel[0] = 4; }, {1001}, {1, 0, 0, 1, 0, 0}},
        {[] { mpb.collisionLevel[0] = 4; }, {1000, -500, 500, 500, 500, -500}, {0, 0, 0, 0, 0, 0}},
        {[] { mpb.collisionLevel[0] = 100; mpb.collisionErrorCount[0] = 2; }, {32000, 501}, {0, 0, 0, 1, 0, 0}},
        {[] { mpb.collisionThresholdMode = mcb.collisionDetection.CustomCollisionFlag = 1; }, {501}, {0, 0, 0, 0, 0, 0}},
        {widened, {618, -618, 618, 501}, {0, 0, 0, 2, 0, 0}},
        {widened, {0, 0, -619}, {0, 0, 1, 1, 0, 0}},
        {[] { mpb.state = 1; }, {501}, {0, 0, 0, 0, 0, 0}},
        {[] { mpb.state = 1; mcb.servoJStatus = 1; }, {501}, {1, 0, 0, 1, 0, 0}},
        {[] { mpb.state = 4; mcb.jogControl.jogCycleFlag = 1; mpb.ci = {}; }, {501}, {1, 0, 0, 1, 0, 0}},
        {[] { mpb.state = 1; mcb.safetyPara.safetyStopEnable = 1; }, {501}, {1, 0, 0, 1, 0, 0}},
        {[] { mpb.state = 3; mcb.safetyPara.safetyStopEnable = 2; }, {501}, {1, 0, 0, 1, 0, 0}},
        {[] { mcb.safetyPara.safetyStopEnable = 3; mcb.servoJStatus = 1; }, {501}, {0, 0, 0, 0, 0, 0}},
        {[] { mpb.ci = {100, 400}; }, {501}, {0, 0, 0, 0, 0, 0}},
        {[] { mpb.ci = {101, 202}; }, {501}, {1, 0, 0, 1, 0, 0}},
        {[] { mpb.ci = {300, 400}; }, {501}, {0, 0, 0, 0, 0, 0}},
        {[] { mpb.ci = {101, INT_MIN}; mpb.interMode = 8; }, {501}, {0, 0, 0, 0, 0, 0}},
        {[] { mpb.ci = {}; mpb.interMode = 9; }, {501}, {1, 0, 0, 1, 0, 0}},
        {[] { mpb.ci = {}; mcb.torqueRecordCtl.torqueRecordStatus = mcb.torqueRecordCtl.torqueCollisionFlag = 1; },
              {501}, {0, 0, 0, 1, 0, 0}},  // a replayed record takes the band's place
    };
    // clang-format on
    for (const auto& row : rows) {
        start();
        std::fill_n(mcb.torqueRecordCtl.torqueNegativeValue, 6, -1.0f);
        std::fill_n(mcb.torqueRecordCtl.torquePositiveValue, 6, 1.0f);
        mpb.collisionErrorCount[3] = 1;
        row.set();
        EXPECT_EQ(cycle(row.currents), row.counts) << "row " << &row - rows + 1;
    }
    start();
    supervisor.stateLast = 3;  // out of a pause
    mpb.collisionErrorCount[0] = 1;
    for (int i = 0; i < 200; i++) ASSERT_EQ(cycle({0, 501}), (Counts{1, 0, 0, 0, 0, 0})) << i;
    EXPECT_EQ(cycle({0, 501}), (Counts{1, 1, 0, 0, 0, 0}));
}

TEST(Supervisor, SeveralJointsFireInOneCycleAndWithoutADebounceTimeAllDo) {
    const std::string log = "Write_Log 2 mcbCollision:1300000",
                      rest = "\n; tmcPause; doConfigHandle 1 1; resetWeldControlPara; ";
    start();
    for (int i = 0; i < 2; i++) cycle({0, 501});
    mcb.collisionDetection.CustomCollisionFlag = 1;
    customThresholds.jointCollisionCount[4] = 2;
    EXPECT_EQ(cycle({0, 501, 0, 0, 600}), Counts(6, 0));  // joint 2 by the band, joint 5 by its own threshold
    EXPECT_EQ(fixture::callText(), log + "2" + rest + log + "5" + rest + "Write_Log 4 collisionError:5; ");
    EXPECT_EQ(afterCollision.forceCollisionError[4], 0.6);  // measured less expected
    start();
    mpb.collisionErrorTime = 0;
    mpb.sysJntsNo = 4;
    cycle();
    EXPECT_EQ(std::ranges::count(fixture::calls(), "tmcPause"), 4 * 2);
}

TEST(Supervisor, LogsAJointFaultOncePerEpisode) {
    start();
    std::string lines;
    for (unsigned fault : {7, 1, 2, 7, 1, 0, 6, 10, 1}) {
        mcb.collisionError = static_cast<ZvCollisionError>(0x13000000 + fault % 10);
        mpb.ci.c = fault == 10 ? 100 : 500;  // outside the gates the episode does not end
        cycle();
        lines += std::to_string(fault) + " " + fixture::callText();
        fixture::forgetCalls();
    }
    EXPECT_EQ(lines, "7 1 Write_Log 4 collisionError:1; 2 7 1 0 6 Write_Log 4 collisionError:6; 10 1 ");
}

TEST(Supervisor, ShowsTorquesAndMovesTheRecordOnBeforeEveryGate) {
    for (uint8_t compensated : {uint8_t{0}, uint8_t{1}}) {
        start();
        fixture::rateMotors(0.25f);
        mpb.state = 1;
        mcb.fricCompensationFlag = compensated;
        tarn::host::plannerValues.velocityGain[3] = 2;
        mpb.jCvel.v[3] = 0.01;
        mpb.jointDynFFRatio[3] = 0.5;
        how.currentSet[3] = 400;
        mcb.torqueRecordCtl.torqueRecordStatus = mcb.torqueRecordCtl.torqueRecordFlag = 1;
        cycle({0, 0, 0, 300});
        const double friction = compensated == 1 ? 0 : ref::friction(103, 1, 3, 0.01);
        EXPECT_NEAR(mpb.jTorqueTheory[3], (140 + 20) * 0.001 * 0.25 + friction / 100, 1e-7);
        EXPECT_NEAR(mpb.jActualTheory[3], 0.075, 1e-8);
        EXPECT_EQ(tarn::torqueRecord.writer.countInterval, 1);
    }
}

// clang-format off
TEST(Supervisor, AStepOfTheAccelerationOpensAWindowOfWidenedLimits) {
    start();
    const std::tuple<int, double, int> rows[] = {  // joint, degrees/s^2; the window's cycle after that, 0 with none
        {0, 50.9, 0}, {1, -50.9, 0}, {2, 50.9, 0},  {3, 900, 0}, {2, -60, 1}, {2, -60, 2}, {2, 50.5, 0},
        {0, 51.5, 1}, {0, 0, 2},     {1, -51.5, 1}, {5, 900, 2}, {2, 60, 1},  {2, 49, 2}};
    // clang-format on
    for (const auto& [joint, amount, time] : rows) {
        mpb.jCaccRaw.v[joint] += amount * 1e-6;
        cycle();
        EXPECT_EQ(supervisor.timeFlag * supervisor.collisionTime1, time) << joint << ", " << amount;
    }
    for (const auto& [accel, length] : {std::pair{1440.0, 251}, {1440.1, 201}}) {
        start();
        mpb.defaultJointAccel.v[1] = accel;
        mpb.jCaccRaw.v[0] = 1;
        int time = 0;
        for (cycle(); supervisor.timeFlag == 1 && time < 1000; cycle()) time++;
        EXPECT_EQ(time, length);
    }
}

// clang-format off
TEST(WidenedLimit, FollowsTheCurveAndTheScales) {
    const struct { int type; double accel; unsigned mode; float level; int time; double joint2, joint3; } rows[] = {
        {103, 1440, 2, 1,   30, 0.993879898, 1.325173198}, {103,  720, 2, 1,   30, 0.643855000, 0.858473333},
        {300,  720, 0, 2,  100, 0.567450000, 0.756600000}, {301,  720, 0, 10, 100, 0.354656250, 0.189150000},
        {400, 1440, 1, 10, 200, 1.459869928, 0.778597295}, {401, 1441, 1, 7,  250, 5.510474062, 7.347298750},
        {401, 1440, 1, 8,    1, 0.078345338, 0.104460451}};
    // clang-format on
    for (const auto& row : rows) {
        start(row.type);
        mpb.defaultJointAccel.v[1] = row.accel;
        mcb.mode = row.mode;
        mcb.speedScaleAuto = 0.25f;
        mcb.speedScaleManual = 0.75f;
        mpb.collisionLevel[1] = mpb.collisionLevel[2] = row.level;
        tarn::host::plannerValues.collisionRatio[1] = 0.75f;
        double limit[6];
        EXPECT_EQ(dynamicCurrentCollisionLimit(row.time, limit), 0);
        EXPECT_NEAR(limit[1], row.joint2, 1e-9) << &row - rows + 1;
        EXPECT_NEAR(limit[2], row.joint3, 1e-9) << &row - rows + 1;
    }
}

}  // namespace
