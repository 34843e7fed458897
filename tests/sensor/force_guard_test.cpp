#include <gtest/gtest.h>

#include <algorithm>

#include "collision/after_collision.h"
#include "numeric/filter_records.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "support/reference.h"
#include "tarnhost/planner_values.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"

namespace {

// clang-format off
using fixture::kInf, fixture::kNan;
using tarn::afterCollision;

FORCE_CONTROL& control = mcb.forceControl;

double& axis(FORCESENSOR_DATA& w, int i) { return (&w.fx)[i]; }

// Armed on all axes, each with a band from 7 to 15, the force in the middle; the arm in motion.
void start(int type = 103) {
    fixture::start(type);
    afterCollision = {};
    tarn::forceFilters.filt6 = {};
    control.forceSensorAct = control.collisionFlag = 1;
    std::fill_n(control.collisionSelect, 6, uint8_t{1});
    for (int i = 0; i < 6; i++) {
        axis(control.collisionCur, i) = axis(mpb.forceRCS, i) = 10;
        axis(control.collisionMax, i) = 5;
        axis(control.collisionMin, i) = 3;
    }
    mpb.state = 2;
}

TEST(ForceGuard, StartChecksAndStoresInOrder) {
    const struct { int status, sensor, select, act, result; bool fault; int taken; } rows[] = {  // sensor 255 has number 9, the present one 1
        {2, -1, 2, 0, -1, true, 1},  {1, -1, 0, 1, -1, false, 1}, {1, 257, 0, 1, -1, false, 1}, {0, 0, 2, 0, -1, false, 1}, {1, 0, 1, 0, -2, false, 1},
        {1, 255, 1, 1, 0, false, 9}, {1, 256, 1, 1, 0, false, 1}, {0, 255, 0, 1, 0, false, 1},  {1, 255, 0, 2, 0, false, 9}};
    for (const auto& [status, sensor, select, act, result, fault, taken] : rows) {
        start();
        control.collisionFlag = 7, control.forceSensorAct = static_cast<uint8_t>(act);
        mpb.posSensorCtl.posSensorInstall = 1, mpb.posSensorCtlList[255].posSensorInstall = 9;
        uint8_t axes[6] = {0, 1, 0, 1, 0, static_cast<uint8_t>(select)};
        FORCESENSOR_DATA cur = {1, 2, 3, 4, 5, 6}, up = {2, 3, 4, 5, 6, 7}, down = {3, 4, 5, 6, 7, 8};
        const fixture::Blocks before;
        EXPECT_EQ(tmcCollisionStartStop(static_cast<uint8_t>(status), sensor, axes, cur, up, down, 77), result);
        EXPECT_EQ(mcb.ioError == zvCtlIOVALUEError, fault);
        EXPECT_EQ(mpb.currentLine, 77);
        EXPECT_EQ(mpb.posSensorCtl.posSensorInstall, taken) << &sensor - &rows[0].sensor;
        EXPECT_TRUE(fixture::calls().empty());
        if (result == 0) {
            EXPECT_EQ(control.collisionFlag, status);
            for (int i = 0; i < 6; i++)
                EXPECT_TRUE(control.collisionSelect[i] == axes[i] && axis(control.collisionCur, i) == i + 1 &&
                            axis(control.collisionMax, i) == i + 2 && axis(control.collisionMin, i) == i + 3);
        } else {
            mcb.ioError = zvCtlIOOK, mpb.currentLine = 0;
            EXPECT_TRUE(before.unchanged());
        }
    }
}

TEST(ForceGuard, LooksAtTheWatchedAxesOnlyAndEqualityIsInside) {
    const struct { double force; int select, act, armed; bool hits; } rows[] = {
        {15, 1, 1, 1, false},   {15.0001, 1, 1, 1, true},  {7, 1, 1, 1, false},     {6.9999, 1, 1, 1, true}, {-kInf, 1, 1, 1, true},
        {kNan, 1, 1, 1, false}, {1e300, 0, 1, 1, false}, {1e300, 2, 1, 1, false}, {1e300, 1, 0, 1, false}, {1e300, 1, 2, 1, false},
        {1e300, 1, 1, 0, false}, {1e300, 1, 1, 2, false}};
    for (int i = 0; i < 6; i++)
        for (const auto& [force, select, act, armed, hits] : rows) {
            start();
            axis(mpb.forceRCS, i) = force;
            control.collisionSelect[i] = static_cast<uint8_t>(select);
            control.forceSensorAct = static_cast<uint8_t>(act), control.collisionFlag = static_cast<uint8_t>(armed);
            const fixture::Blocks before;
            EXPECT_EQ(collisionControl(), 0);
            EXPECT_EQ(before.unchanged() && fixture::calls().empty(), !hits) << "axis " << i << ", " << force;
        }
}

TEST(ForceGuard, EveryReactionWithMotionAndWithout) {
    const std::string rest = "doConfigHandle 1 1; resetWeldControlPara; ",
                      drag = "tmcStop; tmcDragSwitch 1; Write_Log 2 zvCtlTCPSpeedOver After to DragMode mcb.collisionPauseFlag = : ";
    const struct { int flag; bool armed; unsigned fault; int asked; float time; std::string moving, resting; } rows[] = {
        {0, true, 7, 3, 4, "tmcPause; " + rest, rest},   {1, true, 1, 3, 4, "", ""},                      {2, false, 7, 3, 4, "tmcStop; " + rest, rest},
        {3, false, 7, 1, 1000, drag + "10; " + rest, rest}, {4, false, 7, 1, 5000, drag + "11; " + rest, rest}, {5, true, 5, 1, -1234, drag + "12; " + rest, rest},
        {6, false, 7, 3, 4, "tmcStop; " + rest, rest},   {255, false, 7, 3, 4, "tmcStop; " + rest, rest}};
    const std::pair<int, int> motions[] = {{2, 0}, {2, 1}, {1, 0}, {3, 0}, {4, 0}};  // state, jogging; the first is one
    for (const auto& row : rows)
        for (const auto& [state, jog] : motions) {
            start();
            mcb.collisionPauseFlag = static_cast<uint8_t>(row.flag);
            mcb.collisionError = zvCtlJ5CollisionError;
            mcb.collisionDetection.safeTime = -1234;
            mcb.jogControl.modeCTL = static_cast<uint8_t>(jog), mpb.state = state;
            control.collisionErrorState = 3, control.collisionStateTime = 4;
            mpb.forceRCS.mx = mpb.forceRCS.fx = 16;  // two axes, one reaction
            EXPECT_EQ(tarn::test::guarded([] { collisionControl(); }), "");
            const std::string once = &state == &motions[0].first ? row.moving : row.resting, what = std::to_string(row.flag) + " " + std::to_string(state);
            EXPECT_EQ(fixture::callText(), once) << what;
            EXPECT_EQ(control.collisionFlag, row.armed) << what;
            EXPECT_EQ(mcb.collisionError, 0x13000000u + row.fault) << what;
            EXPECT_TRUE(control.collisionErrorState == row.asked && control.collisionStateTime == row.time) << what;
            collisionControl();
            EXPECT_EQ(fixture::callText(), row.armed ? once + once : once) << what;
        }
}

// From the hit over the time under the hand to its end, in the order of a host's cycle.
TEST(ForceGuard, HandsTheArmOverForTheTimeOfItsReaction) {
    const struct { uint8_t flag, compensated; int time; } rows[] = {{3, 0, 1000}, {4, 1, 5000}, {5, 0, 1500}, {5, 1, 1500}};
    for (const auto& [flag, compensated, time] : rows) {
        start();
        fixture::rateMotors(0.01f);  // a current of 1000 is 1 N m at the joint
        mcb.newTeachEnable = 7, mpb.sysJntsNo = 5;
        mcb.fricCompensationFlag = compensated, mcb.collisionPauseFlag = flag;
        mcb.collisionDetection.safeTime = 1500, mcb.collisionDetection.safeDistance = 5, mcb.collisionDetection.safeSpeed = 100;
        std::fill_n(mcb.collisionDetection.safetyMargin, 6, 1.0);
        control.forceOriginEnd = {300, -200, 900, 1, 2, 3};
        newFwdKinematics(&mpb.j6, &mpb.tC);
        double sensed[6], error[6];
        zvmcForceDataToTorque(mpb.j6.v, sensed);
        tarn::forceFilters.filt6 = {};
        for (int i = 0; i < 6; i++) {
            tarn::host::plannerValues.velocityGain[i] = 2;
            mpb.jointDynFFRatio[i] = 1, mpb.jCvel.v[i] = 0.01, mpb.jC.v[i] = 5;
            how.currentFeedback[i] = static_cast<int16_t>(200 + 10 * i);
            afterCollision.forceCollisionError[i] = 9;
        }
        mpb.forceRCS.fz = -50;
        for (int n = 0; n < 4; n++) {  // the host needs three cycles until the arm is under the hand
            if (n == 3) mpb.state = 4, mpb.jCvel = {};
            how.currentSet[4] = 31;  // the one expected besides feed-forward and friction
            short expected[6] = {};
            zvmcTorqueRecordCollision(expected);
            float vAdd[6] = {};
            newJointVelFFTorque(vAdd);
            collisionControl();
            const bool taken = control.collisionErrorState == 1;
            EXPECT_EQ(taken, n == 0 || flag == 5) << "flag 5 is raised anew each time";
            if (taken) control.collisionStateTime += 0.9f;
            EXPECT_EQ(tarn::test::guarded([] { gravityTorqueControl(&mpb.j6); }), "");
            EXPECT_EQ(afterCollision.CollisionAfterTime, n < 3 ? time : time - 1) << n;
            EXPECT_TRUE(control.collisionErrorState == 2 && afterCollision.CollisionStartFlag == (n < 3)) << n;
            for (int i = 0; i < 6; i++) {
                const double friction = compensated == 1 ? 0 : ref::friction(103, mpb.state, i, mpb.jCvel.v[i]);
                const double rated = static_cast<double>(0.01f) / 1000;
                if (taken) error[i] = i < 5 ? 5 * (rated * (how.currentFeedback[i] - expected[i] - static_cast<double>(vAdd[i])) - friction / 100) : 9;
                EXPECT_NEAR(afterCollision.forceCollisionError[i], error[i], 1e-12) << n << ", joint " << i + 1;
                EXPECT_TRUE(n > 0 || afterCollision.ftCollisionData[i] == sensed[i]) << i;
            }
        }
        EXPECT_EQ(control.collisionFlag, flag == 5);
        mpb.forceRCS.fz = 10, mpb.jC.v[1] = 4.9;  // off the pose where it began
        fixture::forgetCalls();
        for (int left = time - 2; left >= -1; left--) {
            ASSERT_TRUE(fixture::calls().empty() && control.collisionErrorState == 2) << left;
            const double push = afterCollision.ftCollisionData[1] - error[1] * 100 * std::exp((left - 1500) * 0.001) * 0.5;
            collisionControl();
            gravityTorqueControl(&mpb.j6);
            const double want = left <= 0 || flag == 3 ? 0 : flag == 4 ? 5 * (5 - 4.9) : push;
            ASSERT_EQ(how.currentSet[1], ref::toCurrent(want / (static_cast<double>(0.01f) * 100) * 1000)) << int{flag} << " " << left;
        }
        EXPECT_EQ(control.collisionErrorState + afterCollision.ftCollisionData[1], 0);
        EXPECT_EQ(fixture::callText(), "tmcDragSwitch 0; Write_Log 2 zvCtlTCPSpeedOver After to DragMode mcb.collisionPauseFlag = : 2; ");
    }
}
// clang-format on

}  // namespace
