// Three known loads are weighed without a force sensor, twice each: by the scripted run, in which a program
// of fixed lines holds them by joint 5, by joint 3 and turns them by joint 6; and by nine poses, against the
// bare arm in the same poses.
//
// The program is one that can be right. Joint 1 turns while a line is read, which changes no lever. By joint
// 3 the flange stands 0.232 m out with its axis down, and half a turn of joint 6 from one line to the other
// takes the load's own center out. By joint 5 there is no such pose: the lever is the flange's length plus
// the load's z, where the run takes 0.102 m. The nine poses are those where a joint angle in degrees, taken
// for radians, is the same angle, and the host brings the joints there against the sag of the drives' loops.
#include <fmt/format.h>

#include <cmath>
#include <iterator>
#include <numbers>

#include "model/payload.h"
#include "sim/scenarios/scenarios.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr double kLoop = 15.0;                      // Hz
constexpr double kShares[] = {0.3, 0.6, 0.9};       // of what the arm carries
constexpr double kOtherPayload = 5.0;               // kg, where nothing is told
constexpr double kLever3 = 232.0, kLever5 = 102.0;  // mm, as the run takes them
constexpr double kRatio = std::numbers::pi / 180.0;
constexpr double kSameAngle = 360.0 / (1.0 / kRatio - 1.0);  // deg; its multiples are themselves as radians

constexpr double kReadSpeed = 0.06, kTurnSpeed = 0.15, kMoveSpeed = 0.3;  // of the joints' limits
constexpr double kSwing = 40.0;                                           // deg of joint 1 along a line
constexpr int kChunks = 2;                                                // of a line
constexpr int kBetween = 5;                                               // a line that nothing reads
constexpr int kRest = 3000;       // cycles until friction bears nothing: at standstill it gives way slowly
constexpr int kPatience = 60000;  // cycles for a move

constexpr double kWeightLimit = 2.0;  // %
constexpr double kCenterLimit = 5.0;  // mm

// Arms whose bare gravity torque the library knows, upright and in the shape that the nine poses take. On
// others the results are told and held against nothing.
constexpr TypeRow<bool> kFits[] = {
    {0, 2, true}, {101, 202, true}, {301, 302, true}, {401, 500, true}, {1001, 1001, true}};

// ---- plots

Joints weights(const Simulation&) {
    const LOAD_IDENTIFY& run = mcb.loadIdentify;
    const int n = run.weightTotalNum;
    return {n > 0 ? run.weightTemp[n - 1] : run.weightResult, run.weightResult};
}

Joints torques(const Simulation& simulation) {
    const Joints torque = simulation.plant().jointTorque(simulation.current());
    return {torque[2], torque[4], torque[5]};
}

// clang-format off
const Group kGroups[] = {
    // key,        title,                                 unit,  read
    { "weight_kg", "Weight of the scripted run",          "kg",  weights, { "last chunk", "result" } },
    { "bears_Nm",  "Torque of the joints that are read",  "N m", torques, { "joint 3", "joint 5", "joint 6" } },
};
// clang-format on

// ---- the host's side

struct Host {
    Run& run;
    bool recorded = true;
    double unserved = 0.0;  // moves that were not planned or not over in their time

    void cycle() {
        recorded ? run.advance(0.001) : run.skip(0.001);
        zvmcLoadIdentifyControl();
    }

    // Leaves a line that is read with its last chunk closed.
    void move(const Joints& goal, double speed, int line, int chunks = 0) {
        const int end = mcb.loadIdentify.weightTotalNum + chunks;
        if (!host::startJointMove(goal.data(), speed, line)) {
            unserved++;
            return;
        }
        for (int n = 0; n < kPatience; n++) {
            cycle();
            if (chunks > 0 && mcb.loadIdentify.weightTotalNum == end) mpb.currentLine = kBetween;
            if (mpb.state == TGEN_IDLE) return;
        }
        unserved++;
    }

    void mark(const char* word) {
        if (recorded) run.mark(word);
    }

    void stand(int cycles) {
        for (; cycles > 0; cycles--) cycle();
    }

