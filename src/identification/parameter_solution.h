// State and result of the identification of inertial parameters.
#pragma once

#include "tmcforceblock.h"

namespace tarn {

inline Minimum_Inertial_Set solveX;
inline Store store;              // allocated from setup to release
inline double selftauHb_x0[54];  // baseline that a result is compared with; the first 48 are in use

}  // namespace tarn
