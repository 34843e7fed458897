// Limits of joint speed and acceleration by robot type, and the speed alarm of hand guiding.
#include <algorithm>

#include "model/type_table.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

struct JointLimits {
    double velMax[6];  // degrees/s
    float AccMax[6];   // degrees/s^2
};

// clang-format off
constexpr TypeRow<JointLimits> kLimits[] = {
    {  201,  400, { { 120, 120, 180, 180, 180, 180 }, { 240, 240, 360, 360, 360, 360 } } },
    {  401,  500, { { 120, 120, 120, 180, 180, 180 }, { 120, 120, 120, 360, 360, 360 } } },
    { 1001, 1100, { { 120, 120, 120, 180, 180, 180 }, { 120, 120, 120, 360, 360, 360 } } },
};
constexpr JointLimits kLimitsOther = { { 180, 180, 180, 180, 180, 180 }, { 360, 360, 360, 360, 360, 360 } };

constexpr ZvMotionAlarm kSpeedAlarm[6] = {
    zvCtlJ1SpeedOver, zvCtlJ2SpeedOver, zvCtlJ3SpeedOver, zvCtlJ4SpeedOver, zvCtlJ5SpeedOver, zvCtlJ6SpeedOver,
};
// clang-format on

const JointLimits& limits() { return byType(kLimits, kLimitsOther, mcb.robotType); }

}  // namespace

int MaxJointVel(double* velMax) {
    std::copy_n(limits().velMax, 6, velMax);
    if (mpb.state != TGEN_DRAG) return 0;
    for (int i = 0; i < 6; i++) {
        // With its sign on purpose: speed in the negative direction raises no alarm.
        if (mpb.j6vel.v[i] * 1000 > velMax[i]) {
            mcb.motionAlarm = kSpeedAlarm[i];
            break;
        }
    }
    return 0;
}

void JointMaxAcc(float* AccMax) { std::copy_n(limits().AccMax, 6, AccMax); }