    // What a drive's integral part does: moves on by what the joints are off.
    void settle(const Joints& goal) {
        Joints command = goal;
        move(goal, kMoveSpeed, kBetween);
        for (int n = 0; n < 2; n++) {
            stand(400);
            const Joints& at = run.simulation->measured();
            for (std::size_t i = 0; i < 6; i++) command[i] += goal[i] - at[i];
            move(command, kMoveSpeed, kBetween);
        }
        stand(4000);  // the filter of the measured load
    }
};

SimulationOptions setUp(const Run& run, double load, TorqueModel model) {
    SimulationOptions setup = simulationOptions(run.options);
    setup.torqueModel = setup.plantModel = model;
    setup.positionLoop = kLoop;
    setup.load = 0.0;
    setup.loadError = load;  // nobody tells the library
    return setup;
}

// What is no number stays, for the verdict to fail.
double larger(double a, double b) { return std::isnan(a) || std::fabs(b) <= a ? a : std::fabs(b); }

double percentOff(double found, double truth) { return 100.0 * (found - truth) / truth; }

// ---- scripted

// Elbow above the shoulder, forearm out as far as the flange, axis down, is to stand from joint 3.
Joints outstretched(const ParameterSet& set, double joint5, double joint6) {
    const double reach = (kLever3 - set.paramSDH[4]) / std::fabs(set.paramSDH[2]);
    const double forearm = -std::acos(reach) / kRatio;
    return {0.0, -90.0, forearm + 90.0, -90.0 - forearm, joint5, joint6};
}

struct Found {
    double byJoint5, byJoint3;  // kg, means of the chunks
    double weight;              // kg, result
    VECT center;                // mm, result
};

Found script(Host& host, const ParameterSet& set) {
    Found found{};
    const auto there = [](Joints pose) {
        pose[0] += kSwing;
        return pose;
    };
    const auto meanChunk = [](int from) {
        double sum = 0.0;
        for (int n = from; n < mcb.loadIdentify.weightTotalNum; n++) sum += mcb.loadIdentify.weightTemp[n];
        return sum / (mcb.loadIdentify.weightTotalNum - from);
    };
    const Joints flat = outstretched(set, 0.0, 0.0);
    const Joints down = outstretched(set, -90.0, -90.0), turned = outstretched(set, -90.0, 90.0);
    tmcLoadIdentifyStartEnd(1);
    host.mark("by joint 5");
    host.stand(kRest);
    host.move(there(flat), kReadSpeed, 3, kChunks);
    host.move(flat, kReadSpeed, 4, kChunks);
    const int first = mcb.loadIdentify.weightTotalNum;
    found.byJoint5 = meanChunk(0);
    host.move(down, kMoveSpeed, kBetween);
    host.mark("by joint 3");
    host.stand(kRest);
    host.move(there(down), kReadSpeed, 6, kChunks);
    host.move(there(turned), kMoveSpeed, kBetween);
    host.stand(kRest);
    host.move(turned, kReadSpeed, 7, kChunks);
    found.byJoint3 = meanChunk(first);
    host.move(outstretched(set, 0.0, -170.0), kMoveSpeed, kBetween);
    host.mark("by joint 6");
    host.move(outstretched(set, 0.0, 170.0), kTurnSpeed, 9);
    std::uint8_t over = 0;
    tmcGetLoadWeightCoord(&over, &found.weight, &found.center);
    if (over != 1) host.unserved++;
    return found;
}

// ---- nine poses

// In multiples of the angle. Those that are averaged have one orientation, axis down.
constexpr int kNine[9][6] = {
    {3, -12, 14, -16, -14, 4}, {3, -10, 10, -14, -14, 4}, {3, -12, 14, -16, -9, 4},
    {3, -14, 14, -14, -14, 4}, {3, -12, 14, -11, -14, 4}, {3, -16, 14, -12, -14, 4},
    {3, -12, 14, -16, -19, 4}, {3, -12, 11, -13, -14, 4}, {3, -12, 14, -21, -14, 4},
};

Joints ninePose(int n) {
    Joints pose;
    for (std::size_t i = 0; i < 6; i++) pose[i] = kNine[n][i] * kSameAngle;
    return pose;
}

