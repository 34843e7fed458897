// Runs the host's cycle for simulated hours and checks each one. Exit 0: all held; 1: something did not, told
// with seed and cycle; 2: the command line. A seed is one course of events: with it and --seconds past the
// cycle, which is a millisecond, any build of the same sources comes to the same place.
//
//     tarnsoak [--seed N] [--seconds SIMULATED] [--minutes WALL]
#include <malloc.h>

#include <chrono>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <string>

#include "force_control/drag_state.h"
#include "soak/arm.h"
#include "soak/invariants.h"
#include "soak/momentum.h"
#include "soak/schedule.h"
#include "support/cycle_frame.h"
#include "support/cycle_guard.h"
#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tarntools/tools_config.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"
#include "zvmcidentifydynamicblock.h"

namespace {

constexpr long kGrowth = 65536;  // bytes: what malloc keeps at hand, and the notes of the run itself
constexpr double kLargestCurrent = 32767.0;  // a larger one comes round, as one of the other sign may be

struct {
    double torque[6], current[6];  // of the last cycle, before the current is an integer
    double largest;                // thousandths of the rated torque, of all cycles
    bool settingNoNumber;          // a setting that is no number was persisted
    std::uint64_t logLines, settings;
} seen;

// Rising edges of faults, and cycles in what only faults or commands lead to: what the run has been through.
struct Events {
    long collisions = 0, pointFaults = 0, ioFaults = 0, alarms = 0, guided = 0, dragged = 0;
    bool was[4] = {};

    void note() {
        const bool now[4] = {mcb.collisionError != zvCtlCollisionOK, mcb.cmdPointError != zvCtlCmdPointOK,
                             mcb.ioError != zvCtlIOOK, mcb.motionAlarm != zvCtlMotionNoAlarm};
        long* const counts[4] = {&collisions, &pointFaults, &ioFaults, &alarms};
        for (int i = 0; i < 4; i++) {
            if (now[i] && !was[i]) ++*counts[i];
            was[i] = now[i];
        }
        if (mpb.state == TGEN_DRAG) guided++;
        if (tarn::forceDrag.motion.Fflag != 0) dragged++;
    }
};

// Distinct failures, by what failed: how often, and the first place.
struct Failure {
    long count;
    std::string first;
};

struct Options {
    std::uint64_t seed = 1;
    double seconds = 60, minutes = 0;
    bool understood = true;
};

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; i += 2) {
        const std::string name = argv[i];
        char* end = nullptr;
        const double value = i + 1 < argc ? std::strtod(argv[i + 1], &end) : 0;
        options.understood = options.understood && end && *end == '\0' && value >= 0;
        if (name == "--seed")
            options.seed = static_cast<std::uint64_t>(value);
        else if (name == "--seconds")
            options.seconds = value;
        else if (name == "--minutes")
            options.minutes = value;
        else
            options.understood = false;
    }
    return options;
}

long residentKilobytes() {
    long kilobytes = 0;
    if (std::FILE* file = std::fopen("/proc/self/status", "r")) {
        char line[256];
        while (std::fgets(line, sizeof line, file))
            if (std::sscanf(line, "VmRSS: %ld", &kilobytes) == 1) break;
        std::fclose(file);
    }
    return kilobytes;
}

}  // namespace

// ---- services of the host that would fill memory or disks; the rest are the reference host's

void Write_Log(int, const char* format, ...) {
    char line[LOG_SIZE];
    va_list values;
    va_start(values, format);
    std::vsnprintf(line, sizeof line, format, values);
    va_end(values);
    seen.logLines++;
}

int ConfigWriteEntry(const char*, const char*, const char*, float value) {
    seen.settings++;
    if (!std::isfinite(value)) seen.settingNoNumber = true;
    return 0;
}

int __wrap_usleep(unsigned int) { return 0; }

// ---- the stage that turns torques into currents: what it is given

void inCurrentCommand(const tarn::CycleFrame& frame) asm(
    "__wrap__ZN4tarn14currentCommandERKNS_10CycleFrameE");
void currentCommand(const tarn::CycleFrame& frame) asm("__real__ZN4tarn14currentCommandERKNS_10CycleFrameE");

void inCurrentCommand(const tarn::CycleFrame& frame) {
    for (int i = 0; i < 6; i++) {
        seen.torque[i] = frame.servor_torque.v[i] + frame.value[i];
        seen.current[i] = seen.torque[i] / (static_cast<double>(frame.JointTorque[i]) * 100.0) * 1000.0;
        seen.largest = std::fmax(seen.largest, std::fabs(seen.current[i]));
    }
    currentCommand(frame);
}

