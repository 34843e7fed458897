// State of the load identification by the force sensor in hand guiding.
#pragma once

#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn {

struct SensorLoad {
    int dynCount;                                         // calls since the last sample
    int recordCount;                                      // samples of the first fill
    int recordFullFlag;                                   // 1 once the window is full
    FORCESENSOR_DATA recordForce[LOADIDENTIFYRECORDNUM];  // N, N m, R: the window, oldest first
    ROTRSF recordPos[LOADIDENTIFYRECORDNUM];              // E in B at each of them
    int stateLast;                                        // mpb.state of the last call
};
inline SensorLoad sensorLoad;

}  // namespace tarn
