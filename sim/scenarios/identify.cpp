// The arm swings through the excitation twice, bare and with its load, and the wrist parameters solved from
// both runs tell the load: what the second has more than the first. Friction, rotors and what is wrong with
// the arm's own parameters are in both.
//
// Three things about the identification show here. Its motion is low-passed and its torque is not: the host
// delays the torque by as much. Its regressor weighs the torques of joints 4 to 6, as the drives of one arm
// made them: ideal drives read too much by that. And it knows one built-in arm, upright on a
// floor, with a shoulder and wrist that no type quite has.
#include <algorithm>
#include <cmath>
#include <vector>

#include "sim/scenarios/scenarios.h"
#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

namespace tarn::sim {
namespace {

constexpr double kLoop = 15.0;        // Hz
constexpr double kDefaultLoad = 3.0;  // kg
constexpr double kRunTime = 12.0;     // s, the period of the excitation
constexpr double kRampTime = 1.0;     // s, into its middle
constexpr int kDelay = 64;            // cycles, as the low-pass of the motion at low frequencies
constexpr double kWeight[6] = {1.0, 1.0, 1.0, 0.8151, 0.8407, 1.0};
constexpr double kMassLimit = 3.0;     // %
constexpr double kCenterLimit = 10.0;  // mm

// A thousandth of a cycle per point, for a smooth start.
constexpr TMC_LIMITS_CART kFineTiming = {0.125};
constexpr double kPointsPerCycle = 1000.0;

using Samples = std::vector<std::array<Joints, 2>>;  // torque, hundredths of the joint's, N m; position, deg

Joints excitation(double cycle) {
    TMC_TIMES times;
    zvmcComputefourierMotion(kFineTiming, &times);
    Joints q;
    zvmcComputefourierAccVelPos(times, static_cast<unsigned long>(std::lround(cycle * kPointsPerCycle)),
                                q.data());
    return q;
}

// Up to the speed of the excitation along the end of its period, then through it.
double phase(int n) {
    const double ramp = kRampTime * 1000.0, period = kRunTime * 1000.0;
    return n < ramp ? period - ramp / 2 + n * n / (2 * ramp) : period - ramp / 2 + n - ramp / 2;
}

void command(int n) {
    const Joints before = excitation(phase(n - 1)), now = excitation(phase(n)),
                 next = excitation(phase(n + 1));
    for (std::size_t i = 0; i < 6; i++) {
        mpb.jC.v[i] = now[i];
        mpb.jCvel.v[i] = (next[i] - before[i]) / 2;
        mpb.jCaccRaw.v[i] = mpb.jCacc.v[i] = next[i] - 2 * now[i] + before[i];
    }
}

// What a result is of: mass, and mass times center, in the flange frame.
struct Load {
    double mass;  // kg
    Vec3 moment;  // kg mm
};

Load operator-(const Load& a, const Load& b) {
    return {a.mass - b.mass,
            {a.moment[0] - b.moment[0], a.moment[1] - b.moment[1], a.moment[2] - b.moment[2]}};
}

// Against no baseline, so that results can be subtracted.
Load result() {
    Gain gain{};
    gain.kp[4] = 1.0;
    double mass = kNoNumber;
    VECT center{};
    zvmcloadidentifyvalue(1);
    zvmcgetloadidentifyresult(gain, &mass, &center);
    return {mass, {mass * center.x, mass * center.y, mass * center.z}};
}

void setUpRun() {
    zvmcdynfiltresert();
    zvmcdynstoreresert();
}

void sample(const std::array<Joints, 2>& at) {
    Joints tau = at[0], q = at[1];
    zvmcloadidentifymain(tau.data(), q.data(), kRunTime - 0.0005);
}

// The same run once more, with its torques as they are.
Load resultOfRaw(const Samples& samples) {
    setUpRun();
    for (const auto& at : samples) sample(at);
    return result();
}

struct Pass {
    Load matched, raw;
    double limited;  // cycles with a drive at its limit
};

Pass excite(Run& run, double load, const char* word) {
    SimulationOptions setup = simulationOptions(run.options);
    setup.startPose = excitation(phase(0));
    setup.positionLoop = kLoop;
    setup.load = load;
    if (load == 0.0) setup.loadError = 0.0;  // what nobody told of goes with the load
    run.start(setup);
    run.mark(word);
    float rated[6];
    zvmcJointDefaultTorque(rated);

    Pass pass{};
    Samples raw;
    std::vector<Joints> torque;
    const int ramp = static_cast<int>(kRampTime * 1000.0), end = ramp + static_cast<int>(kRunTime * 1000.0);
    for (int n = 0; n < end; n++) {
        command(n);
        if (n == ramp) setUpRun();
        run.advance(0.001);
        // the position is that of the cycle's start, the feedback in the block that of the cycle before
        torque.push_back({});
        for (std::size_t i = 0; i < 6; i++) {
            const double thousandths = how.currentFeedback[i];
            torque.back()[i] = thousandths * 0.001 * static_cast<double>(rated[i]);
            if (std::fabs(thousandths) >= kDriveLimit) pass.limited++;
        }
        if (n < ramp) continue;
        Joints late = torque[static_cast<std::size_t>(n - kDelay)];
        for (std::size_t i = 0; i < 6; i++) late[i] *= kWeight[i];
        sample({late, run.simulation->measured()});
        raw.push_back({torque.back(), run.simulation->measured()});
    }
    pass.matched = result();
    pass.raw = resultOfRaw(raw);
    return pass;
}

double centerOff(const Load& found, const Vec3& center) {
    double square = 0.0;
    for (std::size_t i = 0; i < 3; i++) {
        const double off = found.moment[i] / found.mass - center[i];
        square += off * off;
    }
    return std::sqrt(square);
}

// The arm that the identification knows, but for d4 and the shoulder.
bool isIdentifiedArm(const ParameterSet& set) {
    const double* mm = set.paramSDH;
    return set.shape == ArmShape::Standard && mm[1] == -425.0 && mm[2] == -395.0 && mm[4] == 102.0 &&
           mm[5] == 100.0;
}

// The motion takes its time, whatever is asked.
void play(Run& run, double) {
    const double load = run.options.load == 0.0 ? kDefaultLoad : run.options.load;
    const Pass bare = excite(run, 0.0, "bare arm"), loaded = excite(run, load, "with its load");
    const SimulationOptions& setup = run.simulation->options();
    const Plant& plant = run.simulation->plant();
    const double truth = plant.options().loadMass;
    const Load found = loaded.matched - bare.matched, raw = loaded.raw - bare.raw;

    const double massOff = 100.0 * std::fabs(found.mass - truth) / truth;
    const double off = centerOff(found, setup.loadCenter);
    run.tell("Mass found, torques as read", raw.mass, "kg");
    run.tell("Center off, torques as read", centerOff(raw, setup.loadCenter), "mm");
    run.tell("Mass found", found.mass, "kg");
    for (std::size_t i = 0; i < 3; i++)
        run.tell(std::string("Center found, ") + "xyz"[i], found.moment[i] / found.mass, "mm");
    run.atMost("Cycles with a drive at its limit", bare.limited + loaded.limited, 0.0, "");
    if (!isIdentifiedArm(plant.options().set) || setup.mount.code != 0) {
        run.tell("Mass off", massOff, "%");
        run.tell("Center off", off, "mm");
        return;
    }
    run.atMost("Mass off", massOff, kMassLimit, "%");
    run.atMost("Center off", off, kCenterLimit, "mm");
}

}  // namespace

const Scenario kIdentify = {
    "identify",
    "The arm swings bare and with its load, and the wrist parameters of both tell the load.",
    2.0 * (kRampTime + kRunTime),
    play,
    FullDynamics,
};

}  // namespace tarn::sim
