// State and result of the identification of inertial parameters.
#pragma once

#include "tmcforceblock.h"

namespace tarn {

inline Minimum_Inertial_Set solveX;

}  // namespace tarn
