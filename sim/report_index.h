// One page over the runs of a folder. Each run leaves a summary beside its page; the index is made of these
// alone, so runs of other processes and other days are in it too.
#pragma once

#include <filesystem>

#include "sim/scenario.h"

namespace tarn::sim {

// NAME.json of a run whose page is NAME.html and whose data are NAME.csv, in the same folder: scenario,
// options, verdicts, findings, simulated seconds and a small picture. A value that is no number is null.
// Another process sees the whole file or none. Throws std::runtime_error when it cannot be written.
void writeSummary(const Scenario& scenario, const Run& run, const std::filesystem::path& file);

// Writes index.html from all summaries in the folder; other files are passed over. As above, it is replaced
// in one go and throws std::runtime_error when it cannot be written.
void writeIndex(const std::filesystem::path& folder);

}  // namespace tarn::sim
