// The stages of the cycle under the hand: mode 1, drag lock, interference.
#include "guiding/stages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <string>
#include <vector>

#include "cycle/cold_start.h"
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
    return std::ranges::equal(a, b, [](double x, double y) { return fixture::near(x, y, 1e-9); });
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

TEST(Mode1, TakesTestAndEndLoadByTypeAndGainsOnceOrWithTheState) {
    const auto expect = [](int type, int state, double kp, double kf, const char* what, int joints = 6) {
        mpb.state = state;
        EXPECT_TRUE(same(through(tarn::fittedRegressor), modelTorque(type, kp, kf, joints))) << type << what;
    };
    for (int type : ref::types()) {
        start(type, 1);
        expect(type, 1, 1.1, 0.5, ", first cycle");
    }
    start(101, 1);
    gravityTorqueControl(&pose);
    const double rated = ref::ratedTorque(101, 1) * ref::gearRatio(101, 1);
    EXPECT_EQ(how.currentSet[1], ref::toCurrent(modelTorque(101, 1.1, 0.5)[1] / rated * 1000.0));
    for (int i = 0; i < 6; i++) mcb.newTeachGain[i] += 8, mcb.newTeachGainKf[i] += 1;
    expect(101, 1, 1.1, 0.5, ", settings changed");
    expect(101, 4, 1.1, 0.2, ", under the hand");
    for (double& kf : mcb.newTeachGainKfAdj) kf += 3;
    mpb.state = 1;
    mcb.newTeachEnable = 0;
    gravityTorqueControl(&pose);  // leaving the hand in another mode goes unseen
    expect(101, 4, 1.1, 0.2, ", settings changed under the hand");
    for (int state : {1, 2, 3, 0}) expect(101, state, 1.1, 1.5, ", out of the hand");
    expect(101, 4, 1.1, 3.2, ", under the hand again");
    tarn::coldStart();
    expect(101, 1, 9.1, 1.5, ", after a power trip");

    start(101, 1);
    mpb.sysJntsNo = 3;
    through(tarn::fittedRegressor);
    mpb.sysJntsNo = 6;
    expect(101, 1, 1.1, 0.5, ", joints beyond the arm's got no gains", 3);
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
    for (int mode : {0, 1, 2}) {  // with the lock on family E has no model torque
        start(401);
        mcb.newTeachEnable = static_cast<uint8_t>(mode);
        mcb.dragLockEnable = 1;
        gravityTorqueControl(&pose);
        for (int16_t current : how.currentSet) EXPECT_EQ(current, 0) << mode;
    }
}

// Lock (0) or zone: the pull on joint 1, 2 degrees off the reference, in multiples of the first one; the
// regulators only sum. An identification run keeps the reference where the zone drops it.
struct Step {
    int on, state;
    double pull;
};
void expectPulls(int zone, int running, const std::vector<Step>& steps) {
    start(101);
    std::fill_n(mcb.dragLockP, 6, 0);
    std::fill_n(mcb.dragLockI, 6, 0.1);
    mcb.interfereDrag = zone ? 1 : 0;
    tarn::solveX.flag = running;
    const auto pull = [zone](int on, int state) {
        (zone ? mpb.interfereJointCubeFlag : mcb.dragLockEnable) = static_cast<uint8_t>(on);
        mpb.state = state;
        return through(zone ? tarn::interferenceStage : tarn::dragLockStage)[0] - kInput[0];
    };
    const int on = zone ? zone : 1;
    EXPECT_NEAR(pull(on, 4), 0, 1e-9);
    std::fill_n(mcb.dragLockI, 6, 1);  // for the next arming
    pose.v[0] += 2;
    const double once = pull(on, 4);
    EXPECT_LT(once, -0.1);
    for (const Step& step : steps)
        EXPECT_NEAR(pull(step.on, step.state), step.pull * once, 1e-6) << zone << ", " << &step - &steps[0];
    tarn::solveX.flag = 0;
    tarn::coldStart();
    EXPECT_NEAR(pull(on, 4), 0, 1e-9) << "a power trip disarms";
    pose.v[0] += 2;
    EXPECT_NEAR(pull(on, 4), 10 * once, 1e-5) << "armed anew with other gains";
}

TEST(DragLockAndZone, DisarmOutsideTheHandAndKeepTheirSumsUntilThen) {
    expectPulls(0, 0,
                {{1, 4, 2}, {0, 4, 0}, {0, 1, 0}, {2, 1, 0}, {0, 4, 0}, {1, 4, 3}, {1, 2, 0}, {1, 4, 0}});
    for (int zone : {1, 2, 3}) {
        expectPulls(zone, 0, {{zone, 4, 2}, {0, 4, 0}, {zone, 4, 2}, {zone, 1, 0}, {zone, 4, 0}});
        expectPulls(zone, 1, {{zone, 4, 2}, {0, 4, 0}, {zone, 4, 3}, {zone, 1, 0}, {zone, 4, 10}});
    }
}

TEST(Interference, LeavesTheDragInEachCycleInAZoneAndLogsIt) {
    std::string log;
    const auto collect = [&](int severity, const char* line) { log += std::to_string(severity) + line; };
    tarn::host::drainLog(collect);
    for (int drag : {0, 1, 2, 3})
        for (int flag : {0, 1, 2, 3})
            for (int state : {1, 2, 3, 4}) {
                start(101, state);
                mcb.newTeachEnable = 0;
                mcb.interfereDrag = static_cast<uint8_t>(drag);
                mpb.interfereJointCubeFlag = static_cast<uint8_t>(flag);
                log.clear();
                gravityTorqueControl(&pose);
                tarn::host::drainLog(collect);
                const bool leaves = drag == 2 && (flag == 1 || flag == 2) && state == 4;
                EXPECT_EQ(fixture::callText().find("tmcDragSwitch 0") != std::string::npos, leaves);
                const char* text = "2zvCtlTCPSpeedOver After to DragMode mcb.collisionPauseFlag = : 1";
                EXPECT_EQ(log, leaves ? text : "");
            }
}

}  // namespace
