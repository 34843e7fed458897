#include "collision/deviation.h"

#include "support/joints.h"
#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"

namespace tarn {
namespace {

constexpr double kGear = 100;  // the same for every type

}  // namespace

JointTorques jointTorques() {
    JointTorques torques = {};

    // with the compensation on, the commanded current already holds the friction
    double value[6] = {};
    if (mcb.fricCompensationFlag == 0) frictionCompensation(&mpb.jCvel, value);

    zvmcJointDefaultTorque(torques.JointTorque);
    short currentSet[6] = {};
    zvmcTorqueRecordCollision(currentSet);
    float vAdd[6] = {};
    newJointVelFFTorque(vAdd);

    const int joints = armJoints();
    for (int i = 0; i < joints; i++) {
        const double rated = static_cast<double>(torques.JointTorque[i]);
        torques.gtorque.v[i] =
            (currentSet[i] * 0.001 * rated + static_cast<double>(vAdd[i]) * 0.001 * rated) * kGear + value[i];
        torques.servor_current_feedback[i] = how.currentFeedback[i] * 0.001 * rated;
        torques.precent[i] = torques.servor_current_feedback[i] - torques.gtorque.v[i] / kGear;
    }
    return torques;
}

}  // namespace tarn
