// Link geometry of the two arm shapes, and the one version whose joint zeros are turned.
#pragma once

#include <array>

#include "model/parameter_sets.h"

namespace tarn {

// One row of a standard (distal) Denavit-Hartenberg table:
// Rz(theta + thetaOffset) * Tz(d) * Tx(a) * Rx(alpha).
struct DhLink {
    double a;               // mm
    double alphaDeg;        // degrees, always a multiple of 90
    double d;               // mm
    double thetaOffsetDeg;  // degrees, added to the joint angle
};

constexpr std::array<DhLink, 6> dhLinks(const ParameterSet& set) {
    const auto magnitude = [](double length) { return length < 0.0 ? -length : length; };
    const double* l = set.paramSDH;
    const double a2 = -magnitude(l[1]);
    // clang-format off
    if (set.shape == ArmShape::Offset) {
        return {{
            // a,                 alpha,    d,                theta offset
            {  0.0,                90.0,    l[0],               0.0 },
            {  a2,                  0.0,    0.0,                0.0 },
            {  0.0,                90.0,    magnitude(l[2]),  -90.0 },
            {  0.0,               -90.0,    l[3],             -90.0 },
            {  0.0,               -90.0,    l[4],              90.0 },
            {  0.0,                 0.0,    l[5],               0.0 },
        }};
    }
    return {{
        // a,                 alpha,    d,                theta offset
        {  0.0,                90.0,    l[0],               0.0 },
        {  a2,                  0.0,    0.0,                0.0 },
        {  -magnitude(l[2]),    0.0,    0.0,                0.0 },
        {  0.0,                90.0,    l[3],               0.0 },
        {  0.0,               -90.0,    l[4],               0.0 },
        {  0.0,                 0.0,    l[5],               0.0 },
    }};
    // clang-format on
}

// Degrees to take off the joint angles before they enter the model. On version 3 of family A joints 1, 2, 4
// and 6 have their zero half a turn away from the model's.
inline constexpr TypeRow<std::array<double, 6>> kJointZeroOffsetDeg[] = {
    {3, 3, {180.0, 180.0, 0.0, 180.0, 0.0, 180.0}},
};
inline constexpr std::array<double, 6> kNoZeroOffset = {};

constexpr const std::array<double, 6>& jointZeroOffsetDeg(int robotType) {
    return byType(kJointZeroOffsetDeg, kNoZeroOffset, robotType);
}

}  // namespace tarn
