// The load in use, among the user's settings.
#pragma once

#include "support/persist.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn {

inline void persistLoadInUse() {
    persist(USER_PARAM_SECTION, "LOAD_WEIGHT", mpb.loadWeight);
    persist(USER_PARAM_SECTION, "LOAD_Coord_X", mpb.loadCoord.x);
    persist(USER_PARAM_SECTION, "LOAD_Coord_Y", mpb.loadCoord.y);
    persist(USER_PARAM_SECTION, "LOAD_Coord_Z", mpb.loadCoord.z);
}

}  // namespace tarn