void recordNine(Host& host, double load, std::uint8_t flag) {
    SimulationOptions setup = setUp(host.run, load, FullDynamics);
    setup.startPose = ninePose(0);
    host.run.start(setup);
    zvmcSetCurrentLoadIdentifyFlag(flag);
    for (int n = 0; n < 9; n++) {
        host.settle(ninePose(n));
        zvmcSaveLoadIdentifyPoint(n + 1);
    }
}

// x and y of the center in the flange frame, mm, out of what is told in base axes.
std::array<double, 2> centerOf(const double* xyz) {
    JNTS q{};
    const Joints pose = ninePose(0);
    std::copy(pose.begin(), pose.end(), q.v);
    TRSF flange{};
    newFwdKinematics(&q, &flange);
    const double x = -1e3 * xyz[0], y = 1e3 * xyz[1];
    return {flange.n.x * x + flange.n.y * y, flange.o.x * x + flange.o.y * y};
}

void play(Run& run, double) {
    run.recording.more.assign(std::begin(kGroups), std::end(kGroups));
    Host host{run};
    const double payload = heaviestLoad(run.options.robotType);
    std::vector<double> loads;
    for (const double share : kShares)
        loads.push_back(share * (std::isinf(payload) ? kOtherPayload : payload));
    if (run.options.load > 0.0) loads = {run.options.load};

    double worst3 = 0.0, worst5 = 0.0;
    for (const double load : loads) {
        SimulationOptions setup = setUp(run, load, GravityOnly);
        const ParameterSet& set = *armOf(setup.robotType, GravityOnly);
        setup.startPose = outstretched(set, 0.0, 0.0);
        run.start(setup);
        const Found found = script(host, set);
        host.recorded = false;
        const double lever5 = (set.paramSDH[5] + setup.loadCenter[2]) / kLever5;
        const std::string name = fmt::format("{:.3g} kg, scripted: ", load);
        run.tell(name + "weight by joint 3", found.byJoint3, "kg");
        run.tell(name + "weight by joint 5", found.byJoint5, "kg");
        run.tell(name + "weight off", percentOff(found.weight, load), "%");
        run.tell(name + "center off, x", found.center.x - setup.loadCenter[0], "mm");
        run.tell(name + "center off, y", found.center.y - setup.loadCenter[1], "mm");
        run.tell(name + "center off, z", found.center.z - setup.loadCenter[2], "mm");
        worst3 = larger(worst3, percentOff(found.byJoint3, load));
        worst5 = larger(worst5, percentOff(found.byJoint5, lever5 * load));
    }

    double worstNine = 0.0, worstCenter = 0.0;
    recordNine(host, 0.0, 0);
    for (const double load : loads) {
        recordNine(host, load, 1);
        double mass = kNoNumber, xyz[3] = {kNoNumber, kNoNumber, kNoNumber};
        if (zvmcComEndLoadMain(&mass, xyz) != 0) host.unserved++;
        const auto [x, y] = centerOf(xyz);
        const Vec3& center = run.simulation->options().loadCenter;
        const std::string name = fmt::format("{:.3g} kg, nine poses: ", load);
        run.tell(name + "weight off", percentOff(mass, load), "%");
        run.tell(name + "center off, x", x - center[0], "mm");
        run.tell(name + "center off, y", y - center[1], "mm");
        worstNine = larger(worstNine, percentOff(mass, load));
        worstCenter = larger(worstCenter, std::hypot(x - center[0], y - center[1]));
    }
    run.atMost("Moves not planned or not over, results missing", host.unserved, 0.0, "");
    if (run.options.mount.code != 0 || !byType(kFits, false, run.options.robotType)) return;
    run.atMost("Weight by joint 3 off", worst3, kWeightLimit, "%");
    run.atMost("Weight by joint 5 off what its lever makes of it", worst5, kWeightLimit, "%");
    run.atMost("Weight by nine poses off", worstNine, kWeightLimit, "%");
    run.atMost("Center by nine poses off", worstCenter, kCenterLimit, "mm");
}

}  // namespace

const Scenario kIdentifyLoad = {
    "identify-load",
    "Three known loads are weighed without a force sensor, by a program of fixed lines and by nine poses.",
    450.0,
    play,
};

}  // namespace tarn::sim
