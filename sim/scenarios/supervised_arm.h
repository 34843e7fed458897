// An arm whose host runs the collision supervisor, for the scenarios that end in one or must not.
#pragma once

#include "sim/scenario.h"

namespace tarn::sim {

// Full dynamics as feed-forward, position loops in the drives, supervised. It starts a motion where the
// others do.
SimulationOptions supervisedArm(const RunOptions& options);

// The speed of all motions from now on, as a share of the joints' and the tool's nominal ones. The supervisor
// takes it from the limits: the expected current of joint 2 is the later, the faster the motion may be.
void setSpeed(double share);

inline constexpr double kRecommendedLevel = 3.0;
void setLevel(double level);

// Measured less expected torque of each joint over half the band that the supervisor leaves it.
Joints bandShare(const Simulation& simulation);

extern const Group kDeviation;

double jointSpeed(const Simulation& simulation);  // deg/s, of the fastest joint

}  // namespace tarn::sim
