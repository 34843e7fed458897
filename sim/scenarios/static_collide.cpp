// The arm stands with the check at standstill on. A hand pushes, too little at first, then until the arm
// gives way; it lets go, the damping takes the swing out, and after the time of the reaction the arm stands
// by itself again.
//
// On types above 200 the check takes any arm that stands for pushed. Those come under the hand at once and
// stay there until the check is switched off.
#include <algorithm>
#include <cmath>

#include "sim/hand.h"
#include "sim/scenarios/scenarios.h"
#include "sim/scenarios/supervised_arm.h"
#include "sim/vectors.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr int kLastTold = 200;  // the last type on which the check looks at the torque

constexpr Joints kWay = {10.0, 10.0, -10.0, 10.0, 10.0, -10.0};  // deg
constexpr double kSpeed = 0.2, kMoveTime = 1.5;                  // s
constexpr double kStandTime = 0.5;                               // s
constexpr double kJointShare = 0.3;    // of the rated torque of joint 1, that the check finds there
constexpr double kLightShare = 0.5;    // of that, in the push that is too light
constexpr double kLightTime = 0.5;     // s
constexpr double kFoundLimit = 1.2;    // of the push whose torque on joint 1 is at the limit
constexpr double kRampTime = 1.0;      // s to what joint 1 has at the limit
constexpr double kLongestPush = 4.0;   // s
constexpr double kHeldOn = 0.1;        // s that the hand goes on pushing
constexpr double kSwingTime = 0.8;     // s after the hand has let go
constexpr int kReactionTime = 1000;    // cycles
constexpr double kLongestDrag = 10.0;  // s

constexpr double kStillSpeed = 0.5;   // deg/s
constexpr double kSwingLimit = 50.0;  // % of the speed at the hand's letting go
constexpr double kShiftLimit = 0.2;   // deg, of the arm by its taking over

Joints toolForce(const Simulation& s) {
    const Vec3& force = s.plant().toolWrench().force;
    return {force[0], force[1], force[2], vector(force).norm()};
}
const Group kToolForce = {
    "tool_N", "Force on the tool, base frame", "N", toolForce, {"x", "y", "z", "magnitude"}};

// A hand across the arm, where joint 1 alone has to hold it: the force of a torque on joint 1.
struct Across {
    Eigen::Vector3d way;
    double lever;  // m
};
Across across(const Simulation& simulation) {
    const Eigen::Vector3d flange = vector(simulation.plant().tool().flange.origin);
    const double lever = std::hypot(flange.x(), flange.y());
    return {Eigen::Vector3d(-flange.y(), flange.x(), 0.0) / lever, lever};
}

void handOver(Run& run) {
    run.atMost("Arms not under the hand as soon as they stand", mpb.state == TGEN_DRAG ? 0.0 : 1.0, 0.0, "");
    run.advance(2.0 * kStandTime);
    run.atMost("Arms not under the hand while they stand", mpb.state == TGEN_DRAG ? 0.0 : 1.0, 0.0, "");
    tmcSetStaticCollisionOnOff(0);
    tmcDragSwitch(0);
    run.advance(kStandTime);
    run.atMost("Speed in the end", mpb.state == TGEN_IDLE ? jointSpeed(*run.simulation) : HUGE_VAL,
               kStillSpeed, "deg/s");
}

void push(Run& run) {
    Simulation& simulation = *run.simulation;
    const Across hold = across(simulation);
    const double limit =
        kJointShare * simulation.plant().jointTorque({1000, 0, 0, 0, 0, 0})[0] / hold.lever;  // N

    double drags = 0.0;
    Hand light(HandWrench{[&](double) { return Wrench{array(kLightShare * limit * hold.way), {}}; }});
    simulation.plant().setToolForces({light.force()});
    run.mark("light push");
    for (long n = std::lround(kLightTime * 1000.0); n > 0; n--) {
        run.advance(0.001);
        if (mpb.state != TGEN_IDLE) drags++;
    }
    simulation.plant().setToolForces({});
    run.advance(kStandTime);

    const double from = simulation.plant().tool().time;
    Hand hand(HandWrench{[&](double time) {
        return Wrench{array(limit * (time - from) / kRampTime * hold.way), {}};
    }});
    simulation.plant().setToolForces({hand.force()});
    run.mark("push");
    for (long n = std::lround(kLongestPush * 1000.0); n > 0 && mpb.state != TGEN_DRAG; n--)
        run.advance(0.001);
    const double found = mpb.state == TGEN_DRAG ? toolForce(simulation)[3] : HUGE_VAL;
    run.advance(kHeldOn);
    simulation.plant().setToolForces({});
    run.mark("lets go");

    const double speed = jointSpeed(simulation);
    run.advance(kSwingTime);
    const double swing = jointSpeed(simulation);
    long dragged = std::lround((kHeldOn + kSwingTime) * 1000.0);
    for (; mpb.state == TGEN_DRAG && dragged < std::lround(kLongestDrag * 1000.0); dragged++)
        run.advance(0.001);
    run.mark("stands again");
    const Joints end = simulation.measured();
    run.advance(kStandTime);
    double shift = 0.0;
    for (std::size_t i = 0; i < 6; i++) shift = std::max(shift, std::fabs(simulation.measured()[i] - end[i]));

    run.tell("Push that is found", found, "N");
    run.tell("Torque of it on joint 1, of what the check tells", 100.0 * found / limit, "%");
    run.tell("Time under the hand", static_cast<double>(dragged) * 0.001, "s");
    run.tell("Speed when the hand lets go", speed, "deg/s");
    run.atMost("Cycles under the hand at the light push", drags, 0.0, "");
    run.atMost("Push that is found, over that of the limit", found / limit, kFoundLimit, "");
    run.atMost("Swing after the hand has let go", 100.0 * swing / speed, kSwingLimit, "%");
    run.atMost("Cycles under the hand less than told", static_cast<double>(kReactionTime - dragged), 0.0, "");
    run.atMost("Arms not standing by themselves in the end", mpb.state == TGEN_IDLE ? 0.0 : 1.0, 0.0, "");
    run.atMost("Speed in the end", jointSpeed(simulation), kStillSpeed, "deg/s");
    run.atMost("Shift of the arm by its taking over", shift, kShiftLimit, "deg");
    run.atMost("Friction compensation still on", mcb.fricCompensationFlag, 0.0, "");
    run.atMost("Faults", mcb.collisionError == zvCtlCollisionOK ? 0.0 : 1.0, 0.0, "");
}

// The motion takes its time, whatever is asked.
void play(Run& run, double) {
    run.recording.more = {kDeviation, kToolForce};
    Simulation& simulation = run.start(supervisedArm(run.options));

    // a move first: without one the kind of motion is none, and joint 2 is expected to take no current
    run.advance(kStandTime);
    Joints goal = simulation.commanded();
    for (std::size_t i = 0; i < 6; i++) goal[i] += kWay[i];
    setSpeed(kSpeed);
    const bool planned = host::startJointMove(goal.data(), 1.0, 1);
    run.advance(kMoveTime);
    run.atMost("Moves not planned or not over", planned && mpb.state == TGEN_IDLE ? 0.0 : 1.0, 0.0, "");

    tmcSetStaticCollisionOnOff(1);
    run.mark("check on");
    run.advance(0.01);
    if (run.options.robotType > kLastTold)
        handOver(run);
    else
        push(run);
}

}  // namespace

const Scenario kStaticCollide = {
    "static-collide",
    "A hand pushes an arm that stands, until it gives way, swings out and stands again.",
    8.0,
    play,
    FullDynamics,
};

}  // namespace tarn::sim
