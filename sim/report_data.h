// The samples of a line as the page carries them: short enough for a page that opens at once, and fine enough
// to zoom down to single cycles.
//
// A sample is a whole number of quanta. The text holds, sample by sample, the step from the last number:
//   a step     2 * step, or -2 * step - 1 below zero, in digits of five bits, the lowest first; a digit with
//              its sixth bit (32) set is followed by another
//   !          a sample that is no number
//   * and a count in such digits: the last step (or !) that many times more
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace tarn::sim {

// Digit of each six-bit value. There is no n: a page holds "nan" or "inf" only where somebody printed one.
inline constexpr char kDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmopqrstuvwxyz_-.";

std::string coded(std::span<const double> values, double quantum);

struct CodedLine {
    double quantum;
    std::string text;
};

// Coded as finely as the characters allow.
CodedLine codedWithin(std::size_t characters, std::span<const double> values);

// Of `count` samples in a row from `first` on, the lowest and the highest, in their order of time. Samples
// that are no numbers are passed over; with no other, both are `first`.
struct Extremes {
    std::size_t one, two;
};
Extremes extremesOf(std::span<const double> values, std::size_t first, std::size_t count);

}  // namespace tarn::sim
