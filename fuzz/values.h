// Arguments and field values drawn from a seed: mostly such as a host would give, some that no host should.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>

namespace fuzz {

class Values {
  public:
    // wildness: 0 every value ordinary, 255 nearly none.
    Values(std::uint32_t seed, std::uint8_t wildness) : state_(seed), wildness_(wildness) {}

    std::uint64_t bits() {
        state_ += 0x9e3779b97f4a7c15U;
        std::uint64_t z = (state_ ^ (state_ >> 30)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
        return z ^ (z >> 31);
    }

    // Of any arithmetic type.
    template <typename T>
    T value() {
        const bool wild = bits() % 256 < wildness_;
        const std::uint64_t raw = bits();
        if constexpr (std::is_floating_point_v<T>) {
            if (!wild) {
                const double scale[] = {0.001, 0.01, 0.1, 1, 10, 100, 1000};
                const double unit = static_cast<double>(raw >> 11) * 0x1p-52 - 1;  // -1 to 1
                if (raw % 4 == 0) return static_cast<T>(static_cast<int>(raw / 4 % 9) - 4);
                return static_cast<T>(unit * scale[raw % std::size(scale)]);
            }
            using Limits = std::numeric_limits<T>;
            const T special[] = {
                Limits::quiet_NaN(),
                Limits::infinity(),
                -Limits::infinity(),
                Limits::max(),
                -Limits::max(),
                Limits::min(),
                Limits::denorm_min(),
                T(0),
                -T(0),
                T(32768),
                T(-32769),
                T(2147483648.0),
                T(-2147483904.0),
                T(4294967296.0),
                T(1e19),
                T(1e-30),
            };
            if (raw % 4) return special[raw / 4 % std::size(special)];
            T any;
            const std::uint64_t more = bits();
            std::memcpy(&any, &more, sizeof any);
            return any;
        } else {
            if (!wild) return static_cast<T>(static_cast<int>(raw % 12) - 2);
            const long long special[] = {
                -1,
                6,
                7,
                10,
                11,
                19,
                20,
                27,
                66,
                67,
                100,
                101,
                199,
                200,
                255,
                256,
                799,
                800,
                1000,
                1001,
                11999,
                12000,
                32767,
                32768,
                65535,
                65536,
                std::numeric_limits<int>::max(),
                std::numeric_limits<int>::min(),
                std::numeric_limits<int>::max() - 1LL,
                std::numeric_limits<int>::min() + 1LL,
            };
            if (raw % 4) return static_cast<T>(special[raw / 4 % std::size(special)]);
            return static_cast<T>(bits());
        }
    }

    // Any memory: pieces of eight bytes, each as one of the types that records are made of.
    void fill(void* start, std::size_t size) {
        auto* to = static_cast<unsigned char*>(start);
        while (size > 0) {
            unsigned char piece[8];
            switch (bits() % 8) {
                case 0:
                    put(piece, value<float>(), value<float>());
                    break;
                case 1:
                    put(piece, value<std::int32_t>(), value<std::int32_t>());
                    break;
                case 2:
                    put(piece, bits(), bits());
                    break;
                default:
                    put(piece, value<double>(), 0.0);
            }
            const std::size_t part = std::min(size, sizeof piece);
            std::memcpy(to, piece, part);
            to += part;
            size -= part;
        }
    }

    template <typename T>
    void fill(T* start, std::size_t count) {
        if constexpr (std::is_arithmetic_v<T>) {
            for (std::size_t i = 0; i < count; i++) start[i] = value<T>();
        } else if constexpr (std::is_array_v<T>) {
            for (std::size_t i = 0; i < count; i++) fill(start[i], std::extent_v<T>);
        } else {
            for (std::size_t i = 0; i < count; i++) fillRecord(&start[i], sizeof(T));
        }
    }

  private:
    // Of a long record both ends: stores of samples are in the middle.
    void fillRecord(void* start, std::size_t size) {
        constexpr std::size_t kEnd = 64;
        auto* first = static_cast<unsigned char*>(start);
        std::memset(first, 0, size);
        fill(start, std::min(size, 4 * kEnd));
        if (size > 4 * kEnd) fill(static_cast<void*>(first + size - kEnd), kEnd);
    }

    template <typename T>
    static void put(unsigned char (&piece)[8], T first, T second) {
        const T both[2] = {first, second};
        std::memcpy(piece, both, sizeof piece);
    }

    std::uint64_t state_;
    std::uint8_t wildness_;
};

}  // namespace fuzz
