#include "sim/scenarios/dragged_arm.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "sim/vectors.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kLoop = 15.0;         // Hz
constexpr double kForceNoise = 0.3;    // N
constexpr double kMomentNoise = 0.02;  // N m
constexpr double kStandStill = 0.1;    // s
constexpr double kRunOut = 1.5;        // s, in which filters and drives come to rest

EndForceDrag& settings() { return mcb.forceControl.endforcedrag; }

Joints handForce(const Simulation& simulation) {
    const Vec3& force = simulation.plant().toolWrench().force;
    return {force[0], force[1], force[2], vector(force).norm()};
}

Joints sensedForce(const Simulation&) { return {mpb.forceRCS.fx, mpb.forceRCS.fy, mpb.forceRCS.fz}; }
Joints sensedMoment(const Simulation&) { return {mpb.forceRCS.mx, mpb.forceRCS.my, mpb.forceRCS.mz}; }

TRSF startPose(const Simulation& simulation) {
    JNTS joints = {};
    std::copy(simulation.options().startPose.begin(), simulation.options().startPose.end(), joints.v);
    TRSF flange, tool;
    newFwdKinematics(&joints, &flange);
    multTrsf(&tool, &flange, &mpb.TOOL);
    return tool;
}

TRSF toolPose() {
    TRSF tool;
    multTrsf(&tool, &mpb.t6, &mpb.TOOL);
    return tool;
}

Joints offset(const Simulation& simulation) {
    const TRSF from = startPose(simulation), now = toolPose();
    return {now.p.x - from.p.x, now.p.y - from.p.y, now.p.z - from.p.z};
}

Joints turned(const Simulation& simulation) {
    const TRSF from = startPose(simulation), now = toolPose();
    const double trace = from.n.x * now.n.x + from.n.y * now.n.y + from.n.z * now.n.z + from.o.x * now.o.x +
                         from.o.y * now.o.y + from.o.z * now.o.z + from.a.x * now.a.x + from.a.y * now.a.y +
                         from.a.z * now.a.z;
    return {std::acos(std::clamp(0.5 * (trace - 1.0), -1.0, 1.0)) * 180.0 / std::numbers::pi};
}

Joints speed(const Simulation& simulation) {
    const Vec3 tool = {mpb.TOOL.p.x, mpb.TOOL.p.y, mpb.TOOL.p.z};
    const Eigen::Vector3d v = toolSpeed(simulation, tool);
    return {v.x(), v.y(), v.z(), v.norm()};
}

// Of the arm as it is, whatever the library takes it for.
struct Measures {
    double translation, rotation, shoulder;
};

Measures measures(const Simulation& simulation) {
    float lengths[6], joints[6], jacobian[36];
    const ParameterSet& set = simulation.plant().options().set;
    const Joints& zero = simulation.plant().options().zeroShift;
    for (std::size_t i = 0; i < 6; i++) {
        lengths[i] = static_cast<float>(set.paramSDH[i]);
        joints[i] = static_cast<float>((simulation.measured()[i] - zero[i]) * std::numbers::pi / 180.0);
    }
    velocityJacob(lengths, joints, jacobian);
    const double x = mpb.t6.p.x - mpb.t6.a.x * set.paramSDH[5], y = mpb.t6.p.y - mpb.t6.a.y * set.paramSDH[5];
    return {static_cast<double>(testOutTrans(jacobian)), static_cast<double>(testOutRot(jacobian)),
            (x * x + y * y - set.paramSDH[3] * set.paramSDH[3]) * 1e-6};
}

Joints translationMeasure(const Simulation& s) { return {measures(s).translation}; }
Joints otherMeasures(const Simulation& s) {
    const Measures m = measures(s);
    return {m.rotation, m.shoulder};
}

Joints state(const Simulation&) {
    return {static_cast<double>(settings().flag), static_cast<double>(mpb.state == TGEN_DRAG ? 1 : 0),
            static_cast<double>(mcb.motionAlarm != zvCtlMotionNoAlarm ? 1 : 0)};
}

