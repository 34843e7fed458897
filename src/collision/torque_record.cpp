#include "collision/torque_record.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "collision/reactions.h"
#include "support/joints.h"
#include "support/to_integer.h"
#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"

namespace tarn {

TorqueRecordState torqueRecord;

}  // namespace tarn

using namespace tarn;

namespace {

constexpr uint8_t kEmpty = 0, kRecording = 1, kRecorded = 2;  // torqueRecordFlag

constexpr int kLastCycle = TORQUERECORDINTERVAL - 1;  // of an interval

constexpr int kHistory = 100;  // calls that the current of joint 2 is kept

constexpr int kDefaultCollisionTime = 500;  // cycles

// One more, without end: runs last for weeks, counters of cycles do not.
int next(int count) { return count == std::numeric_limits<int>::max() ? count : count + 1; }

void emptySplines() {
    for (int i = 0; i < armJoints(); i++) zvmcinitBtraj(&mcb.torqueRecordCtl.torqueBSpline[i]);
}

}  // namespace

// ---- commands

int tmcTorqueRecordReset(int curLine) {
    TORQUE_RECORD& ctl = mcb.torqueRecordCtl;
    ctl.torqueRecordStatus = 0;
    ctl.torqueRecordFlag = kEmpty;
    ctl.torqueCollisionFlag = 0;
    ctl.torqueSmoothFlag = 0;
    ctl.torqueRecordNum = 0;
    for (int i = 0; i < armJoints(); i++) {
        ctl.torqueNegativeValue[i] = ctl.torquePositiveValue[i] = 0;
        ctl.torqueCollisionTime[i] = 0;
        std::fill_n(ctl.torqueRecord[i], MAXTORQUERECORDNUM, short{0});
    }
    emptySplines();
    mpb.currentLine = curLine;
    return 0;
}

int tmcTorqueRecordStartEnd(uint8_t status, uint8_t smooth, float* negativeValue, float* positiveValue,
                            int* collisionTime, int curLine) {
    if (status > 1 || smooth > 1) return -1;
    const int joints = armJoints();
    if (status == 1) {
        for (int i = 0; i < joints; i++) {
            if (static_cast<double>(negativeValue[i]) > -1e-06) return -1;
            if (static_cast<double>(positiveValue[i]) < 1e-06) return -1;
        }
    }

    TORQUE_RECORD& ctl = mcb.torqueRecordCtl;
    ctl.torqueRecordStatus = status;
    ctl.torqueSmoothFlag = smooth;
    std::copy_n(negativeValue, joints, ctl.torqueNegativeValue);
    std::copy_n(positiveValue, joints, ctl.torquePositiveValue);
    std::copy_n(collisionTime, joints, ctl.torqueCollisionTime);

    if (status == 1 && ctl.torqueRecordFlag == kEmpty) {
        ctl.torqueRecordFlag = kRecording;
        ctl.torqueCollisionFlag = 0;
        ctl.torqueRecordNum = 0;
        for (short(&samples)[MAXTORQUERECORDNUM] : ctl.torqueRecord)
            std::fill_n(samples, MAXTORQUERECORDNUM, short{0});
    } else if (status == 1 && ctl.torqueRecordFlag == kRecorded) {
        ctl.torqueCollisionFlag = 1;
        emptySplines();
    } else if (status == 0) {
        if (ctl.torqueRecordFlag == kRecording) ctl.torqueRecordFlag = kRecorded;
        ctl.torqueCollisionFlag = 0;
    }
    mpb.currentLine = curLine;
    return 0;
}

int zvmcResetTorqueRecordPara() {
    mcb.torqueRecordCtl.torqueCollisionFlag = 0;
    mcb.torqueRecordCtl.torqueRecordStatus = 0;
    return 0;
}

// ---- the writer

