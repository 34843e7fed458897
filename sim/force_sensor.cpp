#include "sim/force_sensor.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>

#include "model/sensor_ranges.h"

namespace tarn::sim {
namespace {

constexpr double kLowestWord = -32768.0;
constexpr double kHighestWord = 32767.0;

// clang-format off

// Sensors that report fixed-point numbers, with their last device number. Company 96 is taken in only while
// its device type is announced on the axle bus.
struct FixedPoint { int company, lastDevice; };
constexpr FixedPoint kFixedPoint[] = {
    { 18, 0 }, { 19, 0 }, { 20, 0 }, { 21, 0 }, { 22, 0 },
    { 23, 2 }, { 25, 2 }, { 80, 2 },
    { 96, 0 },
};
constexpr WordScale kFixedPointScale = { 0.1, 0.01 };

// clang-format on

std::int32_t word(double value, double scale, double range) {
    const double counts = std::nearbyint(std::clamp(value, -range, range) / scale);
    return static_cast<std::int32_t>(std::clamp(counts, kLowestWord, kHighestWord));
}

}  // namespace

std::optional<WordScale> nominalRange(int company, int device) {
    if (company == kRangeCompany && 0 <= device && device < static_cast<int>(std::size(kSensorRanges))) {
        const SensorRange& range = kSensorRanges[device];
        return WordScale{range.force * kKgf, range.torque * kKgf};
    }
    for (const FixedPoint& sensor : kFixedPoint) {
        if (sensor.company == company && 0 <= device && device <= sensor.lastDevice) {
            return WordScale{-kLowestWord * kFixedPointScale.force, -kLowestWord * kFixedPointScale.torque};
        }
    }
    return std::nullopt;
}

std::optional<WordScale> wordScale(int company, int device) {
    const std::optional<WordScale> range = nominalRange(company, device);
    if (!range || company != kRangeCompany) return range ? std::optional(kFixedPointScale) : std::nullopt;
    return WordScale{range->force / kRangeCounts, range->torque / kRangeCounts};
}

ForceSensor::ForceSensor(const ForceSensorOptions& options)
    : options_(options), scale_{}, range_{}, generator_(options.seed) {
    const std::optional<WordScale> scale = wordScale(options.company, options.device);
    if (!scale) {
        throw std::invalid_argument(
            fmt::format("no force sensor of company {}, device {}", options.company, options.device));
    }
    scale_ = *scale;
    range_ = *nominalRange(options.company, options.device);
    range_.force *= options.overload;
    range_.torque *= options.overload;
}

// Twelve uniform numbers make a normal one to well within what noise needs, in the same bits on any machine.
double ForceSensor::normal() {
    constexpr double kUnit = 0x1p-53;
    double sum = -6.0;
    for (int n = 0; n < 12; n++) sum += static_cast<double>(generator_() >> 11) * kUnit;
    return sum;
}

SensorWords ForceSensor::sample(const Wrench& wrench) {
    SensorWords words;
    for (std::size_t i = 0; i < 3; i++) {
        const double value = wrench.force[i] + options_.bias.force[i] + options_.noise.force[i] * normal();
        words[i] = word(value, scale_.force, range_.force);
    }
    for (std::size_t i = 0; i < 3; i++) {
        const double value = wrench.moment[i] + options_.bias.moment[i] + options_.noise.moment[i] * normal();
        words[3 + i] = word(value, scale_.torque, range_.torque);
    }
    return words;
}

}  // namespace tarn::sim
