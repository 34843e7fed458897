// Tunes the proportional gain of the axis that presses, while it presses.
#include <algorithm>
#include <cmath>

#include "force_control/regulators.h"
#include "zvmcforcesensorblock.h"

using namespace tarn;

namespace {

// One record for all axes.
struct GainTuner {
    double pmax = 0.001;    // mm/N    upper bound of the gain
    double sumFe = 0.0;     // N       sum over the window of how far the force is above its target
    int findex = 0;         // samples in the window
    double lastdist = 0.0;  // mm      proportional step of the cycle before
};
constinit GainTuner tuner;

constexpr double kPmin = 0.0001;      // mm/N  lower bound of the gain
constexpr double kPmaxStart = 0.005;  // mm/N  least upper bound that a run starts with
constexpr double kGainStep = 0.0001;  // mm/N
constexpr int kWindow = 50;           // samples
constexpr double kForceBand = 0.1;    // N     mean force excess that counts as on target

}  // namespace

int zvmcPIDAdjust(uint8_t sign, double initflag, PID* pid) {
    auto& [pmax, sumFe, findex, lastdist] = tuner;
    double& P = pid->P;
    // For every axis: all but z hand in their force error here, so that an error of exactly 1 moves the
    // common bound.
    if (initflag == 1.0) pmax = P >= kPmaxStart ? P : kPmaxStart;
    // The tens tell the axis, the ones whether it tunes: z alone does.
    if (sign < 21 || sign > 29) return 0;

    const double fz = mpb.forceRCS.fz;
    const double target = mcb.forceControl.constForceValue.fz;
    sumFe += std::fabs(fz) - std::fabs(target);

    // the gain falls when the step jumps
    const double dist = std::clamp((fz - target) * P, -kMaxStep, kMaxStep);
    const double jump = std::fabs(dist - lastdist);
    lastdist = dist;
    if (jump > 0.05)
        pmax = pmax * 2 / 3;
    else if (jump > 0.03)
        pmax = pmax - kGainStep;
    else if (jump > 0.01)
        P = P - kGainStep;

    // It rises while the mean force is off target and falls on it. Counted after the test, so that the first
    // window holds 51 samples; the divisor is 50 all the same.
    if (findex == kWindow) {
        const double mean = sumFe / kWindow;
        if (mean > kForceBand || mean < -kForceBand) P = P + kGainStep;
        if (-kForceBand <= mean && mean <= kForceBand) P = P - kGainStep;
        sumFe = 0.0;
        findex = 0;
    }

    // one after the other: an upper bound below the lower one gives way
    if (P > pmax) P = pmax;
    if (P < kPmin) P = kPmin;
    findex++;
    return 0;
}
