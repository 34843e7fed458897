// An arm by its kinematics alone: it goes where it is commanded, or where a hand leads it. Its sensors show
// what such an arm would show, and what fails on schedule.
#pragma once

#include <cstdint>

#include "soak/random.h"
#include "tarnmath/tarnmath.h"

namespace soak {

// What goes wrong at present.
struct Faults {
    bool sensorFrozen;      // the last words come again
    bool sensorSilent;      // all words are zero
    bool sensorSpike;       // all words at the end of their range
    double jointTorque[6];  // thousandths of the rated torque, of a collision
    VECT push;              // N, sensor frame, of a collision with the tool
    std::int32_t encoder;   // counts, of a slip of the output encoders
};

class Arm {
  public:
    explicit Arm(Random& random) : random_(random) {}

    // At the commanded joints, at rest.
    void reset();
    // Measured state, currents, encoders into the blocks, and the words of the force sensor.
    void measure(std::int32_t (&words)[6]);
    // What the tool presses with, N, and by how much each mm of correction changes it.
    void press(double force, double stiffness) { contact_ = {force, stiffness, 0.0}; }
    // The correction that force control has given, mm along the tool.
    void correct(double mm) { contact_.correction = mm; }
    // The hand: joint speeds and forces change smoothly up to these.
    void lead(double degPerSecond, double newton) { handSpeed_ = degPerSecond, handForce_ = newton; }

    Faults faults = {};

  private:
    void sense(std::int32_t (&words)[6]);
    double wave(int channel) const;  // -1 to 1, smooth in time

    Random& random_;
    double position_[6] = {}, velocity_[6] = {};  // degrees, degrees/ms
    struct {
        double force, stiffness, correction;
    } contact_ = {};
    double handSpeed_ = 30, handForce_ = 0;
    std::int32_t lastWords_[6] = {};
    long time_ = 0;  // cycles
};

}  // namespace soak
