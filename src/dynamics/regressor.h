// The arm's dynamics as a linear function of its parameters: joint torque = H(q, dq, ddq) * x.
//
// A joint has nine parameters: seven of its link, viscous and Coulomb friction. Of a link's ten standard
// parameters in its own frame (tensor about the origin, first moments, mass) seven are kept; what a turn
// about the joint's axis makes redundant is part of the links further inward.
//
//     joint's axis in the link's frame     kept, in the order of the columns
//     z, the link has no twist             Ixx, Ixy, Ixz, Iyz, Izz, mx, my
//     y, the link has a quarter turn       Ixx, Ixy, Ixz, Iyy, Iyz, mx, mz
//
// One outward pass tells how each link moves; a link's wrench is linear in its parameters. chainTorque sums
// the wrenches of all links inward, regressor has one for each parameter. Gravity is an acceleration of the
// base.
#pragma once

#include <cmath>

#include "dynamics/rigid_body.h"
#include "model/regressor_chains.h"

namespace tarn {

inline constexpr double kRegressorGravity = 9.81;  // m/s^2, unlike the 9.8 of the other models

// The parameters that guiding or a command chose last. gtau, which the forward regressors take, follows it by
// copy.
extern double selftauHb_x[54];

inline constexpr std::size_t kJointParameters = 9;
inline constexpr std::size_t kLinkParameters = 7;  // of these

// In the link's frame: angular velocity and acceleration, acceleration of the origin.
struct LinkMotion {
    Vec<double> w, dw, a;
};

template <std::size_t axes>
struct ChainMotion {
    double c[axes], s[axes];
    LinkMotion link[axes];
};

struct LinkWrench {
    Vec<double> force, moment;  // about the origin of the link's frame
};

// From the joint's axis to the origin of its link's frame, times a vector; both as the link turns, without
// its twist.
inline Vec<double> leverCross(const ChainLink& link, const Vec<double>& v) {
    return {-link.d * v.y, link.d * v.x - link.a * v.z, link.a * v.y};
}

inline double signOf(double x) { return x > 0.0 ? 1.0 : x < 0.0 ? -1.0 : 0.0; }

// q, dq, ddq: radians, by s and s^2.
template <std::size_t axes>
ChainMotion<axes> chainMotion(const Chain<axes>& chain, const double* q, const double* dq,
                              const double* ddq) {
    ChainMotion<axes> motion;
    Vec<double> w{}, dw{}, a{0.0, 0.0, kRegressorGravity};
    for (std::size_t k = 0; k < axes; k++) {
        const ChainLink& link = chain[k];
        const double c = std::cos(q[k]), s = std::sin(q[k]);
        motion.c[k] = c;
        motion.s[k] = s;
        w = turnedBack(c, s, w);
        dw = turnedBack(c, s, dw) + Vec<double>{w.y * dq[k], -w.x * dq[k], ddq[k]};
        w.z += dq[k];
        a = turnedBack(c, s, a) - leverCross(link, dw) - cross(w, leverCross(link, w));
        w = twistedBack(link.sinAlpha, w);
        dw = twistedBack(link.sinAlpha, dw);
        a = twistedBack(link.sinAlpha, a);
        motion.link[k] = {w, dw, a};
    }
    return motion;
}

// What moves a link of the seven parameters x. The mass is among those that are not kept.
inline LinkWrench linkWrench(const ChainLink& link, const LinkMotion& motion, const double* x) {
    const bool straight = link.sinAlpha == 0;
    const Symmetric<double> tensor = straight ? Symmetric<double>{x[0], x[1], x[2], 0.0, x[3], x[4]}
                                              : Symmetric<double>{x[0], x[1], x[2], x[3], x[4], 0.0};
    const Vec<double> first = straight ? Vec<double>{x[5], x[6], 0.0} : Vec<double>{x[5], 0.0, x[6]};
    const auto& [w, dw, a] = motion;
    return {cross(dw, first) + cross(w, cross(w, first)),
            cross(first, a) + tensor * dw + cross(w, tensor * w)};
}

// Torques of the outer joints; x has nine parameters for each of them.
template <std::size_t outer, std::size_t axes>
void chainTorque(const Chain<axes>& chain, const double* x, const double* q, const double* dq,
                 const double* ddq, double (&torque)[outer]) {
    const ChainMotion<axes> motion = chainMotion(chain, q, dq, ddq);
    Vec<double> f{}, n{};
    for (std::size_t i = outer; i-- > 0;) {
        const std::size_t k = axes - outer + i;
        const ChainLink& link = chain[k];
        const double* own = x + kJointParameters * i;
        const auto [force, moment] = linkWrench(link, motion.link[k], own);
        f = twisted(link.sinAlpha, f + force);
        n = twisted(link.sinAlpha, n + moment) + leverCross(link, f);
        torque[i] = n.z + own[7] * dq[k] + own[8] * signOf(dq[k]);
        f = turned(motion.c[k], motion.s[k], f);
        n = turned(motion.c[k], motion.s[k], n);
    }
}

// The matrix of the same.
template <std::size_t outer, std::size_t axes>
void regressor(const Chain<axes>& chain, const double* q, const double* dq, const double* ddq,
               double (&H)[outer][kJointParameters * outer]) {
    const ChainMotion<axes> motion = chainMotion(chain, q, dq, ddq);
    // by joint, what a unit of its speed does to link k: turn, and velocity of the origin
    struct {
        Vec<double> turn, velocity;
    } axis[outer];
    for (std::size_t j = 0; j < outer; j++) {
        const std::size_t k = axes - outer + j;
        const ChainLink& link = chain[k];
        const double c = motion.c[k], s = motion.s[k];
        axis[j] = {{0.0, 0.0, 1.0}, {}};
        for (std::size_t i = 0; i <= j; i++) {
            auto& [turn, velocity] = axis[i];
            if (i < j) {
                turn = turnedBack(c, s, turn);
                velocity = turnedBack(c, s, velocity);
            }
            velocity = twistedBack(link.sinAlpha, velocity - leverCross(link, turn));
            turn = twistedBack(link.sinAlpha, turn);
        }
        const auto dot = [](const Vec<double>& a, const Vec<double>& b) {
            return a.x * b.x + a.y * b.y + a.z * b.z;
        };
        const std::size_t column = kJointParameters * j;
        for (std::size_t p = 0; p < kLinkParameters; p++) {
            double unit[kLinkParameters] = {};
            unit[p] = 1.0;
            const auto [force, moment] = linkWrench(link, motion.link[k], unit);
            for (std::size_t i = 0; i < outer; i++)
                H[i][column + p] = i <= j ? dot(axis[i].turn, moment) + dot(axis[i].velocity, force) : 0.0;
        }
        for (std::size_t i = 0; i < outer; i++) {
            H[i][column + 7] = i == j ? dq[k] : 0.0;
            H[i][column + 8] = i == j ? signOf(dq[k]) : 0.0;
        }
    }
}

}  // namespace tarn
