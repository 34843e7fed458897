#include "sensor/decoding.h"

#include <cstddef>
#include <iterator>

namespace tarn {
namespace {

// clang-format off

// Makers are known by number alone. The sensors of one report fractions of a range.
constexpr int kRangeCompany = 16;
constexpr int kRangeCounts = 4096;          // the word at the end of the range
constexpr double kGravity = 9.8;            // N of a kgf
struct Range { double force, torque; };     // kgf, kgf m
constexpr Range kRanges[] = {
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

// All others report fixed-point numbers.
constexpr double kForceCount = 0.1;         // N
constexpr double kTorqueCount = 0.01;       // N m
struct FixedPoint {
    int  company;
    int  lastDevice;                        // its models count from 0
    bool announcedOnly;                     // counts only while it is announced on the axle bus
};
constexpr FixedPoint kFixedPoint[] = {
    // company, last device, announced only
    {       18,           0, false },
    {       19,           0, false },
    {       20,           0, false },
    {       21,           0, false },
    {       22,           0, false },
    {       23,           2, false },
    {       25,           2, false },
    {       80,           2, false },
    {       96,           0, true  },
};

// clang-format on

bool isFixedPoint(int company, int device, bool announced) {
    for (const FixedPoint& sensor : kFixedPoint)
        if (sensor.company == company && 0 <= device && device <= sensor.lastDevice)
            return announced || !sensor.announcedOnly;
    return false;
}

// Writes value(raw word, whether it is a force) into each channel.
template <typename Value>
void fill(FORCESENSOR_DATA* reading, const std::int32_t* words, Value value) {
    for (std::size_t i = 0; i < std::size(kSensorChannels); i++)
        reading->*kSensorChannels[i] = value(static_cast<std::int16_t>(words[i]), i < 3);
}

}  // namespace

void decodeSensorWords(const std::int32_t* words, int company, int device, bool announced,
                       FORCESENSOR_DATA* reading) {
    if (company == kRangeCompany && 0 <= device && device < static_cast<int>(std::size(kRanges))) {
        const Range& range = kRanges[device];
        fill(reading, words, [&](int raw, bool force) {
            return (raw * (force ? range.force : range.torque)) / kRangeCounts * kGravity;
        });
    } else if (isFixedPoint(company, device, announced)) {
        fill(reading, words, [](int raw, bool force) { return raw * (force ? kForceCount : kTorqueCount); });
    }
}

}  // namespace tarn