// clang-format off
const Group kGroups[] = {
    // key,         title,                                            unit,   read
    { "hand_N",     "Force of the hand, base frame",                  "N",    handForce,    { "x", "y", "z", "magnitude" } },
    { "force_N",    "Sensed force, frame of the drag",                "N",    sensedForce,  { "x", "y", "z" } },
    { "moment_Nm",  "Sensed moment, frame of the drag",               "N m",  sensedMoment, { "x", "y", "z" } },
    { "offset_mm",  "Tool from its start, base frame",                "mm",   offset,       { "x", "y", "z" } },
    { "turn_deg",   "Tool turned from its start",                     "deg",  turned,       { "angle" } },
    { "speed_mm_s", "Speed of the tool, base frame",                  "mm/s", speed,        { "x", "y", "z", "magnitude" } },
    { "room_m3",    "Mobility of translation",                        "m^3",  translationMeasure, { "translation" } },
    { "room",       "Mobility of rotation; shoulder's distance, m^2", "-",    otherMeasures, { "rotation", "shoulder" } },
    { "state",      "Drag asked for, joint drag, motion alarm",       "-",    state,        { "asked", "joints", "alarm" } },
};
// clang-format on

}  // namespace

Eigen::Matrix3d turnedBy(const Eigen::Vector3d& turn) {
    const double angle = turn.norm();
    if (angle == 0.0) return Eigen::Matrix3d::Identity();
    return Eigen::AngleAxisd(angle, turn / angle).toRotationMatrix();
}

SimulationOptions sensorArm(const RunOptions& options, const Joints& pose) {
    SimulationOptions setup = simulationOptions(options);
    setup.startPose = pose;
    setup.positionLoop = kLoop;
    setup.forceSensor.noise = {{kForceNoise, kForceNoise, kForceNoise},
                               {kMomentNoise, kMomentNoise, kMomentNoise}};
    setup.forceSensor.seed = options.seed + 1;
    return setup;
}

void startDrag(Run& run, const DragSettings& s, const Vec3& tool) {
    mcb.forceControl.endforcedrag.flag = 0;
    mcb.mode = 1;  // manual
    mpb.TOOL.p = {tool[0], tool[1], tool[2]};
    mpb.forceSensorLoadWeight = mpb.loadWeight;
    mpb.forceSensorLoadCoord = mpb.loadCoord;
    mcb.forceControl.forceSensorRcs = s.frame;
    zvmcSetAxleDeviceType(1);
    run.skip(kStandStill);
    double M[6], B[6], K[6] = {}, F[6] = {s.deadForce, 0.0, 0.0, s.deadMoment, 0.0, 0.0};
    for (int i = 0; i < 6; i++) {
        M[i] = i < 3 ? s.inertia : s.turnInertia;
        B[i] = i < 3 ? s.damping : s.turnDamping;
    }
    zvmcEndForceDragstartstop(1, s.adaptive ? 1 : 0, s.wall ? 1 : 0, s.leaveSingular ? 1 : 0, M, B, K, F,
                              s.forceLimit, s.speedLimit);
}

std::span<const Group> dragGroups() { return kGroups; }

Eigen::Vector3d flangeOf(const Simulation& simulation) {
    return vector(simulation.plant().tool().flange.origin);
}

Eigen::Vector3d toolSpeed(const Simulation& simulation, const Vec3& point) {
    const ToolState& tool = simulation.plant().tool();
    return 1e3 * vector(velocityAt(tool, pointOf(tool, point)));
}

DragRun::DragRun(Run& run, const Vec3& grip, const Operator& hand)
    : run_(run),
      grip_(grip),
      hand_(hand),
      point_(Eigen::Vector3d::Zero()),
      moment_(Eigen::Vector3d::Zero()),
      direction_(Eigen::Matrix3d::Identity()),
      spring_(HandSpring{hand.stiffness, hand.damping,
                         [this](double time) { return array(point_ + (time - since_) * twist_.velocity); }},
              grip),
      wrench_(HandWrench{[this](double) {
          return Wrench{{}, array(moment_)};
      }}),
      leftAt_(flangeOf(*run.simulation)) {}

