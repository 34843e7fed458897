// A hand pushes the tool of an arm on its drives, and the alarm lines of the force sensor rise one after the
// other, and together. An operator who asks for both drags again and again gets none under an alarm: the arm
// follows the hand without one and stands with one, while the compensated force goes on being told. Then the
// sensor is switched off in full push, and on again: its filters start from the first word and not from where
// they were.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "sim/hand.h"
#include "sim/scenarios/scenarios.h"
#include "sim/scenarios/sensing_arm.h"
#include "sim/vectors.h"
#include "tarnhost/devices.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kLoop = 15.0;               // Hz
constexpr Vec3 kPush = {30.0, -20.0, 15.0};  // N, peak, base frame
constexpr Vec3 kGrip = {0.0, 0.0, 120.0};    // mm, flange frame
constexpr double kPeriod = 1.3;              // s, of the push
constexpr double kDamping = 15000.0;         // N s/m: slow, so that a stop does not jerk at the tool
constexpr double kTurnDamping = 1500.0;      // N m s/rad
constexpr double kForceMost = 50.0;          // N, and N m
constexpr double kVmax = 100.0;              // deg/s
constexpr int kAskAgain = 7;                 // cycles, from one request of the drags to the next

struct Stretch {
    const char* event;
    double seconds;
    bool announced;
    unsigned lines;  // bit 0 the first alarm line, bit 1 the second
};
// clang-format off
constexpr Stretch kStretches[] = {
    // event,                 s, announced, lines
    { "sensor on",         0.5, true,      0 },
    { "line 1",            0.5, true,      1 },
    { "no line",           0.2, true,      0 },
    { "line 2",            0.5, true,      2 },
    { "both lines",        0.5, true,      3 },
    { "no line",           0.3, true,      0 },
    { "sensor off",        0.3, false,     0 },
    { "line 1, off",       0.2, false,     1 },
    { "sensor on, line 2", 0.4, true,      2 },
    { "no line",           0.3, true,      0 },
};
// clang-format on

// The filters pass two thirds of the noise, and of thousands of samples one is four deviations off. A count
// is 0.1 N and 0.01 N m; the arm sways a little under the push, and the end of a drag jerks at the tool: half
// a newton with 2 kg.
constexpr double kWay = 0.02;          // deg, the least
constexpr double kForceLimit = 1.6;    // N
constexpr double kMomentLimit = 0.12;  // N m

Joints alarm(const Simulation&) {
    return {static_cast<double>(mcb.forceControl.forceSensorState),
            static_cast<double>(mcb.forceControl.endforcedrag.flag)};
}

const Group kAlarm = {"alarm", "Alarm state of the sensor, and drag", "-", alarm, {"state", "drag"}};

struct Findings {
    bool inUse;          // the sensor, in the last cycle
    double force;        // N, largest error
    double moment;       // N m, largest error
    double restart;      // N, error of the first reading after the sensor came back
    double pushed;       // N, largest force told
    double whileOff;     // N, N m, largest reading with the sensor off
    double wrongState;   // cycles
    double openDrags;    // cycles with a drag under an alarm
    double closedDrags;  // requests that were dropped without one
    double way;          // deg, of the first joints without an alarm
    double strayed;      // deg, with one, and with the sensor off
};

// What is no number stays, for the verdict to fail.
double larger(double a, double b) { return std::isnan(a) || std::fabs(b) <= a ? a : std::fabs(b); }

Eigen::Vector3d forceError(const Eigen::Matrix3d& turn, const Wrench& hand) {
    const FORCESENSOR_DATA& f = mpb.forceRCS;
    return Eigen::Vector3d(f.fx, f.fy, f.fz) - turn.transpose() * vector(hand.force);
}

Eigen::Vector3d momentError(const Eigen::Matrix3d& turn, const Wrench& hand) {
    const FORCESENSOR_DATA& f = mpb.forceRCS;
    return Eigen::Vector3d(f.mx, f.my, f.mz) - turn.transpose() * vector(hand.moment);
}

