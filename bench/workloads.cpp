#include "workloads.h"

#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <kdl/chaindynparam.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainiksolverpos_lma.hpp>
#include <kdl/chainjnttojacsolver.hpp>
#include <memory>
#include <random>

#include "model/parameter_sets.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnhost/kinematics.h"
#include "tarnhost/planner_values.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

namespace tarn::bench {
namespace {

constexpr double kRadPerDeg = 3.141592653589793 / 180.0;
constexpr int kFreeAngleMount = 3;  // here every type takes the library's own model

JNTS pose[kStates];      // degrees
JNTS velocity[kStates];  // degrees/ms, from creeping to fast, both ways
EX_LOAD load = {{10.0, -20.0, 60.0}, 2.0};

void fillStates() {
    std::mt19937_64 random(20240229);
    std::uniform_real_distribution<double> angle(-180.0, 180.0), decade(-4.0, -1.0), side(-1.0, 1.0);
    for (int state = 0; state < kStates; state++) {
        for (int i = 0; i < NUM_JNTS; i++) {
            pose[state].v[i] = angle(random);
            const double magnitude = std::pow(10.0, decade(random));
            velocity[state].v[i] = std::copysign(magnitude, side(random));
        }
    }
}

// An arm on a slanted mount, with a load.
void prepareArm(int robotType) {
    fillStates();
    host::setDefaults(robotType);
    mcb.robotInstallPos = kFreeAngleMount;
    mcb.robotInstallYangle = 20.0;
    mcb.robotInstallZangle = -35.0;
    mpb.loadWeight = load.mass;
    mpb.loadCoord = load.cmc;
    mpb.state = TGEN_SERVICE;
    mcb.fricCompensationFlag = 0;
    zvmcSingleJointFrictionOnlineOnOff(1, 0);
}

void setFullDynamics() {
    mcb.newTeachEnable = 2;
    for (int i = 0; i < NUM_JNTS; i++) {
        mpb.jCvel.v[i] = velocity[0].v[i];
        mpb.jCacc.v[i] = mpb.jCaccRaw.v[i] = 1e-4 * std::cos(i);
    }
}

void prepareFullDynamics(int robotType) {
    prepareArm(robotType);
    setFullDynamics();
}

void prepareDrag(int robotType) {
    prepareArm(robotType);
    mpb.state = TGEN_DRAG;
    mcb.fricCompensationFlag = 1;
    for (int i = 0; i < NUM_JNTS; i++) {
        mpb.ForDeadGain[i] = mpb.RevDeadGain[i] = mpb.ForFastGain[i] = mpb.RevFastGain[i] = 1.0;
        mpb.friction_Free[i] = 0.5F;
    }
}

void prepareFullDynamicsDrag(int robotType) {
    prepareDrag(robotType);
    setFullDynamics();
}

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

// ---- the same arm in KDL, with the load as part of the last link

struct KdlArm {
    KDL::Chain chain;
    std::unique_ptr<KDL::ChainDynParam> dynamics;
    std::unique_ptr<KDL::ChainJntToJacSolver> jacobianSolver;
    std::vector<KDL::JntArray> pose;
    KDL::JntArray torque;
    KDL::Jacobian jacobian;
};
KdlArm kdl;

void prepareKdl(int robotType) {
    prepareArm(robotType);
    const ParameterSet& set = *gravitySet(robotType);
    const double a[6] = {0.0, -std::fabs(set.paramSDH[1]), -std::fabs(set.paramSDH[2]), 0.0, 0.0, 0.0};
    const double alpha[6] = {90.0, 0.0, 0.0, 90.0, -90.0, 0.0};
    const double d[6] = {set.paramSDH[0], 0.0, 0.0, set.paramSDH[3], set.paramSDH[4], set.paramSDH[5]};
    kdl = {};
    for (int i = 0; i < 6; i++) {
        const double* center = set.inparaC + 3 * i;
        KDL::RigidBodyInertia body(set.inparaM[i], 0.001 * KDL::Vector(center[0], center[1], center[2]));
        if (i == 5) {
            const KDL::Vector inFlange(load.cmc.x, load.cmc.y, load.cmc.z);
            body = body + KDL::RigidBodyInertia(load.mass, 0.001 * inFlange);
        }
        const KDL::Frame tip = KDL::Frame::DH(0.001 * a[i], alpha[i] * kRadPerDeg, 0.001 * d[i], 0.0);
        kdl.chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ), tip, body));
    }
    const KDL::Rotation mount = KDL::Rotation::RotY(mcb.robotInstallYangle * kRadPerDeg) *
                                KDL::Rotation::RotZ(mcb.robotInstallZangle * kRadPerDeg);
    const KDL::Vector gravity = mount.Inverse() * KDL::Vector(0.0, 0.0, -9.8);
    kdl.dynamics = std::make_unique<KDL::ChainDynParam>(kdl.chain, gravity);
    kdl.torque = KDL::JntArray(6);
    kdl.jacobianSolver = std::make_unique<KDL::ChainJntToJacSolver>(kdl.chain);
    kdl.jacobian = KDL::Jacobian(6);
    for (const JNTS& degrees : pose) {
        KDL::JntArray q(6);
        for (unsigned i = 0; i < 6; i++) q(i) = degrees.v[i] * kRadPerDeg;
        kdl.pose.push_back(q);
    }
}

