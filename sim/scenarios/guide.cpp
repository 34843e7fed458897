// A hand guides the arm out and back along a curve and lets go in full swing: first against all of the joint
// friction, then with the share of it that the library compensates in hand guiding. Both times it is the same
// hand on the same path, from the same pose.
//
// The hand is a stiff spring, so that the flange takes nearly the same way both times and the efforts can be
// compared. What compensation leaves of the friction stops the arm when the hand is gone.
#include <algorithm>
#include <cmath>

#include "model/type_table.h"
#include "sim/hand.h"
#include "sim/scenarios/guiding_hand.h"
#include "sim/scenarios/scenarios.h"
#include "sim/vectors.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

namespace tarn::sim {
namespace {

constexpr double kStiffness = 3e3;  // N/m
constexpr double kDamping = 150.0;  // N s/m

// %: in hand guiding the library compensates 40 % of the friction of the first joints and 50 to 60 % of the
// others', and nothing of the inertia
constexpr double kEffortLimit = 60.0;
constexpr double kBehindLimit = 40.0;    // mm
constexpr double kCoastLimit = 40.0;     // mm
constexpr double kRestLimit = 5.0;       // mm/s, at the end
constexpr double kCurrentLimit = 32767;  // what the command's 16 bits hold
constexpr double kCommandLimit = 1.001;  // 1/1000 of rated torque: the cut to whole numbers, and rounding

struct Pass : GuidedPass {
    double farthest;   // mm, of the flange from its start
    double demand;     // 1/1000 of rated, largest of the plant's own torque and the compensation
    double offDemand;  // 1/1000 of rated, largest difference of the command
};

// What the cycle that has just run ought to have commanded, from the plant's own torque.
void compareCommand(const Simulation& simulation, Pass& pass) {
    const Joints model = modelTorque(simulation), friction = compensatedFriction();
    for (int joint = 0; joint < 6; joint++) {
        const auto i = static_cast<std::size_t>(joint);
        const double needed = simulation.plant().currentOf(model[i] + friction[i], joint);
        pass.demand = std::max(pass.demand, std::fabs(needed));
        // fitted parameters are not the plant's
        if (simulation.options().torqueModel == FittedRegressor) continue;
        pass.offDemand = std::max(pass.offDemand, std::fabs(simulation.currentSet()[i] - needed));
    }
}

// What an installer does once per arm in mode 1: weighs the static torque joint by joint, so that parameters
// fitted to another arm of the family hold this one. The library takes these weights in its first cycle.
struct Fitted {
    int (*test)(double, double, Gain, TRSF, double*, double*, int);
    int model;
    bool endLoad;
};
constexpr TypeRow<Fitted> kFitted[] = {
    {1, 100, {zvmcteachcontrolA_gravitytest, 1, true}},
    {201, 300, {zvmcteachcontrolC_gravitytest, 201, true}},
    {301, 400, {zvmcteachcontrolD_gravitytest, 301, true}},
};
constexpr Fitted kFittedB = {zvmcteachcontrolB_gravitytest, 102, false};

void adjustGains(const Simulation& simulation) {
    constexpr double kFelt = 5.0;  // N m; a joint with less gives no weight
    const auto& [test, model, endLoad] = byType(kFitted, kFittedB, mcb.robotType);
    const double q2 = -mcb.robotInstallYangle, q3 = mcb.robotInstallZangle;
    Gain unit;
    std::fill_n(unit.kp, 6, 1.0);
    std::fill_n(unit.kf, 6, 1.0);
    Joints pose = simulation.measured(), fitted{}, load{};
    zvmcdynfiltresert();
    test(q2, q3, unit, {}, pose.data(), fitted.data(), model);
    if (endLoad) zvmcendload(q2, q3, pose.data(), {mpb.loadCoord, mpb.loadWeight}, load.data(), model);
    zvmcdynfiltresert();  // the cycle starts by itself
    const Joints needed = simulation.plant().gravityTorque(pose);
    for (std::size_t i = 0; i < 6; i++)
        if (std::fabs(fitted[i]) > kFelt) mcb.newTeachGain[i] = (needed[i] - load[i]) / fitted[i];
}

Pass guide(Run& run, bool compensation) {
    SimulationOptions setup = simulationOptions(run.options);
    setup.startPose = movingPose(run.options);
    setup.frictionCompensation = compensation;
    Simulation& simulation = run.start(setup);
    if (setup.torqueModel == FittedRegressor) adjustGains(simulation);
    const auto flange = [&] { return vector(simulation.plant().tool().flange.origin); };
    const Eigen::Vector3d start = flange();
    run.mark(compensation ? "start, friction compensated" : "start, friction not compensated");

    Pass pass{};
    static_cast<GuidedPass&>(pass) = guidePass(run, kStiffness, kDamping, {}, [&] {
        compareCommand(simulation, pass);
        pass.farthest = std::max(pass.farthest, 1e3 * (flange() - start).norm());
    });
    return pass;
}

// The motion takes its time, whatever is asked.
void play(Run& run, double) {
    run.recording.more = {kHandForce};
    const Pass plain = guide(run, false);
    const Pass eased = guide(run, true);

    for (const auto& [pass, name] : {std::pair{plain, "without"}, std::pair{eased, "with"}}) {
        const std::string suffix = std::string(", ") + name + " compensation";
        run.tell("Mean force of the hand" + suffix, pass.effort.meanForce, "N");
        run.tell("Peak force of the hand" + suffix, pass.effort.peakForce, "N");
        run.tell("Work of the hand" + suffix, pass.effort.work, "J");
        run.tell("Way of the flange" + suffix, pass.farthest, "mm");
    }
    run.atMost("Hand's mean force, with over without",
               100.0 * eased.effort.meanForce / plain.effort.meanForce, kEffortLimit, "%");
    run.atMost("Flange off the hand's path", std::max(plain.behind, eased.behind), kBehindLimit, "mm");
    run.atMost("Coasting without compensation", plain.coast, kCoastLimit, "mm");
    run.atMost("Coasting with compensation", eased.coast, kCoastLimit, "mm");
    run.atMost("Speed of the flange in the end", std::max(plain.restSpeed, eased.restSpeed), kRestLimit,
               "mm/s");
    run.atMost("Largest current asked for", std::max(plain.demand, eased.demand), kCurrentLimit,
               "1/1000 of rated");
    if (run.options.torqueModel != FittedRegressor)
        run.atMost("Command off model and compensation", std::max(plain.offDemand, eased.offDemand),
                   kCommandLimit, "1/1000 of rated");
    run.atMost("Cycles in a wrong state", plain.otherStates + eased.otherStates, 0.0, "");
}

}  // namespace

const Scenario kGuide = {
    "guide",
    "A hand guides the arm along a curve, without and with compensation of friction, and lets go.",
    2.0 * kGuidedPassSeconds,
    play,
};

const Scenario kGuideRegressor = {
    "guide-regressor", "As guide, on the currents of the fitted regressor.", 2.0 * kGuidedPassSeconds, play,
    FittedRegressor,
};

const Scenario kGuideDynamics = {
    "guide-dynamics", "As guide, on the currents of the full dynamics.", 2.0 * kGuidedPassSeconds, play,
    FullDynamics,
};

}  // namespace tarn::sim
