// What the detectors do when they fire. A detector has a table: a row for each mcb.collisionPauseFlag, and in
// it the steps in their order. Steps that only one detector takes stand beside its table.
#pragma once

#include "collision/after_collision.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tarntools/tools_log.h"

namespace tarn {

// code: the fault that the detector reports. False ends the row.
using ReactionStep = bool (*)(ZvCollisionError code);

struct Reaction {
    ReactionStep steps[12];  // up to the first nullptr
};

constexpr int kReactions = 7;  // flags 0 to 5, then any other
using ReactionTable = Reaction[kReactions];

inline void react(const ReactionTable& table, ZvCollisionError code) {
    const int flag = mcb.collisionPauseFlag;
    for (ReactionStep step : table[flag < kReactions ? flag : kReactions - 1].steps)
        if (step == nullptr || !step(code)) return;
}

inline ZvCollisionError jointCollisionCode(int joint) {
    return static_cast<ZvCollisionError>(zvCtlJ1CollisionError + static_cast<unsigned>(joint));
}

namespace step {

inline bool raiseFault(ZvCollisionError code) {
    mcb.collisionError = code;
    return true;
}
inline bool raiseAlarm(ZvCollisionError) {
    mcb.motionAlarm = zvCtlCollisionAlarm;
    return true;
}

inline bool pauseMotion(ZvCollisionError) {
    tmcPause();
    return true;
}
inline bool stopMotion(ZvCollisionError) {
    tmcStop();
    return true;
}
inline bool handleConfig(ZvCollisionError) {
    doConfigHandle(1, 1);
    return true;
}
inline bool resetWeld(ZvCollisionError) {
    resetWeldControlPara();
    return true;
}

// Conditions on the rest of the row.
inline bool ifSafetyBoard(ZvCollisionError) { return mcb.safetyPara.safetyStopEnable == 2; }
inline bool ifInMotion(ZvCollisionError) { return mpb.state == TGEN_SERVICE; }
inline bool ifNotJogging(ZvCollisionError) { return mcb.jogControl.modeCTL == 0; }

inline bool endCustomThresholds(ZvCollisionError) {
    mcb.collisionDetection.CustomCollisionFlag = 0;
    return true;
}
inline bool frictionOff(ZvCollisionError) {
    mcb.fricCompensationFlag = 0;
    return true;
}
inline bool enterDrag(ZvCollisionError) {
    tmcDragSwitch(1);
    return true;
}

// Makes the first cycle of the reaction latch its reference.
inline bool startPhase(ZvCollisionError) {
    afterCollision.CollisionStartFlag = 1;
    return true;
}
template <int Cycles>
bool holdFor(ZvCollisionError) {
    afterCollision.CollisionAfterTime = Cycles;
    return true;
}
inline bool holdForSafeTime(ZvCollisionError) {
    afterCollision.CollisionAfterTime = mcb.collisionDetection.safeTime;
    return true;
}

// A text with one place for the number of the reaction.
template <const char* Text>
bool logFlag(ZvCollisionError) {
    Write_Log(LOG_INFO, Text, mcb.collisionPauseFlag);
    return true;
}

}  // namespace step
}  // namespace tarn
