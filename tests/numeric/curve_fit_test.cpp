// The library's fit is held against the same iteration written out anew below, bit by bit and evaluation by
// evaluation, and against the curve that the noise was laid over.
//
// This program is linked so that the library's exp() arrives here. The curve takes two exponentials a point
// and nothing else in the fit takes any: their number tells how often the curve was evaluated, and
// evaluations can be made to fail.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "numeric/curve_fit.h"
#include "numeric/non_finite.h"
#include "support/fixture.h"
#include "zvmctoolblock.h"

using fixture::kInf;
using fixture::kNan;

namespace {

struct {
    long calls;
    long failFirst, failEnd;  // the calls that give NaN
} exponential;

}  // namespace

extern "C" double __real_exp(double x);
extern "C" double __wrap_exp(double x) {
    const long call = exponential.calls++;
    return exponential.failFirst <= call && call < exponential.failEnd ? kNan : __real_exp(x);
}

namespace {

struct Data {
    std::string name;
    std::vector<double> v, y;  // rad/s, N m
    double start[5];
    int failFirst = 0, failEnd = 0;  // evaluations, counted from 0, that give NaN

    int points() const { return static_cast<int>(v.size()); }
};

struct Outcome {
    double x[5], resnorm;
    int evaluations;
    int code;  // why it ended, known to the written-out iteration alone
};

Outcome libraryFit(const Data& d) {
    Outcome out{};
    const int perEvaluation = 2 * d.points();
    exponential = {0, d.failFirst * perEvaluation, d.failEnd * perEvaluation};
    fitCurve(d.points(), d.start, d.v.data(), d.y.data(), out.x, &out.resnorm);
    EXPECT_EQ(exponential.calls % perEvaluation, 0) << d.name;
    out.evaluations = static_cast<int>(exponential.calls / perEvaluation);
    fitCurve_terminate();
    return out;
}

// ---- the iteration written out
//
// Long-hand on plain arrays. The damping keeps every column far above the lengths at which a reflector has to
// be rescaled, so that is left out.

double friction(const double* p, double v) {
    double h = __real_exp(-p[3] * v);
    double stribeck = p[0] + (p[1] - p[0]) * __real_exp(-(v * v) / (p[2] * p[2]));
    return stribeck * (1 - h) / (1 + h) + p[4] * v;
}

double scaledNorm(const double* first, int count, int stride) {
    double scale = 3.312168642111238e-170, sum = 0;
    for (; count > 0; count--, first += stride) {
        const double a = std::fabs(*first), ratio = a > scale ? scale / a : a / scale;
        sum = a > scale ? sum * ratio * ratio + 1 : sum + ratio * ratio;
        scale = std::max(scale, a);
    }
    return scale * std::sqrt(sum);
}

double hypotenuse(double a, double b) {
    const double large = std::max(std::fabs(a), std::fabs(b)),
                 q = std::min(std::fabs(a), std::fabs(b)) / large;
    return large * (q == 1 ? 1.4142135623730951 : std::sqrt(q * q + 1));
}

// The step of the damped problem, by a QR factorization that pivots columns.
void dampedStep(const std::vector<double>& J, const std::vector<double>& r, double gamma, double* dx) {
    const int n = static_cast<int>(r.size()), rows = n + 5;
    std::vector<double> all(rows * 6, 0.0);  // a row a point, then the damping; the right side in column 5
    const auto A = [&](int row, int column) -> double& { return all[6 * row + column]; };
    for (int row = 0; row < n; row++) {
        for (int k = 0; k < 5; k++) A(row, k) = J[5 * row + k];
        A(row, 5) = -r[row];
    }
    int order[5] = {0, 1, 2, 3, 4};
    double now[5], exact[5];
    for (int k = 0; k < 5; k++) {
        A(n + k, k) = std::sqrt(gamma);
        now[k] = exact[k] = scaledNorm(&A(0, k), rows, 6);
    }
    for (int i = 0; i < 5; i++) {
        const int best = static_cast<int>(std::max_element(now + i, now + 5) - now);
        for (int row = 0; row < rows && best != i; row++) std::swap(A(row, best), A(row, i));
        std::swap(order[best], order[i]);
        std::swap(now[best], now[i]);
        std::swap(exact[best], exact[i]);

        // reflector: v = (1, w), its w left under the diagonal
        const double alpha = A(i, i), tail = scaledNorm(&A(i, i) + 6, rows - i - 1, 6);
        if (tail != 0) {
            const double beta = alpha >= 0 ? -hypotenuse(alpha, tail) : hypotenuse(alpha, tail);
            const double tau = (beta - alpha) / beta, inverse = 1 / (alpha - beta);
            for (int row = i + 1; row < rows; row++) A(row, i) *= inverse;
            A(i, i) = beta;
            for (int k = i + 1; k < 6; k++) {
                double dot = A(i, k);
                for (int row = i + 1; row < rows; row++) dot += A(row, k) * A(row, i);
                dot *= tau;
                A(i, k) -= dot;
                for (int row = i + 1; row < rows; row++) A(row, k) -= A(row, i) * dot;
            }
        }
        for (int k = i + 1; k < 5; k++) {
            if (now[k] == 0) continue;
            const double share = std::fabs(A(i, k)) / now[k], left = std::max(1 - share * share, 0.0);
            const double ratio = now[k] / exact[k];
            if (left * (ratio * ratio) <= std::ldexp(1, -26))
                now[k] = exact[k] = scaledNorm(&A(i + 1, k), rows - i - 1, 6);
            else
                now[k] *= std::sqrt(left);
        }
    }
    for (int i = 4; i >= 0; i--) {
        for (int k = 4; k > i; k--) A(i, 5) -= A(k, 5) * A(i, k);
        dx[order[i]] = A(i, 5) /= A(i, i);
    }
}

Outcome writtenOut(const Data& d) {
    const int n = d.points();
    std::vector<double> r(n), trial(n), moved(n), J(n * 5, 0.0);
    Outcome out{};
    int& evaluations = out.evaluations;
    const auto evaluate = [&](const double* p, std::vector<double>& into) {
        const bool failing = d.failFirst <= evaluations && evaluations < d.failEnd;
        for (int k = 0; k < n; k++) into[k] = (failing ? kNan : friction(p, d.v[k])) - d.y[k];
        evaluations++;
        return std::all_of(into.begin(), into.end(), [](double e) { return std::isfinite(e); });
    };
    const auto squares = [](const std::vector<double>& e) {
        return std::inner_product(e.begin(), e.end(), e.begin(), 0.0);
    };
    const auto differences = [&](double* p, const std::vector<double>& at) {
        for (int k = 0; k < 5; k++) {
            const double keep = p[k], size = std::fabs(keep) > 1 ? std::fabs(keep) : 1.0;
            double step = std::ldexp(keep < 0 ? -size : size, -26);
            p[k] = keep + step;
            bool ok = evaluate(p, moved);
            if (!ok) {
                step = -step;
                p[k] = keep + step;
                ok = evaluate(p, moved);
            }
            p[k] = keep;
            if (!ok) return false;
            for (int i = 0; i < n; i++) J[5 * i + k] = (moved[i] - at[i]) / step;
        }
        return true;
    };
    const auto steepest = [&] {  // NaN if any is
        double top = 0;
        for (int k = 0; k < 5; k++) {
            double g = 0;
            for (int i = 0; i < n; i++) g += J[5 * i + k] * r[i];
            if (!std::isnan(top) && !(std::fabs(g) <= top)) top = std::fabs(g);
        }
        return top;
    };

    double *x = out.x, dx[5], next[5], gamma = 0.01, change = kInf;
    bool lastWorked = true;
    int iterations = 0;
    std::copy_n(d.start, 5, x);
    evaluate(x, r);
    out.resnorm = squares(r);
    differences(x, r);
    const double tolerance = std::max(std::ldexp(1, -26), steepest()) * 1e-10;
    out.code = steepest() <= tolerance ? 1 : -5;
    while (out.code == -5) {
        dampedStep(J, r, gamma, dx);
        for (int k = 0; k < 5; k++) next[k] = x[k] + dx[k];
        const bool finite = evaluate(next, trial), works = finite && squares(trial) < out.resnorm;
        if (works) {
            iterations++;
            change = std::fabs(squares(trial) - out.resnorm) / out.resnorm;
            out.resnorm = squares(trial);
            r = trial;
            if (!differences(next, trial)) {
                out.code = -9;  // left with a sum that is not x's
                break;
            }
            std::copy_n(next, 5, x);
        }
        gamma *= !works ? 10 : lastWorked ? 0.1 : 1;
        lastWorked = works;
        if (steepest() <= tolerance)
            out.code = 1;
        else if (evaluations >= 1000 || iterations >= 400)
            out.code = 0;
        else if (scaledNorm(dx, 5, 1) < (scaledNorm(x, 5, 1) + std::ldexp(1, -26)) * 1e-6)
            out.code = 4;
        else if (change <= 1e-6)
            out.code = 3;
    }
    return out;
}

// ---- data

double sumOfSquares(const Data& d, const double* p) {
    double sum = 0;
    for (int i = 0; i < d.points(); i++) {
        const double e = friction(p, d.v[i]) - d.y[i];
        sum += e * e;
    }
    return sum;
}

// Some drives' curves: fc, fs, qs, yita, sita.
const struct {
    bool fast;
    double p[5];
} kCurves[] = {
    {false, {1.2523, 1.3676, 0.0126, 2579.9799, 2.1091}},
    {true, {-9.4779, 1.4954, -6.0408, 20.2514, 1.5311}},
    {true, {5.7085, -2.5677, -4.4524, -19.6854, 1.9261}},
    {false, {5.3406, 12.4693, -0.012, 153.1699, 11.4372}},
    {false, {16.9667, 121.7087, 0.0089, 65.742, 86.3627}},
    {true, {-114.2515, 23.9152, -3.5737, 179.4015, 35.6362}},
};
constexpr int kCurveCount = std::size(kCurves);

// A sweep in both directions, 20 speeds up to 10 degrees/s or 30 from 20 degrees/s on, with noise of 1 % of
// the largest torque; start at the true curve with its parameters off by 15 to 20 %.
Data sweep(int curve) {
    const auto& c = kCurves[curve];
    Data d{"curve " + std::to_string(curve), {}, {}, {}};
    double largestTorque = 0;
    for (double direction : {-1.0, 1.0})
        for (int k = 0; k < (c.fast ? 30 : 20); k++) {
            const double degPerSecond = c.fast ? 19.8 + 3.6 * k : 0.2 + 0.49 * k;
            d.v.push_back(direction * degPerSecond * 0.017453292519943);
            d.y.push_back(friction(c.p, d.v.back()));
            largestTorque = std::max(largestTorque, std::fabs(d.y.back()));
        }
    std::mt19937 random(7);
    std::normal_distribution<double> noise(0, 0.01 * largestTorque);
    for (double& y : d.y) y += noise(random);
    for (int k = 0; k < 5; k++) d.start[k] = c.p[k] * (k % 2 == 0 ? 0.85 : 1.2);
    return d;
}

Data fromOnes(
    int curve, const std::string& name = "", void (*change)(Data&) = [](Data&) {}) {
    Data d = sweep(curve);
    std::fill_n(d.start, 5, 1.0);
    d.name += " from ones " + name;
    change(d);
    return d;
}

// Anything goes: few points or many, unknowns and velocities over four or twelve decades, data of no curve.
// Every third has velocities and unknowns in quarters, so that columns of the Jacobian come out equal. Every
// fifth is so steep that columns all but vanish in the factorization. Every seventh needs a second difference
// in its second Jacobian.
Data anyProblem(std::mt19937& random, int number) {
    const auto uniform = [&random] { return static_cast<double>(random()) / 4294967296.0 * 2 - 1; };
    const int reach = number % 5 == 0 ? 6 : 2;
    const auto decades = [&] { return uniform() * std::pow(10.0, reach * uniform()); };
    Data d{"problem " + std::to_string(number), {}, {}, {}};
    if (number % 7 == 0) d.failFirst = 8, d.failEnd = 9;
    do {
        const bool quarters = number % 3 == 0;
        const int points = 1 + static_cast<int>(random() % (number % 2 == 0 ? 8 : 66));
        const double speed = std::fabs(decades());
        d.v.assign(points, 0);
        d.y.assign(points, 0);
        for (double& v : d.v) v = quarters ? std::ceil(8 * uniform()) / 4 : speed * uniform();
        for (double& y : d.y) y = quarters ? std::ceil(4 * uniform()) : decades();
        for (double& p : d.start) p = quarters ? std::ceil(8 * uniform()) / 4 : decades();
        if (number % 5 == 1) {
            const double steep = number % 2 == 0 ? 1e10 : 1e14;
            for (double& v : d.v) v = steep * (1 + (number % 2 == 0 ? 1e-3 * uniform() : 0));
            d.start[1] *= steep;
            d.start[2] = steep * (1.5 + uniform());
            d.start[3] = (1.5 + uniform()) / steep;
        }
    } while (!std::isfinite(sumOfSquares(d, d.start)));
    return d;
}

[[nodiscard]] bool sameBits(const double* a, const double* b) {
    return std::memcmp(a, b, 5 * sizeof *a) == 0;
}

// ---- tests

TEST(CurveFit, StopsWhereTheWrittenOutIterationStops) {
    std::vector<Data> all;
    for (int curve = 0; curve < kCurveCount; curve++) {
        all.push_back(sweep(curve));
        all.push_back(fromOnes(curve));
    }
    std::mt19937 random(11);
    for (int k = 0; k < 1500; k++) all.push_back(anyProblem(random, k));
    all.push_back(fromOnes(5, "with as many points as there is room for", [](Data& d) {
        d.v.insert(d.v.end(), {0, 0.001, -0.001, 0.01, -0.01, 0.1});
        d.y.insert(d.y.end(), {0, 0.1, -0.1, 1, -1, 2});
    }));
    all.push_back(fromOnes(0, "to zero", [](Data& d) { d.y.assign(d.y.size(), 0.0); }));
    all.push_back(fromOnes(1, "without qs", [](Data& d) { d.start[2] = 0; }));
    all.push_back(fromOnes(1, "where the exponential overflows", [](Data& d) {
        for (double& v : d.v) v *= 100;
    }));
    // evaluations 0 to 5 are the start; from then on each kind is made to fail, once and several times
    // running
    for (int first = 6; first < 40; first++)
        for (int count : {1, 2, 3, 9}) {
            all.push_back(fromOnes(2, "failing " + std::to_string(first) + " + " + std::to_string(count)));
            all.back().failFirst = first;
            all.back().failEnd = first + count;
        }

    std::set<int> codes;
    for (const Data& d : all) {
        SCOPED_TRACE(d.name);
        const Outcome got = libraryFit(d), want = writtenOut(d);
        codes.insert(want.code);
        EXPECT_EQ(got.evaluations, want.evaluations);
        EXPECT_EQ(got.resnorm, want.resnorm);
        EXPECT_TRUE(sameBits(got.x, want.x));
        EXPECT_LE(got.resnorm, sumOfSquares(d, d.start));
        // a Jacobian that fails leaves with the sum of a point that x does not show
        const double atX = sumOfSquares(d, got.x);
        EXPECT_TRUE(want.code == -9 ? got.resnorm < atX : got.resnorm == atX) << got.resnorm << " " << atX;
    }
    EXPECT_EQ(codes, (std::set<int>{-9, 0, 1, 3, 4})) << "the data no longer reach every way out";
}

TEST(CurveFit, LeavesNoMoreThanTheTrueCurveLeavesAndStaysAtAnExactOne) {
    for (int curve = 0; curve < kCurveCount; curve++) {
        Data d = sweep(curve);
        EXPECT_LE(libraryFit(d).resnorm, sumOfSquares(d, kCurves[curve].p)) << d.name;
        for (int i = 0; i < d.points(); i++) d.y[i] = friction(d.start, d.v[i]);
        const Outcome got = libraryFit(d);
        EXPECT_TRUE(sameBits(got.x, d.start) && got.resnorm == 0.0) << d.name;
        EXPECT_EQ(got.evaluations, 6) << d.name;  // the start and its Jacobian
    }
}

// Every trial fails until the evaluations are used up, and the start is handed back.
TEST(CurveFit, NonFiniteDataGiveTheStartBack) {
    Data d = fromOnes(1);
    d.v[7] = 0;  // where a start without qs has no value either
    for (double bad : {kNan, kInf, -kInf})
        for (double* place : {&d.y[0], &d.y[59], &d.v[0], &d.v[31], &d.start[0], &d.start[2]}) {
            const double good = std::exchange(*place, place == &d.start[2] ? 0 : bad);
            const Outcome got = libraryFit(d);
            EXPECT_TRUE(sameBits(got.x, d.start)) << bad;
            EXPECT_FALSE(std::isfinite(got.resnorm)) << bad;
            EXPECT_EQ(got.evaluations, 1000) << bad;
            *place = good;
        }
}

TEST(CurveFit, TooFewOrTooManyPointsReturnAtOnce) {
    const double start[5] = {1, -2, 3, kNan, 5};
    for (int dim : {0, -1, INT_MIN, 67, INT_MAX}) {
        double x[5] = {}, resnorm = 9;
        exponential = {};
        fitCurve(dim, start, nullptr, nullptr, x, &resnorm);
        EXPECT_TRUE(sameBits(x, start)) << dim;
        EXPECT_EQ(resnorm, 0.0) << dim;
        EXPECT_EQ(exponential.calls, 0) << dim;
    }
}

TEST(CurveFit, InitializesOnceUntilTerminated) {
    const Data d = sweep(4);
    const Outcome apart = libraryFit(d);  // and terminates
    for (double filledIn : {kInf, 0.0}) {
        tarn::nonFinite = {};
        double x[5], resnorm;
        std::copy_n(d.start, 5, x);
        fitCurve(d.points(), x, d.v.data(), d.y.data(), x, &resnorm);  // in place
        EXPECT_TRUE(sameBits(x, apart.x));
        EXPECT_EQ(tarn::isInitialized_fitCurve, 1);
        EXPECT_EQ(tarn::nonFinite.rtInf, filledIn);
    }
    fitCurve_terminate();
    EXPECT_EQ(tarn::isInitialized_fitCurve, 0);
    fitCurve_initialize();
    EXPECT_EQ(tarn::nonFinite.rtInf, kInf);
}

}  // namespace
