// An arm whose host runs the collision supervisor, for the scenarios that end in one or must not.
#pragma once

#include "sim/scenario.h"

namespace tarn::sim {

// Full dynamics as feed-forward, position loops in the drives, supervised. It starts a motion where the
// others do.
SimulationOptions supervisedArm(const RunOptions& options);

// The speed of all motions from now on, as a share of the joints' and the tool's nominal ones. The supervisor
// takes it from the limits: the expected current of joint 2 is the later, the faster the motion may be.
void setSpeed(double share);

inline constexpr double kRecommendedLevel = 3.0, kLevelOff = 100.0;
void setLevel(double level);

// What a collision does from now on, mcb.collisionPauseFlag.
void setReaction(int reaction);

inline constexpr int kFreeTime = 1000, kSpringTime = 5000, kSafeTime = 1000;  // cycles in hand guiding
inline constexpr int kSafeDistance = 150, kSafeSpeed = 250;                   // mm, mm/s
inline constexpr int kSafetyMargin = 5;                                       // 1/s

// A move of all joints, and a place on it where something is met.
struct Way {
    Joints start, goal;
    Vec3 place;  // m, of the flange
    Vec3 ahead;  // its direction there, of length 1
};

Way wayOf(const Simulation& simulation, double share);  // the place at a share of the way
bool isPast(const Simulation& simulation, const Way& way, double share);

// Measured less expected torque of each joint over half the band that the supervisor leaves it.
Joints bandShare(const Simulation& simulation);

extern const Group kDeviation;

double jointSpeed(const Simulation& simulation);  // deg/s, of the fastest joint

}  // namespace tarn::sim
