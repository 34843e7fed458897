// Numbers from a seed, the same on every machine.
#pragma once

#include <cstddef>
#include <cstdint>

namespace soak {

class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t bits() {
        state_ += 0x9e3779b97f4a7c15U;
        std::uint64_t z = (state_ ^ (state_ >> 30)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
        return z ^ (z >> 31);
    }
    int below(int end) { return static_cast<int>(bits() % static_cast<unsigned>(end)); }
    bool oneIn(int n) { return below(n) == 0; }
    double between(double low, double high) {
        return low + static_cast<double>(bits() >> 11) * 0x1p-53 * (high - low);
    }
    template <typename T, std::size_t N>
    const T& of(const T (&choice)[N]) {
        return choice[below(static_cast<int>(N))];
    }

  private:
    std::uint64_t state_;
};

}  // namespace soak
