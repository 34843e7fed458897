// The arm stands in twenty poses. In each the library's network tells the first natural frequency, and the
// plant's own mass matrix, on joints as stiff as those that the network learned from, tells what it is.
#include <Eigen/Eigenvalues>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>

#include "model/frequency_ranges.h"
#include "natural_frequency/arms.h"
#include "sim/scenarios/scenarios.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/devices.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr int kPoses = 20;
constexpr double kStand = 0.05;  // s, at each

// Poses that every network was made for, deg.
constexpr Joints kHigh = {175.0, 85.0, 150.0, 85.0, 175.0, 175.0};
constexpr Joints kLow = {-175.0, -265.0, -150.0, -265.0, -175.0, -175.0};

// The arm that a type's network learned from, family B's where it has none of its own.
const FittedArm& fittedArm(int robotType) {
    for (const FittedArm& arm : kFittedArms)
        if (arm.firstType <= robotType && robotType <= arm.lastType) return arm;
    return kFittedArms[1];  // B
}

struct Estimate {
    double network, plant;  // Hz
    int result;             // of the library
};

// The lowest w of K x = w^2 M x. The network knows the model by a straight line between two frequencies.
double plantFrequency(const Simulation& simulation, const FittedNetwork& fitted, double outputMax) {
    using Matrix6 = Eigen::Matrix<double, 6, 6>;
    const FittedArm& arm = fittedArm(simulation.options().robotType);
    Matrix6 mass, stiffness = Matrix6::Zero();
    const std::array<Joints, 6> inertia = simulation.plant().massMatrix(simulation.measured());
    for (std::size_t i = 0; i < 6; i++) {
        const auto row = static_cast<Eigen::Index>(i);
        for (std::size_t j = 0; j < 6; j++) mass(row, static_cast<Eigen::Index>(j)) = inertia[i][j];
        stiffness(row, row) = i < 3 ? arm.armStiffness : arm.wristStiffness;
    }
    const Eigen::GeneralizedSelfAdjointEigenSolver<Matrix6> modes(stiffness, mass, Eigen::EigenvaluesOnly);
    const double model = std::sqrt(modes.eigenvalues()(0)) / (2.0 * std::numbers::pi);
    return outputMax - fitted.gain * (outputMax - model);
}

Estimate estimate(const Simulation& simulation) {
    const int robotType = simulation.options().robotType;
    const bool loaded = mpb.loadWeight != 0.0;
    const FittedArm& arm = fittedArm(robotType);
    const FrequencyRanges& ranges = byType(kFrequencyRanges, kFrequencyRangesOther, robotType);

    Joints q = simulation.measured();
    Estimate is{};
    is.result = zvmcCalculateNaturalFreq(q.data(), &is.network);
    is.plant = plantFrequency(simulation, loaded ? arm.loaded : arm.bare,
                              (loaded ? ranges.loaded : ranges.bare).outputMax);
    return is;
}

Joints frequency(const Simulation& simulation) {
    const Estimate is = estimate(simulation);
    return {is.network, is.plant};
}

// clang-format off
const Group kGroups[] = {
    // key,           title,                     unit,  read
    { "frequency_Hz", "First natural frequency", "Hz",  frequency, { "by network", "of plant" } },
};
// clang-format on

void play(Run& run, double) {
    run.recording.more.assign(std::begin(kGroups), std::end(kGroups));
    SimulationOptions setup = simulationOptions(run.options);
    setup.startPose = movingPose(run.options);  // one that was asked for may be outside of all ranges
    bool inRange = true;
    for (std::size_t i = 0; i < 6; i++)
        inRange = inRange && kLow[i] <= setup.startPose[i] && setup.startPose[i] <= kHigh[i];
    // the networks know loads on the flange's axis
    setup.loadCenter[0] = setup.loadCenter[1] = 0.0;

    std::mt19937_64 generator(run.options.seed + 1);
    double refused = 0.0, untold = 0.0, largest = 0.0, squares = 0.0;
    for (int n = 0; n < kPoses; n++) {
        if (n > 0)
            for (std::size_t i = 0; i < 6; i++)
                setup.startPose[i] =
                    kLow[i] + (kHigh[i] - kLow[i]) * static_cast<double>(generator() >> 11) * 0x1p-53;
        const Simulation& simulation = run.start(setup);
        const unsigned told = host::drives.varGainWrites;
        run.advance(kStand);
        run.mark("pose");

        const Estimate is = estimate(simulation);
        const double off = std::fabs(is.network - is.plant);
        if (is.result != 0) refused++;
        // what is no number stays, for the verdict to fail
        if (!std::isnan(largest) && !(off <= largest)) largest = off;
        squares += off * off;

        if (host::drives.varGainWrites - told != std::lround(kStand * 1000.0)) untold++;
    }

    const int robotType = run.options.robotType;
    const FrequencyRanges& ranges = byType(kFrequencyRanges, kFrequencyRangesOther, robotType);
    const bool loaded = setup.load != 0.0;
    const FittedArm& arm = fittedArm(robotType);
    const FittedNetwork& fitted = loaded ? arm.loaded : arm.bare;
    const FrequencyRange& range = loaded ? ranges.loaded : ranges.bare;
    const double hz = (range.outputMax - range.outputMin) / 100.0;

    run.tell("Error of the network, root mean square", std::sqrt(squares / kPoses), "Hz");
    run.tell("The same on samples of its fit that it had not seen", fitted.rmsError * hz, "Hz");
    run.atMost("Poses without a frequency", refused, 0.0, "");
    run.atMost("Poses where not every cycle told the drives their gain once", untold, 0.0, "");

    // Other types than the first of a family have other arms than their network, and beyond a range it
    // guesses.
    const bool itsArm = armOf(robotType, FullDynamics) == armOf(arm.firstType, FullDynamics);
    if (loaded)
        inRange = inRange && arm.firstType <= robotType && robotType <= arm.lastType &&
                  setup.load <= range.inputs.inputMax[4] && 0.0 <= setup.loadCenter[2] &&
                  setup.loadCenter[2] <= range.inputs.inputMax[5];
    if (itsArm && inRange)
        run.atMost("Largest error of the network", largest, fitted.worstError * hz, "Hz");
    else
        run.tell(itsArm ? "Largest error of the network, outside its range"
                        : "Largest error of the network, which learned another arm",
                 largest, "Hz");
}

}  // namespace

const Scenario kNaturalFrequency = {
    "natural-frequency",
    "A network tells the arm's first natural frequency in twenty poses; the plant's own mass knows it.",
    kPoses* kStand,
    play,
    FullDynamics,
};

}  // namespace tarn::sim
