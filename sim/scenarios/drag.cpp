// A hand pulls the arm by its force sensor. In steady motion its force over the speed of the tool is the
// damping that is set, along each axis and about it, in each frame that a drag can have. Then it pulls at the
// tip of the tool in directions of its own, lets go in full swing, and the arm stays where it comes to rest.
// Last come three things that end a drag: a hand that is too fast, a force and a tool that are no numbers.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <string>

#include "sim/scenarios/dragged_arm.h"
#include "sim/scenarios/scenarios.h"
#include "sim/vectors.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kSpeeds[] = {0.03, 0.06, 0.1};  // m/s
constexpr double kMoments[] = {1.0, 2.0, 3.0};   // N m, about x, y, z
constexpr Vec3 kTip = {30.0, 0.0, 120.0};        // mm, flange frame

// s; the hand on its spring is the slowest: B over its stiffness is 0.2
constexpr double kPull = 1.4;
constexpr double kTurn = 0.9;
constexpr double kSteady = 0.3;  // of them, at the end, where force and speed are compared
constexpr double kSwing = 1.2;
constexpr int kSwings = 4;
constexpr double kSwingSpeed = 0.1;  // m/s

// What differs from the law are counts and noise of the sensor and the rest of settling.
constexpr double kDampingLimit = 3.0;  // % off B
constexpr double kTuneInertia = 5.0;   // kg; with more of it the hand has to be softer
constexpr double kSteadyRate = 10.0;   // 1/s, largest stiffness of the hand over B
constexpr double kRippleLimit = 10.0;  // %
constexpr double kTuneSpeed = 0.05;    // m/s
constexpr double kTuneTime = 2.5;      // s
constexpr double kDriftLimit = 0.01;   // mm/s
constexpr double kCoastLimit = 30.0;   // mm: some 0.15 s of filters, at 0.1 m/s and the turn at the tip
constexpr double kSpeedLimit = 100.0;  // %, of Vmax

struct Findings {
    double force = 0.0;      // %, largest share by which force over speed is off B
    double moment = 0.0;     // %
    double fastest = 0.0;    // %
    double commanded = 0.0;  // %
    double drift = 0.0;
    double coast = 0.0;
    double notNumbers = 0.0;
    double alarms = 0.0;
};

void keep(const DragRun& drag, Findings& found) {
    found.fastest = std::max(found.fastest, drag.fastest);
    found.commanded = std::max(found.commanded, drag.commanded);
    found.drift = std::max(found.drift, drag.drift);
    found.coast = std::max(found.coast, drag.coast);
    found.notNumbers += drag.notNumbers;
    found.alarms += drag.alarms;
}

// Mean of effort over mean of motion along a direction, of the last cycles.
class Ratio {
  public:
    explicit Ratio(double seconds) : left_(std::lround((seconds - kSteady) * 1000.0)) {}
    void add(double effort, double motion) {
        if (left_-- > 0) return;
        effort_ += effort;
        motion_ += motion;
    }
    double value() const { return effort_ / motion_; }

  private:
    long left_;
    double effort_ = 0.0, motion_ = 0.0;
};

double offPercent(double value, double wanted) { return 100.0 * std::fabs(value / wanted - 1.0); }

// What is no number stays, for the verdict to fail.
double larger(double a, double b) { return std::isnan(a) || std::fabs(b) <= a ? a : std::fabs(b); }

void pull(Run& run, DragFrame frame, Findings& found) {
    Simulation& simulation = run.start(sensorArm(run.options, movingPose(run.options)));
    const DragSettings settings{.frame = frame};
    startDrag(run, settings, kTip);
    run.mark(frame == kEndFrame ? "end frame" : frame == kBaseFrame ? "base frame" : "tool frame");
    DragRun drag(run, {});
    drag.recorded = frame == kEndFrame;
    drag.wait(0.3);

    for (int axis = 0; axis < 3; axis++) {
        const Eigen::Vector3d along = Eigen::Vector3d::Unit(axis);
        drag.grip();
        for (const double speed : kSpeeds) {
            if (frame != kEndFrame && speed != kSpeeds[1]) continue;
            for (const double sign : {1.0, -1.0}) {
                Ratio ratio(kPull);
                drag.lead({sign * speed * along}, kPull, [&] {
                    ratio.add(drag.force().dot(along), 1e-3 * toolSpeed(simulation, {}).dot(along));
                });
                found.force = larger(found.force, offPercent(ratio.value(), settings.damping));
            }
        }
        drag.letGo();
        drag.rest();
        for (const double sign : {1.0, -1.0}) {
            Ratio ratio(kTurn);
            drag.turn(sign * kMoments[axis] * along, kTurn, [&] {
                ratio.add(sign * kMoments[axis], vector(simulation.plant().tool().spin).dot(along));
            });
            found.moment = larger(found.moment, offPercent(ratio.value(), settings.turnDamping));
        }
        drag.rest();
    }
    keep(drag, found);
}

