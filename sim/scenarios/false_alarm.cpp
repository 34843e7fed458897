// The planner sends the arm through random moves, without and with load, and with friction that the library
// does not know of: nothing touches it, so the supervisor must not speak up.
//
// For the hour, ask for 3600 seconds. Only the start of each case is recorded.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "model/type_table.h"
#include "sim/scenarios/scenarios.h"
#include "sim/scenarios/supervised_arm.h"
#include "tarnhost/kinematics.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn::sim {
namespace {

constexpr double kRecorded = 5.0;  // s, of each case
constexpr double kReach = 150.0;   // deg, of the goals
constexpr double kSlowest = 0.05, kFastest = 1.0;
constexpr double kLineReach = 200.0;  // mm
constexpr double kLines = 0.25;       // of the moves
constexpr double kPauses = 0.1;       // of the moves, with one each
constexpr double kPauseTime = 0.3;    // s
constexpr int kSpare = 3000;          // cycles that a move may last longer, with its pause
constexpr double kFrictionError = 0.2;

// Load of the loaded case, kg, where none is asked for: about half of what the arms carry.
constexpr TypeRow<double> kHalfLoad[] = {
    {1, 100, 1.5}, {201, 300, 5.0}, {301, 400, 8.0}, {401, 500, 10.0}, {701, 903, 1.5}, {1001, 1100, 15.0},
};
constexpr double kHalfLoadOther = 2.5;

struct Draw {
    std::mt19937_64 generator;
    double operator()(double low, double high) {
        constexpr double kUnit = 0x1p-53;
        return low + (high - low) * static_cast<double>(generator() >> 11) * kUnit;
    }
};

// The largest deviation, over half the band, that every cycle of a detection time had at least.
class Lasting {
  public:
    void add(const Joints& share) {
        const auto& count = static_cast<std::size_t>(mpb.collisionErrorTime);
        for (std::size_t i = 0; i < 6; i++) {
            std::vector<double>& window = last_[i];
            window.push_back(std::fabs(share[i]));
            if (window.size() > count) window.erase(window.begin());
            if (window.size() == count)
                most_[i] = std::max(most_[i], *std::min_element(window.begin(), window.end()));
        }
    }
    void interrupt() {
        for (std::vector<double>& window : last_) window.clear();
    }
    const Joints& most() const { return most_; }

  private:
    std::array<std::vector<double>, 6> last_;
    Joints most_{};
};

struct Case {
    const char* word;
    bool loaded;
    double friction;
};
constexpr Case kCases[] = {
    {"without load", false, 1.0},
    {"with load", true, 1.0},
    {"20 % more friction", false, 1.0 + kFrictionError},
    {"20 % less friction", false, 1.0 - kFrictionError},
};

struct Outcome {
    double alarms = 0.0;
    double moves = 0.0;
    double unserved = 0.0;
    Joints most{};
};

class Wanderer {
  public:
    Wanderer(Run& run, double seconds) : run_(run), left_(std::lround(seconds * 1000.0)) {
        draw_.generator.seed(run.options.seed + 1);
    }

    Outcome wander() {
        const long recorded = std::lround(kRecorded * 1000.0);
        toRecord_ = recorded;
        while (left_ > 0) {
            const double speed = draw_(kSlowest, kFastest);
            setSpeed(speed);
            const bool paused = draw_(0.0, 1.0) < kPauses;
            const double pauseAt = draw_(0.0, 1.0);
            if (!start()) outcome_.unserved++;
            outcome_.moves++;
            int cycle = 0;
            bool asked = !paused;
            int standing = 0;
            do {
                step();
                if (!asked && mpb.ci.c > pauseAt * mpb.ci.sigma) {
                    tmcPause();
                    asked = true;
                }
                if (mpb.state == TGEN_PAUSE && ++standing == std::lround(kPauseTime * 1000.0))
                    host::requestState(LEAVE_PAUSE_STATE);
            } while (left_ > 0 && mpb.state != TGEN_IDLE && ++cycle < mpb.ci.sigma + kSpare);
            if (left_ > 0 && mpb.state != TGEN_IDLE) {
                outcome_.unserved++;
                break;
            }
        }
        outcome_.most = lasting_.most();
        return outcome_;
    }

  private:
    bool start() {
        if (draw_(0.0, 1.0) < kLines) {
            TRSF goal;
            host::flangePose(run_.options.robotType, run_.simulation->commanded().data(), &goal);
            goal.p.x += draw_(-kLineReach, kLineReach);
            goal.p.y += draw_(-kLineReach, kLineReach);
            goal.p.z += draw_(-kLineReach, kLineReach);
            if (host::startLineMove(goal, mpb.limitsGoto.maxVel, 1)) return true;  // else it is out of reach
        }
        Joints goal;
        for (double& angle : goal) angle = draw_(-kReach, kReach);
        return host::startJointMove(goal.data(), 1.0, 1);
    }

    void step() {
        if (toRecord_ > 0)
            run_.advance(0.001);
        else
            run_.skip(0.001);
        toRecord_--;
        left_--;
        if (mpb.state == TGEN_SERVICE && mpb.ci.c > 100 && mpb.ci.c < mpb.ci.sigma - 100) {
            lasting_.add(bandShare(*run_.simulation));
        } else {
            lasting_.interrupt();
        }
        if (mcb.collisionStateback == 1) {
            outcome_.alarms++;
            mcb.collisionStateback = 0;
            mcb.motionAlarm = zvCtlMotionNoAlarm;
        }
    }

    Run& run_;
    long left_;  // cycles
    long toRecord_ = 0;
    Draw draw_;
    Lasting lasting_;
    Outcome outcome_;
};

void play(Run& run, double seconds) {
    run.recording.more.push_back(kDeviation);
    for (const Case& c : kCases) {
        SimulationOptions setup = supervisedArm(run.options);
        setup.load = 0.0;
        if (c.loaded)
            setup.load = run.options.load > 0.0 ? run.options.load
                                                : byType(kHalfLoad, kHalfLoadOther, run.options.robotType);
        setup.frictionScale *= c.friction;
        run.start(setup);
        setLevel(kRecommendedLevel);
        mcb.collisionPauseFlag = 1;  // the alarm alone, so that the motion goes on
        run.mark(c.word);
        const Outcome outcome = Wanderer(run, seconds).wander();
        run.atMost(fmt::format("False alarms {}", c.word), outcome.alarms, 0.0, "");
        run.atMost(fmt::format("Moves not planned or not over, {}", c.word), outcome.unserved, 0.0, "");
        for (std::size_t i = 0; i < outcome.most.size(); i++)
            run.figure(fmt::format("Lasting deviation {}, by joint", c.word), static_cast<double>(i + 1),
                       outcome.most[i], "of the band");
        run.figure(fmt::format("Moves {}", c.word), std::nan(""), outcome.moves, "");
        run.findings.emplace_back(fmt::format("Lasting deviation {}", c.word),
                                  fmt::format("{:.2f} of the band by joint ({:.0f} moves)",
                                              fmt::join(outcome.most, ", "), outcome.moves));
    }
}

}  // namespace

const Scenario kFalseAlarm = {
    "false-alarm",
    "Random moves that nothing touches, without and with load and with wrong friction: no alarm may come.",
    20.0,
    play,
    FullDynamics,
};

}  // namespace tarn::sim
