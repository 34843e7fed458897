// The guard on the sensor's force, the joints' supervisor being off: a moving arm runs into a wall, and a
// hand pushes a standing one, each with every reaction. What a reaction hands on to the torque cycle has to
// be in force in the same cycle and to end by itself, and what stays armed has to act again.
//
// The bands are set as an installer sets them: the program runs once with nothing in its way, and what the
// sensor feels then, the tool's own inertia, has to stay inside.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

#include "sim/hand.h"
#include "sim/scenarios/guiding_hand.h"
#include "sim/scenarios/scenarios.h"
#include "sim/scenarios/sensing_arm.h"
#include "sim/scenarios/supervised_arm.h"
#include "sim/vectors.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kPlace = 0.4;                  // of the way: where the wall is
constexpr double kSpeeds[] = {0.25, 0.1, 0.5};  // of the nominal ones
constexpr double kRecordedSpeed = 0.25;         // the others are told, not shown
constexpr double kStandTime = 0.2;              // s, before the move

constexpr double kLeastBand = 20.0;  // N, to either side
constexpr double kBandShare = 1.5;   // of what is felt without a wall

constexpr double kWallStiffness = 50e3;  // N/m
constexpr double kToolRadius = 10.0;     // mm, about the flange's center

constexpr double kPushShare = 2.0;                   // of the band: a hand at a standing arm
constexpr double kPushRise = 0.05, kPushTime = 0.3;  // s
constexpr double kPause = 0.3;                       // s, behind it
constexpr int kOpenDrag = 1500;                      // cycles of a guiding that nothing ends

constexpr struct {
    double seconds = 1.5;
    double speed = 250.0, turn = 120.0;  // mm/s, deg/s
} kForget;

constexpr int kReactions = 6;
constexpr int kSettle = 800;    // cycles after the end
constexpr int kTooLong = 9000;  // cycles from the collision to the end

// ms: one from the force to the words, and the filter of the intake, a cycle or two at a force that grows
// fast
constexpr double kDelayLimit = 5.0;
constexpr double kStillSpeed = 0.5;      // deg/s
constexpr double kGoalLimit = 1e-6;      // deg
constexpr double kCommandLimit = 1.001;  // 1/1000 of rated: the cut to whole numbers, and rounding
// the expected current is cut, too, and what it deviates counts two and a half times
constexpr double kPushBackLimit = 3.6;  // 1/1000 of rated
// %: drives that let go at once feel the arm's momentum alone, those that brake press on
constexpr double kPeakLimit = 90.0;

// N m, what the command of hand guiding holds beside model and compensated friction.
Joints reactionTorque(const Simulation& simulation) {
    if (mpb.state != TGEN_DRAG) return {};
    Joints torque = simulation.plant().jointTorque(simulation.currentSet());
    const Joints model = modelTorque(simulation), friction = compensatedFriction();
    for (std::size_t i = 0; i < 6; i++) torque[i] -= model[i] + friction[i];
    return torque;
}

Joints guardState(const Simulation&) {
    const FORCE_CONTROL& guard = mcb.forceControl;
    return {static_cast<double>(mpb.state), static_cast<double>(guard.collisionFlag),
            static_cast<double>(guard.collisionErrorState)};
}

const Group kReactionTorque = {"reaction_Nm", "Torque that the reaction adds", "N m", reactionTorque};
const Group kGuardState = {
    "guard", "State of the motion and of the guard", "-", guardState, {"motion", "armed", "handed over"}};

double flangeSpeed(const Simulation& s) { return 1e3 * vector(s.plant().tool().velocity).norm(); }
Eigen::Vector3d flange(const Simulation& s) { return vector(s.plant().tool().flange.origin); }

