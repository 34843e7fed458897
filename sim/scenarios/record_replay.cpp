// A program of two moves, there and back, records the motor currents of its joints; its later runs are held
// against the record: freely, smoothed, with a pause, and with a hand that pushes against the motion.
//
// The record is a sample each 50 cycles, and a replay runs 49 cycles ahead of it, smoothed some 50 behind:
// what an undisturbed run deviates is the change of current in that time, and the band has to hold it.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "sim/hand.h"
#include "sim/scenarios/scenarios.h"
#include "sim/vectors.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr double kLoop = 15.0;                                   // Hz
constexpr Joints kWay = {40.0, 25.0, -30.0, 35.0, 20.0, -45.0};  // deg
constexpr double kAcceleration = 360.0;                          // deg/s^2, a quarter of the host's own
constexpr double kSpeed = 0.2;                                   // of the joints' limits

constexpr double kStandTime = 0.2;  // s, before each move
constexpr double kMoveTime = 3.2;   // s, of each
constexpr double kRestTime = 0.1;   // s, after a program: in a cycle without replay the record rewinds
constexpr double kProgramTime = 2.0 * (kStandTime + kMoveTime) + kRestTime;
constexpr int kPauseAt = 700, kPauseFor = 500;  // cycles of a move

constexpr double kBand = 0.25;       // of the rated torque, either way
constexpr int kCollisionTime = 250;  // cycles

constexpr double kPushAt = 0.6;      // s, into the first move
constexpr double kPushRate = 300.0;  // N/s
constexpr double kPushMost = 450.0;  // N
constexpr double kStillSpeed = 0.1;  // deg/s

// N m, motor side; what the supervisor compares with the bands while the arm moves.
Joints deviation(const Simulation&) {
    Joints result;
    for (std::size_t i = 0; i < 6; i++)
        result[i] = static_cast<double>(mpb.jActualTheory[i] - mpb.jTorqueTheory[i]);
    return result;
}

// clang-format off
const Group kGroups[] = {
    // key,          title,                       unit,    read
    { "precent_Nm",  "Measured less expected",    "N·m",   deviation },
};
// clang-format on

struct Program {
    double deviation = 0.0;  // of the band, while moving
    double detected = -1.0;  // s into the program; below 0: never
    int unserved = 0;
};

class Player {
  public:
    Player(Run& run, const Joints& start) : run_(run), start_(start) {
        const Plant& plant = run.simulation->plant();
        for (std::size_t i = 0; i < 6; i++) {
            const double rated = plant.options().ratedTorque[i];
            positive_[i] = static_cast<float>(kBand * rated);
            negative_[i] = -positive_[i];
            time_[i] = kCollisionTime;
        }
    }

    // The program from its start to its end, or to a collision.
    Program play(const char* word, bool smooth, bool pauses) {
        Program program;
        run_.mark(word);
        started_ = run_.simulation->time();
        mcb.collisionError = zvCtlCollisionOK;
        mcb.collisionStateback = 0;
        startEnd(1, smooth);
        for (int way : {1, 0}) {
            pass(program, kStandTime, false);
            Joints goal = start_;
            for (std::size_t i = 0; i < 6; i++) goal[i] += way * kWay[i];
            if (collided(program)) break;
            if (!host::startJointMove(goal.data(), kSpeed, 1)) program.unserved++;
            pass(program, kMoveTime, pauses && way == 1);
            if (!collided(program) && mpb.state != TGEN_IDLE) program.unserved++;
        }
        startEnd(0, smooth);
        run_.advance(kRestTime);
        return program;
    }

  private:
    void startEnd(std::uint8_t status, bool smooth) {
        tmcTorqueRecordStartEnd(status, smooth, negative_, positive_, time_, 1);
    }

    static bool collided(const Program& program) { return program.detected >= 0.0; }

    void pass(Program& program, double seconds, bool pauses) {
        for (long cycle = 0, end = std::lround(seconds * 1000.0); cycle < end; cycle++) {
            if (pauses && cycle == kPauseAt) tmcPause();
            if (pauses && cycle == kPauseAt + kPauseFor) host::requestState(LEAVE_PAUSE_STATE);
            run_.advance(0.001);
            const Joints error = deviation(*run_.simulation);
            if (mpb.state == TGEN_SERVICE && mcb.torqueRecordCtl.torqueCollisionFlag == 1)
                for (std::size_t i = 0; i < 6; i++)
                    program.deviation =
                        std::max(program.deviation, std::fabs(error[i]) / static_cast<double>(positive_[i]));
            if (!collided(program) && mcb.collisionStateback == 1)
                program.detected = run_.simulation->time() - started_;
        }
    }

