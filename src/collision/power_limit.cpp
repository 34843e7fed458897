#include "collision/power_limit.h"

#include <algorithm>
#include <cmath>

#include "support/joints.h"
#include "support/log_lines.h"
#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace tarn {

PowerLimit powerLimit;

}  // namespace tarn

namespace {

constexpr double kGear = 101;  // every type and joint alike, on purpose
constexpr double kRadPerDeg = 0.017453292519943295;

// Of all joints, driving and braking alike, W.
double lastPower() {
    float JointTorque[6];
    zvmcJointDefaultTorque(JointTorque);
    double power = 0;
    const int joints = armJoints();
    for (int i = 0; i < joints; i++) {
        const double torque = how.currentFeedback[i] * 0.001 * static_cast<double>(JointTorque[i]) * kGear;
        const double joint_vel = mpb.j6vel.v[i] * 1000 * kRadPerDeg;
        power += std::fabs(torque * joint_vel);
    }
    return power;
}

// 0 until the window is full. After that the sum is taken before this call's sample is in, when the newest
// one of the window stands in its last two places and counts twice: on purpose.
double meanPower() {
    auto& [powerCount, powerIntegral] = powerLimit;
    double integral = 0;
    if (powerCount >= kPowerWindow) {
        std::copy(powerIntegral + 1, powerIntegral + kPowerWindow, powerIntegral);
        powerCount--;
        for (const float power : powerIntegral) integral += static_cast<double>(power);
    }
    powerIntegral[powerCount++] = static_cast<float>(lastPower());
    return integral / kPowerWindow;
}

}  // namespace

int tmcPowerReal(double* /*torque*/, double* power) {
    power[0] = meanPower();
    return 0;
}

namespace tarn {

bool powerTrips() {
    if (!(std::fabs(meanPower()) > mcb.collisionDetection.powerLimit)) return false;
    mcb.cmdPointError = zvCtlCurrentCmdOver;
    tmcDragSwitch(0);
    logDragPlace(5);
    return true;
}

void coldStartPowerLimit() { powerLimit = {}; }

}  // namespace tarn
