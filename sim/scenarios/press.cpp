// A tool pressed on a workpiece at 20 N by constant force control while the arm moves along it: with its tip,
// along z, and with its side, along x; on flat and on wavy, soft and hard workpieces. Then over a groove,
// where contact is lost and found again, and into the three ends of the control: a limit, a command, the
// sensor.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <string>

#include "sim/scenarios/pressing_arm.h"
#include "sim/scenarios/scenarios.h"
#include "sim/vectors.h"
#include "tarnhost/kinematics.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kSoft = 5.0, kHard = 50.0;  // N/mm
constexpr double kWay = 120.0;               // mm
constexpr double kSpeed = 40.0;              // mm/s
constexpr double kTouchTime = 2.0;           // s
constexpr double kLineTime = 3.5;            // s
// Getting under way the drives of the larger arms are off by what is worth a newton on a hard workpiece.
constexpr double kStartTime = 0.3;  // s, not judged

constexpr double kWaveHeight = 0.2;  // mm, from trough to crest
constexpr double kWaveLength = 100.0;

constexpr double kGrooveSpeed = 20.0;  // mm/s
constexpr double kGrooveTime = 6.5;    // s
constexpr double kCalmWay = 20.0;      // mm behind the groove, where the force is held again

constexpr double kStopAfter = 1.5;  // s, of the line
constexpr double kStandTime = 1.0;  // s

// z counts no error up to 1 N: within it the force is where the workpiece puts it. So it is on waves, where
// no gain keeps it from going from one end of that band to the other; x takes every error.
constexpr double kDeadBand = 1.0;        // N
constexpr double kDeviationLimit = 0.5;  // N
constexpr double kTouchLimit = 24.0;     // N, a fifth over the target
constexpr double kUnrestLimit = 1.0;     // mm/s; the waves take 0.16
constexpr double kFoundLimit = 40.0;     // N: twice the target, on the flank of the groove
constexpr double kArrivalLimit = 1e-9;   // mm, deg
constexpr double kStandLimit = 0.1;      // mm: what friction keeps the drives off their set-point
constexpr double kOvershootLimit = 1.0;  // mm, at 20 mm/s

double waves(double way) {
    return 0.5 * kWaveHeight * (std::cos(2.0 * std::numbers::pi * way / kWaveLength) - 1.0);
}

// 12 mm deep, from 30 to 80 mm, with rounded flanks.
double groove(double way) {
    constexpr double kDepth = 12.0, kFrom = 30.0, kTo = 80.0, kFlank = 15.0;
    const double in = std::clamp(std::min(way - kFrom, kTo - way) / kFlank, 0.0, 1.0);
    return 0.5 * kDepth * (std::cos(std::numbers::pi * in) - 1.0);
}

struct Row {
    const char* word;
    bool side;
    double stiffness;  // N/mm
    bool wavy;
    double deviationLimit;  // N
};
// clang-format off
constexpr Row kRows[] = {
    // word,                side,  stiffness, wavy,  deviation
    { "tip, flat, soft",    false, kSoft,     false, kDeviationLimit },
    { "tip, flat, hard",    false, kHard,     false, kDeviationLimit },
    { "tip, waves, soft",   false, kSoft,     true,  kDeviationLimit },
    { "tip, waves, hard",   false, kHard,     true,  kDeadBand       },
    { "side, flat, soft",   true,  kSoft,     false, kDeviationLimit },
    { "side, waves, soft",  true,  kSoft,     true,  kDeviationLimit },
    { "side, waves, hard",  true,  kHard,     true,  kDeviationLimit },
};
// clang-format on

struct Findings {
    double refused;   // commands
    double unserved;  // lines that were not planned or not over in their time
    double touch;     // N, largest force of a touching down
    double unrest;    // mm/s
};

void touchDown(Run& run, const Press& setting, Findings& found) {
    if (startPressing(setting) != 0) found.refused++;
    found.touch = std::max(found.touch, press(run, kTouchTime).most);
}

