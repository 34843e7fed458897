// The numbers that are none, as the curve fit compares with them.
#pragma once

#include "zvmctoolblock.h"

namespace tarn {

// All zero until rt_InitInfAndNaN.
struct NonFinite {
    real_T rtNaN, rtInf, rtMinusInf;
    real32_T rtNaNF, rtInfF, rtMinusInfF;
};
extern NonFinite nonFinite;

}  // namespace tarn
