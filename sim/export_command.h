// The command `tarnsim export-model`: an arm for other programs.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace tarn::sim {

struct ExportOptions {
    int robotType = 0;
    int torqueModel = 2;
    std::string format = "mjcf";
    std::string out;  // empty: standard output
};

void addExportOptions(CLI::App& command, ExportOptions& options);

// Answers whether the model was written; the reason why not goes to standard error, as does what was changed.
bool exportModel(const ExportOptions& options);

}  // namespace tarn::sim
