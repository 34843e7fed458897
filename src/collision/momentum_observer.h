// The momentum observer: what it keeps between calls.
#pragma once

namespace tarn {

struct MomentumObserver {
    double p_hat[6];  // estimated momentum; runs on over all motions, until a firing
};
extern MomentumObserver momentumObserver;

// What the power trip clears: the estimate.
void coldStartMomentumObserver();

}  // namespace tarn
