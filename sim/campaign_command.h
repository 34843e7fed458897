// The command "tarnsim campaign".
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>
#include <vector>

#include "sim/campaign.h"

namespace tarn::sim {

struct CampaignArguments {
    std::string preset;
    GridText grid;
    std::string shard, pages = "none";
    std::vector<std::filesystem::path> merge;
    CampaignOptions options;
};

CLI::App* addCampaign(CLI::App& app, CampaignArguments& arguments);

// Whether all cells pass. Throws CampaignError. Does not come back from a signal that ends it.
bool campaign(const CLI::App& command, CampaignArguments arguments);

}  // namespace tarn::sim
