// The arm stands on the currents of the torque model alone: no position loop, brakes open.
//
// What is left is a creep. The currents are cut to whole thousandths of the rated torque, always toward zero,
// so up to one thousandth is missing on each joint, and the friction at standstill, a very steep damper,
// takes it up at a small speed. A wrong model is not hidden by friction: 1 kg of unknown load falls by
// degrees in a second.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "sim/scenarios/scenarios.h"

namespace tarn::sim {
namespace {

constexpr double kCreepLimit = 0.02;     // deg/s
constexpr double kCreepWindow = 1.0;     // s
constexpr double kCurrentLimit = 32767;  // what the command's 16 bits hold
constexpr double kCommandLimit = 1.001;  // 1/1000 of rated torque: the cut to whole numbers, and rounding
constexpr double kEnergyLimit = 1e-3;    // J

// Largest displacement of a joint over any window of the run, per second.
double creepSpeed(const Recording& recording, std::size_t joint) {
    const std::vector<Joints>& angle = recording.values[kMeasured];
    const std::size_t last = angle.size() - 1;
    const std::size_t window = std::min(last, static_cast<std::size_t>(std::lround(kCreepWindow * 1000.0)));
    double largest = 0.0;
    for (std::size_t k = window; k <= last; k++) {
        largest = std::max(largest, std::fabs(angle[k][joint] - angle[k - window][joint]));
    }
    return largest / (static_cast<double>(window) * 0.001);
}

void play(Run& run, double seconds) {
    Simulation& simulation = run.start(simulationOptions(run.options));
    double kineticEnergy = 0.0;
    for (long n = std::lround(seconds * 100.0); n > 0; n--) {
        run.advance(0.01);
        kineticEnergy = std::max(kineticEnergy, simulation.plant().kineticEnergy());
    }

    for (std::size_t joint = 0; joint < 6; joint++) {
        run.atMost(fmt::format("Creep of joint {}", joint + 1), creepSpeed(run.recording, joint), kCreepLimit,
                   "deg/s");
    }

    // The currents that the plant's own gravity asks for: whether they fit, and whether the library gave
    // them.
    double demand = 0.0;
    double offDemand = 0.0;
    for (std::size_t k = 0; k < run.recording.size(); k++) {
        for (int joint = 0; joint < 6; joint++) {
            const auto i = static_cast<std::size_t>(joint);
            const double needed =
                simulation.plant().currentOf(run.recording.values[kGravityTorque][k][i], joint);
            demand = std::max(demand, std::fabs(needed));
            offDemand = std::max(offDemand, std::fabs(run.recording.values[kCurrent][k][i] - needed));
        }
    }
    run.atMost("Largest current that the pose asks for", demand, kCurrentLimit, "1/1000 of rated");
    run.atMost("Command off the plant's own gravity", offDemand, kCommandLimit, "1/1000 of rated");
    run.atMost("Largest kinetic energy", kineticEnergy, kEnergyLimit, "J");
}

}  // namespace

const Scenario kHold = {
    "hold",
    "The arm stands for 20 s on the currents of the gravity model alone and must not creep.",
    20.0,
    play,
};

const Scenario kHoldDynamics = {
    "hold-dynamics", "As hold, on the currents of the full dynamics.", 20.0, play, FullDynamics,
};

}  // namespace tarn::sim
