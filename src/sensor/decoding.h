// What the raw words of the known force sensors mean.
#pragma once

#include <cstdint>

#include "tarnmath/tarnmath.h"

namespace tarn {

// The channels of a reading in the order of the raw words.
inline constexpr double FORCESENSOR_DATA::*kSensorChannels[6] = {
    &FORCESENSOR_DATA::fx, &FORCESENSOR_DATA::fy, &FORCESENSOR_DATA::fz,
    &FORCESENSOR_DATA::mx, &FORCESENSOR_DATA::my, &FORCESENSOR_DATA::mz};

// Six raw words of the sensor of a maker and model into N and N m, sensor frame. Only the low 16 bits of a
// word count, as a signed number. `announced`: the axle bus was told of a force sensor. What the words of an
// unknown sensor mean nobody knows: the reading then stays as it was.
void decodeSensorWords(const std::int32_t* words, int company, int device, bool announced,
                       FORCESENSOR_DATA* reading);

}  // namespace tarn
