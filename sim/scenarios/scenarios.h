// The scenarios, one file each. A new one is named here and in the table of scenario.cpp.
#pragma once

#include "sim/scenario.h"

namespace tarn::sim {

extern const Scenario kHold;
extern const Scenario kGuide;
extern const Scenario kMove;

}  // namespace tarn::sim