// N, the largest component of what acts on the tool from outside, and of what the guard sees.
double touch(const Simulation& s) {
    const Eigen::Matrix3d turn = rotation(s.plant().tool().flange);
    return (turn.transpose() * vector(s.plant().toolWrench().force)).lpNorm<Eigen::Infinity>();
}
double felt() {
    return std::max({std::fabs(mpb.forceRCS.fx), std::fabs(mpb.forceRCS.fy), std::fabs(mpb.forceRCS.fz)});
}

Simulation& startArm(Run& run, int reaction, double speed) {
    SimulationOptions setup = sensingArm(run.options);
    const SimulationOptions arm = supervisedArm(run.options);
    setup.startPose = arm.startPose;
    setup.positionLoop = arm.positionLoop;
    // it keeps the history of commanded currents, from which the reaction takes the expected torque
    setup.supervised = true;
    Simulation& simulation = run.start(setup);
    setLevel(kLevelOff);
    setReaction(reaction);
    setSpeed(speed);
    putSensorToUse(simulation);
    return simulation;
}

void setGuard(std::uint8_t status, double band) {
    std::uint8_t axes[6] = {1, 1, 1, 0, 0, 0};
    const FORCESENSOR_DATA width = {band, band, band, 0.0, 0.0, 0.0};
    mpb.posSensorCtlList[0] = mpb.posSensorCtl;
    tmcCollisionStartStop(status, 0, axes, {}, width, width, 1);
}

// The filter that the push-back takes the sensed force from is never reset and moves on by a sample a firing:
// it keeps the force of an earlier collision. A drag by force and torque that adds nothing, weight 1 and no
// hand, lets it go.
void forgetForce(Run& run) {
    double weight[6], none[6] = {}, damping[6] = {};
    std::fill_n(weight, 6, 1.0);
    zvmcForceAndTorqueDragStartStop(1, 0, weight, none, damping, kForget.speed, kForget.turn);
    tmcDragSwitch(1);
    run.skip(kForget.seconds);
    tmcDragSwitch(0);
    run.skip(0.1);
    zvmcForceAndTorqueDragStartStop(0, 0, weight, none, damping, kForget.speed, kForget.turn);
}

// Cycles in which the guard has acted, from the outside: all reactions but 1 end in a call of the host, and 1
// raises its fault anew.
class Firings {
  public:
    // Behind a cycle.
    bool fired() {
        const int calls = host::motionRecord.configHandled;
        const bool acted =
            calls != calls_ || (mcb.collisionPauseFlag == 1 && mcb.collisionError == zvCtlJ1CollisionError);
        calls_ = calls;
        return acted;
    }

  private:
    int calls_ = host::motionRecord.configHandled;
};

bool handsOver(int reaction) { return reaction >= 3; }
bool staysArmed(int reaction) { return reaction == 0 || reaction == 1 || reaction == 5; }

ZvCollisionError codeOf(int reaction) {
    if (reaction == 5) return zvCtlCollisionOK;
    return reaction == 1 ? zvCtlJ1CollisionError : zvCtlFSCollisionError;
}

// Lines that name the place of a hand-over, since a line of the log.
int markers(const Run& run, std::size_t from, int place) {
    const std::string end = fmt::format("= : {}", place);
    return static_cast<int>(std::count_if(run.log.begin() + static_cast<std::ptrdiff_t>(from), run.log.end(),
                                          [&](const LogLine& line) { return line.text.ends_with(end); }));
}

// What the sensor feels of the program with nothing in its way, N.
double feltOnTheWay(Run& run, double speed) {
    Simulation& simulation = startArm(run, 2, speed);
    run.skip(kStandTime);
    host::startJointMove(wayOf(simulation, kPlace).goal.data(), 1.0, 1);
    double most = 0.0;
    do {
        run.skip(0.001);
        most = std::max(most, felt());
    } while (mpb.state == TGEN_SERVICE);
    return most;
}

