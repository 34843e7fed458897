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

// A quiet host with gravity torque only (mode 0), friction off, every joint with values of its own.
JNTS start(int type) {
    fixture::start(type);
    mcb.newTeachEnable = 0;
    mcb.robotInstallPos = 0;
    mcb.robotInstallYangle = 20;
    mcb.robotInstallZangle = -50;
    mcb.fricCompensationFlag = 0;
    mcb.jointStiffnessType = 0;
    mcb.servoJTStatus = 0;
    mcb.forceControl.forceandtorquedrag.status = 0;
    mcb.collisionDetection.powerFlag = 0;
    mpb.state = 1;
    mpb.sysJntsNo = 6;
    mpb.loadWeight = 2.5;
    mpb.loadCoord = {12, -34, 56};
    mpb.loadNum = 0;
    mpb.moterRatedTorque_60 = 0.3f;
    mpb.moterRatedTorque_60L = 0.7f;
    mpb.moterRatedTorque_80 = 1.1f;
    mpb.moterRatedTorque_130 = 3.3f;
    mpb.moterRatedTorque_130L = 5.7f;
    JNTS q{{31, -62, 83, 24, -45, 16}, {}, 6};
    for (int i = 0; i < 6; i++) {
        mpb.friction_Free[i] = 0.125f * static_cast<float>(i + 1);
        mpb.defaultJointVel.v[i] = 180;
        mpb.jC.v[i] = 7.0 * i;  // not what the models take
        mpb.jCvel.v[i] = 0.003 * (i + 1);
        mpb.j6vel.v[i] = -0.002 * (i + 1);
        mpb.ForDeadGain[i] = mpb.RevDeadGain[i] = mpb.ForFastGain[i] = mpb.RevFastGain[i] = 1.25;
        mpb.jTorque[i] = 0;
        how.currentSet[i] = kOld;
    }
    return q;
}

// Joint torque of a cycle: gravity with the active load (zero where no model answers), and shared friction.
struct Sum {
    double v[6];
};
Sum expectedTorque(JNTS q, bool gravity, const double* friction) {
    EX_LOAD load{};
    load.mass = mpb.loadWeight;
    load.cmc = mpb.loadCoord;
    JNTS torque{};
    if (gravity) zvmcNewGravityTorque(&q, &load, &torque);
    Sum sum;
    for (int i = 0; i < 6; i++)
        sum.v[i] = torque.v[i] + (friction ? friction[i] * static_cast<double>(mpb.friction_Free[i]) : 0);
    return sum;
}

void expectCurrents(const Sum& torque, const std::string& what) {
    for (int i = 0; i < 6; i++) {
        const double rated = ref::ratedTorque(mcb.robotType, i);
        const double thousandths = torque.v[i] / (rated * ref::gearRatio(mcb.robotType, i)) * 1000.0;
        EXPECT_EQ(how.currentSet[i], ref::toCurrent(thousandths)) << what << ", joint " << i + 1;
    }
}

std::string typeText(int type) { return "type " + std::to_string(type); }

TEST(Cycle, EveryTypeTurnsGravityAndFrictionIntoCurrents) {
    for (int type = ref::kFirstType; type <= ref::kLastType && !HasFailure(); type++) {
        JNTS q = start(type);
        const JNTS given = q;
        mcb.robotInstallPos = static_cast<uint8_t>((type + 1) % 4);
        mcb.fricCompensationFlag = 1;
        double friction[6];
        frictionCompensation(&mpb.jCvel, friction);
        gravityTorqueControl(&q);
        expectCurrents(expectedTorque(q, true, friction), typeText(type));
        EXPECT_EQ(std::memcmp(&q, &given, sizeof q), 0) << typeText(type) << " changed the pose";
    }
    for (int type : {INT_MIN, INT_MAX, -1000}) {
        JNTS q = start(type);
        gravityTorqueControl(&q);
        expectCurrents(expectedTorque(q, true, nullptr), typeText(type));
    }
}

TEST(Cycle, CurrentsTruncateWrapAndSaturate) {
    // rated torques from sane ones to none: over the 16 bits, over an int, infinite, negative, no number
    for (float rated :
         {1.0f, 0.01f, 1e-5f, 1e-9f, 1e-30f, 0.0f, -0.02f, std::numeric_limits<float>::quiet_NaN()}) {
        JNTS q = start(101);
        mpb.moterRatedTorque_80 = mpb.moterRatedTorque_60 = rated;
        gravityTorqueControl(&q);
        expectCurrents(expectedTorque(q, true, nullptr), "rated torque " + std::to_string(rated));
    }
}

