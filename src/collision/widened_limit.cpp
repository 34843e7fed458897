// How far an acceleration step widens the collision limits, over the time since it.
#include <array>
#include <cmath>
#include <cstddef>

#include "collision/speed_scale.h"
#include "model/type_table.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

// Cubic of the time, for every nominal acceleration but the full one.
constexpr double p1 = 2.13e-06, p2 = -0.000667, p3 = 0.05492, p4 = 0.1829;
// Decaying oscillation at the full nominal acceleration.
constexpr double a = -0.9288, b = 0.6148;

using PerJoint = std::array<double, 6>;

// clang-format off
constexpr TypeRow<PerJoint> kTypeScale[] = {
    // first, last,   J1   J2   J3   J4   J5   J6
    {  301,  400, { 2.5, 2.5, 1.0, 1.0, 1.0, 1.0 } },
};
constexpr PerJoint kTypeScaleOther =
                  { 1.0, 1.0, 1.0, 1.0, 1.0, 1.0 };
// clang-format on

double curve(int time) {
    const double t = time;
    const double accel = mpb.defaultJointAccel.v[1];
    if (accel == kFullAccel) return std::sin(t * 0.04 - 3.796091123087667) * a * std::exp(t * -0.008) + b;
    return (std::pow(t, 3) * p1 + std::pow(t, 2) * p2 + t * p3 + p4) * (accel / kFullAccel);
}

}  // namespace

int dynamicCurrentCollisionLimit(int time, double* limit) {
    float jRatio[6] = {1.0f};
    newCollisionRatio(jRatio);
    const PerJoint& typeScale = byType(kTypeScale, kTypeScaleOther, mcb.robotType);
    const double c = curve(time);
    for (std::size_t i = 0; i < 6; i++) {
        const double jointScale = static_cast<double>(jRatio[i]) / static_cast<double>(jRatio[1]);
        limit[i] =
            c * speedScale(static_cast<double>(mpb.collisionLevel[i]), 1.0) * jointScale * typeScale[i];
    }
    return 0;
}
