// A hand that pushes and pulls at the tool, and how hard it had to work.
#pragma once

#include <limits>

#include "sim/tool_force.h"

namespace tarn::sim {

// A hand that pushes the same wherever the tool is: a wrench over time (s), base frame.
struct HandWrench {
    std::function<Wrench(double time)> wrench;
};

// A hand that wants to be somewhere: a spring with a damper from the grip to a point that moves.
struct HandSpring {
    double stiffness = 1000.0;              // N/m
    double damping = 50.0;                  // N s/m
    std::function<Vec3(double time)> path;  // m, base frame, over s
};

struct Effort {
    double seconds;    // of gripping
    double meanForce;  // N
    double peakForce;  // N
    double work;       // J, done on the tool; negative: the tool has driven the hand
};

class Hand {
  public:
    // Grips at a point of the flange frame, mm, from one time to the other, s.
    explicit Hand(HandWrench wrench, const Vec3& grip = {}, double from = 0.0,
                  double until = std::numeric_limits<double>::infinity());
    explicit Hand(HandSpring spring, const Vec3& grip = {}, double from = 0.0,
                  double until = std::numeric_limits<double>::infinity());

    Hand(const Hand&) = delete;
    Hand& operator=(const Hand&) = delete;

    // For Plant::setToolForces. The hand must live as long as it is set there.
    ToolForce force();

    Effort effort() const;

  private:
    PointWrench act(const ToolState& tool);

    std::function<Wrench(const ToolState&, const Vec3& grip)> law_;
    Vec3 grip_;
    double from_, until_;
    double seconds_ = 0.0;
    double impulse_ = 0.0;  // N s, of the force's magnitude
    double peak_ = 0.0;
    double work_ = 0.0;
};

}  // namespace tarn::sim