// No number gives 0 also where the processor at hand would give another value with the same low bits.
TEST(ToInteger, TruncatesSaturatesAndTakesNoNumberAsZero) {
    const struct {
        double value;
        int want;
    } rows[] = {{1.9, 1},
                {-1.9, -1},
                {2147483647.5, INT_MAX},
                {2147483648.0, INT_MAX},
                {-2147483649.0, INT_MIN},
                {kInf, INT_MAX},
                {-kInf, INT_MIN},
                {kNan, 0}};
    for (const auto& row : rows) EXPECT_EQ(tarn::toInt(row.value), row.want) << row.value;
}

TEST(Cycle, AnUnknownMountingFreezesTheCurrents) {
    for (int mode : {0, 3})
        for (int mounting : {4, 7, 255}) {
            JNTS q = start(101);
            mcb.newTeachEnable = static_cast<uint8_t>(mode);
            mcb.robotInstallPos = static_cast<uint8_t>(mounting);
            mcb.fricCompensationFlag = 1;
            mpb.friction_Free[1] = 2;
            gravityTorqueControl(&q);
            for (int16_t current : how.currentSet) EXPECT_EQ(current, kOld) << "mounting " << mounting;
            EXPECT_EQ(mpb.friction_Free[1], 2.0f);  // repaired only where currents are written
        }
}

TEST(Cycle, UnknownModesRunNoModel) {
    for (int mode = 3; mode < 256; mode++) {
        JNTS q = start(101);
        mcb.newTeachEnable = static_cast<uint8_t>(mode);
        gravityTorqueControl(&q);
        for (int16_t current : how.currentSet) EXPECT_EQ(current, 0) << "mode " << mode;
        EXPECT_TRUE(fixture::calls().empty()) << "mode " << mode;
    }
}

TEST(Cycle, RepairsAFrictionShareBeyondItsRange) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    const struct {
        float given, kept;
    } rows[] = {{1.0f, 1.0f},     {std::nextafter(1.0f, 2.0f), 0.5f},
                {-1e-6f, -1e-6f}, {std::nextafter(-1e-6f, -1.0f), 0.5f},
                {0, 0},           {-1, 0.5f},
                {inf, 0.5f},      {-inf, 0.5f},
                {nan, nan}};
    for (const auto& row : rows)
        for (int joint = 0; joint < 6; joint++)
            for (int joints : {6, 3}) {
                JNTS q = start(101);
                mcb.fricCompensationFlag = 1;
                mpb.sysJntsNo = joints;
                mpb.friction_Free[joint] = row.given;
                double friction[6] = {};
                frictionCompensation(&mpb.jCvel, friction);
                gravityTorqueControl(&q);
                SCOPED_TRACE(testing::Message()
                             << row.given << " on joint " << joint + 1 << " of " << joints);
                const float want = joint < joints ? row.kept : row.given;
                if (std::isnan(want))
                    EXPECT_TRUE(std::isnan(mpb.friction_Free[joint]));
                else
                    EXPECT_EQ(mpb.friction_Free[joint], want);
                if (joints == 6)
                    expectCurrents(expectedTorque(q, true, friction), "repaired in the same cycle");
            }
}

