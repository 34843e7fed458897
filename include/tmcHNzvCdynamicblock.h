// Inverse dynamics of the variant HN of family C in double precision, with the inertial parameters of its
// links built in. Torques only. Used by the cycle in full dynamics mode.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"
