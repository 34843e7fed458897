// One-dimensional motion laws with bounded jerk: a profile from rest to rest, and a rate that ramps to a new
// value at any time. Units are the caller's; time in seconds. Internal to the host's planner.
#pragma once

namespace tarn::host {

struct MotionLimits {
    double velocity, acceleration, jerk;  // all above zero
};

struct MotionState {
    double position, velocity, acceleration;
};

// Seven phases: jerk up, constant acceleration, jerk down, cruise, and the same mirrored. Phases that a short
// way does not need have no length.
struct Profile {
    double length;
    double jerk;
    double jerkTime;          // s, of each of the four jerk phases
    double accelerationTime;  // s, from rest to cruise, jerk phases included
    double cruiseTime;        // s
    double velocity;          // of the cruise, the largest
};

// The shortest profile over a length of at least zero within the limits.
Profile planProfile(double length, const MotionLimits& limits);

double duration(const Profile& profile);

// State at a time; before the start and past the end it rests.
MotionState at(const Profile& profile, double time);

// A rate on its way to a target, with a bounded slope whose own slope is bounded.
struct Ramp {
    double rate;
    double slope;  // per second
};

struct RampLimits {
    double slope;  // per second
    double bend;   // per second squared
};

// One step of the ramp; ends exactly on the target, at rest.
void advance(Ramp& ramp, double target, const RampLimits& limits, double step);

// What a motion along a profile may use up, and what is left for a ramp of its rate: the two together keep
// within the limits whenever a pause or stop comes.
MotionLimits profileShare(const MotionLimits& limits);
RampLimits rampShare(const MotionLimits& limits, double velocity);

}  // namespace tarn::host
