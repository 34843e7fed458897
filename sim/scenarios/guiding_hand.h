// What the scenarios of hand guiding share: a hand's way out and back, and what the arm commands beside it.
#pragma once

#include <functional>

#include "sim/hand.h"
#include "sim/scenario.h"

namespace tarn::sim {

// From a point of the base frame (m), 0.3 m along an arc about the base, then in, and back. It starts at
// `grip` (s) and takes `seconds`.
std::function<Vec3(double)> outAndBack(const Vec3& from, double grip, double seconds);

constexpr double kGuidedPassSeconds = 8.0;

// What a pass of hand guiding comes to, out and back.
struct GuidedPass {
    Effort effort;
    double behind;       // mm, of the grip from where the hand wants it
    double coast;        // mm, of the grip after the hand let go
    double restSpeed;    // mm/s, before hand guiding ends
    double otherStates;  // cycles out of hand guiding while it was asked for
};

// A hand on a spring takes the grip (mm, flange frame) along outAndBack and lets go a little before the end.
// `watch` looks at every cycle of hand guiding.
GuidedPass guidePass(Run& run, double stiffness, double damping, const Vec3& gripPlace,
                     const std::function<void()>& watch);

// N m, the plant's own torque of the motion as the library sees it: in hand guiding nobody asks for
// acceleration.
Joints modelTorque(const Simulation& simulation);

// N m, what the library gives back of the joints' friction in hand guiding.
Joints compensatedFriction();

extern const Group kHandForce;  // all that acts on the tool from outside, N

}  // namespace tarn::sim
