// Runs of scenarios, and draws of poses, for the tests of the simulator.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "sim/scenario.h"

namespace tarn::sim {

inline Run runOf(const Scenario& scenario, const RunOptions& options) {
    Run run;
    run.options = options;
    play(scenario, run);
    return run;
}

inline Run runOf(const std::string& name, const RunOptions& options) {
    return runOf(*findScenario(name), options);
}

// The verdicts that fail, with their numbers.
inline std::string failures(const Run& run) {
    std::ostringstream text;
    for (const Verdict& v : run.verdicts)
        if (!v.pass) text << v.name << " " << v.value << " over " << v.limit << " " << v.unit << "; ";
    return text.str();
}

inline bool fails(const Run& run, const std::string& name) {
    return failures(run).find(name) != std::string::npos;
}

inline std::string contents(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

struct Draw {
    std::mt19937 generator{20240607};
    double operator()(double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(generator);
    }
    Joints pose() {
        Joints q;
        for (double& angle : q) angle = (*this)(-180.0, 180.0);
        return q;
    }
    Vec3 vec(double size) {
        Vec3 v;
        for (double& x : v) x = (*this)(-size, size);
        return v;
    }
};

}  // namespace tarn::sim
