// Numeric toolkit: matrices and small linear algebra, the filter bank, Jacobians, the curve fit.
//
// Matrices are row-major unless a line says otherwise.
#pragma once

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"

extern "C" {

// clang-format off

// ---- scalars

typedef double        real_T;
typedef float         real32_T;
typedef unsigned char boolean_T;

// ---- filters

#define BUFFER_SIZE 100

struct MOVINGAVERAGEFILTER {         // mean of the newest BUFFER_SIZE samples
    float buffer[BUFFER_SIZE];       //         samples, a ring
    int   index;                     // -       slot to write next
    float buffer_sum;                //         sum of the samples held
    int   count;                     // -       samples held, up to BUFFER_SIZE
};

struct BIQUAD {                      // second-order section
    double a0, a1, a2;               // -       denominator
    double b0, b1, b2;               // -       numerator
    double x1, x2;                   //         last two inputs, x1 the newer
    double y1, y2;                   //         last two outputs, y1 the newer
};

struct LOWPASSFILTER {               // first-order low-pass of six channels
    float alpha;                     // -       weight of the new sample
    float prev_output[6];            //         last outputs
};

// ---- curve fit

// Data that the fitted model is evaluated on, by the chain of records through which the fit reaches it.
struct struct_T {
    double xdata[66];                // rad/s   velocities; 66 bounds the number of points
    double ydata[66];                // N m     torques
};
struct anonymous_function   { struct_T workspace; };
struct b_struct_T           { anonymous_function fun; };
struct b_anonymous_function { b_struct_T workspace; };

struct c_struct_T {                  // what evaluations of the model share during a fit
    b_anonymous_function nonlin;     //         the data, as nonlin.workspace.fun.workspace
    double    f_1;                   //         0
    double    cEq_1[66];             // N m     residuals at the trial point
    double    f_2;                   //         0
    double    cEq_2[66];             //         never used
    int       nVar;                  // -       unknowns: 5
    int       mIneq;                 // -       0
    int       mEq;                   // -       number of points
    int       numEvals;              // -       model evaluations of the current Jacobian
    boolean_T SpecifyObjectiveGradient;   //    false, as are all that follow
    boolean_T SpecifyConstraintGradient;
    boolean_T isEmptyNonlcon;
    boolean_T hasBounds;
    boolean_T hasLB[5];
    boolean_T hasUB[5];
    int       FiniteDifferenceType;  // -       0: forward differences
};

// clang-format on

// ==== matrices
//
// Small matrices on the stack of the caller. Unless a line says otherwise: elements are doubles by rows,
// sizes and pointers are trusted, the result must not overlap an argument, the return value is 0, and the
// function keeps no state, never waits, and may be called from the cycle and from commands.

// result = A * B.
TARN_API int MatrixMul(double A[4][4], double B[4][4], double result[4][4]);
TARN_API int MatrixMul3(double A[3][3], double B[3][3], double result[3][3]);
TARN_API int MatrixMul6(double A[6][6], double B[6][6], double result[6][6]);
TARN_API int MatrixMul6and1(double A[6][6], double* B, double* result);  // B and result are six-vectors

// result = mat transposed.
TARN_API void transposeMatrix(double mat[6][6], double result[6][6]);

// result = A x B, vectors of three.
TARN_API int crossProduct(double* A, double* B, double* result);

// The same for sizes at run time: each matrix is a pointer to its first element, rows follow one another.
// result (rows1 by cols2) = A (rows1 by cols1) * B (cols1 by cols2).
TARN_API int MatrixMulDimen(int rows1, int cols1, int cols2, double* A, double* B, double* result);

// result[rows1] = A (rows1 by cols1) * B[cols1]. cols2 is 1; with 0 nothing is written.
TARN_API int MatrixMulDimenSingle(int rows1, int cols1, int cols2, double* A, double* B, double* result);

// result = matrix1 + matrix2, and matrix1 - matrix2; all rows by cols.
TARN_API int MatrixAddDimen(int rows, int cols, double* matrix1, double* matrix2, double* result);
TARN_API int MatrixSubDimen(int rows, int cols, double* matrix1, double* matrix2, double* result);

// result (cols by rows) = matrix (rows by cols) transposed.
TARN_API void transposeMatrixDimen(int rows, int cols, double* matrix, double* result);

// Determinant of the leading n by n block, n up to the width of the array. Gives 0 for n = 0. A matrix that
// lacks rank gives 0 up to rounding only: compare with a threshold.
TARN_API double determinant(double mat[6][6], int n);
TARN_API double determinantDimen4(int n, double mat[4][4]);

// Determinant of a matrix whose rows are n wide. Call it with n = 6: no other size is promised.
TARN_API double determinantDimen(int n, double* mat);

// Inverse by elimination without pivoting: any zero that comes up on the diagonal, also of a regular matrix,
// gives non-finite elements. Ask for the determinant first. inverse may be matrix.
TARN_API void inverseJacobi(double matrix[6][6], double inverse[6][6]);

// 0; -1 for a determinant of exactly 0, which is logged and leaves inverse alone. inverse may be matrix.
TARN_API int inverseMatrix2(double matrix[2][2], double inverse[2][2]);

// Inverses with partial pivoting, flat, by columns or by rows alike. A singular matrix is not reported and
// gives non-finite elements. The result may be the argument.
TARN_API void inv(const double* x, double* y);            // 6 by 6
TARN_API void invNxN(const double* x, double* y);         // the same
TARN_API void invMatrix(const float* a, float* matrixA);  // 4 by 4
TARN_API int inverseMatrix4(float matrix[4][4], float result[4][4]);

// Transform of one link in standard Denavit-Hartenberg form, Rz(theta) * Tz(d) * Tx(a) * Rx(alpha), 4 by 4,
// flat by columns. paramSDH: d, a, alpha in this order; d and a in the unit that the result shall have, alpha
// and theta in radians. Two names of one function.
TARN_API void TransMatSDH(const double* paramSDH, double theta, double* output);
TARN_API void TransMatrix_SDH(const double* param_DH, double thita, double* Trans_DH);

// Spatial cross operator of a twist, 6 by 6, flat by columns. input: linear part, then angular part.
TARN_API void cross_operator6(const double* input, double* output);

// Small rotation step from the orientation of T1 towards that of T2: about a tenth of the way.
// e: output, in the frame that T1 and T2 are given in, along the axis of rotation, radians to first order;
// zero where the two agree. Returns 1.
TARN_API int quattorpy(TRSF T1, TRSF T2, VECT* e);

// ==== random and non-finite numbers

// One Gaussian sample from two draws of rand(), which is never seeded here. A first draw of 0 gives an
// infinite sample. Cycle.
TARN_API double generate_normal(double mean, double stddev);

// Non-finite numbers of the curve fit. rtIsInf and rtIsInfF compare with values that rt_InitInfAndNaN fills
// in: call it first, or zero is taken for infinite. The others need nothing.
TARN_API void rt_InitInfAndNaN();
TARN_API boolean_T rtIsInf(real_T value);
TARN_API boolean_T rtIsInfF(real32_T value);
TARN_API boolean_T rtIsNaN(real_T value);
TARN_API boolean_T rtIsNaNF(real32_T value);
TARN_API real_T rtGetNaN();
TARN_API real_T rtGetInf();
TARN_API real_T rtGetMinusInf();
TARN_API real32_T rtGetNaNF();
TARN_API real32_T rtGetInfF();
TARN_API real32_T rtGetMinusInfF();

// ==== filters
//
// Digital filters for samples of 1 ms, all for the cycle, the init functions and the reset also for commands.
// None can fail. Units are those of the signal.

// Fixed low-pass sections over histories that the library keeps inside: the new output of one column. They
// write no state. Who filters a signal shifts the history by a row when its index is above 5 (index is then
// 5), stores the inputs in row `index`, calls the section for each column, stores the outputs in the same row
// and adds 1 to the index. Rows from before the first sample count as zero.
//
// index1: column, the joint or axis from 0; another one gives 0. index: row of the current sample, 0 to 5.
// result: output. Return 0.
//                              -3 dB       order  signal
// buttord                        2.8 Hz    4      joint position in guiding, radians off its start
// filter_data                    5   Hz    3      joint position in the excitation run, radians off its start
// Fivebuttord                    2.8 Hz    4      none: its history is empty
// TualEncoderbuttord            80   Hz    4      difference of the two encoders
// Loadbuttord                    2.8 Hz    4      measured joint torque, N m
// LoadPosbuttord                 2.8 Hz    4      measured joint position, degrees
// ForceCollisionbuttord          2.8 Hz    4      none: its history is empty
// SensorDragbuttord             80   Hz    4      sensor force in drag, N and N m
// buttordFTControl             100   Hz    2      force error of constant force, column 0, N
// TwoForceAndTorqueDragbuttord   0.4 Hz    2      joint torques of force-and-torque drag, N m
// buttordFTControlThetaf         3.9 Hz    2      angle of the surface normal, column 0
// The gain at zero frequency is 1, but for rounded coefficients 0.9916 at 80 Hz and 1.034 at 3.9 Hz.
TARN_API int buttord(int index1, int index, double* result);
TARN_API int filter_data(int index1, int index, double* resultq);
TARN_API int Fivebuttord(int index1, int index, double* result);
TARN_API int TualEncoderbuttord(int index1, int index, double* result);
TARN_API int Loadbuttord(int index1, int index, double* result);
TARN_API int LoadPosbuttord(int index1, int index, double* result);
TARN_API int ForceCollisionbuttord(int index1, int index, double* result);
TARN_API int SensorDragbuttord(int index1, int index, double* result);
TARN_API int buttordFTControl(int index1, int index, double* result);
TARN_API int TwoForceAndTorqueDragbuttord(int index1, int index, double* result);
TARN_API int buttordFTControlThetaf(int index1, int index, double* result);

// Clears what the sections above remember: the guiding's and the excitation run's history and the guiding
// regulators' reference pose, unless an excitation run is on; and with mcb.newTeachEnable 2 the dual-encoder
// detector's history and two without a signal. The other histories run on. Returns 0.
TARN_API int zvmcdynfiltresert();

// A low-pass that carries coefficients and history: clear it and choose by flag, 0: 2.8 Hz of second order,
// 1: 2.8 Hz of fourth, 2: 15.8 Hz of second order. Any other flag leaves it without coefficients, and its
// output is then the first sample. Returns 0.
TARN_API int zvmcButterWorthFiltInit(BUTTERWORTHFILTER* filtmode, int flag);

// One sample x into the filter; the first one becomes the offset, and what is filtered is the deviation from
// it. y: output, the filtered deviation, with the offset added back for flag 0; may be where x comes from. An
// index below 0 counts as the first sample. Returns 0.
TARN_API int zvmcButterWorthFiltProcessData(BUTTERWORTHFILTER* filtmode, double x, double* y, int flag);

// The filtered deviation for the rows as they stand, filtmode.index being the current one. Returns 0.
TARN_API int zvmcButterWorthFiltABComputer(BUTTERWORTHFILTER filtmode, double* result);

// Low-pass of fourth order, 10 Hz, with a history inside that nothing resets. jj: channel, 0 to 5; another
// one gives 0. x: sample. yy: output.
TARN_API void myfilter(int jj, double x, double* yy);

// Mean of the newest BUFFER_SIZE samples, or of those that there are. init_filter clears it.
TARN_API void init_filter(MOVINGAVERAGEFILTER* filter);
TARN_API float update_filter(MOVINGAVERAGEFILTER* filter, float new_value);

// Notch at center_freq, Hz, between 0 and 500. bandwidth: between the -3 dB points, octaves. init_notch
// clears the history; a0 is kept as it was before the others were divided by it. notch_process gives the
// output.
TARN_API void init_notch(BIQUAD* filter, double center_freq, double bandwidth);
TARN_API double notch_process(BIQUAD* filter, double input);

// First-order low-pass of six channels. RC: time constant, dt: sample time, in one unit. lowpassfilterMain:
// input[6], output[6]; returns 0.
TARN_API void init_lowpassfilter(LOWPASSFILTER* filter, float RC, float dt);
TARN_API int lowpassfilterMain(LOWPASSFILTER* filter, double* input, float* output);

// ==== Jacobians and end velocity
//
// Jacobians have rows vx, vy, vz, wx, wy, wz of the flange in the base frame and a column a joint, in m and
// radians. They hold no state and cannot fail; cycle and command.

// Jacobian of any chain of six joints in standard Denavit-Hartenberg form, a link being
// Rz(q) * Tz(d) * Tx(a) * Rx(alpha). alpha[6], q[6]: radians. a[6], d[6]: m. Returns 0. The arms' common
// shape, alpha of 90, 0, 0, 90, -90 degrees and lengths d1, a2, a3, d4, d5, d6, is recognized and costs less
// than half.
TARN_API int Jacobian_com(double* alpha, double* a, double* d, double* q, double J[6][6]);

// The Jacobian of one arm. joint_pos[6]: radians. zv_J: 6 by 6, allocated by the caller. Return 0.
//             a2       a3       d4       d5       d6        m
// zvA_jacob   -0.28    -0.24    0.102    0.102    0.1
// zvB_jacob   -0.425   -0.395   0.102    0.102    0.1
// zvC_jacob   -0.7     -0.586   0.195    0.114    0.106
// zvD_jacob   -0.52    -0.4     0.195    0.114    0.106
TARN_API int zvA_jacob(double* joint_pos, dmat zv_J);
TARN_API int zvB_jacob(double* joint_pos, dmat zv_J);
TARN_API int zvC_jacob(double* joint_pos, dmat zv_J);
TARN_API int zvD_jacob(double* joint_pos, dmat zv_J);

// velocityJacob of zvmcforcesensorblock.h, in single precision, with the result by rows.
// paramDH[6]: d1, a2, a3, d4, d5, d6, mm; the signs of a2 and a3 do not matter. joint_post[6]: radians.
TARN_API void velocityJacobOld(const float* paramDH, const float* joint_post, float JJ[6][6]);

// Joint velocities that give the flange a velocity, on the arm of mcb.robotType.
//
// q[6]: joint positions, degrees; comes back in radians, also on a refusal, so hand over a copy. endvel[6]:
// vx, vy, vz, m/s, wx, wy, wz, rad/s, base frame. jointvel[6]: output, rad/s; not the same array as endvel.
//
// Returns 0, or -1 with zvCtlIOVALUEError in mcb.ioError where the determinant of the Jacobian is exactly
// zero; jointvel is then left alone. Short of that a nearly singular pose gives very large velocities, which
// the caller limits. The inverse exchanges no rows, on purpose: where it meets a pivot of exactly zero, as
// with joint 1 at exactly 0 degrees, the velocities are no numbers, and next to that, also at 180 degrees,
// they are inaccurate. Cycle and command.
TARN_API int EndvelToJointvel(double* q, double* endvel, double* jointvel);

// ==== curve fit

// Fits the friction curve
//     f(v) = (fc + (fs - fc) * exp(-v^2 / qs^2)) * (1 - exp(-yita * v)) / (1 + exp(-yita * v)) + sita * v
// to measured pairs of velocity and torque, by damped least squares from a start point. It goes downhill into
// the nearest valley: a poor start gives a poor fit, and nothing tells.
//
// dim: number of pairs, 1 to 66. X0[5]: start, fc, fs (N m), qs (rad/s), yita (s/rad), sita (N m s/rad).
// xdata[dim]: rad/s. ydata[dim]: N m. x[5]: output, the best point found; may be X0. resnorm: output, sum of
// squared residuals at x, N^2 m^2, never above that of X0; where a better point had no finite slope, the sum
// is that point's and x the one before it. Data or a start with non-finite residuals give x = X0 and a
// non-finite resnorm. Any other dim gives x = X0 and resnorm = 0 and reads no data.
//
// Ends after 1000 evaluations of the curve or few more: milliseconds, so for commands only. One caller at a
// time. Call fitCurve_terminate after it.
TARN_API void fitCurve(const int dim, const double* X0, const double* xdata, const double* ydata, double* x,
                       double* resnorm);

// Fills in the non-finite numbers. fitCurve calls it itself, once until fitCurve_terminate.
TARN_API void fitCurve_initialize();
TARN_API void fitCurve_terminate();

}  // extern "C"
