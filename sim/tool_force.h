// What acts on the tool from outside the arm: anything that answers a state of the tool with a wrench.
// Surfaces are of this kind and stand here; a hand is in hand.h.
#pragma once

#include <array>
#include <functional>

namespace tarn::sim {

using Vec3 = std::array<double, 3>;

// A frame seen from its parent.
struct Pose {
    Vec3 origin{};  // m or mm, told where it is used
    std::array<Vec3, 3> axes{{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};  // x, y, z
};

struct Wrench {
    Vec3 force{};   // N
    Vec3 moment{};  // N m
};

// A wrench on the tool, base frame. The moment is about the point.
struct PointWrench {
    Wrench wrench;
    Vec3 point{};  // m
};

// The flange in the base frame, at the start of an engine step.
struct ToolState {
    double time;    // s since the arm was put at rest
    double step;    // s that the answer will act
    Pose flange;    // m
    Vec3 velocity;  // m/s, of the flange's origin
    Vec3 spin;      // rad/s
};

Vec3 pointOf(const ToolState& tool, const Vec3& inFlange);  // mm in the flange frame to m in the base frame
Vec3 velocityAt(const ToolState& tool, const Vec3& point);  // m/s at a point of the base frame, m

using ToolForce = std::function<PointWrench(const ToolState&)>;

// The part of the tool that touches surfaces.
struct ToolSphere {
    Vec3 center{};        // mm, flange frame
    double radius = 0.0;  // mm
};

// An unbounded plane, base frame: a table, a wall, a work piece. What it gives is a spring with a damper that
// cannot pull, and friction that is smooth through standstill.
struct Surface {
    Vec3 point{};                  // m
    Vec3 normal{0.0, 0.0, 1.0};    // out of the material, of any length
    double stiffness = 50e3;       // N/m
    double damping = 100.0;        // N s/m
    double friction = 0.0;         // of the normal force
    double frictionSpeed = 0.001;  // m/s: at a sliding speed of this much 76 % of the friction is there

    bool operator==(const Surface&) const = default;
};

PointWrench contactWrench(const Surface& surface, const ToolSphere& sphere, const ToolState& tool);

}  // namespace tarn::sim
