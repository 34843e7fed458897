// The time under the hand after a collision, over its whole life in the torque cycle.
#include "collision/after_collision.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "collision/torque_record.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

namespace {

using fixture::Lines;
using tarn::afterCollision;

constexpr double kDamp[6] = {0.5, 0.5, 0.5, 0.1, 0.1, 0};

Lines leaves(int place) {
    return {"tmcDragSwitch 0", "Write_Log 2 zvCtlTCPSpeedOver After to DragMode mcb.collisionPauseFlag = : " +
                                   std::to_string(place)};
}

// No torque model and no friction, and a current of 1000 is 1 N m at the joint; the arm under the hand.
void start(int type = 103) {
    fixture::start(type);
    fixture::rateMotors(0.01f);
    afterCollision = {};
    mcb.newTeachEnable = 7;
    mcb.fricCompensationFlag = 0;
    mpb.state = 4;
}

// One cycle; its currents are these torques.
void expectCycle(const double (&torque)[6], const std::string& what) {
    EXPECT_EQ(tarn::test::guarded([] { gravityTorqueControl(&mpb.j6); }), "") << what;
    for (int i = 0; i < 6; i++)
        ASSERT_EQ(how.currentSet[i], ref::toCurrent(torque[i] / (static_cast<double>(0.01f) * 100) * 1000))
            << what << ", joint " << i + 1;
}

// clang-format off
TEST(AfterCollision, EveryReactionLivesItsTimeAndEndsClean) {
    const struct { uint8_t flag, stateback, sensed; int time, place; } rows[] = {
        {3, 1, 0, 1000, 2}, {4, 0, 2, 5000, 2}, {5, 1, 2, 1500, 2}, {5, 1, 0, 1500, 3}};
    // clang-format on
    for (const auto& row : rows) {
        start();
        mcb.collisionPauseFlag = row.flag;
        mcb.collisionStateback = row.stateback;
        mcb.forceControl.collisionErrorState = row.sensed;
        mcb.collisionDetection.safeTime = 2000;
        mcb.collisionDetection.safeDistance = 7;
        mcb.collisionDetection.safeSpeed = 100;
        afterCollision = {row.time, 1, {}, {}, {0.02, 0.04, 0.06, 9, 9, 9}, {.6, .6, .6, .6, .6, .6}};
        for (int i = 0; i < 6; i++) mcb.collisionDetection.safetyMargin[i] = 1 + i;
        mpb.state = 1;
        expectCycle({}, "waits for the hand");
        mpb.state = 4;
        for (int left = row.time - 1; left >= 0; left--) {
            const double moved = 1 - static_cast<double>(left) / (row.time - 1),
                         way = (row.flag == 5 ? 1 : 9) * moved;
            const bool fast = left % 2 == 0;
            double want[6] = {};
            for (int i = 0; i < 6; i++) {
                mpb.jC.v[i] = 10 * i + moved;
                mpb.j6vel.v[i] = 1e-3 * std::sin(0.01 * left + i);
                if (row.flag == 4) want[i] = -5 * (mpb.jC.v[i] - 10 * i) - kDamp[i] * mpb.j6vel.v[i] * 1000;
                if (row.flag == 5 && i < 3)
                    want[i] = (0.6 - (i + 1) * std::exp((left - 2000) * 0.001 * (1 + i))) * (fast ? 0.25 : 1);
                if (left == 0) want[i] = 0;
            }
            mpb.tC.p = {100 + 2 * way, 200 + 3 * way, 300 + 6 * way};  // the push-back's just to 7 mm
            mpb.tcpvel = fast ? 400 : 99.9;
            expectCycle(want, "flag " + std::to_string(row.flag) + ", left " + std::to_string(left));
            if (HasFatalFailure()) return;
        }
        EXPECT_EQ(fixture::calls(), Lines{});
        // with time left the push-back ends out here; the end by time looks at no distance
        if (row.place == 3) afterCollision.CollisionAfterTime = 100;
        mpb.tC.p.z += 0.01;
        gravityTorqueControl(&mpb.j6);
        EXPECT_EQ(fixture::calls(), leaves(row.place));
        EXPECT_EQ(afterCollision.CollisionAfterTime + mcb.collisionStateback, 0);
        EXPECT_EQ(mcb.forceControl.collisionErrorState + afterCollision.ftCollisionData[5], 0);
        EXPECT_EQ(afterCollision.forceCollisionError[0], 0.02);
    }
}

// clang-format off
TEST(StaticCollision, APushAtStandstillHandsTheArmOverUntilLongAfterTheLastOne) {
    const struct { int type; double speed; int state; uint8_t on, stateback; int16_t current; int joints; } rows[] = {
        {103, 1.9, 1, 1, 0, 301, 1}, {103, -1.9, 4, 1, 0, -301, 1}, {103, 0, 3, 1, 0, 300, 0}, {0,    0, 1, 1, 0, 801, 6},
        {103, 2,   1, 1, 0, 301, 0}, {103, -2,   1, 1, 0,  301, 0}, {103, 0, 2, 1, 0, 301, 0}, {200,  0, 1, 1, 0, 601, 3},
        {103, 0,   1, 0, 0, 301, 0}, {103, 0,    1, 1, 1,  301, 0}, {201, 0, 1, 1, 0,   0, 6}, {1001, 0, 4, 1, 0,   0, 6}};
    // clang-format on
    for (const auto& row : rows) {
        const std::string what = "row " + std::to_string(&row - rows + 1);
        start(row.type);
        mcb.collisionDetection.staticCollisionFlag = row.on;
        mcb.collisionStateback = row.stateback;
        mcb.fricCompensationFlag = 1;
        mcb.torqueRecordCtl.torqueRecordStatus = mcb.torqueRecordCtl.torqueRecordFlag = 1;
        tarn::torqueRecord.writer = {};
        mpb.state = row.state;
        mpb.tcpvel = row.speed;
        std::fill_n(how.currentFeedback, 6, row.current);
        std::fill_n(mpb.j6vel.v, 6, 1e-3);
        EXPECT_EQ(tarn::test::guarded([] { gravityTorqueControl(&mpb.j6); }), "");
        Lines want;
        for (int i = 0; i < row.joints; i++)
            want.insert(want.end(), {"tmcDragSwitch 1", "Write_Log 2 Static Collision After to DragMode"});
        EXPECT_EQ(fixture::calls(), want) << what;
        EXPECT_EQ(mcb.fricCompensationFlag, row.joints > 0 ? 0 : 1) << what;
        if (row.joints == 0) continue;
        EXPECT_EQ(tarn::torqueRecord.writer.countInterval, 1) << what;
        fixture::forgetCalls();
        mpb.tcpvel = 2;  // under way, so the check sleeps
        for (int left = 999; left >= 0; left--) {
            EXPECT_EQ(fixture::calls(), Lines{}) << what << ", left " << left;
            expectCycle({-0.5, -0.5, -0.5, -0.1, -0.1, 0}, what);
        }
        EXPECT_EQ(fixture::calls(), leaves(4)) << what;
        expectCycle({}, what);
    }
    afterCollision.CollisionAfterTime = -5;  // the end of the time does not depend on the flag
    fixture::forgetCalls();
    expectCycle({}, "time below 0");
    EXPECT_EQ(fixture::calls(), leaves(4));
}

TEST(AfterCollision, WildSettingsStayInBounds) {  // the sanitizers look on
    const std::pair<int, double> pairs[] = {{INT_MIN, fixture::kNan}, {-1, fixture::kInf}, {INT_MAX, -1e300}};
    for (const auto& [wild, bad] : pairs)
        for (uint8_t flag : {uint8_t{0}, uint8_t{4}, uint8_t{5}}) {  // 0: the static stage
            start();
            mcb.collisionPauseFlag = flag;
            mcb.collisionStateback = flag > 0;
            mcb.collisionDetection.staticCollisionFlag = mcb.safetyPara.safetyStopEnable = 1;
            mcb.collisionDetection.safeTime = mcb.collisionDetection.safeDistance = wild;
            mpb.collisionErrorTime = mpb.sysJntsNo = wild;
            mpb.ci = {wild, INT_MIN};
            mpb.tcpvel = mpb.tC.p.x = mpb.jC.v[0] = mpb.jCaccRaw.v[1] = mpb.defaultJointAccel.v[1] = bad;
            afterCollision = {wild, 1, {}, {}, {}, {}};
            zvmcCheckForCollisionError();
            gravityTorqueControl(&mpb.j6);
            EXPECT_LE(afterCollision.CollisionAfterTime, std::max(wild, 1000));
            EXPECT_GE(afterCollision.CollisionAfterTime, wild < 0 ? 0 : wild - 1);
        }
}

}  // namespace