// ---- 6 by 6 matrices

using Matrix6 = Eigen::Matrix<double, 6, 6>;
Matrix6 matrix[kStates];
Matrix6 inverse;

void prepareMatrices(int) {
    std::mt19937_64 random(20240301);
    std::uniform_real_distribution<double> element(-1.0, 1.0);
    for (Matrix6& m : matrix)
        for (double& x : m.reshaped()) x = element(random);
}

// ---- the calls

JNTS torque;
double friction[6];

void empty(int) {}

void gravityOurs(int state) { zvmcGravityTorque(&pose[state], &load, &torque); }

void gravityKdl(int state) { kdl.dynamics->JntToGravity(kdl.pose[static_cast<size_t>(state)], kdl.torque); }

const ParameterSet* formSet;

void prepareForm(int robotType) {
    prepareArm(robotType);
    formSet = gravitySet(robotType);
}

void gravityForm(int state) {
    const double extLoad[10] = {load.mass, load.cmc.x, load.cmc.y, load.cmc.z};
    const double gravity[3] = {1.2, -0.4, -9.7};
    zvmcInvGravity(formSet->paramSDH, formSet->inparaM, formSet->inparaC, extLoad, gravity, pose[state].v,
                   torque.v);
}

void inverseOurs(int state) { inv(matrix[state].data(), inverse.data()); }

void inverseEigen(int state) { inverse = matrix[state].inverse(); }

float gains[NUM_JNTS];
void abateVibration(int state) {
    mpb.jCaccRaw = velocity[state];
    zvmcVibrateAbateControl(gains);
}

double frequency;
void naturalFrequency(int state) { zvmcCalculateNaturalFreq(pose[state].v, &frequency); }

void filterSection(int) {
    double filtered;
    for (int i = 0; i < 6; i++) Loadbuttord(i, 5, &filtered);
}

BUTTERWORTHFILTER butterworth;

void prepareButterworth(int) {
    fillStates();
    zvmcButterWorthFiltInit(&butterworth, 0);
}

void butterworthSample(int state) {
    double filtered;
    zvmcButterWorthFiltProcessData(&butterworth, pose[state].v[0], &filtered, 0);
}

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

// The arm in meters, and its Jacobian: by rows, and by columns in single precision.
struct OurArm {
    double alpha[6], a[6], d[6];
    float paramDH[6];
    double q[kStates][6];  // radians
    float qSingle[kStates][6];
    double jacobian[6][6];
    double* rows[6];
    float jacobianSingle[36];
};
OurArm ours;

void prepareJacobian(int robotType) {
    prepareArm(robotType);
    const double* l = gravitySet(robotType)->paramSDH;
    const double right = 90.0 * kRadPerDeg;
    const double alpha[6] = {right, 0.0, 0.0, right, -right, 0.0};
    const double a[6] = {0.0, -std::fabs(l[1]), -std::fabs(l[2]), 0.0, 0.0, 0.0};
    const double d[6] = {l[0], 0.0, 0.0, l[3], l[4], l[5]};
    for (int i = 0; i < 6; i++) {
        ours.alpha[i] = alpha[i];
        ours.a[i] = 0.001 * a[i];
        ours.d[i] = 0.001 * d[i];
        ours.paramDH[i] = static_cast<float>(l[i]);
        ours.rows[i] = ours.jacobian[i];
        for (int state = 0; state < kStates; state++) {
            ours.q[state][i] = pose[state].v[i] * kRadPerDeg;
            ours.qSingle[state][i] = static_cast<float>(ours.q[state][i]);
        }
    }
}