// Directions at random, but not from end to end of the reach.
void swing(Run& run, Findings& found) {
    Simulation& simulation = run.start(sensorArm(run.options, movingPose(run.options)));
    startDrag(run, {.frame = kToolFrame}, kTip);
    run.mark("pulled by the tip");
    const Eigen::Vector3d home = flangeOf(simulation);
    DragRun drag(run, kTip);
    drag.wait(0.3);
    std::mt19937_64 generator(run.options.seed + 1);
    const auto draw = [&] { return static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0; };
    for (int n = 0; n < kSwings; n++) {
        Eigen::Vector3d direction(draw(), draw(), draw());
        const Eigen::Vector3d away = flangeOf(simulation) - home;
        if (direction.dot(away) > 0.0) direction = -direction;
        drag.grip();
        drag.lead({kSwingSpeed * direction.normalized()}, kSwing);
        drag.letGo();
        run.mark("lets go");
        drag.rest();
    }
    keep(drag, found);
}

// The drag ends by itself, with an alarm; the arm stands under the hand. With the alarm gone the next drag
// goes on from there.
struct Ending {
    const char* event;
    double speedLimit;  // deg/s
    void (*spoil)();    // nullptr: nothing
    void (*mend)();
    bool (*alarm)();
};

void spoilForce() { mpb.forceSensorLoadWeight = std::numeric_limits<double>::quiet_NaN(); }
void mendForce() { mpb.forceSensorLoadWeight = mpb.loadWeight; }
void spoilTool() { mpb.TOOL.p.x = std::numeric_limits<double>::quiet_NaN(); }
void mendTool() { mpb.TOOL.p.x = kTip[0]; }
bool tooFast() { return zvCtlJ1SpeedOver <= mcb.motionAlarm && mcb.motionAlarm <= zvCtlJ6SpeedOver; }
bool strangePose() { return mcb.motionAlarm == zvCtlStrangPosAlarm; }

constexpr Ending kEndings[] = {
    {"hand too fast", 3.0, nullptr, nullptr, tooFast},
    {"force is no number", 100.0, spoilForce, mendForce, strangePose},
    {"tool is no number", 100.0, spoilTool, mendTool, strangePose},
};

struct EndFindings {
    double wrongEnds = 0.0;  // drags that went on, or ended with another alarm
    double jump = 0.0;       // mm, of the flange after the end
    double notResumed = 0.0;
    double fastest = 0.0;  // %, measured
};

void endings(Run& run, Findings& found, EndFindings& ends) {
    Simulation& simulation = run.start(sensorArm(run.options, movingPose(run.options)));
    for (const Ending& ending : kEndings) {
        const DragSettings settings{.speedLimit = ending.speedLimit};
        startDrag(run, settings, kTip);
        run.mark(ending.event);
        DragRun drag(run, {});
        drag.wait(0.3);
        drag.grip();
        const Eigen::Vector3d ahead = Eigen::Vector3d::UnitZ() * 0.08;
        drag.lead({ahead}, 0.6);
        if (ending.spoil != nullptr) {
            ending.spoil();
            drag.wait(0.003);
            ending.mend();
        }
        if (!(drag.stops == 1.0 && drag.alarms == 1.0 && ending.alarm())) ends.wrongEnds++;
        drag.lead({-ahead}, 0.6);
        drag.letGo();
        drag.rest();
        ends.jump = std::max(ends.jump, drag.coast);
        ends.fastest = std::max(ends.fastest, drag.fastest);
        found.commanded = std::max(found.commanded, drag.commanded);
        found.drift = std::max(found.drift, drag.drift);
        found.notNumbers += drag.notNumbers;

        mcb.motionAlarm = zvCtlMotionNoAlarm;
        startDrag(run, {}, kTip);
        const Eigen::Vector3d from = flangeOf(simulation);
        DragRun again(run, {});
        again.grip();
        again.lead({-ahead}, 0.6);
        if (!((flangeOf(simulation) - from).norm() > 0.01 && again.alarms == 0.0)) ends.notResumed++;
        again.letGo();
        again.rest();
        keep(again, found);
    }
}

