#include "cycle/full_dynamics.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>

#include "collision/encoder_detector.h"
#include "dynamics/measured_load.h"
#include "dynamics/mounting.h"
#include "force_control/torque_drag.h"
#include "model/arm_shape.h"
#include "model/parameter_sets.h"
#include "model/type_table.h"
#include "support/joints.h"
#include "tmcHNzvCdynamicblock.h"
#include "tmcforceblock.h"
#include "tmczvPQdynamicblock.h"
#include "tmczvdynamicblock.h"
#include "zvmctoolblock.h"

using namespace tarn;

namespace {

struct FullDynamics {
    std::uint8_t initFlag_new;  // the first cycle in this mode has reset the filters
};
FullDynamics fullDynamicsState;

// To the precision of a block, each number to the nearest.
template <typename Real>
constexpr void narrow(std::span<const double> from, Real* to) {
    for (const double x : from) *to++ = static_cast<Real>(x);
}

// ---- the wrappers

// What a block takes: degrees and seconds, load in the flange frame in kg and mm, gravity in the base frame.
template <typename Real>
struct BlockInput {
    Real angle[6], velocity[6], acceleration[6], load[10], gravity[3];
};

template <typename Real>
BlockInput<Real> blockInput(const double* joint_pos, const std::array<double, 6>& zeroOffsetDeg,
                            const JNTS& acceleration, const EX_LOAD& exLoad) {
    // The load is a point mass: its own inertia stays zero.
    BlockInput<Real> in = {};
    for (std::size_t i = 0; i < 6; i++) {
        in.angle[i] = static_cast<Real>(joint_pos[i] - zeroOffsetDeg[i]);
        in.velocity[i] = static_cast<Real>(mpb.jCvel.v[i] * 1000.0);
        in.acceleration[i] = static_cast<Real>(acceleration.v[i] * 1000.0 * 1000.0);
    }
    const double load[] = {exLoad.mass, exLoad.cmc.x, exLoad.cmc.y, exLoad.cmc.z};
    narrow<Real>(load, in.load);
    narrow<Real>(gravityInBase(), in.gravity);
    return in;
}

// Friction beside the model, for the comparison of measured and modeled torque. Nothing reads that
// comparison, but an overspeed is logged from here, too.
void compareWithMeasuredTorque() {
    if (mcb.fricCompensationFlag != 1) return;
    double value[6];
    frictionCompensation(mpb.state == TGEN_DRAG ? &mpb.j6vel : &mpb.jCvel, value);
}

// Verdicts of the safety board on momentum, power and commanded current. Other codes, 35 among them, raise
// nothing here.
struct BoardVerdict {
    int first, last;
    ZvCmdPointError error;
};
constexpr BoardVerdict kBoardVerdicts[] = {
    {27, 27, zvCtlMomentumLimitError},
    {28, 28, zvCtlPowerLimitError},
    {29, 34, zvCtlCurrentCmdOver},
};
constexpr int kBoardInCharge = 2;  // mcb.safetyPara.safetyStopEnable

void raiseBoardVerdict() {
    if (mcb.safetyPara.safetyStopEnable != kBoardInCharge || mcb.momentumPowerEnableFlag != 1) return;
    const int code = mcb.safetyPara.safetyIslandErrorCode;
    for (const auto& [first, last, error] : kBoardVerdicts)
        if (first <= code && code <= last) mcb.cmdPointError = error;
}

}  // namespace

int zvtmczvdynamicblock(double* joint_pos, EX_LOAD exLoad, double* tau_res, float* paramSDH, float* inparaM,
                        float* inparaC, float* inparaI, float* inparaIj, float* /*gain*/, double MM[6][6]) {
    const BlockInput<float> in =
        blockInput<float>(joint_pos, jointZeroOffsetDeg(mcb.robotType), mpb.jCaccRaw, exLoad);
    sampleMeasuredLoad();

    float joint_torque[6], G[6] = {}, M[36] = {}, C[36] = {};
    tmczvdynamicblock(paramSDH, in.angle, in.velocity, in.acceleration, in.load, inparaM, inparaC, inparaI,
                      inparaIj, in.gravity, joint_torque, G, M, C);
    for (int i = 0; i < 6; i++) {
        for (int j = 0; j < 6; j++) MM[i][j] = i == j ? static_cast<double>(M[7 * i]) : 0.0;
        tau_res[i] = static_cast<double>(joint_torque[i]);
    }

    compareWithMeasuredTorque();
    raiseBoardVerdict();
    watchEncoders(joint_torque);
    return 0;
}

int zvPQtmczvdynamicblock(double* joint_pos, EX_LOAD exLoad, double* tau_res, double* paramSDH,
                          double* inparaM, double* inparaC, double* inparaI, double* inparaIj) {
    const BlockInput<double> in = blockInput<double>(joint_pos, kNoZeroOffset, mpb.jCacc, exLoad);
    tmczvPQdynamicblock(paramSDH, in.angle, in.velocity, in.acceleration, in.load, inparaM, inparaC, inparaI,
                        inparaIj, in.gravity, tau_res);
    return 0;
}

