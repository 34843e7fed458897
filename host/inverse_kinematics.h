// All joint solutions of a flange pose, for both arm shapes. Internal to the host's kinematics.
#pragma once

#include "model/parameter_sets.h"
#include "tarnmath/tarnmath.h"

namespace tarn::host {

// One solution, radians in the model's own zeros, each angle within half a turn.
struct JointSolution {
    double q[6];
    int shoulder, elbow, wrist;  // 0 or 1: which root was taken
    bool singular;  // the arm stands in a singularity, where the Jacobian loses rank; on the wrist's, joint 6
                    // is the reference's
};

inline constexpr int kMaxSolutions = 16;

struct JointSolutions {
    int count;
    JointSolution solution[kMaxSolutions];
};

// Flange pose in mm, E in B; an orientation that is not orthonormal gives what its columns give. reference:
// radians; joint 6 of it stands in where a wrist singularity leaves it free. A pose out of reach or not of
// numbers has no solutions.
//
// The standard shape is solved in closed form. The offset shape has its wrist axes apart, for which no closed
// form is known: its last joint is the root of one equation in one unknown, found over the whole turn, and
// the others follow in closed form.
JointSolutions solveFlangePose(const ParameterSet& set, const TRSF& pose, const double reference[6]);

// The solution nearest to the reference, each angle in the turn nearest to it. 0; -1: the pose is out of
// reach; -2: the nearest solution is singular. joints is written with 0 alone. Where the offset shape has a
// solution within a few degrees of the reference it is taken without a look at the others.
int nearestJoints(const ParameterSet& set, const TRSF& pose, const double reference[6], double joints[6]);

}  // namespace tarn::host
