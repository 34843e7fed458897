#include "arm_states.h"

#include <cmath>
#include <random>

#include "tarnhost/defaults.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::bench {

JNTS pose[kStates];
JNTS velocity[kStates];
EX_LOAD load = {{10.0, -20.0, 60.0}, 2.0};

namespace {

constexpr int kFreeAngleMount = 3;  // here every type takes the library's own model

void setFullDynamics() {
    mcb.newTeachEnable = 2;
    for (int i = 0; i < NUM_JNTS; i++) {
        mpb.jCvel.v[i] = velocity[0].v[i];
        mpb.jCacc.v[i] = mpb.jCaccRaw.v[i] = 1e-4 * std::cos(i);
    }
}

}  // namespace

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

}  // namespace tarn::bench
