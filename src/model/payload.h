// What an arm may carry: heaviest load by robot type, and how far from the flange its center may be.
#pragma once

#include <limits>

#include "model/type_table.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn {

// clang-format off
inline constexpr TypeRow<double> kHeaviestLoad[] = {
    // first, last, kg
    {    0,    0, MAXLOADWEIGHTZVB   },
    {    1,  100, MAXLOADWEIGHTZVA   },
    {  101,  200, MAXLOADWEIGHTZVB   },
    {  201,  300, MAXLOADWEIGHTZVC   },
    {  301,  400, MAXLOADWEIGHTZVD   },
    {  401,  500, MAXLOADWEIGHTZVE   },
    {  501,  600, MAXLOADWEIGHTORBA  },
    {  601,  700, MAXLOADWEIGHTORBB  },
    {  701,  800, MAXLOADWEIGHTZVAPQ },
    {  801,  900, MAXLOADWEIGHTZVBPQ },
    {  901,  901, 5.0                },
    {  902,  902, 10.0               },
    { 1001, 1100, MAXLOADWEIGHTZVF   },
};
// clang-format on

inline constexpr double kSlightlyNegativeLoad = -1e-06;  // kg, still taken for zero

// kg; no limit for a type without a row.
constexpr double heaviestLoad(int robotType) {
    return byType(kHeaviestLoad, std::numeric_limits<double>::infinity(), robotType);
}

// What is no number passes, here and below, as the comparisons have it.
constexpr bool loadWeightRefused(double kg, int robotType) {
    return kg < kSlightlyNegativeLoad || kg > heaviestLoad(robotType);
}

// The fault of the first component, mm, that is out of bounds; zvCtlParaOK: none.
constexpr ZvParaError loadCoordFault(const VECT& center) {
    const auto refused = [](double mm) { return mm < MINLOADCOORD || mm > MAXLOADCOORD; };
    return refused(center.x)   ? zvCtlLoadCoordXError
           : refused(center.y) ? zvCtlLoadCoordYError
           : refused(center.z) ? zvCtlLoadCoordZError
                               : zvCtlParaOK;
}

}  // namespace tarn
