// What a host's cycle does for the momentum observer.
#pragma once

#include <numbers>

#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "tmczvoutputmcg.h"

namespace soak {

// One joint a cycle, in turn, on the matrices of the measured state.
inline void observeMomentum(long cycle) {
    constexpr double kRadian = std::numbers::pi / 180;
    double angle[6], speed[6], M[36], C[36], G[6], limit[6];
    double *rowsM[6], *rowsC[6], *rowsG[6];
    for (int i = 0; i < 6; i++) {
        angle[i] = mpb.j6.v[i] * kRadian;
        speed[i] = mpb.j6vel.v[i] * 1000.0 * kRadian;
        rowsM[i] = M + 6 * i, rowsC[i] = C + 6 * i, rowsG[i] = G + i;
    }
    com_M_matrix(angle, {0, 5, 0, 5, M, rowsM});
    com_C_matrix(angle, speed, {0, 5, 0, 5, C, rowsC});
    com_G_matrix(angle, {0, 5, 0, 0, G, rowsG});
    zvmcMomentumObserver(static_cast<int>(cycle % 6), nullptr, M, C, G, nullptr, limit);
}

}  // namespace soak
