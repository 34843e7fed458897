// The page of a run: one self-contained file, nothing fetched. Its pictures are inline SVG and stand without
// the script, which adds the zoom and the switches of the lines. It is well-formed XML.
#pragma once

#include <filesystem>
#include <string>

#include "sim/scenario.h"

namespace tarn::sim {

// What was asked for, and the simulated time, in a line.
std::string settingsLine(const Run& run);

// Links to the data beside it and to the index of its folder. Throws std::runtime_error when the file cannot
// be written.
void writeReport(const Scenario& scenario, const Run& run, const std::filesystem::path& file);

}  // namespace tarn::sim
