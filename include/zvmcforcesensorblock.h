// Force sensor and force-controlled motion: intake, compensation and calibration of the sensor, the guard on
// its force, dragging the arm by the sensor, pressing with a constant force, dynamic load identification.
#pragma once

#include <stdint.h>

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

extern "C" {

// clang-format off

// ---- telegrams of the axle bus

struct AXLESENSOR_DATA {             // one raw telegram
    uint32_t axleSensorData[2];      // raw
};

// Queue of telegrams. Empty when head == tail, full when one more would make it so: it holds up to 255.
struct AXLESENSOR_BUFF {
    AXLESENSOR_DATA asd[256];        // raw     slots
    int             size;            // -       never used
    int             head;            // -       slot of the oldest telegram
    int             tail;            // -       slot to write next
    int             spaceReserved;   // -       never used
};

// ---- poses of force control

struct CARTPOS_FORCE {               // pose or offset; rotation Rz(c) * Ry(b) * Rx(a)
    float x, y, z;                   // mm
    float a, b, c;                   // degrees
};

// clang-format on

// ==== singularity of the arm under the sensor

// Jacobian of the arm in single precision: vx, vy, vz, wx, wy, wz of the flange in the base frame, m and
// radians, by columns, element r of joint c at Jacob[r + 6 * c].
//
// paramDH[6]: d1, a2, a3, d4, d5, d6, mm; the signs of a2 and a3 do not matter. joint_post[6]: radians.
// Jacob[36]: output. Reads and writes no state; cycle and command.
TARN_API void velocityJacob(const float* paramDH, const float* joint_post, float* Jacob);

}  // extern "C"
