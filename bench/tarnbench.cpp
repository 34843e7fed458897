// Time per call, and against KDL on the same arm in the same process.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <map>

#include "workloads.h"

using namespace tarn::bench;

namespace {

void measure(benchmark::State& run, const Workload& workload) {
    workload.prepare(workload.robotType);
    for (int state = 0; state < kStates; state++) workload.call(state);
    int state = 0;
    for (auto _ : run) {
        workload.call(state);
        state = (state + 1) % kStates;
        benchmark::ClobberMemory();
    }
}

// Shows median and spread of the repetitions, and keeps the fastest of each workload for the ratios.
class KeepTimes : public benchmark::ConsoleReporter {
  public:
    KeepTimes() : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        std::vector<Run> shown;
        for (const Run& run : runs) {
            if (run.aggregate_name == "median" || run.aggregate_name == "cv") shown.push_back(run);
            if (run.run_type != Run::RT_Iteration) continue;
            const double time = run.GetAdjustedCPUTime();
            const auto [entry, isNew] = nanoseconds.try_emplace(run.run_name.function_name, time);
            if (!isNew && time < entry->second) entry->second = time;
        }
        ConsoleReporter::ReportRuns(shown);
    }

    std::map<std::string, double> nanoseconds;
};

}  // namespace

int main(int argc, char** argv) {
    for (int robotType : {103, 1001}) {
        const double difference = gravityDisagreement(robotType);
        std::printf("type %d: gravity torques agree with KDL to %.1e N m\n", robotType, difference);
        if (!(difference < 1e-9)) return 1;
    }
    for (int robotType : {103, 1001}) {
        const double difference = jacobianDisagreement(robotType);
        std::printf("type %d: Jacobians agree with KDL to %.1e\n", robotType, difference);
        if (!(difference < 1e-9)) return 1;
    }
    for (int robotType : {103, 701, 902}) {
        const double difference = torqueDisagreement(robotType);
        std::printf("type %d: full torques agree with KDL to %.1e of the largest\n", robotType, difference);
        if (!(difference < (robotType == 103 ? 2e-4 : 1e-9))) return 1;
    }
    // several short repetitions, unless the command line says otherwise
    char repetitions[] = "--benchmark_repetitions=7", time[] = "--benchmark_min_time=0.1";
    std::vector<char*> arguments = {argv[0], repetitions, time};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    argc = static_cast<int>(arguments.size());
    benchmark::Initialize(&argc, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(argc, arguments.data())) return 1;
    for (const Workload& workload : workloads()) {
        benchmark::RegisterBenchmark(workload.name.c_str(),
                                     [&workload](benchmark::State& run) { measure(run, workload); });
    }
    KeepTimes reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const Workload& workload : workloads()) {
        const auto ours = reporter.nanoseconds.find(workload.name);
        const auto theirs = reporter.nanoseconds.find(workload.reference);
        if (ours == reporter.nanoseconds.end() || theirs == reporter.nanoseconds.end()) continue;
        std::printf("%s is %.1f times as fast as %s\n", workload.name.c_str(), theirs->second / ours->second,
                    workload.reference.c_str());
    }
}
