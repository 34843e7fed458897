// A controller with static data only, without the reference host: its own blocks, all services of its own,
// and nothing of them from the heap. You learn what the torque cycle really needs: the blocks, a log and a
// settings store; the other services only have to be there (services.h).
//
// The arm (family B on the floor) is stretched out to the side and turns about its vertical axis: it gains
// speed for 0.3 s, keeps it and stops, once bare and once with 3 kg at the flange. Full dynamics puts inertia
// into the currents. What the load adds is known without any model: its weight times the reach of 820 mm at
// the shoulder, its mass times the square of the distance to the vertical axis at joint 1.
#include <cmath>

#include "../shared/claim.h"
#include "services.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

MOTION_CONTROL_BLOCK mcb;
MOTION_PARAMETER_BLOCK mpb;
HOW how;

namespace {

constexpr double kRated = 1.27;                        // N m, motors of joints 1 to 3
constexpr double kGear = 100.0;                        // of all joints of this type
constexpr double kLoad = 3.0;                          // kg
constexpr double kReach = 0.425 + 0.395;               // m, shoulder to flange, along x
constexpr double kSide = 0.102 + 0.1;                  // m, flange beside the shoulder, along y
constexpr double kGravity = 9.8;                       // m/s^2, as the library has it
constexpr double kCount = 0.001 * kRated * kGear;      // N m at the joint for a count of current
constexpr double kAcceleration = 200.0;                // degrees/s^2
constexpr double kRadians = 3.14159265358979 / 180.0;  // per degree

void configure() {
    mcb.robotType = ROB_ZVB_V1_002;
    mpb.sysJntsNo = NUM_JNTS;
    mpb.moterRatedTorque_80 = static_cast<float>(kRated);
    mpb.moterRatedTorque_60 = 0.35F;
    for (double& speed : mpb.defaultJointVel.v) speed = 180.0;  // degrees/s
    for (float& share : mpb.friction_Free) share = 1.0F;
    tmcgravityTeachVersionOnOff(2);  // full dynamics; commands store in mcb and persist by ConfigWriteEntry
    tmcFrictionCompensationOnOff(1);
}

// What this arm of no drives says it does. A real controller reads encoders and runs its planner.
void refresh(int cycle) {
    const int segment = cycle / 300;  // 0 gains speed, 1 keeps it, 2 stops
    const double acceleration = segment == 0 ? kAcceleration : segment == 2 ? -kAcceleration : 0.0;
    mpb.state = TGEN_SERVICE;
    mpb.jCaccRaw.v[0] = acceleration / 1e6;  // degrees per cycle^2
    mpb.jCvel.v[0] += mpb.jCaccRaw.v[0];     // degrees per cycle
    mpb.jC.v[0] += mpb.jCvel.v[0];
    mpb.j6 = mpb.jC;
    mpb.j6vel = mpb.jCvel;
}

struct Torques {
    double shoulder;          // N m, joint 2 at constant speed
    double gain, keep, stop;  // N m, joint 1; gain and stop where the speeds are the same
};

Torques turn(double mass) {
    mpb.loadWeight = mass;
    mpb.jC = mpb.jCvel = {};
    Torques seen = {};
    for (int cycle = 0; cycle < 900; cycle++) {
        refresh(cycle);
        gravityTorqueControl(&mpb.j6);
        if (cycle == 150) seen.gain = how.currentSet[0] * kCount;
        if (cycle == 450) seen.keep = how.currentSet[0] * kCount, seen.shoulder = how.currentSet[1] * kCount;
        if (cycle == 750) seen.stop = how.currentSet[0] * kCount;
    }
    std::printf("%4.0f kg %9.2f N m %17.2f %8.2f %8.2f N m\n", mass, seen.shoulder, seen.gain, seen.keep,
                seen.stop);
    return seen;
}

// kg m^2 about joint 1: friction is the same in both, as the speed is.
double inertia(const Torques& t) { return (t.gain - t.stop) / 2.0 / (kAcceleration * kRadians); }

}  // namespace

int main() {
    configure();
    std::printf("   load       shoulder   joint 1: speeds up    keeps    stops\n");
    const Torques bare = turn(0.0), loaded = turn(kLoad);

    const double weight = std::fabs(loaded.shoulder - bare.shoulder);
    const double weightExpected = kLoad * kGravity * kReach;
    const double added = inertia(loaded) - inertia(bare);
    const double addedExpected = kLoad * (kReach * kReach + kSide * kSide);
    std::printf("the load adds %.2f N m at the shoulder (m g l: %.2f)\n", weight, weightExpected);
    std::printf("          and %.2f kg m2 about joint 1 (m r r: %.2f)\n", added, addedExpected);
    claim(std::fabs(weight - weightExpected) < 2 * kCount,
          "the shoulder bears the weight of the load at its reach");
    claim(std::fabs(added - addedExpected) < 2 * kCount / (kAcceleration * kRadians),
          "joint 1 feels the inertia of the load");
    claim(bare.keep > 0 && bare.gain > bare.keep && bare.keep > bare.stop,
          "at constant speed friction is left");

    std::printf("%d settings stored, %d log lines\n", settingsCount, logCount);
    claim(settingsCount > 1 && std::strcmp(settings[settingsCount - 1].key, "FRIC_COMPENSATION") == 0 &&
              settings[settingsCount - 1].value == 1.0F,
          "the last setting is the one of the last command");
    return result();
}
