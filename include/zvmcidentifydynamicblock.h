// Forward regressors of the arm families: joint torques from motion and an identified parameter vector, for
// a chain of nine axes, the first three of which hold the mounting. Commands and, under the operator's hand,
// the cycle use them.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"
