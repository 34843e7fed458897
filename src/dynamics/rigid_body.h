// Rigid-body dynamics of an arm of six joints: joint torque, gravity torque, mass and Coriolis matrix.
//
// Everything is told in hinge frames. Hinge frame k stands at the origin and along the z axis of frame k-1,
// joint k's axis, and turns with link k. Frame k follows from it by the link's one length, along x or z, and
// its twist about x, none or a quarter turn; frame k-1 by the joint's turn about z. So a step along the chain
// costs one turn in a plane, one lever with two arms and a renaming of axes.
//
// A body is its mass, first moment and second moment, the sums of m, m r and m r r^T over its particles about
// the origin of its frame. They add up, and a shift changes only few of their elements. The inertia tensor is
// the trace of the second moment times one, less the second moment.
#pragma once

#include <cmath>

#include "model/arm_shape.h"

namespace tarn {

template <typename Real>
struct Vec {
    Real x, y, z;
};

template <typename Real>
struct Symmetric {
    Real xx, xy, xz, yy, yz, zz;
};

template <typename Real>
struct Body {
    Real mass;               // kg
    Vec<Real> first;         // kg m
    Symmetric<Real> second;  // kg m^2
};

// An arm with its load, links in their link frames.
template <typename Real>
struct ArmModel {
    Body<Real> link[6];
    Real length[6];     // m, signed
    const Real* rotor;  // kg mm^2, by joint
    Vec<Real> gravity;  // m/s^2, in the base frame
};

// Parameters as the blocks get them.
template <typename Real>
struct ArmParameters {
    const Real* lengths;   // mm, six
    const Real* masses;    // kg, six
    const Real* centers;   // mm, three a link
    const Real* inertias;  // kg mm^2 about the center: xx, xy, xz, yy, yz, zz of each link
    const Real* rotors;    // kg mm^2, six
    const Real* load;      // kg; mm, three; kg mm^2 about the load's center, six
    const Real* gravity;   // m/s^2, base frame
};

// In single precision a factor, in double precision a product and a quotient.
inline float radians(float degrees) { return degrees * 0.01745329238474369F; }
inline double radians(double degrees) { return degrees * 3.141592653589793 / 180.0; }

template <typename Real>
inline constexpr Real kMeter = Real(0.001);  // mm
template <typename Real>
inline constexpr Real kKgM2 = Real(1e-06);  // kg mm^2

template <typename Real>
Vec<Real> vector(const Real* v) {
    return {v[0], v[1], v[2]};
}

template <typename Real>
Vec<Real> scaled(Real s, const Vec<Real>& v) {
    return {s * v.x, s * v.y, s * v.z};
}

template <typename Real>
Vec<Real> operator+(const Vec<Real>& a, const Vec<Real>& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

template <typename Real>
Vec<Real> operator-(const Vec<Real>& a, const Vec<Real>& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

template <typename Real>
Vec<Real> cross(const Vec<Real>& a, const Vec<Real>& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

template <typename Real>
Symmetric<Real> operator+(const Symmetric<Real>& a, const Symmetric<Real>& b) {
    return {a.xx + b.xx, a.xy + b.xy, a.xz + b.xz, a.yy + b.yy, a.yz + b.yz, a.zz + b.zz};
}

template <typename Real>
inline Vec<Real> operator*(const Symmetric<Real>& a, const Vec<Real>& v) {
    return {a.xx * v.x + a.xy * v.y + a.xz * v.z, a.xy * v.x + a.yy * v.y + a.yz * v.z,
            a.xz * v.x + a.yz * v.y + a.zz * v.z};
}

// Second moment of a point mass.
template <typename Real>
Symmetric<Real> secondMoment(Real mass, const Vec<Real>& r) {
    const Vec<Real> m = scaled(mass, r);
    return {m.x * r.x, m.x * r.y, m.x * r.z, m.y * r.y, m.y * r.z, m.z * r.z};
}

// Second moment of a tensor of inertia, kg mm^2 in, kg m^2 out.
template <typename Real>
Symmetric<Real> secondMomentOfTensor(const Real* tensor) {
    const Real unit = kKgM2<Real>, half = unit / 2;
    const Real xx = tensor[0], xy = tensor[1], xz = tensor[2], yy = tensor[3], yz = tensor[4], zz = tensor[5];
    return {half * (yy + zz - xx), -unit * xy, -unit * xz,
            half * (xx + zz - yy), -unit * yz, half * (xx + yy - zz)};
}

// From a frame that is turned about z by an angle of cosine c and sine s, and back.
template <typename Real>
Vec<Real> turned(Real c, Real s, const Vec<Real>& v) {
    return {c * v.x - s * v.y, s * v.x + c * v.y, v.z};
}

template <typename Real>
Vec<Real> turnedBack(Real c, Real s, const Vec<Real>& v) {
    return {c * v.x + s * v.y, c * v.y - s * v.x, v.z};
}

template <typename Real>
Symmetric<Real> turned(Real c, Real s, const Symmetric<Real>& a) {
    const Real x = c * a.xx - s * a.xy, y = c * a.xy - s * a.yy;
    const Real xx = c * x - s * y;
    return {xx, s * x + c * y, c * a.xz - s * a.yz, a.xx + a.yy - xx, s * a.xz + c * a.yz, a.zz};
}

// From a frame that is twisted about x by alpha, of which the sine is 0, 1 or -1, and back.
template <typename Real>
Vec<Real> twisted(int sinAlpha, const Vec<Real>& v) {
    const Real s = static_cast<Real>(sinAlpha);
    return sinAlpha == 0 ? v : Vec<Real>{v.x, -s * v.z, s * v.y};
}

template <typename Real>
Vec<Real> twistedBack(int sinAlpha, const Vec<Real>& v) {
    return twisted(-sinAlpha, v);
}

template <typename Real>
Symmetric<Real> twisted(int sinAlpha, const Symmetric<Real>& a) {
    const Real s = static_cast<Real>(sinAlpha);
    return sinAlpha == 0 ? a : Symmetric<Real>{a.xx, -s * a.xz, s * a.xy, a.zz, -a.yz, a.yy};
}

template <typename Real>
struct Matrix3 {
    Vec<Real> x, y, z;  // columns
};

template <typename Real>
Matrix3<Real> transposed(const Matrix3<Real>& a) {
    return {{a.x.x, a.y.x, a.z.x}, {a.x.y, a.y.y, a.z.y}, {a.x.z, a.y.z, a.z.z}};
}

template <typename Real>
Matrix3<Real> turned(Real c, Real s, const Matrix3<Real>& a) {
    const Matrix3<Real> t =
        transposed(Matrix3<Real>{turned(c, s, a.x), turned(c, s, a.y), turned(c, s, a.z)});
    return transposed(Matrix3<Real>{turned(c, s, t.x), turned(c, s, t.y), turned(c, s, t.z)});
}

template <typename Real>
Matrix3<Real> twisted(int sinAlpha, const Matrix3<Real>& a) {
    if (sinAlpha == 0) return a;
    const Matrix3<Real> t =
        transposed(Matrix3<Real>{twisted(sinAlpha, a.x), twisted(sinAlpha, a.y), twisted(sinAlpha, a.z)});
    return transposed(Matrix3<Real>{twisted(sinAlpha, t.x), twisted(sinAlpha, t.y), twisted(sinAlpha, t.z)});
}

// The lever from a hinge frame to the link's frame times a vector.
template <typename Real>
Vec<Real> leverCross(LinkShape::Axis axis, Real length, const Vec<Real>& v) {
    const Real zero = 0;
    return axis == LinkShape::AlongX ? Vec<Real>{zero, -length * v.z, length * v.y}
                                     : Vec<Real>{-length * v.y, length * v.x, zero};
}

template <const ArmShapeTable& shape, typename Real>
ArmModel<Real> armModel(const ArmParameters<Real>& p) {
    const Real mm = kMeter<Real>;
    ArmModel<Real> arm;
    arm.rotor = p.rotors;
    arm.gravity = vector(p.gravity);
    for (int k = 0; k < 6; k++) {
        arm.length[k] = signedLength(shape[static_cast<size_t>(k)], mm * p.lengths[k]);
        if (k == 5) break;
        const Vec<Real> center = scaled(mm, vector(p.centers + 3 * k));
        arm.link[k] = {p.masses[k], scaled(p.masses[k], center),
                       secondMomentOfTensor(p.inertias + 6 * k) + secondMoment(p.masses[k], center)};
    }

    // The flange carries link 6 and the load as one body. No guard on a zero mass: the result is then no
    // number.
    const Vec<Real> link = scaled(mm, vector(p.centers + 15)), load = scaled(mm, vector(p.load + 1));
    const Real mass = p.masses[5] + p.load[0];
    const Vec<Real> sum = scaled(p.masses[5], link) + scaled(p.load[0], load);
    const Vec<Real> center = {sum.x / mass, sum.y / mass, sum.z / mass};
    arm.link[5] = {mass, scaled(mass, center),
                   secondMomentOfTensor(p.inertias + 30) + secondMoment(p.masses[5], link - center) +
                       secondMomentOfTensor(p.load + 4) + secondMoment(p.load[0], load - center) +
                       secondMoment(mass, center)};
    return arm;
}

// Sine and cosine of a joint angle and its fixed offset of quarter turns.
template <typename Real>
void sineCosine(int quarterTurns, Real angle, Real& s, Real& c) {
    const Real sine = std::sin(angle), cosine = std::cos(angle), q = static_cast<Real>(quarterTurns);
    s = quarterTurns == 0 ? sine : q * cosine;
    c = quarterTurns == 0 ? cosine : -q * sine;
}

// Joint torque alone, by Newton's and Euler's laws: accelerations outward, forces inward. Gravity enters as
// an acceleration of the base.
//
// q, qd, qdd: radians, by s and s^2. torque: N m, with the rotors' share.
template <const ArmShapeTable& shape, typename Real>
void jointTorque(const ArmModel<Real>& arm, const Real* q, const Real* qd, const Real* qdd, Real* torque) {
    using V = Vec<Real>;
    Real c[6], s[6];
    V force[6], moment[6];  // that each link takes, about the origin of its frame

    V w{}, dw{}, a = V{} - arm.gravity;
#pragma GCC unroll 6
    for (int k = 0; k < 6; k++) {
        const LinkShape& link = shape[static_cast<size_t>(k)];
        sineCosine(link.quarterTurns, q[k], s[k], c[k]);
        w = turnedBack(c[k], s[k], w);
        dw = turnedBack(c[k], s[k], dw) + V{w.y * qd[k], -w.x * qd[k], qdd[k]};
        w.z += qd[k];
        // velocity of frame k's origin about the hinge, with the sign turned
        const V lift = leverCross(link.axis, arm.length[k], w);
        a = turnedBack(c[k], s[k], a) - leverCross(link.axis, arm.length[k], dw) - cross(w, lift);

        w = twistedBack(link.sinAlpha, w);
        dw = twistedBack(link.sinAlpha, dw);
        a = twistedBack(link.sinAlpha, a);
        const auto& [mass, h, second] = arm.link[k];
        const Real trace = second.xx + second.yy + second.zz;
        force[k] = scaled(mass, a) + cross(dw, h) + cross(w, cross(w, h));
        moment[k] = cross(h, a) + scaled(trace, dw) - second * dw - cross(w, second * w);
    }

    V f{}, n{};
#pragma GCC unroll 6
    for (int k = 5; k >= 0; k--) {
        const LinkShape& link = shape[static_cast<size_t>(k)];
        f = twisted(link.sinAlpha, f + force[k]);
        n = twisted(link.sinAlpha, n + moment[k]) + leverCross(link.axis, arm.length[k], f);
        torque[k] = n.z + arm.rotor[k] * kKgM2<Real> * qdd[k];
        f = turned(c[k], s[k], f);
        n = turned(c[k], s[k], n);
    }
}

// Where the terms of the equation of motion go.
template <typename Real>
struct Terms {
    Real* mass;      // kg m^2, 36 by columns, with the rotors
    Real* coriolis;  // N m s/rad, 36 by columns
    Real* gravity;   // N m, six
};

// All terms in one inward pass over the composite bodies, each all that a joint carries.
//
// With Jp the Jacobian of a particle, M = sum m Jp^T Jp and C = sum m Jp^T dJp/dt, which is the Christoffel
// form. In the frame of a link that turns with w, a particle at r moves with w x r + v. The column of the
// link's joint is z x r there, and its rate (w x z) x r + z x (w x r + v). So the columns of M and C are
// wrenches, sums of force and moment of these over the particles, and their elements what the axes further
// inward feel of them. On the other side of the diagonal the elements of C, sum m (z x r) . dJp_i/dt, take
// two parts: what the rate of axis i feels of M's wrench, and what axis i itself feels of the moment
// sum m r' x (z x r), with r' the velocity as seen from axis i.
//
// q: radians, qd: radians/s.
template <const ArmShapeTable& shape, typename Real>
void dynamicsTerms(const ArmModel<Real>& arm, const Real* q, const Real* qd, const Terms<Real>& terms) {
    using V = Vec<Real>;

    // outward: angular velocity and gravity in the hinge frames
    Real c[6], s[6];
    V spin[6], gravity[6];
    {
        V w{}, g = arm.gravity;
#pragma GCC unroll 6
        for (int k = 0; k < 6; k++) {
            const LinkShape& link = shape[static_cast<size_t>(k)];
            sineCosine(link.quarterTurns, q[k], s[k], c[k]);
            w = turnedBack(c[k], s[k], w);
            w.z += qd[k];
            g = turnedBack(c[k], s[k], g);
            spin[k] = w;
            gravity[k] = g;
            w = twistedBack(link.sinAlpha, w);
            g = twistedBack(link.sinAlpha, g);
        }
    }

    // The composite body, and its motion as its innermost link sees it: sums of m v and m v r^T.
    Body<Real> body{};
    V momentum{};
    Matrix3<Real> flow{};

    struct Column {
        V force, moment;          // wrench of M
        V rateForce, rateMoment;  // wrench of C
        V rowMoment;              // for the row of C
    } column[6];

#pragma GCC unroll 6
    for (int k = 5; k >= 0; k--) {
        const LinkShape& link = shape[static_cast<size_t>(k)];
        const Real length = arm.length[k];
        const V& w = spin[k];

        // the body takes in link k and goes from frame k to hinge frame k
        const Body<Real>& own = arm.link[k];
        body = {body.mass + own.mass, twisted(link.sinAlpha, body.first + own.first),
                twisted(link.sinAlpha, body.second + own.second)};
        momentum = twisted(link.sinAlpha, momentum);
        flow = twisted(link.sinAlpha, flow);
        const Real shift = body.mass * length;
        if (link.axis == LinkShape::AlongX) {
            flow.x = flow.x + scaled(length, momentum);
            body.second.xx += length * (2 * body.first.x + shift);
            body.second.xy += length * body.first.y;
            body.second.xz += length * body.first.z;
            body.first.x += shift;
        } else {
            flow.z = flow.z + scaled(length, momentum);
            body.second.xz += length * body.first.x;
            body.second.yz += length * body.first.y;
            body.second.zz += length * (2 * body.first.z + shift);
            body.first.z += shift;
        }
        // the columns of the joints beyond go from hinge frame k+1 to hinge frame k; the lift is the velocity
        // of the one origin as the other sees it
        const V lift = scaled(Real(-1), leverCross(link.axis, length, w));

#pragma GCC unroll 6
        for (int j = 5; j > k; j--) {
            Column& f = column[j];
            const auto step = [&](const V& v) {
                return twisted(link.sinAlpha, turned(c[k + 1], s[k + 1], v));
            };
            f.force = step(f.force);
            f.moment = step(f.moment) + leverCross(link.axis, length, f.force);
            f.rateForce = step(f.rateForce);
            f.rateMoment = step(f.rateMoment) + leverCross(link.axis, length, f.rateForce);
            f.rowMoment = step(f.rowMoment) + cross(lift, f.force);

            terms.mass[k + 6 * j] = terms.mass[j + 6 * k] = f.moment.z;
            terms.coriolis[k + 6 * j] = f.rateMoment.z;
            terms.coriolis[j + 6 * k] = w.y * f.moment.x - w.x * f.moment.y + f.rowMoment.z;
        }

        // joint k's own column, with the sums worked out for z = (0, 0, 1)
        const V& h = body.first;
        const Symmetric<Real>& a = body.second;
        const V aw = a * w;
        const Real diagonal = flow.x.x + flow.y.y;
        column[k] = {
            {-h.y, h.x, Real(0)},
            {-a.xz, -a.yz, a.xx + a.yy},
            {-w.z * h.x - momentum.y, momentum.x - w.z * h.y, w.x * h.x + w.y * h.y},
            {aw.y - flow.z.x, -aw.x - flow.z.y, diagonal},
            {w.y * a.xx - w.x * a.xy - flow.x.z, w.y * a.xy - w.x * a.yy - flow.y.z,
             diagonal + w.y * a.xz - w.x * a.yz},
        };
        terms.gravity[k] = h.y * gravity[k].x - h.x * gravity[k].y;
        terms.mass[7 * k] = a.xx + a.yy + arm.rotor[k] * kKgM2<Real>;
        terms.coriolis[7 * k] = diagonal;
        if (k == 0) break;

        // link k-1 sees joint k's rate as well; all turn into frame k-1
        momentum.x -= qd[k] * h.y;
        momentum.y += qd[k] * h.x;
        flow.x = flow.x + scaled(qd[k], V{-a.xy, a.xx, Real(0)});
        flow.y = flow.y + scaled(qd[k], V{-a.yy, a.xy, Real(0)});
        flow.z = flow.z + scaled(qd[k], V{-a.yz, a.xz, Real(0)});
        momentum = turned(c[k], s[k], momentum);
        flow = turned(c[k], s[k], flow);
        body.first = turned(c[k], s[k], body.first);
        body.second = turned(c[k], s[k], body.second);
    }
}

}  // namespace tarn
