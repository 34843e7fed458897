#include "sim/scenario.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>

#include "sim/scenarios/scenarios.h"
#include "tarnhost/log.h"

namespace tarn::sim {
namespace {

// clang-format off
constexpr const Scenario* kScenarios[] = {
    &kHold,
    &kGuide,
    &kGuideRegressor,
    &kDragLock,
    &kInterference,
    &kMove,
    &kRecordReplay,
    &kSensorAlarm,
    &kWeigh,
    &kIdentify,
    &kCollide,
    &kStaticCollide,
    &kFalseAlarm,
    &kHoldDynamics,
    &kGuideDynamics,
    &kMoveDynamics,
    &kIdentifyLoad,
    &kIdentifyLoadDynamic,
    &kIdentifyFriction,
    &kTorqueDrag,
    &kForceCollide,
    &kNaturalFrequency,
    &kPress,
    &kPressGains,
    &kPolish,
    &kDrag,
    &kWall,
    &kSingular,
};
// clang-format on

constexpr std::size_t kProgressStep = 250;  // cycles
constexpr Joints kBent = {30.0, -60.0, 80.0, -110.0, -90.0, 30.0};

std::string vectorText(std::span<const double> values) {
    std::string text;
    for (const double value : values) text += fmt::format("{}{:.4g}", text.empty() ? "" : ", ", value);
    return text;
}

// the standard's distributions differ between libraries, the generator does not
double uniform(std::mt19937_64& generator, double low, double high) {
    constexpr double kUnit = 0x1p-53;
    return low + (high - low) * static_cast<double>(generator() >> 11) * kUnit;
}

double timeOf(const Run& run) { return run.simulation == nullptr ? 0.0 : run.simulation->time(); }

// Takes over the lines written since the last call; `time` is when that was, s.
void collectLog(Run& run, double time) {
    constexpr const char* kSeverity[] = {"unknown", "debug", "info", "warn", "error", "fatal"};
    host::drainLog([&](int severity, const char* line) {
        const bool known = 0 <= severity && severity < static_cast<int>(std::size(kSeverity));
        std::string text = line;
        while (!text.empty() && text.back() == '\n') text.pop_back();
        run.log.emplace_back(time, kSeverity[known ? severity : 0], std::move(text));
    });
    if (const int lost = host::takeDroppedLogLines(); lost > 0) {
        run.log.emplace_back(time, "warn", fmt::format("{} lines lost", lost));
    }
}

}  // namespace

std::span<const Scenario* const> scenarios() { return kScenarios; }

const Scenario* findScenario(const std::string& name) {
    for (const Scenario* scenario : kScenarios) {
        if (name == scenario->name) return scenario;
    }
    return nullptr;
}

Simulation& Run::start(SimulationOptions setup) {
    const bool again = simulation != nullptr;
    if (again) setup.startTime = simulation->time();
    simulation = std::make_unique<Simulation>(setup);
    if (again) return *simulation;
    const PlantOptions& plant = simulation->plant().options();
    const auto set = [&](const char* name, std::string value) {
        settings.emplace_back(name, std::move(value));
    };
    set("Robot type", fmt::format("{} (parameter set {})", setup.robotType, plant.set.name));
    constexpr const char* kModels[] = {"0 (gravity)", "1 (fitted regressor)", "2 (full dynamics)"};
    set("Torque model", kModels[setup.torqueModel]);
    set("Mount", fmt::format("{} (install position {}, Y {:g} deg, Z {:g} deg)", setup.mount.name,
                             setup.mount.code, setup.mount.yAngle, setup.mount.zAngle));
    set("Gravity in the base frame, m/s^2", vectorText(plant.gravity));
    set("Start pose, deg", vectorText(setup.startPose));
    set("Load known to the library, kg", fmt::format("{:g}", setup.load));
    set("Load on the plant, kg", fmt::format("{:g}", plant.loadMass));
    set("Center of the load in the flange frame, mm", vectorText(setup.loadCenter));
    set("Scale of the plant's friction", fmt::format("{:g}", setup.frictionScale));
    set("Rated motor torque, N m", vectorText(plant.ratedTorque));
    set("Gear ratio", vectorText(plant.gearRatio));
    set("Physics steps in a cycle of 1 ms", fmt::format("{}", plant.substeps));
    set("Seed", fmt::format("{}", options.seed));
    return *simulation;
}

void Run::advance(double seconds) {
    const long cycles = std::lround(seconds * 1000.0);
    for (long n = 0; n < cycles; n++) {
        simulation->cycle();
        recording.add(*simulation);
        // every cycle: a line carries the start of the cycle that wrote it or came after it
        collectLog(*this, simulation->cycleStart());
        if (progress && recording.size() % kProgressStep == 0) progress(simulation->time());
    }
}

void Run::skip(double seconds) {
    const long cycles = std::lround(seconds * 1000.0);
    for (long n = 0; n < cycles; n++) {
        simulation->cycle();
        collectLog(*this, simulation->cycleStart());
        if (progress && std::lround(simulation->time() * 1e3) % static_cast<long>(kProgressStep) == 0)
            progress(simulation->time());
    }
}

void Run::mark(const std::string& word) { events.push_back({simulation->time(), word}); }

void Run::atMost(const std::string& name, double value, double limit, const std::string& unit) {
    verdicts.push_back({name, value, limit, unit, value <= limit});
}

void Run::tell(const std::string& name, double value, const std::string& unit) {
    findings.emplace_back(name, fmt::format("{:.4g} {}", value, unit));
    figure(name, std::nan(""), value, unit);
}

void Run::figure(const std::string& name, double at, double value, const std::string& unit) {
    figures.push_back({name, at, value, unit});
}

bool Run::passed() const {
    return !verdicts.empty() &&
           std::all_of(verdicts.begin(), verdicts.end(), [](const Verdict& v) { return v.pass; });
}

void play(const Scenario& scenario, Run& run) {
    run.options.torqueModel = scenario.torqueModel;
    double blowUps = 0.0;
    try {
        scenario.play(run, run.options.seconds.value_or(scenario.seconds));
    } catch (const PlantError& error) {
        blowUps = 1.0;
        collectLog(run, timeOf(run));
        run.log.emplace_back(timeOf(run), "fatal", error.what());
    }
    run.atMost("Blow-ups of the physics engine", blowUps, 0.0, "");
    collectLog(run, timeOf(run));
}

Joints movingPose(const RunOptions& options) {
    if (options.pose) return *options.pose;
    Joints pose = kBent;
    std::mt19937_64 generator(options.seed);
    if (options.seed != 0)
        for (double& angle : pose) angle += uniform(generator, -10.0, 10.0);
    return pose;
}

Joints standingPose(const RunOptions& options) {
    if (options.pose) return *options.pose;
    if (options.seed == 0) return kBent;
    std::mt19937_64 generator(options.seed);
    Joints pose;
    for (double& angle : pose) angle = uniform(generator, -170.0, 170.0);
    return pose;
}

SimulationOptions simulationOptions(const RunOptions& options) {
    SimulationOptions setup;
    setup.robotType = options.robotType;
    setup.torqueModel = setup.plantModel = options.torqueModel;
    setup.mount = options.mount;
    setup.startPose = standingPose(options);
    setup.load = options.load;
    setup.loadCenter = options.loadCenter;
    setup.loadError = options.loadError;
    setup.frictionScale = options.frictionScale;
    return setup;
}

}  // namespace tarn::sim
