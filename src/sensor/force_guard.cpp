// The guard on the sensor's force: a band on each watched axis, and the reaction to a force outside it.
#include <algorithm>
#include <cstddef>
#include <iterator>

#include "collision/reactions.h"
#include "sensor/decoding.h"
#include "support/log_lines.h"
#include "zvmcforcesensorblock.h"

using namespace tarn;

namespace {

// ---- reactions

bool disarm(ZvCollisionError) {
    mcb.forceControl.collisionFlag = 0;
    return true;
}
bool raiseJoint1Fault(ZvCollisionError) { return step::raiseFault(zvCtlJ1CollisionError); }

// The torque cycle takes the arm over for this time, once it is under the hand.
bool askHandOver(float cycles) {
    mcb.forceControl.collisionErrorState = 1;
    mcb.forceControl.collisionStateTime = cycles;
    return true;
}
template <int Cycles>
bool handOverFor(ZvCollisionError) {
    return askHandOver(Cycles);
}
bool handOverForSafeTime(ZvCollisionError) {
    return askHandOver(static_cast<float>(mcb.collisionDetection.safeTime));
}

// Steps that a resting arm skips; the row goes on either way.
bool inMotion() { return mcb.jogControl.modeCTL == 0 && mpb.state == TGEN_SERVICE; }
bool pauseIfMoving(ZvCollisionError) {
    if (inMotion()) tmcPause();
    return true;
}
bool stopIfMoving(ZvCollisionError) {
    if (inMotion()) tmcStop();
    return true;
}
template <int Place>
bool dragIfMoving(ZvCollisionError) {
    if (!inMotion()) return true;
    tmcStop();
    tmcDragSwitch(1);
    logDragPlace(Place);
    return true;
}

using namespace step;

// Flag 1 reports joint 1 and leaves the host alone; flag 5 stays armed and reports nothing: both on purpose.
// clang-format off
constexpr ReactionTable kReaction = {
    /* 0     */ {{        raiseFault,                      pauseIfMoving,    handleConfig, resetWeld}},
    /* 1     */ {{        raiseJoint1Fault}},
    /* 2     */ {{disarm, raiseFault,                      stopIfMoving,     handleConfig, resetWeld}},
    /* 3     */ {{disarm, raiseFault, handOverFor<1000>,   dragIfMoving<10>, handleConfig, resetWeld}},
    /* 4     */ {{disarm, raiseFault, handOverFor<5000>,   dragIfMoving<11>, handleConfig, resetWeld}},
    /* 5     */ {{                    handOverForSafeTime, dragIfMoving<12>, handleConfig, resetWeld}},
    /* other */ {{disarm, raiseFault,                      stopIfMoving,     handleConfig, resetWeld}},
};
// clang-format on

// ---- the bands

// Equality is inside, and a force that is no number, too.
bool outside(std::size_t axis) {
    const FORCE_CONTROL& guard = mcb.forceControl;
    const auto channel = kSensorChannels[axis];
    const double force = mpb.forceRCS.*channel, center = guard.collisionCur.*channel;
    return force > center + guard.collisionMax.*channel || force < center - guard.collisionMin.*channel;
}

}  // namespace

int tmcCollisionStartStop(uint8_t status, int sensorNum, uint8_t* select, FORCESENSOR_DATA collision_Cur,
                          FORCESENSOR_DATA collision_Max, FORCESENSOR_DATA collision_Min, int curLine) {
    constexpr int kSensors = static_cast<int>(std::size(mpb.posSensorCtlList));
    FORCE_CONTROL& guard = mcb.forceControl;
    mpb.currentLine = curLine;
    if (status > 1) {
        mcb.ioError = zvCtlIOVALUEError;
        return -1;
    }
    if (sensorNum < 0 || sensorNum > kSensors) return -1;
    if (std::any_of(select, select + 6, [](uint8_t on) { return on > 1; })) return -1;
    if (guard.forceSensorAct == 0) return -2;

    guard.collisionFlag = status;
    // The number behind the last entry passes, on purpose, and keeps the sensor in use.
    if (status == 1 && sensorNum < kSensors) mpb.posSensorCtl = mpb.posSensorCtlList[sensorNum];
    std::copy_n(select, 6, guard.collisionSelect);
    guard.collisionCur = collision_Cur;
    guard.collisionMax = collision_Max;
    guard.collisionMin = collision_Min;
    return 0;
}

int collisionControl() {
    const FORCE_CONTROL& guard = mcb.forceControl;
    if (guard.forceSensorAct != 1 || guard.collisionFlag != 1) return 0;
    bool hit = false;
    for (std::size_t i = 0; i < std::size(kSensorChannels); i++)
        hit = hit || (guard.collisionSelect[i] == 1 && outside(i));
    if (hit) react(kReaction, zvCtlFSCollisionError);
    return 0;
}
