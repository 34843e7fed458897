// Inverse dynamics of the variant HN of family C in double precision, with the inertial parameters of its
// links built in. Torques only. Used by the cycle in full dynamics mode.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"

extern "C" {

// paramSDH[6]: lengths d1, a2, a3, d4, d5, d6, mm; the signs of a2 and a3 do not matter. The rest of the
// inputs are those of tmczvdynamicblock, in its units: angles in degrees, external_load[10], inparaIj[6], and
// gravity dirction_g[3] in B. tjoint[6]: output, N m. Holds no state, reads no block; from anywhere.
TARN_API void tmcHNzvCdynamicblock(const double* paramSDH, const double* joint_angle,
                                   const double* joint_velocity, const double* joint_accel,
                                   const double* external_load, const double* inparaIj,
                                   const double* dirction_g, double* tjoint);

}  // extern "C"
