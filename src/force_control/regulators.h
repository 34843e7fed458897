// What the regulators of force control share with the loops of this folder that are built from them.
#pragma once

#include "tarnmath/tarnmath.h"

namespace tarn {

constexpr double kPi = 3.141592653589793;

// Largest step of a regulator, mm or degrees a cycle: 50 mm/s.
constexpr double kMaxStep = 0.05;

// The integrator that turns the pose while pressing. Constant force control clears it and advances the pose.
struct ForceIntegrator {
    double ft_cur_pos[6];  // mm, degrees
    double ft_cur_vel[6];  // m/s, rad/s
};
extern ForceIntegrator forceIntegrator;

// Acceleration of axis i by the law  m dv/dt = F - b v - k x: m/s^2 for axes 0 to 2, rad/s^2 for 3 to 5.
// x in mm or degrees.
inline double admittanceAcceleration(int i, const double* m, const double* b, const double* k,
                                     const double* force, const double* x, const double* v) {
    const double spring = i <= 2 ? k[i] * x[i] * 0.001 : k[i] * x[i] * kPi / 180.0;
    return (force[i] - b[i] * v[i] - spring) / m[i];
}

// Its velocity one step further on, without a limit: m/s, rad/s. delta_t in seconds.
inline double admittanceVelocity(int i, const double* m, const double* b, const double* k,
                                 const double* force, const double* x, const double* v, double delta_t) {
    return v[i] + admittanceAcceleration(i, m, b, k, force, x, v) * delta_t;
}

// One sample through a section that filters a single signal: column 0 of its history.
double filterSingleSignal(filter& history, int (*section)(int, int, double*), double sample);

}  // namespace tarn
