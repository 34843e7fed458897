#include "tarnhost/planner_values.h"

#include <algorithm>

#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn::host {

PlannerValues plannerValues;

}  // namespace tarn::host

using tarn::host::plannerValues;

int newJointVelFFTorque(float* vAdd) {
    for (int i = 0; i < NUM_JNTS; i++)
        vAdd[i] = static_cast<float>(plannerValues.velocityGain[i] * mpb.jCvel.v[i] * 1000.0);
    return 0;
}

int newCollisionRatio(float* jRatio) {
    std::copy_n(plannerValues.collisionRatio, NUM_JNTS, jRatio);
    return 0;
}
