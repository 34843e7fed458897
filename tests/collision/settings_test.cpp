#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <utility>

#include "support/fixture.h"
#include "tmcforceblock.h"

namespace {

using Levels = std::array<float, 6>;
using Margins = std::array<int, 6>;

int level(uint8_t type, Levels levels, uint8_t configFlag) {
    return tmcSetCollisionLevel(type, levels.data(), configFlag, 33);
}
int reaction(uint8_t flag, int time, int distance, Margins margin = {1, 2, 3, 4, 5, 10}) {
    return tmcSetCollisionPause(flag, time, distance, -250, margin.data());
}

const std::string kFile = "ConfigWriteEntry /usr/local/etc/controller/user.config ";

// What was persisted, of the common section without file and section, and told to the board since the last
// look.
std::string told() {
    const std::string file = kFile + "USER_PARAM ";
    std::string text;
    for (const std::string& line : fixture::calls())
        text += (line.starts_with(file) ? line.substr(file.size()) : line) + "; ";
    fixture::forgetCalls();
    return text;
}

TEST(CollisionSettings, RefuseWhatIsOutOfRangeAndKeepWhatTheyHad) {
    float none[6] = {};
    fixture::start(101);
    mcb.safetyPara.safetyStopEnable = 2;
    const fixture::Blocks before;
    const int results[] = {tmcSetCollisionMode(3, 0),
                           tmcSetCollisionMode(1, 2),
                           level(2, {}, 1),
                           reaction(6, 1, 1),
                           tmcSetPowerLimit(2, 80),
                           tmcMomentumAndPowerOnOff(2, 1, 1),
                           zvmcSetCustomCollisionDetection(4, none, none)};
    for (int result : results) EXPECT_EQ(result, -1);
    for (int time : {-1, 2001}) EXPECT_EQ(reaction(5, time, 1), -1) << time;
    for (int distance : {-1, 501}) EXPECT_EQ(reaction(5, 1, distance), -1) << distance;
    for (int margin : {0, 11}) EXPECT_EQ(reaction(5, 1, 1, {1, 1, 1, 1, 1, margin}), -1) << margin;
    EXPECT_TRUE(before.unchanged());
    EXPECT_EQ(told(), "");
}

TEST(CollisionSettings, PersistWhatTheyStoreAndTellTheBoardInCharge) {
    fixture::start(101);
    EXPECT_EQ(reaction(5, 2000, 500), 0);
    EXPECT_EQ(reaction(5, 0, 0), 0);
    told();
    EXPECT_EQ(reaction(4, 99999, -1, {0, 11}), 0);  // the other reactions take any value
    EXPECT_EQ(told(),
              "COLLISION_PAUSE 4; COLLISION_SAFETIME 99999; "
              "COLLISION_SAFEDISTANCE -1; COLLISION_SAFESPEED -250; "
              "COLLISION_SAFEMARGIN1 0; COLLISION_SAFEMARGIN2 11; "
              "COLLISION_SAFEMARGIN3 0; COLLISION_SAFEMARGIN4 0; "
              "COLLISION_SAFEMARGIN5 0; COLLISION_SAFEMARGIN6 0; ");
    EXPECT_EQ(tmcSetPowerLimit(1, 0.1), 0);
    EXPECT_EQ(tmcSetCollisionMode(2, 1), 0);
    EXPECT_EQ(tmcSetStaticCollisionOnOff(255), 0);
    EXPECT_EQ(mcb.collisionDetection.powerLimit, 0.1);
    EXPECT_EQ(told(),
              "POWER_FLAG 1; POWER_LIMIT 0.100000001; COLLISION_MODE 2; "
              "COLLISION_THRESHOLDMODE 1; COLLISION_STATIC 255; ");
    for (int board : {0, 1, 2}) {
        mcb.safetyPara.safetyStopEnable = static_cast<uint8_t>(board);
        EXPECT_EQ(tmcMomentumAndPowerOnOff(1, 25.5f, 80), 0);
        std::string want = board == 2 ? "tfsSetMomentumPowerOnOff 1; tfsSetMomentumPowerParam 25.5 80; " : "";
        for (const char* entry : {"ENABLEFLAG 1; ", "MOMENTUMLIMIT 25.5; ", "POWERLIMIT 80; "})
            want += kFile + "SAFETY_PARAM MOMENTUMPOWER_" + entry;
        EXPECT_EQ(told(), want);
    }
    uint8_t state = 9;
    EXPECT_TRUE(tmcGetCollisionState(&state) == 0 && state == mcb.collisionStateback);
    EXPECT_EQ(mcb.collisionDetection.powerLimit, 0.1);  // another limit than the board's
}

TEST(CollisionSettings, TakeSixCustomThresholdsOfEachKind) {
    fixture::start(101);
    COLLISION_DETECTION want = mcb.collisionDetection;
    Levels joints = {1, 2, 3, 4, 5, 6};
    float tool[] = {11, 12, 13, 14, 15, 16, 17};  // one more than it may read
    want.CustomCollisionFlag = 3;
    std::copy_n(joints.data(), 6, want.jointDetectionThreshold);
    std::copy_n(tool, 6, want.tcpDetectionThreshold);
    EXPECT_EQ(zvmcSetCustomCollisionDetection(3, joints.data(), tool), 0);
    EXPECT_EQ(std::memcmp(&mcb.collisionDetection, &want, sizeof want), 0);
    EXPECT_EQ(told(), "");
}

TEST(CollisionLevel, IsTemporaryUnlessConfiguredAndStopsAtABadOne) {
    fixture::start(101);
    EXPECT_EQ(level(1, {0, 1, 2.5f, 10, 50, 100}, 1), 0);
    EXPECT_EQ(told(),
              "COLLISION_LEVEL_TYPE 1; J1_COLLISION_LEVEL 0; "
              "J2_COLLISION_LEVEL 1; J3_COLLISION_LEVEL 2.5; "
              "J4_COLLISION_LEVEL 10; J5_COLLISION_LEVEL 50; "
              "J6_COLLISION_LEVEL 100; ");
    std::fill_n(mpb.collisionErrorCount, 6, 4);
    const float rounded = std::nextafter(2.5f, 3.0f);
    EXPECT_EQ(level(0, {7, 7, rounded, 7, 7, 7}, 2), 0);
    EXPECT_EQ(mpb.collisionErrorCount[5], 0);
    EXPECT_EQ(std::exchange(mpb.currentLine, 0), 33);

    std::fill_n(mpb.collisionErrorCount, 6, 4);
    EXPECT_EQ(level(0, {8, -0.1f}, 1), -1);
    EXPECT_EQ(std::exchange(mpb.currentLine, 0), 33);
    EXPECT_EQ(level(0, {8, 9, rounded, 100.5f, 9, 9}, 1), -1);
    EXPECT_EQ(mcb.paraError, zvCtlCollisionLevelNumError);
    EXPECT_EQ(mpb.currentLine, 33);
    EXPECT_EQ(std::to_array(mpb.collisionLevel), (Levels{8, 9, rounded, 7, 7, 7}));
    EXPECT_EQ(mpb.collisionErrorCount[3], 4);

    mpb.sysJntsNo = 5;
    EXPECT_EQ(tmcCollisionLevelResume(), 0);
    EXPECT_EQ(std::to_array(mpb.collisionLevel), (Levels{0, 1, rounded, 10, 50, 7}));
    EXPECT_EQ(mpb.collisionErrorCount[3], 4);
    EXPECT_EQ(told(), "");
}

}  // namespace
