// A tool is weighed by the force sensor that it hangs on: three poses, at rest, tell its mass, its center and
// the sensor's own offset. Then the arm carries it through other orientations, and what the sensor still
// tells is noise, counts, and the tool's inertia.
//
// The sensor is read as its own frame sees it; only then is its place in the flange frame told.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "sim/scenarios/scenarios.h"
#include "sim/vectors.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kLoop = 15.0;                   // Hz
constexpr double kDefaultLoad = 2.0;             // kg
constexpr Vec3 kSensorPlace = {0.0, 0.0, 40.0};  // mm

// Sensors that report fractions of a range, 20 and 120 kgf.
constexpr int kCompany = 16;
constexpr int kLightDevice = 5;
constexpr int kHeavyDevice = 11;
constexpr double kLightLoad = 4.0;  // kg, up to which the light one serves

// Shares of the sensor's range.
constexpr Wrench kBias = {{0.05, -0.08, 0.03}, {-0.04, 0.06, 0.02}};
constexpr double kNoise = 0.001;

// The wrist's part of the way from the start pose, deg.
struct Goal {
    const char* event;
    double j4, j5, j6;
};
constexpr Goal kReadings[] = {
    {"first reading", 0.0, 0.0, 0.0},
    {"second reading", 70.0, 20.0, -40.0},
    {"third reading", -30.0, 80.0, 60.0},
};
constexpr Goal kPath[] = {
    {"carried", 60.0, -50.0, 120.0},  {"carried on", -60.0, -20.0, -60.0}, {"carried on", 20.0, 90.0, 0.0},
    {"carried on", 90.0, 30.0, 90.0}, {"carried home", 0.0, 0.0, 0.0},
};

constexpr double kAcceleration = 120.0;  // deg/s^2, gentle on the tool's inertia
constexpr double kSpeed = 0.3;           // of the joints' limits
constexpr double kStandTime = 0.3;       // s
constexpr double kMoveTime = 4.5;        // s

constexpr double kLeftLimit = 1.0;  // % of the range

Joints values(const FORCESENSOR_DATA& w) { return {w.fx, w.fy, w.fz, w.mx, w.my, w.mz}; }

Joints reading(const Simulation&) { return values(mpb.forceOrigin); }

Joints leftForce(const Simulation&) {
    const FORCESENSOR_DATA& w = mcb.forceControl.forceOriginEnd;
    return {w.fx, w.fy, w.fz};
}

Joints leftMoment(const Simulation&) {
    const FORCESENSOR_DATA& w = mcb.forceControl.forceOriginEnd;
    return {w.mx, w.my, w.mz};
}

// clang-format off
const Group kGroups[] = {
    // key,          title,                                 unit,   read
    { "reading_N",   "Force as the sensor reads it",        "N",    reading,    { "x", "y", "z" } },
    { "left_N",      "Force without offset and tool",       "N",    leftForce,  { "x", "y", "z" } },
    { "left_Nm",     "Moment without offset and tool",      "N m",  leftMoment, { "x", "y", "z" } },
};
// clang-format on

// What is no number stays, for the verdict to fail.
double larger(double a, double b) { return std::isnan(a) || std::fabs(b) <= a ? a : std::fabs(b); }

struct Findings {
    double force;      // N, largest component
    double moment;     // N m
    double readForce;  // N, largest that the sensor reads
    double unserved;   // moves that were not planned, not served or not over in their time
    double refused;    // commands of the calibration
};

void stretch(Run& run, double seconds, Findings& found) {
    for (long n = std::lround(seconds * 1000.0); n > 0; n--) {
        run.advance(0.001);
        const Joints left = values(mcb.forceControl.forceOriginEnd), read = values(mpb.forceOrigin);
        for (std::size_t i = 0; i < 3; i++) {
            found.force = larger(found.force, left[i]);
            found.moment = larger(found.moment, left[3 + i]);
            found.readForce = larger(found.readForce, read[i]);
        }
    }
}

void moveTo(Run& run, const Goal& goal, Findings& found) {
    run.mark(goal.event);
    Joints joints = run.simulation->options().startPose;
    joints[3] += goal.j4;
    joints[4] += goal.j5;
    joints[5] += goal.j6;
    if (joints != run.simulation->commanded() && !host::startJointMove(joints.data(), kSpeed, 1))
        found.unserved++;
    stretch(run, kMoveTime, found);
    const Joints& reached = run.simulation->commanded();
    for (std::size_t i = 0; i < 6; i++)
        if (!(std::fabs(reached[i] - joints[i]) < 1e-6)) {
            found.unserved++;
            break;
        }
}

