// Stand-ins for the safety board, the drives and the axle bus: what they were told last, and what they
// answer.
//
// A test or scenario reads the first and sets the second. A real controller sends telegrams instead.
#pragma once

#include <cstdint>

namespace tarn::host {

struct SafetyBoard {               // last values told
    std::uint8_t frictionOn;       // friction compensation switched on
    float frictionLevel[6];        // share of the compensation by joint, 0 to 1
    std::uint8_t momentumPowerOn;  // supervision of momentum and power
    float momentumLimit;           // kg m/s
    float powerLimit;              // W
};

struct AxleBus {
    std::uint16_t din;        // answer: digital inputs
    std::uint8_t deviceType;  // told: types attached, a bit each
    struct {                  // told: last register write
        std::uint8_t device, registerHigh, registerLow, count;
        std::uint16_t data[2];
    } write;
    int writes;  // register writes so far
};

struct Drives {
    std::int32_t varGain[6];          // told: variable gain factor, 0 or 1
    unsigned varGainWrites;           // its calls so far
    std::uint16_t identifyEnable[6];  // told: identification on, by joint
    std::uint16_t identifyType;       // told: what is identified
    std::int32_t rigidity[6];         // answer: stiffness of the gear, N m/rad
    std::int32_t rodInertia[6];       // answer: inertia of the driven link, kg mm^2
    std::int32_t motorInertia[6];     // answer: inertia of the motor before the gear, kg mm^2
    std::int32_t identification[6];   // answer: running value of what is identified
};

extern SafetyBoard safetyBoard;
extern AxleBus axleBus;
extern Drives drives;

}  // namespace tarn::host
