// Force sensors that report fractions of their range.
#pragma once

namespace tarn {

constexpr int kRangeCompany = 16;   // their maker, known by number alone
constexpr int kRangeCounts = 4096;  // the word at the end of the range
constexpr double kKgf = 9.8;        // N

struct SensorRange {
    double force, torque;  // kgf, kgf m
};

// clang-format off
constexpr SensorRange kSensorRanges[] = {
    // force, torque    device
    {   40.0,   1.6 },  //  0
    {   11.2,   0.4 },  //  1
    {  100.0,   2.8 },  //  2
    {  160.0,   4.0 },  //  3
    {    6.4,  0.32 },  //  4
    {   20.0,   0.8 },  //  5
    {   10.0,   1.6 },  //  6
    {   20.0,   1.6 },  //  7
    {   40.0,   1.6 },  //  8
    {   60.0,   1.6 },  //  9
    {   80.0,   1.6 },  // 10
    {  120.0,  15.0 },  // 11
};
// clang-format on

}  // namespace tarn
