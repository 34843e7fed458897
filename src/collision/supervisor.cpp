#include "collision/supervisor.h"
#include "collision/speed_scale.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "collision/after_collision.h"
#include "collision/custom_thresholds.h"
#include "collision/deviation.h"
#include "collision/reactions.h"
#include "collision/torque_record.h"
#include "support/joints.h"
#include "support/to_integer.h"
#include "tmcforceblock.h"

namespace tarn {

Supervisor supervisor;

namespace {

// ---- reactions

constexpr char kJointDrag[] = "Collision After to DragMode mcb.collisionPauseFlag = :%u";
constexpr char kJointBoardDrag[] =
    "safetyStopEnable Collision After to DragMode mcb.collisionPauseFlag = :%u";
constexpr char kTcp[] = "TCP Collision mcb.collisionPauseFlag = :%u";
constexpr char kTcpDrag[] = "TCP Collision After to DragMode mcb.collisionPauseFlag = :%u";
constexpr char kTcpBoardDrag[] =
    "TCP safetyStopEnable Collision After to DragMode mcb.collisionPauseFlag = :%u";

bool logCode(ZvCollisionError code) {
    Write_Log(LOG_INFO, "mcbCollision:%x\n", static_cast<unsigned>(code));
    return true;
}

using namespace step;

// clang-format off
constexpr ReactionTable kJointReaction = {
    /* 0     */ {{raiseFault, logCode, pauseMotion, handleConfig, resetWeld}},
    /* 1     */ {{raiseAlarm}},
    /* 2     */ {{raiseFault, stopMotion, handleConfig, resetWeld, endCustomThresholds, ifSafetyBoard,
                                                           frictionOff, enterDrag, logFlag<kJointBoardDrag>}},
    /* 3     */ {{raiseFault, stopMotion, handleConfig, resetWeld, endCustomThresholds,
                                                           frictionOff, enterDrag, logFlag<kJointDrag>, holdFor<1000>}},
    /* 4     */ {{raiseFault, stopMotion, handleConfig, resetWeld, endCustomThresholds, startPhase,
                                                           frictionOff, enterDrag, logFlag<kJointDrag>, holdFor<5000>}},
    /* 5     */ {{raiseFault, stopMotion, handleConfig, resetWeld, endCustomThresholds, startPhase,
                                                           frictionOff, enterDrag, logFlag<kJointDrag>, holdForSafeTime}},
    /* other */ {{raiseAlarm}},
};
constexpr ReactionTable kTcpReaction = {
    /* 0     */ {{raiseFault, pauseMotion, handleConfig, resetWeld, logFlag<kTcp>}},
    /* 1     */ {{raiseAlarm}},
    /* 2     */ {{raiseFault, stopMotion, handleConfig, resetWeld, endCustomThresholds, logFlag<kTcp>, ifSafetyBoard,
                                                           frictionOff, enterDrag, logFlag<kTcpBoardDrag>}},
    /* 3     */ {{raiseFault, stopMotion, handleConfig, resetWeld, endCustomThresholds,
                                                           frictionOff, enterDrag, logFlag<kTcpDrag>, holdFor<1000>}},
    /* 4     */ {{raiseFault, stopMotion, handleConfig, resetWeld, endCustomThresholds, startPhase,
                                                           frictionOff, enterDrag, logFlag<kTcpDrag>, holdFor<5000>}},
    /* 5     */ {{raiseFault, stopMotion, handleConfig, resetWeld, endCustomThresholds, startPhase,
                                                           frictionOff, enterDrag, logFlag<kTcpDrag>, holdForSafeTime}},
    /* other */ {{raiseAlarm}},
};
// clang-format on

// ---- the window of widened limits after a step of the commanded acceleration

constexpr int kStep = 50;             // degrees/s^2 from one cycle to the next
constexpr int kFullAccelTime = 250;   // cycles
constexpr int kOtherAccelTime = 200;  // cycles

bool isStep(double delta) {
    const int whole = toInt(delta);
    return whole > kStep || whole < -kStep;
}

void widenLimits(double (&limit)[6]) {
    Supervisor& s = supervisor;
    double delta[6];
    for (int i = 0; i < 6; i++) {
        const double accel = mpb.jCaccRaw.v[i] * 1000 * 1000;
        delta[i] = accel - s.lastJointAccel[i];
        s.lastJointAccel[i] = accel;
    }
    const bool front = isStep(delta[0]) || isStep(delta[1]);
    const int stopTime = mpb.defaultJointAccel.v[1] == kFullAccel ? kFullAccelTime : kOtherAccelTime;

    // a step while a window is open closes it here and opens it anew below; on joint 3 an upward step closes,
    // whole or not, on purpose
    if (s.collisionTime1 > stopTime || (s.collisionKeepFlag == 0 && (front || delta[2] > kStep))) {
        s.collisionKeepFlag = 1;
        s.collisionTime1 = 0;
        s.timeFlag = 0;
    }
    if ((front || isStep(delta[2])) && s.collisionKeepFlag == 1) {
        s.collisionKeepFlag = 0;
        s.collisionTime1 = 0;
        s.timeFlag = 1;
    }
    if (s.timeFlag == 1)
        dynamicCurrentCollisionLimit(++s.collisionTime1, limit);
    else
        std::fill_n(limit, 6, 0.0);
}

// ---- gates

constexpr int kSegmentEdge = 100;  // cycles at each end of a segment, with its acceleration transients

void noteResume() {
    if (supervisor.stateLast == TGEN_PAUSE && mpb.state == TGEN_SERVICE) {
        supervisor.pauseResumeFlag = 1;
        supervisor.pauseResumeCount = 0;
    }
    supervisor.stateLast = static_cast<std::uint8_t>(mpb.state);
}

bool supervised() {
    const int stopEnable = mcb.safetyPara.safetyStopEnable;
    return stopEnable == 1 || stopEnable == 2 ||
           (stopEnable == 0 &&
            (mpb.state == TGEN_SERVICE || mcb.servoJStatus == 1 || mcb.jogControl.jogCycleFlag == 1));
}

// The cycles after a pause in which detection sleeps, counted while it runs.
bool restsAfterPause() {
    if (supervisor.pauseResumeFlag == 1 && supervisor.pauseResumeCount < RESUMECOLLISIONTIME) {
        supervisor.pauseResumeCount++;
        return true;
    }
    supervisor.pauseResumeFlag = 0;
    supervisor.pauseResumeCount = 0;
    return false;
}

bool inMotionWindow() {
    return (mpb.ci.c > kSegmentEdge && mpb.ci.c < static_cast<long long>(mpb.ci.sigma) - kSegmentEdge) ||
           mpb.interMode == SERVOJOINT || mcb.jogControl.jogCycleFlag == 1 || replaysTorqueRecord();
}

void clearCounts() { std::fill_n(mpb.collisionErrorCount, armJoints(), 0); }

// ---- the check

constexpr float kLevelOff = 100;  // the level that switches a joint off
constexpr int kWidened = 3;       // joints whose band the window widens

bool isOff(int i) { return std::fabs(mpb.collisionLevel[i] - kLevelOff) < 1e-06f; }

// The first joint outside its band counts and hides the later ones for this cycle, on purpose also when it is
// switched off. With every joint inside, all counts start anew.
void countExcess(const double (&precent)[6], const double (&limit)[6]) {
    const float base[6] = {mpb.j1CollisionValue, mpb.j2CollisionValue, mpb.j3CollisionValue,
                           mpb.j4CollisionValue, mpb.j5CollisionValue, mpb.j6CollisionValue};
    float jRatio[6] = {1.0f};
    newCollisionRatio(jRatio);
    for (int i = 0; i < 6; i++) {
        const double newCollisionLevel = (static_cast<double>(mpb.collisionLevel[i]) - 1) / 3 + 1;
        const double halfWidth =
            static_cast<double>(jRatio[i]) * static_cast<double>(base[i]) * newCollisionLevel;
        const double uplimit = halfWidth + (i < kWidened ? limit[i] : 0.0);
        const double downlimit = -uplimit;
        if (!(precent[i] < downlimit || precent[i] > uplimit)) continue;
        int& count = mpb.collisionErrorCount[i];
        if (isOff(i))
            count = 0;
        else if (count < INT_MAX)
            count++;
        return;
    }
    std::fill_n(mpb.collisionErrorCount, 6, 0);
}

void forgetJoint(int i) {
    mpb.collisionErrorCount[i] = 0;
    customThresholds.jointCollisionCount[i] = 0;
    customThresholds.tcpCollisionCount[i] = 0;
}

// Several joints may react in one cycle; the last one leaves its code. A joint's own firing clears the count
// of the axis with its number before that is looked at.
void decide(const double (&precent)[6]) {
    const float errorTime = static_cast<float>(mpb.collisionErrorTime);
    const int joints = armJoints();
    for (int i = 0; i < joints; i++) {
        afterCollision.forceCollisionError[i] = precent[i];
        if (mpb.collisionErrorCount[i] >= mpb.collisionErrorTime ||
            customThresholds.jointCollisionCount[i] >= errorTime) {
            forgetJoint(i);
            mcb.collisionStateback = 1;
            react(kJointReaction, jointCollisionCode(i));
        }
        if (customThresholds.tcpCollisionCount[i] >= errorTime) {
            forgetJoint(i);
            mcb.collisionStateback = 1;
            react(kTcpReaction, zvCtlFSCollisionError);
        }
    }
}

// Once per joint fault.
void logFault() {
    const bool clear = mcb.collisionError == zvCtlCollisionOK;
    if (!clear && mcb.collisionError != zvCtlFSCollisionError && supervisor.collisionRecordFlag == 0) {
        Write_Log(LOG_ERR, "collisionError:%d",
                  static_cast<int>(mcb.collisionError - ZV_CTL_COLLISION_ERROR));
        supervisor.collisionRecordFlag = 1;
    }
    if (clear && supervisor.collisionRecordFlag == 1) supervisor.collisionRecordFlag = 0;
}

}  // namespace

void coldStartSupervisor() {
    supervisor.pauseResumeFlag = 0;
    supervisor.pauseResumeCount = 0;
    supervisor.collisionRecordFlag = 0;
}

}  // namespace tarn

using namespace tarn;

void zvmcCheckForCollisionError() {
    zvmcTorqueRecordProcess();
    JointTorques torques = jointTorques();
    const int joints = armJoints();
    for (int i = 0; i < joints; i++) {
        mpb.jTorqueTheory[i] = static_cast<float>(torques.gtorque.v[i] / 100);
        mpb.jActualTheory[i] = static_cast<float>(torques.servor_current_feedback[i]);
    }
    double limit[6];
    widenLimits(limit);
    noteResume();

    if (!supervised()) return clearCounts();
    if (restsAfterPause()) return;
    if (!inMotionWindow()) return clearCounts();

    collisionMessageSave(&torques.gtorque, torques.servor_current_feedback);
    if (replaysTorqueRecord()) {
        checkTorqueRecord(torques.precent);
    } else {
        clearRecordExcess();
        countExcess(torques.precent, limit);
        zvmcCustomCollisionDetectionMain(torques.precent, torques.servor_current_feedback);
        if (mpb.collisionThresholdMode == 1 && mcb.collisionDetection.CustomCollisionFlag != 0)
            std::fill_n(mpb.collisionErrorCount, 6, 0);
        decide(torques.precent);
    }
    logFault();
}
