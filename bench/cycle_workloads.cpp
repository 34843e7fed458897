// The torque cycle in its modes, friction, the collision detectors, and what a cycle identifies.
#include <algorithm>

#include "arm_states.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/planner_values.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

namespace tarn::bench {
namespace {

double friction[6];

float gains[NUM_JNTS];
void abateVibration(int state) {
    mpb.jCaccRaw = velocity[state];
    zvmcVibrateAbateControl(gains);
}

double frequency;
void naturalFrequency(int state) { zvmcCalculateNaturalFreq(pose[state].v, &frequency); }

void prepareRegressorDrag(int robotType) {
    prepareDrag(robotType);
    mcb.newTeachEnable = 1;
}

// Each state is another pose, so that the regulators have something to pull at.
void prepareLockedDrag(int robotType) {
    prepareDrag(robotType);
    mcb.dragLockEnable = 1;
    std::fill_n(mcb.dragLockP, NUM_JNTS, 1.0);
}

void frictionCurves(int state) { frictionCompensation(&velocity[state], friction); }

// In the middle of a motion, far inside every band.
void prepareSupervisor(int robotType) {
    prepareArm(robotType);
    mpb.ci = {500, 1000};
    std::fill_n(host::plannerValues.collisionRatio, NUM_JNTS, 1e6F);
    std::fill_n(mcb.collisionDetection.jointDetectionThreshold, NUM_JNTS, 1e6F);
    std::fill_n(mcb.collisionDetection.tcpDetectionThreshold, NUM_JNTS, 1e9F);
}

void prepareSupervisorTcp(int robotType) {
    prepareSupervisor(robotType);
    mcb.collisionDetection.CustomCollisionFlag = 3;
}

void supervise(int state) {
    mpb.jC = pose[state];
    mpb.jCvel = velocity[state];
    for (int i = 0; i < NUM_JNTS; i++) how.currentFeedback[i] = static_cast<int16_t>(37 * (i - 3) + state);
    zvmcCheckForCollisionError();
}

// A step of the commanded acceleration a call keeps the window of widened limits open.
void superviseWindow(int state) {
    mpb.jCaccRaw.v[0] = state % 2 == 0 ? 1e-3 : -1e-3;
    supervise(state);
}

// A motion with the dual-encoder detector past its warm-up; gears that twist from cycle to cycle.
void prepareDetector(int robotType) {
    prepareFullDynamics(robotType);
    mpb.collisionMode = 1;
    mcb.collisionPauseFlag = 1;
    std::fill_n(mpb.collisionLevel, NUM_JNTS, 10.0F);
}

void detectorCycle(int state) {
    mpb.j6vel = velocity[state];
    for (int i = 0; i < NUM_JNTS; i++) how.HSEnc[i] = 37 * (i - 3) + state % 7;
    gravityTorqueControl(&pose[state]);
}

void prepareTorqueServo(int robotType) {
    prepareArm(robotType);
    mcb.servoJTStatus = 1;
    mcb.collisionDetection.powerFlag = 1;
    mcb.collisionDetection.powerLimit = 1e9;
}

void observeMomentum(int state) {
    static double terms[36];
    double rr[NUM_JNTS];
    mpb.j6vel = velocity[state];
    zvmcMomentumObserver(state % NUM_JNTS, pose[state].v, terms, terms, terms, terms, rr);
}

void wholeCycle(int state) {
    mpb.j6vel = velocity[state];
    gravityTorqueControl(&pose[state]);
}

// The friction run of joint 2: one bin of ten samples, filled over and over.
void prepareSampling(int robotType) {
    prepareArm(robotType);
    zvmcSingleJointFrictionOnlineOnOff(2, 1);
    mpb.jCvel.v[1] = 0.00045;  // degrees/ms
    mpb.jCaccRaw.v[1] = 0.0;
}

void samplingCycle(int state) {
    if (state % 12 == 0) {
        uint16_t status;
        float real[10], factory[10], error[10];
        zvmcGetJointFrictionStatus(&status, real, factory, error);  // back to the first bin
    }
    gravityTorqueControl(&pose[state]);
}

// A cycle of the scripted identification of the tool load.
void prepareScriptedLoad(int robotType) {
    prepareArm(robotType);
    mcb.fricCompensationFlag = 1;
    mpb.currentLine = 3;
    tmcLoadIdentifyStartEnd(1);
}

void scriptedLoad(int state) {
    mpb.j6 = pose[state];
    mpb.jCvel = velocity[state];
    mcb.loadIdentify.weightTotalNum = 0;  // the table never fills
    zvmcLoadIdentifyControl();
}

}  // namespace

std::vector<Workload> cycleWorkloads() {
    return {
        // name,                     reference,           type, prepare,     call
        {"zvmcVibrateAbateControl/103", "", 103, prepareArm, abateVibration},
        {"zvmcCalculateNaturalFreq/103", "", 103, prepareArm, naturalFrequency},
        {"frictionCompensation/103", "", 103, prepareArm, frictionCurves},
        {"frictionCompensation/103/drag", "", 103, prepareDrag, frictionCurves},
        {"zvmcCheckForCollisionError/103", "", 103, prepareSupervisor, supervise},
        {"zvmcCheckForCollisionError/103/window", "", 103, prepareSupervisor, superviseWindow},
        {"zvmcCheckForCollisionError/103/tcp", "", 103, prepareSupervisorTcp, supervise},
        {"zvmcCheckForCollisionError/103/window/tcp", "", 103, prepareSupervisorTcp, superviseWindow},
        {"gravityTorqueControl/103/quiet", "", 103, prepareArm, wholeCycle},
        {"gravityTorqueControl/103/all", "", 103, prepareDrag, wholeCycle},
        {"gravityTorqueControl/103/sampling", "", 103, prepareSampling, samplingCycle},
        {"gravityTorqueControl/1001/quiet", "", 1001, prepareArm, wholeCycle},
        {"gravityTorqueControl/1001/all", "", 1001, prepareDrag, wholeCycle},
        {"gravityTorqueControl/1/regressor", "", 1, prepareRegressorDrag, wholeCycle},
        {"gravityTorqueControl/103/regressor", "", 103, prepareRegressorDrag, wholeCycle},
        {"gravityTorqueControl/103/dragLock", "", 103, prepareLockedDrag, wholeCycle},
        {"gravityTorqueControl/103/full/quiet", "", 103, prepareFullDynamics, wholeCycle},
        {"gravityTorqueControl/103/full/all", "", 103, prepareFullDynamicsDrag, wholeCycle},
        {"gravityTorqueControl/103/full/detector", "", 103, prepareDetector, detectorCycle},
        {"gravityTorqueControl/103/powerTrip", "", 103, prepareTorqueServo, wholeCycle},
        {"zvmcMomentumObserver/103", "", 103, prepareArm, observeMomentum},
        {"zvmcLoadIdentifyControl/103", "", 103, prepareScriptedLoad, scriptedLoad},
        {"gravityTorqueControl/701/full/quiet", "", 701, prepareFullDynamics, wholeCycle},
        {"gravityTorqueControl/902/full/quiet", "", 902, prepareFullDynamics, wholeCycle},
    };
}

}  // namespace tarn::bench
