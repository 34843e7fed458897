#include "arms.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "random.h"

namespace tarn::tools {
namespace {

// clang-format off
constexpr Arm kArms[] = {
    // a family's first type lends its parameters
    { "a",    1,  100, kSetA1, kFrequencyA },
    { "b",  101,  200, kSetB,  kFrequencyB },
    { "c",  201,  300, kSetC1, kFrequencyC },
    { "d",  301,  400, kSetD1, kFrequencyD },
    { "e",  401,  500, kSetE,  kFrequencyE },
    { "f", 1001, 1100, kSetF,  kFrequencyF },
};
// clang-format on

constexpr std::uint64_t kSeed = 8;
constexpr int kPoses = 3000;                          // looked at for the ends of a range
constexpr int kRefined = 3;                           // of them, followed downhill to the end
constexpr double kFirstStep = 0.1, kLastStep = 1e-4;  // of an input's range

const FrequencyRange& rangeOf(const Arm& arm, bool loaded) {
    return loaded ? arm.ranges.loaded : arm.ranges.bare;
}

struct Point {
    double inputs[kFrequencyInputs];
    double value;
};

// The smallest of sign * frequency over the inputs' range, by a search along the axes from the best of many
// random points.
double smallest(const Arm& arm, const JointStiffness& stiffness, bool loaded, double sign) {
    const FrequencyInputs& limits = rangeOf(arm, loaded).inputs;
    const auto evaluate = [&](Point& point) {
        point.value = sign * modelFrequency(arm, stiffness, loaded, point.inputs);
    };
    std::mt19937_64 generator(kSeed);
    std::vector<Point> points(kPoses);
    for (Point& point : points) {
        for (int j = 0; j < kFrequencyInputs; j++)
            point.inputs[j] = uniform(generator, limits.inputMin[j], limits.inputMax[j]);
        evaluate(point);
    }
    std::partial_sort(points.begin(), points.begin() + kRefined, points.end(),
                      [](const Point& a, const Point& b) { return a.value < b.value; });
    double best = points[0].value;
    for (int n = 0; n < kRefined; n++) {
        Point& at = points[static_cast<std::size_t>(n)];
        for (double step = kFirstStep; step > kLastStep;) {
            bool moved = false;
            for (int j = 0; j < kFrequencyInputs; j++)
                for (const double way : {step, -step}) {
                    Point next = at;
                    next.inputs[j] =
                        std::clamp(at.inputs[j] + way * (limits.inputMax[j] - limits.inputMin[j]),
                                   limits.inputMin[j], limits.inputMax[j]);
                    evaluate(next);
                    if (next.value < at.value) {
                        at = next;
                        moved = true;
                    }
                }
            if (!moved) step /= 2.0;
        }
        best = std::min(best, at.value);
    }
    return best;
}

struct Extremes {
    double max, bareMin, loadedMin;
};

Extremes extremes(const Arm& arm, const JointStiffness& stiffness) {
    return {-smallest(arm, stiffness, false, -1.0), smallest(arm, stiffness, false, 1.0),
            smallest(arm, stiffness, true, 1.0)};
}

}  // namespace

std::span<const Arm> arms() { return kArms; }

double modelFrequency(const Arm& arm, const JointStiffness& stiffness, bool loaded, const double* inputs) {
    if (!loaded) return firstFrequency(arm.set, stiffness, inputs, {});
    const double pose[6] = {0.0, inputs[0], inputs[1], inputs[2], inputs[3], 0.0};
    return firstFrequency(arm.set, stiffness, pose, {inputs[4], inputs[5]});
}

FlexibleArm flexibleArm(const Arm& arm) {
    const auto &bare = arm.ranges.bare, &loaded = arm.ranges.loaded;
    // The ratio of the two stiffnesses decides how the ranges' ends stand to each other ...
    const auto off = [&](double logRatio) {
        const Extremes is = extremes(arm, {1.0, std::exp(-logRatio)});
        const double bareOff = std::log(is.max / is.bareMin * bare.outputMin / bare.outputMax),
                     loadedOff = std::log(is.max / is.loadedMin * loaded.outputMin / loaded.outputMax);
        return bareOff * bareOff + loadedOff * loadedOff;
    };
    constexpr double kLow = 0.0, kHigh = 4.0, kStep = 0.25;
    double best = kLow, bestOff = off(kLow);
    for (double step = kStep; step > 0.005; step /= 4.0) {
        const double from = step == kStep ? kLow : best - 3.0 * step,
                     to = step == kStep ? kHigh : best + 3.5 * step;
        for (double at = std::max(from, kLow); at < to; at += step)
            if (const double value = off(at); value < bestOff) {
                best = at;
                bestOff = value;
            }
    }
    // ... and their size where the upper end lies.
    const JointStiffness unit = {1.0, std::exp(-best)};
    const Extremes is = extremes(arm, unit);
    const double scale = bare.outputMax / is.max;
    const auto gain = [&](const FrequencyRange& range, double min) {
        return (range.outputMax - range.outputMin) / (range.outputMax - scale * min);
    };
    return {{scale * scale * unit.arm, scale * scale * unit.wrist},
            {gain(bare, is.bareMin), gain(loaded, is.loadedMin)}};
}

}  // namespace tarn::tools
