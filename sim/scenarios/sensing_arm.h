// An arm with a force sensor behind its flange and a tool on it, which the library knows of.
#pragma once

#include "sim/scenario.h"

namespace tarn::sim {

// Its words carry noise. It starts where others stand; without a load it carries a tool of a kilogram.
SimulationOptions sensingArm(const RunOptions& options);

// The commands of an installer, after the start: what hangs on the sensor, and the sensor in use.
void putSensorToUse(const Simulation& simulation);
void takeSensorOut();

// Force that the library makes of the words, without the tool's weight; flange frame, N.
extern const Group kCompensatedForce;

}  // namespace tarn::sim
