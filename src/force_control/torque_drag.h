// Force-and-torque drag: in hand guiding the sensor's force acts on the joints as torque.
#pragma once

#include "support/cycle_frame.h"

namespace tarn {

struct TorqueDrag {
    int velCount;  // cycles in a row with the tool over its speed limit
};
extern TorqueDrag torqueDrag;

// The stage of the full dynamics: the frame's torque becomes the model's, less the drag's share of the
// force. joint_torque, dragForceMAX: torque of the model and limit of the drag's torque, N m at the joint.
void torqueDragStage(CycleFrame& frame, const double (&joint_torque)[6], const double (&dragForceMAX)[6]);

// What the power trip clears: the count of the speed watch.
void coldStartTorqueDrag();

}  // namespace tarn
