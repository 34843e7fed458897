// One place to start a test from, and to see what a call left untouched and what it asked of the host.
#pragma once

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnhost/service_record.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace fixture {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

inline void forgetCalls() {
    tarn::host::clearServiceRecord();
    tarn::host::serviceRecord.on = true;
}

// The host at rest with an arm of the type, and an empty record of service calls.
inline void start(int type) {
    tarn::host::setDefaults(type);
    mcb.robotType = type;  // also a type that no host would set up
    forgetCalls();
}

// All motors at the same rated torque, N m.
inline void rateMotors(float torque) {
    mpb.moterRatedTorque_60 = mpb.moterRatedTorque_60L = mpb.moterRatedTorque_80 = torque;
    mpb.moterRatedTorque_130 = mpb.moterRatedTorque_130L = torque;
}

using Lines = std::vector<std::string>;

// The service calls since the record was emptied: name, then arguments.
inline Lines calls() {
    const auto& record = tarn::host::serviceRecord;
    return {record.line, record.line + record.count};
}

// The same in one text, each with a "; " behind it.
inline std::string callText() {
    std::string text;
    for (const std::string& line : calls()) text += line + "; ";
    return text;
}

// The bytes of the three blocks at construction.
class Blocks {
  public:
    Blocks() {
        for (const auto& [start, size] : kBlocks) image_.append(start, size);
    }
    [[nodiscard]] bool unchanged() const {
        const char* old = image_.data();
        for (const auto& [start, size] : kBlocks) {
            if (std::memcmp(old, start, size) != 0) return false;
            old += size;
        }
        return true;
    }

  private:
    static inline const std::pair<const char*, size_t> kBlocks[] = {
        {reinterpret_cast<const char*>(&mcb), sizeof mcb},
        {reinterpret_cast<const char*>(&mpb), sizeof mpb},
        {reinterpret_cast<const char*>(&how), sizeof how}};
    std::string image_;
};

// Also infinite as infinite, and no number as no number.
[[nodiscard]] inline bool near(double got, double want, double tolerance) {
    if (!std::isfinite(want)) return std::isnan(want) ? std::isnan(got) : got == want;
    return std::fabs(got - want) <= tolerance;
}

}  // namespace fixture
