// A tool goes along a wavy, hard workpiece again and again, pressed with its side, and learns the correction:
// once without learning, then four times with it, and then the store is replayed. The regulator has no gain
// meanwhile, so that what is corrected is what was learned.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "sim/scenarios/pressing_arm.h"
#include "sim/scenarios/scenarios.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kStiffness = 200.0;  // N/mm; with the drives in line it is some 120
constexpr double kWay = 100.0;        // mm
constexpr double kSpeed = 10.0;       // mm/s
constexpr double kBackSpeed = 50.0;   // mm/s
constexpr double kTouchTime = 2.0;    // s
constexpr double kPassTime = 10.4;    // s; the store holds 12
constexpr double kBackTime = 3.5;     // s
constexpr int kLearnings = 4;

// What is learned in a pass acts in it at once, and a tenth is forgotten: passes get better by less and less.
constexpr double kHalf = 50.0;          // %
constexpr double kFirstLimit = 70.0;    // %, with the first learning over none
constexpr double kNextLimit = 97.0;     // %, each learning pass over the one before
constexpr double kReplayLimit = 105.0;  // %: the replay is the last learning pass once more

double waves(double way) {
    constexpr double kHeight = 0.1, kLength = 50.0;  // mm
    return 0.5 * kHeight * (std::cos(2.0 * std::numbers::pi * way / kLength) - 1.0);
}

struct Findings {
    double refused;   // commands
    double unserved;  // lines that were not planned or not over in their time
};

void line(Run& run, double way, double speed, Findings& found) {
    if (!startLine(run, way, speed)) found.unserved++;
}

// N, root mean square over the line. The arm comes from its start pressed, and goes back pressed.
double pass(Run& run, const char* word, const Press& setting, Findings& found, bool record = true) {
    if (record) run.mark(word);
    if (startPressing(setting) != 0) found.refused++;
    line(run, kWay, kSpeed, found);
    const double error = press(run, kPassTime, record).error();
    if (mpb.state != TGEN_IDLE) found.unserved++;
    if (startPressing({}) != 0) found.refused++;
    line(run, 0.0, kBackSpeed, found);
    run.skip(kBackTime);
    if (mpb.state != TGEN_IDLE) found.unserved++;
    return error;
}

// The motion takes its time, whatever is asked.
void play(Run& run, double) {
    run.recording.more = kPressGroups;
    Findings found{};
    startOver(run, {kStiffness, waves}, true);
    if (startPressing({}) != 0) found.refused++;
    run.skip(kTouchTime);

    const double regulated = pass(run, "regulator alone", {}, found, false);
    const double none = pass(run, "nothing", {.gain = 0.0}, found);
    std::vector<double> learned;
    for (int n = 1; n <= kLearnings; n++)
        learned.push_back(pass(run, fmt::format("learning {}", n).c_str(), {.gain = 0.0, .learning = Learns},
                               found, n == 1 || n == kLearnings));
    const double replay = pass(run, "replay", {.gain = 0.0, .learning = Replays}, found);

    double slowest = 0.0;
    for (std::size_t n = 1; n < learned.size(); n++) slowest = std::max(slowest, learned[n] / learned[n - 1]);
    run.tell("Error without learning and gain", none, "N");
    for (std::size_t n = 0; n < learned.size(); n++)
        run.tell(fmt::format("Error of learning {}", n + 1), learned[n], "N");
    run.tell("Error of the replay", replay, "N");
    run.tell("Error of the regulator alone, recommended gain", regulated, "N");
    run.atMost("First learning over none", 100.0 * learned.front() / none, kFirstLimit, "%");
    run.atMost("A learning over the one before, slowest", 100.0 * slowest, kNextLimit, "%");
    run.atMost("Replay over the first learning", 100.0 * replay / learned.front(), kHalf, "%");
    run.atMost("Replay over none", 100.0 * replay / none, kHalf, "%");
    run.atMost("Replay over the last learning", 100.0 * replay / learned.back(), kReplayLimit, "%");
    run.atMost("Commands refused", found.refused, 0.0, "");
    run.atMost("Lines not planned or not over", found.unserved, 0.0, "");
    run.simulation->plant().setToolForces({});
}

}  // namespace

const Scenario kPolish = {
    "polish",
    "A tool pressed with its side goes along a wavy workpiece again and again, learns the correction and "
    "replays it.",
    kTouchTime + (kLearnings + 3) * (kPassTime + kBackTime),
    play,
    FullDynamics,
};

}  // namespace tarn::sim
