// Inverse dynamics of the common arm shape (joints 2 to 4 parallel) in single precision, with
// torques, gravity, mass and Coriolis matrices in one pass. The torque model of the cycle in full dynamics
// mode.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"
