// Friction settings: checked, stored, handed to the safety board, persisted, in that order.
#include <algorithm>

#include "support/joints.h"
#include "support/persist.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

struct FrictionSettings {
    int flag;  // 1 after the first call of tmcSetJointFrictionGain
};
FrictionSettings frictionSettings;

constexpr int kSafetyBoardInCharge = 2;

bool safetyBoardInCharge() { return mcb.safetyPara.safetyStopEnable == kSafetyBoardInCharge; }

bool gainRefused(double gain) { return gain < 0.5 || gain > 1.5; }

bool shareRefused(float share) {
    return static_cast<double>(share) < -1e-06 || static_cast<double>(share) > 1.0;
}

}  // namespace

int tmcSetJointStiffnessType(int Type) {
    if (Type < 0 || Type > 1) return -1;
    mcb.jointStiffnessType = Type;
    persist(USER_PARAM_SECTION, "FRIC_JOINTSTIFFNESSTYPE", mcb.jointStiffnessType);
    return 0;
}

int tmcSetJointFrictionGain(double* ForDeadGain, double* RevDeadGain, double* ForFastGain,
                            double* RevFastGain) {
    // Before the check on purpose: a refused first call leaves usable gains behind.
    if (frictionSettings.flag == 0) {
        for (double(*gains)[6] : {&mpb.ForDeadGain, &mpb.RevDeadGain, &mpb.ForFastGain, &mpb.RevFastGain})
            std::fill_n(*gains, 6, 1.0);
        frictionSettings.flag = 1;
    }

    for (const double* gains : {ForDeadGain, RevDeadGain, ForFastGain, RevFastGain})
        if (std::any_of(gains, gains + 6, gainRefused)) return -1;

    std::copy_n(ForDeadGain, 6, mpb.ForDeadGain);
    std::copy_n(RevDeadGain, 6, mpb.RevDeadGain);
    std::copy_n(ForFastGain, 6, mpb.ForFastGain);
    std::copy_n(RevFastGain, 6, mpb.RevFastGain);

    persistSix(USER_PARAM_SECTION, "FORDEAD_GAIN#", mpb.ForDeadGain);
    persistSix(USER_PARAM_SECTION, "REVDEAD_GAIN#", mpb.RevDeadGain);
    persistSix(USER_PARAM_SECTION, "FORFAST_GAIN#", mpb.ForFastGain);
    persistSix(USER_PARAM_SECTION, "REVFAST_GAIN#", mpb.RevFastGain);
    return 0;
}

int tmcFrictionCompensationOnOff(uint8_t status) {
    if (status > 1) return -1;
    mcb.fricCompensationFlag = status;
    if (safetyBoardInCharge()) tfsSetRobotJointFrictionCmpstOnOff(mcb.fricCompensationFlag);
    persist(USER_PARAM_SECTION, "FRIC_COMPENSATION", mcb.fricCompensationFlag);
    return 0;
}

int tmcSetFrictionValue_free(float* freet) {
    const int joints = armJoints();
    if (std::any_of(freet, freet + joints, shareRefused)) return -1;
    std::copy_n(freet, joints, mpb.friction_Free);
    if (safetyBoardInCharge()) tfsSetRobotJointFrictionLevel(mpb.friction_Free);
    persistSix(USER_PARAM_SECTION, "FRIC_VALUE_FREE_J#", mpb.friction_Free);
    return 0;
}