void beginLine(Run& run, double speed, Findings& found) {
    if (!startLine(run, kWay, speed)) found.unserved++;
}

void playRow(Run& run, const Row& row, Findings& found) {
    startOver(run, {row.stiffness, row.wavy ? waves : nullptr}, row.side);
    run.mark(row.word);
    touchDown(run, {}, found);
    beginLine(run, kSpeed, found);
    press(run, kStartTime);
    const Pressed line = press(run, kLineTime - kStartTime);
    if (mpb.state != TGEN_IDLE) found.unserved++;
    found.unrest = std::max(found.unrest, line.unrest());
    run.atMost(fmt::format("Mean off the target: {}", row.word), std::fabs(line.mean()), kDeadBand, "N");
    run.atMost(fmt::format("Deviation: {}", row.word), line.deviation(), row.deviationLimit, "N");
}

// With compliance the correction that nothing pushes back dies away, and the tool stays near its path.
void playGroove(Run& run, Findings& found) {
    constexpr double kDecay = 0.01;     // a cycle
    constexpr double kNoContact = 5.0;  // N
    startOver(run, {kHard, groove}, false);
    run.mark("groove, compliance");
    if (zvmcCompliancestartstop(kDecay, kNoContact, 1, 0) != 0) found.refused++;
    touchDown(run, {}, found);
    beginLine(run, kGrooveSpeed, found);
    const double calm = kGrooveTime - kCalmWay / kGrooveSpeed - 0.25;
    double free = 0.0, deepest = 0.0, peak = 0.0;
    for (long n = std::lround(1000.0 * calm); n > 0; n--) {
        const Pressed cycle = press(run, 0.001);
        if (cycle.most == 0.0) free += 0.001;
        peak = std::max(peak, cycle.most);
        deepest = std::max(deepest, correction(*run.simulation));
    }
    const Pressed again = press(run, kGrooveTime - calm);
    run.tell("Time without contact in the groove", free, "s");
    // the step of an error of 20 to 21 N over the decay, and less than the first row of the table after it
    run.atMost("Correction in the groove", deepest, 22.0 * kRecommendedGain / kDecay, "mm");
    run.atMost("Seconds of contact amid the groove", 1.0 - std::min(free, 1.0), 0.0, "s");
    run.atMost("Force when contact is found again", peak, kFoundLimit, "N");
    run.atMost("Mean off the target behind the groove", std::fabs(again.mean()), kDeadBand, "N");
    run.atMost("Deviation behind the groove", again.deviation(), kDeadBand, "N");
}

