// The friction run of one joint: where it stands, beside its samples in singleJointIdentify.
#pragma once

#include <cstdint>

#include "support/cycle_frame.h"

namespace tarn {

struct JointFrictionRun {
    int j_vel, j_velN;            // next slow bin, up and down
    int j_vel_high, j_velN_high;  // next fast bin, up and down
    int slowFlag;                 // 0 in the slow stage, 1 in the fast one
    std::uint8_t velFlag;         // 1 once the bin has been averaged
};
extern JointFrictionRun jointFriction;

// Takes a sample of the torque that the model has just given, while a run is on.
void frictionSamplingStage(CycleFrame& frame);

// What the power trip clears: where the run stands. Bins and samples stay.
void coldStartJointFriction();

}  // namespace tarn
