#include "sim/scenarios/guiding_hand.h"

#include <cmath>
#include <numbers>

#include "sim/vectors.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr double kRadius = 0.25;  // m, of the curve
constexpr double kAngle = 1.2;    // rad of it, 0.3 m: the way out

Joints handForce(const Simulation& simulation) {
    const Vec3& force = simulation.plant().toolWrench().force;
    return {force[0], force[1], force[2], vector(force).norm()};
}

}  // namespace

const Group kHandForce = {
    "hand_N", "Force of the hand, base frame", "N", handForce, {"x", "y", "z", "magnitude"}};

std::function<Vec3(double)> outAndBack(const Vec3& from, double grip, double seconds) {
    const Eigen::Vector3d up = Eigen::Vector3d::UnitZ();
    Eigen::Vector3d ahead(from[0], from[1], 0.0);
    ahead = ahead.norm() > 0.1 ? ahead.normalized() : Eigen::Vector3d::UnitX();
    const Eigen::Vector3d across = up.cross(ahead);
    return [=](double time) {
        const double turn = (time - grip) / seconds;
        const double angle =
            turn < 0.0 ? 0.0 : kAngle * 0.5 * (1.0 - std::cos(2.0 * std::numbers::pi * turn));
        return array(vector(from) + kRadius * (std::sin(angle) * across + (std::cos(angle) - 1.0) * ahead));
    };
}

Joints modelTorque(const Simulation& simulation) {
    if (simulation.options().torqueModel == GravityOnly)
        return simulation.plant().gravityTorque(simulation.measured());
    Joints velocity = simulation.commandedVelocity();
    for (double& v : velocity) v *= 1000.0;  // deg/s
    return simulation.plant().motionTorque(simulation.measured(), velocity, {});
}

Joints compensatedFriction() {
    double friction[6] = {};
    if (mcb.fricCompensationFlag == 1) frictionCompensation(&mpb.j6vel, friction);
    Joints share;
    for (std::size_t i = 0; i < 6; i++) share[i] = friction[i] * static_cast<double>(mpb.friction_Free[i]);
    return share;
}

}  // namespace tarn::sim
