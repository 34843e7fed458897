// Three known loads are weighed by the force sensor that they hang on while an operator guides the arm. The
// operator holds the arm ahead of the sensor, so the motion is the planner's here and only the step that
// weighs is told of a hand guiding.
//
// The mass is the length of a mean over five samples, each turned by how the flange stands, and turned the
// wrong way: it is right, but for inertia, while the samples are close together, and too little when the
// wrist turns between them. Both are shown. The center does not depend on it, needs the turn, and is not kept
// by the step: the scenario asks for it with the samples of the wide window.
#include <fmt/format.h>

#include <cmath>
#include <iterator>

#include "model/payload.h"
#include "sim/scenarios/scenarios.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kLoop = 15.0;                 // Hz
constexpr double kShares[] = {0.6, 0.3, 0.9};  // of what the arm carries
constexpr double kOtherPayload = 5.0;          // kg, where nothing is told
constexpr Vec3 kSensorPlace = {0.0, 0.0, 40.0};
constexpr int kCompany = 16;
constexpr int kLightDevice = 5, kHeavyDevice = 11;  // ranges of 20 and 120 kgf
constexpr double kLightLoad = 4.0;                  // kg, up to which the light one serves

constexpr int kPeriod = 5;                // cycles from step to step
constexpr int kClose = 20, kWide = 1000;  // ms, spacing
constexpr double kSpeed = 0.2;            // of the joints' limits
constexpr double kStandTime = 0.5;        // s
constexpr double kAcceleration = 60.0;    // deg/s^2, gentle on the load's inertia
constexpr int kPatience = 20000;          // cycles for a move

// The wrist's part of the way from the start pose, deg.
constexpr double kPath[][3] = {{60, -50, 120}, {-60, -20, -60}, {20, 60, 0}, {0, 0, 0}};

constexpr double kMassLimit = 3.0;    // %
constexpr double kCenterLimit = 5.0;  // mm

Joints massInUse(const Simulation& simulation) {
    return {mpb.loadWeight, simulation.plant().options().loadMass};
}
const Group kMass = {"load_kg", "Load in use", "kg", massInUse, {"weighed", "true"}};

double larger(double a, double b) { return std::isnan(a) || std::fabs(b) <= a ? a : std::fabs(b); }

struct Found {
    double results = 0.0;          // steps that gave one
    double most = 0.0;             // %, largest error of the mass after the first result
    double center = 0.0;           // mm, off, of the last five samples
    double unserved = 0.0;         // moves that were not planned or not over in their time
    double persisted = kNoNumber;  // kg
};

class Guiding {
  public:
    Guiding(Run& run, bool recorded) : run_(run), recorded_(recorded) {}

    Found guide(double truth, int spacing) {
        tmcLoadIdentifyDynOnOff(1);
        tmcSetLoadIdentifyDynPara(spacing);
        mpb.loadWeight = 0.0;
        cycles_ = steps_ = count_ = 0;
        Found found;
        const Joints start = run_.simulation->options().startPose;
        for (const auto& wrist : kPath) {
            Joints goal = start;
            for (std::size_t i = 0; i < 3; i++) goal[3 + i] += wrist[i];
            if (!host::startJointMove(goal.data(), kSpeed, 1)) found.unserved++;
            int n = 0;
            do step(found, truth, spacing);
            while (mpb.state != TGEN_IDLE && ++n < kPatience);
            if (n == kPatience) found.unserved++;
        }
        found.center = centerOff();
        zvmcLoadIdentifyDynControl();  // the hand is off
        found.persisted = mpb.loadWeight;
        tmcLoadIdentifyDynOnOff(0);
        for (int n = 0; n < kStandTime * 1000.0; n++) cycle();
        return found;
    }

    void cycle() { recorded_ ? run_.advance(0.001) : run_.skip(0.001); }

