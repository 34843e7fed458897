// What step and process of the drag by the force sensor share.
#pragma once

#include "tarnmath/tarnmath.h"

namespace tarn {

// Wrist centers nearer to the shoulder's axis than this, m^2, count as a singularity.
constexpr double kNearShoulder = 0.01;

// A tool pose (T in B) as the planner's inverse kinematics takes it: angles nearest to mpb.rpyRef, branch
// nearest to mpb.jC.
ROBCARTPOS plannerPose(const TRSF& tool);

}  // namespace tarn