int zvmcTorqueRecordProcess() {
    TORQUE_RECORD& ctl = mcb.torqueRecordCtl;
    RecordPosition& writer = torqueRecord.writer;
    if (ctl.torqueRecordStatus != 1 || ctl.torqueRecordFlag != kRecording) {
        writer = {};
        return 0;
    }
    if (writer.countInterval < kLastCycle) {
        writer.countInterval++;
        return 0;
    }
    if (writer.count < MAXTORQUERECORDNUM)
        for (int i = 0; i < armJoints(); i++) ctl.torqueRecord[i][writer.count] = how.currentFeedback[i];
    writer.count = next(writer.count);
    ctl.torqueRecordNum = writer.count;
    if (writer.count > MAXTORQUERECORDNUM) {
        // the interval stays at its end on purpose: the fault comes every cycle until the host ends the run
        mcb.cmdPointError = zvCtlMaxTorqueRecordOver;
        return -1;
    }
    writer.countInterval = 0;
    return 0;
}

// ---- the expected current

namespace {

// Share of the planner's nominal speed that a motion kind runs at, times 100; 0 for a kind without a row.
int delayOfJoint2() {
    switch (mpb.interMode) {
        case JOINT:
            return toInt(mpb.limitsJnt.maxVel.v[0] / mpb.defaultJointVel.v[0] * 100);
        case CARTESIANLIN:
        case CARTESIANARC:
        case CARTESIANCIRCLE:
        case CARTESIANSPIRAL:
        case LASERRECORD:
        case SPIRALSEARCH:
        case ROTINSERT:
        case LININSERT:
        case FINDSURFACE:
        case CARTESIANDMP:
        case CARTSSCIRCLE:
        case CARTDISCRETEP:
            return toInt(mpb.limitsGoto.maxVel / mpb.defaultTransVel * 100);
        default:
            return 0;
    }
}

short expected(short commanded, int joint) { return toInt16(commanded * 0.7 * mpb.jointDynFFRatio[joint]); }

// Without a record: a share of the commanded current, that of joint 2 delayed.
void expectCommanded(short* currentSet) {
    for (int i = 0; i < armJoints(); i++) currentSet[i] = expected(how.currentSet[i], i);
    short history = 0;
    findHistoryCurrentSet(how.currentSet[1], &history);
    currentSet[1] = expected(history, 1);
}

// Past its end the record holds its last sample.
short sample(int joint, int count) {
    return mcb.torqueRecordCtl.torqueRecord[joint][std::min(count, MAXTORQUERECORDNUM - 1)];
}

// Straight line from sample to sample, in integers on purpose.
void expectLinear(short* currentSet) {
    const RecordPosition& reader = torqueRecord.reader;
    for (int i = 0; i < armJoints(); i++) {
        const int a = sample(i, reader.count), b = sample(i, next(reader.count));
        currentSet[i] = static_cast<short>(a + (b - a) * reader.countInterval / TORQUERECORDINTERVAL);
    }
}

void expectSmoothed(short* currentSet) {
    TORQUE_RECORD& ctl = mcb.torqueRecordCtl;
    const RecordPosition& reader = torqueRecord.reader;
    if (reader.countInterval == 0) {
        const bool last = ctl.torqueRecordNum > 0 && reader.count == ctl.torqueRecordNum - 1;
        for (int i = 0; i < armJoints(); i++)
            zvmcaddpointBfitting(&ctl.torqueBSpline[i], last ? 0 : 1, sample(i, reader.count));
    }
    if (reader.count == 0) {  // one sample makes no curve
        expectLinear(currentSet);
        return;
    }
    double time[4] = {0, 0.05, 0.1, 0.15};  // s, of the samples of a fit
    for (int i = 0; i < armJoints(); i++) {
        double result = 0;
        zvmccomBfitting(ctl.torqueBSpline[i], 4, time, reader.countInterval, &result, ctl.torqueBSplineMat);
        currentSet[i] = toInt16(result);
    }
}

}  // namespace

