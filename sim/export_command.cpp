#include "sim/export_command.h"

#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <fstream>

#include "sim/model_text.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn::sim {

void addExportOptions(CLI::App& command, ExportOptions& options) {
    command.add_option("--robot-type", options.robotType, "Robot type code")
        ->required()
        ->check(CLI::Range(0, MAXROBOTTYPENUM));
    command.add_option("--torque-model", options.torqueModel, "Whose arm: 0 gravity only, 2 full dynamics")
        ->check(CLI::IsMember({0, 2}))
        ->capture_default_str();
    command.add_option("--format", options.format, "urdf or mjcf")
        ->check(CLI::IsMember({"urdf", "mjcf"}))
        ->capture_default_str();
    command.add_option("--out", options.out, "File to write, else standard output");
}

bool exportModel(const ExportOptions& options) {
    try {
        const ExportedArm arm = exportedArm(options.robotType, static_cast<TorqueModel>(options.torqueModel));
        const std::string text = options.format == "urdf" ? urdfText(arm) : mjcfText(arm);
        for (const std::string& note : arm.notes) fmt::print(stderr, "tarnsim: note: {}\n", note);
        if (options.out.empty()) {
            if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0)
                return true;
            fmt::print(stderr, "tarnsim: standard output does not take the model\n");
            return false;
        }
        std::ofstream file(options.out, std::ios::binary);
        file << text << std::flush;
        if (file) return true;
        fmt::print(stderr, "tarnsim: cannot write {}\n", options.out);
    } catch (const std::exception& error) {
        fmt::print(stderr, "tarnsim: {}\n", error.what());
    }
    return false;
}

}  // namespace tarn::sim
