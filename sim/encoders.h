// The two encoders of each joint, before and behind a gear that gives way, and what a drive makes of them.
#pragma once

#include <array>
#include <cstdint>

#include "sim/plant.h"

namespace tarn::sim {

// Counts of one turn of a joint, for both encoders: 16384 a turn of a motor behind a gear of 101. The
// controller takes this number for all joints of all types, whatever gear their currents are told for.
inline constexpr double kCountsPerTurn = 16384.0 * 101.0;

struct EncoderOptions {
    Joints stiffness{};  // N m/deg of the gear; 0: rigid

    // Corner frequencies of the drive's low-pass filters, Hz: first order, on the differences of motor
    // counts.
    double velocityCorner = 50.0;
    double accelerationCorner = 25.0;
};

struct EncoderCounts {
    std::array<std::int64_t, 6> motor{};   // how.enc
    std::array<std::int32_t, 6> output{};  // how.HSEnc, in counts of the motor's side
};

// The output encoder sees the joint. The motor is ahead of it by the torque through the gear over the
// stiffness, so the output's counts minus the motor's have the sign against the torque.
EncoderCounts encoderCounts(const EncoderOptions& options, const Joints& position, const Joints& gearTorque);

// Joint state as a drive tells it, from the motor's encoder alone. One count a cycle is 0.22 deg/s, hence the
// filters; they delay the velocity by 3 ms and the acceleration by 10 ms at the corners given above.
class DriveState {
  public:
    explicit DriveState(const EncoderOptions& options);

    // Takes the counts of one cycle. The first are those of a standing joint.
    void update(const EncoderCounts& counts);

    const Joints& position() const { return position_; }          // deg
    const Joints& velocity() const { return velocity_; }          // deg/ms
    const Joints& acceleration() const { return acceleration_; }  // deg/ms^2

  private:
    double velocityShare_;
    double accelerationShare_;
    bool started_ = false;
    Joints position_{};
    Joints velocity_{};
    Joints acceleration_{};
};

}  // namespace tarn::sim
