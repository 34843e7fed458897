// Link geometry of the two arm shapes, and the one version whose joint zeros are turned.
#pragma once

#include <array>
#include <cstddef>

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

// How a link carries the next joint: all that the arms of one shape have in common. Link i has the one length
// paramSDH[i], along x or along z.
struct LinkShape {
    enum Axis { AlongX, AlongZ } axis;
    enum Sign { AsGiven, Positive, Negative } sign;  // of the length; the last two take the magnitude
    int sinAlpha;                                    // alpha is no turn or a quarter turn
    int quarterTurns;                                // of the joint angle's offset
};
using ArmShapeTable = std::array<LinkShape, 6>;

// clang-format off
inline constexpr ArmShapeTable kStandardShape = {{
    // length,                                alpha, offset
    { LinkShape::AlongZ, LinkShape::AsGiven,      1,      0 },
    { LinkShape::AlongX, LinkShape::Negative,     0,      0 },
    { LinkShape::AlongX, LinkShape::Negative,     0,      0 },
    { LinkShape::AlongZ, LinkShape::AsGiven,      1,      0 },
    { LinkShape::AlongZ, LinkShape::AsGiven,     -1,      0 },
    { LinkShape::AlongZ, LinkShape::AsGiven,      0,      0 },
}};
inline constexpr ArmShapeTable kOffsetShape = {{
    // length,                                alpha, offset
    { LinkShape::AlongZ, LinkShape::AsGiven,      1,      0 },
    { LinkShape::AlongX, LinkShape::Negative,     0,      0 },
    { LinkShape::AlongZ, LinkShape::Positive,     1,     -1 },
    { LinkShape::AlongZ, LinkShape::AsGiven,     -1,     -1 },
    { LinkShape::AlongZ, LinkShape::AsGiven,     -1,      1 },
    { LinkShape::AlongZ, LinkShape::AsGiven,      0,      0 },
}};
// clang-format on

// A link's length with its sign, in the unit of the length given.
template <typename Real>
constexpr Real signedLength(const LinkShape& link, Real given) {
    const Real magnitude = given < Real(0) ? -given : given;
    if (link.sign == LinkShape::AsGiven) return given;
    return link.sign == LinkShape::Positive ? magnitude : -magnitude;
}

constexpr std::array<DhLink, 6> dhLinks(const ParameterSet& set) {
    const ArmShapeTable& shape = set.shape == ArmShape::Offset ? kOffsetShape : kStandardShape;
    std::array<DhLink, 6> links{};
    for (size_t i = 0; i < 6; i++) {
        const double length = signedLength(shape[i], set.paramSDH[i]);
        const bool alongX = shape[i].axis == LinkShape::AlongX;
        links[i] = {alongX ? length : 0.0, 90.0 * shape[i].sinAlpha, alongX ? 0.0 : length,
                    90.0 * shape[i].quarterTurns};
    }
    return links;
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
