// Records and sums of the nine-point load identification.
#pragma once

#include "tmcforceblock.h"

namespace tarn {

inline SIMPLE_LOADIDENTIFY simply_loadidentify;

}  // namespace tarn
