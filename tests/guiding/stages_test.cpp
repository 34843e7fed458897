// The stages of the cycle under the hand: mode 1, drag lock, interference.
#include "guiding/stages.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <string>

#include "cycle/cold_start.h"
#include "guiding/regulator_reference.h"
#include "identification/parameter_solution.h"
#include "support/fixture.h"
#include "support/reference.h"
#include "tarnhost/log.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

namespace {

using Joints = std::array<double, 6>;

constexpr Joints kInput = {10, 11, 12, 13, 14, 15};
JNTS pose;  // degrees

bool same(const Joints& a, const Joints& b) {
    for (size_t i = 0; i < 6; i++)
        if (!fixture::near(a[i], b[i], 1e-9)) return false;
    return true;
}

// Under the hand in mode 1, each setting with values of its own by joint.
void start(int type, int state = 4) {
    fixture::start(type);
    tarn::coldStart();
    zvmcdynfiltresert();
    pose = {{31, -62, 83, 24, -45, 16}, {}, 6};
    mpb.state = state;
    mcb.newTeachEnable = 1;
    mcb.robotInstallPos = 3;
    mcb.robotInstallYangle = 20;
    mcb.robotInstallZangle = -50;
    mcb.fricCompensationFlag = 0;
    mpb.loadWeight = 2.5;
    mpb.loadCoord = {12, -34, 56};
    for (int i = 0; i < 6; i++) {
        mcb.newTeachGain[i] = 1.1 + i;
        mcb.newTeachGainKf[i] = 0.5 + i;
        mcb.newTeachGainKfAdj[i] = 0.2 + i;
        mcb.dragLockP[i] = 2 + i;
        mpb.jCvel.v[i] = 0.02 * (i + 1);
        mpb.jCaccRaw.v[i] = 1e-4;
    }
}

Joints through(void (*stage)(tarn::CycleFrame&)) {
    tarn::CycleFrame frame = {&pose, {mpb.loadCoord, mpb.loadWeight}, {}, {}, {}};
    std::copy_n(kInput.data(), 6, frame.servor_torque.v);
    stage(frame);
    return std::to_array(frame.servor_torque.v);
}

// What a type guides by.
const struct Guided {
    int first, last;
    int (*test)(double, double, Gain, TRSF, double*, double*, int);
    int (*pull)(PID*, TRSF, double*, double*, double*);
    int model;
    bool load;
} kGuided[] = {
    {401, 500, nullptr, nullptr, 0, false},
    {1, 100, zvmcteachcontrolA_gravitytest, teachcontrolA, 1, true},
    {201, 300, zvmcteachcontrolC_gravitytest, teachcontrolC, 201, true},
    {301, 400, zvmcteachcontrolD_gravitytest, teachcontrolD, 301, true},
    {101, 200, zvmcteachcontrolB_gravitytest, teachcontrolB, 102, false},
    {INT_MIN, INT_MAX, zvmcteachcontrolB_gravitytest, teachcontrolB, 102, true},
};
const Guided& guided(int type) {
    const Guided* row = kGuided;
    while (type < row->first || type > row->last) row++;
    return *row;
}

// A first cycle of mode 1; gains of the first joint, those of the others are 1 apart.
Joints modelTorque(int type, double kp, double kf, int joints = 6) {
    const Guided& arm = guided(type);
    Gain gain = {};
    for (int i = 0; i < joints; i++) gain.kp[i] = kp + i, gain.kf[i] = kf + i;
    Joints torque = {}, load = {};
    zvmcdynfiltresert();
    if (arm.test) arm.test(-20, -50, gain, {}, pose.v, torque.data(), arm.model);
    if (arm.load) zvmcendload(-20, -50, pose.v, {mpb.loadCoord, mpb.loadWeight}, load.data(), arm.model);
    for (size_t i = 0; i < 6; i++) torque[i] += load[i];
    return torque;
}

void expectCurrents(int type, const Joints& torque) {
    for (int i = 0; i < 6; i++) {
        const double rated = ref::ratedTorque(type, i) * ref::gearRatio(type, i);
        EXPECT_EQ(how.currentSet[i], ref::toCurrent(torque[static_cast<size_t>(i)] / rated * 1000.0))
            << type << ", joint " << i + 1;
    }
}

TEST(Mode1, TakesTestAndEndLoadByTypeAndGainsOnceOrWithTheState) {
    for (int type : ref::types()) {
        start(type, 1);
        gravityTorqueControl(&pose);
        expectCurrents(type, modelTorque(type, 1.1, 0.5));
    }
    start(101, 1);
    const auto expect = [](int state, double kp, double kf, const char* what) {
        mpb.state = state;
        EXPECT_TRUE(same(through(tarn::fittedRegressor), modelTorque(101, kp, kf))) << what;
    };
    expect(1, 1.1, 0.5, "first cycle");
    for (int i = 0; i < 6; i++) mcb.newTeachGain[i] += 8, mcb.newTeachGainKf[i] += 1;
    expect(1, 1.1, 0.5, "settings changed");
    expect(4, 1.1, 0.2, "under the hand");
    for (double& kf : mcb.newTeachGainKfAdj) kf += 3;
    expect(4, 1.1, 0.2, "changed under the hand");
    mpb.state = 1;
    mcb.newTeachEnable = 0;
    gravityTorqueControl(&pose);  // leaving the hand in another mode goes unseen
    expect(4, 1.1, 0.2, "back under the hand");
    for (int state : {1, 2, 3, 0}) expect(state, 1.1, 1.5, "out of the hand");
    expect(4, 1.1, 3.2, "under the hand again");
    tarn::coldStart();
    expect(1, 9.1, 1.5, "after a power trip");

    start(101, 1);
    mpb.sysJntsNo = 3;
    through(tarn::fittedRegressor);
    mpb.sysJntsNo = 6;  // joints beyond the arm's got no gains
    EXPECT_TRUE(same(through(tarn::fittedRegressor), modelTorque(101, 1.1, 0.5, 3)));
}

// The type's regulator with the gains above, towards the reference in force.
Joints pulled(int type) {
    PID pid[6];
    for (int i = 0; i < 6; i++) pid[i] = {2.0 + i, 0, 0, 0, 0, 0};
    ROBCARTPOS at = {};
    jointTrsfToEndCartTCF_RT(1, pose.v, &at);
    TRSF flange;
    rpyToTrsf(&flange, at.c, at.b, at.a);
    flange.p = {at.x, at.y, at.z};
    Joints torque = {}, input = kInput;
    if (guided(type).pull) guided(type).pull(pid, flange, pose.v, input.data(), torque.data());
    return torque;
}

TEST(DragLockAndZone, TakeTheRegulatorOfTheType) {
    for (int type : ref::types())
        for (bool zone : {false, true}) {
            start(type);
            mcb.dragLockEnable = zone ? 0 : 1;
            mcb.interfereDrag = zone ? 1 : 0;
            mpb.interfereJointCubeFlag = 2;
            const auto stage = zone ? tarn::interferenceStage : tarn::dragLockStage;
            const bool none = guided(type).pull == nullptr;
            EXPECT_TRUE(same(through(stage), none ? Joints{} : kInput)) << type << ": the reference";
            for (double& q : pose.v) q += 3;
            const Joints torque = through(stage);
            EXPECT_TRUE(same(torque, pulled(type))) << type;
            EXPECT_TRUE(ref::dynamicsArm(type).empty() || !same(torque, kInput)) << type;
            mpb.sysJntsNo = 2;
            EXPECT_EQ(through(stage)[2], kInput[2]) << type;
        }
    for (int mode : {0, 1, 2}) {  // with the lock on family E has its friction alone
        start(401);
        mcb.newTeachEnable = static_cast<uint8_t>(mode);
        mcb.dragLockEnable = mcb.fricCompensationFlag = 1;
        Joints friction;
        for (int i = 0; i < 6; i++) {
            mpb.friction_Free[i] = 0.5f;
            mpb.j6vel.v[i] = 0.01 * (i + 1);
            friction[static_cast<size_t>(i)] = 0.5 * ref::friction(401, 4, i, mpb.j6vel.v[i]);
        }
        gravityTorqueControl(&pose);
        expectCurrents(401, friction);
    }
}

TEST(DragLock, DisarmsOnlyWithTheLockOnOutsideTheHand) {
    start(101);
    const auto pull = [] { return through(tarn::dragLockStage)[0] - kInput[0]; };
    mcb.dragLockEnable = 1;
    EXPECT_NEAR(pull(), 0, 1e-9);
    pose.v[0] += 2;
    const double held = pull();
    EXPECT_LT(held, -1);
    for (int enable : {0, 2, 255})
        for (int state : {4, 1, 4}) {
            mcb.dragLockEnable = static_cast<uint8_t>(enable);
            mpb.state = state;
            EXPECT_EQ(pull(), 0) << "off, the torque passes";
        }
    mcb.dragLockEnable = 1;
    std::fill_n(mcb.dragLockP, 6, 10);
    EXPECT_NEAR(pull(), held, 1e-9) << "gains and reference are kept";
    mpb.state = 2;
    EXPECT_EQ(pull(), 0);
    mpb.state = 4;
    EXPECT_NEAR(pull(), 0, 1e-9) << "a new reference";
    pose.v[0] += 2;
    EXPECT_LT(pull(), 2 * held) << "and new gains";
    tarn::coldStart();
    EXPECT_NEAR(pull(), 0, 1e-9) << "a power trip disarms";
}

TEST(Interference, LatchesAnewAtEachEntryAndKeepsItsSums) {
    for (int zone : {1, 2, 3})
        for (int running : {0, 1}) {  // an identification run keeps the reference
            start(101);
            std::fill_n(mcb.dragLockP, 6, 0);
            std::fill_n(mcb.dragLockI, 6, 0.1);
            mcb.interfereDrag = 1;
            tarn::solveX.flag = running;
            const auto pull = [](int flag, int state = 4) {
                mpb.interfereJointCubeFlag = static_cast<uint8_t>(flag);
                mpb.state = state;
                return through(tarn::interferenceStage)[0] - kInput[0];
            };
            EXPECT_NEAR(pull(zone), 0, 1e-9);
            pose.v[0] += 2;
            const double once = pull(zone);
            EXPECT_LT(once, -0.1);
            EXPECT_NEAR(pull(zone), 2 * once, 1e-6) << "summed";
            EXPECT_EQ(pull(0), 0);
            EXPECT_NEAR(pull(zone), (running + 2) * once, 1e-6);
            EXPECT_EQ(pull(zone, 1), 0);
            EXPECT_NEAR(pull(zone), running * once, 1e-6) << "armed anew, with empty sums";
            tarn::solveX.flag = 0;
        }
}

TEST(Interference, LeavesTheDragInEachCycleInAZoneAndLogsIt) {
    for (int drag : {0, 1, 2, 3})
        for (int flag : {0, 1, 2, 3})
            for (int state : {1, 2, 3, 4}) {
                start(101, state);
                mcb.newTeachEnable = 0;
                mcb.interfereDrag = static_cast<uint8_t>(drag);
                mpb.interfereJointCubeFlag = static_cast<uint8_t>(flag);
                std::string log;
                const auto collect = [&](int severity, const char* line) {
                    log += std::to_string(severity) + line;
                };
                tarn::host::drainLog(collect);
                log.clear();
                gravityTorqueControl(&pose);
                tarn::host::drainLog(collect);
                const bool leaves = drag == 2 && (flag == 1 || flag == 2) && state == 4;
                EXPECT_EQ(fixture::callText().find("tmcDragSwitch 0") != std::string::npos, leaves);
                EXPECT_EQ(log,
                          leaves ? "2zvCtlTCPSpeedOver After to DragMode mcb.collisionPauseFlag = : 1" : "");
            }
}

}  // namespace
