#include "network_fit.h"

#include <Eigen/Cholesky>
#include <cmath>
#include <vector>

#include "random.h"

namespace tarn::tools {
namespace {

constexpr int kHidden = kFrequencyHidden;
constexpr double kDecay =
    1e-6;  // of the weights, on the scale of the summed squares: keeps them from running away

// A network in the course of its fit: parameters, what they give, and how far that is off.
class Descent {
  public:
    Descent(const Samples& samples, const FitOptions& options, std::mt19937_64& generator)
        : samples_(samples), options_(options) {
        for (int j = 0; j < kFrequencyInputs; j++)
            if (options.used[j]) columns_.push_back(j);
        network_ = start(generator);
        cost_ = cost(network_);
    }

    double cost() const { return cost_; }
    const Network& network() const { return network_; }

    // Ends early where no step leads down any more.
    void run(int steps) {
        for (int n = 0; n < steps; n++)
            if (!step()) return;
    }

  private:
    int parameters() const { return kHidden * (static_cast<int>(columns_.size()) + 2); }

    // Hidden units with their bends spread over the inputs' range; the output weights follow by least
    // squares.
    Network start(std::mt19937_64& generator) const {
        Network network;
        network.inputHiddenW.setZero();
        network.hiddenOutputB = options_.hiddenOutputB;
        for (int i = 0; i < kHidden; i++) {
            double at = 0.0;
            for (const int j : columns_) {
                network.inputHiddenW(i, j) = uniform(generator, -2.0, 2.0);
                at += network.inputHiddenW(i, j) * uniform(generator, -1.0, 1.0);
            }
            network.inputHiddenB(i) = -at;
        }
        const Eigen::MatrixXd hidden = hiddenOf(network);
        Eigen::MatrixXd normal = hidden * hidden.transpose();
        normal.diagonal().array() += 1e-3;
        const Eigen::VectorXd target = hidden * (samples_.output.array() - options_.hiddenOutputB).matrix();
        network.hiddenOutputW = normal.ldlt().solve(target);
        return network;
    }

    Eigen::MatrixXd hiddenOf(const Network& network) const {
        Eigen::MatrixXd sum = network.inputHiddenW * samples_.inputs;
        sum.colwise() += network.inputHiddenB;
        return sum.unaryExpr([](double x) { return std::tanh(x); });
    }

    Eigen::VectorXd residual(const Network& network, const Eigen::MatrixXd& hidden) const {
        return ((hidden.transpose() * network.hiddenOutputW).array() + network.hiddenOutputB).matrix() -
               samples_.output;
    }

    double cost(const Network& network) const {
        return residual(network, hiddenOf(network)).squaredNorm() + kDecay * packed(network).squaredNorm();
    }

    // Output weights, hidden biases, then the weights input by input.
    Eigen::VectorXd packed(const Network& network) const {
        Eigen::VectorXd p(parameters());
        p.segment(0, kHidden) = network.hiddenOutputW;
        p.segment(kHidden, kHidden) = network.inputHiddenB;
        int at = 2 * kHidden;
        for (const int j : columns_) {
            p.segment(at, kHidden) = network.inputHiddenW.col(j);
            at += kHidden;
        }
        return p;
    }

    Network moved(const Network& network, const Eigen::VectorXd& by) const {
        Network result = network;
        result.hiddenOutputW += by.segment(0, kHidden);
        result.inputHiddenB += by.segment(kHidden, kHidden);
        int at = 2 * kHidden;
        for (const int j : columns_) {
            result.inputHiddenW.col(j) += by.segment(at, kHidden);
            at += kHidden;
        }
        return result;
    }

    bool step() {
        // the slope of every sample's output, one a column
        const Eigen::MatrixXd hidden = hiddenOf(network_);
        slopes_.resize(parameters(), hidden.cols());
        slopes_.topRows(kHidden) = hidden;
        slopes_.middleRows(kHidden, kHidden) =
            (1.0 - hidden.array().square()).colwise() * network_.hiddenOutputW.array();
        int at = 2 * kHidden;
        for (const int j : columns_) {
            slopes_.middleRows(at, kHidden) =
                slopes_.middleRows(kHidden, kHidden).array().rowwise() * samples_.inputs.row(j).array();
            at += kHidden;
        }
        Eigen::MatrixXd normal = Eigen::MatrixXd::Zero(parameters(), parameters());
        normal.selfadjointView<Eigen::Lower>().rankUpdate(slopes_);
        normal.diagonal().array() += kDecay;
        const Eigen::VectorXd down = -(slopes_ * residual(network_, hidden)) - kDecay * packed(network_);

        // the more damping, the shorter the step and the steeper its way down
        for (; damping_ < 1e10; damping_ *= 5.0) {
            Eigen::MatrixXd damped = normal;
            damped.diagonal().array() += damping_;
            const Network next = moved(network_, damped.selfadjointView<Eigen::Lower>().llt().solve(down));
            const double nextCost = cost(next);
            if (!(nextCost < cost_)) continue;
            network_ = next;
            cost_ = nextCost;
            damping_ = std::max(damping_ / 5.0, 1e-9);
            return true;
        }
        return false;
    }

    const Samples& samples_;
    const FitOptions& options_;
    std::vector<int> columns_;  // the inputs in use
    Network network_;
    double cost_ = 0.0;
    double damping_ = 1e-2;
    Eigen::MatrixXd slopes_;
};

}  // namespace

Eigen::VectorXd Network::operator()(const Samples& samples) const {
    Eigen::MatrixXd sum = inputHiddenW * samples.inputs;
    sum.colwise() += inputHiddenB;
    return ((sum.array().tanh().matrix().transpose() * hiddenOutputW).array() + hiddenOutputB).matrix();
}

Network fit(const Samples& samples, const FitOptions& options, std::uint64_t seed) {
    std::mt19937_64 generator(seed);
    std::vector<Descent> descents;
    std::size_t best = 0;
    for (int n = 0; n < options.starts; n++) {
        descents.emplace_back(samples, options, generator);
        descents.back().run(options.startSteps);
        if (descents.back().cost() < descents[best].cost()) best = descents.size() - 1;
    }
    descents[best].run(options.steps);
    return descents[best].network();
}

}  // namespace tarn::tools
