#include "sensor/decoding.h"

#include <cstddef>
#include <iterator>

#include "model/sensor_ranges.h"

namespace tarn {
namespace {

// clang-format off

// Makers are known by number alone. All but one report fixed-point numbers.
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
    if (company == kRangeCompany && 0 <= device && device < static_cast<int>(std::size(kSensorRanges))) {
        const SensorRange& range = kSensorRanges[device];
        fill(reading, words, [&](int raw, bool force) {
            return (raw * (force ? range.force : range.torque)) / kRangeCounts * kKgf;
        });
    } else if (isFixedPoint(company, device, announced)) {
        fill(reading, words, [](int raw, bool force) { return raw * (force ? kForceCount : kTorqueCount); });
    }
}

}  // namespace tarn
