// State of the curve fit that outlives a call.
#pragma once

#include "zvmctoolblock.h"

namespace tarn {

extern boolean_T isInitialized_fitCurve;  // 1 from fitCurve_initialize to fitCurve_terminate

}  // namespace tarn
