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

// ---- filters; all sampled at 1 kHz

// History of the fixed filter sections, of up to three signals at once. Rows are samples in time, the newest
// at `index`, columns the six joints or axes. Output rows hold the deviation from the offset, "after" rows
// the offset added back. Units are those of the signal.
struct filter {
    double j_pos[6][6];            //           first signal: input
    double prej_pos[6][6];         //           first signal: output
    double afterj_pos[6][6];       //           first signal: output with offset
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

}  // extern "C"
