// Debounce counters of the custom thresholds. The supervisor compares and clears them.
#pragma once

namespace tarn {

struct CustomThresholdState {
    float jointCollisionCount[6];  // cycles, by joint
    float tcpCollisionCount[6];    // cycles, by axis of the end force
};
extern CustomThresholdState customThresholds;

// What the power trip clears: all counters.
void coldStartCustomThresholds();

}  // namespace tarn
