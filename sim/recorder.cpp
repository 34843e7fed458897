#include "sim/recorder.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace tarn::sim {
namespace {

Joints commanded(const Simulation& s) { return s.commanded(); }
Joints measured(const Simulation& s) { return s.measured(); }
Joints current(const Simulation& s) {
    Joints values;
    for (std::size_t i = 0; i < 6; i++) values[i] = s.current()[i];
    return values;
}
Joints torque(const Simulation& s) { return s.plant().jointTorque(s.current()); }
Joints gravityTorque(const Simulation& s) { return s.plant().gravityTorque(s.measured()); }
Joints drift(const Simulation& s) {
    Joints values;
    for (std::size_t i = 0; i < 6; i++) values[i] = s.measured()[i] - s.options().startPose[i];
    return values;
}
Joints velocity(const Simulation& s) {
    Joints values;
    for (std::size_t i = 0; i < 6; i++) values[i] = s.velocity()[i] * 1000.0;
    return values;
}

// clang-format off

// in the order of GroupIndex
constexpr Group kGroups[] = {
    // key,            title,                             unit,                  read
    { "jC_deg",        "Commanded joint angle",           "deg",                 commanded     },
    { "j6_deg",        "Measured joint angle",            "deg",                 measured      },
    { "drift_deg",     "Joint angle since the start",     "deg",                 drift         },
    { "j6vel_deg_s",   "Joint velocity",                  "deg/s",               velocity      },
    { "current_set",   "Commanded motor current",         "1/1000 of rated",     current       },
    { "torque_Nm",     "Joint torque of the motors",      "N m",                 torque        },
    { "gravity_Nm",    "Gravity torque of the plant",     "N m",                 gravityTorque },
};

// clang-format on

static_assert(std::size(kGroups) == kGravityTorque + 1);

}  // namespace

std::span<const Group> groups() { return kGroups; }

void Recording::add(const Simulation& simulation) {
    values.resize(groups().size());
    time.push_back(simulation.cycleStart());
    for (std::size_t g = 0; g < groups().size(); g++) values[g].push_back(kGroups[g].read(simulation));
}

void writeCsv(const Recording& recording, const std::filesystem::path& file) {
    fmt::memory_buffer text;
    const auto out = std::back_inserter(text);
    fmt::format_to(out, "time_s");
    for (const Group& group : groups()) {
        for (int joint = 1; joint <= 6; joint++) fmt::format_to(out, ",{}_{}", group.key, joint);
    }
    fmt::format_to(out, "\n");
    for (std::size_t row = 0; row < recording.size(); row++) {
        fmt::format_to(out, "{:.3f}", recording.time[row]);
        for (const auto& group : recording.values) {
            for (const double value : group[row]) fmt::format_to(out, ",{:.9g}", value);
        }
        fmt::format_to(out, "\n");
    }
    std::ofstream stream(file, std::ios::binary);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.close();
    if (!stream) throw std::runtime_error(fmt::format("cannot write {}", file.string()));
}

}  // namespace tarn::sim
