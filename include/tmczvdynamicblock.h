// Inverse dynamics of the common arm shape (joints 2 to 4 parallel) in single precision, with torques,
// gravity, mass and Coriolis matrices in one pass. The torque model of the cycle in full dynamics mode.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"

extern "C" {

// Inputs, all in B, the robot base frame, or in the link frames of the standard Denavit-Hartenberg chain:
// paramDH[6]: lengths d1, a2, a3, d4, d5, d6, mm; the signs of a2 and a3 do not matter. joint_post[6],
// joint_velocity[6], joint_accel[6]: degrees, degrees/s, degrees/s^2. extload[10]: load, mass in kg, center
// of mass in E (flange) in mm, and inertia about that center Ixx, Ixy, Ixz, Iyy, Iyz, Izz in kg mm^2, axes of
// E. inparaM[6]: link masses, kg. inparaC[18]: centers of mass, three a link in its own frame, mm.
// inparaI[36]: tensors about them, six a link in the order above, kg mm^2. inparaIj[6]: rotor inertia seen at
// each joint, kg mm^2. gravity[3]: m/s^2.
//
// Outputs: TorqJoint[6] = M qdd + C qd + G, N m. TorqGravity[6]: G, the torque that holds the arm, N m.
// MassMatrix[36]: M by columns, kg m^2, with the rotors on its diagonal. CoriolMatrix[36]: C by columns,
// N m s/rad, in Christoffel form, so that dM/dt - 2 C is skew-symmetric.
//
// A sixth link without mass and load gives non-finite results. Holds no state, reads no block; from anywhere.
TARN_API void tmczvdynamicblock(const float* paramDH, const float* joint_post, const float* joint_velocity,
                                const float* joint_accel, const float* extload, const float* inparaM,
                                const float* inparaC, const float* inparaI, const float* inparaIj,
                                const float* gravity, float* TorqJoint, float* TorqGravity, float* MassMatrix,
                                float* CoriolMatrix);

}  // extern "C"
