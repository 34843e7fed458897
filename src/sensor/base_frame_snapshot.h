// The flange pose with which the base frame of the sensor's force is turned: frozen while the arm is dragged,
// so that force and pose increments share one frame.
#pragma once

#include <stdint.h>

#include "tarnmath/tarnmath.h"

namespace tarn {

struct BaseFrameSnapshot {
    uint8_t DragToCartFlag;  // 1: t06Last is taken; cleared to have it taken anew
    TRSF t06Last;            // mpb.tC at that moment: E in B, mm
};
extern BaseFrameSnapshot baseFrameSnapshot;

}  // namespace tarn
