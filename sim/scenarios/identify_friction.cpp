// Joint 1 sweeps through constant speeds, up and down, and its friction comes out of what the drive needs
// beyond the model. Three arms: friction as built, much more, much less. A last move at other speeds shows
// the fitted curve over the true one.
//
// The judgement compares what it has found on the motor's side with a curve that holds at the joint, a
// hundred times as large. So it speaks of a loss for each of these arms, as the rule has it.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "sim/scenarios/scenarios.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr double kLoop = 30.0;           // Hz
constexpr double kAcceleration = 500.0;  // deg/s^2; a bin takes the first cycles after it
constexpr std::size_t kJoint = 0;

// The sweep, deg/s: the middles of the bins.
constexpr int kSlowSteps = 20, kFastSteps = 30;
constexpr double kSlowStep = 0.9, kFastStep = 3.6, kFast = 18.0;
constexpr double kSlowCruise = 0.06, kFastCruise = 0.03;  // s, at constant speed
constexpr double kLongestMove = 3.0;                      // s
constexpr double kStandTime = 0.2;                        // s
constexpr double kCheckWay = 100.0;                       // deg

// Of the range's friction, %. The fit starts from parameters far beyond a small motor's torque and may end at
// a smoother step than there is: 10 % off in the slow range, also on samples without any error.
constexpr double kSlowLimit = 12.0;
constexpr double kFastLimit = 5.0;

struct Arm {
    const char* word;
    double friction;  // of the built one
};
constexpr Arm kArms[] = {{"as built", 1.0}, {"2.5 times the friction", 2.5}, {"0.4 of the friction", 0.4}};

using Parameters = std::array<float, 10>;
Parameters fitted;  // of the arm that is being checked

double radians(double deg) { return deg * std::numbers::pi / 180.0; }

// Torque at a speed in deg/s, in the unit of the parameters; slow and fast sets meet where the sweep's do.
double curve(const Parameters& parameters, double speed) {
    const float* p = parameters.data() + (std::fabs(speed) < kFast ? 0 : 5);
    const auto at = [p](int i) { return static_cast<double>(p[i]); };
    const double fc = at(0), fs = at(1), qs = at(2), yita = at(3), sita = at(4), v = radians(speed);
    return (fc + (fs - fc) * std::exp(-(v / qs) * (v / qs))) * std::tanh(yita * v / 2.0) + sita * v;
}

// N m, motor side.
double plantFriction(const Plant& plant, double speed) {
    const PlantOptions& options = plant.options();
    return options.friction[kJoint](speed / 1000.0) * options.frictionScale / options.gearRatio[kJoint];
}

Joints frictionLines(const Simulation& s) {
    Joints speed, acceleration;
    for (std::size_t i = 0; i < 6; i++) {
        speed[i] = s.commandedVelocity()[i] * 1000.0;
        acceleration[i] = mpb.jCaccRaw.v[i] * 1e6;
    }
    const Plant& plant = s.plant();
    const double excess = plant.jointTorque(s.current())[kJoint] -
                          plant.motionTorque(s.measured(), speed, acceleration)[kJoint];
    return {excess / plant.options().gearRatio[kJoint], plantFriction(plant, speed[kJoint]),
            speed[kJoint] == 0.0 ? 0.0 : curve(fitted, speed[kJoint])};
}

const Group kFriction = {"friction_Nm",
                         "Friction of joint 1 on the motor's side",
                         "N m",
                         frictionLines,
                         {"drive beyond the model", "curve of the plant", "curve as fitted"}};

// Joint 1 to an angle at up to a speed, deg and deg/s; tells whether it went.
bool move(Run& run, double angle, double speed, bool recorded) {
    Joints goal = run.simulation->commanded();
    goal[kJoint] = angle;
    if (!host::startJointMove(goal.data(), speed / mpb.limitsJnt.maxVel.v[kJoint])) return false;
    for (long n = std::lround(kLongestMove * 1000.0); n > 0; n--) {
        recorded ? run.advance(0.001) : run.skip(0.001);
        if (mpb.state == TGEN_IDLE) return true;
    }
    return false;
}

// There and back at a speed. Returns the moves that did not go.
int stroke(Run& run, double speed, double cruise) {
    const double home = run.simulation->commanded()[kJoint];
    // enough for the ramps, whose jerk is bounded
    const double ramps = 2.0 * speed / mpb.defaultJointAccel.v[kJoint] + 0.1;
    const double way = speed * (ramps + cruise);
    return !move(run, home + way, speed, false) + !move(run, home, speed, false);
}

