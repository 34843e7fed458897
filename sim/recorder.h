// What a run keeps of every cycle, and its file of comma-separated values.
#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <vector>

#include "sim/simulation.h"

namespace tarn::sim {

// Six values a cycle, one per joint: six columns of the file, named key_1 to key_6, and one plot of the page.
struct Group {
    const char* key;
    const char* title;
    const char* unit;
    Joints (*read)(const Simulation&);
};

std::span<const Group> groups();

enum GroupIndex : std::size_t { kCommanded, kMeasured, kDrift, kVelocity, kCurrent, kTorque, kGravityTorque };

struct Recording {
    std::vector<double> time;                 // s
    std::vector<std::vector<Joints>> values;  // by group, then by cycle

    void add(const Simulation& simulation);
    std::size_t size() const { return time.size(); }
};

// One heading row, then a row for each cycle. Throws std::runtime_error when the file cannot be written.
void writeCsv(const Recording& recording, const std::filesystem::path& file);

}  // namespace tarn::sim