int main(int argc, char** argv) {
    const Options options = parse(argc, argv);
    if (!options.understood) {
        std::fputs("usage: tarnsoak [--seed N] [--seconds SIMULATED] [--minutes WALL]\n", stderr);
        return 2;
    }
    static char output[4096];
    std::setvbuf(stdout, output, _IOLBF, sizeof output);  // no memory asked for on the way
    using namespace tarn::test;
    const auto watch =
        isToBeHad(SystemCallWatch::kDispatch) ? SystemCallWatch::kDispatch : SystemCallWatch::kNone;

    soak::Random noise(~options.seed);
    soak::Arm arm(noise);
    soak::Schedule schedule(options.seed, arm);
    std::map<std::string, Failure> failures;
    std::map<std::string, long> excess;  // currents beyond 16 bits, by cause
    Events events;
    long cycle = 0;
    const soak::Report report = [&](const char* what, int index, double value) {
        Failure& failure = failures[what];
        if (failure.count++ > 0) return;
        char text[64];
        std::snprintf(text, sizeof text, "[%d] is %g", index, value);
        failure.first = what + std::string(text) + ", seed " + std::to_string(options.seed) + ", cycle " +
                        std::to_string(cycle) + ": " + schedule.place();
        std::printf("%s\n", failure.first.c_str());
    };

    // After the first shifts all has been used that is ever asked for.
    constexpr long kWarmUp = 4;
    std::size_t allocated = 0;
    long resident = 0;
    const auto start = std::chrono::steady_clock::now();
    const auto minutes = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / 60;
    };
    const auto goesOn = [&] {
        if (options.minutes > 0) return cycle % 1000 != 0 || minutes() < options.minutes;
        return static_cast<double>(cycle) < options.seconds * 1000;
    };

    for (; goesOn(); cycle++) {
        schedule.betweenCycles();
        if (allocated == 0 && schedule.shifts() == kWarmUp && !schedule.excitationRuns()) {
            allocated = mallinfo2().uordblks;
            resident = residentKilobytes();
        }
        std::int32_t words[6];
        arm.measure(words);
        const TRSF planned = mpb.tC;
        TRSF corrected = planned;
        double tau[6];
        JNTS q = mpb.j6;
        for (int i = 0; i < 6; i++) tau[i] = how.currentFeedback[i] * 0.01;
        const auto host = [&] {
            forceSensorDataProcess(words);
            zvmcCheckForCollisionError();
            collisionControl();
            if (schedule.observed()) soak::observeMomentum(cycle);
            zvmcForceSensorDragProcess();
            constForceControl(planned, &corrected);
            zvmcLoadIdentifyControl();
            if (schedule.loadIdentified()) zvmcLoadIdentifyDynControl();
            schedule.plan();
            gravityTorqueControl(&q);
        };
        const std::string found = guarded(host, watch);
        if (!found.empty()) report(found.substr(0, found.find('\n')).c_str(), 0, 0);
        // apart, since its last sample gives memory back; does nothing without a run
        zvmcloadidentifymain(tau, mpb.j6.v, 3.0);

        VECT shift;
        subtractVect(&shift, &corrected.p, &planned.p);
        arm.correct(shift.x * planned.a.x + shift.y * planned.a.y + shift.z * planned.a.z);

        for (int i = 0; i < 6; i++) {
            if (!std::isfinite(seen.torque[i])) report("torque", i, seen.torque[i]);
            if (std::fabs(seen.current[i]) > kLargestCurrent) {
                const char* cause = schedule.knownExcess();
                if (cause)
                    excess[cause]++;
                else
                    report("current", i, seen.current[i]);
            }
        }
        if (!std::isfinite(normVect(&corrected.p))) report("corrected pose", 0, normVect(&corrected.p));
        if (seen.settingNoNumber) report("setting", 0, std::numeric_limits<double>::quiet_NaN());
        seen.settingNoNumber = false;
        events.note();
        soak::checkState(report, cycle % 20000 == 0);
    }

    const double took = minutes();
    schedule.finish();
    std::printf(
        "seed %llu: %ld cycles, %.2f simulated hours in %.1f minutes, %ld shifts, largest current %.0f\n",
        static_cast<unsigned long long>(options.seed), cycle, static_cast<double>(cycle) / 3.6e6, took,
        schedule.shifts(), seen.largest);
    std::printf("tasks:");
    for (int task = 0; task < soak::Schedule::kTasks; task++)
        std::printf(" %s %ld%s", soak::Schedule::taskName(task), schedule.tasks(task),
                    task + 1 < soak::Schedule::kTasks ? "," : "\n");
    std::printf("raised: collisions %ld, point faults %ld, input faults %ld, alarms %ld; ", events.collisions,
                events.pointFaults, events.ioFaults, events.alarms);
    std::printf("cycles guided %ld, dragged by the sensor %ld\n", events.guided, events.dragged);
    for (const auto& [cause, count] : excess)
        std::printf("currents beyond 16 bits: %ld, %s\n", count, cause.c_str());
    std::printf("log lines %llu, settings %llu\n", static_cast<unsigned long long>(seen.logLines),
                static_cast<unsigned long long>(seen.settings));
    if (resident > 0) {
        const long grown = static_cast<long>(mallinfo2().uordblks) - static_cast<long>(allocated);
        std::printf("memory since the shift %ld: heap %+ld bytes, resident %+ld kB\n", kWarmUp, grown,
                    residentKilobytes() - resident);
        if (grown > kGrowth) report("heap growth", 0, static_cast<double>(grown));
    }
    for (const auto& [what, failure] : failures)
        std::printf("FAILED %ld times: %s\n", failure.count, failure.first.c_str());
    return failures.empty() ? 0 : 1;
}