    Run& run_;
    Joints start_;
    float negative_[6], positive_[6];
    int time_[6];
    double started_ = 0.0;
};

// Pushes the flange back from where the first move takes it, harder and harder.
HandWrench against(const Plant& plant, const Joints& start, double from) {
    Joints goal = start;
    for (std::size_t i = 0; i < 6; i++) goal[i] += kWay[i];
    const Eigen::Vector3d way = vector(plant.frameOrigins(goal)[6]) - vector(plant.frameOrigins(start)[6]);
    const Eigen::Vector3d back = -way.normalized();
    return {[back, from](double time) {
        const Eigen::Vector3d force = std::min(kPushRate * (time - from), kPushMost) * back;
        return Wrench{{force.x(), force.y(), force.z()}, {}};
    }};
}

// The program takes its time, whatever is asked.
void play(Run& run, double) {
    run.recording.more.assign(std::begin(kGroups), std::end(kGroups));
    SimulationOptions setup = simulationOptions(run.options);
    setup.startPose = movingPose(run.options);
    setup.positionLoop = kLoop;
    setup.supervised = true;
    Simulation& simulation = run.start(setup);
    std::fill_n(mpb.defaultJointAccel.v, 6, kAcceleration);
    mcb.collisionPauseFlag = 2;
    const Joints start = simulation.commanded();
    Player player(run, start);

    // the run to be recorded is a good one: the standard check is off for it
    float off[6];
    std::fill_n(off, 6, static_cast<float>(MAXCOLLISIONLEVELNUM));
    tmcSetCollisionLevel(0, off, 0, 0);
    const Program recorded = player.play("recorded", false, false);
    tmcCollisionLevelResume();

    const Program free = player.play("replayed", false, false);
    const Program smooth = player.play("replayed, smoothed", true, false);
    const Program paused = player.play("replayed, with a pause", false, true);

    const double from = simulation.time() + kStandTime + kPushAt;
    Hand hand(against(simulation.plant(), start, from), {}, from);
    simulation.plant().setToolForces({hand.force()});
    const Program pushed = player.play("replayed, with a hand against it", false, false);
    simulation.plant().setToolForces({});
    const double delay = pushed.detected - kStandTime - kPushAt;  // s
    const unsigned code = mcb.collisionError - ZV_CTL_COLLISION_ERROR;
    run.advance(kStandTime);
    double speed = 0.0;
    for (double v : simulation.velocity()) speed = std::max(speed, std::fabs(v) * 1000.0);

    const auto alarms = [](const Program& program) { return program.detected < 0.0 ? 0.0 : 1.0; };
    run.tell("Samples recorded of a joint", mcb.torqueRecordCtl.torqueRecordNum, "");
    run.tell("Largest deviation, straight lines", 100.0 * free.deviation, "% of the band");
    run.tell("Largest deviation, smoothed", 100.0 * smooth.deviation, "% of the band");
    run.tell("Largest deviation with a pause", 100.0 * paused.deviation, "% of the band");
    run.tell("Push at its detection", std::min(kPushRate * delay, kPushMost), "N");
    run.tell("Joint that reported it", code, "");
    run.atMost("Alarms of the undisturbed program, straight lines", alarms(recorded) + alarms(free), 0.0, "");
    run.atMost("Alarms of the undisturbed program, smoothed", alarms(smooth), 0.0, "");
    run.atMost("Alarms of the undisturbed program with a pause", alarms(paused), 0.0, "");
    run.atMost("Programs that the push did not end", 1.0 - alarms(pushed), 0.0, "");
    run.atMost("Detections ahead of the push", delay > 0.0 ? 0.0 : 1.0, 0.0, "");
    run.atMost("Fault other than that of a joint", code >= 1 && code <= 6 ? 0.0 : 1.0, 0.0, "");
    run.atMost("Speed after the stop", mpb.state == TGEN_IDLE ? speed : HUGE_VAL, kStillSpeed, "deg/s");
    run.atMost("Moves not planned or not over in time",
               recorded.unserved + free.unserved + smooth.unserved + paused.unserved, 0.0, "");
}

}  // namespace

const Scenario kRecordReplay = {
    "record-replay",
    "A program records the currents of its joints; its later runs are held against them, until a hand "
    "pushes.",
    5.0 * kProgramTime,
    play,
};

}  // namespace tarn::sim
