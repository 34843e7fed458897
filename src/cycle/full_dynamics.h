// Torque model 2: the arm's full rigid-body dynamics.
#pragma once

#include "support/cycle_frame.h"

namespace tarn {

struct FullDynamicsTorque {
    double joint_torque[6];  // of the model, N·m at the joint
    double dragForceMAX[6];  // torque that gives a joint its acceleration limit under the hand, N·m; 0: no
                             // limit is known, and no force may reach the joint
};

// The model of the robot type at the frame's pose and load, in the commanded motion.
FullDynamicsTorque fullDynamicsTorque(const CycleFrame& frame);

// The stage: the model's torque becomes the frame's, less that of a force-and-torque drag.
void fullDynamics(CycleFrame& frame);

// The next cycle in this mode starts with fresh filters again.
void restartFullDynamics();

}  // namespace tarn
