// Whole cycles, one by one: how long the longest take, and how many instructions.
//
//     tarnworst time [CYCLES]                 by mode: median, 99.99th percentile, maximum, and what else
//     takes so long tarnworst count [CYCLES]                by mode: instructions of a cycle; start it by
//     bench/worst_path tarnworst search [CANDIDATES [SEED]]    the setting with the longest cycle in
//     instructions; likewise
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "cycle_settings.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarntools/tools_config.h"
#include "workloads.h"

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define VALGRIND_MONITOR_COMMAND(command) ((void)(command))
#endif

// Commands persist; here that would only fill a disk.
int ConfigWriteEntry(const char*, const char*, const char*, float) { return 0; }

using namespace tarn::bench;

namespace {

const struct {
    const char* name;
    const char* settings;
    std::uint64_t seed = 1;
} kModes[] = {
    {"holding by gravity", "type=103 tool=1"},
    {"moving, friction", "type=103 tool=1 motion=1 friction=1"},
    {"guiding, friction", "type=103 tool=1 motion=3 friction=1"},
    {"guiding on the regressor, end load", "type=1 model=1 tool=1 motion=3 friction=1"},
    {"guiding, drag lock", "type=103 tool=1 motion=3 friction=1 lock=1"},
    {"moving, full dynamics, all detectors",
     "type=103 model=2 tool=1 motion=1 friction=1 custom=3 detector=1"},
    {"torque servo, power limit", "type=103 tool=1 motion=4 power=1"},
    {"drag by force and torque", "type=103 model=2 tool=1 motion=3 friction=1 sensor=3 torquedrag=2"},
    {"drag by the sensor, wall", "type=103 tool=1 friction=1 sensor=3 drag=1 adaptive=1 wall=1"},
    {"the same at a singularity", "type=103 tool=1 friction=1 sensor=3 drag=1 adaptive=1 wall=1 pose=2"},
    {"drag by the sensor, arm of the offset shape", "type=701 sensor=3 drag=1"},
    {"constant force along z", "type=103 tool=1 friction=1 sensor=1 press=1"},
    {"constant force on six axes, learning", "type=103 tool=1 friction=1 sensor=3 press=2 learn=1"},
    {"the longest found",
     "type=1 model=1 tool=1 friction=1 record=3 custom=3 detector=1 standstill=1 sensor=3 guard=1 drag=1 "
     "adaptive=1 wall=1 press=2 learn=1 script=1 dynamicload=1 excitation=1 observer=1"},
};

constexpr int kWarmUp = 2000;  // cycles until every filter and detector has filled

// ---- time

using Clock = std::chrono::steady_clock;

float nanosecondsOf(const Clock::time_point& from, const Clock::time_point& to) {
    return std::chrono::duration<float, std::nano>(to - from).count();
}

// A fixed amount of work that touches no memory: what it takes longer at times is the machine's doing.
volatile double work = 1.0;
void fixedWork(int steps) {
    double x = work;
    for (int i = 0; i < steps; i++) x = x * 0.999999 + 1e-6;
    work = x;
}

// How often the kernel has taken the processor from this thread for another one. What a call takes meanwhile
// is neither its own time nor that of a thread with the priority of a cycle.
long takenAway() {
    rusage usage;
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nivcsw + usage.ru_nvcsw;
}

// Time of calls, ns.
class Times {
  public:
    explicit Times(long calls) { all_.reserve(static_cast<std::size_t>(calls)); }

    template <class Call>
    void add(const Call& call) {
        const long before = takenAway();
        const auto start = Clock::now();
        call();
        const auto end = Clock::now();
        if (takenAway() == before)
            all_.push_back(nanosecondsOf(start, end));
        else
            lost++;
    }

    double at(double share) {
        const auto place = all_.begin() + static_cast<long>(share * static_cast<double>(all_.size() - 1));
        std::nth_element(all_.begin(), place, all_.end());
        return static_cast<double>(*place);
    }

    long lost = 0;  // calls without a time

