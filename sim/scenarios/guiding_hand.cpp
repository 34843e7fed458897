#include "sim/scenarios/guiding_hand.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "sim/vectors.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr double kRadius = 0.25;  // m, of the curve
constexpr double kAngle = 1.2;    // rad of it, 0.3 m: the way out

// s, in a pass
constexpr double kSwitchOn = 0.3;
constexpr double kGrip = 0.5;
constexpr double kOutAndBack = 6.0;
constexpr double kGripped = 5.25;
constexpr double kSwitchOff = 7.7;

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

GuidedPass guidePass(Run& run, double stiffness, double damping, const Vec3& gripPlace,
                     const std::function<void()>& watch) {
    Simulation& simulation = *run.simulation;
    const auto grip = [&] { return vector(pointOf(simulation.plant().tool(), gripPlace)); };
    const Eigen::Vector3d start = grip();
    const std::function<Vec3(double)> path = outAndBack(array(start), kGrip, kOutAndBack);
    Hand hand(HandSpring{stiffness, damping, path}, gripPlace, kGrip, kGrip + kGripped);
    simulation.plant().setToolForces({hand.force()});

    GuidedPass pass{};
    const double begin = simulation.time();
    const auto until = [&](double time) { return simulation.time() < begin + time - 0.0005; };
    while (until(kSwitchOn)) run.advance(0.001);
    tmcDragSwitch(1);
    Eigen::Vector3d letGo = start;
    while (until(kSwitchOff)) {
        run.advance(0.001);
        if (mpb.state != TGEN_DRAG) pass.otherStates++;
        watch();
        if (until(kGrip + kGripped)) {
            letGo = grip();
            const double behind = (vector(path(simulation.time() - begin)) - letGo).norm();
            pass.behind = std::max(pass.behind, 1e3 * behind);
        } else if (run.events.back().word != "lets go") {
            run.mark("lets go");
        }
        pass.coast = std::max(pass.coast, 1e3 * (grip() - letGo).norm());
    }
    pass.restSpeed = 1e3 * vector(simulation.plant().tool().velocity).norm();
    tmcDragSwitch(0);
    while (until(kGuidedPassSeconds)) run.advance(0.001);
    if (mpb.state != TGEN_IDLE) pass.otherStates++;
    pass.effort = hand.effort();
    simulation.plant().setToolForces({});  // the hand ends here, the arm is still to be drawn
    return pass;
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
