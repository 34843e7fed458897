// A hand drags the flange sideways, out and back at a steady speed, and feels what the library puts against
// it: the lock of that axis, or an interference zone on its way, in which the arm resists or the guiding
// ends.
//
// What the hand feels is friction, which turns with its direction, and a spring. The slope of its force over
// the way, out and back, is the spring alone.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

#include "sim/hand.h"
#include "sim/scenarios/guiding_hand.h"
#include "sim/scenarios/scenarios.h"
#include "sim/vectors.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr double kHandStiffness = 5e3;  // N/m
constexpr double kHandDamping = 150.0;  // N s/m
constexpr double kLoop = 15.0;          // Hz
constexpr double kWay = 0.15;           // m
constexpr double kSpeed = 0.05;         // m/s
constexpr double kZoneEdge = 0.05;      // m of the way
constexpr double kFrom = 0.08;          // m of it, where the slope is taken
constexpr double kTo = 0.14;
constexpr double kSwitchOn = 0.3;  // s
constexpr double kGrip = 0.5;
constexpr double kPassEnd = kGrip + 2.0 * kWay / kSpeed + 0.5;

constexpr double kGain = 10.0;                // the largest that the setting takes
constexpr double kStiffness = 100.0 * kGain;  // N/m that the hand should feel

constexpr double kStiffnessLimit = 10.0;  // % off that
constexpr double kFreeLimit = 5.0;        // % of it, where nothing resists
constexpr double kLateLimit = 2.0;        // cycles until the guiding ends
constexpr double kIntrusionLimit = 15.0;  // mm

// Slope of a line through points.
class Slope {
  public:
    void add(double x, double y) {
        n_ += 1.0;
        x_ += x;
        y_ += y;
        xx_ += x * x;
        xy_ += x * y;
    }
    double value() const { return (n_ * xy_ - x_ * y_) / (n_ * xx_ - x_ * x_); }

  private:
    double n_ = 0.0, x_ = 0.0, y_ = 0.0, xx_ = 0.0, xy_ = 0.0;
};

struct Pass {
    double stiffness;  // N/m, mean of out and back
    double intrusion;  // mm into the zone
    double inZone;     // cycles under the hand in it
    double most;       // N
};

// The way of the hand from its start, m.
double wayAt(double time) {
    return std::clamp(std::min(kSpeed * (time - kGrip), 2.0 * kWay - kSpeed * (time - kGrip)), 0.0, kWay);
}

// With a zone the scenario is the host that watches it: everything beyond an edge across the way.
Pass drag(Run& run, const std::string& name, int (*set)(std::uint8_t), std::uint8_t status, bool zone) {
    SimulationOptions setup = simulationOptions(run.options);
    setup.startPose = movingPose(run.options);
    setup.positionLoop = kLoop;
    Simulation& simulation = run.start(setup);
    double gains[3][6] = {};
    gains[0][1] = kGain;  // along y alone
    tmcSetDragLockPara(gains[0], gains[1], gains[2]);
    set(status);
    run.mark("start, " + name);

    const auto flange = [&] { return vector(simulation.plant().tool().flange.origin); };
    const Eigen::Vector3d start = flange();
    Hand hand(HandSpring{kHandStiffness, kHandDamping,
                         [&](double time) { return array(start + wayAt(time) * Eigen::Vector3d::UnitY()); }},
              {}, kGrip);
    simulation.plant().setToolForces({hand.force()});

    Pass pass{};
    Slope out, back;
    const double begin = simulation.time();
    const auto now = [&] { return simulation.time() - begin; };
    while (now() < kSwitchOn) run.advance(0.001);
    tmcDragSwitch(1);
    while (now() < kPassEnd) {
        const double before = (flange() - start).y();
        if (zone) mpb.interfereJointCubeFlag = before > kZoneEdge ? 2 : 0;
        run.advance(0.001);
        const double way = (flange() - start).y(), force = simulation.plant().toolWrench().force[1];
        if (zone) {
            pass.intrusion = std::max(pass.intrusion, 1e3 * (way - kZoneEdge));
            if (before > kZoneEdge && mpb.state == TGEN_DRAG) pass.inZone++;
        }
        pass.most = std::max(pass.most, std::fabs(force));
        if (kFrom < way && way < kTo) (now() < kGrip + kWay / kSpeed ? out : back).add(way, force);
    }
    pass.stiffness = 0.5 * (out.value() + back.value());
    tmcDragSwitch(0);
    mpb.interfereJointCubeFlag = 0;
    simulation.plant().setToolForces({});
    if (!std::isnan(pass.stiffness)) run.tell("Stiffness, " + name, pass.stiffness, "N/m");
    run.tell("Largest force of the hand, " + name, pass.most, "N");
    return pass;
}

void judge(Run& run, const Pass& free, const Pass& stiff) {
    run.atMost("Stiffness felt without resistance", 100.0 * std::fabs(free.stiffness) / kStiffness,
               kFreeLimit, "%");
    run.atMost("Stiffness felt off that of the gain",
               100.0 * std::fabs(stiff.stiffness - free.stiffness - kStiffness) / kStiffness, kStiffnessLimit,
               "%");
}

void playLock(Run& run, double) {
    run.recording.more = {kHandForce};
    const Pass free = drag(run, "axis free", tmcDragLockEnableDisable, 0, false);
    judge(run, free, drag(run, "axis locked", tmcDragLockEnableDisable, 1, false));
}

void playZone(Run& run, double) {
    run.recording.more = {kHandForce};
    const Pass free = drag(run, "zone ignored", tmcSetInterfereDrag, 0, true);
    judge(run, free, drag(run, "zone resists", tmcSetInterfereDrag, 1, true));
    const Pass left = drag(run, "zone ends the guiding", tmcSetInterfereDrag, 2, true);
    run.atMost("Cycles under the hand in the zone that ends it", left.inZone, kLateLimit, "");
    run.atMost("Way of the flange into that zone", left.intrusion, kIntrusionLimit, "mm");
}

}  // namespace

const Scenario kDragLock = {
    "drag-lock",
    "A hand drags the flange along an axis, free and locked.",
    2.0 * kPassEnd,
    playLock,
};

const Scenario kInterference = {
    "interference",
    "A hand drags the flange into a zone, which resists, or ends the guiding.",
    3.0 * kPassEnd,
    playZone,
};

}  // namespace tarn::sim