int sweep(Run& run) {
    int missed = 0;
    for (int k = 0; k < kSlowSteps; k++) missed += stroke(run, (k + 0.5) * kSlowStep, kSlowCruise);
    for (int k = 0; k < kFastSteps; k++) {
        const double speed = kFast + (k + 0.5) * kFastStep;
        if (speed <= mpb.limitsJnt.maxVel.v[kJoint]) missed += stroke(run, speed, kFastCruise);
    }
    return missed;
}

struct Found {
    Parameters real, meo;
    std::uint16_t status;
    int missed;  // moves
};

Found identify(Run& run, const Arm& arm) {
    SimulationOptions setup = simulationOptions(run.options);
    setup.startPose = movingPose(run.options);
    setup.positionLoop = kLoop;
    setup.frictionScale *= arm.friction;
    fitted = {};
    run.start(setup);
    run.mark(arm.word);
    mpb.defaultJointAccel.v[kJoint] = kAcceleration;
    run.skip(kStandTime);

    Found found{};
    Parameters error;
    zvmcSingleJointFrictionOnlineOnOff(kJoint + 1, 1);
    zvmcGetJointFrictionStatus(&found.status, found.real.data(), found.meo.data(), error.data());
    found.missed = sweep(run);
    zvmcSingleJointFrictionOnlineOnOff(kJoint + 1, 0);
    zvmcGetJointFrictionStatus(&found.status, found.real.data(), found.meo.data(), error.data());

    fitted = found.real;
    const double home = run.simulation->commanded()[kJoint], most = mpb.limitsJnt.maxVel.v[kJoint];
    for (const double goal : {home + kCheckWay, home}) found.missed += !move(run, goal, most, true);
    return found;
}

// Fitted less true curve over the root of the mean square of the true one, in a range of speeds, %.
double curveOff(const Plant& plant, const Parameters& found, double low, double high) {
    constexpr int kPoints = 200;
    double off = 0.0, all = 0.0;
    for (int n = 0; n <= kPoints; n++) {
        for (const double sign : {1.0, -1.0}) {
            const double speed = sign * (low + (high - low) * n / kPoints),
                         truth = plantFriction(plant, speed);
            off += std::pow(curve(found, speed) - truth, 2);
            all += truth * truth;
        }
    }
    return 100.0 * std::sqrt(off / all);
}

// What the rule asks, of the true friction instead of the fits: whether anywhere in the sweep the factory's
// torque is over twice the plant's, whole numbers compared.
bool lostByTheRule(const Plant& plant, const Parameters& factory, double fastest) {
    for (double speed = kSlowStep / 2.0; speed < fastest; speed += kSlowStep)
        if (std::trunc(std::fabs(curve(factory, speed))) >
            2.0 * std::trunc(std::fabs(plantFriction(plant, speed))))
            return true;
    return false;
}

void play(Run& run, double) {
    run.recording.more.push_back(kFriction);
    double missed = 0.0, wrong = 0.0, built = 0.0;
    for (const Arm& arm : kArms) {
        const Found found = identify(run, arm);
        const Plant& plant = run.simulation->plant();
        const double fastest = std::min(mpb.limitsJnt.maxVel.v[kJoint], kFast + kFastSteps * kFastStep);
        const double slow = curveOff(plant, found.real, kSlowStep / 2.0, kFast - kSlowStep / 2.0);
        const double fast = curveOff(plant, found.real, kFast + kFastStep / 2.0, fastest - kFastStep / 2.0);
        const double middle = curve(found.real, 60.0);
        if (built == 0.0) built = middle;
        const auto name = [&](const char* what) { return fmt::format("{}, {}", what, arm.word); };
        run.atMost(name("Slow curve off"), slow, kSlowLimit, "%");
        run.atMost(name("Fast curve off"), fast, kFastLimit, "%");
        run.tell(name("Fitted friction at 60 deg/s, motor side"), middle, "N m");
        run.tell(name("The same over that of the first arm"), middle / built, "");
        run.tell(name("Factory's at 60 deg/s, at the joint"), curve(found.meo, 60.0), "N m");
        run.tell(name("Judged as a loss"), found.status, "");
        missed += found.missed;
        if ((found.status == 1) != lostByTheRule(plant, found.meo, fastest)) wrong++;
    }
    run.atMost("Arms judged otherwise than by the rule", wrong, 0.0, "");
    run.atMost("Moves missed", missed, 0.0, "");
}

}  // namespace

const Scenario kIdentifyFriction = {
    "identify-friction",
    "A sweep of constant speeds tells the friction of joint 1 of three arms, and how it is judged.",
    180.0,
    play,
    FullDynamics,
};

}  // namespace tarn::sim
