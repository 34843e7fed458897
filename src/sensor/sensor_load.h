// The load that hangs on the force sensor.
#pragma once

namespace tarn {

// Zeroing and calibration ask for no load. One-sided on the weight, on purpose: a negative one is none.
bool sensorLoadSet();

// The six keys of mcb.forceControl.zeroOffset, which zeroing clears and calibration finds.
void persistZeroOffset();

}  // namespace tarn
