// Stages of the torque cycle under the operator's hand.
#pragma once

#include "support/cycle_frame.h"

namespace tarn {

// Torque model 1: the fitted regressor of the arm's family, with the load beside it.
void fittedRegressor(CycleFrame& frame);

// Pulls the guided arm back to where it was when the lock began.
void dragLockStage(CycleFrame& frame);

// At an interference zone resists the hand, or ends guiding.
void interferenceStage(CycleFrame& frame);

// Gains, flags and regulators of these stages as at load, for the cold start after a power trip.
void coldStartGuiding();

}  // namespace tarn
