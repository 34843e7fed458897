// The tests' own tables of what the robot type decides, and slow, plain forms of the laws. Nothing here comes
// from the library.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "tarnmath/tarnmath.h"

namespace ref {

// Every type code that the tests walk: the known ones, one below, one beyond, and some far away.
std::vector<int> types();

struct Arm {
    std::string_view name;
    double sdh[6];      // mm: d1 a2 a3 d4 d5 d6
    double mass[6];     // kg
    double rotor[6];    // kg mm^2
    double center[18];  // mm
};

extern const std::vector<Arm> kArms;
const Arm& arm(std::string_view name);

// Sets by type; an empty name where there is none.
std::string_view gravityArm(int type);
std::string_view dynamicsArm(int type);

// Who gives the gravity torque on a floor, wall or ceiling mount: the host's service, by model number, the
// library's own model, or nobody.
constexpr int kOwnModel = -1;
constexpr int kNoModel = -2;
int gravityModel(int type);

// Rated torque of a joint out of the five motor sizes in mpb.
double ratedTorque(int type, int joint);

// Gear ratio of the current command.
double gearRatio(int type, int joint);

// The friction curve of a motor size (14 to 40) and fit (0 or 1), N m; velocity in degrees per ms.
// Only where the exponential of the library's form stays finite.
double frictionCurve(int size, int fit, double velocity, bool deadZone);

// What frictionCompensation gives a joint, with the fit and the gains in the blocks; no overspeed.
double friction(int type, int state, int joint, double velocity);

// A motor current as the target's processor stores it: toward zero, saturated to int, low 16 bits, NaN to 0.
int16_t toCurrent(double value);

// Torque that holds an arm still, by KDL: N m; q in degrees, gravity in the base frame.
struct Torque {
    double v[6];
    double largest;  // of the magnitudes
};
Torque holdingTorque(const Arm& arm, const EX_LOAD& load, const double gravity[3], const double q[6]);

}  // namespace ref