struct Encounter {
    double delay = std::nan("");  // ms, from a force outside the bands to the reaction
    double found = 0.0;           // N, at the reaction
    double peak = 0.0;            // N
    double speed = 0.0;           // mm/s of the flange at the touch
    double moved = 0.0;           // mm, farthest of the flange from where it was at the reaction
    double firings = 0.0;         // cycles
    double offCommand = 0.0;      // 1/1000 of rated, of hand guiding under reaction 3 and 4
    double offPushBack = 0.0;     // the same of reaction 5, where the host disarms
    double pushedBack = 0.0;      // N m, largest torque of reaction 5
    bool asTold = false;
};

// What the spring of reaction 4 asks for, N m.
Joints springTorque(const Joints& from, const Simulation& simulation) {
    constexpr Joints kDamp = {0.5, 0.5, 0.5, 0.1, 0.1, 0.0};  // N m s/deg
    Joints torque;
    for (std::size_t i = 0; i < 6; i++)
        torque[i] = 5.0 * (from[i] - simulation.measured()[i]) - kDamp[i] * 1e3 * simulation.velocity()[i];
    return torque;
}

// What the push-back of reaction 5 asks for, N m, after a number of cycles: the torque that the arm had to
// spare at the reaction, fading, and all of it less where the tool is fast. Joint 2 stays out: what is
// expected of it is told late.
Joints pushBackTorque(const Joints& spare, int cycles, const Simulation& simulation) {
    if (cycles >= kSafeTime) return {};
    const Joints model = modelTorque(simulation);
    const double fading = 2.5 * std::exp(-0.001 * cycles * kSafetyMargin);
    const double slower = mpb.tcpvel >= kSafeSpeed ? kSafeSpeed / mpb.tcpvel : 1.0;
    Joints torque{};
    for (const std::size_t i : {0U, 2U}) torque[i] = (model[i] - fading * spare[i]) * slower - model[i];
    return torque;
}

double offCommand(const Simulation& simulation, const Joints& wanted, bool joint2 = true) {
    const Joints added = reactionTorque(simulation);
    double most = 0.0;
    for (int i = 0; i < 6; i++) {
        if (i == 1 && !joint2) continue;
        const auto k = static_cast<std::size_t>(i);
        most = std::max(most, std::fabs(simulation.plant().currentOf(added[k] - wanted[k], i)));
    }
    return most;
}

struct Phase {
    int first = -1, last = -1;  // cycles in which the guard acted
    int lastGuided = -1;        // the last of them under hand guiding
    int dragged = 0;            // cycles of hand guiding
    double moved = 0.0;         // mm of the flange since the last of them
    bool disarmed = false;      // by the host, in the cycle of the first
    int wrongEntry = 0;         // 1: not handed over in the cycle of the reaction
};

bool endedAsTold(int reaction, const Run& run, const Way& way, const Phase& phase, std::size_t logged) {
    const Simulation& simulation = *run.simulation;
    const FORCE_CONTROL& guard = mcb.forceControl;
    double left = 0.0;
    for (std::size_t i = 0; i < 6; i++)
        left = std::max(left, std::fabs(simulation.commanded()[i] - way.goal[i]));
    const bool atGoal = left <= kGoalLimit;
    const bool armed = guard.collisionFlag == 1;
    const bool still = jointSpeed(simulation) <= kStillSpeed;
    if (mcb.collisionError != codeOf(reaction) || armed != (staysArmed(reaction) && !phase.disarmed) ||
        phase.wrongEntry != 0)
        return false;
    if (!armed && phase.first != phase.last) return false;
    if (!handsOver(reaction)) {
        if (phase.dragged != 0 || guard.collisionErrorState != 0) return false;
        if (reaction == 1)
            return atGoal && mpb.state == TGEN_IDLE && host::motionRecord.configHandled == 0 &&
                   host::motionRecord.weldResets == 0;
        return still && !atGoal && mpb.state == (reaction == 0 ? TGEN_PAUSE : TGEN_IDLE) &&
               host::motionRecord.weldResets == host::motionRecord.configHandled;
    }
    // the place of the reaction once, and that of the end once
    const int places = markers(run, logged, 7 + reaction);
    const bool byDistance = markers(run, logged, 3) == 1;
    const bool byTime = markers(run, logged, 2) == 1;
    if (places != 1 || byDistance == byTime || mpb.state != TGEN_IDLE) return false;
    if (reaction != 5 && guard.collisionErrorState != 0) return false;
    if (reaction == 3) return byTime && still && phase.dragged == kFreeTime + 1;
    if (reaction == 4) return byTime && still && phase.dragged == kSpringTime + 1;
    // armed all the time: its time starts anew with each firing, and one behind the end asks for another
    if (guard.collisionErrorState != (phase.last > phase.lastGuided ? 2 : 0)) return false;
    const int time = kSafeTime + 1 + phase.lastGuided - phase.first;
    return byTime ? still && phase.dragged == time : phase.dragged < time && phase.moved > kSafeDistance;
}

