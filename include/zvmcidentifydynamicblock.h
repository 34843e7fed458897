// Forward regressors of the arm families: joint torques from motion and an identified parameter vector, for
// a chain of nine axes, the first three of which hold the mounting. The torque model
// of mode 1 runs on them.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"
