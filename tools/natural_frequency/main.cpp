// Fits the networks of the arms' natural frequency and writes them as tables for the library. Told in
// docs/natural-frequency.md.
#include <Eigen/Core>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

#include "arms.h"
#include "network_fit.h"
#include "random.h"

namespace tarn::tools {
namespace {

constexpr int kSamples = 12000, kHeldOut = 10000;
constexpr int kStarts = 6, kStartSteps = 60, kSteps = 800;

struct Fitted {
    double gain;
    double rmsError, worstError;  // on samples held out, percent of the output's range
};

Samples samplesOf(const Arm& arm, const FlexibleArm& flexible, bool loaded, int count, std::uint64_t seed) {
    const FrequencyRange& range = loaded ? arm.ranges.loaded : arm.ranges.bare;
    const auto& [max, min] = range.inputs;
    std::mt19937_64 generator(seed);
    Samples samples;
    samples.inputs.resize(kFrequencyInputs, count);
    samples.output.resize(count);
    for (int n = 0; n < count; n++) {
        double inputs[kFrequencyInputs];
        for (int j = 0; j < kFrequencyInputs; j++) {
            inputs[j] = uniform(generator, min[j], max[j]);
            samples.inputs(j, n) = 2.0 * (inputs[j] - min[j]) / (max[j] - min[j]) - 1.0;
        }
        const double model = modelFrequency(arm, flexible.stiffness, loaded, inputs);
        const double frequency = range.outputMax - flexible.gain[loaded] * (range.outputMax - model);
        samples.output(n) = 2.0 * (frequency - range.outputMin) / (range.outputMax - range.outputMin) - 1.0;
    }
    return samples;
}

std::ofstream open(const std::string& path) {
    std::ofstream file(path);
    if (!file) throw std::runtime_error("cannot write " + path);
    file.precision(17);
    file << "// Written by natural_frequency_fit; not to be edited.\n";
    return file;
}

void write(const std::string& path, const Network& network) {
    std::ofstream file = open(path);
    const auto list = [&file](const auto& values) {
        file << "{";
        for (Eigen::Index i = 0; i < values.size(); i++) file << (i == 0 ? "" : ", ") << values(i);
        file << "},\n";
    };
    file << "{\n";
    for (int i = 0; i < kFrequencyHidden; i++) list(network.inputHiddenW.row(i));
    file << "},\n";
    list(network.inputHiddenB);
    list(network.hiddenOutputW);
}

Fitted fitOne(const Arm& arm, const FlexibleArm& flexible, bool loaded, std::uint64_t seed,
              const std::string& folder) {
    const Samples samples = samplesOf(arm, flexible, loaded, kSamples, seed),
                  heldOut = samplesOf(arm, flexible, loaded, kHeldOut, seed + 1);
    // A turn of the base changes nothing, nor does one of joint 6 but for a hair.
    const FitOptions options = {(loaded ? arm.ranges.loaded : arm.ranges.bare).hiddenOutputB,
                                {loaded, true, true, true, true, loaded},
                                kStarts,
                                kStartSteps,
                                kSteps};
    const Network network = fit(samples, options, seed + 2);
    write(folder + "/" + arm.name + (loaded ? "_loaded.inc" : "_bare.inc"), network);
    // of a range of 2
    const Eigen::VectorXd off = (network(heldOut) - heldOut.output) / 2.0;
    return {flexible.gain[loaded], 100.0 * std::sqrt(off.squaredNorm() / kHeldOut),
            100.0 * off.cwiseAbs().maxCoeff()};
}

void fitAll(const std::string& folder, std::uint64_t seed) {
    std::ofstream table = open(folder + "/arms.inc");
    for (const Arm& arm : arms()) {
        const FlexibleArm flexible = flexibleArm(arm);
        table << "{" << arm.firstType << ", " << arm.lastType << ", " << flexible.stiffness.arm << ", "
              << flexible.stiffness.wrist;
        for (const bool loaded : {false, true}) {
            const Fitted fitted = fitOne(arm, flexible, loaded, seed, folder);
            seed += 3;
            table << ", {" << fitted.gain << ", " << fitted.rmsError << ", " << fitted.worstError << "}";
            std::printf("%s %-6s  %7.0f %6.0f N m/rad  gain %.4f  error %.2f %% rms, %.1f %% worst\n",
                        arm.name, loaded ? "loaded" : "bare", flexible.stiffness.arm,
                        flexible.stiffness.wrist, fitted.gain, fitted.rmsError, fitted.worstError);
            std::fflush(stdout);
        }
        table << "},\n";
    }
}

}  // namespace
}  // namespace tarn::tools

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: natural_frequency_fit FOLDER [SEED]\n");
        return 2;
    }
    try {
        tarn::tools::fitAll(argv[1], argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "natural_frequency_fit: %s\n", error.what());
        return 1;
    }
}
