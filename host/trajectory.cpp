#include "trajectory.h"

#include <algorithm>
#include <cmath>

namespace tarn::host {
namespace {

// From rest, time t into the acceleration: position, velocity and acceleration.
MotionState accelerating(const Profile& p, double t) {
    const double j = p.jerk, rise = p.jerkTime, hold = p.accelerationTime - p.jerkTime;
    if (t < rise) return {j * t * t * t / 6.0, j * t * t / 2.0, j * t};
    const double a = j * rise;
    const double v1 = a * rise / 2.0, s1 = a * rise * rise / 6.0;
    if (t < hold) {
        const double u = t - rise;
        return {s1 + v1 * u + a * u * u / 2.0, v1 + a * u, a};
    }
    // mirrored about the end of the acceleration
    const double u = p.accelerationTime - t;
    const double whole = p.velocity * p.accelerationTime / 2.0;
    return {whole - p.velocity * u + j * u * u * u / 6.0, p.velocity - j * u * u / 2.0, j * u};
}

}  // namespace

Profile planProfile(double length, const MotionLimits& limits) {
    const auto [v, a, j] = limits;
    Profile p = {length, j, 0.0, 0.0, 0.0, 0.0};
    if (!(length > 0.0)) return p;

    // reaching full velocity
    const bool fullAcceleration = v * j >= a * a;
    p.jerkTime = fullAcceleration ? a / j : std::sqrt(v / j);
    p.accelerationTime = p.jerkTime + (fullAcceleration ? v / a : p.jerkTime);
    p.cruiseTime = length / v - p.accelerationTime;
    if (p.cruiseTime < 0.0) {
        // too short a way for it: two accelerations back to back
        p.cruiseTime = 0.0;
        if (length >= 2.0 * a * a * a / (j * j)) {
            p.jerkTime = a / j;
            p.accelerationTime = p.jerkTime / 2.0 + std::sqrt(p.jerkTime * p.jerkTime / 4.0 + length / a);
        } else {
            p.jerkTime = std::cbrt(length / (2.0 * j));
            p.accelerationTime = 2.0 * p.jerkTime;
        }
    }
    p.velocity = j * p.jerkTime * (p.accelerationTime - p.jerkTime);
    return p;
}

double duration(const Profile& p) { return 2.0 * p.accelerationTime + p.cruiseTime; }

MotionState at(const Profile& p, double time) {
    if (time <= 0.0) return {};
    if (time >= duration(p)) return {p.length, 0.0, 0.0};
    if (time < p.accelerationTime) return accelerating(p, time);
    const double left = duration(p) - time;
    if (left > p.accelerationTime) {
        const double way = p.velocity * (p.accelerationTime / 2.0 + time - p.accelerationTime);
        return {way, p.velocity, 0.0};
    }
    const MotionState mirror = accelerating(p, left);
    return {p.length - mirror.position, mirror.velocity, -mirror.acceleration};
}

// The slope that can still be brought to zero by the target with the allowed bend; the ramp's slope follows
// it.
void advance(Ramp& ramp, double target, const RampLimits& limits, double step) {
    const double gap = target - ramp.rate;
    const double change = limits.bend * step;
    // one step ahead, since the slope only changes from step to step
    const double ahead = std::max(0.0, std::fabs(gap) - std::fabs(ramp.slope) * step);
    const double reachable = std::min(limits.slope, std::sqrt(2.0 * limits.bend * ahead));
    const double wanted = gap < 0.0 ? -reachable : reachable;
    ramp.slope += std::clamp(wanted - ramp.slope, -change, change);
    if (std::fabs(gap) <= std::max(change * step, std::fabs(ramp.slope) * step) &&
        std::fabs(ramp.slope) <= 2.0 * change) {
        ramp = {target, 0.0};
        return;
    }
    ramp.rate += ramp.slope * step;
}

// With the rate r along the profile S, the second derivative is S'' r^2 + S' r', the third
// S''' r^3 + 3 S'' r r' + S' r''. Half the acceleration and a third of the jerk go to each term.
MotionLimits profileShare(const MotionLimits& l) { return {l.velocity, l.acceleration / 2.0, l.jerk / 3.0}; }

RampLimits rampShare(const MotionLimits& l, double velocity) {
    return {std::min(l.acceleration / (2.0 * velocity), 2.0 * l.jerk / (9.0 * l.acceleration)),
            l.jerk / (3.0 * velocity)};
}

}  // namespace tarn::host
