// The force-and-torque drag: what the sensor feels of the hand goes to the joints as torque, on top of full
// dynamics and compensation of friction. A hand guides the tool along a curve, out and back, first without
// the drag, then with it, and lets go in full swing. Then it is faster than the drag allows, which ends it;
// and what happens when the drag is taken up again with no hand on the tool.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <string>

#include "model/type_table.h"
#include "sim/hand.h"
#include "sim/scenarios/guiding_hand.h"
#include "sim/scenarios/scenarios.h"
#include "sim/scenarios/sensing_arm.h"
#include "sim/vectors.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kStiffness = 1e3;              // N/m
constexpr double kDamping = 150.0;              // N s/m
constexpr Vec3 kGripPlace = {0.0, 0.0, 120.0};  // mm, flange frame: at the tool, so the sensor is in between
constexpr double kLoop = 15.0;                  // Hz; it stands by in hand guiding

// The drag: three times the hand's own torque on top of it, and that torque with the opposite sign.
constexpr double kEasing = 4.0, kHindering = 0.0;
constexpr double kJointDamping = 0.005;  // N m s/deg
constexpr double kMaxSpeed = 250.0;      // mm/s
constexpr double kMaxTurn = 120.0;       // deg/s
constexpr double kUnwatched = 1e4;       // mm/s, deg/s

// s, in the pass of the hand that is too fast
constexpr double kSwitchOn = 0.3;
constexpr double kGrip = 0.5;
constexpr double kFast = 2.0;     // out and back
constexpr double kFastEnd = 3.0;  // of the pass
constexpr double kAgain = 1.5;    // without a hand

// %, of the hand's mean force without the drag. The weight of 4 leaves a quarter of what the hand has to do,
// but under the drag no friction is compensated, which makes that twice as much; and inertia goes last, since
// the filter of the force is 0.1 s behind.
constexpr double kEffortLimit = 70.0;
constexpr double kBehindLimit = 60.0;    // mm, of a hand that gives way by 1 for each N
constexpr double kCoastLimit = 60.0;     // mm: the filter holds the hand's force for some 0.2 s
constexpr double kRestLimit = 5.0;       // mm/s, at the end
constexpr double kExcessLimit = 0.5;     // 1/1000 of rated
constexpr double kOverSpeedLimit = 6.0;  // cycles of hand guiding: it ends in the sixth
constexpr double kStopLimit = 40.0;      // mm, by position loops from that speed

struct Acceleration {
    Joints most;  // rad/s^2
};
constexpr double kPi = std::numbers::pi;
constexpr TypeRow<Acceleration> kAccelerations[] = {
    {0, 200, {{2 * kPi, 2 * kPi, 2 * kPi, 2 * kPi, 2 * kPi, 3 * kPi}}},
    {201, 400, {{2 * kPi / 3, 2 * kPi / 3, kPi, 2 * kPi, 2 * kPi, 3 * kPi}}},
    {401, 500, {{kPi / 4, kPi / 4, kPi / 3, 2 * kPi, 2 * kPi, 3 * kPi}}},
};
constexpr Acceleration kNoDrag = {};

// N m, what the command holds beside the model and, without the drag, friction: under it none is compensated.
Joints dragTorque(const Simulation& simulation) {
    if (mpb.state != TGEN_DRAG) return {};
    Joints torque = simulation.plant().jointTorque(simulation.currentSet());
    const Joints model = modelTorque(simulation);
    Joints friction{};
    if (mcb.forceControl.forceandtorquedrag.status == 0) friction = compensatedFriction();
    for (std::size_t i = 0; i < 6; i++) torque[i] -= model[i] + friction[i];
    return torque;
}

Joints toolSpeed(const Simulation&) { return {mpb.tcpvel, mpb.tcpOriVel}; }

const Group kGroups[] = {
    kHandForce,
    kCompensatedForce,
    {"drag_Nm", "Torque that the drag adds", "N m", dragTorque},
    {"tool_speed", "Speed of the flange", "mm/s, deg/s", toolSpeed, {"path", "turn"}},
};

struct Pass : GuidedPass {
    double excess;   // 1/1000 of rated, of the drag's torque over the joint's limit
    Joints limited;  // cycles at that limit
    double cycles;
    double speed, turn;  // mm/s, deg/s, largest
};

