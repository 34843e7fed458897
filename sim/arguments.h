// Options that several commands take.
#pragma once

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <string>

#include "sim/parallel.h"
#include "sim/simulation.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn::sim {

// Numbers within bounds, ends included. Unlike the parser's own check it also refuses what is not a number.
inline CLI::Validator within(double low, double high) {
    const auto check = [low, high](const std::string& text) -> std::string {
        double value = 0.0;
        if (CLI::detail::lexical_cast(text, value) && low <= value && value <= high) return {};
        return fmt::format("{} is not a number from {:g} to {:g}", text, low, high);
    };
    return {check, fmt::format("{:g} to {:g}", low, high)};
}

inline CLI::Validator knownArm() {
    const auto check = [](const std::string& text) -> std::string {
        int type = 0;
        if (CLI::detail::lexical_cast(text, type) && 0 <= type && type <= MAXROBOTTYPENUM &&
            (armOf(type, GravityOnly) != nullptr || armOf(type, FullDynamics) != nullptr)) {
            return {};
        }
        return fmt::format("{} is not a robot type with a torque model", text);
    };
    return {check, "robot type"};
}

inline void addJobs(CLI::App& command, int& workers) {
    constexpr int kMost = 256;  // three open files each
    command.add_option("-j,--jobs", workers, "Runs at a time; all processors if not told")
        ->check(within(1, kMost));
}

}  // namespace tarn::sim
