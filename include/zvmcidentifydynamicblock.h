// Forward regressors of the arm families: joint torques from motion and an identified parameter vector, for a
// chain of nine axes, the first three of which hold the mounting. The torque model of mode 1 runs on them.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"

extern "C" {

// Joint torque of a mounted arm in motion under gravity of 9.81 m/s^2, friction included: the regressor times
// the parameters gtau (tmcforceblock.h), in the unit that these bring along.
//
// q[9], dq[9], ddq[9]: radians, by s and s^2. Axes 0 to 2 are the mounting, 0, -Y and Z of
// mcb.robotInstallYangle and robotInstallZangle, at rest; axes 3 to 8 the joints. result: output, 6 by 1,
// allocated by the caller. The arms, m:
//                            d1      a2      a3      d4      d5      d6      shoulder
// computeZvA_selftautest     0.14    0.28    0.24    0.102   0.102   0.1     0.114
// computeZvB_selftautest     0.152   0.425   0.395   0.102   0.102   0.1     none
// computeZvC_selftautest     0.18    0.7     0.586   0.195   0.114   0.106   0.185
// computeZvD_selftautest     0.18    0.52    0.4     0.195   0.114   0.106   0.185
// The shoulder's offset is link 2's, along its joint; link 3 takes it back. Return 0. Cycle and command.
TARN_API int computeZvA_selftautest(double* q, double* dq, double* ddq, dmat result);
TARN_API int computeZvB_selftautest(double* q, double* dq, double* ddq, dmat result);
TARN_API int computeZvC_selftautest(double* q, double* dq, double* ddq, dmat result);
TARN_API int computeZvD_selftautest(double* q, double* dq, double* ddq, dmat result);

}  // extern "C"
