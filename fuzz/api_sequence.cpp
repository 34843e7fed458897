// The whole interface as a sequence of steps, eight bytes each: any function with any arguments, blocks set
// to anything, cycles in between.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "api_calls.h"
#include "fresh_start.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"

namespace {

using fuzz::Values;

struct Region {
    void* start;
    std::size_t size;
};

template <typename From, typename To>
Region between(From* from, To* to) {
    auto* start = reinterpret_cast<std::byte*>(from);
    return {start, static_cast<std::size_t>(reinterpret_cast<std::byte*>(to) - start)};
}

template <typename T>
Region whole(T& field) {
    return {&field, sizeof field};
}

// The blocks without the insides of their long stores and without the one pointer in them, the work matrix of
// the host's spline. Then again, by themselves, fields that much depends on.
const Region kRegions[] = {
    between(&mcb, mcb.torqueRecordCtl.torqueRecord[0] + 64),
    between(mcb.torqueRecordCtl.torqueBSpline, &mcb.torqueRecordCtl.torqueBSplineMat),
    between(&mcb.momentumPowerEnableFlag, mcb.loadIdentify.weightTemp + 8),
    between(&mcb.loadIdentify.weightIdentifyResult, mcb.loadIdentify.coordTemp + 4),
    between(&mcb.loadIdentify.coordIdentifyResult, mcb.forceControl.ilcconstForceFx.u + 4),
    between(&mcb.forceControl.ilcconstForceFx.p, mcb.forceControl.ilcconstForceFy.u + 4),
    between(&mcb.forceControl.ilcconstForceFy.p, mcb.forceControl.ilcconstForceFz.u + 4),
    between(&mcb.forceControl.ilcconstForceMz.p, &mcb + 1),
    between(&mpb, mpb.posSensorCtlList + 2),
    between(&mpb.junkongEnable, &mpb + 1),
    between(&how, &how + 1),
    whole(mpb.jC),
    whole(mpb.jCvel),
    whole(mpb.j6),
    whole(mpb.j6vel),
    whole(mpb.defaultJointVel),
    whole(mpb.collisionLevel),
    whole(mpb.collisionErrorCount),
    whole(mpb.forceOrigin),
    whole(mpb.forceRCS),
    whole(mpb.forceKalman),
    whole(mpb.tC),
    whole(mpb.loadCoordList),
    whole(mcb.collisionDetection),
    whole(mcb.interfereCube),
    whole(mcb.forceControl.endforcedrag),
    whole(mcb.forceControl.forceandtorquedrag),
    whole(mcb.forceControl.forceSensorCoord),
    whole(mcb.forceControl.constForceSelect),
    between(gtau, gtau + std::size(gtau)),
    between(&saveMsgPrintfCount, &saveMsgPrintfCount + 1),
};

// Fields that choose what runs: a step sets one to a number of one byte.
struct Switch {
    void* field;
    std::size_t size;
};
template <typename T>
constexpr Switch at(T& field) {
    return {&field, sizeof field};
}
const Switch kSwitches[] = {
    at(mcb.mode),
    at(mcb.servoJTStatus),
    at(mcb.jogControl.modeCTL),
    at(mcb.safetyPara.safetyStopEnable),
    at(mcb.safetyPara.safetyIslandErrorCode),
    at(mcb.robotInstallPos),
    at(mcb.newTeachEnable),
    at(mcb.dragLockEnable),
    at(mcb.fricCompensationFlag),
    at(mcb.jointStiffnessType),
    at(mcb.interfereDrag),
    at(mcb.interfereJoint.setFlag_joint),
    at(mcb.interfereJoint.mode_joint),
    at(mcb.interfereCube.setFlag_cube),
    at(mcb.interfereCube.mode_cube),
    at(mcb.collisionPauseFlag),
    at(mcb.collisionStateback),
    at(mcb.collisionDetection.powerFlag),
    at(mcb.collisionDetection.staticCollisionFlag),
    at(mcb.collisionDetection.CustomCollisionFlag),
    at(mcb.torqueRecordCtl.torqueRecordStatus),
    at(mcb.torqueRecordCtl.torqueRecordFlag),
    at(mcb.torqueRecordCtl.torqueCollisionFlag),
    at(mcb.torqueRecordCtl.torqueSmoothFlag),
    at(mcb.momentumPowerEnableFlag),
    at(mcb.loadIdentify.loadIdentifyControl),
    at(mcb.loadIdentifyDyn.loadIdentifyDynCtl),
    at(mcb.fsCompanyID),
    at(mcb.fsDeviceID),
    at(mcb.forceControl.forceSensorAct),
    at(mcb.forceControl.forceSensorRcs),
    at(mcb.forceControl.collisionFlag),
    at(mcb.forceControl.collisionErrorState),
    at(mcb.forceControl.constForceFlag),
    at(mcb.forceControl.constForceSelect[2]),
    at(mcb.forceControl.ilcconstForceFz.flag),
    at(mcb.forceControl.posAdapt_sign),
    at(mcb.forceControl.forceadjustsign),
    at(mcb.forceControl.endforcedrag.flag),
    at(mcb.forceControl.endforcedrag.adaptive_sign),
    at(mcb.forceControl.endforcedrag.interfere_drag_sign),
    at(mcb.forceControl.endforcedrag.singularityConstraintsFlag),
    at(mcb.forceControl.forceandtorquedrag.status),
    at(mcb.forceControl.forceandtorquedrag.impedance_sign),
    at(mpb.state),
    at(mpb.interMode),
    at(mpb.sysJntsNo),
    at(mpb.loadNum),
    at(mpb.collisionMode),
    at(mpb.collisionThresholdMode),
    at(mpb.collisionErrorTime),
    at(mpb.interfereJointCubeFlag),
    at(mpb.junkongEnable),
};

// Codes around the ends of the families' bands, and the others that stand alone.
constexpr int kTypes[] = {
    0,   1,   2,   3,   100, 101, 102, 103, 200, 201, 202, 300, 301, 302, 400,  401,  402,  500,  501,  600,
    601, 700, 701, 702, 703, 704, 800, 801, 802, 900, 901, 902, 903, 904, 1000, 1001, 1100, 1101, 1500, -1,
};

// What a host calls in a cycle, in its order; with a planner that goes on, or one that stands.
void cycle(Values& values, bool planned) {
    std::int32_t words[6];
    values.fill(words, 6);
    for (int i = 0; i < 6; i++)
        how.currentFeedback[i] = static_cast<std::int16_t>(40 * values.value<std::int16_t>());
    values.fill(how.HSEnc, 6);
    if (values.bits() % 4 == 0) values.fill(&mpb.forceRCS, 1);
    forceSensorDataProcess(words);
    zvmcCheckForCollisionError();
    collisionControl();
    zvmcForceSensorDragProcess();
    TRSF after;
    constForceControl(mpb.tC, &after);
    if (planned) tarn::host::serveRequests();
    JNTS q = mpb.j6;
    gravityTorqueControl(&q);
}

// What a host does before: each bit starts something. Chance alone would hardly find the way there.
void prepare(unsigned scene, Values& values) {
    for (int i = 0; i < 6; i++) mpb.jC.v[i] = mpb.j6.v[i] = 17.0 * (i + 1) - 100;
    newFwdKinematics(&mpb.jC, &mpb.tC);
    mpb.t6 = mpb.tC;
    FORCE_CONTROL& force = mcb.forceControl;
    std::uint8_t axes[6] = {1, 1, 1, 1, 1, 1};
    double M[6] = {5, 5, 5, 1, 1, 1}, B[6] = {100, 100, 100, 10, 10, 10}, K[6] = {},
           F[6] = {2, 2, 2, 1, 1, 1};
    if (scene & 1U) {  // a motion under supervision
        mpb.state = TGEN_SERVICE;
        mpb.interMode = 1;
        mpb.ci = {500, 1000};
        mpb.collisionMode = static_cast<std::uint8_t>(values.bits() % 4);
        mcb.collisionPauseFlag = static_cast<std::uint8_t>(values.bits() % 7);
        mpb.collisionErrorTime = static_cast<int>(values.bits() % 4);
        values.fill(mpb.jCvel.v, 6);
        values.fill(mpb.j6vel.v, 6);
    }
    if (scene & 2U) mcb.newTeachEnable = static_cast<std::uint8_t>(values.bits() % 4);
    if (scene & 4U) {  // the sensor, and the drag by it
        mcb.fsCompanyID = static_cast<int>(values.bits() % 32);
        mcb.fsDeviceID = static_cast<int>(values.bits() % 3);
        mcb.mode = 1;
        tmcSetForceSensorAct(1, 0);
        const int sign = static_cast<int>(values.bits() % 4);
        zvmcEndForceDragstartstop(1, sign % 2, sign / 2, static_cast<int>(values.bits() % 2), M, B, K, F, 50,
                                  50);
        if (sign / 2) mcb.interfereCube = {1, 0, 1, 0, {-500, -500, -500}, {500, 500, 500}, {}, {}};
    }
    if (scene & 8U)
        tmcConstForceStartStop(1, 1, axes, {1, 2, 10, 1, 0, 0}, 0.01, 0, 0, 0.01, 0, 0, scene & 1U,
                               static_cast<std::uint8_t>(values.bits() % 3), 100, 20, 10, 1, 1, 0);
    if (scene & 16U) {  // guided by hand
        mpb.state = TGEN_DRAG;
        mcb.collisionStateback = scene & 1U;
        values.fill(mpb.j6vel.v, 6);
    }
    if (scene & 32U) {  // the guard on the force
        mcb.collisionPauseFlag = static_cast<std::uint8_t>(values.bits() % 7);
        tmcCollisionStartStop(1, 1, axes, {}, {1, 1, 1, 1, 1, 1}, {1, 1, 1, 1, 1, 1}, 0);
    }
    if (scene & 64U) {  // streamed torques, power and custom thresholds
        mcb.servoJTStatus = 1;
        tmcSetPowerLimit(1, 0.001);
        mpb.collisionThresholdMode = 1;
        mcb.collisionDetection.CustomCollisionFlag = 3;
        force.forceandtorquedrag.status = 1;
    }
    if (scene & 128U) {  // a torque record, complete
        float low[6] = {-1, -1, -1, -1, -1, -1}, high[6] = {1, 1, 1, 1, 1, 1};
        int time[6] = {};
        tmcTorqueRecordStartEnd(1, static_cast<std::uint8_t>(values.bits() % 2), low, high, time, 0);
        for (int i = 0; i < 200; i++) zvmcTorqueRecordProcess();
        tmcTorqueRecordStartEnd(0, 0, low, high, time, 0);
        tmcTorqueRecordStartEnd(1, static_cast<std::uint8_t>(values.bits() % 2), low, high, time, 0);
    }
}

constexpr std::size_t kStep = 8, kHead = 3;  // bytes; the head: robot type, scene, seed of the scene

}  // namespace

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

