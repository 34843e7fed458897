// tarnsim: lists and runs the scenarios. Exit codes: 0 all verdicts pass, 1 a verdict fails, 2 wrong use.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "replay/recorder.h"
#include "sim/arguments.h"
#include "sim/campaign_command.h"
#include "sim/export_command.h"
#include "sim/parallel.h"
#include "sim/report.h"
#include "sim/report_index.h"
#include "sim/scenario.h"

using namespace tarn::sim;

namespace {

// Thrown through a run of which all has been recorded that was asked for.
struct Recorded {};

constexpr int kPass = 0, kFail = 1, kUsage = 2;

// What the command line says, before it is put together.
struct Arguments {
    std::string scenario;
    bool all = false;
    std::filesystem::path out = "tarnsim-out";
    std::string mount = "floor";
    std::vector<double> tilt;  // deg
    std::vector<double> pose;
    std::vector<double> loadCenter;
    double seconds = 0.0;
    int workers = processors();
    std::filesystem::path record;
    double recordSeconds = 0.0;  // 0: to the end
    RunOptions options;
};

void addRunOptions(CLI::App& run, Arguments& arguments) {
    RunOptions& options = arguments.options;
    run.add_option("scenario", arguments.scenario, "Name of the scenario, see 'tarnsim list'");
    run.add_flag("--all", arguments.all, "Run every scenario");
    addJobs(run, arguments.workers);
    run.add_option("--robot-type", options.robotType, "Robot type code")
        ->check(knownArm())
        ->capture_default_str();
    run.add_option("--seed", options.seed, "0: the typical case, else what a scenario draws is drawn from it")
        ->capture_default_str();
    run.add_option("--out", arguments.out, "Folder for the data and the report page")->capture_default_str();
    run.add_option("--record", arguments.record, "File for all calls into the library, see tarnreplay");
    run.add_option("--record-seconds", arguments.recordSeconds,
                   "End the run after this time, without verdicts and report")
        ->needs("--record")
        ->check(within(0.001, 3600.0));
    run.add_option("--mount", arguments.mount, "How the arm is fixed")
        ->check([](const std::string& name) {
            return findMount(name) ? std::string() : name + " is none of floor, wall, ceiling, tilted";
        })
        ->capture_default_str();
    run.add_option("--tilt", arguments.tilt, "Mounting angles about Y and Z of a tilted mount, deg")
        ->expected(2)
        ->check(within(-360.0, 360.0));
    run.add_option("--load", options.load, "Tool load, kg")->check(within(0.0, 100.0))->capture_default_str();
    run.add_option("--load-center", arguments.loadCenter, "Its center in the flange frame, mm")
        ->expected(3)
        ->check(within(-1000.0, 1000.0));
    run.add_option("--load-error", options.loadError, "Load on the arm that the library does not know of, kg")
        ->check(within(-100.0, 100.0))
        ->capture_default_str();
    run.add_option("--friction", options.frictionScale, "Scale of the arm's joint friction")
        ->check(within(0.0, 10.0))
        ->capture_default_str();
    run.add_option("--pose", arguments.pose, "Start pose, deg")->expected(6)->check(within(-360.0, 360.0));
    run.add_option("--seconds", arguments.seconds,
                   "Simulated time in place of the scenario's own, where it stands still")
        ->check(within(0.1, 3600.0));
}

bool knowsArm(const Scenario& scenario, int robotType) {
    return armOf(robotType, scenario.torqueModel) != nullptr;
}

// Puts the options together and checks what concerns several of them; the complaint, or nothing.
std::string complete(Arguments& arguments, const CLI::App& run) {
    RunOptions& options = arguments.options;
    if (arguments.all != arguments.scenario.empty()) return "give either the name of a scenario or --all";
    if (!arguments.all && findScenario(arguments.scenario) == nullptr) {
        return fmt::format("no scenario {}; 'tarnsim list' shows them", arguments.scenario);
    }
    if (!arguments.all && !knowsArm(*findScenario(arguments.scenario), options.robotType)) {
        return fmt::format("the torque model of {} knows no arm of type {}", arguments.scenario,
                           options.robotType);
    }
    if (arguments.all && !arguments.record.empty()) return "--record takes the run of one scenario";
    options.mount = *findMount(arguments.mount);
    if (run.count("--tilt") > 0) {
        if (arguments.mount != "tilted") return "--tilt goes with --mount tilted";
        options.mount.yAngle = arguments.tilt[0];
        options.mount.zAngle = arguments.tilt[1];
    }
    if (options.load + options.loadError < 0.0)
        return "--load and --load-error together must not be negative";
    if (!arguments.loadCenter.empty())
        std::copy_n(arguments.loadCenter.begin(), 3, options.loadCenter.begin());
    if (!arguments.pose.empty()) std::copy_n(arguments.pose.begin(), 6, options.pose.emplace().begin());
    if (run.count("--seconds") > 0) options.seconds = arguments.seconds;
    return {};
}

// Plays a scenario to its end, or as far as it is to be recorded: then false.
bool playRecorded(const Scenario& scenario, Run& run, const Arguments& arguments) {
    const bool cut = arguments.recordSeconds > 0.0;
    const double seconds = cut ? arguments.recordSeconds : 1e6;
    run.progress = [told = run.progress, cut](double time) {
        if (told) told(time);
        if (cut && !tarn::replay::isRecording()) throw Recorded();
    };
    tarn::replay::startRecording(arguments.record, scenario.name, std::lround(seconds * 1000.0));
    try {
        play(scenario, run);
        tarn::replay::endRecording();
    } catch (const Recorded&) {
        fmt::print("{}: the first {:g} s are recorded\n", scenario.name, arguments.recordSeconds);
        return false;
    }
    return true;
}

bool runOne(const Scenario& scenario, const Arguments& arguments, const Progress& progress) {
    Run run;
    run.options = arguments.options;
    run.progress = progress;
    if (arguments.record.empty())
        play(scenario, run);
    else if (!playRecorded(scenario, run, arguments))
        return true;
    if (progress && isatty(STDERR_FILENO) == 1) fmt::print(stderr, "\r\033[K");

    const std::filesystem::path page = arguments.out / fmt::format("{}.html", scenario.name);
    const std::filesystem::path data = arguments.out / fmt::format("{}.csv", scenario.name);
    std::filesystem::create_directories(arguments.out);
    writeCsv(run.recording, data);
    writeReport(scenario, run, page);
    writeSummary(scenario, run, arguments.out / fmt::format("{}.json", scenario.name));

    fmt::print("{}: {}\n", scenario.name, scenario.sentence);
    for (const Verdict& v : run.verdicts) {
        fmt::print("  {}  {:<40} {:>11.4g}  at most {:>6.6g} {}\n", v.pass ? "pass" : "FAIL", v.name, v.value,
                   v.limit, v.unit);
    }
    for (const auto& [name, value] : run.findings) fmt::print("        {:<40} {}\n", name, value);
    fmt::print("{}: {}\n  page {}\n  data {}\n", scenario.name, run.passed() ? "pass" : "FAIL", page.string(),
               data.string());
    return run.passed();
}

// A run that crashed leaves a page that says so, in place of an older one.
void tellCrash(const Scenario& scenario, const Arguments& arguments, const JobEnd& end) {
    Run run;
    run.options = arguments.options;
    run.log.emplace_back(0.0, "fatal", fmt::format("The process of the run ended with {}.", end.reason));
    if (!end.printed.empty()) run.log.emplace_back(0.0, "info", end.printed);
    run.atMost("Crashes of the run", 1.0, 0.0, "");
    std::filesystem::create_directories(arguments.out);
    writeCsv(run.recording, arguments.out / fmt::format("{}.csv", scenario.name));
    writeReport(scenario, run, arguments.out / fmt::format("{}.html", scenario.name));
    writeSummary(scenario, run, arguments.out / fmt::format("{}.json", scenario.name));
}

// All scenarios side by side, printed in their order.
bool runAll(const Arguments& arguments) {
    std::vector<const Scenario*> played;
    std::vector<Job> jobs;
    for (const Scenario* scenario : scenarios()) {
        if (!knowsArm(*scenario, arguments.options.robotType)) {
            fmt::print("{}: left out, its torque model knows no arm of this type\n", scenario->name);
            continue;
        }
        played.push_back(scenario);
        jobs.push_back({scenario->name, scenario->seconds, [scenario, &arguments](const Progress& progress) {
                            return std::string(runOne(*scenario, arguments, progress) ? "pass" : "FAIL");
                        }});
    }
    bool passed = true;
    std::map<std::size_t, std::string> printed;  // ahead of their turn
    std::size_t turn = 0;
    const int stopped = runJobs(jobs, arguments.workers, [&](std::size_t job, const JobEnd& end) {
        std::string& text = printed[job] = end.printed;
        if (!end.finished) {
            tellCrash(*played[job], arguments, end);
            text += fmt::format("{}: FAIL, its process ended with {}\n", jobs[job].name, end.reason);
        }
        passed &= end.result == "pass";
        for (; printed.contains(turn); printed.erase(turn++)) fmt::print("{}", printed[turn]);
        std::fflush(stdout);
        return end.finished ? end.result : "crash, " + end.reason;
    });
    if (stopped != 0) std::raise(stopped);
    return passed;
}

bool runOneHere(const Scenario& scenario, const Arguments& arguments) {
    Progress progress;
    if (isatty(STDERR_FILENO) == 1) {
        progress = [&scenario](double seconds) {
            fmt::print(stderr, "\r{}: {:.1f} s", scenario.name, seconds);
        };
    }
    return runOne(scenario, arguments, progress);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Runs the arm of a physics engine on the library's torque cycle.", "tarnsim");
    app.require_subcommand(1);
    CLI::App* list = app.add_subcommand("list", "Show the scenarios");
    CLI::App* run = app.add_subcommand("run", "Run scenarios");
    Arguments arguments;
    addRunOptions(*run, arguments);
    CLI::App* toExport = app.add_subcommand("export-model", "Write an arm for other programs");
    ExportOptions exportOptions;
    addExportOptions(*toExport, exportOptions);
    CampaignArguments campaignArguments;
    const CLI::App* campaigning = addCampaign(app, campaignArguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kPass : kUsage;
    }

    if (list->parsed()) {
        for (const Scenario* scenario : scenarios())
            fmt::print("{:<14} {}\n", scenario->name, scenario->sentence);
        return kPass;
    }
    if (toExport->parsed()) return exportModel(exportOptions) ? kPass : kUsage;
    if (campaigning->parsed()) {
        try {
            return campaign(*campaigning, campaignArguments) ? kPass : kFail;
        } catch (const std::exception& error) {
            fmt::print(stderr, "tarnsim: {}\n", error.what());
            return kUsage;
        }
    }
    if (const std::string complaint = complete(arguments, *run); !complaint.empty()) {
        fmt::print(stderr, "tarnsim: {}\n\n{}", complaint, run->help());
        return kUsage;
    }
    try {
        const bool passed =
            arguments.all ? runAll(arguments) : runOneHere(*findScenario(arguments.scenario), arguments);
        writeIndex(arguments.out);
        fmt::print("all runs of the folder {}\n", (arguments.out / "index.html").string());
        return passed ? kPass : kFail;
    } catch (const std::exception& error) {
        fmt::print(stderr, "tarnsim: {}\n", error.what());
        return kUsage;
    }
}
