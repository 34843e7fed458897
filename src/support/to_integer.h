// The one conversion from floating point to integer.
#pragma once

#include <cstdint>
#include <limits>

namespace tarn {

// As the target's processor converts: truncation toward zero, values beyond int saturate, a non-number gives
// 0. A plain cast leaves the out-of-range cases undefined.
inline int toInt(double value) {
    if (value != value) return 0;
    if (value >= 2147483648.0) return std::numeric_limits<int>::max();
    if (value <= -2147483648.0) return std::numeric_limits<int>::min();
    return static_cast<int>(value);
}

// A narrower field takes the low bits of the int: 40000 becomes -25536.
inline std::int16_t toInt16(double value) { return static_cast<std::int16_t>(toInt(value)); }

}  // namespace tarn
