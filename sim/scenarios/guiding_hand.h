// What the scenarios of hand guiding share: a hand's way out and back, and what the arm commands beside it.
#pragma once

#include <functional>

#include "sim/recorder.h"

namespace tarn::sim {

// From a point of the base frame (m), 0.3 m along an arc about the base, then in, and back. It starts at
// `grip` (s) and takes `seconds`.
std::function<Vec3(double)> outAndBack(const Vec3& from, double grip, double seconds);

// N m, the plant's own torque of the motion as the library sees it: in hand guiding nobody asks for
// acceleration.
Joints modelTorque(const Simulation& simulation);

// N m, what the library gives back of the joints' friction in hand guiding.
Joints compensatedFriction();

extern const Group kHandForce;  // all that acts on the tool from outside, N

}  // namespace tarn::sim
