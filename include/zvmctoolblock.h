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

}  // extern "C"