// hostDisarms: the host takes the guard off in the cycle in which it acts.
Encounter meet(Run& run, double speed, int reaction, double band, bool hostDisarms = false) {
    const bool recorded = speed == kRecordedSpeed;
    Simulation& simulation = startArm(run, reaction, speed);
    const auto pass = [&] {
        if (recorded)
            run.advance(0.001);
        else
            run.skip(0.001);
    };
    if (hostDisarms) forgetForce(run);
    if (recorded) run.mark(fmt::format("reaction {}{}", reaction, hostDisarms ? ", disarmed" : ""));
    for (long n = std::lround(kStandTime * 1000.0); n > 0; n--) pass();
    setGuard(1, band);

    const Way way = wayOf(simulation, kPlace);
    const Eigen::Vector3d ahead = vector(way.ahead);
    simulation.plant().setSurfaces({{}, kToolRadius}, {{array(vector(way.place) + 1e-3 * kToolRadius * ahead),
                                                        array(-ahead), kWallStiffness, 100.0, 0.2, 0.001}});
    Encounter result;
    Phase phase;
    Firings firings;
    const std::size_t logged = run.log.size();
    Joints reference{}, spare{};
    Eigen::Vector3d foundAt = Eigen::Vector3d::Zero();
    VECT latchedAt{};
    int outside = -1, ended = 0;
    host::startJointMove(way.goal.data(), 1.0, 1);
    for (int cycle = 0; ended < kSettle && (phase.first < 0 || cycle < phase.first + kTooLong); cycle++) {
        const Currents feedback = simulation.current(), expected = simulation.currentSet();
        pass();
        const double force = touch(simulation);
        if (result.speed == 0.0 && force > 0.0) result.speed = flangeSpeed(simulation);
        result.peak = std::max(result.peak, force);
        const bool guided = mpb.state == TGEN_DRAG;
        if (guided) phase.dragged++;
        if (firings.fired()) {
            result.firings++;
            phase.last = cycle;
            if (guided) {
                phase.lastGuided = cycle;
                phase.moved = 0.0;
                latchedAt = mpb.tC.p;
            }
            if (phase.first < 0) {
                phase.first = cycle;
                foundAt = flange(simulation);
                result.found = force;
                if (outside >= 0) result.delay = cycle - outside;
                // guard, state and torque cycle have all seen it by now
                if (handsOver(reaction) && (!guided || mcb.forceControl.collisionErrorState != 2))
                    phase.wrongEntry = 1;
                reference = simulation.measured();
                const Joints has = simulation.plant().jointTorque(feedback);
                const Joints should = simulation.plant().jointTorque(expected);
                for (std::size_t i = 0; i < 6; i++) spare[i] = has[i] - should[i];
                if (hostDisarms) setGuard(0, band);
                phase.disarmed = hostDisarms;
            }
        }
        if (outside < 0 && force > band) outside = cycle;
        if (phase.first >= 0)
            result.moved = std::max(result.moved, 1e3 * (flange(simulation) - foundAt).norm());
        if (guided) {
            VECT moved;
            subtractVect(&moved, &mpb.tC.p, &latchedAt);
            phase.moved = std::max(phase.moved, normVect(&moved));
        }
        const int counted = cycle - phase.first + 1;
        if (guided && reaction == 3)
            result.offCommand = std::max(result.offCommand, offCommand(simulation, {}));
        if (guided && reaction == 4)
            result.offCommand =
                std::max(result.offCommand,
                         offCommand(simulation,
                                    counted < kSpringTime ? springTorque(reference, simulation) : Joints{}));
        if (guided && reaction == 5)
            for (const double torque : reactionTorque(simulation))
                result.pushedBack = std::max(result.pushedBack, std::fabs(torque));
        if (guided && reaction == 5 && hostDisarms)
            result.offPushBack =
                std::max(result.offPushBack,
                         offCommand(simulation, pushBackTorque(spare, counted, simulation), false));
        ended = mpb.state == TGEN_IDLE || mpb.state == TGEN_PAUSE ? ended + 1 : 0;
    }
    result.asTold = phase.first >= 0 && endedAsTold(reaction, run, way, phase, logged);
    return result;
}

