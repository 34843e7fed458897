// What the networks of the natural frequency take and give, by robot type and load. Their weights, fitted to
// these ranges, stand under data/natural_frequency/.
#pragma once

#include "model/type_table.h"

namespace tarn {

inline constexpr int kFrequencyInputs = 6, kFrequencyHidden = 30;

struct FrequencyInputs {
    double inputMax[kFrequencyInputs], inputMin[kFrequencyInputs];
};

struct FrequencyRange {
    double hiddenOutputB;         // output bias, of the normalized frequency
    double outputMax, outputMin;  // Hz
    FrequencyInputs inputs;
};

// A bare arm's network takes joints 1 to 6, degrees; a loaded one's joints 2 to 5, degrees, the load, kg, and
// its center along the flange's z, mm.
struct FrequencyRanges {
    FrequencyRange bare, loaded;
};

// clang-format off
inline constexpr FrequencyInputs kBareInputs      = { {  175,   85,  160,   85,  175,  175 },
                                                      { -175, -265, -160, -265, -175, -175 } };
inline constexpr FrequencyInputs kBareInputsA     = { {  175,   85,  150,   85,  175,  175 },
                                                      { -175, -265, -150, -265, -175, -175 } };
constexpr FrequencyInputs loadedInputs(double joint3, double loadWeight, double loadZ) {
    return { {   85,  joint3,   85,  175, loadWeight, loadZ },
             { -265, -joint3, -265, -175,          0,     0 } };
}

//                                                        bias         max, Hz     min, Hz
inline constexpr FrequencyRanges kFrequencyA = { {   2.0801677, 21.1004687, 12.3818111, kBareInputsA },
                                                 {   1.2412603, 21.1004687,  9.1578021, loadedInputs(150,  3, 120) } };
inline constexpr FrequencyRanges kFrequencyB = { {   1.3997119, 21.1368857, 15.7266172, kBareInputs },
                                                 {   -1.193701, 21.1368857, 10.7796394, loadedInputs(160,  5, 120) } };
inline constexpr FrequencyRanges kFrequencyC = { {   6.2909914, 13.0376851, 10.3728067, kBareInputs },
                                                 { -11.4609403, 13.0376851,  6.7185148, loadedInputs(160, 10, 220) } };
inline constexpr FrequencyRanges kFrequencyD = { {  -3.9782381, 13.6050996, 11.9243084, kBareInputs },
                                                 {   7.4008631, 13.6050996,  6.7591504, loadedInputs(160, 16, 240) } };
inline constexpr FrequencyRanges kFrequencyE = { {  -2.0238527,  9.5784768,  7.0671247, kBareInputs },
                                                 {  -1.1583698,  9.5784768,  5.0037178, loadedInputs(160, 20, 220) } };
inline constexpr FrequencyRanges kFrequencyF = { {   6.2981319, 11.0279416,  8.8966792, kBareInputs },
                                                 {   0.0301723, 11.0279416,  5.5585629, loadedInputs(160, 30, 220) } };

inline constexpr TypeRow<FrequencyRanges> kFrequencyRanges[] = {
    // first, last, ranges
    {    1,  100, kFrequencyA },
    {  101,  200, kFrequencyB },
    {  201,  300, kFrequencyC },
    {  301,  400, kFrequencyD },
    {  401,  500, kFrequencyE },
    { 1001, 1100, kFrequencyF },
};
// clang-format on
// On purpose those of a bare arm with a load, too, though the inputs are then those of a load.
inline constexpr FrequencyRanges kFrequencyRangesOther = {kFrequencyB.bare, kFrequencyB.bare};

}  // namespace tarn
