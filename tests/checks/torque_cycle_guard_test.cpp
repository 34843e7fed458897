// The torque cycle keeps to real-time rules: no allocation, lock, throw or system call, in any setting, from
// the first call of the process on. Each test runs in a process of its own.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "tarnhost/log.h"
#include "tmcforceblock.h"

using namespace tarn::test;

namespace {

class TorqueCycle : public testing::Test {
  protected:
    void TearDown() override {
        if (systemCallWatch() == SystemCallWatch::kNone) GTEST_SKIP() << systemCallWatchRefusal();
    }

    // A moving arm: pose, speeds below the limit of plausibility, a load.
    void setArm(int robotType, int mounting, int mode = 0) {
        tarn::host::setDefaults(robotType);
        mcb.robotType = robotType;
        mcb.newTeachEnable = static_cast<uint8_t>(mode);
        mcb.robotInstallPos = static_cast<uint8_t>(mounting);
        mcb.robotInstallYangle = 180 * share();
        mcb.robotInstallZangle = 180 * share();
        mpb.loadWeight = 2;
        mpb.loadCoord = {10, -20, 60};
        for (int i = 0; i < NUM_JNTS; i++) {
            mpb.j6.v[i] = 180 * share();
            mpb.j6vel.v[i] = 0.1 * share();
            mpb.jCvel.v[i] = 0.1 * share();
            mpb.jCacc.v[i] = mpb.jCaccRaw.v[i] = 1e-4 * share();
        }
    }

    // The findings of a cycle in each state (0 is none of the four), from pause to idle too, with friction
    // and without.
    static std::string findings() {
        return guarded([] {
            for (uint8_t friction : {uint8_t{0}, uint8_t{1}})
                for (int state : {0, 4, 3, 1, 2}) {
                    mcb.fricCompensationFlag = friction;
                    mpb.state = state;
                    gravityTorqueControl(&mpb.j6);
                }
        });
    }

  private:
    double share() { return std::uniform_real_distribution<double>(-1, 1)(random_); }
    std::mt19937_64 random_{3};
};

TEST_F(TorqueCycle, IsCleanForEveryTypeAndMounting) {
    for (int type = -1; type <= MAXROBOTTYPENUM + 1; type++)
        for (int mounting : {0, 1, 2, 3, 4, 255})
            for (int mode : {0, 1, 2}) {
                setArm(type, mounting, mode);
                ASSERT_EQ(findings(), "")
                    << "type " << type << ", mounting " << mounting << ", mode " << mode;
            }
}

TEST_F(TorqueCycle, IsCleanWithBadNumbersServoTorquesAndOddSettings) {
    const struct {
        const char* what;
        void (*set)(double);
    } rows[] = {
        {"pose", [](double x) { mpb.j6.v[0] = x; }},
        {"last joint's pose", [](double x) { mpb.j6.v[5] = x; }},
        {"speed", [](double x) { mpb.jCvel.v[3] = x; }},
        {"guided speed", [](double x) { mpb.j6vel.v[3] = x; }},
        {"acceleration", [](double x) { mpb.jCacc.v[2] = mpb.jCaccRaw.v[2] = x; }},
        {"load", [](double x) { mpb.loadWeight = x; }},
        {"load center", [](double x) { mpb.loadCoord.z = x; }},
        {"mounting angle", [](double x) { mcb.robotInstallYangle = x; }},
        {"friction share", [](double x) { mpb.friction_Free[1] = static_cast<float>(x); }},
        {"rated torque", [](double x) { mpb.moterRatedTorque_80 = static_cast<float>(x); }},
        {"servo torque", [](double x) { mcb.servoJTStatus = 1, mpb.jTorque[0] = mpb.jTorque[5] = x; }},
        {"joints", [](double x) { mpb.sysJntsNo = static_cast<int>(std::fmin(std::fmax(x, -7), 7)); }},
        {"mode", [](double x) { mcb.newTeachEnable = x == 0 ? 3 : 255; }},
    };
    for (const auto& row : rows)
        for (double x : {0.0, 3.0, 12.5, 1e9, -1e9, 1e300, fixture::kInf, -fixture::kInf, fixture::kNan})
            for (int type : {101, 103, 701, 703, 901, 902})
                for (int mounting : {0, 1, 2, 3, 255})
                    for (int mode : {0, 1, 2}) {
                        setArm(type, mounting, mode);
                        row.set(x);
                        ASSERT_EQ(findings(), "") << row.what << " " << x << ", type " << type
                                                  << ", mounting " << mounting << ", mode " << mode;
                    }
}

TEST_F(TorqueCycle, IsCleanWithLockAndZones) {
    for (int type : {1, 3, 101, 201, 301, 401, 701})
        for (int mode : {0, 1, 2})
            for (int drag : {0, 1, 2})
                for (int zone : {0, 1, 2}) {
                    setArm(type, 3, mode);
                    mcb.dragLockEnable = drag == 0 ? 1 : 0;
                    mcb.interfereDrag = static_cast<uint8_t>(drag);
                    mpb.interfereJointCubeFlag = static_cast<uint8_t>(zone);
                    ASSERT_EQ(findings(), "") << "type " << type << ", mode " << mode << ", drag " << drag;
                }
}

TEST_F(TorqueCycle, IsCleanWhereItLogsAnOverspeedAndAPauseEndsTheCustomCollisionCheck) {
    setArm(103, 0);
    mpb.j6vel.v[2] = 100;  // degrees/ms: beyond any arm
    mcb.collisionDetection.CustomCollisionFlag = mpb.collisionThresholdMode = 1;
    tarn::host::drainLog([](int, const char*) {});
    EXPECT_EQ(findings(), "");
    EXPECT_GE(tarn::host::drainLog([](int, const char*) {}), 4) << "the branch that logs did not run";
    EXPECT_EQ(mcb.collisionDetection.CustomCollisionFlag, 0) << "the branch did not run";
}

// The guard reaches into both shared objects: a command persists, which cannot do without the kernel.
TEST_F(TorqueCycle, IsWatchedThroughLibraryAndHost) {
    setArm(103, 0);
    EXPECT_NE(guarded([] { (void)tmcFrictionCompensationOnOff(1); }), "");
}

}  // namespace
