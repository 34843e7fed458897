#include "sim/encoders.h"

#include <cmath>
#include <numbers>

namespace tarn::sim {
namespace {

constexpr double kCountsPerDegree = kCountsPerTurn / 360.0;

// Share of the new sample in a first-order low-pass with samples every 1 ms.
double shareOf(double corner) { return -std::expm1(-2.0 * std::numbers::pi * corner * 0.001); }

}  // namespace

EncoderCounts encoderCounts(const EncoderOptions& options, const Joints& position, const Joints& gearTorque) {
    EncoderCounts counts;
    for (std::size_t i = 0; i < 6; i++) {
        const double stiffness = options.stiffness[i];
        const double twist = stiffness > 0.0 ? gearTorque[i] / stiffness : 0.0;
        counts.motor[i] = std::llround((position[i] + twist) * kCountsPerDegree);
        counts.output[i] = static_cast<std::int32_t>(std::lround(position[i] * kCountsPerDegree));
    }
    return counts;
}

DriveState::DriveState(const EncoderOptions& options)
    : velocityShare_(shareOf(options.velocityCorner)),
      accelerationShare_(shareOf(options.accelerationCorner)) {}

void DriveState::update(const EncoderCounts& counts) {
    for (std::size_t i = 0; i < 6; i++) {
        const double position = static_cast<double>(counts.motor[i]) / kCountsPerDegree;
        const double difference = started_ ? position - position_[i] : 0.0;
        const double velocity = velocity_[i] + velocityShare_ * (difference - velocity_[i]);
        acceleration_[i] += accelerationShare_ * (velocity - velocity_[i] - acceleration_[i]);
        velocity_[i] = velocity;
        position_[i] = position;
    }
    started_ = true;
}

}  // namespace tarn::sim
