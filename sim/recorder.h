// What a run keeps of every cycle, and its file of comma-separated values.
#pragma once

#include <array>
#include <cstddef>
#include <filesystem>
#include <span>
#include <vector>

#include "sim/simulation.h"

namespace tarn::sim {

// Up to six values a cycle: as many columns of the file and lines of one plot of the page.
struct Group {
    const char* key;
    const char* title;
    const char* unit;
    Joints (*read)(const Simulation&);
    // by value, behind which there are no more lines; the last word makes the name of the column, key_1
    std::array<const char*, 6> lines = {"joint 1", "joint 2", "joint 3", "joint 4", "joint 5", "joint 6"};
};

std::size_t lineCount(const Group& group);
const char* lastWord(const char* line);

std::span<const Group> groups();  // of every run

enum GroupIndex : std::size_t { kCommanded, kMeasured, kDrift, kVelocity, kCurrent, kTorque, kGravityTorque };

// The surfaces that the tool can touch from a time on, s.
struct Scenery {
    double time;
    std::vector<Surface> surfaces;
};

struct Recording {
    std::vector<double> time;                 // s
    std::vector<std::vector<Joints>> values;  // by group, then by cycle
    std::vector<Group> more;                  // behind those of every run; told before the first cycle

    // for the picture of the arm alone
    std::vector<Vec3> toolForce;  // N, all that acts on the tool, base frame; by cycle
    std::vector<Scenery> scenery;

    void add(const Simulation& simulation);
    std::size_t size() const { return time.size(); }
    std::vector<Group> allGroups() const;
};

// One heading row, then a row for each cycle. Throws std::runtime_error when the file cannot be written.
void writeCsv(const Recording& recording, const std::filesystem::path& file);

}  // namespace tarn::sim