SimulationOptions setUp(const RunOptions& options) {
    SimulationOptions setup = simulationOptions(options);
    setup.startPose = movingPose(options);
    setup.positionLoop = kLoop;
    if (setup.load == 0.0) setup.load = kDefaultLoad;
    setup.sensorPlace = kSensorPlace;

    ForceSensorOptions& sensor = setup.forceSensor;
    sensor.company = kCompany;
    sensor.device = setup.load + setup.loadError <= kLightLoad ? kLightDevice : kHeavyDevice;
    sensor.seed = options.seed + 1;
    const WordScale range = *nominalRange(sensor.company, sensor.device);
    for (std::size_t i = 0; i < 3; i++) {
        sensor.bias.force[i] = kBias.force[i] * range.force;
        sensor.bias.moment[i] = kBias.moment[i] * range.torque;
        sensor.noise.force[i] = kNoise * range.force;
        sensor.noise.moment[i] = kNoise * range.torque;
    }
    return setup;
}

// Weighs the tool and tells how well.
void calibrate(Run& run, Findings& found) {
    const auto serve = [&found](int result) {
        if (result != 0) found.refused++;
    };
    float own[6] = {};
    serve(tmcSetForceSensorRcs(0, own, 1));
    int number = 0;
    for (const Goal& goal : kReadings) {
        moveTo(run, goal, found);
        serve(zvmcSaveSensorDataFlag(++number));
    }
    double mass = kNoNumber;
    Vec3 center = {kNoNumber, kNoNumber, kNoNumber};
    serve(zvmcSensorComload(&mass, center.data()));
    forceSensorSaveLoadCoord();
    float place[6] = {};
    std::copy(kSensorPlace.begin(), kSensorPlace.end(), place);
    serve(tmcSetForceSensorRcs(0, place, 2));

    const SimulationOptions& setup = run.simulation->options();
    const Joints offset = values(mcb.forceControl.zeroOffset);
    double centerOff = 0.0, forceOff = 0.0, momentOff = 0.0;
    for (std::size_t i = 0; i < 3; i++) {
        centerOff = larger(centerOff, center[i] - (setup.loadCenter[i] - kSensorPlace[i]));
        forceOff = larger(forceOff, offset[i] - setup.forceSensor.bias.force[i]);
        momentOff = larger(momentOff, offset[3 + i] - setup.forceSensor.bias.moment[i]);
    }
    run.tell("Mass found", mass, "kg");
    run.tell("Mass off", 1e3 * (mass - run.simulation->plant().options().loadMass), "g");
    run.tell("Center off, largest component", centerOff, "mm");
    run.tell("Force offset off, largest component", forceOff, "N");
    run.tell("Moment offset off, largest component", momentOff, "N m");
}

// The motion takes its time, whatever is asked.
void play(Run& run, double) {
    run.recording.more.assign(std::begin(kGroups), std::end(kGroups));
    run.start(setUp(run.options));
    std::fill_n(mpb.defaultJointAccel.v, 6, kAcceleration);
    zvmcSetAxleDeviceType(1);

    Findings weighing{};
    calibrate(run, weighing);
    // the cycle after the last command is the first that knows
    run.advance(0.001);
    Findings carrying{};
    for (const Goal& goal : kPath) moveTo(run, goal, carrying);
    stretch(run, kStandTime, carrying);
    zvmcSetAxleDeviceType(0);

    const ForceSensorOptions& sensor = run.simulation->options().forceSensor;
    const WordScale range = *nominalRange(sensor.company, sensor.device);
    run.tell("Range of the sensor, force", range.force, "N");
    run.tell("Range of the sensor, moment", range.torque, "N m");
    run.tell("Largest force read on the way", carrying.readForce, "N");
    run.tell("Largest force left on the way", carrying.force, "N");
    run.tell("Largest moment left on the way", carrying.moment, "N m");
    run.atMost("Commands refused", weighing.refused, 0.0, "");
    run.atMost("Moves not planned, served and over", weighing.unserved + carrying.unserved, 0.0, "");
    run.atMost("Force left on the way", 100.0 * carrying.force / range.force, kLeftLimit, "% of the range");
    // The compensation takes the moment as that of an upright arm: on any other it cannot leave nothing.
    if (run.options.mount.code == 0)
        run.atMost("Moment left on the way", 100.0 * carrying.moment / range.torque, kLeftLimit,
                   "% of the range");
}

}  // namespace

const Scenario kWeigh = {
    "weigh",
    "A force sensor weighs the tool in three poses, and then tells next to nothing while the arm carries it.",
    static_cast<double>(std::size(kReadings) + std::size(kPath)) * kMoveTime + kStandTime,
    play,
};

}  // namespace tarn::sim
