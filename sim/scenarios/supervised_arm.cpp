#include "sim/scenarios/supervised_arm.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "sim/vectors.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr double kLoop = 15.0;                                   // Hz
constexpr Joints kWay = {40.0, 25.0, -30.0, 35.0, 20.0, -45.0};  // deg

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

void setReaction(int reaction) {
    int margin[6];
    std::fill_n(margin, 6, kSafetyMargin);
    tmcSetCollisionPause(static_cast<std::uint8_t>(reaction), kSafeTime, kSafeDistance, kSafeSpeed, margin);
}

Way wayOf(const Simulation& simulation, double share) {
    Way way;
    way.start = simulation.commanded();
    const auto at = [&](double part) {
        Joints pose;
        for (std::size_t i = 0; i < 6; i++) pose[i] = way.start[i] + part * kWay[i];
        return pose;
    };
    const auto place = [&](double part) { return vector(simulation.plant().frameOrigins(at(part))[6]); };
    way.goal = at(1.0);
    way.place = array(place(share));
    way.ahead = array((place(share + 1e-3) - place(share)).normalized());
    return way;
}

bool isPast(const Simulation& simulation, const Way& way, double share) {
    return simulation.commanded()[0] - way.start[0] >= share * (way.goal[0] - way.start[0]);
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
