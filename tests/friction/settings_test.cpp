#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "support/fixture.h"
#include "tmcforceblock.h"

namespace {

using fixture::calls;
using fixture::configLine;
using fixture::kInf;
using fixture::kNan;
using Lines = std::vector<std::string>;

// The 24 gains in the order of the setter's arguments and of its keys.
struct Gains {
    double v[4][6];
    explicit Gains(double all) {
        for (auto& kind : v) std::fill_n(kind, 6, all);
    }
    int set() { return tmcSetJointFrictionGain(v[0], v[1], v[2], v[3]); }
};

double* const kStored[4] = {mpb.ForDeadGain, mpb.RevDeadGain, mpb.ForFastGain, mpb.RevFastGain};

void expectStored(const Gains& want) {
    for (int k = 0; k < 4; k++)
        for (int i = 0; i < 6; i++)
            EXPECT_EQ(kStored[k][i], want.v[k][i]) << "kind " << k << ", joint " << i + 1;
}

TEST(FrictionGain, AFirstCallSetsTheDefaultEvenWhenRefused) {
    fixture::start(101);
    for (double* kind : kStored) std::fill_n(kind, 6, 1.0);
    const fixture::Blocks atDefault;
    for (double* kind : kStored) std::fill_n(kind, 6, 0.7);
    Gains bad(1.2);
    bad.v[3][5] = 1.51;
    EXPECT_EQ(bad.set(), -1);
    EXPECT_TRUE(atDefault.unchanged());
    EXPECT_EQ(calls(), Lines{});

    // only the first call does: values that came from elsewhere stay
    for (double* kind : kStored) std::fill_n(kind, 6, 0.7);
    EXPECT_EQ(bad.set(), -1);
    expectStored(Gains(0.7));
}

TEST(FrictionGain, StoresAndPersistsByKindThenJoint) {
    fixture::start(101);
    mcb.safetyPara.safetyStopEnable = 2;  // the board takes no gains
    Gains gains(0);
    Lines want;
    const char* const kinds[] = {"FORDEAD_GAIN", "REVDEAD_GAIN", "FORFAST_GAIN", "REVFAST_GAIN"};
    for (int k = 0; k < 4; k++)
        for (int i = 0; i < 6; i++) {
            gains.v[k][i] = 0.5 + (6 * k + i) / 32.0;
            char text[32];
            std::snprintf(text, sizeof text, "%.9g", gains.v[k][i]);
            want.push_back(configLine(kinds[k] + std::to_string(i + 1), text));
        }
    gains.v[0][0] = 0.9;  // the file gets the nearest float, the block the value
    want[0] = configLine("FORDEAD_GAIN1", "0.899999976");
    EXPECT_EQ(gains.set(), 0);
    expectStored(gains);
    EXPECT_EQ(calls(), want);
}

TEST(FrictionGain, HoldsEveryGainWithinItsRange) {
    fixture::start(101);
    EXPECT_EQ(Gains(0.5).set(), 0);
    EXPECT_EQ(Gains(1.5).set(), 0);
    mpb.sysJntsNo = 0;  // all six joints count, whatever the arm has
    for (double bad : {std::nextafter(0.5, 0), std::nextafter(1.5, 2), 0.0, -1.0, kInf, -kInf})
        for (int n = 0; n < 24; n++) {
            fixture::forgetCalls();
            Gains gains(1.0);
            gains.v[n / 6][n % 6] = bad;
            const fixture::Blocks before;
            EXPECT_EQ(gains.set(), -1) << bad << " at " << n;
            EXPECT_TRUE(before.unchanged()) << bad << " at " << n;
            EXPECT_EQ(calls(), Lines{}) << bad << " at " << n;
        }
    Gains odd(1.0);
    odd.v[2][3] = kNan;  // fails neither comparison
    EXPECT_EQ(odd.set(), 0);
    EXPECT_TRUE(std::isnan(mpb.ForFastGain[3]));
    EXPECT_EQ(calls().size(), 24u);
}

TEST(FrictionOnOff, StoresTellsTheBoardThenPersists) {
    for (int status : {0, 1})
        for (int board : {0, 1, 2, 3}) {
            fixture::start(101);
            mcb.safetyPara.safetyStopEnable = static_cast<uint8_t>(board);
            const std::string value = std::to_string(status);
            Lines want = {configLine("FRIC_COMPENSATION", value)};
            if (board == 2) want.insert(want.begin(), "tfsSetRobotJointFrictionCmpstOnOff " + value);
            mcb.fricCompensationFlag = 7;
            EXPECT_EQ(tmcFrictionCompensationOnOff(static_cast<uint8_t>(status)), 0);
            EXPECT_EQ(mcb.fricCompensationFlag, status);
            EXPECT_EQ(calls(), want) << "board " << board;
        }
    fixture::start(101);
    mcb.safetyPara.safetyStopEnable = 2;
    const fixture::Blocks before;
    for (int status = 2; status < 256; status++)
        EXPECT_EQ(tmcFrictionCompensationOnOff(static_cast<uint8_t>(status)), -1) << status;
    EXPECT_TRUE(before.unchanged());
    EXPECT_EQ(calls(), Lines{});
}

TEST(StiffnessType, StoresAndPersistsOneOfTwo) {
    for (int type : {1, 0}) {
        fixture::start(101);
        mcb.jointStiffnessType = 5;
        EXPECT_EQ(tmcSetJointStiffnessType(type), 0);
        EXPECT_EQ(mcb.jointStiffnessType, type);
        EXPECT_EQ(calls(), Lines{configLine("FRIC_JOINTSTIFFNESSTYPE", std::to_string(type))});
    }
    fixture::start(101);
    const fixture::Blocks before;
    for (int type : {2, -1, INT_MIN, INT_MAX}) EXPECT_EQ(tmcSetJointStiffnessType(type), -1) << type;
    EXPECT_TRUE(before.unchanged());
    EXPECT_EQ(calls(), Lines{});
}

TEST(FrictionShare, StoresTellsTheBoardThenPersists) {
    for (int board : {0, 1, 2, 3}) {
        fixture::start(101);
        mcb.safetyPara.safetyStopEnable = static_cast<uint8_t>(board);
        float share[6] = {0, 1, 0.5f, 0.1f, -1e-6f, 0.25f};
        const char* const texts[] = {"0", "1", "0.5", "0.100000001", "-9.99999997e-07", "0.25"};
        Lines want;
        if (board == 2) {
            want.push_back("tfsSetRobotJointFrictionLevel");
            for (const char* text : texts) want[0] += std::string(" ") + text;
        }
        for (int i = 0; i < 6; i++)
            want.push_back(configLine("FRIC_VALUE_FREE_J" + std::to_string(i + 1), texts[i]));
        EXPECT_EQ(tmcSetFrictionValue_free(share), 0);
        for (int i = 0; i < 6; i++) EXPECT_EQ(mpb.friction_Free[i], share[i]) << "joint " << i + 1;
        EXPECT_EQ(calls(), want) << "board " << board;
    }
}

TEST(FrictionShare, RefusesAShareBeyondItsRangeOnAnyJointOfTheArm) {
    const float inf = std::numeric_limits<float>::infinity();
    fixture::start(101);
    mcb.safetyPara.safetyStopEnable = 2;
    for (float bad : {std::nextafter(-1e-6f, -1.0f), std::nextafter(1.0f, 2.0f), -1.0f, inf, -inf})
        for (int i = 0; i < 6; i++)
            for (int joints : {6, 7, i + 1, INT_MAX}) {
                mpb.sysJntsNo = joints;
                float share[6] = {0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f};
                share[i] = bad;
                const fixture::Blocks before;
                EXPECT_EQ(tmcSetFrictionValue_free(share), -1) << bad << " on joint " << i + 1;
                EXPECT_TRUE(before.unchanged()) << bad << " on joint " << i + 1;
                EXPECT_EQ(calls(), Lines{}) << bad << " on joint " << i + 1;
            }
}

TEST(FrictionShare, LooksAtTheArmsJointsOnly) {
    for (int joints : {4, 0, -1, 6, 7, INT_MAX}) {
        fixture::start(101);
        mpb.sysJntsNo = joints;
        float share[32];
        std::fill_n(share, 32, 2.0f);  // refused wherever it is looked at
        for (int i = 0; i < std::min(joints, 6); i++) share[i] = 0.25f;
        EXPECT_EQ(tmcSetFrictionValue_free(share), 0) << "joints " << joints;
        EXPECT_EQ(calls().size(), 6u) << "joints " << joints;
    }
    fixture::start(101);
    float odd[6] = {0, 0, std::numeric_limits<float>::quiet_NaN(), 0, 0, 0};
    EXPECT_EQ(tmcSetFrictionValue_free(odd), 0);  // a non-number fails neither comparison
    EXPECT_TRUE(std::isnan(mpb.friction_Free[2]));
}

}  // namespace
