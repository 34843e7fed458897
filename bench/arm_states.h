// The states of all measurements, and the blocks of the arms that are measured.
#pragma once

#include "tarnmath/tarnmath.h"
#include "workloads.h"

namespace tarn::bench {

inline constexpr double kRadPerDeg = 3.141592653589793 / 180.0;

extern JNTS pose[kStates];      // degrees
extern JNTS velocity[kStates];  // degrees/ms, from creeping to fast, both ways
extern EX_LOAD load;

void fillStates();

// An arm on a slanted mount, with a load.
void prepareArm(int robotType);
// In hand guiding, with friction compensated.
void prepareDrag(int robotType);
// Both with torque model 2.
void prepareFullDynamics(int robotType);
void prepareFullDynamicsDrag(int robotType);

}  // namespace tarn::bench