// Cycles in which the guard acted under a push at a standing arm; below 0: the arm left idle.
int pushStanding(Run& run, const Vec3& along, double force) {
    Simulation& simulation = *run.simulation;
    const double from = simulation.plant().tool().time;
    Hand hand(HandWrench{[&](double time) {
                  const double share = std::min(1.0, (time - from) / kPushRise);
                  return Wrench{array(share * force * vector(along)), {}};
              }},
              {}, from, from + kPushTime);
    simulation.plant().setToolForces({hand.force()});
    Firings firings;
    int acted = 0;
    bool left = false;
    for (long n = std::lround((kPushTime + kPause) * 1000.0); n > 0; n--) {
        run.advance(0.001);
        if (firings.fired()) acted++;
        left = left || mpb.state != TGEN_IDLE;
    }
    simulation.plant().setToolForces({});
    return left ? -1 : acted;
}

struct Standing {
    bool asTold = true;
    double moved = 0.0;  // mm of the flange in the guiding that follows, without a hand
    int dragged = 0;     // cycles of it
    bool again = false;  // its end has made the guard act
};

// A hand pushes twice, before and after the host has cleared the fault; then the operator switches hand
// guiding on, which is where the time of a reaction begins that was asked for at a stand.
Standing stand(Run& run, int reaction, double band) {
    Simulation& simulation = startArm(run, reaction, kRecordedSpeed);
    run.mark(fmt::format("standing, reaction {}", reaction));
    run.advance(kStandTime);
    setGuard(1, band);
    const FORCE_CONTROL& guard = mcb.forceControl;
    const std::size_t logged = run.log.size();
    const Vec3 along = wayOf(simulation, 0.0).ahead;
    const double force =
        std::sqrt(3.0) * kPushShare * band;  // so much more than the band on one axis at least
    Standing result;
    const auto expect = [&](bool holds) { result.asTold = result.asTold && holds; };

    const int first = pushStanding(run, along, force);
    expect(staysArmed(reaction) ? first > 1 : first == 1);
    expect(mcb.collisionError == codeOf(reaction));
    expect(guard.collisionErrorState == (handsOver(reaction) ? 2 : 0));
    mcb.collisionError = zvCtlCollisionOK;
    const int second = pushStanding(run, along, force);
    expect(staysArmed(reaction) ? second > 1 : second == 0);
    expect(mcb.collisionError == (staysArmed(reaction) ? codeOf(reaction) : zvCtlCollisionOK));
    expect((guard.collisionFlag == 1) == staysArmed(reaction));
    for (int place = 10; place <= 12; place++) expect(markers(run, logged, place) == 0);

    run.mark("hand guiding, no hand");
    const Eigen::Vector3d rest = flange(simulation);
    tmcDragSwitch(1);
    Firings firings;
    bool again = false;  // stopped from its speed the tool's inertia is a force, too
    for (int cycle = 0;
         cycle < kOpenDrag || (handsOver(reaction) && mpb.state == TGEN_DRAG && cycle < kTooLong); cycle++) {
        run.advance(0.001);
        if (mpb.state == TGEN_DRAG) result.dragged++;
        if (firings.fired()) again = mpb.state != TGEN_DRAG;
        result.moved = std::max(result.moved, 1e3 * (flange(simulation) - rest).norm());
    }
    const int ends = markers(run, logged, 2) + markers(run, logged, 3);
    if (!handsOver(reaction)) expect(result.dragged == kOpenDrag && ends == 0);
    if (reaction == 3) expect(result.dragged == kFreeTime + 1);
    if (reaction == 4) expect(result.dragged == kSpringTime + 1);
    if (reaction == 5)
        expect(markers(run, logged, 3) == 1 ? result.moved > kSafeDistance : result.dragged >= kSafeTime + 1);
    if (handsOver(reaction))
        expect(ends == 1 && mpb.state == TGEN_IDLE && guard.collisionErrorState == (again ? 2 : 0));
    result.again = again;
    tmcDragSwitch(0);
    run.skip(0.002);
    return result;
}