  private:
    void step(Found& found, double truth, int spacing) {
        cycle();
        if (++cycles_ % kPeriod != 0) return;
        const int state = mpb.state;
        mpb.state = TGEN_DRAG;
        const int result = zvmcLoadIdentifyDynControl();
        mpb.state = static_cast<decltype(mpb.state)>(state);
        if (++steps_ % (spacing / kPeriod) != 0) return;
        wrenches_[count_ % 5] = mpb.forceRCS;
        count_++;
        if (count_ < 5 || result != 0) return;
        found.results++;
        found.most = larger(found.most, 100.0 * (mpb.loadWeight - truth) / truth);
    }

    double centerOff() {
        ROTRSF unused[5] = {};
        double mass, xyz[3];
        zvmcComloaddymIdentify(wrenches_, unused, &mass, xyz);
        double square = 0.0;
        for (std::size_t i = 0; i < 3; i++) square += std::pow(xyz[i] - run_.options.loadCenter[i], 2);
        return std::sqrt(square);
    }

    Run& run_;
    bool recorded_;
    int cycles_ = 0, steps_ = 0;
    int count_ = 0;  // samples
    FORCESENSOR_DATA wrenches_[5]{};
};

SimulationOptions setUp(const RunOptions& options, double load) {
    SimulationOptions setup = simulationOptions(options);
    setup.startPose = movingPose(options);
    setup.positionLoop = kLoop;
    setup.load = 0.0;
    setup.loadError = load;  // nobody tells the library
    setup.sensorPlace = kSensorPlace;
    setup.forceSensor.company = kCompany;
    setup.forceSensor.device = load <= kLightLoad ? kLightDevice : kHeavyDevice;
    return setup;
}

void play(Run& run, double) {
    run.recording.more = {kMass};
    const double payload = heaviestLoad(run.options.robotType);
    std::vector<double> loads;
    for (const double share : kShares)
        loads.push_back(share * (std::isinf(payload) ? kOtherPayload : payload));
    if (run.options.load > 0.0) loads = {run.options.load};

    double close = 0.0, center = 0.0, unserved = 0.0, without = 0.0, kept = 0.0;
    for (const double load : loads) {
        run.start(setUp(run.options, load));
        std::fill_n(mpb.defaultJointAccel.v, 6, kAcceleration);
        zvmcSetAxleDeviceType(1);
        Guiding guiding(run, load == loads.front());
        for (int n = 0; n < kStandTime * 1000.0; n++) guiding.cycle();
        if (load == loads.front()) run.mark("samples close together");
        const Found narrow = guiding.guide(load, kClose);
        if (load == loads.front()) run.mark("samples far apart");
        const Found wide = guiding.guide(load, kWide);
        zvmcSetAxleDeviceType(0);
        const std::string name = fmt::format("{:.3g} kg: ", load);
        run.tell(name + "largest error of the mass, samples 20 ms apart", narrow.most, "%");
        run.tell(name + "largest error of the mass, samples 1 s apart", wide.most, "%");
        run.tell(name + "mass kept at the end", narrow.persisted, "kg");
        run.tell(name + "center off, samples 1 s apart", wide.center, "mm");
        close = larger(close, narrow.most);
        kept = larger(kept, 100.0 * (narrow.persisted - load) / load);
        center = larger(center, wide.center);
        unserved += narrow.unserved + wide.unserved;
        without += (narrow.results == 0.0) + (wide.results == 0.0);
    }
    run.atMost("Moves not planned or not over", unserved, 0.0, "");
    run.atMost("Guidings without a result", without, 0.0, "");
    run.atMost("Largest error of the mass, samples 20 ms apart", close, kMassLimit, "%");
    run.atMost("Error of the mass kept", kept, kMassLimit, "%");
    run.atMost("Center off, samples 1 s apart", center, kCenterLimit, "mm");
}

}  // namespace

const Scenario kIdentifyLoadDynamic = {
    "identify-load-dynamic",
    "Three known loads are weighed by the force sensor while the wrist is turned by hand.",
    60.0,
    play,
};

}  // namespace tarn::sim
