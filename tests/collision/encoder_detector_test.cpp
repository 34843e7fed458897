#include "collision/encoder_detector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <random>

#include "collision/after_collision.h"
#include "numeric/filter_records.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

namespace {

filter& history = tarn::armFilters.filt4;

// In a motion, with the encoders still.
void start(int type, uint8_t flag = 1) {
    fixture::start(type);
    std::fill_n(mpb.collisionLevel, 6, 1.0f);
    mcb.collisionPauseFlag = flag;
    mpb.state = 2;
    initCollisionDetection();
    tarn::afterCollision = {};
}

void call(int joint = 0, float load = 0) {
    float torque[6];
    std::fill_n(torque, 6, load);
    zvmcCollisionDetection(joint, torque, nullptr, nullptr, nullptr);
}

void warmUp() {
    for (int i = 0; i < 100; i++) call();
}

// clang-format off
TEST(EncoderDetector, AllowsTheTorqueOfTheLevelOverTheStiffnessUnderTheLoad) {
    const std::vector<int> light = {1, 100}, middle = {101, 200}, large = {201, 400}, heavy = {401, 500, 1001, 1100},
                           others = {-1, 501, 702, 903, 1000, 1101};
    struct Case { float level, load; double torque, k; };
    const std::vector<int> front{0, 1}, elbow{2}, upper{0, 1, 2}, wrist{3, 4, 5};
    const struct { std::vector<int> types, joints; std::vector<Case> cases; } rows[] = {
        {{0},    upper, {{1, 40, 25, 410},    {2, -70, 33, 700},    {3, 70.1f, 41, 900}}},    {{0},    wrist, {{1, 5, 8.5, 52},     {2, 20, 10.5, 140},   {3, -21, 13, 170}}},
        {light,  upper, {{1, 2, 16, 195},     {2, -6.8f, 23, 228},  {3, 7, 29, 308}}},        {light,  wrist, {{4, 6.8f, 15.5, 52}, {5, 12, 17.5, 140},   {6, -12.1f, 20, 170}}},
        {middle, upper, {{4, 15, 50, 566.25}, {5, 50, 58, 712.5},   {6, 50.1f, 66, 818.75}}}, {middle, wrist, {{7, 2, 22.5, 52},    {8, 6.8f, 24, 70},    {9, 7, 27.5, 85}}},
        {large,  front, {{1, 30, 90, 850},    {5, 110, 215, 1630},  {10, 111, 363, 2738}}},   {large,  elbow, {{7, 15, 75, 410},    {8, -50, 83, 700},    {9, 51, 91, 900}}},
        {large,  wrist, {{4, 6.8f, 35, 39.6}, {5, 12, 40, 116.4},   {10, 13, 70, 166.8}}},    {heavy,  elbow, {{1, 29, 55, 1062.5}, {5, 108, 120, 1630},  {10, 109, 201, 2738}}},
        {heavy,  wrist, {{1, 14, 24, 410},    {5, 48, 54, 700},     {10, 49, 91, 900}}},      {others, upper, {{100, 15, 100, 410}, {3.99f, 50, 41, 700}, {0.5f, NAN, 25, 900}}},
        {heavy,  front, {{1, 54, 170, 5804},  {3, 196, 288, 8360},  {5, -700, 400, 7274.7},   {10, 701, 680, 9274.7}}},
        {others, wrist, {{NAN, 2, 8.5, 52},   {-1e9f, 6.8f, 8.5, 140}, {INFINITY, -INFINITY, 32, 170}}}};
    for (const auto& [types, joints, cases] : rows)
        for (int type : types) {
            start(type);
            warmUp();
            for (const auto& [level, load, torque, k] : cases)
                for (int joint : joints) {
                    mpb.collisionLevel[joint] = level;
                    call(joint, load);
                    EXPECT_EQ(mpb.dualEncCollisionValue[joint], torque / k) << type << " J" << joint + 1 << " " << level;
                }
        }
}
// clang-format on

// The extremes of a joint's whole filtered deflection.
struct Signal {
    std::vector<double> y = {0, 0}, extremes[2];

