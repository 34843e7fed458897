#include "workloads.h"

#include <algorithm>
#include <cmath>
#include <kdl/chaindynparam.hpp>
#include <memory>
#include <random>

#include "model/parameter_sets.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

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

// ---- the same arm in KDL, with the load as part of the last link

struct KdlArm {
    KDL::Chain chain;
    std::unique_ptr<KDL::ChainDynParam> dynamics;
    std::vector<KDL::JntArray> pose;
    KDL::JntArray torque;
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
    for (const JNTS& degrees : pose) {
        KDL::JntArray q(6);
        for (unsigned i = 0; i < 6; i++) q(i) = degrees.v[i] * kRadPerDeg;
        kdl.pose.push_back(q);
    }
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

void frictionCurves(int state) { frictionCompensation(&velocity[state], friction); }

void wholeCycle(int state) {
    mpb.j6vel = velocity[state];
    gravityTorqueControl(&pose[state]);
}

}  // namespace

const std::vector<Workload>& workloads() {
    static const std::vector<Workload> list = {
        // name,                     reference,           type, prepare,     call
        {"empty", "", 103, prepareArm, empty},
        {"kdl/gravity/103", "", 103, prepareKdl, gravityKdl},
        {"zvmcGravityTorque/103", "kdl/gravity/103", 103, prepareArm, gravityOurs},
        {"kdl/gravity/1001", "", 1001, prepareKdl, gravityKdl},
        {"zvmcGravityTorque/1001", "kdl/gravity/1001", 1001, prepareArm, gravityOurs},
        {"zvmcInvGravity/103", "kdl/gravity/103", 103, prepareForm, gravityForm},
        {"frictionCompensation/103", "", 103, prepareArm, frictionCurves},
        {"frictionCompensation/103/drag", "", 103, prepareDrag, frictionCurves},
        {"gravityTorqueControl/103/quiet", "", 103, prepareArm, wholeCycle},
        {"gravityTorqueControl/103/all", "", 103, prepareDrag, wholeCycle},
        {"gravityTorqueControl/1001/quiet", "", 1001, prepareArm, wholeCycle},
        {"gravityTorqueControl/1001/all", "", 1001, prepareDrag, wholeCycle},
    };
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

}  // namespace tarn::bench
