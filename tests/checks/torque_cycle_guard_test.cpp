// The torque cycle keeps to real-time rules: no allocation, lock, throw or system call, in any setting, from
// the first call of the process on. Each test runs in a process of its own.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "support/cycle_guard.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnhost/log.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

using namespace tarn::test;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class TorqueCycle : public testing::Test {
  protected:
    void SetUp() override { (void)systemCallWatch(); }  // chosen before the first guarded call
    void TearDown() override {
        if (systemCallWatch() == SystemCallWatch::kNone) GTEST_SKIP() << systemCallWatchRefusal();
    }
};

// A moving arm of the given type: pose, speeds below the limit of plausibility, a load.
void setArm(int robotType, int mounting, int state, std::mt19937_64& random) {
    std::uniform_real_distribution<double> share(-1.0, 1.0);
    tarn::host::setDefaults(robotType);
    mcb.robotInstallPos = static_cast<uint8_t>(mounting);
    mcb.robotInstallYangle = 180.0 * share(random);
    mcb.robotInstallZangle = 180.0 * share(random);
    mpb.state = state;
    mpb.loadWeight = 2.0;
    mpb.loadCoord = {10.0, -20.0, 60.0};
    for (int i = 0; i < NUM_JNTS; i++) {
        mpb.j6.v[i] = 180.0 * share(random);
        mpb.jC.v[i] = mpb.j6.v[i] + 0.01 * share(random);
        mpb.j6vel.v[i] = 0.1 * share(random);
        mpb.jCvel.v[i] = 0.1 * share(random);
    }
}

std::string cycleFindings() {
    return guarded([] { gravityTorqueControl(&mpb.j6); });
}

std::string setting() {
    return "type " + std::to_string(mcb.robotType) + ", mounting " + std::to_string(mcb.robotInstallPos) +
           ", state " + std::to_string(mpb.state) + ", friction " + std::to_string(mcb.fricCompensationFlag);
}

// ---- the first call

struct First {
    int robotType, mounting, state;
};
void PrintTo(const First& first, std::ostream* out) {
    *out << "type " << first.robotType << ", mounting " << first.mounting << ", state " << first.state;
}

class FirstCycle : public TorqueCycle, public testing::WithParamInterface<First> {};

TEST_P(FirstCycle, IsClean) {
    std::mt19937_64 random(1);
    setArm(GetParam().robotType, GetParam().mounting, GetParam().state, random);
    mcb.fricCompensationFlag = 1;
    EXPECT_EQ(cycleFindings(), "");
    EXPECT_EQ(cycleFindings(), "") << "second call";
}

INSTANTIATE_TEST_SUITE_P(TorqueCycle, FirstCycle,
                         testing::Values(First{101, 0, 1}, First{101, 1, 2}, First{101, 2, 3},
                                         First{101, 3, 4}, First{103, 0, 4}, First{3, 1, 2},
                                         First{1001, 2, 4}, First{902, 3, 1}, First{201, 0, 4},
                                         First{703, 1, 4}, First{0, 3, 2}, First{1300, 2, 2}),
                         [](const auto& test) {
                             return "Type" + std::to_string(test.param.robotType) + "Mount" +
                                    std::to_string(test.param.mounting) + "State" +
                                    std::to_string(test.param.state);
                         });

TEST_F(TorqueCycle, FirstOverspeedIsClean) {
    std::mt19937_64 random(2);
    setArm(103, 0, TGEN_DRAG, random);
    mcb.fricCompensationFlag = 1;
    mpb.j6vel.v[2] = 100.0;  // degrees/ms: beyond any arm
    tarn::host::drainLog([](int, const char*) {});
    EXPECT_EQ(cycleFindings(), "");
    EXPECT_EQ(tarn::host::drainLog([](int, const char*) {}), 4) << "the branch that logs did not run";
}

// ---- every setting

