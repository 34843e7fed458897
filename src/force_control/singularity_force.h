// How near the arm is to its shoulder singularity.
#pragma once

namespace tarn {

// Square of the wrist's distance from the shoulder's axis less that of the offset which it cannot leave, m^2:
// of the commanded pose mpb.tC, by robot type. Below 0.01 the arm counts as near.
double shoulderMeasure();

}  // namespace tarn
