// A moving arm finds itself stopped: by a wall, and by a hand that pushes against the motion. At three speeds
// every reaction has to end as it is told to. Before that, a push that grows tells what each level finds.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "sim/hand.h"
#include "sim/scenarios/scenarios.h"
#include "sim/scenarios/supervised_arm.h"
#include "sim/vectors.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr double kPlace = 0.4;                  // of the way: where the arm is stopped
constexpr double kSpeeds[] = {0.1, 0.25, 0.5};  // of the nominal ones
constexpr double kRecordedSpeed = 0.25;         // with the wall; the others are told, not shown
constexpr double kStandTime = 0.2;              // s, before the move

constexpr double kWallStiffness = 50e3;  // N/m
constexpr double kToolRadius = 10.0;     // mm

constexpr double kRampSpeed = 0.05, kRampPlace = 0.1;  // of the arm under a growing push
constexpr double kRampRate = 100.0;                    // N/s per N m of rated motor torque of joint 1
constexpr double kHandShare = 3.0;                     // of the smallest push that the level finds
constexpr double kHandRise = 0.05, kHandTime = 0.5;    // s

constexpr int kReactions = 6;
constexpr int kSettle = 800;    // cycles after the end, in which a hand lets go
constexpr int kTooLong = 9000;  // cycles from the collision to the end

constexpr double kDelayLimit = 60.0;  // ms
constexpr double kStillSpeed = 0.5;   // deg/s
constexpr double kGoalLimit = 1e-6;   // deg

enum class Obstacle { Wall, Hand };

struct Encounter {
    double delay = -1.0;  // ms from the first touch to the detection; below 0: none, or ahead of it
    double found = 0.0;   // N, at the detection
    double peak = 0.0;    // N
    double speed = 0.0;   // mm/s of the flange at the touch
    double moved = 0.0;   // mm, farthest of the flange from where it was at the detection
    double left = 0.0;    // mm, the same in the end
    bool asTold = false;
};

double flangeSpeed(const Simulation& s) { return 1e3 * vector(s.plant().tool().velocity).norm(); }
Eigen::Vector3d flange(const Simulation& s) { return vector(s.plant().tool().flange.origin); }

// What acts on the tool from outside, N.
Joints toolForce(const Simulation& s) {
    const Vec3& force = s.plant().toolWrench().force;
    return {force[0], force[1], force[2], vector(force).norm()};
}
double touch(const Simulation& s) { return toolForce(s)[3]; }

const Group kToolForce = {
    "tool_N", "Force on the tool, base frame", "N", toolForce, {"x", "y", "z", "magnitude"}};

Simulation& startArm(Run& run, double level, int reaction, double speed) {
    Simulation& simulation = run.start(supervisedArm(run.options));
    setReaction(reaction);
    setLevel(level);
    setSpeed(speed);
    return simulation;
}

// The force of a slowly growing push that a level finds, N; not a number: none.
double smallestPush(Run& run, double level) {
    Simulation& simulation = startArm(run, level, 2, kRampSpeed);
    run.skip(kStandTime);
    const Way way = wayOf(simulation, 0.5);
    host::startJointMove(way.goal.data(), 1.0, 1);
    do run.skip(0.001);
    while (mpb.state == TGEN_SERVICE && !isPast(simulation, way, kRampPlace));
    const double rate = kRampRate * simulation.plant().options().ratedTorque[0];
    const double from = simulation.plant().tool().time;
    Hand hand(HandWrench{[&](double time) {
        const double force = rate * std::max(0.0, time - from);
        return Wrench{array(-force * vector(way.ahead)), {}};
    }});
    simulation.plant().setToolForces({hand.force()});
    while (mpb.state == TGEN_SERVICE && mcb.collisionStateback == 0) run.skip(0.001);
    const double force = touch(simulation);
    simulation.plant().setToolForces({});
    return mcb.collisionStateback == 1 ? force : std::nan("");
}