TEST(Cycle, PublishesTheSelectedLoadRecord) {
    for (int num = 0; num < 256; num++) {
        JNTS q = start(101);
        for (int i = 0; i < MAXLOADNUM; i++) {
            mpb.loadWeightList[i] = 0.1 + i;
            mpb.loadCoordList[i] = {100.1 + i, 200.2 + i, -300.3 - i};
        }
        for (float& value : mpb.frictionValue) value = -7;
        mpb.loadNum = static_cast<uint8_t>(num);
        gravityTorqueControl(&q);
        const bool known = num < MAXLOADNUM;
        const double n = num;
        const double want[4] = {0.1 + n, 100.1 + n, 200.2 + n, -300.3 - n};
        for (int i = 0; i < 6; i++)
            EXPECT_EQ(mpb.frictionValue[i], known && i < 4 ? static_cast<float>(want[i]) : -7.0f)
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

TEST(Cycle, FrictionFollowsStateAndItsVelocity) {
    for (int state : {-1, 0, 1, 2, 3, 4, 5})
        for (int flag : {0, 1, 2})
            for (int drag : {0, 1, 2}) {
                JNTS q = start(501);  // no gravity model: friction alone
                mpb.moterRatedTorque_60 = 0.01f;
                mcb.fricCompensationFlag = static_cast<uint8_t>(flag);
                mcb.forceControl.forceandtorquedrag.status = drag;
                mpb.state = state;
                gravityTorqueControl(&q);
                const bool off = flag != 1 || (state == 4 && drag == 1);
                for (int i = 0; i < 6; i++) {
                    const double v = (state == 4 ? mpb.j6vel : mpb.jCvel).v[i];
                    const double torque =
                        ref::friction(501, state, i, v) * static_cast<double>(mpb.friction_Free[i]);
                    // torque in thousandths of 0.01 N m behind a gear of 100; a count for the truncation
                    EXPECT_NEAR(how.currentSet[i], off ? 0 : torque * 1000, off ? 0 : 1)
                        << "state " << state << ", flag " << flag << ", drag " << drag << ", joint " << i + 1;
                    EXPECT_TRUE(off || how.currentSet[i] != 0);
                }
            }
}

TEST(TorqueServo, ACommandReplacesTheModelWithoutGear) {
    const struct {
        double torque;
        int16_t current;  // torque * 1000 / 0.7 at a rated torque of 1 N m
    } rows[] = {{7, 10000},   {-7, -10000}, {0.7, 1000},  {0.00105, 1}, {-0.00105, -1},
                {28, -25536}, {-28, 25536}, {23, -32679}, {1e9, -1},    {-1e9, 0},
                {kInf, -1},   {-kInf, 0},   {kNan, 0},    {1e-6, 0}};
    for (int type : {101, 901})
        for (const auto& row : rows) {
            JNTS q = start(type);
            mcb.servoJTStatus = 1;
            mcb.fricCompensationFlag = 1;
            mpb.moterRatedTorque_60 = mpb.moterRatedTorque_60L = mpb.moterRatedTorque_80 = 1;
            std::fill_n(mpb.jTorque, 6, row.torque);
            gravityTorqueControl(&q);
            for (int i = 0; i < 6; i++)
                EXPECT_EQ(how.currentSet[i], row.current) << row.torque << " N m, joint " << i + 1;
        }
}

TEST(TorqueServo, ASmallCommandGivesTheModelBehindAGearOfHundred) {
    for (int type : {101, 702, 703, 901})
        for (double small : {0.0, 0.99e-6, -0.99e-6}) {
            JNTS q = start(type);
            mcb.servoJTStatus = 1;
            mcb.fricCompensationFlag = 1;
            std::fill_n(mpb.jTorque, 6, small);
            mpb.jTorque[2] = 1e-6;  // no longer small
            double friction[6];
            frictionCompensation(&mpb.jCvel, friction);
            const Sum torque = expectedTorque(q, true, friction);
            gravityTorqueControl(&q);
            for (int i = 0; i < 6; i++) {
                const double rated = ref::ratedTorque(type, i);
                const double want = i == 2 ? 0 : torque.v[i] / (rated * 100) * 1000;
                EXPECT_EQ(how.currentSet[i], ref::toCurrent(want)) << typeText(type) << ", joint " << i + 1;
            }
        }
}

TEST(TorqueServo, OnlyStatusOneCommands) {
    for (int status : {0, 2, 255}) {
        JNTS q = start(101);
        mcb.servoJTStatus = static_cast<uint8_t>(status);
        std::fill_n(mpb.jTorque, 6, 5.0);
        gravityTorqueControl(&q);
        expectCurrents(expectedTorque(q, true, nullptr), "status " + std::to_string(status));
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
                gravityTorqueControl(
                    &q);  // publishes the load, repairs shares: the second call finds it done
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
            gravityTorqueControl(&q);
            int16_t clean[6];
            std::copy_n(how.currentSet, 6, clean);

            const JNTS velocities[] = {mpb.jCvel, mpb.j6vel};
            JNTS bad{{kNan, kNan, kNan, kNan, kNan, kNan}, {}, 6};
            mpb.jCvel = mpb.j6vel = mpb.jCacc = mpb.jCaccRaw = mpb.j6 = bad;
            gravityTorqueControl(&bad);
            for (int16_t current : how.currentSet) EXPECT_EQ(current, 0) << typeText(type);

            mpb.jCvel = velocities[0];
            mpb.j6vel = velocities[1];
            gravityTorqueControl(&q);
            for (int i = 0; i < 6; i++)
                EXPECT_EQ(how.currentSet[i], clean[i]) << typeText(type) << ", joint " << i + 1;
        }
}

}  // namespace