// How steady hands of a stiffness pull at 50 mm/s: half of the way from the least to the largest force of the
// last second, of the mean.
double ripple(Run& run, double stiffness, double inertia, double damping) {
    run.start(sensorArm(run.options, movingPose(run.options)));
    startDrag(run, {.inertia = inertia, .damping = damping, .forceLimit = 200.0});
    DragRun drag(run, {}, {.stiffness = stiffness});
    drag.recorded = false;
    drag.wait(0.1);
    drag.grip();
    const Eigen::Vector3d way = Eigen::Vector3d::UnitZ();
    drag.lead({kTuneSpeed * way}, kTuneTime - 1.0);
    double least = std::numeric_limits<double>::infinity(), most = -least, sum = 0.0;
    drag.lead({kTuneSpeed * way}, 1.0, [&] {
        const double force = drag.force().dot(way);
        least = std::min(least, force);
        most = std::max(most, force);
        sum += 1e-3 * force;
    });
    return 50.0 * (most - least) / sum;
}

double tune(Run& run) {
    double worst = 0.0;
    for (const double inertia : {kTuneInertia, 3.0 * kTuneInertia})
        for (const double damping : {100.0, 300.0, 1000.0})
            for (const double stiffness : {500.0, 1000.0, 3000.0, 10000.0}) {
                const double share = ripple(run, stiffness, inertia, damping);
                const double rate = stiffness / damping;  // 1/s
                if (inertia == kTuneInertia && 1.0 <= rate && rate <= kSteadyRate)
                    worst = larger(worst, share);
                run.tell(fmt::format("Ripple, M {:g}, B {:g}, hand of {:g} N/m", inertia, damping, stiffness),
                         share, "%");
            }
    return worst;
}

// The pulls take their time, whatever is asked.
void play(Run& run, double) {
    run.recording.more.assign(dragGroups().begin(), dragGroups().end());
    Findings found;
    EndFindings ends;
    for (const DragFrame frame : {kEndFrame, kBaseFrame, kToolFrame}) pull(run, frame, found);
    swing(run, found);
    const double alarms = found.alarms;
    endings(run, found, ends);

    const double unsteady = tune(run);

    run.atMost("Force over speed off the damping", found.force, kDampingLimit, "%");
    run.atMost("Moment over turning speed off the damping", found.moment, kDampingLimit, "%");
    run.atMost("Ripple of a hand up to 10 times the damping", unsteady, kRippleLimit, "%");
    run.atMost("Drift after the release", found.drift, kDriftLimit, "mm/s");
    run.atMost("Way after the release", found.coast, kCoastLimit, "mm");
    run.atMost("Joint speed, of Vmax", found.fastest, kSpeedLimit, "%");
    run.atMost("Commanded joint speed, of Vmax", found.commanded, kSpeedLimit, "%");
    run.atMost("Alarms in a drag that is none too fast", alarms, 0.0, "");
    run.atMost("Drags that did not end as they have to", ends.wrongEnds, 0.0, "");
    run.atMost("Drags that were not to be had again", ends.notResumed, 0.0, "");
    run.atMost("Cycles with a joint that is no number", found.notNumbers, 0.0, "");
    run.atMost(
        "Poses that are no numbers and not in the log",
        (logged(run, "curPos nan") == 1.0 ? 0.0 : 1.0) + (logged(run, "goalPos nan") == 1.0 ? 0.0 : 1.0), 0.0,
        "");
    run.tell("Way of the flange after an end", ends.jump, "mm");
    run.tell("Joint speed under the hand that is too fast, of Vmax", ends.fastest, "%");
}

}  // namespace

const Scenario kDrag = {
    "drag",
    "A hand pulls the arm by its force sensor and lets go; the sensor fails, and the hand is too fast.",
    60.0,
    play,
};

}  // namespace tarn::sim
