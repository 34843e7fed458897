// Inverse dynamics of the variant PQ in double precision: an arm shape of its own, with the masses, centers
// and tensors of its links as parameters. Torques only. Used by the cycle in full dynamics mode.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"
