// Poses, rotations, vectors, quaternions. Every output is assigned whole from values, so that it may alias an
// input.
#include <cmath>
#include <numbers>

#include "tarnmath/tarnmath.h"

namespace {

using std::numbers::pi;

double radians(double degrees) { return degrees / 180.0 * pi; }
double degrees(double radians) { return radians / pi * 180.0; }

VECT plus(const VECT& a, const VECT& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
VECT minus(const VECT& a, const VECT& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
VECT times(const VECT& v, double s) { return {v.x * s, v.y * s, v.z * s}; }
VECT cross(const VECT& a, const VECT& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double dot(const VECT& a, const VECT& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

VECT times(const ROTRSF& r, const VECT& v) {
    return plus(plus(times(r.n, v.x), times(r.o, v.y)), times(r.a, v.z));
}
ROTRSF times(const ROTRSF& a, const ROTRSF& b) { return {times(a, b.n), times(a, b.o), times(a, b.a)}; }
ROTRSF transposed(const ROTRSF& r) {
    return {{r.n.x, r.o.x, r.a.x}, {r.n.y, r.o.y, r.a.y}, {r.n.z, r.o.z, r.a.z}};
}

double wrappedNear(double angle, double reference) {
    return reference + std::remainder(angle - reference, 360.0);
}

}  // namespace

// ---- poses

void dhClassic(TRSF* out, double a, double alpha, double d, double theta) {
    const double ct = std::cos(theta), st = std::sin(theta);
    const double ca = std::cos(alpha), sa = std::sin(alpha);
    *out = {{{ct, st, 0.0}, {-st * ca, ct * ca, sa}, {st * sa, -ct * sa, ca}}, {a * ct, a * st, d}};
}

void rpyToTrsf(TRSF* out, double z, double y, double x) {
    const double cz = std::cos(radians(z)), sz = std::sin(radians(z));
    const double cy = std::cos(radians(y)), sy = std::sin(radians(y));
    const double cx = std::cos(radians(x)), sx = std::sin(radians(x));
    out->n = {cz * cy, sz * cy, -sy};
    out->o = {cz * sy * sx - sz * cx, sz * sy * sx + cz * cx, cy * sx};
    out->a = {cz * sy * cx + sz * sx, sz * sy * cx - cz * sx, cy * cx};
}

namespace {

struct Rpy {
    double z, y, x;  // radians
};

// The angles about y and x that go with an angle about z. Taking x out of what is left of the rotation, and
// not out of its last row, keeps the set consistent where the angle about z is badly determined.
Rpy rpyGivenZ(const ROTRSF& r, double z) {
    const double c = std::cos(z), s = std::sin(z);
    return {z, std::atan2(-r.n.z, c * r.n.x + s * r.n.y),
            std::atan2(s * r.a.x - c * r.a.y, c * r.o.y - s * r.o.x)};
}

// Length of the x axis in the base plane below which the angle about z is not determined.
constexpr double kGimbalLock = 1e-9;

}  // namespace

void trsfToRpy(double* rz, double* ry, double* rx, const TRSF* t) {
    const Rpy rpy = rpyGivenZ(*t, std::atan2(t->n.y, t->n.x));
    *rz = degrees(rpy.z);
    *ry = degrees(rpy.y);
    *rx = degrees(rpy.x);
}

void trsfToRpyRt(double* rz, double* ry, double* rx, const TRSF* t, const VECT* ref) {
    const VECT near = *ref;
    Rpy rpy = rpyGivenZ(*t, std::atan2(t->n.y, t->n.x));
    if (std::hypot(t->n.x, t->n.y) < kGimbalLock) {
        // x - z is determined, at the lower pole x + z: what differs from the reference goes half to each
        const double sign = t->n.z < 0.0 ? 1.0 : -1.0;
        const double x = degrees(rpyGivenZ(*t, radians(near.z)).x);
        rpy = rpyGivenZ(*t, radians(near.z - sign * 0.5 * std::remainder(x - near.x, 360.0)));
    }

    // the same rotation once more: half a turn about z and x, and y beyond the pole
    const VECT first = {degrees(rpy.x), degrees(rpy.y), degrees(rpy.z)};
    const VECT second = {first.x + 180.0, 180.0 - first.y, first.z + 180.0};
    const auto nearest = [&near](const VECT& v) -> VECT {
        return {wrappedNear(v.x, near.x), wrappedNear(v.y, near.y), wrappedNear(v.z, near.z)};
    };
    const VECT u = nearest(first), w = nearest(second);
    const VECT du = minus(u, near), dw = minus(w, near);
    const VECT best = dot(dw, dw) < dot(du, du) ? w : u;
    *rz = best.z;
    *ry = best.y;
    *rx = best.x;
}

void multTrsf(TRSF* out, const TRSF* a, const TRSF* b) {
    *out = TRSF{times(static_cast<const ROTRSF&>(*a), static_cast<const ROTRSF&>(*b)),
                plus(times(*a, b->p), a->p)};
}

void invertTrsf(TRSF* out, const TRSF* a) {
    const ROTRSF back = transposed(*a);
    *out = TRSF{back, times(times(back, a->p), -1.0)};
}

// ---- 3 by 3 matrices

void multRotrsf(ROTRSF* out, const ROTRSF* a, const ROTRSF* b) { *out = times(*a, *b); }

void invRotrsf(ROTRSF* out, const ROTRSF* a) {
    // the rows of the inverse are cross products of the columns over the determinant; a zero determinant
    // gives infinities and non-numbers
    const double scale = 1.0 / dot(a->n, cross(a->o, a->a));
    *out = transposed(
        {times(cross(a->o, a->a), scale), times(cross(a->a, a->n), scale), times(cross(a->n, a->o), scale)});
}

void trsposeRotrsf(ROTRSF* out, const ROTRSF* a) { *out = transposed(*a); }

void addRotrsf(ROTRSF* out, const ROTRSF* a, const ROTRSF* b) {
    *out = {plus(a->n, b->n), plus(a->o, b->o), plus(a->a, b->a)};
}

void detRotrsf(const ROTRSF* a, double* det) { *det = dot(a->n, cross(a->o, a->a)); }

void multRotrsfVect(VECT* out, const ROTRSF* r, const VECT* v) { *out = times(*r, *v); }

// ---- vectors

void addVect(VECT* out, const VECT* a, const VECT* b) { *out = plus(*a, *b); }
void subtractVect(VECT* out, const VECT* a, const VECT* b) { *out = minus(*a, *b); }
void crossVect(VECT* out, const VECT* a, const VECT* b) { *out = cross(*a, *b); }
void scaleVect(VECT* out, const VECT* in, double s) { *out = times(*in, s); }
double normVect(const VECT* v) { return std::sqrt(dot(*v, *v)); }

// ---- quaternions

// Of the four components the largest is taken from the diagonal, the others from sums and differences across
// it: nothing is divided by a small number.
void trsfToQtrn(QTRN* out, const TRSF* t) {
    const VECT n = t->n, o = t->o, a = t->a;
    const double four[4] = {1.0 + n.x + o.y + a.z, 1.0 + n.x - o.y - a.z, 1.0 - n.x + o.y - a.z,
                            1.0 - n.x - o.y + a.z};  // 4 c^2, 4 x^2, 4 y^2, 4 z^2
    int largest = 0;
    for (int i = 1; i < 4; i++)
        if (four[i] > four[largest]) largest = i;

    QTRN q = {};
    switch (largest) {
        case 0:
            q = {four[0], {o.z - a.y, a.x - n.z, n.y - o.x}};
            break;
        case 1:
            q = {o.z - a.y, {four[1], n.y + o.x, a.x + n.z}};
            break;
        case 2:
            q = {a.x - n.z, {n.y + o.x, four[2], o.z + a.y}};
            break;
        case 3:
            q = {n.y - o.x, {a.x + n.z, o.z + a.y, four[3]}};
            break;
    }
    double scale = 0.5 / std::sqrt(four[largest]);
    if (q.c < 0.0) scale = -scale;
    *out = {q.c * scale, times(q.v, scale)};
}

void unitQtrn(QTRN* out, const QTRN* q) {
    const double scale = 1.0 / std::sqrt(q->c * q->c + dot(q->v, q->v));
    *out = {q->c * scale, times(q->v, scale)};
}

void qtrnToDspl(VECT* out, const QTRN* q) {
    // q and -q are one rotation: the one with c >= 0 has the angle within half a turn
    const double sign = q->c < 0.0 ? -1.0 : 1.0;
    const double sine = std::sqrt(dot(q->v, q->v));
    const double angle = 2.0 * std::atan2(sine, sign * q->c);
    *out = times(q->v, sign * (sine > 0.0 ? angle / sine : 2.0));
}
