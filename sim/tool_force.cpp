#include "sim/tool_force.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "sim/vectors.h"

namespace tarn::sim {

Vec3 pointOf(const ToolState& tool, const Vec3& inFlange) {
    return array(vector(tool.flange.origin) + rotation(tool.flange) * vector(inFlange) * 1e-3);
}

Vec3 velocityAt(const ToolState& tool, const Vec3& point) {
    return array(vector(tool.velocity) + vector(tool.spin).cross(vector(point) - vector(tool.flange.origin)));
}

PointWrench contactWrench(const Surface& surface, const ToolSphere& sphere, const ToolState& tool) {
    const Eigen::Vector3d normal = vector(surface.normal).normalized();
    const Eigen::Vector3d center = vector(pointOf(tool, sphere.center));
    const double height = normal.dot(center - vector(surface.point));
    const double depth = sphere.radius * 1e-3 - height;
    if (!(depth > 0.0)) return {};

    // the force acts where the sphere's center is nearest to the plane
    const Vec3 point = array(center - height * normal);
    const Eigen::Vector3d velocity = vector(velocityAt(tool, point));
    const double departing = normal.dot(velocity);
    const double push = std::max(0.0, surface.stiffness * depth - surface.damping * departing);
    const Eigen::Vector3d sliding = velocity - departing * normal;
    const double speed = sliding.norm();
    Eigen::Vector3d force = push * normal;
    if (speed > 0.0) {
        force -= surface.friction * push * std::tanh(speed / surface.frictionSpeed) / speed * sliding;
    }
    return {{array(force), {}}, point};
}

}  // namespace tarn::sim
