// The separate terms of the arm's dynamics for the host: mass matrix, Coriolis matrix, gravity torque.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"

extern "C" {

// Mass matrix M, Coriolis matrix C and gravity torque G of the common arm shape, in double precision. Inputs
// in the units of tmczvdynamicblock: angles in degrees, velocities in degrees/s; joint_accel is not read.
// M[36] and C[36]: by columns, kg m^2 with the rotors on the diagonal, and N m s/rad in Christoffel form.
// G[6]: the torque that holds the arm, N m. A sixth link without mass and load gives non-finite results.
// Holds no state, reads no block; from anywhere.
TARN_API void output_MCG(const double* paramSDH, const double* joint_angle, const double* joint_velocity,
                         const double* joint_accel, const double* inparaM, const double* inparaC,
                         const double* inparaI, const double* inparaIj, const double* extload,
                         const double* direction_g, double* M, double* C, double* G);

// The same for the arm of family B, without load, without rotors, and on a floor whatever the mounting. Here
// q and dq are radians and radians/s. Each writes all its elements, M.el[row][column], C.el[row][column] and
// G.el[row][0], and returns 0. From any thread.
TARN_API int com_M_matrix(double* q, dmat M);
TARN_API int com_C_matrix(double* q, double* dq, dmat C);
TARN_API int com_G_matrix(double* q, dmat G);

}  // extern "C"
