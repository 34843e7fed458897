// Jacobian of the standard arm in closed form: an upright first axis, three parallel ones (joints 2 to 4),
// two of the wrist. Everything that computes such a Jacobian goes through here.
#pragma once

#include <cmath>

namespace tarn {

// Denavit-Hartenberg lengths with their sign, m. The shoulder's height d1 is no part: no column depends on
// it.
template <typename Real>
struct ArmLengths {
    Real a2, a3, d4, d5, d6;
};

// Rows vx, vy, vz, wx, wy, wz of the flange in the base frame, a column a joint; m and radians.
// q: joint angles, radians; the last one turns about its own axis and is not read.
// element(row, column): where an element goes.
//
// Joint 1 turns the arm's plane: u points outward in it, k up, and n = u x k is the axis of joints 2, 3
// and 4. Along u, k and n the angles of the three parallel joints only occur as sums.
template <typename Real, typename Element>
void armJacobian(const ArmLengths<Real>& arm, const Real* q, const Element& element) {
    const Real zero = 0, one = 1;
    const Real q23 = q[1] + q[2], q234 = q23 + q[3];
    const Real c1 = std::cos(q[0]), s1 = std::sin(q[0]);
    const Real c2 = std::cos(q[1]), s2 = std::sin(q[1]);
    const Real c23 = std::cos(q23), s23 = std::sin(q23);
    const Real c234 = std::cos(q234), s234 = std::sin(q234);
    const Real c5 = std::cos(q[4]), s5 = std::sin(q[4]);

    const auto set = [&](int row, int column, Real x, Real y, Real z) {
        element(row, column) = x;
        element(row + 1, column) = y;
        element(row + 2, column) = z;
    };

    // flange from joints 4, 3 and 2, along u and k; along n it is one distance for all three
    const Real u4 = arm.d5 * s234 - arm.d6 * s5 * c234, k4 = -arm.d5 * c234 - arm.d6 * s5 * s234;
    const Real u3 = u4 + arm.a3 * c23, k3 = k4 + arm.a3 * s23;
    const Real u2 = u3 + arm.a2 * c2, k2 = k3 + arm.a2 * s2;
    const Real n = arm.d4 + arm.d6 * c5;

    set(0, 0, n * c1 - u2 * s1, n * s1 + u2 * c1, zero);
    set(0, 1, -k2 * c1, -k2 * s1, u2);
    set(0, 2, -k3 * c1, -k3 * s1, u3);
    set(0, 3, -k4 * c1, -k4 * s1, u4);
    set(0, 4, -arm.d6 * (c5 * c234 * c1 + s5 * s1), -arm.d6 * (c5 * c234 * s1 - s5 * c1),
        -arm.d6 * (c5 * s234));
    set(0, 5, zero, zero, zero);  // the flange lies on the last axis

    set(3, 0, zero, zero, one);
    set(3, 1, s1, -c1, zero);
    set(3, 2, s1, -c1, zero);
    set(3, 3, s1, -c1, zero);
    set(3, 4, s234 * c1, s234 * s1, -c234);
    set(3, 5, c5 * s1 - s5 * c234 * c1, -c5 * c1 - s5 * c234 * s1, -s5 * s234);
}

}  // namespace tarn
