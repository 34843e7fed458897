// What the networks of the natural frequency were fitted to, and how well. The library itself has no use for
// it: simulator and tests compare with it.
#pragma once

namespace tarn {

// The frequency that a network learned is outputMax - gain * (outputMax - frequency of the model), Hz. Its
// error on samples that it has not seen, percent of outputMax - outputMin:
struct FittedNetwork {
    double gain;
    double rmsError, worstError;
};

struct FittedArm {
    int firstType, lastType;              // robot types
    double armStiffness, wristStiffness;  // N m/rad at joints 1 to 3 and 4 to 6
    FittedNetwork bare, loaded;           // without and with a load
};

inline constexpr FittedArm kFittedArms[] = {
#include "natural_frequency/arms.inc"
};

}  // namespace tarn
