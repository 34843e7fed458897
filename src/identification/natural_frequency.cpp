// The arm's first natural frequency, from networks of one hidden layer that learned it from a flexible model
// of each arm (docs/natural-frequency.md).
#include <cmath>

#include "model/frequency_ranges.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

struct Weights {
    double inputHiddenW[kFrequencyHidden][kFrequencyInputs];
    double inputHiddenB[kFrequencyHidden];
    double hiddenOutputW[kFrequencyHidden];
};

// clang-format off
constexpr Weights kBareA = {
#include "natural_frequency/a_bare.inc"
};
constexpr Weights kLoadedA = {
#include "natural_frequency/a_loaded.inc"
};
constexpr Weights kBareB = {
#include "natural_frequency/b_bare.inc"
};
constexpr Weights kLoadedB = {
#include "natural_frequency/b_loaded.inc"
};
constexpr Weights kBareC = {
#include "natural_frequency/c_bare.inc"
};
constexpr Weights kLoadedC = {
#include "natural_frequency/c_loaded.inc"
};
constexpr Weights kBareD = {
#include "natural_frequency/d_bare.inc"
};
constexpr Weights kLoadedD = {
#include "natural_frequency/d_loaded.inc"
};
constexpr Weights kBareE = {
#include "natural_frequency/e_bare.inc"
};
constexpr Weights kLoadedE = {
#include "natural_frequency/e_loaded.inc"
};
constexpr Weights kBareF = {
#include "natural_frequency/f_bare.inc"
};
constexpr Weights kLoadedF = {
#include "natural_frequency/f_loaded.inc"
};

struct Networks {
    const Weights &bare, &loaded;
};

constexpr TypeRow<Networks> kNetworks[] = {
    // first, last,  bare,   with a load
    {    1,  100, { kBareA, kLoadedA } },
    {  101,  200, { kBareB, kLoadedB } },
    {  201,  300, { kBareC, kLoadedC } },
    {  301,  400, { kBareD, kLoadedD } },
    {  401,  500, { kBareE, kLoadedE } },
    { 1001, 1100, { kBareF, kLoadedF } },
};
constexpr Networks kNetworksOther = { kBareB, kBareB };  // as with their ranges
// clang-format on

constexpr double yMax = 1.0, yMin = -1.0;  // of the normalized range
constexpr double kHighest = 200.0;         // Hz; above it the result is none

double outputOf(const Weights& weights, const FrequencyRange& range, const double* inputFeature) {
    const auto& [inputHiddenW, inputHiddenB, hiddenOutputW] = weights;
    const auto& [hiddenOutputB, outputMax, outputMin, inputs] = range;
    double norm[kFrequencyInputs];
    for (int j = 0; j < kFrequencyInputs; j++)
        norm[j] = (yMax - yMin) * (inputFeature[j] - inputs.inputMin[j]) /
                      (inputs.inputMax[j] - inputs.inputMin[j]) +
                  yMin;
    double naturalFreqNorm = 0.0;
    for (int i = 0; i < kFrequencyHidden; i++) {
        double sum = 0.0;
        for (int j = 0; j < kFrequencyInputs; j++) sum += inputHiddenW[i][j] * norm[j];
        naturalFreqNorm += hiddenOutputW[i] * std::tanh(sum + inputHiddenB[i]);
    }
    naturalFreqNorm += hiddenOutputB;
    return (naturalFreqNorm - yMin) * (outputMax - outputMin) / (yMax - yMin) + outputMin;
}

}  // namespace

int zvmcCalculateNaturalFreq(double* JointPos, double* NaturalFreq) {
    // read once: network, ranges and inputs must not part
    const int robotType = mcb.robotType;
    const double loadWeight = mpb.loadWeight;
    const Networks& networks = byType(kNetworks, kNetworksOther, robotType);
    const FrequencyRanges& ranges = byType(kFrequencyRanges, kFrequencyRangesOther, robotType);

    // however small, a weight is a load
    if (loadWeight == 0.0) {
        *NaturalFreq = outputOf(networks.bare, ranges.bare, JointPos);
    } else {
        const double inputFeature[kFrequencyInputs] = {JointPos[1], JointPos[2], JointPos[3],
                                                       JointPos[4], loadWeight,  mpb.loadCoord.z};
        *NaturalFreq = outputOf(networks.loaded, ranges.loaded, inputFeature);
    }
    return *NaturalFreq > 0.0 && *NaturalFreq <= kHighest ? 0 : -1;
}
