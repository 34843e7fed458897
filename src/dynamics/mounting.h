// Gravity as the arm's base sees it.
#pragma once

#include <array>
#include <cmath>

#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn {

// mcb.robotInstallPos; other codes are unknown mountings.
enum Mount { FloorMount = 0, WallMount = 1, CeilingMount = 2, FreeAngleMount = 3 };

// Acceleration of gravity in the base frame, m/s^2: -9.8 times the bottom row of RY * RZ, RY and RZ the
// standard rotations about Y and Z by the mounting angles. Only the angles count, not the code of the
// mounting.
inline std::array<double, 3> gravityInBase() {
    const double y = mcb.robotInstallYangle / 180.0 * 3.141592653589793;
    const double z = mcb.robotInstallZangle / 180.0 * 3.141592653589793;
    const double bottomRow[3] = {-std::sin(y) * std::cos(z), std::sin(y) * std::sin(z), std::cos(y)};
    return {-9.8 * bottomRow[0], -9.8 * bottomRow[1], -9.8 * bottomRow[2]};
}

}  // namespace tarn