DragRun::~DragRun() { letGo(); }

Eigen::Vector3d DragRun::gripPoint() const { return vector(pointOf(run_.simulation->plant().tool(), grip_)); }

Eigen::Vector3d DragRun::force() const { return vector(run_.simulation->plant().toolWrench().force); }

void DragRun::grip() {
    point_ = gripPoint();
    direction_ = rotation(run_.simulation->plant().tool().flange);
    twist_ = {};
    run_.simulation->plant().setToolForces(
        {spring_.force(), [this](const ToolState& tool) { return hold(tool); }});
}

PointWrench DragRun::hold(const ToolState& tool) const {
    if (hand_.turnStiffness == 0.0) return {};
    const Eigen::Matrix3d wanted = turnedBy((tool.time - since_) * twist_.spin) * direction_;
    const Eigen::AngleAxisd missing(wanted * rotation(tool.flange).transpose());
    const Eigen::Vector3d moment = hand_.turnStiffness * missing.angle() * missing.axis() +
                                   hand_.turnDamping * (twist_.spin - vector(tool.spin));
    return {{{}, array(moment)}, pointOf(tool, grip_)};
}

void DragRun::letGo() {
    run_.simulation->plant().setToolForces({});
    leftAt_ = flangeOf(*run_.simulation);
}

double DragRun::clock() const {
    const ToolState& tool = run_.simulation->plant().tool();
    return tool.time + tool.step;
}

void DragRun::cycle() {
    Simulation& simulation = *run_.simulation;
    const int asked = settings().flag;
    const auto alarm = mcb.motionAlarm;
    if (recorded)
        run_.advance(0.001);
    else
        run_.skip(0.001);
    if (asked == 1 && settings().flag != 1) stops++;
    if (alarm == zvCtlMotionNoAlarm && mcb.motionAlarm != alarm) alarms++;
    const bool open = asked == 1 && mpb.state == TGEN_IDLE;
    bool numbers = true;
    for (std::size_t i = 0; i < 6; i++) {
        const double now = simulation.commanded()[i], share = 100.0 * 1e3 / settings().Vmax;
        if (open && dragged_) commanded = std::max(commanded, share * std::fabs(now - before_[i]));
        fastest = std::max(fastest, share * std::fabs(simulation.velocity()[i]));
        numbers = numbers && std::isfinite(now);
    }
    if (!numbers) notNumbers++;
    before_ = simulation.commanded();
    dragged_ = open;
}

void DragRun::lead(const Twist& twist, double seconds, const std::function<void()>& each) {
    twist_ = twist;
    since_ = clock();
    wait(seconds, each);
    const double passed = clock() - since_;
    point_ += passed * twist_.velocity;
    direction_ = turnedBy(passed * twist_.spin) * direction_;
    twist_ = {};
}

void DragRun::turn(const Eigen::Vector3d& moment, double seconds, const std::function<void()>& each) {
    moment_ = moment;
    run_.simulation->plant().setToolForces({wrench_.force()});
    wait(seconds, each);
    letGo();
}

void DragRun::wait(double seconds, const std::function<void()>& each) {
    for (long n = std::lround(seconds * 1000.0); n > 0; n--) {
        cycle();
        if (each) each();
    }
}

void DragRun::rest() {
    const Simulation& simulation = *run_.simulation;
    wait(kRunOut, [&] { coast = std::max(coast, 1e3 * (flangeOf(simulation) - leftAt_).norm()); });
    const Eigen::Vector3d from = flangeOf(simulation);
    wait(1.0, [&] { drift = std::max(drift, 1e3 * (flangeOf(simulation) - from).norm()); });
}

double logged(const Run& run, const std::string& text) {
    return static_cast<double>(std::count_if(run.log.begin(), run.log.end(), [&](const LogLine& line) {
        return line.text.find(text) != std::string::npos;
    }));
}

}  // namespace tarn::sim