void cycle(Run& run, const Stretch& stretch, int n, Findings& found) {
    FORCE_CONTROL& control = mcb.forceControl;
    if (n % kAskAgain == 0 && stretch.announced) {
        zvmcEndForceDragStartStopControl(1);
        control.forceandtorquedrag.status = 1;
    }
    const bool wanted = control.endforcedrag.flag == 1 && control.forceandtorquedrag.status == 1;

    // the intake sees what the last cycle left behind
    const Wrench hand = run.simulation->plant().toolWrench();
    const Eigen::Matrix3d turn = rotation(run.simulation->plant().tool().flange);
    const Joints before = run.simulation->commanded();
    run.advance(0.001);

    const Joints& joints = run.simulation->commanded();
    const double step = std::fabs(joints[0] - before[0]) + std::fabs(joints[1] - before[1]);
    (stretch.announced && stretch.lines == 0 ? found.way : found.strayed) += step;

    const bool returning = n == 0 && !found.inUse && stretch.announced;
    found.inUse = stretch.announced;
    const unsigned state = stretch.announced ? stretch.lines : 0;
    if (control.forceSensorState != state) found.wrongState++;
    if (state != 0 && (control.endforcedrag.flag != 0 || control.forceandtorquedrag.status != 0))
        found.openDrags++;
    if (state == 0 && wanted && (control.endforcedrag.flag == 0 || control.forceandtorquedrag.status == 0))
        found.closedDrags++;
    if (!stretch.announced) {
        const FORCESENSOR_DATA& f = mpb.forceRCS;
        for (const double value : {f.fx, f.fy, f.fz, f.mx, f.my, f.mz})
            found.whileOff = larger(found.whileOff, value);
        return;
    }
    found.force = larger(found.force, forceError(turn, hand).lpNorm<Eigen::Infinity>());
    found.moment = larger(found.moment, momentError(turn, hand).lpNorm<Eigen::Infinity>());
    found.pushed =
        std::max(found.pushed, Eigen::Vector3d(mpb.forceRCS.fx, mpb.forceRCS.fy, mpb.forceRCS.fz).norm());
    if (returning) found.restart = larger(found.restart, forceError(turn, hand).lpNorm<Eigen::Infinity>());
}

// The lines take their time, whatever is asked.
void play(Run& run, double) {
    run.recording.more = {kCompensatedForce, kAlarm};
    SimulationOptions setup = sensingArm(run.options);
    setup.positionLoop = kLoop;
    Simulation& simulation = run.start(setup);
    putSensorToUse(simulation);

    mcb.mode = 1;   // manual
    run.skip(0.1);  // without a drag: the next one starts from here
    double M[6] = {30, 30, 30, 10, 10, 10}, K[6] = {}, F[6] = {3, 0, 0, 0.3, 0, 0}, B[6];
    std::fill_n(B, 3, kDamping);
    std::fill_n(B + 3, 3, kTurnDamping);
    zvmcEndForceDragstartstop(0, 0, 0, 0, M, B, K, F, kForceMost, kVmax);

    Hand hand(HandWrench{[](double time) {
                  const double share = 0.5 * (1.0 - std::cos(2.0 * std::numbers::pi * time / kPeriod));
                  return Wrench{array(share * vector(kPush)), {}};
              }},
              kGrip);
    simulation.plant().setToolForces({hand.force()});

    Findings found{};
    for (const Stretch& stretch : kStretches) {
        run.mark(stretch.event);
        zvmcSetAxleDeviceType(stretch.announced ? 1 : 0);
        host::axleBus.din = static_cast<std::uint16_t>(stretch.lines << 6);
        for (int n = 0; n < std::lround(stretch.seconds * 1000.0); n++) cycle(run, stretch, n, found);
    }
    takeSensorOut();
    simulation.plant().setToolForces({});  // the hand ends here, the arm is still to be drawn

    run.tell("Largest force told", found.pushed, "N");
    run.atMost("Cycles with another alarm state than the lines'", found.wrongState, 0.0, "");
    run.atMost("Cycles with a drag under an alarm", found.openDrags, 0.0, "");
    run.atMost("Drags dropped without an alarm", found.closedDrags, 0.0, "");
    run.atMost("Way of joints 1 and 2 without a drag", found.strayed, 0.0, "deg");
    run.atMost("Drags that do not move the arm", found.way > kWay ? 0.0 : 1.0, 0.0, "");
    run.tell("Way of joints 1 and 2 with a drag", found.way, "deg");
    run.atMost("Compensated force off the hand's", found.force, kForceLimit, "N");
    run.atMost("First force of a restart off the hand's", found.restart, kForceLimit, "N");
    // the compensation takes the load's moment as that of an upright arm
    if (run.options.mount.code == 0)
        run.atMost("Compensated moment off the hand's", found.moment, kMomentLimit, "N m");
    else
        run.tell("Compensated moment off the hand's", found.moment, "N m");
    run.atMost("Reading while the sensor is off", found.whileOff, 0.0, "N, N m");
}

constexpr double duration() {
    double sum = 0.0;
    for (const Stretch& stretch : kStretches) sum += stretch.seconds;
    return sum;
}

}  // namespace

const Scenario kSensorAlarm = {
    "sensor-alarm",
    "Alarm lines of the force sensor close both drags while a hand pushes; the sensor goes off and comes "
    "back.",
    duration(),
    play,
};

}  // namespace tarn::sim
