// The part of setDefaults that lies with the motion state machine.
#pragma once

namespace tarn::host {

// Drops pending requests and clears motionRecord.
void resetMotion();

}  // namespace tarn::host
