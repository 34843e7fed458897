// Center of mass of a load out of wrenches that it exerts, about the origin of their frame. A force f at p
// gives the moment m = p x f, linear in p: wrenches of several directions tell p by least squares.
#pragma once

#include "tarnmath/tarnmath.h"

namespace tarn {

inline VECT force(const FORCESENSOR_DATA& w) { return {w.fx, w.fy, w.fz}; }
inline VECT moment(const FORCESENSOR_DATA& w) { return {w.mx, w.my, w.mz}; }

// The matrix that makes p x f out of p.
inline ROTRSF crossedWith(const VECT& f) { return {{0, -f.z, f.y}, {f.z, 0, -f.x}, {-f.y, f.x, 0}}; }

// Adds a sample of A x = b to the normal equations.
inline void addEquation(const ROTRSF& A, const VECT& b, ROTRSF* left, VECT* right) {
    ROTRSF transposed, square;
    trsposeRotrsf(&transposed, &A);
    multRotrsf(&square, &transposed, &A);
    addRotrsf(left, left, &square);
    VECT product;
    multRotrsfVect(&product, &transposed, &b);
    addVect(right, right, &product);
}

// Their solution; no number where they tell none.
inline VECT solveEquations(const ROTRSF& left, const VECT& right) {
    ROTRSF inverse;
    VECT x;
    invRotrsf(&inverse, &left);
    multRotrsfVect(&x, &inverse, &right);
    return x;
}

}  // namespace tarn
