#include "sim/scenarios/supervised_arm.h"

#include <algorithm>
#include <cmath>

#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr double kLoop = 15.0;  // Hz

}  // namespace

SimulationOptions supervisedArm(const RunOptions& options) {
    SimulationOptions setup = simulationOptions(options);
    setup.startPose = movingPose(options);
    setup.positionLoop = kLoop;
    setup.supervised = true;
    return setup;
}

void setSpeed(double share) {
    for (int i = 0; i < NUM_JNTS; i++) mpb.limitsJnt.maxVel.v[i] = share * mpb.defaultJointVel.v[i];
    mpb.limitsGoto.maxVel = share * mpb.defaultTransVel;
}

void setLevel(double level) {
    float levels[6];
    std::fill_n(levels, 6, static_cast<float>(level));
    tmcSetCollisionLevel(0, levels, 0, 0);
}

Joints bandShare(const Simulation&) {
    float ratio[6];
    newCollisionRatio(ratio);
    const float base[6] = {mpb.j1CollisionValue, mpb.j2CollisionValue, mpb.j3CollisionValue,
                           mpb.j4CollisionValue, mpb.j5CollisionValue, mpb.j6CollisionValue};
    Joints share;
    for (std::size_t i = 0; i < 6; i++) {
        const double level = (static_cast<double>(mpb.collisionLevel[i]) - 1.0) / 3.0 + 1.0;
        share[i] = static_cast<double>(mpb.jActualTheory[i] - mpb.jTorqueTheory[i]) /
                   (static_cast<double>(ratio[i] * base[i]) * level);
    }
    return share;
}

const Group kDeviation = {"precent_share", "Measured less expected torque", "of the band", bandShare};

double jointSpeed(const Simulation& simulation) {
    double speed = 0.0;
    for (const double v : simulation.velocity()) speed = std::max(speed, std::fabs(v) * 1000.0);
    return speed;
}

}  // namespace tarn::sim