// Keeps the steps whole: new ones go in, a run of them goes out or comes again, or bytes of one change.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
    Values random(seed, 0);
    const auto below = [&random](std::size_t end) { return static_cast<std::size_t>(random.bits() % end); };
    if (maxSize < kHead + kStep) return LLVMFuzzerMutate(data, size, maxSize);
    if (size < kHead) std::memset(data, 0, kHead);
    std::uint8_t* const steps = data + kHead;
    const std::size_t room = (maxSize - kHead) / kStep, count = size < kHead ? 0 : (size - kHead) / kStep;
    const std::size_t choice = below(8), place = below(count + 1);
    const std::size_t run = 1 + below(count == 0 && room < 8 ? room : 8);
    const auto sized = [](std::size_t n) { return kHead + n * kStep; };

    if (choice == 0) data[below(kHead)] = static_cast<std::uint8_t>(random.bits());
    if (count == 0 || (choice < 4 && count + run <= room)) {
        std::uint8_t* const gap = steps + place * kStep;
        std::memmove(gap + run * kStep, gap, (count - place) * kStep);
        for (std::size_t i = 0; i < run * kStep; i++) gap[i] = static_cast<std::uint8_t>(random.bits());
        if (choice == 1 && count >= run) std::memmove(gap, steps, run * kStep);
        return sized(count + run);
    }
    if (choice == 4 && count > run && place + run <= count) {
        std::uint8_t* const from = steps + (place + run) * kStep;
        std::memmove(steps + place * kStep, from, (count - place - run) * kStep);
        return sized(count - run);
    }
    LLVMFuzzerMutate(steps + below(count) * kStep, kStep, kStep);
    return sized(count);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < kHead + kStep) return -1;
    fuzz::freshStart(kTypes[data[0] % std::size(kTypes)]);
    Values ordinary(data[2], 64);
    prepare(data[1], ordinary);
    const auto calls = fuzz::apiCalls();

    for (const std::uint8_t* step = data + kHead; data + size - step >= std::ptrdiff_t(kStep);
         step += kStep) {
        std::uint32_t seed;
        std::memcpy(&seed, step + 4, sizeof seed);
        Values values(seed, step[3]);
        const unsigned choice = step[1] + 256U * step[2];
        switch (step[0] % 8) {
            case 0: {
                const Region& region = kRegions[step[1] % std::size(kRegions)];
                const std::size_t start = seed % region.size / 4 * 4;
                const std::size_t length = 1 + step[2] % 48U;
                values.fill(static_cast<std::byte*>(region.start) + start,
                            length < region.size - start ? length : region.size - start);
                break;
            }
            case 1:
            case 2: {
                const Switch& field = kSwitches[choice % std::size(kSwitches)];
                std::memset(field.field, 0, field.size);
                std::memcpy(field.field, step + 4, 1);
                break;
            }
            case 3:
                for (int i = step[1] % 24; i >= 0; i--) cycle(values, step[2] % 2);
                break;
            default: {
                const fuzz::Call& call = calls[choice % calls.size()];
                call.run(values, call.sizes);
            }
        }
    }
    return 0;
}
