// Geometry of the arms as their regressors have it: chains of joints in standard Denavit-Hartenberg form.
#pragma once

#include <array>
#include <cstddef>

namespace tarn {

// Rz(q) * Tz(d) * Tx(a) * Rx(alpha), alpha being no turn or a quarter turn.
struct ChainLink {
    double a, d;   // m
    int sinAlpha;  // 0, 1 or -1
};

template <std::size_t axes>
using Chain = std::array<ChainLink, axes>;

// The shoulder's offset pushes link 2 outward and is taken back by link 3.
struct ChainLengths {
    double d1, a2, a3, d4, d5, d6, shoulder;  // m
};

constexpr Chain<6> armChain(const ChainLengths& m) {
    return {{{0.0, m.d1, 1},
             {-m.a2, m.shoulder, 0},
             {-m.a3, -m.shoulder, 0},
             {0.0, m.d4, 1},
             {0.0, m.d5, -1},
             {0.0, m.d6, 0}}};
}

// The arm behind three axes without lengths. At the angles 0, -Y and Z they turn it by the mounting angles Y
// and Z.
constexpr Chain<9> mountedChain(const ChainLengths& m) {
    Chain<9> chain = {{{0.0, 0.0, 1}, {0.0, 0.0, -1}, {0.0, 0.0, 0}}};
    for (std::size_t i = 0; i < 6; i++) chain[3 + i] = armChain(m)[i];
    return chain;
}

// clang-format off
//                                                           d1     a2     a3     d4     d5     d6    shoulder
inline constexpr Chain<9> kMountedA       = mountedChain({0.14,  0.28,  0.24,  0.102, 0.102, 0.1,   0.114});
inline constexpr Chain<9> kMountedB       = mountedChain({0.152, 0.425, 0.395, 0.102, 0.102, 0.1,   0.0});
inline constexpr Chain<9> kMountedC       = mountedChain({0.18,  0.7,   0.586, 0.195, 0.114, 0.106, 0.185});
inline constexpr Chain<9> kMountedD       = mountedChain({0.18,  0.52,  0.4,   0.195, 0.114, 0.106, 0.185});

// Of every type alike: the arm whose wrist parameters are identified. A first link upright adds nothing.
inline constexpr Chain<6> kIdentifiedArm  =     armChain({0.0,   0.425, 0.395, 0.13,  0.102, 0.1,   0.138});
// clang-format on

}  // namespace tarn
