// Collision settings: checked, stored, handed to the safety board, persisted, in that order.
#include <algorithm>
#include <cmath>

#include "support/joints.h"
#include "support/persist.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

constexpr int kSafetyBoardInCharge = 2;
constexpr int kReactionPushBack = 5;

bool outside(int value, int lowest, int highest) { return value < lowest || value > highest; }

}  // namespace

int tmcSetCollisionMode(uint8_t mode, uint8_t thresholdMode) {
    if (mode > 2 || thresholdMode > 1) return -1;
    mpb.collisionMode = mode;
    mpb.collisionThresholdMode = thresholdMode;
    persist(USER_PARAM_SECTION, "COLLISION_MODE", mpb.collisionMode);
    persist(USER_PARAM_SECTION, "COLLISION_THRESHOLDMODE", mpb.collisionThresholdMode);
    return 0;
}

int tmcSetCollisionLevel(uint8_t type, float* level, uint8_t configFlag, int curLine) {
    if (type > 1) return -1;
    // Check and store in one pass on purpose: the joints before a bad level keep their new one.
    for (int i = 0; i < armJoints(); i++) {
        if (level[i] < 0 || level[i] > MAXCOLLISIONLEVELNUM) {
            mcb.paraError = zvCtlCollisionLevelNumError;
            mpb.currentLine = curLine;
            return -1;
        }
        mpb.collisionLevel[i] = level[i];
        mpb.collisionErrorCount[i] = 0;
    }
    if (configFlag == 1) {
        persist(USER_PARAM_SECTION, "COLLISION_LEVEL_TYPE", type);
        persistSix(USER_PARAM_SECTION, "J#_COLLISION_LEVEL", mpb.collisionLevel);
        std::copy_n(mpb.collisionLevel, 6, mpb.configCollisionLevel);
    }
    mpb.currentLine = curLine;
    return 0;
}

int tmcCollisionLevelResume() {
    for (int i = 0; i < armJoints(); i++) {
        const double temporary = static_cast<double>(mpb.collisionLevel[i] - mpb.configCollisionLevel[i]);
        if (std::fabs(temporary) > 1e-06) mpb.collisionLevel[i] = mpb.configCollisionLevel[i];
    }
    return 0;
}

int tmcSetCollisionPause(uint8_t pause, int safeTime, int safeDistance, int safeSpeed, int* safetyMargin) {
    if (pause > kReactionPushBack) return -1;
    if (pause == kReactionPushBack) {  // the others do not read these values, and take any
        if (outside(safeTime, 0, 2000) || outside(safeDistance, 0, 500)) return -1;
        if (std::any_of(safetyMargin, safetyMargin + 6, [](int margin) { return outside(margin, 1, 10); }))
            return -1;
    }

    COLLISION_DETECTION& detection = mcb.collisionDetection;
    mcb.collisionPauseFlag = pause;
    detection.safeTime = safeTime;
    detection.safeDistance = safeDistance;
    detection.safeSpeed = safeSpeed;
    std::copy_n(safetyMargin, 6, detection.safetyMargin);

    persist(USER_PARAM_SECTION, "COLLISION_PAUSE", mcb.collisionPauseFlag);
    persist(USER_PARAM_SECTION, "COLLISION_SAFETIME", detection.safeTime);
    persist(USER_PARAM_SECTION, "COLLISION_SAFEDISTANCE", detection.safeDistance);
    persist(USER_PARAM_SECTION, "COLLISION_SAFESPEED", detection.safeSpeed);
    persistSix(USER_PARAM_SECTION, "COLLISION_SAFEMARGIN#", detection.safetyMargin);
    return 0;
}

int tmcGetCollisionState(uint8_t* collisionState) {
    *collisionState = mcb.collisionStateback;
    return 0;
}

int zvmcSetCustomCollisionDetection(uint8_t flag, float* jointDetectionThreshold,
                                    float* tcpDetectionThreshold) {
    if (flag > 3) return -1;
    mcb.collisionDetection.CustomCollisionFlag = flag;
    std::copy_n(jointDetectionThreshold, 6, mcb.collisionDetection.jointDetectionThreshold);
    std::copy_n(tcpDetectionThreshold, 6, mcb.collisionDetection.tcpDetectionThreshold);
    return 0;
}

int tmcSetStaticCollisionOnOff(uint8_t status) {
    mcb.collisionDetection.staticCollisionFlag = status;
    persist(USER_PARAM_SECTION, "COLLISION_STATIC", mcb.collisionDetection.staticCollisionFlag);
    return 0;
}

int tmcSetPowerLimit(uint8_t status, double Power) {
    if (status > 1) return -1;
    mcb.collisionDetection.powerFlag = status;
    mcb.collisionDetection.powerLimit = Power;
    persist(USER_PARAM_SECTION, "POWER_FLAG", mcb.collisionDetection.powerFlag);
    persist(USER_PARAM_SECTION, "POWER_LIMIT", mcb.collisionDetection.powerLimit);
    return 0;
}

int tmcMomentumAndPowerOnOff(uint8_t enableFlag, float MomentumLimit, float PowerLimit) {
    if (enableFlag > 1) return -1;
    mcb.momentumPowerEnableFlag = enableFlag;
    mcb.momentumLimit = MomentumLimit;
    mcb.powerLimit = PowerLimit;
    if (mcb.safetyPara.safetyStopEnable == kSafetyBoardInCharge) {
        tfsSetMomentumPowerOnOff(mcb.momentumPowerEnableFlag);
        tfsSetMomentumPowerParam(mcb.momentumLimit, mcb.powerLimit);
    }
    persist(SAFETY_PARAM_SECTION, "MOMENTUMPOWER_ENABLEFLAG", mcb.momentumPowerEnableFlag);
    persist(SAFETY_PARAM_SECTION, "MOMENTUMPOWER_MOMENTUMLIMIT", static_cast<double>(mcb.momentumLimit));
    persist(SAFETY_PARAM_SECTION, "MOMENTUMPOWER_POWERLIMIT", static_cast<double>(mcb.powerLimit));
    return 0;
}
