// How the speed setting of the mode scales collision limits.
#pragma once

#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn {

// Nominal acceleration of the planner at full speed, degrees/s^2.
constexpr double kFullAccel = 1440;

// 1 for a fast setting, less for a slow one, the more so the higher the level. otherMode: in a mode that is
// neither automatic nor manual.
inline double speedScale(double level, double otherMode) {
    if (mcb.mode > 1) return otherMode;
    const double s = static_cast<double>(mcb.mode == 0 ? mcb.speedScaleAuto : mcb.speedScaleManual);
    return s / 0.1 > level ? 1.0 : s * 10 / level;
}

}  // namespace tarn
