// The force sensor, the drags, constant force and what guards them.
#include <algorithm>

#include "arm_states.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

namespace tarn::bench {
namespace {

// One axis of force control: tuner, regulator, learning, compliance.
void prepareRegulators(int) {
    fillStates();
    mcb.forceControl.constForceValue.fz = -20.0;
    PIDInit(&mcb.forceControl.constForceFz, 0.002, 1e-5, 1e-4);
    zvmcILCinit(&mcb.forceControl.ilcconstForceFz, 0.0, 0.0, 1);
    mcb.forceControl.grindingToolR = 40.0;
    mpb.TOOL.p = {5.0, -3.0, 120.0};
}

void regulateAxis(int state) {
    FORCE_CONTROL& force = mcb.forceControl;
    if (state == 0) zvmcILCreset();
    mpb.forceRCS.fz = -20.0 + 50.0 * velocity[state].v[0];
    const double error = mpb.forceRCS.fz - force.constForceValue.fz;
    double step, learned;
    zvmcPIDAdjust(21, 0.0, &force.constForceFz);
    PIDCalc(&force.constForceFz, error, &step);
    zvmcILCcontrol(&force.ilcconstForceFz, error, &learned);
    force.dzSum += step + learned;
    Compliancecontrol(0.01, 30.0, mpb.forceRCS.fz, 1, force.dzSum, &force.dzSum);
}

// Pressing along z at the sensor alone, and then with everything that constant force control has.
void startPressing(int frame, uint8_t others) {
    uint8_t axes[6] = {others, others, 1, others, others, others};
    mcb.forceControl.forceSensorAct = 1;
    mcb.forceControl.forceSensorRcs = static_cast<uint8_t>(frame);
    tmcConstForceStartStop(1, 0, axes, {5.0, 5.0, -20.0, 0.0, 0.0, 0.0}, 1e-4, 0.0, 0.0, 1e-4, 0.0, 0.0,
                           others, others, 1e9, 1e9, 40.0, others, others, 0);
}

void preparePressing(int robotType) {
    prepareArm(robotType);
    startPressing(0, 0);
}

void preparePressingAll(int robotType) {
    prepareArm(robotType);
    mpb.TOOL.p = {5.0, -3.0, 120.0};
    startPressing(2, 1);
}

void press(int state) {
    if (state == 0) zvmcILCreset();
    const double* noise = velocity[state].v;
    mpb.forceRCS = {5.0 + noise[0], 5.0 + noise[1], -20.0 + 50.0 * noise[2], noise[3], noise[4], noise[5]};
    mcb.forceControl.forceOriginEnd = mpb.forceRCS;
    TRSF corrected;
    constForceControl(mpb.tC, &corrected);
}

void estimateNormal(int state) {
    const double* moments = velocity[state].v;
    mcb.forceControl.forceOriginEnd = {0.0, 0.0, -20.0, moments[0], moments[1], moments[2]};
    double angle, tangential;
    zvmcFTNormal_estimation(&angle, &tangential);
}

void constraintForce(int state) {
    mpb.jC = pose[state];
    double Fv[6] = {};
    zvmcConstraintsAdmittance(Fv, 0.0);
}

// The tool point before a face, near and far.
void prepareWall(int robotType) {
    prepareArm(robotType);
    mcb.interfereCube = {1, 0, 0, 0, {-500.0, -500.0, 0.0}, {500.0, 500.0, 300.0}, {}, {}};
}

void wall(int state) {
    mpb.t6.p = {200.0, -100.0, 290.0 + 0.1 * state};
    float speed[6] = {0.1F, 0.0F, -0.1F}, damping[6] = {};
    zvmcForceSensorVirtualWall(speed, damping);
}

// The force sensor in use on a loaded tool, its reading wanted in the tool's frame.
void prepareSensor(int robotType) {
    prepareArm(robotType);
    mpb.jC = pose[0];
    newFwdKinematics(&mpb.jC, &mpb.tC);
    mcb.fsCompanyID = 16;
    mpb.forceSensorLoadWeight = load.mass;
    mpb.forceSensorLoadCoord = load.cmc;
    mcb.forceControl.forceSensorRcs = 2;
    mcb.forceControl.forceSensorAct = 1;
}

void sensorIntake(int state) {
    int32_t words[6];
    for (int i = 0; i < 6; i++) words[i] = 37 * state * (i - 3);
    forceSensorDataProcess(words);
}

// Guided by the force of a hand that pushes about as hard in any direction.
void prepareTorqueDrag(int robotType) {
    prepareFullDynamicsDrag(robotType);
    mpb.jC = pose[0];
    newFwdKinematics(&mpb.jC, &mpb.tC);
    ForceAndTorqueDrag& drag = mcb.forceControl.forceandtorquedrag;
    drag.status = drag.impedance_sign = 1;
    drag.DragMaxTcpVel = drag.DragMaxTcpOriVel = 1e9;
    std::fill_n(drag.LamdaGain, NUM_JNTS, 2.0);
    std::fill_n(drag.BGain, NUM_JNTS, 0.1);
}

FORCESENSOR_DATA handForce(int state) {
    const double* share = pose[state].v;  // -180 to 180
    return {0.2 * share[0],  0.2 * share[1],  0.2 * share[2],
            0.02 * share[3], 0.02 * share[4], 0.02 * share[5]};
}

void torqueDragCycle(int state) {
    mcb.forceControl.forceOriginEnd = handForce(state);
    mpb.j6vel = velocity[state];
    gravityTorqueControl(&pose[state]);
}

void mapForce(int state) {
    mcb.forceControl.forceOriginEnd = handForce(state);
    double torque[NUM_JNTS];
    zvmcForceDataToTorque(pose[state].v, torque);
}

// Dragged by a hand that pushes in every direction, held by springs where it is; far from singularities.
void prepareForceDrag(int robotType) {
    prepareSensor(robotType);
    mpb.jC = {{20.0, -80.0, 100.0, -110.0, -90.0, 30.0}, {}, NUM_JNTS};
    newFwdKinematics(&mpb.jC, &mpb.tC);
    mpb.t6 = mpb.tC;
    mpb.state = TGEN_IDLE;
    zvmcForceSensorDragProcess();  // closed: takes the reference
    mcb.mode = 1;
    EndForceDrag& drag = mcb.forceControl.endforcedrag;
    drag.flag = 1;
    drag.Vmax = 1e9;
    std::fill_n(drag.K, NUM_JNTS, 500.0);
}

void prepareForceDragAdaptive(int robotType) {
    prepareForceDrag(robotType);
    mcb.forceControl.endforcedrag.adaptive_sign = 1;
    mcb.forceControl.endforcedrag.interfere_drag_sign = 1;
    mcb.interfereCube.setFlag_cube = 1;
    mcb.interfereCube.min_cube = {mpb.tC.p.x + 50.0, -2e3, -2e3};
    mcb.interfereCube.max_cube = {2e3, 2e3, 2e3};
}

void forceDragCycle(int state) {
    mpb.forceRCS = handForce(state);
    zvmcForceSensorDragProcess();
}

// A sample of the identification by the sensor, with its result.
void prepareSensorLoad(int robotType) {
    prepareSensor(robotType);
    mpb.state = TGEN_DRAG;
    mcb.loadIdentifyDyn = {1, 5};
}

void sensorLoad(int state) {
    mpb.j6 = pose[state];
    mpb.forceRCS = handForce(state);
    zvmcLoadIdentifyDynControl();
}

void estimateEnvironment(int state) {
    double Q[3] = {0.002, 100.0, 10.0}, R[2] = {0.002, 1.0}, x[3];
    double y[2] = {velocity[state].v[0], velocity[state].v[1]};
    zvmcKalmanEnvironmenModelEvaluate(Q, R, y, x);
}

// Watching, and outside the band in every cycle of an arm that is not in motion.
void prepareForceGuard(int robotType) {
    prepareSensor(robotType);
    FORCE_CONTROL& guard = mcb.forceControl;
    guard.collisionFlag = 1;
    std::fill_n(guard.collisionSelect, NUM_JNTS, uint8_t{1});
    guard.collisionMax = guard.collisionMin = {1e3, 1e3, 1e3, 1e3, 1e3, 1e3};
}

void prepareForceCollision(int robotType) {
    prepareForceGuard(robotType);
    mcb.forceControl.collisionMax.fx = -1e3;
    mcb.collisionPauseFlag = 5;
    mpb.state = TGEN_IDLE;
}

void guardForce(int state) {
    mpb.forceRCS = handForce(state);
    collisionControl();
}

// The guard's hit, and the cycle that takes it over.
void forceCollision(int state) {
    guardForce(state);
    gravityTorqueControl(&pose[state]);
}

}  // namespace

std::vector<Workload> forceWorkloads() {
    return {
        // name,                     reference,           type, prepare,     call
        {"forceRegulators/axis", "", 0, prepareRegulators, regulateAxis},
        {"zvmcFTNormal_estimation", "", 0, prepareRegulators, estimateNormal},
        {"constForceControl/z", "", 103, preparePressing, press},
        {"constForceControl/all", "", 103, preparePressingAll, press},
        {"zvmcConstraintsAdmittance/103", "kdl/jacobian/103", 103, prepareArm, constraintForce},
        {"zvmcForceSensorVirtualWall/103", "", 103, prepareWall, wall},
        {"forceSensorDataProcess/off", "", 103, prepareArm, sensorIntake},
        {"forceSensorDataProcess", "", 103, prepareSensor, sensorIntake},
        {"collisionControl", "", 103, prepareForceGuard, guardForce},
        {"zvmcForceDataToTorque/103", "", 103, prepareTorqueDrag, mapForce},
        {"gravityTorqueControl/103/full/torqueDrag", "", 103, prepareTorqueDrag, torqueDragCycle},
        {"zvmcForceSensorDragProcess/closed", "", 103, prepareSensor, forceDragCycle},
        {"zvmcForceSensorDragProcess", "", 103, prepareForceDrag, forceDragCycle},
        {"zvmcForceSensorDragProcess/adaptive", "", 103, prepareForceDragAdaptive, forceDragCycle},
        {"zvmcKalmanEnvironmenModelEvaluate", "", 103, prepareArm, estimateEnvironment},
        {"gravityTorqueControl/103/forceCollision", "", 103, prepareForceCollision, forceCollision},
        {"zvmcLoadIdentifyDynControl/103", "", 103, prepareSensorLoad, sensorLoad},
    };
}

}  // namespace tarn::bench
