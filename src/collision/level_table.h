// Level tables of the detectors that know ten steps.
#pragma once

#include <algorithm>

#include "support/to_integer.h"

namespace tarn {

constexpr int kLevels = 10;
using LevelTable = float[kLevels];

// The entry of a mpb.collisionLevel, 1 to 10, truncated; what is out of the table takes its nearer end, and a
// non-number its first entry.
inline double atLevel(const LevelTable& table, float level) {
    const int entry = toInt(static_cast<double>(level - 1));
    return static_cast<double>(table[std::clamp(entry, 0, kLevels - 1)]);
}

}  // namespace tarn
