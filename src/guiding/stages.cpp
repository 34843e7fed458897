#include "guiding/stages.h"

#include <algorithm>
#include <cstdint>

#include "model/type_table.h"
#include "support/joints.h"
#include "support/log_lines.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

namespace tarn {
namespace {

struct GuidingStages {
    std::uint8_t initFlag;  // the first cycle in mode 1 has taken the gains and reset the filters
    std::uint8_t gainFlag;  // gain.kf holds the values under the hand
    Gain gain;              // of mode 1
    std::uint8_t dragLockInitFlag;
    PID dragLockPid[6];
    std::uint8_t interfereDragInitFlag;
    PID interfereDragPid[6];
};
GuidingStages state;

using GravityTest = int (*)(double q2, double q3, Gain gain, TRSF curpos, double* joint_pos, double* tau,
                            int robot_model);
using Pull = int (*)(PID* pid, TRSF curpos, double* joint_pos, double* input, double* tau);

// What a type has for guiding; null: nothing, the torque is then zero.
struct GuidedArm {
    GravityTest gravityTest;
    int robot_model;
    bool endLoad;  // the load comes on top of the gravity test
    Pull pull;
    int family;  // Interfere::flag1
};

// clang-format off
constexpr TypeRow<GuidedArm> kGuidedArms[] = {
    // first, last,  gravity test,                  model, end load, regulator,   family
    {    1,  100, { zvmcteachcontrolA_gravitytest,    1,   true,     teachcontrolA, 0 } },
    {  101,  200, { zvmcteachcontrolB_gravitytest,  102,   false,    teachcontrolB, 1 } },
    {  201,  300, { zvmcteachcontrolC_gravitytest,  201,   true,     teachcontrolC, 2 } },
    {  301,  400, { zvmcteachcontrolD_gravitytest,  301,   true,     teachcontrolD, 3 } },
    {  401,  500, { nullptr,                          0,   false,    nullptr,       4 } },
};
// The family's vector holds the load already, so that it counts twice here, on purpose.
constexpr GuidedArm kGuidedArmOther =
                  { zvmcteachcontrolB_gravitytest,  102,   true,     teachcontrolB, 1 };
// clang-format on

const GuidedArm& guidedArm() { return byType(kGuidedArms, kGuidedArmOther, mcb.robotType); }

enum InterfereDrag { Resist = 1, LeaveDrag = 2 };  // mcb.interfereDrag

// The gains of the static torque are taken once, those of the motion torque with each change of state.
void updateGains() {
    if (state.initFlag == 0) {
        state.initFlag = 1;
        zvmcdynfiltresert();
        std::copy_n(mcb.newTeachGain, armJoints(), state.gain.kp);
        std::copy_n(mcb.newTeachGainKf, armJoints(), state.gain.kf);
    }
    if (mpb.state == TGEN_DRAG && state.gainFlag == 0) {
        state.gainFlag = 1;
        std::copy_n(mcb.newTeachGainKfAdj, 6, state.gain.kf);
    }
    if (mpb.state != TGEN_DRAG && state.gainFlag == 1) {
        state.gainFlag = 0;
        std::copy_n(mcb.newTeachGainKf, 6, state.gain.kf);
    }
}

// Lock and resistance are regulated with the same gains.
void armRegulators(std::uint8_t& initFlag, PID (&pid)[6]) {
    if (initFlag != 0) return;
    initFlag = 1;
    zvmcdynfiltresert();
    const int joints = armJoints();
    for (int i = 0; i < joints; i++) PIDInit(&pid[i], mcb.dragLockP[i], mcb.dragLockI[i], mcb.dragLockD[i]);
}

TRSF flangePose(double* q) {
    ROBCARTPOS pose = {};
    jointTrsfToEndCartTCF_RT(1, q, &pose);
    TRSF result;
    rpyToTrsf(&result, static_cast<double>(pose.c), static_cast<double>(pose.b), static_cast<double>(pose.a));
    result.p = {static_cast<double>(pose.x), static_cast<double>(pose.y), static_cast<double>(pose.z)};
    return result;
}

// The torque of a regulator while the arm is guided, armed at its first cycle. regulator: (flange pose,
// torque so far, torque of the regulator).
template <typename Regulator>
void regulate(CycleFrame& frame, std::uint8_t& initFlag, PID (&pid)[6], Regulator regulator) {
    if (mpb.state != TGEN_DRAG) {
        initFlag = 0;
        return;
    }
    const TRSF flange = flangePose(frame.q->v);
    armRegulators(initFlag, pid);
    double torqueResult[6] = {}, input[6];
    std::copy_n(frame.servor_torque.v, 6, input);
    regulator(flange, input, torqueResult);
    std::copy_n(torqueResult, armJoints(), frame.servor_torque.v);
}

void resistZone(CycleFrame& frame) {
    regulate(frame, state.interfereDragInitFlag, state.interfereDragPid,
             [&](const TRSF& flange, double* input, double* torqueResult) {
                 Interfere interfere = {};
                 interfere.flag = mpb.interfereJointCubeFlag;
                 interfere.flag1 = guidedArm().family;
                 zvmcteachcontrolinterfere(state.interfereDragPid, interfere, flange, frame.q->v, input,
                                           torqueResult);
             });
}

// As long as the arm is in the zone under the hand.
void leaveDragAtZone() {
    const bool inZone = mpb.interfereJointCubeFlag == 1 || mpb.interfereJointCubeFlag == 2;
    if (!inZone || mpb.state != TGEN_DRAG) return;
    tmcDragSwitch(0);
    logDragPlace(1);
}

}  // namespace

void fittedRegressor(CycleFrame& frame) {
    updateGains();
    const GuidedArm& arm = guidedArm();
    const double q2 = -mcb.robotInstallYangle, q3 = mcb.robotInstallZangle;
    double torqueResult[6] = {}, tau_load[6] = {};
    if (arm.gravityTest != nullptr)
        arm.gravityTest(q2, q3, state.gain, {}, frame.q->v, torqueResult, arm.robot_model);
    if (arm.endLoad) zvmcendload(q2, q3, frame.q->v, frame.exLoad, tau_load, arm.robot_model);
    const int joints = armJoints();
    for (int i = 0; i < joints; i++) frame.servor_torque.v[i] = torqueResult[i] + tau_load[i];
}

// The lock disarms here only: switched off and on while the arm is guided, it keeps gains and reference.
void dragLockStage(CycleFrame& frame) {
    if (mcb.dragLockEnable != 1) return;
    regulate(frame, state.dragLockInitFlag, state.dragLockPid,
             [&](const TRSF& flange, double* input, double* torqueResult) {
                 const Pull pull = guidedArm().pull;
                 if (pull != nullptr) pull(state.dragLockPid, flange, frame.q->v, input, torqueResult);
             });
}

void interferenceStage(CycleFrame& frame) {
    if (mcb.interfereDrag == Resist) resistZone(frame);
    if (mcb.interfereDrag == LeaveDrag) leaveDragAtZone();
}

void coldStartGuiding() { state = {}; }

}  // namespace tarn
