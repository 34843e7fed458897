// Shared records of controller and library, and the controller's math services on them.
//
// Records are plain aggregates. Lengths are millimeters and angles degrees unless a line says otherwise.
// Frames: B robot base, E end (flange), T tool, S force sensor. A pose "of E in B" takes E coordinates to B.
//
// All services here are the host's: the library leaves them undefined. They are pure functions of their
// arguments, called from the cycle and from commands alike, and must not allocate, lock or log. The output
// comes first and may be the same object as any input; an implementation reads before it writes.
#pragma once

extern "C" {

// clang-format off

// ---- vectors, rotations, poses

struct VECT {
    double x, y, z;
};

struct ROTRSF {            // 3 by 3 matrix by columns: the axes of a frame, seen from its parent
    VECT n;                // x axis
    VECT o;                // y axis
    VECT a;                // z axis
};

// Homogeneous transform, twelve doubles in the order n, o, a, p. A TRSF* serves wherever a ROTRSF* is asked
// for: the rotation services work on the rotation part and leave p alone.
struct TRSF : ROTRSF {
    VECT p;                // mm         origin, seen from the parent frame
};

struct QTRN {              // quaternion
    double c;              // -          scalar part
    VECT   v;              // -          vector part
};

struct CARTPOSE {          // pose as numbers; rotation Rz(rz) * Ry(ry) * Rx(rx)
    double x, y, z;        // mm
    double rz, ry, rx;     // degrees
};

struct ROBCARTPOS {        // pose as the planner's services take it; rotation Rz(c) * Ry(b) * Rx(a)
    float x, y, z;         // mm
    float a, b, c;         // degrees
    int   config;          // -          branch of the inverse kinematics, -1: the one nearest to mpb.jC
};

// ---- joints and axes

struct JNTS {              // six joint values; the unit is told where a JNTS is used
    double v[6];           //            joint 1 at index 0
    char   type[7];        //            axis marks of the planner, carried along, never read by the library
    int    num;            // -          number of values in use
};

struct ROBPOS {            // a robot position both ways
    double a1, a2, a3;     // mm         tool position in B
    double a4, a5, a6;     // degrees    tool orientation in B about x, y, z
    double j1, j2, j3;     // degrees    joints 1 to 3
    double j4, j5, j6;     // degrees    joints 4 to 6
};

struct EXAXISPOS {         // external axes
    double e[4];           // mm or degrees, by the kind of the axis
};

struct EXAXIS_DHPARA {     // geometry of the external axes
    int    exAxisConfigure;               // -    arrangement of the axes, a code of the host
    double exAxisDH_a2, exAxisDH_a4;      // mm   link lengths
    double exAxisDH_d2, exAxisDH_d4;      // mm   link offsets
};

struct SDHV {              // one link in standard Denavit-Hartenberg form; a and d in the unit of the caller
    double a, d;           // mm or m    link length, link offset
    double alpha, theta;   // radians    link twist, joint angle
};

// ---- loads, forces, regulators

struct EX_LOAD {           // what hangs on the flange
    VECT   cmc;            // mm, E      center of mass
    double mass;           // kg
};

struct FORCESENSOR_DATA {  // six-axis force reading or force setting
    double fx, fy, fz;     // N
    double mx, my, mz;     // N m
};

struct Gain {              // weights of the joint torque model under the operator's hand
    double kp[6];          // -          of the static torque
    double kf[6];          // -          of the motion torque
};

struct PID {               // regulator of one axis
    double P, I, D;        //            gains
    double lastError;      //            error of the last call
    double prevError;      //            error of the call before that
    double sumError;       //            sum of all errors
};

struct KALMANINFO {        // scalar Kalman filter
    double filterValue;    //            filtered value
    double kalmanGain;     // -          gain of the last update
    double A;              // -          state transition
    double H;              // -          observation
    double Q;              //            process noise
    double R;              //            measurement noise
    double P;              //            variance of the estimate
};

// ---- filter histories

// History of the fixed filter sections, of up to three signals at once. Rows are samples in time, the newest
// at `index`, columns the six joints or axes. Output rows hold the deviation from the offset, "after" rows
// the offset added back. Units are those of the signal.
struct filter {
    double j_pos[6][6];            //           first signal: input
    double prej_pos[6][6];         //           first signal: output
    double afterj_pos[6][6];       //           first signal: output with offset; on two sections without
    double j_pos0[6];              //           first signal: offset, latched at the first sample
    double tau[6][6];              //           second signal: input
    double pre_tau[6][6];          //           second signal: output
    double after_tau[6][6];        //           second signal: output with offset
    double tau0[6];                //           second signal: offset
    int    index;                  // -         row of the current sample, 0 to 6
    int    index1;                 // -         running count of samples, for the user
    double j_acc[6][6];            //           third signal: input
    double prej_acc[6][6];         //           third signal: output
    double afterj_acc[6][6];       //           third signal: output with offset
    double j_acc0[6];              //           third signal: offset
    int    index2, index3;         // -         further counts; nothing reads them
    double low_dual[6][6];         //           never written, stays zero
    double high_dual[6][6];        //           never written, stays zero
};

#define FILTERMAXLEN 6

// Low-pass of one channel that carries its own coefficients, `a` the denominator with a[0] = 1, `b` the
// numerator.
struct BUTTERWORTHFILTER {
    double pos[FILTERMAXLEN];        //         input, deviation from pos0
    double pre_pos[FILTERMAXLEN];    //         output, deviation from pos0
    double after_pos[FILTERMAXLEN];  //         output with pos0 added back
    double pos0;                     //         offset, the first sample
    int    index;                    // -       row of the current sample, 0 to 6
    int    N;                        // -       coefficients per side: 3 or 5, 0 for none
    double a[10], b[10];             // -       coefficients, the first N in use
};

// ---- matrices

// Matrix with inclusive index bounds, allocated and released by its user, passed by value: a copy shares the
// elements.
struct dmat {
    int      lb1, ub1;     // -          first and last row index
    int      lb2, ub2;     // -          first and last column index
    double*  mat_sto;      //            storage of all elements
    double** el;           //            row pointers: element (i, j) is el[i][j]
};

// clang-format on

// ---- poses

// Transform of one link in standard Denavit-Hartenberg form: Rz(theta) * Tz(d) * Tx(a) * Rx(alpha).
// a and d in one unit of length, that of out->p; alpha and theta in radians. Mind the order of arguments.
void dhClassic(TRSF* out, double a, double alpha, double d, double theta);

// Rotation part of out from three angles in degrees: Rz(z) * Ry(y) * Rx(x). A pose (a, b, c) is passed as
// c, b, a. out->p stays as it is.
void rpyToTrsf(TRSF* out, double z, double y, double x);

// The inverse of rpyToTrsf, degrees. At y = +-90 only a combination of z and x is determined; the result is
// one of the possible sets.
void trsfToRpy(double* rz, double* ry, double* rx, const TRSF* t);

// As trsfToRpy, but of the equivalent sets (other wrist solution, full turns) the one nearest to ref, which
// holds rx, ry, rz in x, y, z, degrees. Keeps a sequence of poses free of jumps.
void trsfToRpyRt(double* rz, double* ry, double* rx, const TRSF* t, const VECT* ref);

// out = a * b.
void multTrsf(TRSF* out, const TRSF* a, const TRSF* b);

// out = inverse of a, whose rotation part is orthonormal.
void invertTrsf(TRSF* out, const TRSF* a);

// ---- 3 by 3 matrices; none of these needs an orthonormal argument

// out = a * b.
void multRotrsf(ROTRSF* out, const ROTRSF* a, const ROTRSF* b);

// out = inverse of a, of any 3 by 3 matrix. A singular one gives non-finite elements: the caller tests.
void invRotrsf(ROTRSF* out, const ROTRSF* a);

// out = transpose of a.
void trsposeRotrsf(ROTRSF* out, const ROTRSF* a);

// out = a + b.
void addRotrsf(ROTRSF* out, const ROTRSF* a, const ROTRSF* b);

// *det = determinant of a.
void detRotrsf(const ROTRSF* a, double* det);

// out = r * v.
void multRotrsfVect(VECT* out, const ROTRSF* r, const VECT* v);

// ---- vectors

// out = a + b.
void addVect(VECT* out, const VECT* a, const VECT* b);

// out = a - b.
void subtractVect(VECT* out, const VECT* a, const VECT* b);

// out = a x b.
void crossVect(VECT* out, const VECT* a, const VECT* b);

// out = in * s.
void scaleVect(VECT* out, const VECT* in, double s);

// Euclidean length of v.
double normVect(const VECT* v);

// ---- quaternions

// Quaternion of the rotation part of t, of the two with c >= 0.
void trsfToQtrn(QTRN* out, const TRSF* t);

// out = q scaled to length 1. A zero quaternion has no direction and gives non-finite elements.
void unitQtrn(QTRN* out, const QTRN* q);

// Rotation vector of a unit quaternion: axis times angle, radians.
void qtrnToDspl(VECT* out, const QTRN* q);

// ---- run-time matrices; out is allocated by the caller in the size of the result
// A host may limit that size, to 27 by 27 or more, and gives -1 beyond it, out untouched.

// out = a * b. out may share its elements with a or b. 0; -1 when the sizes do not fit, out untouched.
int matmul(dmat a, dmat b, dmat out);

// out = a + b. out may share its elements with a or b. 0; -1 when the sizes do not fit, out untouched.
int matSum(dmat a, dmat b, dmat out);

// out = inverse of the square matrix a. out may share its elements with a.
// 0; -1 when a is exactly singular or the sizes do not fit, out untouched.
int matinvert(dmat a, dmat out);

}  // extern "C"