  private:
    std::vector<float> all_;
};

void print(const char* name, Times& times) {
    const double median = times.at(0.5), high = times.at(0.9999), most = times.at(1.0);
    std::printf("  %-16s %9.2f %9.2f %9.2f %9.1f %9ld\n", name, 1e-3 * median, 1e-3 * high, 1e-3 * most,
                high / median, times.lost);
}

// One after the other in every cycle, each time another first, so that all meet the same machine.
void timeMode(const char* name, const std::string& settings, std::uint64_t seed, long cycles,
              const Workload& peer) {
    Host host(settingsOf(settings), seed);
    Times warmUp(kWarmUp), loop(kWarmUp);
    constexpr int kSteps = 1000;
    for (int n = 0; n < kWarmUp; n++) {
        host.before();
        warmUp.add([&] { host.cycle(); });
        loop.add([] { fixedWork(kSteps); });
    }
    const int steps = std::max(1, static_cast<int>(warmUp.at(0.5) / loop.at(0.5) * kSteps));

    Times ours(cycles), fixed(cycles), theirs(cycles), nothing(cycles);
    for (long n = 0; n < cycles; n++) {
        host.before();
        for (int turn = 0; turn < 4; turn++) switch ((turn + n) % 4) {
                case 0:
                    ours.add([&] { host.cycle(); });
                    break;
                case 1:
                    fixed.add([&] { fixedWork(steps); });
                    break;
                case 2:
                    theirs.add([&] { peer.call(static_cast<int>(n % kStates)); });
                    break;
                default:
                    nothing.add([] {});
            }
    }
    std::printf("%s (%s)\n", name, settings.c_str());
    print("whole cycle", ours);
    print("fixed work", fixed);
    print("KDL's gravity", theirs);
    print("nothing", nothing);
    std::fflush(stdout);
}

void timeAll(long cycles, const char* only) {
    const auto& all = workloads();
    const auto peer = std::find_if(all.begin(), all.end(),
                                   [](const Workload& one) { return one.name == "kdl/gravity/103"; });
    if (peer == all.end()) throw std::runtime_error("KDL's gravity is no workload any more");
    peer->prepare(peer->robotType);
    std::printf("%ld cycles each; microseconds\n  %-16s %9s %9s %9s %9s %9s\n", cycles, "", "median",
                "99.99 %", "maximum", "ratio", "lost");
    for (const auto& mode : kModes)
        if (!only || std::strcmp(only, mode.settings) == 0)
            timeMode(mode.name, mode.settings, mode.seed, cycles, *peer);
}

// ---- instructions: callgrind is asked for its sum before and after, and answers into its log

struct Count {
    long library = 0,
         kinematics = 0;  // instructions; kinematics: of the host's inverse kinematics, beside the rest
};

bool counting;
void askForSum() {
    if (counting) VALGRIND_MONITOR_COMMAND("status internal");
}

class Counter {
  public:
    explicit Counter(const char* log) : log_(log ? std::fopen(log, "r") : nullptr) {
        if (!log_) throw std::runtime_error("no log of callgrind: start by bench/worst_path");
        counting = true;
        empty_ = count([] {}).library;
    }
    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;
    ~Counter() { std::fclose(log_); }

    template <class Call>
    Count operator()(const Call& call) {
        Count is = count(call);
        is.library -= empty_;
        return is;
    }

  private:
    // The sums come in pairs: the outer ones around the call, within it those around the kinematics.
    template <class Call>
    Count count(const Call& call) {
        std::fseek(log_, 0, SEEK_END);
        askForSum();
        call();
        askForSum();
        std::vector<long> sums;
        char line[512];
        while (std::fgets(line, sizeof line, log_))
            if (long sum; std::sscanf(line, "events-1: %ld", &sum) == 1) sums.push_back(sum);
        if (sums.size() < 2 || sums.size() % 2 != 0)
            throw std::runtime_error("callgrind's sums are no pairs");
        Count is = {sums.back() - sums.front(), 0};
        for (std::size_t i = 1; i + 2 < sums.size(); i += 2) {
            is.kinematics += sums[i + 1] - sums[i] - empty_;
            is.library -= sums[i + 1] - sums[i];
        }
        return is;
    }

    std::FILE* log_;
    long empty_ = 0;
};

struct Longest {
    Count most = {};  // of any cycle, each of the two by itself
    long cycle = 0;   // with the most of the library's
    long median = 0;  // of the library's
};

constexpr int kCycles = 400;  // of a setting that is tried; a detector has filled after 100

Longest longestOf(const Settings& settings, std::uint64_t seed, int cycles, Counter& counter) {
    Host host(settings, seed);
    Longest longest;
    std::vector<long> all;
    for (int n = 0; n < cycles; n++) {
        host.before();
        const Count is = counter([&] { host.cycle(); });
        if (is.library > longest.most.library) longest.cycle = n;
        longest.most = {std::max(longest.most.library, is.library),
                        std::max(longest.most.kinematics, is.kinematics)};
        all.push_back(is.library);
    }
    std::nth_element(all.begin(), all.begin() + cycles / 2, all.end());
    longest.median = all[static_cast<std::size_t>(cycles / 2)];
    return longest;
}

// In a process of its own, with the library as it is at load.
Longest freshLongestOf(const Settings& settings, std::uint64_t seed, int cycles, Counter& counter) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        int result = 1;
        try {
            const Longest longest = longestOf(settings, seed, cycles, counter);
            result = write(ends[1], &longest, sizeof longest) == sizeof longest ? 0 : 1;
        } catch (const std::exception& error) {
            std::fprintf(stderr, "tarnworst: %s\n", error.what());
        }
        _exit(result);
    }
    close(ends[1]);
    Longest longest;
    const bool told = read(ends[0], &longest, sizeof longest) == sizeof longest;
    close(ends[0]);
    if (child > 0) waitpid(child, nullptr, 0);
    if (!told) throw std::runtime_error("no count of " + textOf(settings));
    return longest;
}

