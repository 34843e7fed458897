// The separate terms of the arm's dynamics for the host: mass matrix, Coriolis matrix, gravity torque.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"
