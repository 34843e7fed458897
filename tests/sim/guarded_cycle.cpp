#include "guarded_cycle.h"

#include <gtest/gtest.h>

#include <string>

#include "sim/simulation.h"
#include "support/cycle_guard.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"

namespace {

using namespace tarn::test;

constexpr int kTold = 5;  // findings of a process; a slip comes again in every cycle

long cycles;
bool inside;  // the planner calls force control

// expected: beginning of the findings that the header of the function names
void watch(const char* name, const std::function<void()>& call, const char* expected = nullptr) {
    if (inside) return call();
    // not in a child: the second run would be another cycle, and a child for each takes too long
    static const auto way =
        isToBeHad(SystemCallWatch::kDispatch) ? SystemCallWatch::kDispatch : SystemCallWatch::kNone;
    inside = true;
    const std::string found = guarded(call, way);
    inside = false;
    static int told;
    if (expected && found.starts_with(expected)) return;
    if (!found.empty() && told++ < kTold)
        ADD_FAILURE() << name << " in torque cycle " << cycles << " of the process: " << found;
}

template <class Result>
Result watched(const char* name, const std::function<Result()>& call) {
    Result result{};
    watch(name, [&] { result = call(); });
    return result;
}

}  // namespace

long tarn::sim::guardedCycles() { return cycles; }

#define WATCHED(result, name, parameters, arguments)                            \
    extern "C" result __real_##name parameters;                                 \
    extern "C" result __wrap_##name parameters;                                 \
    extern "C" result __wrap_##name parameters {                                \
        return watched<result>(#name, [&] { return __real_##name arguments; }); \
    }

WATCHED(int, forceSensorDataProcess, (int32_t * words), (words))
WATCHED(int, collisionControl, (), ())
WATCHED(int, zvmcForceSensorDragProcess, (), ())
WATCHED(int, constForceControl, (TRSF planned, TRSF* corrected), (planned, corrected))
WATCHED(int, zvmcLoadIdentifyControl, (), ())
WATCHED(int, zvmcCalculateNaturalFreq, (double* q, double* frequency), (q, frequency))

extern "C" {
void __real_zvmcCheckForCollisionError();
void __wrap_zvmcCheckForCollisionError();
void __wrap_zvmcCheckForCollisionError() {
    watch("zvmcCheckForCollisionError", __real_zvmcCheckForCollisionError);
}

void __real_gravityTorqueControl(JNTS* q);
void __wrap_gravityTorqueControl(JNTS* q);
void __wrap_gravityTorqueControl(JNTS* q) {
    watch("gravityTorqueControl", [&] { __real_gravityTorqueControl(q); });
    cycles++;
}

// The last sample of a run gives its store back.
int __real_zvmcloadidentifymain(double* torque, double* q, double duration);
int __wrap_zvmcloadidentifymain(double* torque, double* q, double duration);
int __wrap_zvmcloadidentifymain(double* torque, double* q, double duration) {
    int result = 0;
    watch(
        "zvmcloadidentifymain", [&] { result = __real_zvmcloadidentifymain(torque, q, duration); },
        "allocation: free");
    return result;
}

// The step that finds the guiding over persists what it found, as its header says.
int __real_zvmcLoadIdentifyDynControl();
int __wrap_zvmcLoadIdentifyDynControl();
int __wrap_zvmcLoadIdentifyDynControl() {
    if (mpb.state != TGEN_DRAG) return __real_zvmcLoadIdentifyDynControl();
    return watched<int>("zvmcLoadIdentifyDynControl", __real_zvmcLoadIdentifyDynControl);
}
}

using PoseCorrection = tarn::host::PoseCorrection;
void realServeRequests(PoseCorrection) asm("__real__ZN4tarn4host13serveRequestsEPFi4TRSFPS1_E");
void inServeRequests(PoseCorrection) asm("__wrap__ZN4tarn4host13serveRequestsEPFi4TRSFPS1_E");
void inServeRequests(PoseCorrection correction) {
    watch("serveRequests", [&] { realServeRequests(correction); });
}
