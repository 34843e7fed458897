#include "sim/recorder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
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

std::size_t lineCount(const Group& group) {
    const auto end = std::find(group.lines.begin(), group.lines.end(), nullptr);
    return static_cast<std::size_t>(end - group.lines.begin());
}

const char* lastWord(const char* line) {
    const char* space = std::strrchr(line, ' ');
    return space == nullptr ? line : space + 1;
}

std::vector<Group> Recording::allGroups() const {
    std::vector<Group> all(std::begin(kGroups), std::end(kGroups));
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

void Recording::add(const Simulation& simulation) {
    values.resize(groups().size() + more.size());
    time.push_back(simulation.cycleStart());
    auto column = values.begin();
    for (const Group& group : kGroups) (column++)->push_back(group.read(simulation));
    for (const Group& group : more) (column++)->push_back(group.read(simulation));
    toolForce.push_back(simulation.plant().toolWrench().force);
    const std::vector<Surface> surfaces = simulation.plant().scenery();
    if (scenery.empty() ? !surfaces.empty() : surfaces != scenery.back().surfaces)
        scenery.push_back({simulation.cycleStart(), surfaces});
}

void writeCsv(const Recording& recording, const std::filesystem::path& file) {
    fmt::memory_buffer text;
    const auto out = std::back_inserter(text);
    fmt::format_to(out, "time_s");
    const std::vector<Group> all = recording.allGroups();
    for (const Group& group : all) {
        for (std::size_t line = 0; line < lineCount(group); line++)
            fmt::format_to(out, ",{}_{}", group.key, lastWord(group.lines[line]));
    }
    fmt::format_to(out, "\n");
    for (std::size_t row = 0; row < recording.size(); row++) {
        fmt::format_to(out, "{:.3f}", recording.time[row]);
        for (std::size_t g = 0; g < all.size(); g++) {
            for (std::size_t line = 0; line < lineCount(all[g]); line++)
                fmt::format_to(out, ",{:.9g}", recording.values[g][row][line]);
        }
        fmt::format_to(out, "\n");
    }
    std::ofstream stream(file, std::ios::binary);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.close();
    if (!stream) throw std::runtime_error(fmt::format("cannot write {}", file.string()));
}

}  // namespace tarn::sim
