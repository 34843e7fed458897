// The page over a campaign: shares that pass, by scenario and family and by what was varied, all verdicts,
// the cells that fail with the command that repeats each, and plots over the families.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "sim/campaign.h"
#include "sim/campaign_table.h"

namespace tarn::sim {

inline constexpr const char* kPagesName = "pages";  // folder of the pages of single runs
std::filesystem::path pageOf(std::size_t cell, const std::string& scenario);

// Writes index.html and, for use elsewhere, its plots into the folder "plots".
void writeCampaignPage(const Grid& grid, const Shard& shard, const Table& table,
                       const std::filesystem::path& folder);

}  // namespace tarn::sim
