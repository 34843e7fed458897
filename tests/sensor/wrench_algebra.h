// Wrenches and poses in six dimensions, against which the library's vector steps are held.
#pragma once

#include <Eigen/Geometry>
#include <numbers>
#include <random>

#include "tarnmath/tarnmath.h"

namespace algebra {

using Vector3 = Eigen::Vector3d;
using Matrix3 = Eigen::Matrix3d;
using Wrench = Eigen::Matrix<double, 6, 1>;  // force, moment

inline Wrench wrench(const FORCESENSOR_DATA& w) { return Wrench(&w.fx); }
inline FORCESENSOR_DATA record(const Wrench& w) { return {w[0], w[1], w[2], w[3], w[4], w[5]}; }

inline Matrix3 rpy(double a, double b, double c) {  // degrees
    const Vector3 r = Vector3(a, b, c) * std::numbers::pi / 180;
    return (Eigen::AngleAxisd(r.z(), Vector3::UnitZ()) * Eigen::AngleAxisd(r.y(), Vector3::UnitY()) *
            Eigen::AngleAxisd(r.x(), Vector3::UnitX()))
        .matrix();
}

inline TRSF pose(const Matrix3& r, const Vector3& p) {
    return {{{r(0, 0), r(1, 0), r(2, 0)}, {r(0, 1), r(1, 1), r(2, 1)}, {r(0, 2), r(1, 2), r(2, 2)}},
            {p.x(), p.y(), p.z()}};
}

// Carries a wrench about a frame's origin to the parent, in which the frame stands at p (m) turned by r.
inline Eigen::Matrix<double, 6, 6> adjoint(const Matrix3& r, const Vector3& p = Vector3::Zero()) {
    Matrix3 cross;
    cross << 0, -p.z(), p.y(), p.z(), 0, -p.x(), -p.y(), p.x(), 0;
    return (Eigen::Matrix<double, 6, 6>() << r, Matrix3::Zero(), cross * r, r).finished();
}

// Wrench in a sensor that stands turned by r: a pull (parent frame, N) on its load, whose center (m) it
// holds.
inline Wrench hanging(const Matrix3& r, const Vector3& center, const Vector3& pull) {
    return adjoint(Matrix3::Identity(), center) * adjoint(r.transpose()).leftCols<3>() * pull;
}

struct Random {
    std::mt19937_64 generator{7};
    double operator()(double size) { return std::uniform_real_distribution<double>(-size, size)(generator); }
    Vector3 vector(double size) {
        return Vector3::NullaryExpr([&] { return (*this)(size); });
    }
    Wrench wrench(double size) {
        return Wrench::NullaryExpr([&] { return (*this)(size); });
    }
    Matrix3 rotation() {
        const Vector3 angles = vector(180);
        return rpy(angles.x(), angles.y(), angles.z());
    }
};

}  // namespace algebra
