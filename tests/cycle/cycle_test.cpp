#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "support/fixture.h"
#include "support/reference.h"
#include "support/to_integer.h"
#include "tmcforceblock.h"

namespace {

using fixture::kInf;
using fixture::kNan;

constexpr int16_t kOld = 4321;
constexpr int kModel = INT_MAX;  // in a table of currents: that of the model
constexpr float kNanF = std::numeric_limits<float>::quiet_NaN(),
                kInfF = std::numeric_limits<float>::infinity();

// A host with gravity torque only (mode 0), every joint with values of its own; the pose to call with.
JNTS start(int type) {
    fixture::start(type);
    mcb.robotInstallYangle = 20;
    mcb.robotInstallZangle = -50;
    mcb.fricCompensationFlag = 0;
    mpb.loadWeight = 2.5;
    mpb.loadCoord = {12, -34, 56};
    mpb.moterRatedTorque_60 = 0.3f;
    mpb.moterRatedTorque_60L = 0.7f;
    mpb.moterRatedTorque_80 = 1.1f;
    mpb.moterRatedTorque_130 = 3.3f;
    mpb.moterRatedTorque_130L = 5.7f;
    for (int i = 0; i < 6; i++) {
        mpb.friction_Free[i] = 0.125f * static_cast<float>(i + 1);
        mpb.defaultJointVel.v[i] = 180;
        mpb.jC.v[i] = 7.0 * i;  // not what the models take
        mpb.jCvel.v[i] = 0.003 * (i + 1);
        mpb.j6vel.v[i] = -0.002 * (i + 1);
        mpb.ForDeadGain[i] = mpb.RevDeadGain[i] = mpb.ForFastGain[i] = mpb.RevFastGain[i] = 1.25;
        how.currentSet[i] = kOld;
    }
    return {{31, -62, 83, 24, -45, 16}, {}, 6};
}

// The currents are those of gravity with the active load and of shared friction, as the blocks stand; by
// default behind the gear of the type.
void expectCurrents(JNTS q, const std::string& what, double gear = 0) {
    EX_LOAD load{mpb.loadCoord, mpb.loadWeight};
    JNTS torque{};  // stays zero where no model answers
    zvmcNewGravityTorque(&q, &load, &torque);
    double friction[6] = {};
    const bool guiding = mpb.state == 4;
    if (mcb.fricCompensationFlag == 1 && !(guiding && mcb.forceControl.forceandtorquedrag.status == 1))
        frictionCompensation(guiding ? &mpb.j6vel : &mpb.jCvel, friction);
    for (int i = 0; i < 6; i++) {
        const double sum = torque.v[i] + friction[i] * static_cast<double>(mpb.friction_Free[i]);
        const double ratio = gear > 0 ? gear : ref::gearRatio(mcb.robotType, i);
        const double want = sum / (ref::ratedTorque(mcb.robotType, i) * ratio) * 1000.0;
        EXPECT_EQ(how.currentSet[i], ref::toCurrent(want))
            << what << ", type " << mcb.robotType << ", joint " << i + 1;
    }
}

TEST(Cycle, EveryTypeTurnsGravityAndFrictionIntoCurrents) {
    for (int type : ref::types()) {
        JNTS q = start(type);
        const JNTS given = q;
        mcb.robotInstallPos = static_cast<uint8_t>(type & 3);
        mcb.fricCompensationFlag = 1;
        gravityTorqueControl(&q);
        expectCurrents(q, "mounting " + std::to_string(type & 3));
        EXPECT_EQ(std::memcmp(&q, &given, sizeof q), 0) << "type " << type << " changed the pose";
        if (HasFailure()) break;
    }
}

TEST(Cycle, FrictionFollowsStateAndItsVelocity) {
    for (int state : {-1, 0, 1, 2, 3, 4, 5})
        for (int flag : {0, 1, 2})
            for (int drag : {0, 1, 2}) {
                JNTS q = start(501);                // no gravity model: friction alone,
                mpb.moterRatedTorque_60 = 0.0001f;  // and much current for it
                mcb.fricCompensationFlag = static_cast<uint8_t>(flag);
                mcb.forceControl.forceandtorquedrag.status = drag;
                mpb.state = state;
                gravityTorqueControl(&q);
                const std::string what = "state " + std::to_string(state) + ", flag " + std::to_string(flag) +
                                         ", drag " + std::to_string(drag);
                expectCurrents(q, what);
                const bool off = flag != 1 || (state == 4 && drag == 1);
                for (int16_t current : how.currentSet) EXPECT_EQ(current == 0, off) << what;
            }
}

TEST(Cycle, CurrentsTruncateWrapAndSaturate) {
    // rated torques from sane ones to none: over the 16 bits, over an int, infinite, negative, no number
    for (float rated : {1.0f, 0.01f, 1e-5f, 1e-9f, 1e-30f, 0.0f, -0.02f, kNanF}) {
        JNTS q = start(101);
        mpb.moterRatedTorque_80 = mpb.moterRatedTorque_60 = rated;
        gravityTorqueControl(&q);
        expectCurrents(q, "rated torque " + std::to_string(rated));
    }
    // no number gives 0 also where the processor at hand would give another value with the same low bits
    // clang-format off
    const std::pair<double, int> rows[] = {
        {1.9, 1},                {-1.9, -1},               {2147483647.5, INT_MAX}, {2147483648.0, INT_MAX},
        {-2147483649.0, INT_MIN}, {kInf, INT_MAX},         {-kInf, INT_MIN},        {kNan, 0},
    };
    // clang-format on
    for (const auto& [value, want] : rows) EXPECT_EQ(tarn::toInt(value), want) << value;
}

TEST(Cycle, UnknownModesRunNoModelAndUnknownMountingsFreezeTheCurrents) {
    for (int mode = 0; mode < 256; mode = std::max(mode + 1, 3))
        for (int mounting : {0, 3, 4, 7, 255}) {
            if (mode == 0 && mounting < 4) continue;  // known
            JNTS q = start(101);
            mcb.newTeachEnable = static_cast<uint8_t>(mode);
            mcb.robotInstallPos = static_cast<uint8_t>(mounting);
            mpb.friction_Free[1] = 2;
            gravityTorqueControl(&q);
            for (int16_t current : how.currentSet)
                EXPECT_EQ(current, mounting < 4 ? 0 : kOld) << "mode " << mode << ", mounting " << mounting;
            EXPECT_EQ(mpb.friction_Free[1], mounting < 4 ? 0.5f : 2);  // repaired where currents are written
            EXPECT_EQ(fixture::calls(), fixture::Lines{}) << "mode " << mode;
        }
}

TEST(Cycle, RepairsAFrictionShareBeyondItsRange) {
    // clang-format off
    const std::pair<float, float> rows[] = {  // given, kept
        {1, 1}, {0, 0}, {-1e-6f, -1e-6f}, {std::nextafter(1.0f, 2.0f), 0.5f}, {std::nextafter(-1e-6f, -1.0f), 0.5f},
        {-1, 0.5f}, {kInfF, 0.5f}, {-kInfF, 0.5f}, {kNanF, kNanF},
    };
    // clang-format on
    for (const auto& [given, kept] : rows)
        for (int joint = 0; joint < 6; joint++)
            for (int joints : {6, 3}) {
                JNTS q = start(101);
                mcb.fricCompensationFlag = 1;
                mpb.sysJntsNo = joints;
                mpb.friction_Free[joint] = given;
                gravityTorqueControl(&q);
                EXPECT_PRED3(fixture::near, mpb.friction_Free[joint], joint < joints ? kept : given, 0)
                    << given << " on joint " << joint + 1 << " of " << joints;
                if (joints == 6) expectCurrents(q, "repaired in the same cycle");
            }
}

TEST(Cycle, PublishesTheSelectedLoadRecord) {
    for (int num = 0; num < 256; num++) {
        JNTS q = start(101);
        for (int i = 0; i < MAXLOADNUM; i++) {
            mpb.loadWeightList[i] = 0.1 + i;
            mpb.loadCoordList[i] = {100.1 + i, 200.2 + i, -300.3 - i};
        }
        std::fill_n(mpb.frictionValue, 6, -7.0f);
        mpb.loadNum = static_cast<uint8_t>(num);
        gravityTorqueControl(&q);
        const double want[4] = {0.1 + num, 100.1 + num, 200.2 + num, -300.3 - num};
        for (int i = 0; i < 6; i++)
            EXPECT_EQ(mpb.frictionValue[i], num < MAXLOADNUM && i < 4 ? static_cast<float>(want[i]) : -7.0f)
                << "record " << num << ", value " << i;
    }
}

TEST(Cycle, LeavingAPauseToIdleEndsTheCustomCollisionCheck) {
    JNTS q = start(101);
    const auto cycle = [&](int state, int flag, int thresholds) {
        mpb.state = state;
        mcb.collisionDetection.CustomCollisionFlag = static_cast<uint8_t>(flag);
        mpb.collisionThresholdMode = static_cast<uint8_t>(thresholds);
        gravityTorqueControl(&q);
        return static_cast<int>(mcb.collisionDetection.CustomCollisionFlag);
    };
    EXPECT_EQ(cycle(1, 1, 1), 1);  // the first call comes from no pause
    for (int last = -1; last <= 5; last++)
        for (int state = -1; state <= 5; state++)
            for (int flag : {0, 1, 2})
                for (int thresholds : {0, 1, 2}) {
                    mcb.robotInstallPos =
                        static_cast<uint8_t>(flag == 2 ? 9 : 0);  // also with frozen currents
                    cycle(3, 1, 0);
                    cycle(last, 1, 0);
                    const bool ends = last == 3 && state == 1 && thresholds == 1;
                    EXPECT_EQ(cycle(state, flag, thresholds), ends ? 0 : flag)
                        << last << " to " << state << ", flag " << flag << ", thresholds " << thresholds;
                }
}

TEST(TorqueServo, ACommandReplacesTheModelWithoutGearAndASmallOneGivesItBehindAGearOfHundred) {
    // clang-format off
    const std::pair<double, int> rows[] = {  // torque, current: torque * 1000 / 0.7 at a rated torque of 1 N m
        {7, 10000},   {-7, -10000}, {0.7, 1000}, {0.00105, 1}, {-0.00105, -1}, {28, -25536}, {-28, 25536},
        {23, -32679}, {1e9, -1},    {-1e9, 0},   {kInf, -1},   {-kInf, 0},     {kNan, 0},    {1e-6, 0},
        {0, kModel},  {0.99e-6, kModel}, {-0.99e-6, kModel},
    };
    // clang-format on
    for (int type : {101, 702, 703, 901})
        for (int status : {0, 1, 2, 255})
            for (const auto& [torque, current] : rows) {
                JNTS q = start(type);
                mcb.servoJTStatus = static_cast<uint8_t>(status);
                mcb.fricCompensationFlag = 1;
                mpb.moterRatedTorque_60 = mpb.moterRatedTorque_60L = mpb.moterRatedTorque_80 = 1;
                std::fill_n(mpb.jTorque, 6, torque);
                gravityTorqueControl(&q);
                const std::string what = "status " + std::to_string(status) + ", " + std::to_string(torque);
                if (status != 1 || current == kModel)
                    expectCurrents(q, what, status == 1 ? 100 : 0);
                else
                    for (int16_t got : how.currentSet) EXPECT_EQ(got, current) << what;
            }
}

TEST(Cycle, WritesTheArmsJointsOnly) {
    for (int servo : {0, 1})
        for (int state : {1, 4})
            for (int joints : {0, 1, 4, 6, 7, 100, INT_MAX, -1, INT_MIN}) {
                JNTS q = start(101);
                mcb.servoJTStatus = static_cast<uint8_t>(servo);
                mcb.fricCompensationFlag = 1;
                mpb.state = state;
                mpb.sysJntsNo = joints;
                std::fill_n(mpb.jTorque, 6, 0.7);
                gravityTorqueControl(&q);  // publishes the load: the second call finds it done
                std::fill_n(how.currentSet, 6, kOld);
                const fixture::Blocks before;
                gravityTorqueControl(&q);
                for (int i = 0; i < 6; i++) {
                    EXPECT_EQ(how.currentSet[i] != kOld, i < joints) << joints << " joints, joint " << i + 1;
                    how.currentSet[i] = kOld;
                }
                EXPECT_TRUE(before.unchanged()) << joints << " joints: more than the currents was written";
            }
}

TEST(Cycle, NonNumbersGiveNoCurrentAndLeaveNothingBehind) {
    for (int type : {0, 1, 3, 101, 103, 201, 301, 401, 501, 701, 702, 901, 902, 1001})
        for (int state : {1, 4}) {
            JNTS q = start(type);
            mcb.fricCompensationFlag = 1;
            mpb.state = state;
            const JNTS velocities[] = {mpb.jCvel, mpb.j6vel};
            JNTS bad{{kNan, kNan, kNan, kNan, kNan, kNan}, {}, 6};
            mpb.jCvel = mpb.j6vel = mpb.jCacc = mpb.jCaccRaw = mpb.j6 = bad;
            gravityTorqueControl(&bad);
            for (int16_t current : how.currentSet) EXPECT_EQ(current, 0) << "type " << type;

            mpb.jCvel = velocities[0];
            mpb.j6vel = velocities[1];
            gravityTorqueControl(&q);
            expectCurrents(q, "after non-numbers");
        }
}

}  // namespace