int zvHNtmczvdynamicblock(double* joint_pos, EX_LOAD exLoad, double* tau_res, double* paramSDH,
                          double* inparaIj) {
    const BlockInput<double> in = blockInput<double>(joint_pos, kNoZeroOffset, mpb.jCacc, exLoad);
    tmcHNzvCdynamicblock(paramSDH, in.angle, in.velocity, in.acceleration, in.load, inparaIj, in.gravity,
                         tau_res);
    return 0;
}

namespace tarn {
namespace {

// ---- what the robot type decides

enum class Block {
    None,     // no model torque
    General,  // single precision, standard shape
    Offset,   // double precision, offset shape
    BuiltIn,  // double precision, standard shape, inertial data of its own
};

struct DragAcceleration {
    double limit[6];  // rad/s^2
};

struct TypeModel {
    Block block;
    const DragAcceleration* drag;  // null: no limits are known
};

// clang-format off
constexpr double kPi = 3.141592653589793;
//                                         J1           J2           J3           J4       J5       J6
constexpr DragAcceleration kLightArm = { { 2 * kPi,     2 * kPi,     2 * kPi,     2 * kPi, 2 * kPi, 3 * kPi } };
constexpr DragAcceleration kLargeArm = { { 2 * kPi / 3, 2 * kPi / 3, kPi,         2 * kPi, 2 * kPi, 3 * kPi } };
constexpr DragAcceleration kHeavyArm = { { kPi / 4,     kPi / 4,     kPi / 3,     2 * kPi, 2 * kPi, 3 * kPi } };

constexpr TypeRow<TypeModel> kTypeModels[] = {
    // first, last,  block,          drag acceleration
    {    0,  200, { Block::General, &kLightArm } },
    {  201,  400, { Block::General, &kLargeArm } },
    {  401,  500, { Block::General, &kHeavyArm } },
    {  701,  701, { Block::Offset,  nullptr } },
    {  702,  703, { Block::General, nullptr } },
    {  704,  800, { Block::None,    nullptr } },
    {  801,  900, { Block::Offset,  nullptr } },
    {  902,  902, { Block::BuiltIn, nullptr } },
};
constexpr TypeModel kTypeModelOther = { Block::General, nullptr };
// clang-format on

// The parameter sets of the general block, in its precision.
struct SinglePrecisionSet {
    float paramSDH[6], inparaM[6], inparaC[18], inparaI[36], inparaIj[6];
};

constexpr SinglePrecisionSet singlePrecision(const ParameterSet& set) {
    SinglePrecisionSet single = {};
    narrow(set.paramSDH, single.paramSDH);
    narrow(set.inparaM, single.inparaM);
    narrow(set.inparaC, single.inparaC);
    narrow(set.inparaI, single.inparaI);
    narrow(set.inparaIj, single.inparaIj);
    return single;
}

// Row by row as kDynamicsSets; zeros for the types of the other blocks.
struct GeneralSets {
    TypeRow<SinglePrecisionSet> rows[std::size(kDynamicsSets)];
    SinglePrecisionSet other;
};
constexpr GeneralSets generalSets() {
    GeneralSets sets = {{}, singlePrecision(*kFallbackSet)};
    for (std::size_t i = 0; i < std::size(kDynamicsSets); i++) {
        const auto& [first, last, set] = kDynamicsSets[i];
        sets.rows[i] = {first, last, {}};
        if (byType(kTypeModels, kTypeModelOther, first).block == Block::General)
            sets.rows[i].value = singlePrecision(*set);
    }
    return sets;
}
constexpr GeneralSets kGeneralSets = generalSets();

}  // namespace

FullDynamicsTorque fullDynamicsTorque(const CycleFrame& frame) {
    FullDynamicsTorque result = {};
    const int robotType = mcb.robotType;  // read once: the block and its set must not part
    const TypeModel& model = byType(kTypeModels, kTypeModelOther, robotType);
    double* q = frame.q->v;
    double* torque = result.joint_torque;
    double MM[6][6] = {};

    switch (model.block) {
        case Block::None:
            break;
        case Block::General: {
            SinglePrecisionSet set = byType(kGeneralSets.rows, kGeneralSets.other, robotType);
            zvtmczvdynamicblock(q, frame.exLoad, torque, set.paramSDH, set.inparaM, set.inparaC, set.inparaI,
                                set.inparaIj, nullptr, MM);
            break;
        }
        case Block::Offset: {
            ParameterSet set = *dynamicsSet(robotType);
            zvPQtmczvdynamicblock(q, frame.exLoad, torque, set.paramSDH, set.inparaM, set.inparaC,
                                  set.inparaI, set.inparaIj);
            break;
        }
        case Block::BuiltIn: {
            ParameterSet set = *dynamicsSet(robotType);
            zvHNtmczvdynamicblock(q, frame.exLoad, torque, set.paramSDH, set.inparaIj);
            break;
        }
    }

    if (model.drag != nullptr)
        for (int i = 0; i < 6; i++) result.dragForceMAX[i] = MM[i][i] * model.drag->limit[i];
    return result;
}

void fullDynamics(CycleFrame& frame) {
    if (fullDynamicsState.initFlag_new == 0) {
        fullDynamicsState.initFlag_new = 1;
        zvmcdynfiltresert();
    }
    const FullDynamicsTorque model = fullDynamicsTorque(frame);
    torqueDragStage(frame, model.joint_torque, model.dragForceMAX);
}

void restartFullDynamics() { fullDynamicsState = {}; }

}  // namespace tarn