// A chain that is not recognized as the common shape; its Jacobian is the same to rounding.
void prepareJacobianAnyChain(int robotType) {
    prepareJacobian(robotType);
    ours.d[1] = 1e-300;
}

void jacobianKdl(int state) {
    kdl.jacobianSolver->JntToJac(kdl.pose[static_cast<size_t>(state)], kdl.jacobian);
}

void jacobianOurs(int state) { Jacobian_com(ours.alpha, ours.a, ours.d, ours.q[state], ours.jacobian); }

void jacobianClosedForm(int state) {
    zvB_jacob(ours.q[state], dmat{0, 5, 0, 5, ours.jacobian[0], ours.rows});
}

void jacobianSingle(int state) { velocityJacob(ours.paramDH, ours.qSingle[state], ours.jacobianSingle); }

float mobility;

void mobilityLeft(int) { mobility = testOutTrans(ours.jacobianSingle); }

void prepareMobility(int robotType) {
    prepareJacobian(robotType);
    jacobianSingle(0);
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

void endVelocity(int state) {
    JNTS q = pose[state];
    double end[6] = {0.1, 0.2, -0.1, 0.3, 0.2, 0.1};
    EndvelToJointvel(q.v, end, torque.v);
}

// The host's inverse kinematics of poses whose joints are up to 5 degrees from the reference.
struct Targets {
    std::unique_ptr<KDL::ChainIkSolverPos_LMA> solver;
    TRSF flange[kStates];
    std::vector<KDL::Frame> frame;
    double reference[kStates][6];  // degrees
    std::vector<KDL::JntArray> start;
};
Targets targets;

void prepareTargets(int robotType) {
    prepareKdl(robotType);
    Eigen::Matrix<double, 6, 1> weight = Eigen::Matrix<double, 6, 1>::Ones();
    targets.solver = std::make_unique<KDL::ChainIkSolverPos_LMA>(kdl.chain, weight, 1e-8);
    targets.frame.clear();
    targets.start.clear();
    KDL::ChainFkSolverPos_recursive forward(kdl.chain);
    for (int state = 0; state < kStates; state++) {
        host::flangePose(robotType, pose[state].v, &targets.flange[state]);
        KDL::Frame frame;
        forward.JntToCart(kdl.pose[static_cast<size_t>(state)], frame);
        targets.frame.push_back(frame);
        KDL::JntArray start(6);
        for (unsigned i = 0; i < 6; i++) {
            const double away = 5.0 * std::sin(1.7 * state + i);
            targets.reference[state][i] = pose[state].v[i] + away;
            start(i) = targets.reference[state][i] * kRadPerDeg;
        }
        targets.start.push_back(start);
    }
}

void inverseKinematicsKdl(int state) {
    const auto k = static_cast<size_t>(state);
    targets.solver->CartToJnt(targets.start[k], targets.frame[k], kdl.torque);
}

void inverseKinematicsHost(int state) {
    host::inverseFlangePose(mcb.robotType, targets.flange[state], targets.reference[state], torque.v);
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
    zvmcForceDataToTorque(pose[state].v, torque.v);
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

// ---- identification of the tool load: a cycle of the scripted run, a sample of the sensor with its result

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

std::vector<Workload> join(std::vector<Workload> list, const std::vector<Workload>& more) {
    list.insert(list.end(), more.begin(), more.end());
    return list;
}

}  // namespace

const std::vector<Workload>& workloads() {
    static const std::vector<Workload> rest = {
        // name,                     reference,           type, prepare,     call
        {"empty", "", 103, prepareArm, empty},
        {"kdl/gravity/103", "", 103, prepareKdl, gravityKdl},
        {"zvmcGravityTorque/103", "kdl/gravity/103", 103, prepareArm, gravityOurs},
        {"kdl/gravity/1001", "", 1001, prepareKdl, gravityKdl},
        {"zvmcGravityTorque/1001", "kdl/gravity/1001", 1001, prepareArm, gravityOurs},
        {"zvmcInvGravity/103", "kdl/gravity/103", 103, prepareForm, gravityForm},
        {"eigen/inverse", "", 0, prepareMatrices, inverseEigen},
        {"inv", "eigen/inverse", 0, prepareMatrices, inverseOurs},
        {"Loadbuttord/six", "", 103, prepareArm, filterSection},
        {"zvmcButterWorthFiltProcessData", "", 0, prepareButterworth, butterworthSample},
        {"zvmcVibrateAbateControl/103", "", 103, prepareArm, abateVibration},
        {"zvmcCalculateNaturalFreq/103", "", 103, prepareArm, naturalFrequency},
        {"forceRegulators/axis", "", 0, prepareRegulators, regulateAxis},
        {"zvmcFTNormal_estimation", "", 0, prepareRegulators, estimateNormal},
        {"constForceControl/z", "", 103, preparePressing, press},
        {"constForceControl/all", "", 103, preparePressingAll, press},
        {"kdl/jacobian/103", "", 103, prepareKdl, jacobianKdl},
        {"Jacobian_com/103", "kdl/jacobian/103", 103, prepareJacobian, jacobianOurs},
        {"Jacobian_com/103/any", "kdl/jacobian/103", 103, prepareJacobianAnyChain, jacobianOurs},
        {"zvB_jacob/103", "kdl/jacobian/103", 103, prepareJacobian, jacobianClosedForm},
        {"velocityJacob/103", "kdl/jacobian/103", 103, prepareJacobian, jacobianSingle},
        {"testOutTrans/103", "kdl/jacobian/103", 103, prepareMobility, mobilityLeft},
        {"zvmcConstraintsAdmittance/103", "kdl/jacobian/103", 103, prepareArm, constraintForce},
        {"zvmcForceSensorVirtualWall/103", "", 103, prepareWall, wall},
        {"EndvelToJointvel/103", "", 103, prepareArm, endVelocity},
        {"kdl/inverseKinematics/103", "", 103, prepareTargets, inverseKinematicsKdl},
        {"host/inverseKinematics/103", "kdl/inverseKinematics/103", 103, prepareTargets,
         inverseKinematicsHost},
        {"forceSensorDataProcess/off", "", 103, prepareArm, sensorIntake},
        {"forceSensorDataProcess", "", 103, prepareSensor, sensorIntake},
        {"collisionControl", "", 103, prepareForceGuard, guardForce},
        {"zvmcForceDataToTorque/103", "", 103, prepareTorqueDrag, mapForce},
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
        {"gravityTorqueControl/103/full/torqueDrag", "", 103, prepareTorqueDrag, torqueDragCycle},
        {"zvmcForceSensorDragProcess/closed", "", 103, prepareSensor, forceDragCycle},
        {"zvmcForceSensorDragProcess", "", 103, prepareForceDrag, forceDragCycle},
        {"zvmcForceSensorDragProcess/adaptive", "", 103, prepareForceDragAdaptive, forceDragCycle},
        {"zvmcKalmanEnvironmenModelEvaluate", "", 103, prepareArm, estimateEnvironment},
        {"gravityTorqueControl/103/forceCollision", "", 103, prepareForceCollision, forceCollision},
        {"gravityTorqueControl/103/powerTrip", "", 103, prepareTorqueServo, wholeCycle},
        {"zvmcMomentumObserver/103", "", 103, prepareArm, observeMomentum},
        {"zvmcLoadIdentifyControl/103", "", 103, prepareScriptedLoad, scriptedLoad},
        {"zvmcLoadIdentifyDynControl/103", "", 103, prepareSensorLoad, sensorLoad},
        {"gravityTorqueControl/701/full/quiet", "", 701, prepareFullDynamics, wholeCycle},
        {"gravityTorqueControl/902/full/quiet", "", 902, prepareFullDynamics, wholeCycle},
    };
    static const std::vector<Workload> list = join(rest, dynamicsWorkloads());
    return list;
}

double gravityDisagreement(int robotType) {
    prepareKdl(robotType);
    double worst = 0.0;
    for (int state = 0; state < kStates; state++) {
        gravityOurs(state);
        gravityKdl(state);
        for (unsigned i = 0; i < 6; i++) {
            const double difference = std::fabs(torque.v[i] - kdl.torque(i));
            if (!(difference <= worst)) worst = difference;  // a NaN is kept too
        }
    }
    return worst;
}

double jacobianDisagreement(int robotType) {
    prepareKdl(robotType);
    prepareJacobian(robotType);
    double worst = 0.0;
    for (int state = 0; state < kStates; state++) {
        jacobianOurs(state);
        jacobianKdl(state);
        for (unsigned i = 0; i < 36; i++) {
            const double difference = std::fabs(ours.jacobian[i / 6][i % 6] - kdl.jacobian(i / 6, i % 6));
            if (!(difference <= worst)) worst = difference;  // a NaN is kept too
        }
    }
    return worst;
}

}  // namespace tarn::bench