bool endedAsTold(int reaction, const Simulation& simulation, const Way& way, int dragged, double moved) {
    double left = 0.0;
    for (std::size_t i = 0; i < 6; i++)
        left = std::max(left, std::fabs(simulation.commanded()[i] - way.goal[i]));
    const bool atGoal = left <= kGoalLimit;
    const unsigned code = mcb.collisionError - ZV_CTL_COLLISION_ERROR;
    const bool fault = 1 <= code && code <= 6;
    const bool still = jointSpeed(simulation) <= kStillSpeed;
    const bool back = mcb.collisionStateback == 1;
    const bool guided = fault && still && !back && mcb.fricCompensationFlag == 0 && mpb.state == TGEN_IDLE;
    switch (reaction) {
        case 0:
            return fault && still && back && !atGoal && dragged == 0 && mpb.state == TGEN_PAUSE;
        case 1:
            return code == 0 && back && atGoal && dragged == 0 && mpb.state == TGEN_IDLE &&
                   mcb.motionAlarm == zvCtlCollisionAlarm;
        case 2:
            return fault && still && back && !atGoal && dragged == 0 && mpb.state == TGEN_IDLE;
        case 3:
            return guided && dragged == kFreeTime + 1;
        case 4:
            return guided && dragged == kSpringTime + 1;
        default:
            return guided && (dragged == kSafeTime + 1 || (dragged <= kSafeTime && moved > kSafeDistance));
    }
}

Encounter meet(Run& run, Obstacle obstacle, double speed, int reaction, double push) {
    const bool recorded = obstacle == Obstacle::Wall && speed == kRecordedSpeed;
    Simulation& simulation = startArm(run, kRecommendedLevel, reaction, speed);
    const auto pass = [&] {
        if (recorded)
            run.advance(0.001);
        else
            run.skip(0.001);
    };
    if (recorded) run.mark(fmt::format("reaction {}", reaction));
    for (long n = std::lround(kStandTime * 1000.0); n > 0; n--) pass();

    const Way way = wayOf(simulation, kPlace);
    if (obstacle == Obstacle::Wall)
        simulation.plant().setSurfaces({{}, kToolRadius},
                                       {{array(vector(way.place) + 1e-3 * kToolRadius * vector(way.ahead)),
                                         array(-vector(way.ahead)), kWallStiffness, 100.0, 0.2, 0.001}});
    double from = HUGE_VAL;
    Hand hand(HandWrench{[&](double time) {
        const double rise = std::clamp((time - from) / kHandRise, 0.0, 1.0);
        const double force = time < from + kHandTime ? push * rise : 0.0;
        return Wrench{array(-force * vector(way.ahead)), {}};
    }});
    simulation.plant().setToolForces({hand.force()});

    Encounter result;
    host::startJointMove(way.goal.data(), 1.0, 1);
    int touched = -1, detected = -1, dragged = 0, ended = 0;
    Eigen::Vector3d foundAt = Eigen::Vector3d::Zero();
    for (int cycle = 0; ended < kSettle && (detected < 0 || cycle < detected + kTooLong); cycle++) {
        pass();
        if (obstacle == Obstacle::Hand && from == HUGE_VAL && isPast(simulation, way, kPlace))
            from = simulation.plant().tool().time;
        const double force = touch(simulation);
        if (touched < 0 && force > 0.0) {
            touched = cycle;
            result.speed = flangeSpeed(simulation);
        }
        result.peak = std::max(result.peak, force);
        if (detected < 0 && mcb.collisionStateback == 1) {
            detected = cycle;
            foundAt = flange(simulation);
            result.found = force;
            if (touched >= 0) result.delay = detected - touched;
        }
        if (mpb.state == TGEN_DRAG) dragged++;
        if (detected >= 0) result.left = 1e3 * (flange(simulation) - foundAt).norm();
        result.moved = std::max(result.moved, result.left);
        ended = mpb.state == TGEN_IDLE || mpb.state == TGEN_PAUSE ? ended + 1 : 0;
    }
    result.asTold = detected >= 0 && endedAsTold(reaction, simulation, way, dragged, result.moved);
    simulation.plant().setToolForces({});
    return result;
}