void setDrag(int status, double weight, bool watched = true) {
    double lamda[6], k[6] = {}, b[6];
    std::fill_n(lamda, 6, weight);
    std::fill_n(b, 6, kJointDamping);
    // the damping is weighed like the force: below a weight of 1 it would drive the joints
    const int damped = weight > 1.0 ? 1 : 0;
    zvmcForceAndTorqueDragStartStop(status, damped, lamda, k, b, watched ? kMaxSpeed : kUnwatched,
                                    watched ? kMaxTurn : kUnwatched);
}

Simulation& startArm(Run& run, const std::string& name) {
    SimulationOptions setup = sensingArm(run.options);
    setup.startPose = movingPose(run.options);
    setup.positionLoop = kLoop;
    Simulation& simulation = run.start(setup);
    putSensorToUse(simulation);
    run.mark("start, " + name);
    return simulation;
}

Eigen::Vector3d grip(const Simulation& simulation) {
    return vector(pointOf(simulation.plant().tool(), kGripPlace));
}

// What the drag may add to a joint is the torque of an acceleration.
void compareWithLimits(const Simulation& simulation, Pass& pass) {
    constexpr double kAtLimit = 1.0;  // 1/1000 of rated: the command is cut to whole ones
    const Joints& most = byType(kAccelerations, kNoDrag, simulation.options().robotType).most;
    const std::array<Joints, 6> inertia = simulation.plant().massMatrix(simulation.measured());
    const Joints added = dragTorque(simulation);
    for (int joint = 0; joint < 6; joint++) {
        const auto i = static_cast<std::size_t>(joint);
        const double counts = simulation.plant().currentOf(std::fabs(added[i]), joint);
        const double limit = simulation.plant().currentOf(inertia[i][i] * most[i], joint);
        pass.excess = std::max(pass.excess, counts - limit - kAtLimit);
        if (most[i] > 0.0 && counts > limit - kAtLimit) pass.limited[i]++;
    }
    pass.cycles++;
}

Pass guide(Run& run, const std::string& name, int status, double weight) {
    Simulation& simulation = startArm(run, name);
    // a hand that has to work against the drag gives the tool a jerk when that ends
    setDrag(status, weight, weight > 1.0);

    Pass pass{};
    static_cast<GuidedPass&>(pass) = guidePass(run, kStiffness, kDamping, kGripPlace, [&] {
        compareWithLimits(simulation, pass);
        pass.speed = std::max(pass.speed, mpb.tcpvel);
        pass.turn = std::max(pass.turn, mpb.tcpOriVel);
    });
    return pass;
}

struct SpeedPass {
    double over;      // cycles of hand guiding over the speed limit
    double early;     // cycles out of hand guiding before that
    double wrong;     // 1: no alarm, or another state in the end
    double stopWay;   // mm, of the flange from where the drag ended
    double againWay;  // mm, of the flange in the next drag, without a hand
};

// Whoever feels the drag end lets go.
SpeedPass hurry(Run& run) {
    Simulation& simulation = startArm(run, "hand too fast");
    setDrag(1, kEasing);
    const Eigen::Vector3d start = grip(simulation);
    Hand hand(HandSpring{kStiffness, kDamping, outAndBack(array(start), kGrip, kFast)}, kGripPlace, kGrip);
    bool holds = true;
    simulation.plant().setToolForces(
        {[&, force = hand.force()](const ToolState& tool) { return holds ? force(tool) : PointWrench{}; }});

    SpeedPass pass{};
    const double begin = simulation.time();
    const auto until = [&](double time) { return simulation.time() < begin + time - 0.0005; };
    const auto flange = [&] { return vector(simulation.plant().tool().flange.origin); };
    while (until(kSwitchOn)) run.advance(0.001);
    tmcDragSwitch(1);
    Eigen::Vector3d ended = flange();
    while (until(kFastEnd)) {
        run.advance(0.001);
        const bool guided = mpb.state == TGEN_DRAG;
        const bool fast = mpb.tcpvel > kMaxSpeed || mpb.tcpOriVel > kMaxTurn;
        if (guided && fast) pass.over++;
        if (!guided && pass.over == 0.0) pass.early++;
        if (guided) ended = flange();
        if (holds && !guided && pass.over > 0.0) {
            holds = false;
            run.mark("drag ends");
        }
        pass.stopWay = std::max(pass.stopWay, 1e3 * (flange() - ended).norm());
    }
    pass.wrong = mcb.motionAlarm == zvCtlTCPSpeedOver && mpb.state == TGEN_IDLE ? 0.0 : 1.0;
    simulation.plant().setToolForces({});

    run.mark("taken up again, no hand");
    const Eigen::Vector3d rest = flange();
    tmcDragSwitch(1);
    while (until(kFastEnd + kAgain)) {
        run.advance(0.001);
        pass.againWay = std::max(pass.againWay, 1e3 * (flange() - rest).norm());
    }
    tmcDragSwitch(0);
    return pass;
}

