// The mean mechanical power of the joints, and the trip on it while the host commands torques.
#pragma once

namespace tarn {

constexpr int kPowerWindow = 100;  // samples

struct PowerLimit {
    int powerCount;                     // samples in the window, 0 to kPowerWindow
    float powerIntegral[kPowerWindow];  // W, newest last
};
extern PowerLimit powerLimit;

// Takes a sample in. Where the mean exceeds the limit, raises the fault and leaves drag mode; the cold start
// after it is the caller's.
bool powerTrips();

// What the power trip clears: the window.
void coldStartPowerLimit();

}  // namespace tarn