// The motion takes its time, whatever is asked.
void play(Run& run, double) {
    run.recording.more = {kDeviation, kToolForce};
    double missed = 0.0, delay = 0.0;
    double other[kReactions] = {};
    double push = 0.0;
    std::vector<double> pushes;
    const auto findPushes = [&] {
        for (int level = 1; level <= 10; level++) pushes.push_back(smallestPush(run, level));
        push = kHandShare * pushes[static_cast<std::size_t>(kRecommendedLevel) - 1];
    };
    const auto meetAll = [&](Obstacle obstacle, double speed) {
        Encounter of[kReactions];
        std::string peaks, ways, ends;
        for (int reaction = 0; reaction < kReactions; reaction++) {
            Encounter& e = of[reaction] = meet(run, obstacle, speed, reaction, push);
            if (e.delay < 0.0) missed++;
            delay = std::max(delay, e.delay);
            if (!e.asTold) other[reaction]++;
            const char* comma = reaction == 0 ? "" : ", ";
            peaks += fmt::format("{}{:.0f}", comma, e.peak);
            ways += fmt::format("{}{:.0f}", comma, e.moved);
            ends += fmt::format("{}{:.0f}", comma, e.left);
        }
        const char* name = obstacle == Obstacle::Wall ? "Wall" : "Hand";
        const double percent = 100.0 * speed;
        run.figure(fmt::format("{}: speed at the touch, by % of speed", name), percent, of[0].speed, "mm/s");
        run.figure(fmt::format("{}: time to the detection, by % of speed", name), percent,
                   of[0].delay < 0.0 ? std::nan("") : of[0].delay, "ms");
        run.figure(fmt::format("{}: force at the detection, by % of speed", name), percent, of[0].found, "N");
        for (int reaction = 0; reaction < kReactions; reaction++)
            run.figure(fmt::format("{}: largest force at {:g} % of speed, by reaction", name, percent),
                       reaction, of[reaction].peak, "N");
        run.findings.emplace_back(
            fmt::format("{} met at {:.0f} mm/s", name, of[0].speed),
            fmt::format(
                "found after {:.0f} ms at {:.0f} N; by reaction: peak {} N, way {} mm, in the end {} mm",
                of[0].delay, of[0].found, peaks, ways, ends));
    };

    meetAll(Obstacle::Wall, kRecordedSpeed);
    for (const double speed : kSpeeds)
        if (speed != kRecordedSpeed) meetAll(Obstacle::Wall, speed);
    findPushes();
    for (const double speed : kSpeeds) meetAll(Obstacle::Hand, speed);

    double unfound = 0.0, unordered = 0.0;
    for (std::size_t n = 0; n < pushes.size(); n++) {
        if (std::isnan(pushes[n])) unfound++;
        if (n > 0 && !(pushes[n] > pushes[n - 1])) unordered++;
        run.figure("Smallest push found, by level", static_cast<double>(n + 1), pushes[n], "N");
    }
    run.findings.emplace_back("Smallest push found by level 1 to 10",
                              fmt::format("{:.0f} N", fmt::join(pushes, ", ")));
    run.atMost("Collisions not found, or ahead of the touch", missed, 0.0, "");
    run.atMost("Longest time to the detection", delay, kDelayLimit, "ms");
    constexpr const char* kEnds[] = {"pause",     "alarm alone",      "stop",
                                     "free drag", "drag on a spring", "drag with push-back"};
    for (std::size_t reaction = 0; reaction < kReactions; reaction++)
        run.atMost(fmt::format("Ends other than told, {} ({})", reaction, kEnds[reaction]), other[reaction],
                   0.0, "");
    run.atMost("Levels that find no push", unfound, 0.0, "");
    run.atMost("Levels that find less than the one above", unordered, 0.0, "");
}

}  // namespace

const Scenario kCollide = {
    "collide",
    "A moving arm meets a wall and a hand: found in time, and every reaction ends as it is told to.",
    150.0,
    play,
    FullDynamics,
};

}  // namespace tarn::sim
