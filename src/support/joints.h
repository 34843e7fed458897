// Bound of the joint loops.
#pragma once

#include <algorithm>

#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn {

// mpb.sysJntsNo, held to the joints that the blocks have room for.
inline int armJoints() { return std::clamp(mpb.sysJntsNo, 0, NUM_JNTS); }

}  // namespace tarn
