// What the joints carry, as measured: torque out of the motor currents, and the position it belongs to, both
// through the same slow filter.
#pragma once

namespace tarn {

struct MeasuredLoad {
    double torque[6];            // filtered joint torque, N·m
    double joint_angle_load[6];  // filtered measured joint position, degrees
};

// As of the last sample; zero at load.
extern MeasuredLoad measuredLoad;

// Takes the sample of this cycle. Once per cycle of the general full model.
void sampleMeasuredLoad();

}  // namespace tarn
