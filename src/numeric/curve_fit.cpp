// Least squares fit of the friction curve: Levenberg-Marquardt, forward differences, and for each step a QR
// factorization with column pivoting of the Jacobian over its damping block.
//
// The result is the point where the iteration stops. The order of operations, the constants, the tests and
// their order are therefore part of what the fit is; a tidier sum somewhere moves the parameters it finds.
#include "numeric/curve_fit.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "numeric/non_finite.h"

namespace tarn {

boolean_T isInitialized_fitCurve;

namespace {

constexpr int kUnknowns = 5;  // fc, fs, qs, yita, sita, in this order
constexpr int kMaxPoints = sizeof(struct_T::xdata) / sizeof(double);
constexpr int kMaxRows = kMaxPoints + kUnknowns;

using Unknowns = double[kUnknowns];
using Residuals = double[kMaxPoints];
using Jacobian = double[kMaxPoints][kUnknowns];  // a row a point
using Columns = double[kUnknowns][kMaxRows];     // a column an unknown: Jacobian, under it the damping block
using RightSide = double[kMaxRows];

constexpr double kRootEpsilon = 1.4901161193847656e-08;  // 2^-26, root of the spacing of doubles at 1

constexpr double kFirstDamping = 0.01;
constexpr double kDampingDown = 0.1;
constexpr double kDampingUp = 10.0;

constexpr double kGradientTolerance = 1e-10;  // relative to the gradient at the start
constexpr double kStepTolerance = 1e-06;      // relative to the unknowns
constexpr double kFunctionTolerance = 1e-06;  // relative change of the sum of squares
constexpr int kMaxEvaluations = 1000;
constexpr int kMaxIterations = 400;

enum class Exit { Undecided = -5, LimitReached = 0, FlatGradient = 1, StillSum = 3, ShortStep = 4 };

// ---- norms

// 2-norm, as a sum of squares relative to the largest element so far, so that no square overflows.
double xnrm2(int n, const double* x) {
    double scale = 3.312168642111238e-170;
    double y = 0.0;
    for (int k = 0; k < n; k++) {
        const double magnitude = std::fabs(x[k]);
        if (magnitude > scale) {
            const double t = scale / magnitude;
            y = y * t * t + 1.0;
            scale = magnitude;
        } else {
            const double t = magnitude / scale;
            y += t * t;
        }
    }
    return scale * std::sqrt(y);
}

double rt_hypotd_snf(double u0, double u1) {
    double a = std::fabs(u0);
    double y = std::fabs(u1);
    if (a < y) {
        a /= y;
        return y * std::sqrt(a * a + 1.0);
    }
    if (a > y) {
        y /= a;
        return a * std::sqrt(y * y + 1.0);
    }
    return std::isnan(y) ? y : a * 1.4142135623730951;
}

// A NaN anywhere makes the norm NaN, so that no tolerance is met.
double infinityNorm(const Unknowns& v) {
    double norm = 0.0;
    for (double element : v) {
        const double magnitude = std::fabs(element);
        if (std::isnan(magnitude) || magnitude > norm) norm = magnitude;
    }
    return norm;
}

double sumOfSquares(int n, const Residuals& r) {
    double sum = 0.0;
    for (int k = 0; k < n; k++) sum += r[k] * r[k];
    return sum;
}

// ---- the model and its derivatives

// Stribeck curve with a smooth sign, and viscous friction; v in rad/s, N m. The smooth sign stays a quotient
// of exponentials: where they overflow decides which trial points count as failures.
double fitCurve_anonFcn1(const Unknowns& p, double v) {
    const double fc = p[0], fs = p[1], qs = p[2], yita = p[3], sita = p[4];
    const double e = std::exp(-yita * v);
    return (fc + (fs - fc) * std::exp(-(v * v) / (qs * qs))) * (1.0 - e) / (1.0 + e) + sita * v;
}

// r = model(p) - ydata. Tells whether all of r is finite.
bool evaluateResiduals(int dim, const struct_T& data, const Unknowns& p, Residuals& r) {
    bool allFinite = true;
    for (int row = 0; row < dim; row++) {
        r[row] = fitCurve_anonFcn1(p, data.xdata[row]) - data.ydata[row];
        if (!std::isfinite(r[row])) allFinite = false;
    }
    return allFinite;
}

void fillRecord(int dim, const double* xdata, const double* ydata, c_struct_T& obj) {
    obj = {};
    struct_T& data = obj.nonlin.workspace.fun.workspace;
    std::copy_n(xdata, dim, data.xdata);
    std::copy_n(ydata, dim, data.ydata);
    obj.nVar = kUnknowns;
    obj.mEq = dim;
}

// Residuals with unknown idx moved by deltaX, into cEq_1. Tells whether they are all finite.
bool finDiffEvalAndChkErr(int dim, c_struct_T& obj, int idx, double deltaX, Unknowns& xk) {
    const double old = xk[idx];
    xk[idx] += deltaX;
    const bool evalOK = evaluateResiduals(dim, obj.nonlin.workspace.fun.workspace, xk, obj.cEq_1);
    xk[idx] = old;
    obj.numEvals++;
    return evalOK;
}

// Away from zero, and no shorter than for a magnitude of 1, which also a NaN counts as.
double differenceStep(double x) {
    const double sign = x < 0.0 ? -1.0 : 1.0;
    const double magnitude = std::fabs(x) > 1.0 ? std::fabs(x) : 1.0;
    return kRootEpsilon * sign * magnitude;
}

// J from differences to cEqCurrent, the residuals at xk. False when a column has values that are not finite
// on either side of xk; that column and the ones after it then keep what they had.
bool computeFiniteDifferences(int dim, c_struct_T& obj, const Residuals& cEqCurrent, Unknowns& xk,
                              Jacobian& JacCeqTrans) {
    obj.numEvals = 0;
    for (int idx = 0; idx < kUnknowns; idx++) {
        double deltaX = differenceStep(xk[idx]);
        if (!finDiffEvalAndChkErr(dim, obj, idx, deltaX, xk)) {
            deltaX = -deltaX;
            if (!finDiffEvalAndChkErr(dim, obj, idx, deltaX, xk)) return false;
        }
        for (int row = 0; row < dim; row++)
            JacCeqTrans[row][idx] = (obj.cEq_1[row] - cEqCurrent[row]) / deltaX;
    }
    return true;
}

// gradf = J' r
void gradient(int dim, const Jacobian& J, const Residuals& r, Unknowns& gradf) {
    for (int idx = 0; idx < kUnknowns; idx++) {
        gradf[idx] = 0.0;
        for (int row = 0; row < dim; row++) gradf[idx] += J[row][idx] * r[row];
    }
}

// Jacobian on top, sqrt(gamma) times the identity under it. The factorization of a step destroys both.
void augmentJacobian(int dim, const Jacobian& J, double gamma, Columns& augJacobian) {
    const double diagonal = std::sqrt(gamma);
    for (int idx = 0; idx < kUnknowns; idx++) {
        double* column = augJacobian[idx];
        for (int row = 0; row < dim; row++) column[row] = J[row][idx];
        std::fill_n(column + dim, kUnknowns, 0.0);
        column[dim + idx] = diagonal;
    }
}

// ---- QR factorization with column pivoting, A P = Q R
//
// R replaces the upper triangle of A. Reflector i is I - tau v v' on the rows from i down; its v, whose first
// element is 1 and not stored, stands in column i under the diagonal.

// Makes of alpha and the n - 1 elements of x the reflector that maps them to (beta, 0): beta goes to alpha,
// the rest of v to x. Returns tau, 0 where x is zero already.
double xzlarfg(int n, double& alpha, double* x) {
    constexpr double kSmallest = 1.0020841800044864e-292;
    constexpr double kLargest = 9.9792015476736e+291;  // its reciprocal

    double xnorm = xnrm2(n - 1, x);
    if (xnorm == 0.0) return 0.0;

    const auto negativeOfSign = [&alpha](double length) { return alpha >= 0.0 ? -length : length; };
    double beta = negativeOfSign(rt_hypotd_snf(alpha, xnorm));

    // too small for its reciprocal: work on a larger copy of the same direction
    int rescaled = 0;
    if (std::fabs(beta) < kSmallest) {
        while (std::fabs(beta) < kSmallest) {
            rescaled++;
            for (int k = 0; k < n - 1; k++) x[k] *= kLargest;
            beta *= kLargest;
            alpha *= kLargest;
        }
        xnorm = xnrm2(n - 1, x);
        beta = negativeOfSign(rt_hypotd_snf(alpha, xnorm));
    }

    const double tau = (beta - alpha) / beta;
    const double toUnitLead = 1.0 / (alpha - beta);
    for (int k = 0; k < n - 1; k++) x[k] *= toUnitLead;
    for (; rescaled > 0; rescaled--) beta *= kSmallest;
    alpha = beta;
    return tau;
}

// Applies reflector i, its leading 1 in place, to the columns on its right: C = C - tau v (C' v)'. Zeros that
// end v and columns of zeros that end C are left out.
void xzlarf(int m, int i, double tau, Columns& a) {
    if (tau == 0.0) return;
    const double* v = a[i];

    int rowEnd = m;
    while (rowEnd > i && v[rowEnd - 1] == 0.0) rowEnd--;
    const auto isZero = [&](const double* column) {
        return std::all_of(column + i, column + rowEnd, [](double element) { return element == 0.0; });
    };
    int columnEnd = kUnknowns;
    while (columnEnd > i + 1 && isZero(a[columnEnd - 1])) columnEnd--;

    for (int j = i + 1; j < columnEnd; j++) {
        double work = 0.0;
        for (int row = i; row < rowEnd; row++) work += a[j][row] * v[row];
        const double factor = -tau * work;
        for (int row = i; row < rowEnd; row++) a[j][row] += v[row] * factor;
    }
}

// Norms of the columns over the rows not yet factorized: carried along by updates, and as last taken exactly.
struct ColumnNorms {
    Unknowns partial, exact;
};

// Among the columns from i on, the first of those with the largest norm left.
int pivotColumn(int i, const ColumnNorms& norms) {
    int pivot = i;
    for (int j = i + 1; j < kUnknowns; j++)
        if (norms.partial[j] > norms.partial[pivot]) pivot = j;
    return pivot;
}

void swapPivotIn(int m, int i, int pivot, Columns& a, int (&jpvt)[kUnknowns], ColumnNorms& norms) {
    if (pivot == i) return;
    std::swap_ranges(a[pivot], a[pivot] + m, a[i]);
    std::swap(jpvt[pivot], jpvt[i]);
    std::swap(norms.partial[pivot], norms.partial[i]);
    std::swap(norms.exact[pivot], norms.exact[i]);
}

// Takes row i, now part of R, out of the norms of the columns on the right. Where cancellation would leave
// too few digits, the norm is taken anew from the rows below.
void downdateNorms(int m, int i, const Columns& a, ColumnNorms& norms) {
    for (int j = i + 1; j < kUnknowns; j++) {
        double& d = norms.partial[j];
        if (d == 0.0) continue;
        const double share = std::fabs(a[j][i]) / d;
        double temp = 1.0 - share * share;
        if (temp < 0.0) temp = 0.0;
        const double sinceExact = d / norms.exact[j];
        const double s = temp * (sinceExact * sinceExact);
        if (s <= kRootEpsilon) {
            d = xnrm2(m - i - 1, a[j] + i + 1);
            norms.exact[j] = d;
        } else {
            d *= std::sqrt(temp);
        }
    }
}

// jpvt[i]: number of the column, from 1, that became column i.
void factorize(int m, Columns& a, int (&jpvt)[kUnknowns], Unknowns& tau) {
    ColumnNorms norms;
    for (int j = 0; j < kUnknowns; j++) {
        jpvt[j] = j + 1;
        norms.partial[j] = norms.exact[j] = xnrm2(m, a[j]);
    }
    for (int i = 0; i < kUnknowns; i++) {
        swapPivotIn(m, i, pivotColumn(i, norms), a, jpvt, norms);
        double* diagonal = a[i] + i;
        tau[i] = xzlarfg(m - i, *diagonal, diagonal + 1);

        const double beta = *diagonal;
        *diagonal = 1.0;
        xzlarf(m, i, tau[i], a);
        *diagonal = beta;

        downdateNorms(m, i, a, norms);
    }
}

// rhs = Q' rhs
void applyReflectors(int m, const Columns& a, const Unknowns& tau, RightSide& rhs) {
    for (int i = 0; i < kUnknowns; i++) {
        if (tau[i] == 0.0) continue;
        const double* v = a[i];
        double work = rhs[i];
        for (int row = i + 1; row < m; row++) work += v[row] * rhs[row];
        work *= tau[i];
        rhs[i] -= work;
        for (int row = i + 1; row < m; row++) rhs[row] -= v[row] * work;
    }
}

// Solves R z = z in place, a column of R at a time. No rank test: a zero on the diagonal gives values that
// are not finite, and the step fails.
void backSubstitute(const Columns& a, Unknowns& z) {
    for (int i = kUnknowns - 1; i >= 0; i--) {
        z[i] /= a[i][i];
        for (int row = i - 1; row >= 0; row--) z[row] -= z[i] * a[i][row];
    }
}

// dx of the least squares problem lhs dx = rhs. lhs and rhs are used up.
void linearLeastSquares(int dim, Columns& lhs, RightSide& rhs, Unknowns& dx) {
    const int m = dim + kUnknowns;
    int jpvt[kUnknowns];
    Unknowns tau, permuted;
    factorize(m, lhs, jpvt, tau);
    applyReflectors(m, lhs, tau, rhs);
    std::copy_n(rhs, kUnknowns, permuted);
    backSubstitute(lhs, permuted);
    for (int i = 0; i < kUnknowns; i++) dx[jpvt[i] - 1] = permuted[i];
}

// Step of the damped problem: J dx = -r on top, sqrt(gamma) dx = 0 under it.
void solveStep(int dim, const Residuals& r, Columns& augJacobian, Unknowns& dx) {
    RightSide rhs;
    for (int row = 0; row < dim; row++) rhs[row] = -r[row];
    std::fill_n(rhs + dim, kUnknowns, 0.0);
    linearLeastSquares(dim, augJacobian, rhs, dx);
}

// ---- when to stop

Exit initialTest(double gradientNorm, double relFactor, int numEvals) {
    if (gradientNorm <= relFactor * kGradientTolerance) return Exit::FlatGradient;
    if (numEvals >= kMaxEvaluations - 1) return Exit::LimitReached;
    return Exit::Undecided;
}

Exit checkStoppingCriteria(const Unknowns& gradf, double relFactor, double funDiff, const Unknowns& x,
                           const Unknowns& dx, int funcCount, bool stepSuccessful, int& iter) {
    if (infinityNorm(gradf) <= relFactor * kGradientTolerance) return Exit::FlatGradient;
    if (funcCount >= kMaxEvaluations) return Exit::LimitReached;
    if (iter >= kMaxIterations) return Exit::LimitReached;
    if (xnrm2(kUnknowns, dx) < (xnrm2(kUnknowns, x) + kRootEpsilon) * kStepTolerance) {
        if (!stepSuccessful) iter++;
        return Exit::ShortStep;
    }
    if (funDiff <= kFunctionTolerance) return Exit::StillSum;
    return Exit::Undecided;
}

// A single success after a failure leaves the damping alone.
double nextDamping(double gamma, bool success, bool previousSuccess) {
    if (!success) return gamma * kDampingUp;
    return previousSuccess ? gamma * kDampingDown : gamma;
}

// ---- the iteration

// x: the start, then the best point. Returns its sum of squares.
double levenbergMarquardt(int dim, c_struct_T& obj, Unknowns& x) {
    const struct_T& data = obj.nonlin.workspace.fun.workspace;
    Unknowns xp, dx, gradf;
    Residuals r, fNew;
    Jacobian JacCeqTrans = {};  // zero where the differences at the start fail
    Columns augJacobian;

    std::fill_n(dx, kUnknowns, nonFinite.rtInf);
    double funDiff = nonFinite.rtInf;
    int iter = 0;
    double b_gamma = kFirstDamping;
    bool stepSuccessful = true;  // no step has failed yet: a first success already lowers the damping

    evaluateResiduals(dim, data, x, r);
    double resnorm = sumOfSquares(dim, r);
    computeFiniteDifferences(dim, obj, r, x, JacCeqTrans);
    int funcCount = obj.numEvals + 1;
    augmentJacobian(dim, JacCeqTrans, b_gamma, augJacobian);
    gradient(dim, JacCeqTrans, r, gradf);

    const double gradientNorm = infinityNorm(gradf);
    const double relFactor = gradientNorm > kRootEpsilon ? gradientNorm : kRootEpsilon;
    Exit exit = initialTest(gradientNorm, relFactor, obj.numEvals);

    while (exit == Exit::Undecided) {
        solveStep(dim, r, augJacobian, dx);
        for (int i = 0; i < kUnknowns; i++) xp[i] = x[i] + dx[i];
        const bool evalOK = evaluateResiduals(dim, data, xp, fNew);
        const double c = sumOfSquares(dim, fNew);
        funcCount++;

        const bool success = c < resnorm && evalOK;
        if (success) {
            iter++;
            funDiff = std::fabs(c - resnorm) / resnorm;
            resnorm = c;
            c_struct_T trial = obj;
            const bool jacobianOK = computeFiniteDifferences(dim, trial, fNew, xp, JacCeqTrans);
            funcCount += trial.numEvals;
            std::copy_n(fNew, dim, r);
            if (!jacobianOK) break;  // on purpose: x is the point before, resnorm already that of xp
            std::copy_n(xp, kUnknowns, x);
        }
        b_gamma = nextDamping(b_gamma, success, stepSuccessful);
        stepSuccessful = success;

        augmentJacobian(dim, JacCeqTrans, b_gamma, augJacobian);
        gradient(dim, JacCeqTrans, r, gradf);
        exit = checkStoppingCriteria(gradf, relFactor, funDiff, x, dx, funcCount, stepSuccessful, iter);
    }
    return resnorm;
}

}  // namespace
}  // namespace tarn

void fitCurve_initialize() {
    rt_InitInfAndNaN();
    tarn::isInitialized_fitCurve = 1;
}

void fitCurve_terminate() { tarn::isInitialized_fitCurve = 0; }

void fitCurve(const int dim, const double* X0, const double* xdata, const double* ydata, double* x,
              double* resnorm) {
    tarn::Unknowns best;
    std::copy_n(X0, tarn::kUnknowns, best);
    *resnorm = 0.0;
    if (dim >= 1 && dim <= tarn::kMaxPoints) {
        if (!tarn::isInitialized_fitCurve) fitCurve_initialize();
        c_struct_T obj;
        tarn::fillRecord(dim, xdata, ydata, obj);
        *resnorm = tarn::levenbergMarquardt(dim, obj, best);
    }
    std::copy_n(best, tarn::kUnknowns, x);
}