    double jump(double sample, bool decides) {
        y.push_back(sample);
        const size_t n = y.size() - 2;
        for (int side : {0, 1}) {
            const double sign = side ? -1 : 1;
            if (!decides || sign * (y[n] - y[n - 1]) <= 0 || sign * (y[n] - y[n + 1]) <= 0) continue;
            auto& e = extremes[side];
            e.push_back(y[n]);
            const size_t k = e.size() - 1;
            if (k < 5 || std::fabs(e[k - 5]) < 1e-5) return 0;
            return std::fabs(e[k] - (e[k - 1] + e[k - 2] + e[k - 3] + e[k - 4]) / 4);
        }
        return 0;
    }
};

// Waves that jump now and then, on one joint or on all, with a verdict of the board now and then.
TEST(EncoderDetector, FiresOnceACallForAJumpOfTheFirstThreeJointsOrAVerdict) {
    std::mt19937 random(5);
    for (int moved = 0; moved < 7; moved++) {
        start(103);
        Signal signals[6];
        int beyond[6] = {}, fired[6] = {};
        for (int n = 0; n < 12000; n++) {
            for (int i = 0; n % 6 == 0 && i < 6; i++) {
                how.enc[i] = how.HSEnc[i] = n * 50000 / 6 * (i - 2);
                if (i == moved || moved == 6)
                    how.HSEnc[i] += static_cast<int>(random() % 400) - 100 + (random() % 60 == 0 ? 4000 : 0);
            }
            const int verdict = random() % 9 == 0 ? static_cast<int>(random() % 8) - 1 : -1;  // 6: none, too
            mcb.safetyPara.safetyIslandErrorCode = static_cast<uint16_t>(7 + verdict);
            mcb.collisionError = zvCtlCollisionOK;
            call(n % 6, 100);

            const int row = history.index - 1;
            bool outside[6];
            for (int i = 0; i < 6; i++) {
                const double twist = static_cast<double>(how.HSEnc[i] - how.enc[i]) / 16384 * 360 / 101;
                double filtered;
                TualEncoderbuttord(i, row, &filtered);
                ASSERT_NEAR(history.j_pos[row][i], twist, 1e-9);
                ASSERT_EQ(history.afterj_pos[row][i], filtered);
                outside[i] = signals[i].jump(filtered, n >= 100) > (i < 3 ? 25 / 818.75 : 0.1);
                beyond[i] += outside[i];
            }
            const bool board = n >= 100 && verdict >= 0 && verdict < 6;
            const int joint = outside[0] ? 0 : board ? verdict : outside[1] ? 1 : outside[2] ? 2 : -1;
            ASSERT_EQ(mcb.collisionError - 0x13000000, joint + 1) << "call " << n;
            if (joint >= 0 && !board) fired[joint]++;
        }
        for (int i = 0; i < 6; i++) {
            EXPECT_EQ(beyond[i] > 0, i == moved || moved == 6) << "joint " << i << ", " << moved;
            EXPECT_EQ(fired[i] > 0, i < 3 && beyond[i] > 0) << "joint " << i << ", " << moved;
        }
    }
}

// clang-format off
TEST(EncoderDetector, EveryReactionCallsTheHostInOrderAndLeavesTheRestAlone) {
    const std::string drag = "tmcDragSwitch 1; ", hand = "tmcStop; doConfigHandle 1 1; resetWeldControlPara; " + drag;
    const struct { uint8_t flag; int state; uint8_t board; std::string calls; bool code, cleared; std::array<int, 3> after; } rows[] = {
        // state, board, calls            code  cleared  time, start, friction
        {0,   2, 2, "tmcPause; ",         true,  true,  {   7, 9, 1}}, {0, 1, 2, "",    true,  false, {   7, 9, 1}},
        {1,   2, 2, "",                   true,  false, {   7, 9, 1}}, {3, 2, 0, hand,  false, false, {1000, 9, 0}},
        {2,   2, 1, "tmcStop; ",          true,  true,  {   7, 9, 1}}, {4, 2, 0, hand,  false, false, {5000, 1, 0}},
        {2,   2, 2, "tmcStop; " + drag,   true,  true,  {   7, 9, 0}}, {5, 1, 2, hand,  false, false, {1234, 1, 0}},
        {2,   3, 2, "",                   true,  false, {   7, 9, 1}}, {6, 2, 2, "",    false, false, {   7, 9, 1}},
        {255, 2, 2, "",                   false, false, {   7, 9, 1}}};
    for (const auto& row : rows)
        for (unsigned joint = 0; joint < 6; joint++) {
            start(103, row.flag);
            mpb.state = row.state;
            mcb.safetyPara.safetyStopEnable = row.board;
            mcb.safetyPara.safetyIslandErrorCode = static_cast<uint16_t>(7 + joint);
            mcb.collisionDetection.safeTime = 1234;
            mcb.collisionDetection.CustomCollisionFlag = mcb.fricCompensationFlag = 1;
            warmUp();
            EXPECT_EQ(fixture::callText(), "") << "fired while warming up";
            EXPECT_EQ(mpb.dualEncCollisionValue[0], 0) << "shown while warming up";
            tarn::encoderDetector.peaks_val[3][joint] = 0.5;
            tarn::encoderDetector.err_data_mb[joint][0] = -1;  // a rise to a flat top: no peak
            tarn::afterCollision = {7, 9, {}, {}, {}, {}};
            const fixture::Blocks before;
            EXPECT_EQ(tarn::test::guarded([&] { call(); }), "");

            const testing::ScopedTrace trace(__FILE__, __LINE__, std::to_string(&row - rows) + ". row");
            EXPECT_EQ(fixture::callText(), row.calls);
            EXPECT_EQ(std::exchange(mcb.collisionError, zvCtlCollisionOK) - 0x13000000, row.code ? joint + 1 : 0);
            const auto& [time, startFlag, a, b, c, d] = tarn::afterCollision;
            EXPECT_EQ((std::array<int, 3>{time, startFlag, std::exchange(mcb.fricCompensationFlag, uint8_t{1})}), row.after);
            EXPECT_EQ(tarn::encoderDetector.peaks_val[3][joint], row.cleared ? 0 : 0.5);
            EXPECT_EQ((std::array{history.index, history.index1}), (row.cleared ? std::array{1, 1} : std::array{6, 100}));
            EXPECT_GT(std::exchange(mpb.dualEncCollisionValue[0], 0), 0);
            EXPECT_TRUE(before.unchanged()) << "more of the blocks was written";
        }
}

TEST(EncoderDetector, RunsSixTimesACycleOfFullDynamicsInAMotion) {
    const struct { int type; uint8_t teach, mode; int state, calls; } rows[] = {
        {103, 2, 1, 2, 6},  {1001, 2, 2, 2, 6}, {103, 2, 1, 1, 0},  {103, 2, 2, 4, 0},  // runs, forgets
        {103, 2, 0, 2, 50}, {103, 2, 3, 2, 50}, {103, 0, 1, 2, 50}, {701, 2, 1, 2, 50}, {902, 2, 1, 4, 50}};
    for (const auto& [type, teach, mode, state, calls] : rows) {
        start(type);
        mcb.newTeachEnable = teach;
        gravityTorqueControl(&mpb.j6);  // the first one in this mode resets the filters
        mpb.collisionMode = mode;
        mpb.state = state;
        history.index1 = calls == 6 ? 0 : 50;
        history.afterj_pos[5][5] = 1;
        EXPECT_EQ(tarn::test::guarded([] { gravityTorqueControl(&mpb.j6); }), "");
        EXPECT_EQ(history.index1, calls) << type << ", state " << state;
        EXPECT_EQ(history.afterj_pos[5][5] == 1, calls == 50);
    }
}

TEST(EncoderDetector, FindsExtremesWithFlatTopsAtTheirStart) {
    double series[] = {0, 2, 2, 1, 1, 3, -1, 0}, peaks[8], valleys[8];
    for (const auto& [size, p, v] : {std::array{8, 2, 2}, {7, 2, 1}, {2, 0, 0}, {INT_MIN, 0, 0}}) {
        int numPeaks = 9, numValleys = 9;
        findPeaksAndValleys(series, size, peaks, valleys, &numPeaks, &numValleys);
        EXPECT_EQ((std::array{numPeaks, numValleys}), (std::array{p, v})) << size;
    }
    EXPECT_EQ((std::array{peaks[0], peaks[1], valleys[0], valleys[1]}), (std::array<double, 4>{2, 3, 1, -1}));
}
// clang-format on

}  // namespace