void countAll(int cycles, Counter& counter) {
    std::printf(
        "%d cycles each from the start; instructions of a cycle, and of the host's kinematics in it\n"
        "%10s %10s %10s\n",
        cycles, "median", "maximum", "+ host");
    for (const auto& mode : kModes) {
        const Longest is = freshLongestOf(settingsOf(mode.settings), mode.seed, cycles, counter);
        std::printf("%10ld %10ld %10ld  %s (%s)\n", is.median, is.most.library, is.most.kinematics, mode.name,
                    mode.settings);
    }
}

// One setting in full: what a search has found, for a profiler.
void countOne(const std::string& settings, std::uint64_t seed, Counter& counter) {
    const Longest is = longestOf(settingsOf(settings), seed, kCycles, counter);
    std::printf("%ld instructions in cycle %ld, host's kinematics up to %ld\n", is.most.library, is.cycle,
                is.most.kinematics);
}

// First the modes; then a third of the candidates is drawn anew, and the rest are one of the best so far with
// a few switches changed.
void search(int candidates, std::uint64_t seed, Counter& counter) {
    constexpr std::size_t kKept = 8;
    struct Candidate {
        Settings settings;
        std::uint64_t seed;
        Longest longest;
    };
    std::vector<Candidate> best;
    long kinematics = 0;
    soak::Random random(seed);
    for (int n = 0; n < candidates; n++) {
        Candidate one = {};
        if (n < static_cast<int>(std::size(kModes)))
            one.settings = settingsOf(kModes[n].settings);
        else if (random.oneIn(3))
            one.settings = draw(random);
        else
            one.settings = altered(
                best[static_cast<std::size_t>(random.below(static_cast<int>(best.size())))].settings, random);
        one.seed = random.bits() % 1000000;
        one.longest = freshLongestOf(one.settings, one.seed, kCycles, counter);
        const Count most = one.longest.most;
        if (best.empty() || most.library > best.front().longest.most.library)
            std::printf("candidate %d: %ld instructions in cycle %ld, seed %llu: %s\n", n, most.library,
                        one.longest.cycle, static_cast<unsigned long long>(one.seed),
                        textOf(one.settings).c_str());
        if (most.kinematics > kinematics)
            std::printf("candidate %d: %ld instructions in the host's kinematics, seed %llu: %s\n", n,
                        most.kinematics, static_cast<unsigned long long>(one.seed),
                        textOf(one.settings).c_str());
        kinematics = std::max(kinematics, most.kinematics);
        best.push_back(one);
        std::stable_sort(best.begin(), best.end(), [](const Candidate& a, const Candidate& b) {
            return a.longest.most.library > b.longest.most.library;
        });
        if (best.size() > kKept) best.pop_back();
    }
}

}  // namespace

static const auto hostKinematics = reinterpret_cast<decltype(&tmcGetInverseKinematicNoLine)>(
    dlsym(RTLD_NEXT, "tmcGetInverseKinematicNoLine"));

// The host's service, with its instructions apart: a controller has another one.
int tmcGetInverseKinematicNoLine(int flag, ROBCARTPOS pose, ROBPOS* joints) {
    askForSum();
    const int result = hostKinematics(flag, pose, joints);
    askForSum();
    return result;
}

int main(int argc, char** argv) {
    try {
        const std::string verb = argc > 1 ? argv[1] : "time";
        const bool one = verb == "one" && argc > 2;
        const long number = argc > 2 && !one ? std::atol(argv[2]) : 0;
        const std::uint64_t seed = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1;
        if (number < 0 || argc > 4) throw std::invalid_argument("a number above 0 is wanted");
        if (verb == "time") {
            timeAll(number > 0 ? number : 1000000, argc > 3 ? argv[3] : nullptr);
        } else if (verb == "count" || verb == "search" || one) {
            Counter counter(std::getenv("TARN_COUNT_LOG"));
            if (verb == "count")
                countAll(number > 0 ? static_cast<int>(number) : 3000, counter);
            else if (one)
                countOne(argv[2], seed, counter);
            else
                search(number > 0 ? static_cast<int>(number) : 300, seed, counter);
        } else {
            throw std::invalid_argument("no verb " + verb);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarnworst: %s\n", error.what());
        return 1;
    }
}
