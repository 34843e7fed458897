// The drag as a whole: settings, gate, alarms, the way of the tool in each frame, hand-over and its lines.
#include <gtest/gtest.h>

#include <functional>

#include "force_control/dragged_arm.h"
#include "support/cycle_guard.h"

using namespace dragged;
using fixture::callText;

namespace {

// What a cycle asked the host to do, checked for real-time rules.
std::string cycle() {
    fixture::forgetCalls();
    EXPECT_EQ(tarn::test::guarded([] { zvmcForceSensorDragProcess(); }, tarn::test::SystemCallWatch::kNone),
              "");
    return callText();
}

constexpr const char* kMoved = "tmcUpdateJointCartGoalPos; ";
std::string marker(int number, int on) {
    return "tmcDragSwitch " + std::to_string(on) +
           "; Write_Log 2 zvCtlTCPSpeedOver After to DragMode mcb.collisionPauseFlag = : " +
           std::to_string(number) + "; ";
}

TEST(ForceDragSettings, AreCheckedBoundedStoredAndPersistedInOrder) {
    start();
    const fixture::Blocks before;
    for (int bad = 0; bad < 13; bad++) {
        double M[6] = {50, 5, 2, 1, 1, 1}, B[6] = {1, 1, 1, 1, 1, 1}, rest[6] = {};
        double* values = bad < 7 ? M : B;
        if (bad > 0) values[(bad - 1) % 6] = bad % 2 == 0 ? 0 : -1;
        EXPECT_EQ(zvmcEndForceDragstartstop(bad == 0 ? -1 : 1, 1, 1, 1, M, B, rest, rest, 0, 0), -1);
        EXPECT_EQ(std::exchange(mcb.ioError, zvCtlIOOK), zvCtlIOVALUEError) << bad;
        EXPECT_TRUE(before.unchanged() && callText().empty() && M[0] != 30) << bad;
    }
    double M[6] = {50, 4, 6, 0.05, 20, 1}, B[6] = {1, 2, 3, 4, 5, 6}, K[6] = {-1, 0, 1, 7, 8, 9};
    double F[6] = {11, 12, 13, 14, 15, 16}, bounded[6] = {30, 5, 6, 0.1, 10, 1};
    EXPECT_EQ(zvmcEndForceDragstartstop(2, 3, 4, 5, M, B, K, F, 60, 70), 0);
    std::string want;
    const auto key = [&want](const std::string& name, double value) {
        char text[32];
        std::snprintf(text, sizeof text, " %.9g; ", static_cast<double>(static_cast<float>(value)));
        want += "ConfigWriteEntry /usr/local/etc/controller/user.config FORCE_SENSOR " + name + text;
    };
    const std::pair<const char*, double*> rows[] = {
        {"ENDDRAG", F}, {"INERTIA_", bounded}, {"DAMP_", B}, {"STIFFNESS_", K}};
    for (const auto& [name, v] : rows)
        for (int i = 0; i < 6; i++)
            key(std::string("FORCESENSOR_") + name + (i > 2 ? "M" : v == F ? "F" : "") + "XYZ"[i % 3], v[i]);
    key("FORCESENSOR_ADAPTIVE_SIGN", 3), key("FORCESENSOR_INTERFERE_SIGN", 4);
    key("SINGULARITYCONSTRAINTSFLAG", 5);
    key("FORCESENSOR_ENDDRAGFMAX", 60), key("FORCESENSOR_ENDDRAGVMAX", 70);
    EXPECT_EQ(callText(), want);
    EXPECT_TRUE(std::equal(M, M + 6, bounded) && set.flag == 2);

    fixture::forgetCalls();
    EXPECT_EQ(tmcSetForceSensorDragAutoFlag(2), -1);
    EXPECT_EQ(tmcSetForceSensorDragAutoFlag(1), 0);
    want.clear(), key("FORCESENSOR_ENDDRAGAUTOFLAG", 1);
    EXPECT_TRUE(callText() == want && mcb.forceSensorDragAutoFlag == 1 && mcb.ioError == zvCtlIOOK);
    // status, sensor in use, result, flag then
    const int switches[][4] = {{0, 1, 0, 0}, {1, 1, 0, 1}, {2, 1, -1, 1}, {-1, 1, -1, 1}, {0, 0, -1, 1}};
    for (const auto& [status, act, result, flag] : switches) {
        mcb.forceControl.forceSensorAct = static_cast<uint8_t>(act);
        EXPECT_EQ(zvmcEndForceDragStartStopControl(status), result);
        EXPECT_EQ(std::exchange(mcb.ioError, zvCtlIOOK) == zvCtlIOVALUEError, result == -1);
        int state;
        zvmcGetEndForceDragStartStopState(&state);
        EXPECT_EQ(state, flag) << status << " " << act;
    }
}

TEST(ForceDragGate, IsClosedByEachConditionAloneAndThenClearsTheDrag) {
    const std::function<void()> conditions[] = {
        [] { mpb.state = TGEN_SERVICE; },
        [] { mcb.mode = 0; },
        [] { mcb.jogControl.jogCycleFlag = 1; },
        [] { tmcSetForceSensorAct(0, 0); },
        [] { zvmcEndForceDragStartStopControl(0); },
        [] { zvmcCloseForceSensor(); },
        [] { mcb.cmdPointError = zvCtlJointBackSpeedOver; },
        [] { mcb.collisionError = zvCtlFSCollisionError; },
        [] { zvmcEndForceDragStartStopControl(7), set.flag = 1; },
        [] { mcb.alarm = zvCtlWristConfigChange; },
        [] { mcb.interfereAlarm = zvCtlEnterInterfereAlarm; },
    };
    for (const auto& close : conditions) {
        start();
        mpb.forceRCS = {30, 20, 10, 1, 1, 1};
        tarn::baseFrameSnapshot.DragToCartFlag = 1;
        for (int n = 0; n < 50; n++) EXPECT_EQ(cycle(), kMoved);
        EXPECT_EQ(mcb.forceSensorDragFlagLast, 1);
        const JNTS stand = mpb.jC;
        EXPECT_GT(std::fabs(stand.v[0] - kPose[0]), 1e-4);
        close();
        EXPECT_EQ(cycle(), "") << &close - conditions;
        const auto& [cur_pos, cur_vel, lastF, Bmember, Bnum, Fflag, distance, way] = drag.motion;
        for (const double* v : {cur_pos, cur_vel, lastF, Bmember, Bnum})
            EXPECT_EQ(std::count(v, v + 6, 0.0), 6);
        EXPECT_EQ(tarn::baseFrameSnapshot.DragToCartFlag, 0);
        for (const auto& filter : tarn::forceFilters.EndForceDragfilter)
            EXPECT_TRUE(filter.index == 0 && filter.N == 3);
        // the next drag starts from where this one ended
        const JNTS commanded = mpb.jC;
        const TRSF flange = mpb.tC;
        fixture::start(101);
        mcb.mode = mcb.forceControl.forceSensorAct = 1;
        set.flag = 1, set.Vmax = 1e6;
        mpb.jC = commanded, mpb.tC = flange;
        mpb.forceRCS = {};
        EXPECT_EQ(cycle(), kMoved) << &close - conditions;
        for (int i = 0; i < 6; i++) EXPECT_NEAR(mpb.jC.v[i], stand.v[i], 5e-3);
    }
    EXPECT_TRUE(zvmcEndForceDragParamReset() == 0 && drag.motion.Fflag == 0);
}

// A pull moves the tool along an axis of the frame at F / B; a turn leaves the flange in place, or the tool's
// point where the frame is the tool's. 0.9916 is the gain of the force's filter.
TEST(ForceDrag, MovesTheToolInTheFrameOfTheForceAndStopsWithIt) {
    for (int frame : {0, 1, 2})
        for (int axis = 0; axis < 6; axis++) {
            start();
            std::fill_n(set.M, 3, 5.0);  // steady after the 300 cycles
            mcb.forceControl.forceSensorRcs = static_cast<uint8_t>(frame);
            mpb.TOOL = pose(rpy(10, 40, -60), {40, -30, 120});
            tarn::baseFrameSnapshot.t06Last = mpb.tC;
            const Eigen::Affine3d flange = affine(mpb.tC), tool = affine(toolPose());
            Matrix3 axes = (frame == 0 ? flange : tool).linear();
            if (frame == 1) axes.setIdentity();
            mpb.forceRCS = record((axis < 3 ? 20 : 2) * Wrench::Unit(axis));
            for (int n = 0; n < 300; n++) ASSERT_EQ(cycle(), kMoved);
            const Vector3 way = affine(toolPose()).translation() - tool.translation();
            const Eigen::AngleAxisd turn(affine(toolPose()).linear() * tool.linear().transpose());
            EXPECT_NEAR((axis < 3 ? way.normalized() : turn.axis()).dot(axes.col(axis % 3)), 1, 1e-5);
            if (axis < 3) {
                EXPECT_NEAR(drag.motion.cur_vel[axis], 0.9916 * 20 / set.B[axis], 1e-5);
                EXPECT_LT(turn.angle(), 1e-6);
            } else {
                const Vector3 flangeWay = affine(mpb.tC).translation() - flange.translation();
                EXPECT_LT((frame < 2 ? flangeWay : way).norm(), 2e-3) << frame << axis;
            }
            mpb.forceRCS = {};
            for (int n = 0; n < 1500; n++) cycle();
            const JNTS stand = mpb.jC;
            for (int n = 0; n < 100; n++) cycle();
            for (int i = 0; i < 6; i++) EXPECT_NEAR(mpb.jC.v[i], stand.v[i], 1e-6);
        }
}

TEST(ForceDragAlarm, EndsTheDragAndHoldsTheArm) {
    for (int joint = 0; joint < 7; joint++) {
        start();
        if (joint < 6) {  // an offset that takes one joint out of its limit
            JNTS moved = mpb.jC;
            moved.v[joint] += 0.3;
            TRSF goal, back;
            newFwdKinematics(&moved, &goal);
            invertTrsf(&back, &mpb.tC);
            multTrsf(&goal, &back, &goal);
            double* c = drag.motion.cur_pos;
            c[0] = goal.p.x, c[1] = goal.p.y, c[2] = goal.p.z;
            trsfToRpy(&c[5], &c[4], &c[3], &goal);
            set.Vmax = 250;
            mcb.forceControl.forceSensorRcs = 2;
        } else {
            mpb.jC.v[4] = 4;
        }
        const JNTS stand = mpb.jC;
        const std::string said = cycle();
        EXPECT_EQ(mcb.motionAlarm,
                  joint < 6 ? zvCtlJ1SpeedOver + static_cast<unsigned>(joint) : zvCtlStrangPosAlarm);
        EXPECT_EQ(set.flag, 0);
        EXPECT_EQ(std::memcmp(&mpb.jC, &stand, sizeof stand), 0);
        EXPECT_EQ(said.find(kMoved), std::string::npos);
        EXPECT_EQ(cycle(), "");
        EXPECT_EQ(drag.motion.cur_pos[0], 0);
    }
}

TEST(ForceDragNonNumbers, AreLoggedAndMoveNothing) {
    for (bool pose : {false, true}) {
        start();
        set.adaptive_sign = 1;
        if (pose) {
            set.flag = 0, mpb.jC.v[1] = fixture::kNan, cycle(), set.flag = 1;
        } else {
            mpb.forceRCS = {fixture::kNan, 1, fixture::kInf, 1, 1, 1};
        }
        const JNTS stand = mpb.jC;
        const std::string said = cycle();
        EXPECT_EQ(std::memcmp(&mpb.jC, &stand, sizeof stand), 0);
        EXPECT_EQ(mcb.motionAlarm, zvCtlStrangPosAlarm);
        for (const char* line :
             {"Write_Log 4 curPos ", "; Write_Log 4 jCRecord 20.000000 nan ", "; Write_Log 4 goalPos "})
            EXPECT_EQ(said.find(line) != std::string::npos, pose) << said;
    }
}

TEST(ForceDragHandOver, ReturnsFromJointDragInMotionAndClearOfSingularities) {
    const double rows[][4] = {
        // joint, angle, speed of the tool, back; joint 0 stands for the shoulder
        {1, 0, 50.1, 1},      {2, -170, 50.1, 1}, {2, 20, -50.1, 1},  {2, -19.9, 50.1, 0},
        {4, 179, 50.1, 1},    {4, -20, 50.1, 1},  {4, 19.9, 50.1, 0}, {5, -160, 50.1, 1},
        {5, 160.1, 50.1, 0},  {3, 70, 50.1, 1},   {3, 70.1, 50.1, 0}, {3, -250, 50.1, 1},
        {3, -250.1, 50.1, 0}, {0, 0, 50.1, 0},    {1, 0, -50, 0},     {1, 0, 50, 0}};
    for (const auto& [joint, angle, speed, back] : rows)
        for (int mode : {1, 2}) {
            start();
            mpb.state = TGEN_DRAG;
            mpb.tcpvel = speed;
            mpb.jC.v[static_cast<int>(joint)] = angle;
            if (joint == 0) mpb.tC = pose(Matrix3::Identity(), {120, 0, 400});
            drag.dragModelflag = static_cast<uint8_t>(mode);
            const bool over = mode == 2 && back == 1;
            EXPECT_EQ(cycle(), over ? marker(7, 0) : "") << joint << " " << angle << " " << speed;
            EXPECT_EQ(drag.dragModelflag, over ? 0 : mode);
        }
}

TEST(ForceDragHandOver, EntersJointZonesAndLeavesThemWithAMargin) {
    const double rows[][4] = {// mode, joint between -10 and 10, speed, released
                              {0, 11.1, 0, 1},   {0, 11, 101, 0},  {0, 10.5, 101, 1},  {0, 10.5, 100, 0},
                              {0, 10, 101, 0},   {0, -11.1, 0, 1}, {0, -10.5, 101, 1}, {0, -10.5, -200, 0},
                              {0, 5, 500, 0},    {1, 8.9, 0, 1},   {1, 9, 500, 0},     {1, 9.5, 101, 1},
                              {1, -9.5, 101, 1}, {1, -9.5, 99, 0}, {1, 11, 500, 0},    {2, 50, 500, 0}};
    for (const auto& [mode, angle, speed, released] : rows) {
        start();
        set.interfere_drag_sign = 1;
        mcb.interfereDrag = 1;
        INTERFERE_JOINT& zone = mcb.interfereJoint;
        zone.setFlag_joint = zone.enable_joint[3] = 1;
        zone.mode_joint = mode == 1;
        zone.min_joint[3] = -10, zone.max_joint[3] = 10;
        mpb.j6.v[3] = mode == 1 ? 12 : 0;
        for (int n = 0; n < 2; n++) EXPECT_EQ(cycle(), marker(8, 1) + kMoved);
        mpb.state = TGEN_DRAG;
        EXPECT_EQ(cycle(), "") << "still inside";
        zone.mode_joint = static_cast<uint8_t>(mode);
        mpb.j6.v[3] = angle, mpb.tcpvel = speed;
        EXPECT_EQ(cycle(), released == 1 ? marker(6, 0) : "") << mode << " " << angle << " " << speed;
        EXPECT_EQ(cycle(), "");
        EXPECT_EQ(drag.jointModeChangeFlag, released != 1);
    }
}

}  // namespace