TEST_F(TorqueCycle, EveryTypeIsCleanInEveryMountingAndState) {
    std::mt19937_64 random(3);
    for (int type = -1; type <= MAXROBOTTYPENUM + 1; type++) {
        for (int mounting = 0; mounting <= 4; mounting++) {
            const int state = (type + mounting) % 5;  // 0 is none of the four
            setArm(type, mounting, state, random);
            for (uint8_t friction : {uint8_t{0}, uint8_t{1}}) {
                mcb.fricCompensationFlag = friction;
                ASSERT_EQ(cycleFindings(), "") << setting();
            }
        }
    }
    for (int type : {0, 1, 3, 101, 103, 201, 301, 401, 501, 701, 703, 704, 802, 901, 902, 903, 1001}) {
        for (int state = 1; state <= 4; state++) {
            for (int mounting = 0; mounting <= 3; mounting++) {
                setArm(type, mounting, state, random);
                mcb.fricCompensationFlag = 1;
                ASSERT_EQ(cycleFindings(), "") << setting();
            }
        }
    }
}

TEST_F(TorqueCycle, TorqueServoIsClean) {
    std::mt19937_64 random(4);
    for (int type : {101, 103, 703, 901}) {
        setArm(type, 3, TGEN_SERVICE, random);
        mcb.servoJTStatus = 1;
        mcb.fricCompensationFlag = 1;
        for (double torque : {0.0, 12.5, 1e9, kNaN}) {
            mpb.jTorque[0] = mpb.jTorque[5] = torque;
            EXPECT_EQ(cycleFindings(), "") << setting() << ", torque " << torque;
        }
    }
}

TEST_F(TorqueCycle, BadNumbersAreClean) {
    std::mt19937_64 random(5);
    for (double bad : {kNaN, kInfinity, -kInfinity, 1e300}) {
        for (int mounting = 0; mounting <= 3; mounting++) {
            for (int state = 1; state <= 4; state++) {
                for (double* field : {&mpb.j6.v[0], &mpb.j6.v[5], &mpb.jCvel.v[3], &mpb.j6vel.v[3],
                                      &mpb.loadWeight, &mpb.loadCoord.z, &mcb.robotInstallYangle}) {
                    setArm(103, mounting, state, random);
                    mcb.fricCompensationFlag = 1;
                    *field = bad;
                    ASSERT_EQ(cycleFindings(), "") << setting() << ", value " << bad;
                }
                setArm(103, mounting, state, random);
                mpb.moterRatedTorque_80 = 0.0F;
                mpb.friction_Free[1] = static_cast<float>(bad);
                ASSERT_EQ(cycleFindings(), "") << setting() << ", friction share " << bad;
            }
        }
    }
}

TEST_F(TorqueCycle, UnknownModesAreClean) {
    std::mt19937_64 random(6);
    setArm(103, 0, TGEN_IDLE, random);
    for (int joints = 0; joints <= NUM_JNTS; joints++) {
        mpb.sysJntsNo = joints;
        EXPECT_EQ(cycleFindings(), "") << joints << " joints";
    }
    for (uint8_t mode : {uint8_t{3}, uint8_t{4}, uint8_t{255}}) {
        mcb.newTeachEnable = mode;
        EXPECT_EQ(cycleFindings(), "") << "torque model " << int{mode};
    }
    mcb.robotInstallPos = 255;
    EXPECT_EQ(cycleFindings(), "");
    // the end of a pause with a custom collision threshold in force
    setArm(103, 0, TGEN_PAUSE, random);
    mcb.collisionDetection.CustomCollisionFlag = 1;
    mpb.collisionThresholdMode = 1;
    EXPECT_EQ(cycleFindings(), "");
    mpb.state = TGEN_IDLE;
    EXPECT_EQ(cycleFindings(), "");
    EXPECT_EQ(mcb.collisionDetection.CustomCollisionFlag, 0) << "the branch did not run";
}

// The guard reaches into both shared objects: a command persists, which cannot do without the kernel.
TEST_F(TorqueCycle, ACommandIsSeenThroughLibraryAndHost) {
    tarn::host::setDefaults(103);
    EXPECT_NE(guarded([] { (void)tmcFrictionCompensationOnOff(1); }), "");
}

}  // namespace
