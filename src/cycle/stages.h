// Stages of the torque cycle that no subsystem owns.
#pragma once

#include "support/cycle_frame.h"

namespace tarn {

void customCollisionEnd();
void vibrationAbatement();
void loadIn(CycleFrame& frame);
void loadPublication();
void torqueModel(CycleFrame& frame);
void currentCommand(const CycleFrame& frame);
void torqueServoOverride(const CycleFrame& frame);

}  // namespace tarn