// The motion takes its time, whatever is asked.
void play(Run& run, double) {
    run.recording.more.assign(std::begin(kGroups), std::end(kGroups));
    const bool reaches = byType(kAccelerations, kNoDrag, run.options.robotType).most[0] > 0.0;
    const Pass plain = guide(run, "no drag", 0, kEasing);
    const Pass eased = guide(run, "drag, weight 4", 1, kEasing);
    const Pass hindered = guide(run, "drag, weight 0", 1, kHindering);
    const SpeedPass hurried = hurry(run);
    takeSensorOut();

    for (const auto& [pass, name] :
         {std::pair{plain, "no drag"}, std::pair{eased, "weight 4"}, std::pair{hindered, "weight 0"}}) {
        const std::string suffix = std::string(", ") + name;
        run.tell("Mean force of the hand" + suffix, pass.effort.meanForce, "N");
        run.tell("Peak force of the hand" + suffix, pass.effort.peakForce, "N");
        run.tell("Largest speed" + suffix, pass.speed, "mm/s");
        run.tell("Fastest turn" + suffix, pass.turn, "deg/s");
        if (!reaches || name[0] == 'n') continue;
        Joints share = pass.limited;
        for (double& s : share) s *= 100.0 / pass.cycles;
        run.findings.emplace_back("Time at the limit of the drag's torque by joint" + suffix,
                                  fmt::format("{:.0f} %", fmt::join(share, ", ")));
    }
    run.tell("Way in the next drag, without a hand", hurried.againWay, "mm");

    const auto share = [&](const Pass& pass) {
        return 100.0 * pass.effort.meanForce / plain.effort.meanForce;
    };
    if (reaches) {
        run.atMost("Hand's mean force, with the drag over without", share(eased), kEffortLimit, "%");
    } else {
        run.tell("Hand's mean force, with the drag over without", share(eased), "%");
        // the model of the type has no limits of the drag, and then they are zero
        run.findings.emplace_back("Drag of this type",
                                  "nothing reaches the joints, and no friction is compensated");
    }
    run.tell("Hand's mean force, weight 0 over no drag", share(hindered), "%");
    run.atMost("Drag's torque over the joint's limit",
               std::max({plain.excess, eased.excess, hindered.excess}), kExcessLimit, "1/1000 of rated");
    run.atMost("Grip off the hand's path", std::max(plain.behind, eased.behind), kBehindLimit, "mm");
    run.atMost("Coasting without the drag", plain.coast, kCoastLimit, "mm");
    run.atMost("Coasting with the drag", eased.coast, kCoastLimit, "mm");
    run.atMost("Speed of the flange in the end",
               std::max({plain.restSpeed, eased.restSpeed, hindered.restSpeed}), kRestLimit, "mm/s");
    run.atMost("Cycles over the speed limit under the hand", hurried.over > 0.0 ? hurried.over : std::nan(""),
               kOverSpeedLimit, "");
    run.atMost("Cycles out of the drag before that", hurried.early, 0.0, "");
    run.atMost("Wrong alarm or state after that", hurried.wrong, 0.0, "");
    run.atMost("Way of the flange after that", hurried.stopWay, kStopLimit, "mm");
    run.atMost("Cycles in a wrong state", plain.otherStates + eased.otherStates + hindered.otherStates, 0.0,
               "");
}

}  // namespace

const Scenario kTorqueDrag = {
    "torque-drag",
    "A hand guides the tool while the sensed force reaches the joints as torque; too fast a hand ends it.",
    3.0 * kGuidedPassSeconds + kFastEnd + kAgain,
    play,
    FullDynamics,
};

}  // namespace tarn::sim
