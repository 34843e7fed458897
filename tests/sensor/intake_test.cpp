#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <random>
#include <utility>

#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "tarnhost/devices.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "zvmcforcesensorblock.h"

namespace {

using fixture::calls;
using fixture::Lines;
using Words = std::array<int32_t, 6>;
using Reading = std::array<double, 6>;
FORCE_CONTROL& force = mcb.forceControl;

// Data sheets: ranges of maker 16 by model, kgf and kgf m; the other makers with the number of their models.
constexpr double kRanges[12][2] = {{40, 1.6}, {11.2, 0.4}, {100, 2.8}, {160, 4},  {6.4, 0.32}, {20, 0.8},
                                   {10, 1.6}, {20, 1.6},   {40, 1.6},  {60, 1.6}, {80, 1.6},   {120, 15}};
constexpr int kMakers[][2] = {{18, 1}, {19, 1}, {20, 1}, {21, 1}, {22, 1},
                              {23, 3}, {25, 3}, {80, 3}, {96, 1}};

double decoded(int company, int device, bool announced, double raw, size_t channel) {
    if (company == 16 && device >= 0 && device < 12) return raw * kRanges[device][channel / 3] / 4096 * 9.8;
    for (const auto& [maker, models] : kMakers)
        if (company == maker && device >= 0 && device < models && (maker != 96 || announced))
            return raw * (channel < 3 ? 0.1 : 0.01);
    return 0;
}

Reading values(const FORCESENSOR_DATA& d) { return {d.fx, d.fy, d.fz, d.mx, d.my, d.mz}; }

void cycle(uint8_t act, int company, int device, Words words) {
    force.forceSensorAct = act;
    mcb.fsCompanyID = company;
    mcb.fsDeviceID = device;
    EXPECT_EQ(forceSensorDataProcess(words.data()), 0);
}

std::string entry(const std::string& keyAndValue) {
    return "ConfigWriteEntry /usr/local/etc/controller/user.config FORCE_SENSOR FORCESENSOR_" + keyAndValue;
}

TEST(SensorIntake, DecodesEveryKnownSensorAndNoOther) {
    fixture::start(101);
    const std::array<int16_t, 6> low = {32767, -32768, 4096, -1, -32768, 4095};
    Words words;  // the upper half counts for nothing
    for (size_t i = 0; i < 6; i++) words[i] = 0x1abc0000 | (low[i] & 0xffff);
    for (bool announced : {true, false}) {
        zvmcSetAxleDeviceType(announced);
        for (int company = -1; company <= 100; company++)
            for (int device = -1; device <= 13; device++) {
                cycle(0, company, device, words);
                cycle(1, company, device, words);  // the first sample passes a filter as it is
                const Reading got = values(mpb.forceOrigin);
                for (size_t i = 0; i < 6; i++)
                    ASSERT_EQ(got[i], decoded(company, device, announced, low[i], i))
                        << company << " " << device;
            }
    }
}

// Against filters of the test's own. For ten cycles the model is an unknown one: the reading of the cycle
// before goes into the filters again. A cycle with the sensor off starts them anew.
TEST(SensorIntake, FiltersEachChannelAndStartsAnewWithTheSensor) {
    fixture::start(101);
    mpb.forceSensorLoadWeight = 1.5;
    std::mt19937 random(5);
    KALMANINFO filters[6];
    Reading want{};
    for (int n = 0; n < 120; n++) {
        if (n % 40 == 0) {
            cycle(2, 18, 0, {1, 2, 3, 4, 5, 6});  // any other than 1 is off
            EXPECT_EQ(values(mpb.forceOrigin), Reading{});
            EXPECT_EQ(values(mpb.forceRCS), Reading{});
        }
        const bool known = n % 40 / 10 != 2;
        Words words;
        for (size_t i = 0; i < 6; i++) {
            words[i] = static_cast<int32_t>(random());
            if (known) want[i] = decoded(18, 0, false, static_cast<int16_t>(words[i]), i);
            if (n % 40 == 0) Init_KalmanInfo(&filters[i], 1.0, 1.0, want[i]);
            want[i] = KalmanFilter(&filters[i], want[i]);
        }
        cycle(1, 18, known ? 0 : 1, words);
        ASSERT_EQ(values(mpb.forceOrigin), want) << "cycle " << n;
        FORCESENSOR_DATA compensated;
        trsfToRCS_force(&compensated);
        ASSERT_EQ(values(mpb.forceRCS), values(compensated));
        ASSERT_NE(values(compensated), want);  // the load is off
    }
}

// The guard leaves out the line of a full queue alone, which the host prints.
TEST(SensorIntake, AnAlarmLineClosesInEveryCycleAndTheReadingGoesOn) {
    using namespace tarn::test;
    fixture::start(101);
    const std::string found = guarded([] {
        for (unsigned n = 0; n < 256; n++) {
            const uint8_t act = n % 3 != 0;
            tarn::host::axleBus.din = static_cast<uint16_t>(n << 3);
            force.endforcedrag.flag = force.forceandtorquedrag.status = 1;
            cycle(act, 18, 0, {-300, 200, 100, 30, -20, 10});
            const unsigned state = act == 1 ? n >> 3 & 3 : 0;
            uint8_t told = 9;
            EXPECT_EQ(zvmcGetForceSensorState(&told), 0);
            EXPECT_EQ(told, state) << n;
            EXPECT_EQ(tmcGetForceSensorAct(&told), 0);
            EXPECT_EQ(told, act) << n;
            EXPECT_EQ(force.endforcedrag.flag, state == 0) << n;
            EXPECT_EQ(force.forceandtorquedrag.status, state == 0) << n;
            EXPECT_NEAR(mpb.forceRCS.fx, -30.0 * act, 1e-12);

            uint32_t telegram[2] = {n << 24 | 0xabcdef, n};
            EXPECT_EQ(axleSensorDataMonitor(telegram), 0);
            const uint8_t *shown = mpb.junkongTest, kind = n % 16;
            EXPECT_EQ(shown[0], kind);
            EXPECT_EQ(shown[1] << 8 | shown[2], kind == 7 ? 0xab00 : kind == 8 ? 0xab : 0);
            force.buffFlag = n != 0;
            axleSensorDataAddToBuff(telegram);
        }
    });
    EXPECT_EQ(found, "");
    EXPECT_EQ(tmcAsqIsFull(), 1);
    if (systemCallWatch() == SystemCallWatch::kNone) GTEST_SKIP() << systemCallWatchRefusal();
}

TEST(SensorSettings, FollowTheAnnouncementOrAreRefused) {
    fixture::start(101);
    zvmcSetAxleDeviceType(0);
    tmcSetForceSensorAct(1, 3);  // not seen by the announcement: type 2 leaves it on
    const std::pair<uint8_t, const char*> steps[] = {{2, ""}, {3, "1"}, {3, ""}, {4, "0"}, {0, ""}, {5, "1"}};
    for (const auto& [type, to] : steps) {
        fixture::forgetCalls();
        mpb.currentLine = 7;
        zvmcSetAxleDeviceType(type);
        Lines want = {"zvHalEnableAxleDeviceType " + std::to_string(type)};
        if (*to != 0) {
            want.push_back(std::string("Write_Log 2 tmcSetForceSensorAct = ") + to);
            want.push_back(entry(std::string("SETFLAG ") + to));
        }
        EXPECT_EQ(calls(), want);
        EXPECT_EQ(mpb.currentLine, *to == 0 ? 7 : 0);
    }
    fixture::forgetCalls();
    EXPECT_EQ(tmcAxleSensorRegWrite(1, 2, 3, 4, 500, 65535), 0);
    EXPECT_EQ(calls(), Lines{"zvHalSetAxleSensorData 1 2 3 4 500 65535"});
    fixture::forgetCalls();
    float place[6] = {1.5f, -2, 3, 40, -50.25f, 6};
    EXPECT_EQ(tmcSetForceSensorRcs(2, place, 12), 0);
    EXPECT_EQ(calls(),
              (Lines{entry("COORD_X 1.5"), entry("COORD_Y -2"), entry("COORD_Z 3"), entry("COORD_A 40"),
                     entry("COORD_B -50.25"), entry("COORD_C 6"), entry("REFCOORD 2")}));
    place[0] = 9;
    for (const bool frame : {false, true}) {
        const fixture::Blocks before;
        EXPECT_EQ(frame ? tmcSetForceSensorRcs(3, place, 13) : tmcSetForceSensorAct(2, 13), -1);
        EXPECT_EQ(std::exchange(mpb.currentLine, 12), frame ? 13 : 12);  // only the switch leaves the line
        EXPECT_EQ(std::exchange(mcb.ioError, zvCtlIOOK), zvCtlIOVALUEError);
        EXPECT_TRUE(before.unchanged());
    }
}

// Against a deque, through many turns of the ring, with the queue often full and often empty.
TEST(TelegramQueue, HoldsWhatCameInOrder) {
    EXPECT_EQ(tmcAsqInit(), 1);
    EXPECT_EQ(tmcAxleSensorDataBuffFlag(1), 0);
    std::deque<uint32_t> want;
    std::mt19937 random(3);
    testing::internal::CaptureStdout();
    std::string printed;
    for (uint32_t n = 0; n < 40000; n++) {
        const bool filling = n / 1000 % 2 == 0;
        if (random() % 8 < (filling ? 6 : 2)) {
            uint32_t words[2] = {n, ~n};
            EXPECT_EQ(axleSensorDataAddToBuff(words), 0);
            want.size() == 255 ? void(printed += "The cmd queue is full!!!\n") : want.push_back(n);
        } else {
            AXLESENSOR_DATA got = {{1, 2}};
            const int result = filling ? tmcGetAxleSensorData(&got) : tmcAsqGetAtHead(&got);
            const bool kept = want.empty() || (filling && want.size() == 255);
            ASSERT_EQ(result, !kept ? 0 : filling && want.empty() ? -2 : -1);
            ASSERT_EQ(got.axleSensorData[0], kept ? 1 : want.front());
            ASSERT_EQ(got.axleSensorData[1], kept ? 2 : ~want.front());
            if (!kept) want.pop_front();
        }
        ASSERT_EQ(tmcAsqLength(), static_cast<int>(want.size()));
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
    EXPECT_FALSE(printed.empty());
}

TEST(TelegramQueue, IsNeverLeftByItsIndices) {
    for (int wild : {200, -1, 256, INT32_MIN, INT32_MAX})  // a host may write the indices
        for (int* index : {&asq.head, &asq.tail}) {
            *index = wild;
            AXLESENSOR_DATA got{};
            tmcAsqAddToTail({});
            tmcAsqGetAtHead(&got);
            EXPECT_EQ(tmcAsqLength() & ~255, 0);
            tmcAxleSensorDataBuffFlag(200);  // any but 1: the next telegram empties the queue
            axleSensorDataAddToBuff(got.axleSensorData);
            EXPECT_TRUE(asq.head == 0 && asq.tail == 0);
        }
}

}  // namespace
