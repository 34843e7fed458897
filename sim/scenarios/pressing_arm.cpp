#include "sim/scenarios/pressing_arm.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "sim/scenarios/sensing_arm.h"
#include "sim/vectors.h"
#include "tarnhost/kinematics.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kLoop = 15.0;                          // Hz
constexpr double kForceNoise = 0.1;                     // N
constexpr double kMomentNoise = 0.005;                  // N m
constexpr ToolSphere kTip = {{0.0, 0.0, 120.0}, 10.0};  // mm
constexpr double kFriction = 0.2;                       // of the normal force
// of the contact, N s/m: it has to be there, or the tip rings
constexpr double kDamping = 100.0;

// Where the workpiece lies, base frame. The process has one arm at a time, and so one of these.
struct Place {
    Eigen::Vector3d tip;     // m, lowest point of the tool at the start
    Eigen::Vector3d normal;  // out of the workpiece
    Eigen::Vector3d along;
    bool side;  // the tool touches it with its side and not with its tip
};
Place place;

Eigen::Vector3d column(const VECT& v) { return {v.x, v.y, v.z}; }

// The workpiece where the tool is nearest to it is as good as a plane.
PointWrench touch(const Workpiece& workpiece, const ToolState& tool) {
    const Eigen::Vector3d center = vector(pointOf(tool, kTip.center));
    const double way = 1e3 * place.along.dot(center - place.tip);
    double height = 0.0, slope = 0.0;
    if (workpiece.height) {
        constexpr double kStep = 0.01;  // mm
        height = workpiece.height(way);
        slope = (workpiece.height(way + kStep) - workpiece.height(way - kStep)) / (2.0 * kStep);
    }
    Surface surface;
    surface.point = array(place.tip + 1e-3 * (way * place.along + (height - kGap) * place.normal));
    surface.normal = array(place.normal - slope * place.along);
    surface.stiffness = 1e3 * workpiece.stiffness;
    surface.damping = kDamping;
    surface.friction = kFriction;
    return contactWrench(surface, kTip, tool);
}

Eigen::Vector3d tipGone(const Simulation& simulation) {
    const ToolState& tool = simulation.plant().tool();
    const Eigen::Vector3d tip = vector(pointOf(tool, kTip.center)) - 1e-3 * kTip.radius * place.normal;
    return 1e3 * (tip - place.tip);
}

Joints forces(const Simulation& s) {
    const FORCESENSOR_DATA& sensed = mpb.forceRCS;
    return {pressed(s), place.side ? -sensed.fx : -sensed.fz, kPressForce};
}
Joints error(const Simulation& s) { return {pressed(s) - kPressForce}; }
Joints offset(const Simulation& s) { return {correction(s), -place.normal.dot(tipGone(s))}; }
Joints speed(const Simulation& s) {
    const Eigen::Vector3d v = 1e3 * vector(s.plant().tool().velocity);
    return {v.dot(place.along), -v.dot(place.normal)};
}

}  // namespace

const std::vector<Group> kPressGroups = {
    {"press_N", "Force on the workpiece", "N", forces, {"true", "sensed", "target"}},
    {"press_error_N", "True force over the target", "N", error, {"error"}},
    {"offset_mm", "Into the workpiece", "mm", offset, {"correction", "tool"}},
    {"speed_mm_s", "Speed of the flange", "mm/s", speed, {"along", "into"}},
};

SimulationOptions pressingArm(const RunOptions& options) {
    SimulationOptions setup = sensingArm(options);
    setup.startPose = movingPose(options);
    setup.positionLoop = kLoop;
    setup.forceSensor.noise = {{kForceNoise, kForceNoise, kForceNoise},
                               {kMomentNoise, kMomentNoise, kMomentNoise}};
    return setup;
}

void startOver(Run& run, const Workpiece& workpiece, bool side) {
    const SimulationOptions setup = pressingArm(run.options);
    Simulation& simulation = run.start(setup);
    TRSF flange;
    host::flangePose(setup.robotType, setup.startPose.data(), &flange);
    place.side = side;
    place.normal = -column(side ? flange.n : flange.a);
    const Eigen::Vector3d center = 1e-3 * (column(flange.p) + kTip.center[2] * column(flange.a));
    place.tip = center - 1e-3 * kTip.radius * place.normal;
    // across the arm, where it has room
    place.along = side ? -column(flange.o) : Eigen::Vector3d(center.y(), -center.x(), 0.0);
    place.along = (place.along - place.along.dot(place.normal) * place.normal).normalized();
    Surface mean;  // without the waves
    mean.point = array(place.tip - 1e-3 * kGap * place.normal);
    mean.normal = array(place.normal);
    simulation.plant().showSurfaces({mean});
    simulation.plant().setToolForces({[workpiece](const ToolState& tool) { return touch(workpiece, tool); }});

    mcb.forceControl.forceSensorRcs = 0;
    putSensorToUse(simulation);
}

int startPressing(const Press& press) {
    std::uint8_t select[6] = {place.side, 0, !place.side, 0, 0, 0};
    // the workpiece pushes back against the axis
    FORCESENSOR_DATA target = {};
    (place.side ? target.fx : target.fz) = -kPressForce;
    constexpr double kAngle = 10.0;  // deg, of corrections that nobody makes
    return tmcConstForceStartStop(1, 0, select, target, press.gain, press.integral, press.derivative, 0.0,
                                  0.0, 0.0, press.tuned, static_cast<std::uint8_t>(press.learning),
                                  press.most, kAngle, 0.0, press.filtered, 0, 0);
}

int stopPressing() {
    std::uint8_t select[6] = {};
    return tmcConstForceStartStop(0, 0, select, {}, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0, 0, 0.0, 0.0, 0.0, 0, 0,
                                  0);
}

bool startLine(const Run& run, double way, double speed) {
    TRSF goal;
    host::flangePose(run.options.robotType, run.simulation->options().startPose.data(), &goal);
    const Eigen::Vector3d shift = way * place.along;
    goal.p = {goal.p.x + shift.x(), goal.p.y + shift.y(), goal.p.z + shift.z()};
    return host::startLineMove(goal, speed, 1);
}

double pressed(const Simulation& simulation) {
    return place.normal.dot(vector(simulation.plant().toolWrench().force));
}

double correction(const Simulation&) { return place.side ? mcb.forceControl.dxSum : mcb.forceControl.dzSum; }

double Pressed::deviation() const { return std::sqrt(std::max(0.0, squares / n - mean() * mean())); }

double Pressed::error() const { return std::sqrt(squares / n); }

Pressed press(Run& run, double seconds, bool record) {
    Pressed found;
    double last = correction(*run.simulation);
    for (long n = std::lround(seconds * 1000.0); n > 0; n--) {
        record ? run.advance(0.001) : run.skip(0.001);
        const double force = pressed(*run.simulation), off = force - kPressForce;
        found.n += 1.0;
        found.sum += off;
        found.squares += off * off;
        found.least = std::min(found.least, force);
        found.most = std::max(found.most, force);
        found.moved += std::fabs(correction(*run.simulation) - last);
        last = correction(*run.simulation);
    }
    return found;
}

}  // namespace tarn::sim