// A push at a standing arm leaves the loops time to answer, so there is much to push back: the command of the
// guiding that follows, off what reaction 5 asks for, 1/1000 of rated.
double pushBackAtRest(Run& run, double band) {
    Simulation& simulation = startArm(run, 5, kRecordedSpeed);
    forgetForce(run);
    setGuard(1, band);
    const Vec3 along = wayOf(simulation, 0.0).ahead;
    Hand hand(HandWrench{[&, from = simulation.plant().tool().time](double time) {
        return Wrench{array((time - from) / kPushRise * band * vector(along)), {}};
    }});
    simulation.plant().setToolForces({hand.force()});
    Firings firings;
    Joints spare{};
    bool fired = false;
    for (int cycle = 0; !fired && cycle < kTooLong; cycle++) {
        const Joints has = simulation.plant().jointTorque(simulation.current());
        const Joints should = simulation.plant().jointTorque(simulation.currentSet());
        for (std::size_t i = 0; i < 6; i++) spare[i] = has[i] - should[i];
        run.skip(0.001);
        fired = firings.fired();
    }
    if (!fired) return std::nan("");
    setGuard(0, band);
    simulation.plant().setToolForces({});
    run.skip(kPause);
    tmcDragSwitch(1);
    run.skip(0.001);
    double most = 0.0;
    for (int cycle = 1; mpb.state == TGEN_DRAG && cycle < kTooLong; cycle++) {
        most = std::max(most, offCommand(simulation, pushBackTorque(spare, cycle, simulation), false));
        run.skip(0.001);
    }
    run.tell("Torque to spare at a stand, joint 1 and 3", std::max(std::fabs(spare[0]), std::fabs(spare[2])),
             "N m");
    return most;
}

