#include "collision/torque_record.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "tmcforceblock.h"

namespace {
int lastPoints;  // samples that were announced to the spline fit as the last ones
}
extern "C" int __real_zvmcaddpointBfitting(Bsplinep* fit, int flag, double value);
extern "C" int __wrap_zvmcaddpointBfitting(Bsplinep* fit, int flag, double value) {
    lastPoints += flag == 0;
    return __real_zvmcaddpointBfitting(fit, flag, value);
}

namespace {

using Currents = std::array<short, 6>;
TORQUE_RECORD& record = mcb.torqueRecordCtl;

void start() {
    fixture::start(101);
    tarn::torqueRecord = {};
    for (int i = 0; i < 6; i++) how.currentSet[i] = 1000, mpb.jointDynFFRatio[i] = 1;
    mpb.state = TGEN_SERVICE;
}

int startEnd(uint8_t status, uint8_t smooth = 0, float negative = -2, float positive = 1, int time = 10) {
    std::array<float, 6> n, p;
    std::array<int, 6> t;
    n.fill(negative), p.fill(positive), t.fill(time);
    return tmcTorqueRecordStartEnd(status, smooth, n.data(), p.data(), t.data(), 21);
}

Currents expected() {
    Currents currents{};
    EXPECT_EQ(zvmcTorqueRecordCollision(currents.data()), 0);
    return currents;
}

// torqueRecordStatus, torqueRecordFlag, torqueCollisionFlag as three digits.
int state() {
    return record.torqueRecordStatus * 100 + record.torqueRecordFlag * 10 + record.torqueCollisionFlag;
}
int begin() { return startEnd(1) + state(); }
int end() { return startEnd(0, 1, 5, -5) + state(); }  // the bands are not checked
int drop() { return zvmcResetTorqueRecordPara() + state(); }

TEST(TorqueRecord, WalksThroughItsStates) {
    start();
    record.torqueRecord[5][11999] = 8;
    EXPECT_EQ(end(), 0);
    EXPECT_EQ(record.torqueRecord[5][11999], 8);
    EXPECT_EQ(begin(), 110);
    EXPECT_EQ(record.torqueRecord[5][11999], 0);  // a new record starts empty
    EXPECT_EQ(drop(), 10);
    EXPECT_EQ(begin(), 110);
    EXPECT_EQ(end(), 20);
    for (const auto& stop : {drop, end}) {
        EXPECT_EQ(begin(), 121);
        EXPECT_EQ(stop(), 20);
    }
    EXPECT_EQ(tmcTorqueRecordReset(22), 0);
    EXPECT_EQ(state(), 0);
    EXPECT_EQ(record.torquePositiveValue[5], 0);
    EXPECT_EQ(mpb.currentLine, 22);

    const fixture::Blocks before;
    EXPECT_EQ(startEnd(2), -1);
    EXPECT_EQ(startEnd(1, 2), -1);
    for (float tooNarrow : {0.9e-6f, 0.0f, -1.0f}) {
        EXPECT_EQ(startEnd(1, 0, -tooNarrow), -1) << tooNarrow;
        EXPECT_EQ(startEnd(1, 0, -2, tooNarrow), -1) << tooNarrow;
    }
    EXPECT_TRUE(before.unchanged());
}

// A program that is longer than the record; each sample tells its number and joint, on straight lines.
short fed(int n, int joint) { return static_cast<short>(n * (joint % 2 ? 2 : -2) + 100 * joint); }

TEST(TorqueRecord, RecordsAndReplaysAProgramPastTheEndOfTheRecord) {
    constexpr int kCycles = MAXTORQUERECORDNUM * 50;
    start();
    startEnd(1);
    for (int cycle = 0; cycle < kCycles + 60; cycle++) {
        for (int i = 0; i < 6; i++)
            how.currentFeedback[i] = cycle % 50 == 49 ? fed(cycle / 50, i) : short{-1};
        ASSERT_EQ(zvmcTorqueRecordProcess(), cycle < kCycles + 49 ? 0 : -1) << cycle;
        ASSERT_EQ(mcb.cmdPointError, cycle < kCycles + 49 ? zvCtlCmdPointOK : zvCtlMaxTorqueRecordOver);
    }
    EXPECT_EQ(record.torqueRecordNum, 12011);  // goes on with each cycle of the fault
    record.torqueRecordNum = MAXTORQUERECORDNUM;

    for (int smooth : {0, 1}) {  // the second run starts from the beginning again
        startEnd(0);
        EXPECT_EQ(expected()[0], 700);
        startEnd(1, static_cast<uint8_t>(smooth));
        lastPoints = 0;
        for (int cycle = 0; cycle < kCycles + 250; cycle++) {
            if (cycle == 137) {  // a pause keeps the place
                mpb.state = TGEN_PAUSE;
                for (int paused = 0; paused < 70; paused++) ASSERT_EQ(expected()[0], 700);
                mpb.state = TGEN_SERVICE;
            }
            const Currents got = expected();
            const int n = cycle / 50;
            if (smooth && (n == 1 || n == 2)) continue;  // too few samples for the lines to be straight
            for (int i = 0; i < 6; i++) {
                // the host's spline runs two samples behind
                const int behind = smooth && n > 0 ? n - 2 : n, last = MAXTORQUERECORDNUM - 1;
                const double a = fed(std::min(behind, last), i), b = fed(std::min(behind + 1, last), i);
                ASSERT_NEAR(got[static_cast<size_t>(i)], a + std::trunc((b - a) * (cycle % 50) / 50), smooth)
                    << "smooth " << smooth << ", cycle " << cycle << ", joint " << i + 1;
            }
        }
        EXPECT_EQ(lastPoints, smooth ? 6 : 0);  // the last sample, once a joint
    }
    for (int i = 0; i < 6; i++)
        for (int n = 0; n < MAXTORQUERECORDNUM; n++) ASSERT_EQ(record.torqueRecord[i][n], fed(n, i));
}

TEST(ExpectedCurrent, DelaysJoint2ByTheSpeedAfterAWarmUp) {
    const std::pair<double, size_t> speeds[] = {{0, 0},     {1.8, 1}, {91, 50},     {180, 100},
                                                {900, 100}, {-90, 0}, {1e300, 100}, {fixture::kNan, 0}};
    start();
    mpb.defaultJointVel.v[0] = mpb.defaultTransVel = 180;
    std::vector<short> given;
    const auto call = [&given](int kind) {
        mpb.interMode = kind;
        given.push_back(static_cast<short>(given.size() * 31 % 20000 - 9000));
        short history = -5;
        EXPECT_EQ(findHistoryCurrentSet(given.back(), &history), 0);
        return history;
    };
    for (int i = 0; i < 101; i++) {
        const short got = call(i % 26);
        EXPECT_EQ(got, given.back()) << "warm-up, call " << i;
    }
    for (int kind = -1; kind < 27; kind++)
        for (const auto& [speed, delay] : speeds) {
            const bool byTool =
                kind == 2 || kind == 3 || kind == 11 || kind == 12 || (kind > 13 && kind < 22);
            mpb.limitsJnt.maxVel.v[0] = byTool ? 90 : speed;
            mpb.limitsGoto.maxVel = byTool ? speed : 90;
            const short got = call(kind);
            // a delay of one is none; no delay, and kinds without one, give no current at all
            const bool delayed = (byTool || kind == 1) && delay > 0;
            EXPECT_EQ(got, delayed ? given[given.size() - delay] : 0) << kind << " at " << speed;
        }
}

TEST(ExpectedCurrent, IsAShareOfTheCommandedOneBySixteenBits) {
    start();
    const double ratios[6] = {1, 0.5, -1, 100, fixture::kNan, 0};
    std::copy_n(ratios, 6, mpb.jointDynFFRatio);
    EXPECT_EQ(expected(), (Currents{700, 350, -700, static_cast<short>(70000 - 65536), 0, 0}));
}

TEST(RecordCheck, FiresAtOnceOnFourBandsAndByTimeOnOne) {
    const struct {
        double precent;
        int time, gapAt, cycles;
    } rows[] = {{1, 10, 0, 0},     {-2, 10, 0, 0},  {1.001, 10, 0, 11}, {-2.001, 10, 0, 11},
                {4, 10, 0, 11},    {-8, 10, 0, 11}, {4.001, 10, 0, 1},  {-8.001, 10, 0, 1},
                {1.5, 10, 10, 21}, {-3, 0, 0, 501}, {-3, -3, 0, 501},   {fixture::kNan, 10, 0, 0}};
    for (const auto& row : rows) {
        start();
        startEnd(1, 0, -2, 1, row.time);
        int hit = 0;
        for (int cycle = 1; cycle <= 600 && hit == 0; cycle++) {
            const double deviations[6] = {0, 0, 0, cycle == row.gapAt ? 0.5 : row.precent, 0, 0};
            tarn::checkTorqueRecord(deviations);
            if (mcb.collisionError == zvCtlJ4CollisionError) hit = cycle;
        }
        EXPECT_EQ(hit, row.cycles) << row.precent << ", time " << row.time;
    }
}

TEST(RecordCheck, ReactsToTheFirstJointByTheFlag) {
    for (int flag : {0, 1, 2, 3, 4, 5, 6, 255}) {
        SCOPED_TRACE(flag);
        start();
        startEnd(1);
        mcb.collisionPauseFlag = static_cast<uint8_t>(flag);
        const double small[6] = {1.5, 0, 1.5, 0, 0, 1.5}, hit[6] = {1.5, 9, 0, -9, 1.5, 1.5};
        tarn::checkTorqueRecord(small);
        EXPECT_EQ(mcb.collisionStateback, 0);
        fixture::forgetCalls();
        tarn::checkTorqueRecord(hit);

        const bool stops = flag == 0 || flag == 2;
        const std::string call = flag == 0 ? "tmcPause; " : "tmcStop; ";
        EXPECT_EQ(fixture::callText(), stops ? call + "doConfigHandle 1 1; resetWeldControlPara; " : "");
        EXPECT_EQ(mcb.collisionError, stops ? zvCtlJ2CollisionError : zvCtlCollisionOK);
        EXPECT_EQ(mcb.motionAlarm, stops ? zvCtlMotionNoAlarm : zvCtlCollisionAlarm);
        EXPECT_EQ(mcb.collisionStateback, 1);
        EXPECT_EQ(std::to_array(tarn::torqueRecord.percentCount), (std::array<int, 6>{}));
    }
}

TEST(TorqueRecord, KeepsToTheRulesOfTheCycleWithAnyNumberOfJoints) {
    const auto cycles = [] {
        short currents[6];
        for (int cycle = 0; cycle < 210; cycle++) {
            zvmcTorqueRecordProcess();
            zvmcTorqueRecordCollision(currents);
            const double deviations[6] = {cycle == 100 ? 9.0 : 1.5};
            tarn::checkTorqueRecord(deviations);
        }
    };
    for (int joints : {6, -1, 1, 100}) {
        start();
        mpb.sysJntsNo = joints;
        for (int run = 0; run < 6; run++) {  // record, end, replay, end, replay smoothed, end
            startEnd(run % 2 == 0, run == 4);
            ASSERT_EQ(tarn::test::guarded(cycles), "") << joints << " joints, run " << run;
        }
    }
}

}  // namespace
