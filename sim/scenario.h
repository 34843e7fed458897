// A scenario is one file in scenarios/: a name, one sentence, and a function that sets an arm up, lets time
// pass and gives verdicts on what it measured.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sim/recorder.h"
#include "sim/simulation.h"

namespace tarn::sim {

// What a user may ask for. A scenario reads what it has a use for.
struct RunOptions {
    int robotType = 101;
    std::uint64_t seed = 0;  // 0: the scenario's typical case, else drawn from it
    Mount mount = kMounts[0];
    double load = 0.0;                   // kg
    Vec3 loadCenter{20.0, -10.0, 60.0};  // mm, flange frame
    double loadError = 0.0;              // kg
    double frictionScale = 1.0;
    std::optional<Joints> pose;     // deg
    std::optional<double> seconds;  // in place of the scenario's own duration; a motion takes its time

    TorqueModel torqueModel = GravityOnly;  // the scenario's, set by play
};

inline constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();  // what nothing has filled in

// Passes when the value is at most the limit; a value that is not a number fails.
struct Verdict {
    std::string name;
    double value;
    double limit;
    std::string unit;
    bool pass;
};

// A number worth telling, for tables over many runs. One of a curve has its place on the curve in `at`.
struct Figure {
    std::string name;
    double at;  // not a number: the only one of this name
    double value;
    std::string unit;
};

struct Event {
    double time;  // s
    std::string word;
};

// A line of the log with the start of the cycle that wrote it; one written between two cycles belongs to the
// later.
struct LogLine {
    double time = 0.0;     // s
    std::string severity;  // debug, info, warn, error, fatal
    std::string text;

    LogLine(double at, std::string grade, std::string words)
        : time(at), severity(std::move(grade)), text(std::move(words)) {}
    LogLine(const char* words) : severity("info"), text(words) {}  // a word from before the start
};

// One run of a scenario: what it is asked, what it does, what came of it.
struct Run {
    RunOptions options;
    std::function<void(double seconds)> progress;  // told the simulated time now and then; may be empty

    std::unique_ptr<Simulation> simulation;
    Recording recording;
    std::vector<Event> events;
    std::vector<Verdict> verdicts;
    std::vector<LogLine> log;
    std::vector<std::pair<std::string, std::string>> settings;
    std::vector<std::pair<std::string, std::string>> findings;  // worth telling, without a limit
    std::vector<Figure> figures;                                // of them the numbers, and finer ones

    // A second start puts another arm in the place of the first; the clock and the recording go on.
    Simulation& start(SimulationOptions setup);
    void advance(double seconds);
    void skip(double seconds);  // the same, not recorded
    void mark(const std::string& word);
    void atMost(const std::string& name, double value, double limit, const std::string& unit);
    void tell(const std::string& name, double value, const std::string& unit);
    void figure(const std::string& name, double at, double value, const std::string& unit);
    bool passed() const;
};

struct Scenario {
    const char* name;
    const char* sentence;
    double seconds;  // simulated time
    void (*play)(Run& run, double seconds);
    TorqueModel torqueModel = GravityOnly;
};

std::span<const Scenario* const> scenarios();
const Scenario* findScenario(const std::string& name);  // nullptr: no such scenario

// Plays a scenario to its end or to the plant's first blow-up, which is a verdict of every run.
void play(const Scenario& scenario, Run& run);

// Where a run stands in a scenario of no motion: the asked pose, a typical bent one, or one drawn from the
// seed.
Joints standingPose(const RunOptions& options);

// Where a run starts a motion: the asked pose, or a bent one with room around it, off by up to 10 degrees
// drawn from the seed.
Joints movingPose(const RunOptions& options);

SimulationOptions simulationOptions(const RunOptions& options);

}  // namespace tarn::sim
