// Fits a network of one hidden layer of tanh to samples.
#pragma once

#include <Eigen/Core>
#include <cstdint>

#include "model/frequency_ranges.h"

namespace tarn::tools {

// Inputs and output in the normalized range, -1 to 1. One sample a column of the inputs.
struct Samples {
    Eigen::Matrix<double, kFrequencyInputs, Eigen::Dynamic> inputs;
    Eigen::VectorXd output;
};

struct Network {
    Eigen::Matrix<double, kFrequencyHidden, kFrequencyInputs> inputHiddenW;
    Eigen::Matrix<double, kFrequencyHidden, 1> inputHiddenB;
    Eigen::Matrix<double, kFrequencyHidden, 1> hiddenOutputW;
    double hiddenOutputB;

    Eigen::VectorXd operator()(const Samples& samples) const;
};

struct FitOptions {
    double hiddenOutputB;         // given, not fitted
    bool used[kFrequencyInputs];  // an input that is not keeps weights of exactly zero
    int starts;                   // random ones, each followed for a while
    int startSteps, steps;        // of each start; of the best one after that
};

// Levenberg's and Marquardt's method from several random starts. The same seed gives the same network on the
// same machine.
Network fit(const Samples& samples, const FitOptions& options, std::uint64_t seed);

}  // namespace tarn::tools
