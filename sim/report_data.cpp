#include "sim/report_data.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

namespace tarn::sim {
namespace {

// so that a step fits the 32-bit integers of the page's script
constexpr double kMostQuanta = 0x1p28;
// Quanta in the mean distance from the mean: far below a pixel, and unlike a share of the range it stays fine
// where a spike makes the range large.
constexpr double kQuantaInSpread = 1e4;

void putNumber(std::string& text, std::uint32_t number) {
    for (; number >= 32; number >>= 5) text += kDigits[32 + number % 32];
    text += kDigits[number];
}

// The smallest of 1, 2, 5, 10, 20 ... that is not below the value.
double roundUp(double value) {
    const double decade = std::pow(10.0, std::floor(std::log10(value)));
    for (const double lead : {1.0, 2.0, 5.0}) {
        if (value <= lead * decade * (1.0 + 1e-9)) return lead * decade;
    }
    return 10.0 * decade;
}

double finestQuantum(std::span<const double> values) {
    double sum = 0.0, count = 0.0, largest = 0.0;
    for (const double value : values) {
        if (!std::isfinite(value)) continue;
        sum += value;
        count++;
        largest = std::max(largest, std::fabs(value));
    }
    double spread = 0.0;
    for (const double value : values) {
        if (std::isfinite(value)) spread += std::fabs(value - sum / count) / count;
    }
    const double quantum = std::max(largest / kMostQuanta, spread / kQuantaInSpread);
    // nothing but zeros, or values at the ends of what a double holds
    return std::isfinite(quantum) && quantum > 1e-300 ? roundUp(quantum) : std::max(1.0, largest * 1e-6);
}

}  // namespace

std::string coded(std::span<const double> values, double quantum) {
    std::string text, last;  // last: of the last step
    std::int64_t number = 0;
    std::uint32_t repeats = 0;
    const auto putRepeats = [&] {
        std::string count = "*";
        putNumber(count, repeats);
        if (count.size() < repeats * last.size()) {
            text += count;
        } else {
            for (; repeats > 0; repeats--) text += last;
        }
        repeats = 0;
    };
    for (const double value : values) {
        std::string step = "!";
        if (std::isfinite(value)) {
            const std::int64_t next = std::llround(value / quantum);
            const std::int64_t twice = 2 * (next - number);
            number = next;
            step.clear();
            putNumber(step, static_cast<std::uint32_t>(twice < 0 ? -twice - 1 : twice));
        }
        if (step == last) {
            repeats++;
        } else {
            putRepeats();
            text += last = step;
        }
    }
    putRepeats();
    return text;
}

CodedLine codedWithin(std::size_t characters, std::span<const double> values) {
    // ends at the latest where all steps are zero: that takes a character a sample at most
    characters = std::max(characters, values.size() + 8);
    for (double quantum = finestQuantum(values);; quantum = roundUp(1.5 * quantum)) {
        CodedLine line{quantum, coded(values, quantum)};
        if (line.text.size() <= characters) return line;
    }
}

Extremes extremesOf(std::span<const double> values, std::size_t first, std::size_t count) {
    std::optional<std::size_t> low, high;
    for (std::size_t k = first; k < first + count; k++) {
        if (!std::isfinite(values[k])) continue;
        if (!low || values[k] < values[*low]) low = k;
        if (!high || values[k] > values[*high]) high = k;
    }
    return {low ? std::min(*low, *high) : first, low ? std::max(*low, *high) : first};
}

}  // namespace tarn::sim
