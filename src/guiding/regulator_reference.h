// The pose that the guiding regulators pull back to.
#pragma once

#include "tmcforceblock.h"

namespace tarn {

inline Compedence cpd;

}  // namespace tarn
