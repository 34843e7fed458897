// Values with a meaning of their own in every field, so that a swapped field, joint or unit shows.
#include <gtest/gtest.h>

#include <array>

#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

namespace {

using fixture::kInf;
using fixture::kNan;
using Six = std::array<double, 6>;
using Flags = std::array<uint8_t, 6>;

TEST(JointStatus, EveryFieldInItsUnit) {
    fixture::start(ROB_ZVC_V1_000);
    for (int i = 0; i < 6; i++) {
        mpb.jCvel.v[i] = 0.001 * (i + 1);
        mpb.j6vel.v[i] = -0.002 * (i + 1);
        mpb.jCacc.v[i] = 0.00003 * (i + 1);
        mpb.jCaccRaw.v[i] = 77;
        mpb.j6acc.v[i] = -0.00004 * (i + 1);
        mpb.jTorqueTheory[i] = 0.5F * static_cast<float>(i + 1);
        mpb.jActualTheory[i] = -0.25F * static_cast<float>(i + 1);
        mcb.collisionDetection.tcpRealForce[i] = 10.0F * static_cast<float>(i + 1);
    }
    mpb.j6vel.v[3] = kNan;
    mpb.sysJntsNo = 0;  // all six all the same
    const fixture::Blocks before;
    Six got[7];
    ASSERT_EQ(zvmcGetJointStatus(got[0].data(), got[1].data(), got[2].data(), got[3].data(), got[4].data(),
                                 got[5].data(), got[6].data()),
              0);
    EXPECT_TRUE(before.unchanged());
    const double unit[7] = {1, -2, 30, -40, 0.5, -0.25, 10};  // of joint 1; degrees/s, degrees/s^2, N m, N
    for (int k = 0; k < 7; k++)
        for (size_t i = 0; i < 6; i++) {
            const double want = k == 1 && i == 3 ? kNan : unit[k] * static_cast<double>(i + 1);
            EXPECT_TRUE(fixture::near(got[k][i], want, 1e-12)) << "value " << k << ", joint " << i + 1;
        }
}

TEST(JointStatus, CurrentsAndMotorTorques) {
    for (const int type : ref::types()) {
        fixture::start(type);
        mpb.moterRatedTorque_60 = 0.7F;
        mpb.moterRatedTorque_60L = 0.9F;
        mpb.moterRatedTorque_80 = 2.5F;
        mpb.moterRatedTorque_130 = 6.5F;
        mpb.moterRatedTorque_130L = 9.5F;
        for (int i = 0; i < 6; i++) {
            how.currentFeedback[i] = static_cast<int16_t>(i == 2 ? INT16_MIN : 100 * (i + 1));
            how.currentSet[i] = static_cast<int16_t>(-11 * (i + 1));
        }
        float rated[6];
        zvmcJointDefaultTorque(rated);
        Six current, commanded, measured;
        ASSERT_EQ(zvmcGetJointCurrent(current.data()), 0);
        ASSERT_EQ(zvmcOutTorqueMeoAndReal(commanded.data(), measured.data()), 0);
        for (size_t i = 0; i < 6; i++) {
            const double permille = i == 2 ? -32768 : 100.0 * static_cast<double>(i + 1);
            EXPECT_EQ(current[i], permille);
            const double torque = static_cast<double>(rated[i]) / 1000;
            EXPECT_NEAR(measured[i], permille * torque, 1e-12) << "type " << type << ", joint " << i + 1;
            EXPECT_NEAR(commanded[i], -11.0 * static_cast<double>(i + 1) * torque, 1e-12);
        }
    }
}

struct Zones {
    Flags joint;
    uint8_t box;
    std::array<uint8_t, 8> planes;
};

Zones zones() {
    Zones result;
    result.joint.fill(99);
    result.box = 99;
    EXPECT_EQ(zvmcGetInterfereStatus(result.joint.data(), &result.box, result.planes.data()), 0);
    return result;
}

TEST(InterfereStatus, RangesOfTheJoints) {
    fixture::start(ROB_ZVB);
    INTERFERE_JOINT& zone = mcb.interfereJoint;
    zone = {};
    const double position[6] = {-10, 0, 20, 20.001, -10.001, 5};
    for (int i = 0; i < 6; i++) {
        zone.min_joint[i] = -10;
        zone.max_joint[i] = 20;
        zone.enable_joint[i] = i != 5;
        mpb.j6.v[i] = position[i];
        mpb.jC.v[i] = 1000;  // the measured position counts
    }
    struct Case {
        uint8_t flag, mode;
        Flags want;
    };
    const Case cases[] = {{1, 0, {0, 1, 0, 0, 0, 0}},
                          {1, 1, {0, 0, 0, 1, 1, 0}},
                          {1, 2, {}},
                          {0, 0, {}},
                          {0, 1, {}},
                          {2, 0, {}},
                          {1, 255, {}}};
    for (const Case& c : cases) {
        zone.setFlag_joint = c.flag;
        zone.mode_joint = c.mode;
        EXPECT_EQ(zones().joint, c.want) << "flag " << +c.flag << ", mode " << +c.mode;
    }

    zone.setFlag_joint = 1;
    zone.enable_joint[1] = 2;  // only 1 is on
    mpb.j6.v[3] = kNan;
    mpb.j6.v[4] = -kInf;
    for (const uint8_t mode : {uint8_t{0}, uint8_t{1}}) {
        zone.mode_joint = mode;
        EXPECT_EQ(zones().joint, (Flags{0, 0, 0, 0, mode, 0}));
    }
    mpb.j6.v[4] = 0;
    EXPECT_EQ(zones().joint, Flags{}) << "nothing is latched";
}

TEST(InterfereStatus, BoxAndPlanes) {
    fixture::start(ROB_ZVB);
    for (int flag = 0; flag < 4; flag++)
        for (int place = 0; place < 4; place++) {
            mcb.interfereCube.setFlag_cube = static_cast<uint8_t>(flag);
            mpb.interfereJointCubeFlag = static_cast<uint8_t>(place);
            EXPECT_EQ(zones().box, flag == 1 && place == 2 ? 1 : 0) << flag << ", " << place;
        }
    for (int i = 0; i < 8; i++) mcb.safetyPlaneEnterFlag[i] = static_cast<uint8_t>(i + 1);
    EXPECT_EQ(zones().planes, (std::array<uint8_t, 8>{1, 2, 3, 4, 5, 6, 7, 8}));
}

// ---- limits

bool in(int type, int first, int last) { return first <= type && type <= last; }

Six speedLimits(int type) {
    if (in(type, 201, 400)) return {120, 120, 180, 180, 180, 180};
    if (in(type, 401, 500) || in(type, 1001, 1100)) return {120, 120, 120, 180, 180, 180};
    return {180, 180, 180, 180, 180, 180};
}

TEST(JointLimits, ByType) {
    std::vector<int> types = ref::types();
    types.insert(types.end(), {200, 201, 400, 401, 500, 501, 902, 903, 1000, 1001, 1100, 1101});
    for (const int type : types) {
        fixture::start(type);
        Six velMax;
        float AccMax[6];
        ASSERT_EQ(MaxJointVel(velMax.data()), 0);
        EXPECT_EQ(velMax, speedLimits(type)) << "type " << type;
        JointMaxAcc(AccMax);
        // twice the speed in a second, but 120 on the first three joints of the large arms
        const bool large = in(type, 401, 500) || in(type, 1001, 1100);
        for (size_t i = 0; i < 6; i++)
            EXPECT_EQ(static_cast<double>(AccMax[i]), large && i < 3 ? 120.0 : 2 * velMax[i])
                << "type " << type << ", joint " << i + 1;
    }
}

ZvMotionAlarm alarmAt(int state, const Six& speed) {  // degrees/s
    mpb.state = state;
    for (size_t i = 0; i < 6; i++) mpb.j6vel.v[i] = speed[i] / 1000;
    mcb.motionAlarm = zvCtlMotionNoAlarm;
    Six velMax;
    MaxJointVel(velMax.data());
    return mcb.motionAlarm;
}

TEST(JointLimits, SpeedAlarmOfHandGuiding) {
    for (const int type : {ROB_ZVB, ROB_ZVC_V1_000, ROB_ZVE_V1_000}) {
        fixture::start(type);
        const Six limit = speedLimits(type);
        for (size_t i = 0; i < 6; i++) {
            Six speed{};
            speed[i] = limit[i] + 0.1;
            const auto code = static_cast<ZvMotionAlarm>(0x22000004U + i);
            EXPECT_EQ(alarmAt(4, speed), code);
            for (const int state : {0, 1, 2, 3, 5}) EXPECT_EQ(alarmAt(state, speed), zvCtlMotionNoAlarm);
            for (const double slow : {limit[i] - 0.1, -limit[i] - 0.1, -kInf, kNan}) {
                speed[i] = slow;
                EXPECT_EQ(alarmAt(4, speed), zvCtlMotionNoAlarm) << "joint " << i + 1 << " at " << slow;
            }
        }
        EXPECT_EQ(alarmAt(4, {kNan, 500, 500, 0, 0, 0}), zvCtlJ2SpeedOver) << "the first joint only";
        mpb.sysJntsNo = 3;
        EXPECT_EQ(alarmAt(4, {0, 0, 0, 0, 0, kInf}), zvCtlJ6SpeedOver) << "all six joints";

        mcb.motionAlarm = zvCtlCollisionAlarm;
        mpb.state = 1;
        Six velMax;
        MaxJointVel(velMax.data());
        EXPECT_EQ(mcb.motionAlarm, zvCtlCollisionAlarm) << "outside guiding it stays";
    }
}

}  // namespace
