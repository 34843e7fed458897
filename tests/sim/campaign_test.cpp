// Jobs in processes of their own, and campaigns that are interrupted, split and put together again.
#include "sim/campaign.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "runs.h"
#include "sim/campaign_table.h"
#include "sim/parallel.h"
#include "support/scratch_folder.h"

namespace tarn::sim {
namespace {

using fixture::ScratchFolder;

std::vector<std::string> linesOf(const std::filesystem::path& file) {
    std::vector<std::string> lines;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

void append(const std::filesystem::path& file, const std::string& line) {
    std::ofstream(file, std::ios::app) << line + "\n" << std::flush;
}

bool soon(const std::function<bool()>& holds) {
    for (int n = 0; n < 3000; n++) {
        if (holds()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

// The program in a process of its own, until something holds; then it gets the signal. Answers its status.
int interrupt(int signal, const std::function<int()>& program, const std::function<bool()>& holds) {
    const pid_t process = fork();
    if (process == 0) _exit(program());
    EXPECT_TRUE(soon(holds));
    kill(process, signal);
    int status = 0;
    waitpid(process, &status, 0);
    return status;
}

int global = 0;

TEST(Parallel, JobsEndByThemselvesAndAreTold) {
    const std::string much(300000, 'x');  // more than a pipe holds
    const std::vector<Job> jobs = {
        {"talks", 0.0,
         [&](const Progress&) {
             printf("%s", much.c_str());
             return much + "!";
         }},
        {"throws", 0.0, [](const Progress&) -> std::string { throw std::runtime_error("no such luck"); }},
        {"crashes", 0.0,
         [](const Progress&) {
             raise(SIGKILL);
             return std::string();
         }},
        {"leaves", 0.0,
         [](const Progress&) {
             _exit(3);
             return std::string();
         }},
        {"counts", 0.0, [](const Progress&) { return std::to_string(++global); }},
        {"counts, too", 9.0, [](const Progress&) { return std::to_string(++global); }},
    };
    for (const int workers : {1, 4}) {
        std::vector<JobEnd> ends(jobs.size());
        std::vector<std::size_t> order;
        EXPECT_EQ(runJobs(jobs, workers,
                          [&](std::size_t job, const JobEnd& end) {
                              ends[job] = end;
                              order.push_back(job);
                              return "ended";
                          }),
                  0);
        ASSERT_EQ(order.size(), jobs.size());
        if (workers == 1) {
            EXPECT_EQ(order, (std::vector<std::size_t>{5, 0, 1, 2, 3, 4}));
        }
        EXPECT_TRUE(ends[0].finished && ends[0].result == much + "!" && ends[0].printed == much);
        EXPECT_TRUE(!ends[1].finished && ends[1].printed == "no such luck\n") << ends[1].printed;
        EXPECT_TRUE(!ends[2].finished && ends[2].reason.starts_with("signal 9")) << ends[2].reason;
        EXPECT_TRUE(!ends[3].finished && ends[3].reason == "exit code 3") << ends[3].reason;
        // each from the state before the first
        EXPECT_EQ(ends[4].result, "1");
        EXPECT_EQ(ends[5].result, "1");
    }
}

TEST(Parallel, JobsEndWithTheProgramThatStartedThem) {
    for (const int signal : {SIGINT, SIGTERM, SIGKILL}) {
        const ScratchFolder folder;
        const auto file = folder.path / "processes";
        const Job sleeper{"sleeps", 0.0, [&](const Progress&) {
                              append(file, std::to_string(getpid()));
                              std::this_thread::sleep_for(std::chrono::minutes(10));
                              return std::string();
                          }};
        const int status = interrupt(
            signal,
            [&] {
                return runJobs({sleeper, sleeper, sleeper}, 2, [](auto, auto&) { return ""; });
            },
            [&] { return linesOf(file).size() == 2; });
        EXPECT_TRUE(signal == SIGKILL ? WIFSIGNALED(status) : WEXITSTATUS(status) == signal) << status;
        for (const std::string& process : linesOf(file))
            EXPECT_TRUE(soon([&] {
                // one whose parent is gone may stay as a zombie where nobody reaps it
                const auto stat = linesOf("/proc/" + process + "/stat");
                return stat.empty() || stat[0].find(") Z ") != std::string::npos;
            })) << process
                << " lives after signal " << signal;
        EXPECT_EQ(linesOf(file).size(), 2u);
    }
}

// ---- campaigns

std::filesystem::path played;  // gets a line for each run

void playMarked(Run& run, double) {
    append(played, std::to_string(run.options.seed));
    if (run.options.seed == 13) raise(SIGKILL);
    SimulationOptions setup = simulationOptions(run.options);
    run.start(setup);
    run.advance(0.02);
    run.atMost("Largest of \"all\", in drift", std::fabs(run.recording.values[kDrift].back()[1]),
               run.options.seed == 3 ? -1.0 : 1.0, "deg");
    run.tell("Odd number", 1.0 / 3.0 * static_cast<double>(run.options.seed), "deg");
    run.findings.emplace_back("Said", "two\nlines, \"quoted\"");
}
const Scenario kMarked{"marked", "Leaves a mark.", 0.02, playMarked};

Grid markedGrid(const std::string& seeds) {
    Grid grid = gridOf({.scenarios = "hold", .seeds = seeds, .seconds = "0.1"});
    for (Cell& cell : grid.cells) cell.scenario = &kMarked;
    return grid;
}

std::string resultsOf(const std::filesystem::path& folder) { return contents(folder / "results.csv"); }

bool complains(const std::function<void()>& call, const std::string& of) {
    try {
        call();
    } catch (const CampaignError& error) {
        return std::string(error.what()).find(of) != std::string::npos ||
               (ADD_FAILURE() << error.what(), false);
    }
    return false;
}

TEST(Campaign, TheGridIsTheProductOfItsLists) {
    const GridText text{.scenarios = "hold,hold-dynamics",
                        .robotTypes = "101,902,1:2",
                        .seeds = "7,1:3",
                        .mounts = "wall,tilted",
                        .loads = "0,2",
                        .loadErrors = "-1,0.50",
                        .friction = "1.20"};
    const Grid grid = gridOf(text);
    // hold knows three of four types; of loads and errors 0 with -1 cannot be
    EXPECT_EQ(grid.cells.size(), (3u + 4u) * 4u * 2u * 3u);
    EXPECT_EQ(grid.unknownArms, 4u * 2u * 4u);
    EXPECT_EQ(grid.negativeLoads, (3u + 4u) * 4u * 2u);
    std::set<std::string> different;
    for (std::size_t n = 0; n < grid.cells.size(); n++) {
        const auto& [number, scenario, o] = grid.cells[n];
        EXPECT_EQ(number, n);
        EXPECT_EQ(o.frictionScale, 1.2);
        different.insert(std::string(scenario->name) + std::to_string(o.robotType) + " " + o.mount.name +
                         std::to_string(o.load) + " " + std::to_string(o.loadError) + " " +
                         std::to_string(o.seed));
    }
    EXPECT_EQ(different.size(), grid.cells.size());
    EXPECT_EQ(grid.text.seeds, "7,1,2,3");
    EXPECT_EQ(grid.text.loadErrors, "-1,0.5");
    EXPECT_EQ(gridOf(grid.text).cells.size(), grid.cells.size());

    const auto refuses = [](GridText wrong, const char* word) {
        EXPECT_TRUE(complains([&] { gridOf(wrong); }, word)) << word;
    };
    refuses({.scenarios = ""}, "--scenarios: no values");
    refuses({.scenarios = "hold,dance"}, "dance");
    refuses({.scenarios = "hold", .robotTypes = "101,1501"}, "'1501'");
    refuses({.scenarios = "hold", .seeds = "3:1"}, "'3:1'");
    refuses({.scenarios = "hold", .seeds = "0:18446744073709551615"}, "not a range");
    refuses({.scenarios = "hold", .seeds = "-1"}, "'-1'");
    refuses({.scenarios = "hold", .mounts = "attic"}, "attic");
    for (const char* load : {"nan", "inf", "101", "1x", "1,,2"})
        refuses({.scenarios = "hold", .loads = load}, "is not a number");
    refuses({.scenarios = "hold", .friction = "1,1.0"}, "a value twice");
    for (const char* shard : {"0/3", "4/3", "3", "1/0", "/", "1/3x"})
        EXPECT_TRUE(complains([&] { shardOf(shard); }, "--shard")) << shard;
}

TEST(Campaign, KilledCampaignGoesOnToTheSameBytes) {
    const ScratchFolder folder;
    const Grid grid = markedGrid("1:12");
    played = folder.path / "whole";
    const CampaignOptions whole{.out = folder.path / "a", .workers = 2};
    CampaignEnd end = runCampaign(grid, whole);
    EXPECT_TRUE(end.passed == 11 && end.failed == 1 && end.crashed == 0 && end.before == 0);
    EXPECT_EQ(linesOf(played).size(), 12u);

    const CampaignOptions options{.out = folder.path / "b", .workers = 2};
    played = folder.path / "killed";
    interrupt(
        SIGKILL, [&] { return runCampaign(grid, options).signal; },
        [&] { return linesOf(played).size() >= 6; });
    const std::size_t begun = linesOf(played).size();
    // what a kill amid the writing leaves
    append(options.out / "results.csv", "11,marked,101,B,floor,0,0,1,12,verdict,Half");
    const std::size_t kept = Table::read(options.out / "results.csv").cells().size();
    EXPECT_GE(kept + 2, begun);  // but for the two that were at work
    end = runCampaign(grid, options);
    EXPECT_EQ(end.before, kept);
    EXPECT_EQ(linesOf(played).size(), begun + 12 - kept);
    EXPECT_EQ(resultsOf(options.out), resultsOf(whole.out));

    // once more there is nothing to do
    EXPECT_EQ(runCampaign(grid, options).before, 12u);
    EXPECT_EQ(linesOf(played).size(), begun + 12 - kept);
    EXPECT_TRUE(complains([&] { runCampaign(markedGrid("1:13"), options); }, "another campaign"));
    EXPECT_EQ(resultsOf(options.out), resultsOf(whole.out));
}

TEST(Campaign, ShardsMakeTheWhole) {
    const ScratchFolder folder;
    const Grid grid = markedGrid("1:7");
    played = folder.path / "played";
    const auto path = [&](const std::string& name) { return folder.path / name; };
    runCampaign(grid, {.out = path("whole"), .workers = 1});
    std::vector<std::filesystem::path> shards;
    for (std::size_t k = 1; k <= 3; k++) {
        shards.push_back(path(std::to_string(k)));
        runCampaign(grid, {.out = shards.back(), .shard = {k, 3}, .pages = Pages::Failed, .workers = 2});
    }
    EXPECT_EQ(linesOf(played).size(), 14u);
    std::reverse(shards.begin(), shards.end());
    const CampaignEnd end = mergeCampaign(shards, path("merged"));
    EXPECT_TRUE(end.passed == 6 && end.failed == 1);
    EXPECT_EQ(resultsOf(path("merged")), resultsOf(path("whole")));
    EXPECT_TRUE(std::filesystem::exists(path("merged") / "pages" / "2-marked.html"));  // seed 3 fails
    const std::string page = contents(path("merged") / "index.html");
    EXPECT_NE(page.find("6 / 7"), std::string::npos);
    EXPECT_NE(page.find("pages/2-marked.html"), std::string::npos);

    const auto refuses = [&](std::vector<std::filesystem::path> of, const char* word) {
        EXPECT_TRUE(complains([&] { mergeCampaign(of, path("wrong")); }, word)) << word;
        EXPECT_FALSE(std::filesystem::exists(path("wrong")));
    };
    refuses({shards[0], shards[2]}, "2 of 7 cells are missing: 1, 4");
    refuses({shards[0], shards[1], shards[2], shards[1]}, "twice");
    refuses({shards[0], path("none")}, "no campaign");
    runCampaign(markedGrid("1:8"), {.out = path("other"), .shard = {2, 3}, .workers = 1});
    refuses({shards[0], path("other"), shards[2]}, "two campaigns");
}

TEST(Campaign, CrashIsAFailedCellAndIsTriedAgain) {
    const ScratchFolder folder;
    const Grid grid = markedGrid("12:14");
    const CampaignOptions options{.out = folder.path / "out", .workers = 2};
    for (const std::size_t before : {0u, 2u}) {
        played = folder.path / std::to_string(before);
        const CampaignEnd end = runCampaign(grid, options);
        EXPECT_TRUE(end.passed == 2 && end.crashed == 1 && end.before == before);
        EXPECT_EQ(linesOf(played).size(), 3u - before);
    }
    // and the rows are those of the run
    played = folder.path / "again";
    std::vector<TableRow> rows = Table::read(options.out / "results.csv").rows();
    const auto of = [&](std::size_t cell, const std::string& kind) {
        const auto found = std::find_if(rows.begin(), rows.end(), [&](const TableRow& row) {
            return row.cell == cell && row.kind == kind;
        });
        return found == rows.end() ? TableRow{} : *found;
    };
    EXPECT_EQ(of(1, "run").name, "crash");
    EXPECT_NE(of(1, "run").text.find("signal 9"), std::string::npos);
    EXPECT_FALSE(of(1, "run").pass);
    const sim::Run run = runOf(kMarked, grid.cells[2].options);
    const TableRow verdict = of(2, "verdict"), figure = of(2, "figure");
    EXPECT_TRUE(verdict.name == run.verdicts[0].name && verdict.pass && verdict.limit == 1.0);
    EXPECT_EQ(verdict.value, run.verdicts[0].value);
    EXPECT_EQ(figure.value, run.figures[0].value);
    EXPECT_TRUE(std::isnan(figure.at) && figure.unit == "deg");
    EXPECT_EQ(of(2, "finding").text, "two lines, \"quoted\"");
    EXPECT_EQ(of(2, "run").value, 0.02);
}

}  // namespace
}  // namespace tarn::sim
