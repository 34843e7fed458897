// A hand pulls the arm at its singularities: wrist, elbow and shoulder. In the soft form a force pushes back,
// and the arm glides off. In the other form it is braked and handed to the joint drag, in which the hand
// takes it on and out again, at speed, and there the drag by the sensor takes over once more.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "sim/scenarios/dragged_arm.h"
#include "sim/scenarios/scenarios.h"
#include "sim/vectors.h"
#include "tarnhost/kinematics.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn::sim {
namespace {

constexpr Operator kHand = {1000.0, 50.0, 60.0, 2.0};
constexpr double kSpeed = 0.08;  // m/s
constexpr double kReach = 0.82;  // m, of the arm for which the speeds and ways are
constexpr double kSpin = 0.15;   // rad/s
constexpr double kVmax = 150.0;  // deg/s

// N s/m. The force that pushes off goes up to 100 N, and a strong hand to Fmax: with less damping they meet
// Vmax near a singularity.
constexpr double kSoftDamping = 600.0;
constexpr double kDamping = 400.0;

constexpr double kSlowly = 0.4;  // of the speeds above, on the way to the joint drag
constexpr double kOut = 0.15;    // m/s, in joint drag; the return asks for more than 50 mm/s

// s
constexpr double kStand = 0.2;
constexpr double kPress = 2.0;
constexpr double kGlide = 2.0;
constexpr double kLongGlide = 15.0;  // more of it that is not recorded; the largest arms take it
constexpr double kBackOff = 2.0;
constexpr double kApproach = 9.0;
constexpr double kPatience = 6.0;
constexpr double kStep = 0.02;
constexpr double kOn = 0.8;

constexpr const char* kOver = "collisionPauseFlag = : 9";
constexpr const char* kBack = "collisionPauseFlag = : 7";

constexpr double kWayLimit = 60.0;     // %
constexpr double kEdge = 1.0;          // deg, mm
constexpr double kMoved = 20.0;        // mm
constexpr double kDriftLimit = 0.01;   // mm/s
constexpr double kSpeedLimit = 100.0;  // %, of Vmax

struct Place {
    const char* name;
    Joints pose;                                             // deg
    double (*distance)(const ParameterSet&, const Joints&);  // 0 at the singularity: deg, mm
    double (*begins)(const ParameterSet&);                   // where the soft form takes the arm for near
    double (*refused)(const ParameterSet&);                  // and where a step ends the drag
    const char* unit;
    bool turned;     // comes near by a turn of the tool
    double seconds;  // of the way there
};

double wrist(const ParameterSet&, const Joints& q) { return std::fabs(q[4]); }
double elbow(const ParameterSet&, const Joints& q) { return std::fabs(q[2]); }
// Of the wrist's center from the cylinder about the first axis that it cannot enter.
double shoulder(const ParameterSet& set, const Joints& q) {
    TRSF flange;
    host::flangePose(mcb.robotType, q.data(), &flange);
    const double x = flange.p.x - flange.a.x * set.paramSDH[5], y = flange.p.y - flange.a.y * set.paramSDH[5];
    return std::sqrt(x * x + y * y) - std::fabs(set.paramSDH[3]);
}

// The measure of the shoulder is the square of the center's distance from the axis less that of the cylinder.
double byMeasure(const ParameterSet& set, double measure) {
    const double radius = std::fabs(set.paramSDH[3]);
    return std::sqrt(measure * 1e6 + radius * radius) - radius;
}
double shoulderBegins(const ParameterSet& set) { return byMeasure(set, 0.01); }
double shoulderRefused(const ParameterSet& set) { return byMeasure(set, 0.001); }
template <int angle>
double degrees(const ParameterSet&) {
    return angle;
}

constexpr Place kPlaces[] = {
    {"wrist", {30.0, -60.0, 80.0, -110.0, -35.0, 30.0}, wrist, degrees<20>, degrees<5>, "deg", true, 3.0},
    {"elbow", {30.0, -70.0, 42.0, -60.0, -90.0, 30.0}, elbow, degrees<30>, degrees<5>, "deg", false, 1.5},
    {"shoulder",
     {30.0, -115.0, 110.0, -85.0, -90.0, 30.0},
     shoulder,
     shoulderBegins,
     shoulderRefused,
     "mm",
     false,
     2.5},
};

// The way along which the flange, or about which it, comes nearest to the singularity.
Eigen::Vector3d steepest(const Simulation& simulation, const Place& place) {
    constexpr double kProbe = 2.0, kTurn = 0.005;  // mm, rad
    const ParameterSet& set = simulation.plant().options().set;
    TRSF flange;
    host::flangePose(mcb.robotType, place.pose.data(), &flange);
    Eigen::Vector3d slope = Eigen::Vector3d::Zero();
    for (int axis = 0; axis < 3; axis++) {
        for (const double sign : {1.0, -1.0}) {
            TRSF moved = flange;
            const Eigen::Vector3d along = sign * Eigen::Vector3d::Unit(axis);
            if (place.turned) {
                const Eigen::Matrix3d turn = turnedBy(kTurn * along);
                for (VECT* v : {&moved.n, &moved.o, &moved.a}) {
                    const Eigen::Vector3d now = turn * Eigen::Vector3d(v->x, v->y, v->z);
                    *v = {now.x(), now.y(), now.z()};
                }
            } else {
                const Eigen::Vector3d step = kProbe * along;
                moved.p = {moved.p.x + step.x(), moved.p.y + step.y(), moved.p.z + step.z()};
            }
            Joints q = place.pose;
            host::inverseFlangePose(mcb.robotType, moved, place.pose.data(), q.data());
            slope[axis] += sign * place.distance(set, q);
        }
    }
    return -slope.normalized();
}

// Reach of the arm over that of the one the speeds are made for.
double size(const Simulation& simulation) {
    const double* lengths = simulation.plant().options().set.paramSDH;
    return 1e-3 * (std::fabs(lengths[1]) + std::fabs(lengths[2])) / kReach;
}

Twist toward(const Simulation& simulation, const Place& place, const Eigen::Vector3d& way, double share) {
    Twist twist;
    (place.turned ? twist.spin : twist.velocity) =
        share * (place.turned ? kSpin : kSpeed * size(simulation)) * way;
    return twist;
}

struct Findings {
    double fastest = 0.0;    // %, measured joint speed of Vmax
    double commanded = 0.0;  // %
    double alarms = 0.0;     // also drags that ended by themselves
    double drift = 0.0;      // mm/s
    double stayed = 0.0;     // places that the arm had not left in the end
    double notHanded = 0.0;  // hand-overs that did not happen, or more than once
    double notBack = 0.0;    // likewise for the returns
    double deaf = 0.0;       // returns behind which the hand did not move the arm
};

void keep(const DragRun& drag, Findings& found) {
    found.fastest = std::max(found.fastest, drag.fastest);
    found.commanded = std::max(found.commanded, drag.commanded);
    found.alarms += drag.alarms + drag.stops;
    found.drift = std::max(found.drift, drag.drift);
}

void glide(Run& run, const Place& place, Findings& found) {
    Simulation& simulation = run.start(sensorArm(run.options, place.pose));
    startDrag(run, {.damping = kSoftDamping, .speedLimit = kVmax});
    run.mark(fmt::format("{}, soft", place.name));
    const ParameterSet& set = simulation.plant().options().set;
    const auto distance = [&] { return place.distance(set, simulation.measured()); };
    const Eigen::Vector3d way = steepest(simulation, place);
    DragRun drag(run, {}, kHand);
    drag.wait(kStand);
    drag.grip();
    double nearest = distance(), peak = 0.0;
    const auto look = [&] {
        nearest = std::min(nearest, distance());
        peak = std::max(peak, drag.force().norm());
    };
    drag.lead(toward(simulation, place, way, 1.0), place.seconds, look);
    drag.wait(kPress, look);
    drag.letGo();
    run.mark("lets go");
    drag.wait(kGlide, look);  // the force goes on pushing until the arm has left the place
    drag.recorded = false;
    drag.wait(kLongGlide);
    drag.recorded = true;
    drag.rest();
    keep(drag, found);

    const double begins = place.begins(set), refused = place.refused(set);
    run.atMost(fmt::format("Way into the {}, of that to the refusal", place.name),
               100.0 * (begins - nearest) / (begins - refused), kWayLimit, "%");
    run.tell(fmt::format("Nearest to the {}", place.name), nearest, place.unit);
    run.tell(fmt::format("Left at the {} after the release", place.name), distance(), place.unit);
    run.tell(fmt::format("Largest force of the hand at the {}", place.name), peak, "N");
    if (!(nearest < begins && distance() > begins - kEdge)) found.stayed++;
}

void handOver(Run& run, const Place& place, Findings& found) {
    Simulation& simulation = run.start(sensorArm(run.options, place.pose));
    startDrag(run, {.damping = kDamping, .speedLimit = kVmax, .leaveSingular = true});
    run.mark(fmt::format("{}, joint drag", place.name));
    const ParameterSet& set = simulation.plant().options().set;
    const Eigen::Vector3d way = steepest(simulation, place);
    DragRun drag(run, {}, kHand);
    const double overs = logged(run, kOver), backs = logged(run, kBack);
    drag.wait(kStand);
    drag.grip();
    double handed = std::numeric_limits<double>::quiet_NaN(), peak = 0.0;
    const auto inJointDrag = [&] { return mpb.state == TGEN_DRAG; };
    const auto look = [&] {
        peak = std::max(peak, drag.force().norm());
        if (inJointDrag() && std::isnan(handed)) {
            handed = place.distance(set, simulation.measured());
            run.mark("joint drag");
        }
    };
    for (double waited = 0.0; !inJointDrag() && waited < kApproach; waited += kStep)
        drag.lead(toward(simulation, place, way, kSlowly), kStep, look);
    drag.wait(kStand, look);
    // out again as it came, and where that is a turn on the spot, off at speed
    if (place.turned) drag.lead(toward(simulation, place, way, -1.0), kBackOff, look);
    const Twist out = place.turned ? Twist{kOut * Eigen::Vector3d::UnitZ()}
                                   : toward(simulation, place, way, -kOut / kSpeed);
    for (double waited = 0.0; inJointDrag() && waited < kPatience; waited += kStep)
        drag.lead(out, kStep, look);
    run.mark("back");
    const Eigen::Vector3d from = flangeOf(simulation);
    drag.lead(out, kOn, look);
    if (!(1e3 * (flangeOf(simulation) - from).norm() > kMoved && !inJointDrag())) found.deaf++;
    drag.letGo();
    drag.rest();
    keep(drag, found);

    if (!(logged(run, kOver) > overs)) found.notHanded++;
    if (!(logged(run, kBack) - backs == logged(run, kOver) - overs)) found.notBack++;
    run.tell(fmt::format("Handed over at the {}", place.name), handed, place.unit);
    run.tell(fmt::format("Largest force of the hand, {} in joint drag", place.name), peak, "N");
}

// The pulls take their time, whatever is asked.
void play(Run& run, double) {
    run.recording.more.assign(dragGroups().begin(), dragGroups().end());
    Findings found;
    for (const Place& place : kPlaces) glide(run, place, found);
    for (const Place& place : kPlaces) handOver(run, place, found);

    run.atMost("Places not reached, or not left after the release", found.stayed, 0.0, "");
    run.atMost("Places not handed over once", found.notHanded, 0.0, "");
    run.atMost("Places not come back from once", found.notBack, 0.0, "");
    run.atMost("Drags that do not follow after the return", found.deaf, 0.0, "");
    run.atMost("Alarms, and drags that ended", found.alarms, 0.0, "");
    run.atMost("Joint speed, of Vmax", found.fastest, kSpeedLimit, "%");
    run.atMost("Commanded joint speed, of Vmax", found.commanded, kSpeedLimit, "%");
    run.atMost("Drift after the release", found.drift, kDriftLimit, "mm/s");
}

}  // namespace

const Scenario kSingular = {
    "singular",
    "A hand pulls the arm at its singularities: it glides off, or goes over to the joint drag and back.",
    60.0,
    play,
};

}  // namespace tarn::sim
