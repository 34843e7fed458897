// The library's fit is held against the same iteration written out anew below, bit by bit and evaluation by
// evaluation, and against the best fit that a search finds in the same valley.
//
// This program is linked so that the library's exp() arrives here. The curve takes two exponentials a point
// and nothing else in the fit takes any: their number tells how often the curve was evaluated, and
// evaluations can be made to fail.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <set>
#include <string>
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
        double a = std::fabs(*first);
        if (a > scale) {
            double ratio = scale / a;
            sum = sum * ratio * ratio + 1;
            scale = a;
        } else {
            double ratio = a / scale;
            sum += ratio * ratio;
        }
    }
    return scale * std::sqrt(sum);
}

double largest(const double* g) {
    double m = 0;
    for (int k = 0; k < 5; k++)
        if (!std::isnan(m) && !(std::fabs(g[k]) <= m)) m = std::fabs(g[k]);
    return m;
}

double hypotenuse(double a, double b) {
    a = std::fabs(a);
    b = std::fabs(b);
    if (std::isnan(a) || std::isnan(b)) return kNan;
    if (a == b) return a * 1.4142135623730951;
    double small = std::min(a, b), large = std::max(a, b);
    double q = small / large;
    return large * std::sqrt(q * q + 1);
}

Outcome writtenOut(const Data& d) {
    const int n = static_cast<int>(d.v.size()), rows = n + 5;
    std::vector<double> r(n), trial(n), moved(n), J(n * 5, 0.0), A(rows * 5), b(rows);
    Outcome out{};
    int& evaluations = out.evaluations;
    int iterations = 0;
    auto evaluate = [&](const double* p, std::vector<double>& into) {
        bool finite = true;
        bool failing = d.failFirst <= evaluations && evaluations < d.failEnd;
        for (int k = 0; k < n; k++) {
            into[k] = (failing ? kNan : friction(p, d.v[k])) - d.y[k];
            finite = finite && std::isfinite(into[k]);
        }
        evaluations++;
        return finite;
    };
    auto differences = [&](double* p, const std::vector<double>& at) {
        for (int k = 0; k < 5; k++) {
            double size = std::fabs(p[k]) > 1 ? std::fabs(p[k]) : 1.0, keep = p[k];
            double step = std::ldexp(p[k] < 0 ? -size : size, -26);
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
    auto slope = [&](double* g) {
        for (int k = 0; k < 5; k++) g[k] = 0;
        for (int i = 0; i < n; i++)
            for (int k = 0; k < 5; k++) g[k] += J[5 * i + k] * r[i];
    };

    double x[5], dx[5], next[5], g[5], gamma = 0.01, change = kInf;
    bool lastWorked = true;
    for (int k = 0; k < 5; k++) x[k] = d.start[k];
    evaluate(x, r);
    double sum = 0;
    for (double e : r) sum += e * e;
    differences(x, r);
    slope(g);
    double top = largest(g);
    double factor = top > std::ldexp(1, -26) ? top : std::ldexp(1, -26);
    out.code = top <= factor * 1e-10 ? 1 : -5;

    while (out.code == -5) {
        // matrix and right side, a row a point, then the damping
        for (int i = 0; i < rows; i++) {
            for (int k = 0; k < 5; k++)
                A[5 * i + k] = i < n ? J[5 * i + k] : (i - n == k ? std::sqrt(gamma) : 0.0);
            b[i] = i < n ? -r[i] : 0.0;
        }
        int order[5] = {0, 1, 2, 3, 4};
        double now[5], exact[5];
        for (int k = 0; k < 5; k++) now[k] = exact[k] = scaledNorm(&A[k], rows, 5);
        for (int i = 0; i < 5; i++) {
            int best = i;
            for (int k = i; k < 5; k++)
                if (now[k] > now[best]) best = k;
            if (best != i) {
                for (int row = 0; row < rows; row++) std::swap(A[5 * row + best], A[5 * row + i]);
                std::swap(order[best], order[i]);
                std::swap(now[best], now[i]);
                std::swap(exact[best], exact[i]);
            }
            // reflector: v = (1, w), its w left under the diagonal
            double alpha = A[6 * i], tail = scaledNorm(&A[6 * i] + 5, rows - i - 1, 5), tau = 0;
            if (tail != 0) {
                double beta = hypotenuse(alpha, tail);
                if (alpha >= 0) beta = -beta;
                tau = (beta - alpha) / beta;
                double inverse = 1 / (alpha - beta);
                for (int row = i + 1; row < rows; row++) A[5 * row + i] *= inverse;
                alpha = beta;
            }
            A[6 * i] = alpha;
            if (tau != 0) {
                for (int k = i + 1; k < 5; k++) {
                    double dot = A[5 * i + k];
                    for (int row = i + 1; row < rows; row++) dot += A[5 * row + k] * A[5 * row + i];
                    dot *= tau;
                    A[5 * i + k] -= dot;
                    for (int row = i + 1; row < rows; row++) A[5 * row + k] -= A[5 * row + i] * dot;
                }
                double dot = b[i];
                for (int row = i + 1; row < rows; row++) dot += A[5 * row + i] * b[row];
                dot *= tau;
                b[i] -= dot;
                for (int row = i + 1; row < rows; row++) b[row] -= A[5 * row + i] * dot;
            }
            for (int k = i + 1; k < 5; k++) {
                if (now[k] == 0) continue;
                double left = 1 - (std::fabs(A[5 * i + k]) / now[k]) * (std::fabs(A[5 * i + k]) / now[k]);
                if (left < 0) left = 0;
                double ratio = now[k] / exact[k];
                if (left * (ratio * ratio) <= std::ldexp(1, -26))
                    now[k] = exact[k] = scaledNorm(&A[5 * (i + 1) + k], rows - i - 1, 5);
                else
                    now[k] *= std::sqrt(left);
            }
        }
        for (int i = 4; i >= 0; i--) {
            for (int k = 4; k > i; k--) b[i] -= b[k] * A[5 * i + k];
            b[i] /= A[6 * i];
        }
        for (int i = 0; i < 5; i++) dx[order[i]] = b[i];

        for (int k = 0; k < 5; k++) next[k] = x[k] + dx[k];
        bool finite = evaluate(next, trial);
        double c = 0;
        for (double e : trial) c += e * e;
        if (finite && c < sum) {
            iterations++;
            change = std::fabs(c - sum) / sum;
            sum = c;
            bool ok = differences(next, trial);
            r = trial;
            if (!ok) {
                out.code = -9;  // left with a sum that is not x's
                break;
            }
            for (int k = 0; k < 5; k++) x[k] = next[k];
            if (lastWorked) gamma *= 0.1;
            lastWorked = true;
        } else {
            gamma *= 10;
            lastWorked = false;
        }
        slope(g);
        if (largest(g) <= factor * 1e-10)
            out.code = 1;
        else if (evaluations >= 1000 || iterations >= 400)
            out.code = 0;
        else if (scaledNorm(dx, 5, 1) < (scaledNorm(x, 5, 1) + std::ldexp(1, -26)) * 1e-6)
            out.code = 4;
        else if (change <= 1e-6)
            out.code = 3;
    }
    for (int k = 0; k < 5; k++) out.x[k] = x[k];
    out.resnorm = sum;
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

// The drives' curves: fc, fs, qs, yita, sita.
const struct {
    const char* name;
    bool fast;
    double p[5];
} kCurves[] = {
    {"14 low", false, {1.2523, 1.3676, 0.0126, 2579.9799, 2.1091}},
    {"14 high", true, {-9.4779, 1.4954, -6.0408, 20.2514, 1.5311}},
    {"17 low", false, {2.1779, 8.8225, 0.0073, 151.1883, 3.5497}},
    {"17 high", true, {5.7085, -2.5677, -4.4524, -19.6854, 1.9261}},
    {"25 low", false, {5.3406, 12.4693, -0.012, 153.1699, 11.4372}},
    {"25 high", true, {13.6401, 6.8902, 0.6317, 21.9747, 1.3145}},
    {"25 stiff low", false, {10.024, 41.523, 0.0033, 329.9324, 28.289}},
    {"25 stiff high", true, {-71.7434, 11.3021, 4.42725, 23.9343, 17.9582}},
    {"32 low", false, {12.1015, 15.2203, 0.0169, 775.8381, 23.7299}},
    {"32 high", true, {-21.0712, 13.5558, -2.6147, 48.6744, 14.8233}},
    {"40 low", false, {16.9667, 121.7087, 0.0089, 65.742, 86.3627}},
    {"40 high", true, {-114.2515, 23.9152, -3.5737, 179.4015, 35.6362}},
};

// A sweep in both directions, 20 speeds up to 10 degrees/s or 30 from 20 degrees/s on, with noise of 1 % of
// the largest torque; start at the true curve with its parameters off by 15 to 20 %.
Data sweep(int curve) {
    const auto& c = kCurves[curve];
    Data d{c.name, {}, {}, {}};
    double largestTorque = 0;
    for (double direction : {-1.0, 1.0})
        for (int k = 0; k < (c.fast ? 30 : 20); k++) {
            const double degPerSecond = c.fast ? 19.8 + 3.6 * k : 0.2 + 0.49 * k;
            d.v.push_back(direction * degPerSecond * 0.017453292519943);
            d.y.push_back(friction(c.p, d.v.back()));
            largestTorque = std::max(largestTorque, std::fabs(d.y.back()));
        }
    std::mt19937 random(7);
    for (double& y : d.y) {
        double normal = -6;
        for (int k = 0; k < 12; k++) normal += static_cast<double>(random()) / 4294967296.0;
        y += 0.01 * largestTorque * normal;
    }
    for (int k = 0; k < 5; k++) d.start[k] = c.p[k] * (k % 2 == 0 ? 0.85 : 1.2);
    return d;
}

Data fromOnes(Data d) {
    std::fill_n(d.start, 5, 1.0);
    d.name += " from ones";
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

// Smallest sum of squares for given qs and yita: the other three unknowns are linear, and Gram-Schmidt takes
// out of the data what they can explain.
double projectedSum(const Data& d, double qs, double yita) {
    const int n = d.points();
    std::vector<double> basis[3], left = d.y;
    for (double v : d.v) {
        const double sign = std::tanh(yita * v / 2);
        basis[0].push_back(sign);
        basis[1].push_back(sign * __real_exp(-v * v / (qs * qs)));
        basis[2].push_back(v);
    }
    const auto dot = [n](const std::vector<double>& a, const std::vector<double>& b) {
        double sum = 0;
        for (int i = 0; i < n; i++) sum += a[i] * b[i];
        return sum;
    };
    const auto takeOut = [&](const std::vector<double>& unit, std::vector<double>& from) {
        const double share = dot(unit, from);
        for (int i = 0; i < n; i++) from[i] -= share * unit[i];
    };
    for (int k = 0; k < 3; k++) {
        for (int pass = 0; pass < 2; pass++)
            for (int j = 0; j < k; j++) takeOut(basis[j], basis[k]);
        const double length = std::sqrt(dot(basis[k], basis[k]));
        for (double& e : basis[k]) e /= length;
        takeOut(basis[k], left);
    }
    return dot(left, left);
}

// Best sum with |qs| and |yita| within a factor of 2 of the true curve's, by ever finer grids.
double bestInValley(const Data& d, const double* truth) {
    double qs = std::log(std::fabs(truth[2])), yita = std::log(std::fabs(truth[3])), reach = std::log(2.0);
    double best = kInf;
    for (int zoom = 0; zoom < 8; zoom++, reach /= 6) {
        const double qsMid = qs, yitaMid = yita;
        for (int i = -20; i <= 20; i++)
            for (int j = -20; j <= 20; j++) {
                const double a = qsMid + reach * i / 20, b = yitaMid + reach * j / 20;
                const double sum = projectedSum(d, __real_exp(a), __real_exp(b));
                if (sum < best) best = sum, qs = a, yita = b;
            }
    }
    return best;
}

[[nodiscard]] bool sameBits(const double* a, const double* b) {
    return std::memcmp(a, b, 5 * sizeof *a) == 0;
}

// ---- tests

TEST(CurveFit, StopsWhereTheWrittenOutIterationStops) {
    std::vector<Data> all;
    for (int curve = 0; curve < 12; curve++) {
        all.push_back(sweep(curve));
        all.push_back(fromOnes(sweep(curve)));
    }
    std::mt19937 random(11);
    for (int k = 0; k < 1500; k++) all.push_back(anyProblem(random, k));
    Data full = sweep(5);  // as many points as there is room for
    full.v.insert(full.v.end(), {0, 0.001, -0.001, 0.01, -0.01, 0.1});
    full.y.insert(full.y.end(), {0, 0.1, -0.1, 1, -1, 2});
    all.push_back(full);
    Data zeros = fromOnes(sweep(0));
    std::fill(zeros.y.begin(), zeros.y.end(), 0.0);
    all.push_back(zeros);
    Data overflow = fromOnes(sweep(1));  // trial points reach where the exponential overflows
    for (double& v : overflow.v) v *= 100;
    all.push_back(overflow);
    // evaluations 0 to 5 are the start; from then on each kind is made to fail, once and several times
    // running
    for (int first = 6; first < 40; first++)
        for (int count : {1, 2, 3, 9}) {
            Data d = fromOnes(sweep(3));
            d.failFirst = first;
            d.failEnd = first + count;
            d.name += " failing " + std::to_string(first) + " + " + std::to_string(count);
            all.push_back(d);
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

TEST(CurveFit, FindsTheBestCurveOfItsValley) {
    for (int curve = 0; curve < 12; curve++) {
        const Data d = sweep(curve);
        const double best = bestInValley(d, kCurves[curve].p);
        EXPECT_LE(libraryFit(d).resnorm, 1.01 * best) << d.name;
    }
}

TEST(CurveFit, AnExactStartIsTheResult) {
    Data d = sweep(2);
    for (int i = 0; i < d.points(); i++) d.y[i] = friction(d.start, d.v[i]);
    const Outcome got = libraryFit(d);
    EXPECT_TRUE(sameBits(got.x, d.start));
    EXPECT_EQ(got.resnorm, 0.0);
    EXPECT_EQ(got.evaluations, 6);  // the start and its Jacobian
}

TEST(CurveFit, DrivesZeroDataToAZeroCurve) {
    Data d = fromOnes(sweep(1));
    std::fill(d.y.begin(), d.y.end(), 0.0);
    const Outcome got = libraryFit(d);
    EXPECT_LT(got.resnorm, 1e-9 * sumOfSquares(d, d.start));
    for (double v : d.v) EXPECT_NEAR(friction(got.x, v), 0.0, 1e-4) << v;
}

TEST(CurveFit, ZeroQsStaysZeroAndTheRestIsFitted) {
    Data d = fromOnes(sweep(1));
    d.start[2] = 0;
    const Outcome got = libraryFit(d);
    EXPECT_EQ(got.x[2], 0.0);
    EXPECT_EQ(got.x[1], 1.0);  // fs has no effect without qs
    EXPECT_LT(got.resnorm, 0.1 * sumOfSquares(d, d.start));
}

// Every trial fails until the evaluations are used up, and the start is handed back.
TEST(CurveFit, NonFiniteDataGiveTheStartBack) {
    const Data good = fromOnes(sweep(1));
    std::vector<Data> all;
    for (double bad : {kNan, kInf, -kInf}) {
        for (int point : {0, 31, 59}) {
            all.push_back(good);
            all.back().y[point] = bad;
            all.push_back(good);
            all.back().v[point] = bad;
        }
        for (int k : {0, 4}) {
            all.push_back(good);
            all.back().start[k] = bad;
        }
    }
    all.push_back(good);
    all.back().start[2] = 0;
    all.back().v[7] = 0;
    for (const Data& d : all) {
        const Outcome got = libraryFit(d);
        EXPECT_TRUE(sameBits(got.x, d.start)) << &d - all.data();
        EXPECT_FALSE(std::isfinite(got.resnorm)) << &d - all.data();
        EXPECT_EQ(got.evaluations, 1000) << &d - all.data();
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
    Data d = sweep(4);
    const Outcome apart = libraryFit(d);
    for (bool terminated : {true, false}) {
        if (terminated) fitCurve_terminate();
        EXPECT_EQ(tarn::isInitialized_fitCurve, !terminated);
        tarn::nonFinite = {};
        double resnorm;
        double x[5];
        std::copy_n(d.start, 5, x);
        fitCurve(d.points(), x, d.v.data(), d.y.data(), x, &resnorm);  // in place
        EXPECT_TRUE(sameBits(x, apart.x));
        EXPECT_EQ(tarn::isInitialized_fitCurve, 1);
        EXPECT_EQ(tarn::nonFinite.rtInf, terminated ? kInf : 0.0);
    }
    fitCurve_initialize();
    EXPECT_EQ(tarn::nonFinite.rtInf, kInf);
}

}  // namespace
