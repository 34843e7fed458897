#include "sim/scenarios/sensing_arm.h"

#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kDefaultLoad = 1.0;             // kg
constexpr Vec3 kSensorPlace = {0.0, 0.0, 40.0};  // mm
constexpr double kForceNoise = 0.3;              // N
constexpr double kMomentNoise = 0.02;            // N m

Joints compensated(const Simulation&) {
    const FORCESENSOR_DATA& f = mpb.forceRCS;
    return {f.fx, f.fy, f.fz};
}

}  // namespace

const Group kCompensatedForce = {
    "force_N", "Force without the load, flange frame", "N", compensated, {"x", "y", "z"}};

SimulationOptions sensingArm(const RunOptions& options) {
    SimulationOptions setup = simulationOptions(options);
    if (setup.load == 0.0) setup.load = kDefaultLoad;
    setup.sensorPlace = kSensorPlace;
    setup.forceSensor.noise = {{kForceNoise, kForceNoise, kForceNoise},
                               {kMomentNoise, kMomentNoise, kMomentNoise}};
    setup.forceSensor.seed = options.seed + 1;
    return setup;
}

void putSensorToUse(const Simulation& simulation) {
    const SimulationOptions& setup = simulation.options();
    mpb.forceSensorLoadWeight = setup.load;
    mpb.forceSensorLoadCoord = {setup.loadCenter[0] - setup.sensorPlace[0],
                                setup.loadCenter[1] - setup.sensorPlace[1],
                                setup.loadCenter[2] - setup.sensorPlace[2]};
    zvmcSetAxleDeviceType(1);
}

void takeSensorOut() { zvmcSetAxleDeviceType(0); }

}  // namespace tarn::sim
