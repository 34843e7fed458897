// The torque cycle: the arm's state in, six motor currents out, once per millisecond.
#include "collision/after_collision.h"
#include "cycle/stages.h"
#include "friction/compensation.h"
#include "guiding/stages.h"
#include "identification/joint_friction.h"
#include "tmcforceblock.h"

using namespace tarn;

void gravityTorqueControl(JNTS* q) {
    CycleFrame frame = {};
    frame.q = q;

    customCollisionEnd();
    vibrationAbatement();
    loadIn(frame);
    loadPublication();
    zvmcJointDefaultTorque(frame.JointTorque);
    torqueModel(frame);
    frictionSamplingStage(frame);
    dragLockStage(frame);
    interferenceStage(frame);
    afterCollisionStage(frame);
    staticCollisionStage(frame);
    frictionStage(frame);
    currentCommand(frame);
    torqueServoOverride(frame);
}
