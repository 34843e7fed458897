// The friction stage of the cycle.
#pragma once

#include "support/cycle_frame.h"

namespace tarn {

// Fills frame.value with the friction torque of each joint, N·m; zero where no compensation applies.
void frictionStage(CycleFrame& frame);

}  // namespace tarn
