// Random numbers that are the same with every standard library.
#pragma once

#include <random>

namespace tarn::tools {

inline double uniform(std::mt19937_64& generator, double low, double high) {
    return low + (high - low) * static_cast<double>(generator() >> 11) * 0x1p-53;
}

}  // namespace tarn::tools