// The goal is in the workpiece's frame; mm.
double offGoal(const TRSF& flange) {
    TRSF inWorkPiece;
    baseTrsfToWorkPiece(mpb.workPieceNum, flange, &inWorkPiece);
    const VECT &a = inWorkPiece.p, &b = mpb.goalPos.p;
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

double offSetPoint() {
    const VECT &a = mpb.t6.p, &b = mpb.tC.p;
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

// The set-points stand at the goal from the cycle of the stop on, and the drives come to it, but for what the
// workpiece keeps them off, if it was touched.
void judgeStop(Run& run, const char* word, double offBefore) {
    double commandOff = 0.0, overshoot = 0.0;
    for (long n = std::lround(1000.0 * kStandTime); n > 0; n--) {
        run.advance(0.001);
        commandOff = std::max(commandOff, offGoal(mpb.tC));
        for (std::size_t i = 0; i < 6; i++)
            commandOff = std::max(commandOff, std::fabs(mpb.jC.v[i] - mpb.jointPos.v[i]));
        overshoot = std::max(overshoot, offGoal(mpb.t6));
    }
    const bool ended = mpb.state == TGEN_IDLE && correction(*run.simulation) == 0.0;
    run.atMost(fmt::format("Not ended by {}", word), ended ? 0.0 : 1.0, 0.0, "");
    run.atMost(fmt::format("Set-points off the goal after {}", word), commandOff, kArrivalLimit, "mm, deg");
    run.atMost(fmt::format("Arm off the goal at most after {}", word), overshoot, kOvershootLimit, "mm");
    run.atMost(fmt::format("Arm off it in the end, more than before {}", word), offGoal(mpb.t6) - offBefore,
               kStandLimit, "mm");
}

// Starts over the groove, with a work piece's frame that is not the base's.
void pressInFrame(Run& run, const Press& setting, Findings& found) {
    startOver(run, {kHard, groove}, false);
    constexpr int kNumber = 1;
    TRSF& frame = host::workPieceInBase[kNumber];
    rpyToTrsf(&frame, 30.0, 10.0, -20.0);
    frame.p = {200.0, -100.0, 50.0};
    mpb.workPieceNum = kNumber;
    touchDown(run, setting, found);
    beginLine(run, kGrooveSpeed, found);
}

void playLimit(Run& run, Findings& found) {
    constexpr double kMost = 4.0;  // mm
    pressInFrame(run, {.most = kMost}, found);
    run.mark("groove, limit");
    double last = 0.0, most = 0.0;
    for (long n = std::lround(1000.0 * kGrooveTime); n > 0 && mcb.forceControl.constForceFlag == 1; n--) {
        most = std::max(most, last = correction(*run.simulation));
        run.advance(0.001);
    }
    run.mark("limit stop");
    const bool told = mcb.forceControl.constForceFlag == 0 && mcb.cmdPointError == zvCtlConstForceZOver;
    run.tell("Correction before the limit stop", last, "mm");
    run.atMost("Limit not told as the correction along z", told ? 0.0 : 1.0, 0.0, "");
    run.atMost("Correction beyond its limit", most, kMost, "mm");
    judgeStop(run, "the limit", 0.0);
}

void playStop(Run& run, const char* word, void (*stop)(Findings&), Findings& found) {
    pressInFrame(run, {}, found);
    run.advance(kStopAfter);
    run.mark(word);
    const double before = correction(*run.simulation), offBefore = offSetPoint();
    stop(found);
    judgeStop(run, word, offBefore);
    run.tell(fmt::format("Correction before {}", word), before, "mm");
}

void stopByCommand(Findings& found) {
    if (stopPressing() != 0) found.refused++;
}

void switchSensorOff(Findings&) { zvmcSetAxleDeviceType(0); }

// The motion takes its time, whatever is asked.
void play(Run& run, double) {
    run.recording.more = kPressGroups;
    Findings found{};
    for (const Row& row : kRows) playRow(run, row, found);
    playGroove(run, found);
    playLimit(run, found);
    playStop(run, "the command", stopByCommand, found);
    playStop(run, "the sensor", switchSensorOff, found);
    run.atMost("Largest force of a touching down", found.touch, kTouchLimit, "N");
    run.atMost("Mean speed of the correction", found.unrest, kUnrestLimit, "mm/s");
    run.atMost("Commands refused", found.refused, 0.0, "");
    run.atMost("Lines not planned or not over", found.unserved, 0.0, "");
    run.simulation->plant().setToolForces({});
}

// ---- gains against stiffness

constexpr double kGains[] = {0.0002, 0.0005, 0.001, 0.002, 0.005, 0.01, 0.02};  // mm a cycle for a newton
constexpr double kStiffnesses[] = {5.0, 20.0, 50.0, 100.0, 200.0};              // N/mm
constexpr double kSettleTime = 4.0;                                             // s
constexpr double kRestTime = 1.0;                                               // s

// Gain times stiffness is the share of an error that a cycle takes back. Up to a twentieth the force does not
// overshoot; from a two-hundredth on it has come within the dead band in the time given.
constexpr double kLeastShare = 0.0049, kMostShare = 0.051;
constexpr double kOvershootForce = 22.0;  // N
constexpr double kCycling = 2.0;          // mm/s; noise moves it by 0.5, a cycle by 40

// What else the command takes, at the recommended gain.
struct Other {
    const char* word;
    double stiffness;  // N/mm
    Press setting;
};
const Other kOthers[] = {
    {"tip, 5 N/mm, gain 0.001, integral 1e-6", kSoft, {.integral = 1e-6}},
    {"tip, 5 N/mm, gain 0.001, integral 1e-5", kSoft, {.integral = 1e-5}},
    {"tip, 50 N/mm, gain 0.001, derivative 0.005", kHard, {.derivative = 0.005}},
    {"tip, 50 N/mm, gain 0.001, filtered", kHard, {.filtered = true}},
    {"tip, 50 N/mm, gain 0.001, tuned", kHard, {.tuned = true}},
    {"tip, 200 N/mm, gain 0.001, tuned", 200.0, {.tuned = true}},
};

struct TouchDown {
    double peak;  // N
    Pressed rest;
};

// Neither the tool nor the workpiece moves but by the force.
TouchDown settle(Run& run, const std::string& word, double stiffness, bool side, const Press& setting,
                 bool shown) {
    startOver(run, {stiffness}, side);
    if (shown) run.mark(word);
    startPressing(setting);
    const double peak = press(run, kSettleTime, shown).most;
    const Pressed rest = press(run, kRestTime, shown);
    run.findings.emplace_back(
        word, fmt::format("{:.1f} N at most, then {:.2f} +- {:.2f} N, correction {:.2f} mm/s", peak,
                          kPressForce + rest.mean(), rest.deviation(), rest.unrest()));
    return {peak, rest};
}

void playGains(Run& run, double) {
    run.recording.more = kPressGroups;
    double touch = 0.0, unrest = 0.0, off = 0.0;
    for (const bool side : {false, true})
        for (const double stiffness : kStiffnesses)
            for (const double gain : kGains) {
                const bool shown = stiffness == 200.0 && (gain == 0.0005 || gain == 0.005);
                const std::string word =
                    fmt::format("{}, {:g} N/mm, gain {:g}", side ? "side" : "tip", stiffness, gain);
                const TouchDown found = settle(run, word, stiffness, side, {.gain = gain}, shown);
                const double share = gain * stiffness;
                if (share < kLeastShare || share > kMostShare) continue;
                touch = std::max(touch, found.peak);
                unrest = std::max(unrest, found.rest.unrest());
                off = std::max(off, std::fabs(found.rest.mean()));
            }
    for (const Other& other : kOthers) settle(run, other.word, other.stiffness, false, other.setting, false);
    run.atMost("Largest force, recommended gains", touch, kOvershootForce, "N");
    run.atMost("Mean off the target, recommended gains", off, kDeadBand, "N");
    run.atMost("Speed of the correction, recommended gains", unrest, kCycling, "mm/s");
    run.simulation->plant().setToolForces({});
}

}  // namespace

const Scenario kPress = {
    "press",
    "A tool pressed at 20 N moves along flat and wavy workpieces and over a groove; a limit, a command and "
    "the "
    "sensor stop it.",
    static_cast<double>(std::size(kRows)) * (kTouchTime + kLineTime) + 3.0 * kTouchTime + 2.0 * kGrooveTime +
        2.0 * kStopAfter + 3.0 * kStandTime,
    play,
    FullDynamics,
};

const Scenario kPressGains = {
    "press-gains",
    "A tool touches down on workpieces of five stiffnesses with seven gains, tip and side: what overshoots, "
    "what cycles.",
    static_cast<double>(2 * std::size(kStiffnesses) * std::size(kGains) + std::size(kOthers)) *
        (kSettleTime + kRestTime),
    playGains,
    FullDynamics,
};

}  // namespace tarn::sim
