#include "sim/campaign_command.h"

#include <fmt/format.h>

#include <csignal>
#include <cstdio>

#include "sim/arguments.h"
#include "sim/parallel.h"

namespace tarn::sim {
namespace {

// Ready-made grids; what is told on the command line goes before.
struct Preset {
    const char* name;
    GridText grid;
};

// One version of each parameter set that the full dynamics has.
constexpr const char* kArms = "1,2,3,101,201,202,301,302,401,701,702,703,801,901,902,903,1001";
// One of each family.
constexpr const char* kFamilies = "1,101,202,302,401,702,801,901,902,903,1001";

const Preset kPresets[] = {
    // four cases of a minute, fifteen times: an hour of each family
    {"false-alarm-hour",
     {.scenarios = "false-alarm", .robotTypes = kFamilies, .seeds = "1:15", .seconds = "60"}},
    {"detection", {.scenarios = "collide,static-collide", .robotTypes = kArms, .seeds = "0:4"}},
};

std::string presetNames() {
    std::string names;
    for (const Preset& preset : kPresets)
        names += fmt::format("{}{}", names.empty() ? "" : ", ", preset.name);
    return names;
}

}  // namespace

CLI::App* addCampaign(CLI::App& app, CampaignArguments& arguments) {
    CLI::App* command = app.add_subcommand("campaign", "Run a grid of scenarios, arms and errors");
    command->add_option("--preset", arguments.preset, "Ready-made grid: " + presetNames());
    for (const GridField& field : kGridFields)
        command->add_option(fmt::format("--{}", field.name), arguments.grid.*field.text, field.help)
            ->capture_default_str();
    arguments.options.out = "tarnsim-campaign";
    command
        ->add_option("--out", arguments.options.out,
                     "Folder of the campaign; one that was interrupted goes on")
        ->capture_default_str();
    arguments.options.workers = processors();
    addJobs(*command, arguments.options.workers);
    command->add_option("--pages", arguments.pages, "Pages of single runs: failed, all or none")
        ->check(CLI::IsMember({"failed", "all", "none"}))
        ->capture_default_str();
    CLI::Option* shard = command->add_option("--shard", arguments.shard, "Only the cells of one shard, k/n");
    command->add_option("--merge", arguments.merge, "Put the shards of these folders together into --out")
        ->excludes(shard);
    return command;
}

bool campaign(const CLI::App& command, CampaignArguments arguments) {
    CampaignOptions& options = arguments.options;
    CampaignEnd end;
    if (!arguments.merge.empty()) {
        for (const GridField& field : kGridFields) {
            if (command.count(fmt::format("--{}", field.name)) > 0)
                throw CampaignError(
                    fmt::format("--{} does not go with --merge: the shards tell it", field.name));
        }
        end = mergeCampaign(arguments.merge, options.out);
    } else {
        if (!arguments.preset.empty()) {
            const Preset* found = nullptr;
            for (const Preset& preset : kPresets)
                if (arguments.preset == preset.name) found = &preset;
            if (found == nullptr)
                throw CampaignError(
                    fmt::format("no preset {}; there are {}", arguments.preset, presetNames()));
            for (const GridField& field : kGridFields) {
                if (command.count(fmt::format("--{}", field.name)) == 0)
                    arguments.grid.*field.text = found->grid.*field.text;
            }
        }
        const Grid grid = gridOf(arguments.grid);
        if (!arguments.shard.empty()) options.shard = shardOf(arguments.shard);
        options.pages = arguments.pages == "all"      ? Pages::All
                        : arguments.pages == "failed" ? Pages::Failed
                                                      : Pages::None;
        if (grid.unknownArms > 0)
            fmt::print("{} cells left out: the scenario's torque model knows no arm of the type\n",
                       grid.unknownArms);
        if (grid.negativeLoads > 0)
            fmt::print("{} cells left out: load and load error together are negative\n", grid.negativeLoads);
        end = runCampaign(grid, options);
    }
    if (end.before > 0) fmt::print("{} cells were there already\n", end.before);
    fmt::print("{} cells pass, {} fail, {} crashed\n", end.passed, end.failed, end.crashed);
    if (end.signal != 0) {
        fmt::print("ended early; the same command goes on\n");
        std::fflush(stdout);
        std::raise(end.signal);
    }
    fmt::print("  page {}\n  data {}\n", (options.out / "index.html").string(),
               (options.out / "results.csv").string());
    return end.failed + end.crashed == 0;
}

}  // namespace tarn::sim
