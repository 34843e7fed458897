// Inverse dynamics of the variant PQ in double precision: an arm shape of its own, with the masses, centers
// and tensors of its links as parameters. Torques only. Used by the cycle in full dynamics mode.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"

extern "C" {

// paramSDH[6]: lengths d1, a2, d3, d4, d5, d6, mm; the signs of a2 and d3 do not matter. The rest of the
// inputs are those of tmczvdynamicblock, in its units: angles in degrees, external_load[10], inparaM[6],
// inparaC[18], inparaI[36], inparaIj[6], and gravity dirction_g[3] in B. joint_torque[6]: output, N m. A
// sixth link without mass and load gives non-finite torques. Holds no state, reads no block; from anywhere.
TARN_API void tmczvPQdynamicblock(const double* paramSDH, const double* joint_angle,
                                  const double* joint_velocity, const double* joint_accel,
                                  const double* external_load, const double* inparaM, const double* inparaC,
                                  const double* inparaI, const double* inparaIj, const double* dirction_g,
                                  double* joint_torque);

}  // extern "C"