int findHistoryCurrentSet(short int currentSet, short int* history) {
    const int delayTime = std::clamp(delayOfJoint2(), 0, kHistory);
    double* buffer = torqueRecord.currentBuff;
    buffer[kHistory] = currentSet;
    std::copy(buffer + 1, buffer + kHistory + 1, buffer);
    // On purpose: what a delay of 0 reads is no sample but this zero, also for kinds of motion without delay.
    buffer[kHistory] = 0;

    if (torqueRecord.count <= kHistory) {
        torqueRecord.count++;
        *history = currentSet;
    } else {
        *history = toInt16(buffer[kHistory - delayTime]);
    }
    return 0;
}

int zvmcTorqueRecordCollision(short int* currentSet) {
    RecordPosition& reader = torqueRecord.reader;
    if (!replaysTorqueRecord()) {
        expectCommanded(currentSet);
        reader = {};
        emptySplines();
        return 0;
    }
    if (mpb.state == TGEN_PAUSE) {  // the arm rests in the record: its place is kept
        expectCommanded(currentSet);
        return 0;
    }
    if (mcb.torqueRecordCtl.torqueSmoothFlag == 0)
        expectLinear(currentSet);
    else
        expectSmoothed(currentSet);

    if (reader.countInterval == kLastCycle)
        reader = {next(reader.count), 0};
    else
        reader.countInterval++;
    return 0;
}

// ---- the check against the record

namespace {

using namespace step;

// No hand guiding here: the reactions that end in it raise the alarm alone.
// clang-format off
constexpr ReactionTable kReaction = {
    /* 0     */ {{ raiseFault, pauseMotion, handleConfig, resetWeld }},
    /* 1     */ {{ raiseAlarm }},
    /* 2     */ {{ raiseFault, stopMotion,  handleConfig, resetWeld }},
    /* 3     */ {{ raiseAlarm }},
    /* 4     */ {{ raiseAlarm }},
    /* 5     */ {{ raiseAlarm }},
    /* other */ {{ raiseAlarm }},
};
// clang-format on

// Four times the band counts at once; a smaller excess when it has lasted and its sum is that of a whole time
// at the narrower edge. A cycle inside forgets it.
bool hitsRecord(int joint, double precent) {
    const TORQUE_RECORD& ctl = mcb.torqueRecordCtl;
    const double n = static_cast<double>(ctl.torqueNegativeValue[joint]);
    const double p = static_cast<double>(ctl.torquePositiveValue[joint]);
    const int T = ctl.torqueCollisionTime[joint] > 0 ? ctl.torqueCollisionTime[joint] : kDefaultCollisionTime;
    int& count = torqueRecord.percentCount[joint];
    double& sum = torqueRecord.percentSum[joint];

    if (precent < n * 4 || precent > p * 4) return true;
    if (precent < n || precent > p) {
        count = next(count);
        sum += std::fabs(precent);
        return count > T && sum > T * std::min(std::fabs(n), p);
    }
    count = 0;
    sum = 0;
    return false;
}

}  // namespace

namespace tarn {

bool replaysTorqueRecord() {
    return mcb.torqueRecordCtl.torqueRecordStatus == 1 && mcb.torqueRecordCtl.torqueCollisionFlag == 1;
}

void clearRecordExcess() {
    std::fill_n(torqueRecord.percentCount, armJoints(), 0);
    std::fill_n(torqueRecord.percentSum, armJoints(), 0.0);
}

void checkTorqueRecord(const double* precent) {
    for (int i = 0; i < armJoints(); i++) {
        if (!hitsRecord(i, precent[i])) continue;
        mcb.collisionStateback = 1;
        react(kReaction, jointCollisionCode(i));
        clearRecordExcess();
        return;  // one joint a cycle
    }
}

void coldStartTorqueRecord() {
    std::fill_n(torqueRecord.currentBuff, kHistory + 1, 0.0);
    std::fill_n(torqueRecord.percentCount, 6, 0);
    std::fill_n(torqueRecord.percentSum, 6, 0.0);
}

}  // namespace tarn
