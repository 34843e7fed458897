// A six-axis force and torque sensor between flange and tool: from the wrench that the tool puts on it to the
// raw words on the axle bus.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <random>

#include "sim/tool_force.h"

namespace tarn::sim {

// Value of one count of the raw words.
struct WordScale {
    double force;   // N
    double torque;  // N m
};

// None: no such sensor.
std::optional<WordScale> wordScale(int company, int device);

// What the sensor can measure to either side, by its making. A sensor that reports fractions of a range is at
// it with 4096 counts; one that reports fixed-point values has the range of the words.
std::optional<WordScale> nominalRange(int company, int device);

struct ForceSensorOptions {
    int company = 18;
    int device = 0;
    double overload = 1.0;   // share of the nominal range at which it saturates; infinity: only the words end
    Wrench bias{};           // N, N m, added before saturation
    Wrench noise{};          // N, N m, standard deviation by channel; white
    std::uint64_t seed = 1;  // of the noise
};

// Fx, Fy, Fz, Mx, My, Mz: signed 16-bit numbers, sign extended, as the intake takes them.
using SensorWords = std::array<std::int32_t, 6>;

class ForceSensor {
  public:
    // Throws std::invalid_argument for an unknown sensor.
    explicit ForceSensor(const ForceSensorOptions& options);

    // One sample. The wrench is in the sensor's frame and about its origin, with the sign in which a hanging
    // weight points down.
    SensorWords sample(const Wrench& wrench);

  private:
    double normal();

    ForceSensorOptions options_;
    WordScale scale_;
    WordScale range_;
    std::mt19937_64 generator_;
};

}  // namespace tarn::sim
