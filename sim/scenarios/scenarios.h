// The scenarios, one file each. A new one is named here and in the table of scenario.cpp.
#pragma once

#include "sim/scenario.h"

namespace tarn::sim {

extern const Scenario kHold;
extern const Scenario kGuide;
extern const Scenario kMove;
extern const Scenario kRecordReplay;
extern const Scenario kSensorAlarm;
extern const Scenario kDrag;
extern const Scenario kWall;
extern const Scenario kSingular;
extern const Scenario kWeigh;
extern const Scenario kIdentify;
extern const Scenario kIdentifyLoad;
extern const Scenario kIdentifyLoadDynamic;
extern const Scenario kIdentifyFriction;
extern const Scenario kCollide;
extern const Scenario kStaticCollide;
extern const Scenario kFalseAlarm;
extern const Scenario kForceCollide;
extern const Scenario kTorqueDrag;
extern const Scenario kPress;
extern const Scenario kPressGains;
extern const Scenario kPolish;
extern const Scenario kGuideRegressor;
extern const Scenario kDragLock;
extern const Scenario kInterference;
extern const Scenario kHoldDynamics;
extern const Scenario kGuideDynamics;
extern const Scenario kMoveDynamics;
extern const Scenario kNaturalFrequency;

}  // namespace tarn::sim
