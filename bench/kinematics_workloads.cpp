// Gravity, Jacobians and kinematics, with the same results from KDL, and the numeric toolkit.
#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <kdl/chaindynparam.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainiksolverpos_lma.hpp>
#include <kdl/chainjnttojacsolver.hpp>
#include <memory>
#include <random>

#include "arm_states.h"
#include "model/parameter_sets.h"
#include "tarnhost/kinematics.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

namespace tarn::bench {
namespace {

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

}  // namespace

std::vector<Workload> kinematicsWorkloads() {
    return {
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
        {"kdl/jacobian/103", "", 103, prepareKdl, jacobianKdl},
        {"Jacobian_com/103", "kdl/jacobian/103", 103, prepareJacobian, jacobianOurs},
        {"Jacobian_com/103/any", "kdl/jacobian/103", 103, prepareJacobianAnyChain, jacobianOurs},
        {"zvB_jacob/103", "kdl/jacobian/103", 103, prepareJacobian, jacobianClosedForm},
        {"velocityJacob/103", "kdl/jacobian/103", 103, prepareJacobian, jacobianSingle},
        {"testOutTrans/103", "kdl/jacobian/103", 103, prepareMobility, mobilityLeft},
        {"EndvelToJointvel/103", "", 103, prepareArm, endVelocity},
        {"kdl/inverseKinematics/103", "", 103, prepareTargets, inverseKinematicsKdl},
        {"host/inverseKinematics/103", "kdl/inverseKinematics/103", 103, prepareTargets,
         inverseKinematicsHost},
    };
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
