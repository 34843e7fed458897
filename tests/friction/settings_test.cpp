#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>

#include "support/fixture.h"
#include "tmcforceblock.h"

namespace {

using fixture::calls;
using fixture::kInf;
using fixture::kNan;
using fixture::Lines;

constexpr float kInfF = std::numeric_limits<float>::infinity();

// A new host whose safety board has the word when `board` is 2, which it is unless a test says otherwise.
void start(int board = 2) {
    fixture::start(101);
    mcb.safetyPara.safetyStopEnable = static_cast<uint8_t>(board);
}

std::string entry(const std::string& key, const std::string& value) {
    return "ConfigWriteEntry /usr/local/etc/controller/user.config USER_PARAM " + key + " " + value;
}

// The setter returns -1, stores nothing and calls no service.
template <typename Setter>
testing::AssertionResult refuses(Setter set) {
    fixture::forgetCalls();
    const fixture::Blocks before;
    if (const int result = set(); result != -1) return testing::AssertionFailure() << "returned " << result;
    if (!before.unchanged()) return testing::AssertionFailure() << "changed a block";
    if (!calls().empty()) return testing::AssertionFailure() << "called " << calls()[0];
    return testing::AssertionSuccess();
}

// The 24 gains in the order of the setter's arguments and of its keys: by kind, then joint.
using Gains = std::array<double, 24>;
Gains all(double gain) {
    Gains gains;
    gains.fill(gain);
    return gains;
}
int set(Gains gains) { return tmcSetJointFrictionGain(&gains[0], &gains[6], &gains[12], &gains[18]); }
double* const kStored[] = {mpb.ForDeadGain, mpb.RevDeadGain, mpb.ForFastGain, mpb.RevFastGain};
Gains stored() {
    Gains gains;
    for (size_t n = 0; n < 24; n++) gains[n] = kStored[n / 6][n % 6];
    return gains;
}

TEST(FrictionGain, AFirstCallSetsTheDefaultEvenWhenRefused) {
    Gains bad = all(1.2);
    bad[23] = 1.51;
    for (double want : {1.0, 0.7}) {  // only the first call does: later, values from elsewhere stay
        start();
        for (double* kind : kStored) std::fill_n(kind, 6, 0.7);
        EXPECT_EQ(set(bad), -1);
        EXPECT_EQ(stored(), all(want));
        EXPECT_EQ(calls(), Lines{});
    }
}

TEST(FrictionGain, StoresAndPersistsByKindThenJoint) {
    start();  // the board takes no gains
    Gains gains;
    Lines want;
    for (size_t n = 0; n < 24; n++) {
        gains[n] = 0.5 + static_cast<double>(n) / 32;
        const char* const kinds[] = {"FORDEAD_GAIN", "REVDEAD_GAIN", "FORFAST_GAIN", "REVFAST_GAIN"};
        char text[32];
        std::snprintf(text, sizeof text, "%.9g", gains[n]);
        want.push_back(entry(kinds[n / 6] + std::to_string(n % 6 + 1), text));
    }
    gains[0] = 0.9;  // the file gets the nearest float, the block the value
    want[0] = entry("FORDEAD_GAIN1", "0.899999976");
    EXPECT_EQ(set(gains), 0);
    EXPECT_EQ(stored(), gains);
    EXPECT_EQ(calls(), want);
}

TEST(FrictionGain, HoldsEveryGainWithinItsRange) {
    start();
    for (double edge : {0.5, 1.5}) EXPECT_EQ(set(all(edge)), 0) << edge;
    mpb.sysJntsNo = 0;  // all six joints count, whatever the arm has
    for (double bad : {std::nextafter(0.5, 0), std::nextafter(1.5, 2), 0.0, -1.0, kInf, -kInf})
        for (size_t n = 0; n < 24; n++) {
            Gains gains = all(1);
            gains[n] = bad;
            EXPECT_TRUE(refuses([&] { return set(gains); })) << bad << " at " << n;
        }
    fixture::forgetCalls();
    Gains odd = all(1);
    odd[15] = kNan;  // fails neither comparison
    EXPECT_EQ(set(odd), 0);
    EXPECT_TRUE(std::isnan(mpb.ForFastGain[3]));
    EXPECT_EQ(calls().size(), 24u);
}

TEST(FrictionOnOff, StoresTellsTheBoardThenPersists) {
    for (int status : {0, 1})
        for (int board : {0, 1, 2, 3}) {
            start(board);
            const std::string value = std::to_string(status);
            Lines want = {entry("FRIC_COMPENSATION", value)};
            if (board == 2) want.insert(want.begin(), "tfsSetRobotJointFrictionCmpstOnOff " + value);
            mcb.fricCompensationFlag = 7;
            EXPECT_EQ(tmcFrictionCompensationOnOff(static_cast<uint8_t>(status)), 0);
            EXPECT_EQ(mcb.fricCompensationFlag, status);
            EXPECT_EQ(calls(), want) << "board " << board;
        }
    for (int status = 2; status < 256; status++)
        EXPECT_TRUE(refuses([&] { return tmcFrictionCompensationOnOff(static_cast<uint8_t>(status)); }))
            << status;
}

TEST(StiffnessType, StoresAndPersistsOneOfTwo) {
    for (int type : {1, 0}) {
        start();
        mcb.jointStiffnessType = 5;
        EXPECT_EQ(tmcSetJointStiffnessType(type), 0);
        EXPECT_EQ(mcb.jointStiffnessType, type);
        EXPECT_EQ(calls(), Lines{entry("FRIC_JOINTSTIFFNESSTYPE", std::to_string(type))});
    }
    for (int type : {2, -1, INT_MIN, INT_MAX})
        EXPECT_TRUE(refuses([&] { return tmcSetJointStiffnessType(type); })) << type;
}

TEST(FrictionShare, StoresTellsTheBoardThenPersists) {
    for (int board : {0, 1, 2, 3}) {
        start(board);
        float share[6] = {0, 1, 0.5f, 0.1f, -1e-6f, 0.25f};
        const char* const texts[] = {"0", "1", "0.5", "0.100000001", "-9.99999997e-07", "0.25"};
        Lines want(board == 2, "tfsSetRobotJointFrictionLevel");
        for (const char* text : texts)
            if (board == 2) want[0] += std::string(" ") + text;
        for (int i = 0; i < 6; i++)
            want.push_back(entry("FRIC_VALUE_FREE_J" + std::to_string(i + 1), texts[i]));
        EXPECT_EQ(tmcSetFrictionValue_free(share), 0);
        for (int i = 0; i < 6; i++) EXPECT_EQ(mpb.friction_Free[i], share[i]) << "joint " << i + 1;
        EXPECT_EQ(calls(), want) << "board " << board;
    }
}

TEST(FrictionShare, IsRefusedBeyondItsRangeOnAnyJointOfTheArm) {
    start();
    for (float bad : {std::nextafter(-1e-6f, -1.0f), std::nextafter(1.0f, 2.0f), -1.0f, kInfF, -kInfF})
        for (int i = 0; i < 6; i++)
            for (int joints : {6, 7, i + 1, INT_MAX}) {
                mpb.sysJntsNo = joints;
                float share[6] = {0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f};
                share[i] = bad;
                EXPECT_TRUE(refuses([&] { return tmcSetFrictionValue_free(share); }))
                    << bad << " on joint " << i + 1;
            }
}

TEST(FrictionShare, LooksAtTheArmsJointsOnly) {
    for (int joints : {4, 0, -1, 6, 7, INT_MAX}) {
        start(0);
        mpb.sysJntsNo = joints;
        float share[32];
        std::fill_n(share, 32, 2.0f);  // refused wherever it is looked at
        for (int i = 0; i < std::min(joints, 6); i++) share[i] = 0.25f;
        share[0] = joints > 0 ? std::numeric_limits<float>::quiet_NaN() : 2.0f;  // fails neither comparison
        EXPECT_EQ(tmcSetFrictionValue_free(share), 0) << "joints " << joints;
        EXPECT_EQ(calls().size(), 6u) << "joints " << joints;
        for (int i = 0; i < 6; i++)
            EXPECT_EQ(mpb.friction_Free[i] == 1.0f, i >= joints) << joints << " joints, joint " << i + 1;
    }
}

}  // namespace
