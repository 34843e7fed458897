// A campaign plays a grid of runs, each cell in a process of its own, and keeps what they measured in one
// table. It can be interrupted and goes on where it was; shards of it can run anywhere and are put together
// afterwards to the same bytes.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/scenario.h"

namespace tarn::sim {

// Wrong use: nothing was run.
struct CampaignError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The grid as on the command line: values with commas, whole numbers also as first:last.
struct GridText {
    std::string scenarios = "";
    std::string robotTypes = "101";
    std::string seeds = "0";
    std::string mounts = "floor";
    std::string loads = "0";       // kg
    std::string loadErrors = "0";  // kg
    std::string friction = "1";    // scales
    std::string seconds = "";      // one; empty: each scenario's own
};

struct GridField {
    const char* name;  // of the option
    std::string GridText::*text;
    const char* help;
};
inline constexpr GridField kGridFields[] = {
    {"scenarios", &GridText::scenarios, "Names, see 'tarnsim list'"},
    {"robot-types", &GridText::robotTypes, "Robot type codes"},
    {"seeds", &GridText::seeds, "Seeds, 1:20 for twenty"},
    {"mounts", &GridText::mounts, "Of floor, wall, ceiling, tilted (30 and 45 degrees)"},
    {"loads", &GridText::loads, "Tool loads, kg"},
    {"load-errors", &GridText::loadErrors, "Loads that the library does not know of, kg"},
    {"friction", &GridText::friction, "Scales of the arm's joint friction"},
    {"seconds", &GridText::seconds, "Simulated time of a run, where a scenario takes one"},
};

struct Cell {
    std::size_t number;
    const Scenario* scenario;
    RunOptions options;
};

struct Grid {
    GridText text;  // every value written out, in one way only
    std::vector<Cell> cells;
    // left out of the product
    std::size_t unknownArms = 0;    // the scenario's torque model knows no such type
    std::size_t negativeLoads = 0;  // load and error together
};

Grid gridOf(const GridText& text);  // throws CampaignError

// Cells 1, 1 + n, 1 + 2 n, ... counted from 1 are the first of n shards.
struct Shard {
    std::size_t index = 1, count = 1;
    bool holds(std::size_t cell) const { return cell % count == index - 1; }
};
Shard shardOf(const std::string& text);  // "2/5"; throws CampaignError

enum class Pages { None, Failed, All };

struct CampaignOptions {
    std::filesystem::path out{};
    Shard shard{};
    Pages pages = Pages::None;  // of the single runs
    int workers = 1;
};

struct CampaignEnd {
    std::size_t before = 0;  // cells that were there already
    std::size_t passed = 0, failed = 0, crashed = 0;
    int signal = 0;  // that ended it early
};

// Plays the cells of the shard that are not yet in the folder, then writes the table and the summary page.
CampaignEnd runCampaign(const Grid& grid, const CampaignOptions& options);  // throws CampaignError

// Puts the shards of one campaign together: every cell once, none missing. Throws CampaignError otherwise.
CampaignEnd mergeCampaign(const std::vector<std::filesystem::path>& shards, const std::filesystem::path& out);

// Name of the family that a type belongs to.
const char* familyOf(int robotType);

}  // namespace tarn::sim