// The motion takes its time, whatever is asked.
void play(Run& run, double) {
    run.recording.more = {kHandForce, kCompensatedForce, kReactionTorque, kGuardState};
    constexpr const char* kNames[] = {"pause",     "fault alone",      "stop",
                                      "free drag", "drag on a spring", "drag with push-back"};
    double wrong[kReactions] = {}, wrongAtRest[kReactions] = {};
    double delay = 0.0, offCommand = 0.0, offPushBack = 0.0, peaks = 0.0, band = kLeastBand;
    for (const double speed : kSpeeds) {
        const double free = feltOnTheWay(run, speed);
        const double wide = std::max(kLeastBand, kBandShare * free);
        if (speed == kRecordedSpeed) band = wide;
        Encounter of[kReactions + 1];  // the last one is 5 again
        std::string found, peak, way, acted;
        for (int n = 0; n <= kReactions; n++) {
            const int reaction = std::min(n, kReactions - 1);
            const Encounter& e = of[n] = meet(run, speed, reaction, wide, n == kReactions);
            delay = std::isnan(delay) || e.delay <= delay ? delay : e.delay;  // none stays, and fails
            offCommand = std::max(offCommand, e.offCommand);
            offPushBack = std::max(offPushBack, e.offPushBack);
            if (!e.asTold) wrong[reaction]++;
            const char* comma = n == 0 ? "" : ", ";
            peak += fmt::format("{}{:.0f}", comma, e.peak);
            way += fmt::format("{}{:.0f}", comma, e.moved);
            acted += fmt::format("{}{:.0f}", comma, e.firings);
        }
        for (const int n : {3, 4, kReactions}) peaks = std::max(peaks, 100.0 * of[n].peak / of[2].peak);
        run.findings.emplace_back(
            fmt::format("Wall met at {:.0f} mm/s", of[0].speed),
            fmt::format("felt without it {:.1f} N, band {:.1f} N, found after {:.0f} ms at {:.0f} N; by "
                        "reaction, and for 5 disarmed by the host: peak {} N, way {} mm, cycles in which the "
                        "guard acts {}; push-back up to "
                        "{:.0f} and {:.0f} N m",
                        free, wide, of[0].delay, of[0].found, peak, way, acted, of[5].pushedBack,
                        of[6].pushedBack));
    }
    std::string moved, dragged;
    for (int reaction = 0; reaction < kReactions; reaction++) {
        const Standing s = stand(run, reaction, band);
        if (!s.asTold) wrongAtRest[reaction]++;
        if (!handsOver(reaction)) continue;
        moved += fmt::format("{}{:.1f}", reaction == 3 ? "" : ", ", s.moved);
        dragged += fmt::format("{}{}", reaction == 3 ? "" : ", ", s.dragged);
    }
    const double atRest = pushBackAtRest(run, band);
    offPushBack = std::isnan(atRest) ? atRest : std::max(offPushBack, atRest);
    takeSensorOut();
    run.findings.emplace_back("Guiding without a hand after a push at a stand, reaction 3 to 5",
                              fmt::format("{} cycles, way {} mm", dragged, moved));

    run.atMost("Longest time from the band to the reaction", delay, kDelayLimit, "ms");
    run.atMost("Peak force of the hand-overs, over that of the stop", peaks, kPeakLimit, "%");
    run.atMost("Command off model, friction and reaction", offCommand, kCommandLimit, "1/1000 of rated");
    // on the other mounts the tool's moment counts as a force, which the filter keeps; and the push-back
    // takes every gear for one of 100
    const char* kPushBack = "Command off the push-back, joints 1 and 3";
    const bool judged =
        run.options.mount.code == 0 && run.simulation->plant().options().gearRatio[0] == 100.0;
    if (judged)
        run.atMost(kPushBack, offPushBack, kPushBackLimit, "1/1000 of rated");
    else
        run.tell(kPushBack, offPushBack, "1/1000 of rated");
    for (std::size_t r = 0; r < kReactions; r++)
        run.atMost(fmt::format("Ends other than told, {} ({})", r, kNames[r]), wrong[r], 0.0, "");
    for (std::size_t r = 0; r < kReactions; r++)
        run.atMost(fmt::format("Other than told at a stand, {} ({})", r, kNames[r]), wrongAtRest[r], 0.0, "");
}

}  // namespace

const Scenario kForceCollide = {
    "force-collide",
    "A moving arm meets a wall and a standing one a hand: the guard on the sensor's force, every reaction.",
    100.0,
    play,
    FullDynamics,
};

}  // namespace tarn::sim
