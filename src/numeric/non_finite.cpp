#include "numeric/non_finite.h"

#include <bit>
#include <cstdint>

namespace tarn {
NonFinite nonFinite;
}

using tarn::nonFinite;

// By bit pattern: the sign of a NaN is not fixed by an operation that makes one.
real_T rtGetNaN() { return std::bit_cast<real_T>(std::uint64_t{0xFFF8000000000000}); }
real_T rtGetInf() { return std::bit_cast<real_T>(std::uint64_t{0x7FF0000000000000}); }
real_T rtGetMinusInf() { return std::bit_cast<real_T>(std::uint64_t{0xFFF0000000000000}); }
real32_T rtGetNaNF() { return std::bit_cast<real32_T>(std::uint32_t{0xFFC00000}); }
real32_T rtGetInfF() { return std::bit_cast<real32_T>(std::uint32_t{0x7F800000}); }
real32_T rtGetMinusInfF() { return std::bit_cast<real32_T>(std::uint32_t{0xFF800000}); }

void rt_InitInfAndNaN() {
    nonFinite = {rtGetNaN(), rtGetInf(), rtGetMinusInf(), rtGetNaNF(), rtGetInfF(), rtGetMinusInfF()};
}

// Compares with the stored values: before rt_InitInfAndNaN zero counts as infinite, and infinity does not.
boolean_T rtIsInf(real_T value) { return value == nonFinite.rtInf || value == nonFinite.rtMinusInf; }
boolean_T rtIsInfF(real32_T value) { return value == nonFinite.rtInfF || value == nonFinite.rtMinusInfF; }
boolean_T rtIsNaN(real_T value) { return value != value; }
boolean_T rtIsNaNF(real32_T value) { return value != value; }
