// What the drag by the force sensor remembers from step to step, and what its parts hand on to each other:
// step, process, virtual wall, singularity force.
#pragma once

#include <cstdint>

#include "tarnmath/tarnmath.h"

namespace tarn {

// clang-format off

// Of one drag. zvmcEndForceDragParamReset clears it.
struct DragMotion {
    double cur_pos[6];                 // mm, degrees   offset of the tool from the pose where the drag began
    double cur_vel[6];                 // m/s, rad/s    velocity of the admittance
    double lastF[6];                   // N, N m        filtered force of the step before
    double Bmember[6];                 // N s/m, ...    damping held after a peak
    double Bnum[6];                    // steps         left of that
    int    Fflag;                      // -             F0 is taken
    double distanceM;                  // -             cleared only
    VECT   VelVECT;                    // -             cleared only
};

struct ForceDrag {
    DragMotion   motion;
    double       F0[6];                // N, N m        force at the first step of a drag, for inspection
    double       weakB[6];             // N s/m, ...    extra damping near a singularity
    std::uint8_t dragModelflag;        // -             0 admittance, 1 braking near a singularity, 2 joint drag
    double       shoulderSingularDis = 100.0;
                                       // m^2           how far the wrist stands off the shoulder's axis; far at load
    std::uint8_t jointInterFlag[6];    // -             the joint has entered its zone
    std::uint8_t jointModeChangeFlag;  // -             and that has switched to joint drag
};

// clang-format on

extern ForceDrag forceDrag;

// The filters of the pose increments start from their next sample.
void restartIncrementFilters();

}  // namespace tarn
