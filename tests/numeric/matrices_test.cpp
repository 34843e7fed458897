// Small matrices, rotation step, noise and non-finite numbers, against Eigen.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <Eigen/Geometry>
#include <Eigen/LU>
#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include "numeric/non_finite.h"
#include "support/fixture.h"
#include "zvmctoolblock.h"

namespace {

using fixture::kInf;
using fixture::kNan;
template <int N, class Real = double>
using Rows = Eigen::Matrix<Real, N, N, Eigen::RowMajor>;
using RowsX = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using Six = Eigen::Matrix<double, 6, 1>;

// Eigen's storage as rows of the width that the interface asks for.
template <int N, class Real>
Real (*rows(Rows<N, Real>& m))[N] {
    return reinterpret_cast<Real(*)[N]>(m.data());
}

// NaNs are alike.
bool sameBits(double a, double b) {
    return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b) || (std::isnan(a) && std::isnan(b));
}

// ---- products

template <int N>
void expectProduct(int (*multiply)(double (*)[N], double (*)[N], double (*)[N])) {
    for (int round = 0; round < 20; round++) {
        Rows<N> a = Rows<N>::Random(), b = Rows<N>::Random(), got;
        EXPECT_EQ(multiply(rows(a), rows(b), rows(got)), 0);
        EXPECT_LT((got - a * b).norm(), 1e-14) << a << "\ntimes\n" << b;
    }
}

TEST(Matrices, FixedSizesAgreeWithEigen) {
    expectProduct<3>(MatrixMul3);
    expectProduct<4>(MatrixMul);
    expectProduct<6>(MatrixMul6);
    Rows<6> a = Rows<6>::Random(), transposed;
    Six b = Six::Random(), product;
    EXPECT_EQ(MatrixMul6and1(rows(a), b.data(), product.data()), 0);
    EXPECT_LT((product - a * b).norm(), 1e-14);
    transposeMatrix(rows(a), rows(transposed));
    EXPECT_EQ(transposed, a.transpose());

    Eigen::Vector3d u = Eigen::Vector3d::Random(), v = Eigen::Vector3d::Random(), cross;
    EXPECT_EQ(crossProduct(u.data(), v.data(), cross.data()), 0);
    EXPECT_LT((cross - u.cross(v)).norm(), 1e-15);
}

TEST(Matrices, RunTimeSizesAgreeWithEigenAndStayInside) {
    for (int size = 0; size < 343; size++) {
        const int n = size / 49 + 1, k = size / 7 % 7 + 1, m = size % 7 + 1;
        SCOPED_TRACE(testing::Message() << n << " by " << k << " by " << m);
        RowsX a = RowsX::Random(n, k), other = RowsX::Random(n, k), b = RowsX::Random(k, m);
        Eigen::VectorXd column = b.col(0);
        constexpr double kCanary = 77.0;
        double got[50];
        // the result, and that the element behind it was left alone
        const auto expect = [&](const RowsX& want, auto&& compute) {
            std::fill_n(got, 50, kCanary);
            compute();
            EXPECT_LT((Eigen::Map<RowsX>(got, want.rows(), want.cols()) - want).norm(), 1e-14);
            EXPECT_EQ(got[want.size()], kCanary);
        };
        expect(a * b, [&] { return MatrixMulDimen(n, k, m, a.data(), b.data(), got); });
        expect(a * column, [&] { return MatrixMulDimenSingle(n, k, m, a.data(), column.data(), got); });
        expect(RowsX(0, 0), [&] { return MatrixMulDimenSingle(n, k, 0, a.data(), column.data(), got); });
        expect(a + other, [&] { return MatrixAddDimen(n, k, a.data(), other.data(), got); });
        expect(a - other, [&] { return MatrixSubDimen(n, k, a.data(), other.data(), got); });
        expect(a.transpose(), [&] { transposeMatrixDimen(n, k, a.data(), got); });
    }
}

// Fixed sizes start with the first product, run-time sizes with zero: it shows in the sign of a zero.
TEST(Matrices, SumsStartAsEachFormDoes) {
    Rows<6> a = Rows<6>::Constant(-0.0), b = Rows<6>::Ones(), got;
    MatrixMul6(rows(a), rows(b), rows(got));
    EXPECT_TRUE(std::signbit(got(2, 3)));
    MatrixMulDimen(6, 6, 6, a.data(), b.data(), got.data());
    EXPECT_FALSE(std::signbit(got(2, 3)));
}

// ---- determinants

// Plain recursion, which fixes the order of operations.
double cofactors(const RowsX& m) {
    const int n = static_cast<int>(m.rows());
    if (n == 1) return m(0, 0);
    if (n == 2) return m(0, 0) * m(1, 1) - m(0, 1) * m(1, 0);
    double sum = 0.0;
    for (int x = 0; x < n; x++) {
        RowsX minor(n - 1, n - 1);
        minor << m.block(1, 0, n - 1, x), m.block(1, x + 1, n - 1, n - 1 - x);
        sum += (x % 2 == 0 ? 1.0 : -1.0) * m(0, x) * cofactors(minor);
    }
    return sum;
}

TEST(Determinant, HasTheBitsOfTheExpansionOfTheLeadingBlock) {
    const double special[] = {0.0, -0.0, 1e-160, 1e160, 1.0};
    for (int round = 0; round < 300; round++) {
        for (int n = 1; n <= 6; n++) {
            RowsX block = RowsX::Random(n, n);
            for (int i = 0; round % 2 == 1 && i < n * n; i++)
                if (rand() % 3 == 0) block.data()[i] = special[rand() % 5];
            Rows<6> six = Rows<6>::Constant(kNan);  // what must not be read
            six.topLeftCorner(n, n) = block;
            const double want = cofactors(block);
            EXPECT_TRUE(sameBits(determinant(rows(six), n), want)) << block;
            EXPECT_TRUE(round % 2 == 1 || std::fabs(want - block.determinant()) < 1e-13) << block;
            EXPECT_TRUE(n < 6 || sameBits(determinantDimen(n, block.data()), want)) << block;
            if (n > 4) continue;
            Rows<4> four = six.topLeftCorner(4, 4);
            EXPECT_TRUE(sameBits(determinantDimen4(n, rows(four)), want)) << block;
        }
    }
    Rows<6> six = Rows<6>::Constant(kNan);
    EXPECT_EQ(determinant(rows(six), 0), 0.0);
}

// ---- inverses

// Random matrices, ties, a zero pivot or a NaN at each place, nothing else.
template <int N, class Real, class Invert>
void expectInverse(Invert&& invert) {
    using M = Rows<N, Real>;
    M got;
    for (int round = 0; round < 200; round++) {
        M m = M::Random();
        const M want = m.inverse();
        invert(m.data(), got.data());
        EXPECT_LT((got - want).norm(),
                  1000 * std::numeric_limits<Real>::epsilon() * m.norm() * want.squaredNorm());
        invert(m.data(), m.data());
        EXPECT_EQ(m, got) << "in place";
    }
    M exchanged = M::Identity().rowwise().reverse();  // no pivot stands where it is needed
    invert(exchanged.data(), got.data());
    EXPECT_EQ(got, exchanged);
    // Rows (1, 1) and (+-1, +-tiny): with the upper one as pivot an element of the inverse is exactly 0, with
    // the lower one it is -tiny. By columns, so that rows and columns change places in this storage.
    for (int i = 0; i < N; i++)
        for (int k = i + 1; k < N; k++)
            for (const Real sign : {Real(1), Real(-1)}) {
                M m = M::Identity();
                m(k, i) = 1;
                m(i, k) = sign;
                m(k, k) = sign * Real(1e-20);
                invert(m.data(), got.data());
                EXPECT_EQ(got(i, i), 0) << "rows " << i << " and " << k;
            }

    // a zero pivot or a NaN spoils its own column alone, a row in this storage, as zeros are passed over
    for (int i = 0; i < N; i++)
        for (const Real spoiler : {Real(0), std::numeric_limits<Real>::quiet_NaN()}) {
            M m = M::Identity();
            m(i, spoiler == 0 ? i : N - 1) = spoiler;
            invert(m.data(), got.data());
            EXPECT_FALSE(std::isfinite(got(i, i)));
            got.row(i) = M::Identity().row(i);
            EXPECT_EQ(got, M::Identity()) << spoiler << " at " << i;
        }
    invert(M(M::Zero()).data(), got.data());
    EXPECT_FALSE(got.allFinite());
}

TEST(Inverse, PivotedFormsAgreeWithEigenAndKeepTheUpperOfEqualPivots) {
    expectInverse<6, double>(inv);
    expectInverse<6, double>(invNxN);
    expectInverse<4, float>(invMatrix);
    expectInverse<4, float>([](const float* x, float* y) {
        Rows<4, float> in = Eigen::Map<const Rows<4, float>>(x);
        EXPECT_EQ(inverseMatrix4(rows(in), reinterpret_cast<float(*)[4]>(y)), 0);
    });
}

TEST(Inverse, JacobiNeedsADiagonal) {
    Rows<6> got;
    for (int round = 0; round < 200; round++) {
        Rows<6> m = Rows<6>::Random() + 4.0 * Rows<6>::Identity();
        inverseJacobi(rows(m), rows(got));
        EXPECT_LT((got - m.inverse()).norm(), 1e-14) << m;
    }
    Rows<6> swapped = Rows<6>::Identity();  // regular, but it needs an exchange of rows
    swapped.row(0).swap(swapped.row(1));
    inverseJacobi(rows(swapped), rows(got));
    EXPECT_FALSE(got.allFinite());
}

TEST(Inverse, TwoByTwoRefusesAnExactZeroAlone) {
    const struct {
        double matrix[4], inverse[4];
        int code;
        const char* log;
    } table[] = {
        {{1, 2, 2, 4}, {7, 7, 7, 7}, -1, "Write_Log 4 Matrix is not invertible.\n; "},
        {{1, 2, 3, 5}, {-5, 2, 3, -1}, 0, ""},
        {{0x1p-500, 0, 0, 0x1p-500}, {0x1p500, 0, 0, 0x1p500}, 0, ""},
        {{kNan, 2, 2, 4}, {kNan, kNan, kNan, kNan}, 0, ""},
    };
    for (const auto& row : table) {
        fixture::forgetCalls();
        Rows<2> matrix(row.matrix), got = Rows<2>::Constant(7);
        EXPECT_EQ(inverseMatrix2(rows(matrix), rows(got)), row.code);
        for (int i = 0; i < 4; i++) EXPECT_TRUE(fixture::near(got.data()[i], row.inverse[i], 0)) << matrix;
        EXPECT_EQ(fixture::callText(), row.log);
    }
}

// ---- transforms and rotations

TEST(LinkTransform, IsTheChainOfItsFourMotionsByColumns) {
    using Eigen::Vector3d;
    for (auto* transform : {TransMatSDH, TransMatrix_SDH}) {
        const Eigen::Vector4d link = 3.0 * Eigen::Vector4d::Random();  // d, a, alpha, theta
        const Eigen::Isometry3d want = Eigen::AngleAxisd(link[3], Vector3d::UnitZ()) *
                                       Eigen::Translation3d(link[1], 0, link[0]) *
                                       Eigen::Isometry3d(Eigen::AngleAxisd(link[2], Vector3d::UnitX()));
        Eigen::Matrix4d got;
        transform(link.data(), link[3], got.data());
        EXPECT_LT((got - want.matrix()).norm(), 1e-14) << link;
    }
}

TEST(CrossOperator, GivesTheRateOfAMovingTwist) {
    const Six a = Six::Random(), b = Six::Random();  // linear, angular
    Eigen::Matrix<double, 6, 6> got;
    cross_operator6(a.data(), got.data());
    const Eigen::Vector3d v = a.head<3>(), w = a.tail<3>();
    Six want;
    want << w.cross(b.head<3>()) + v.cross(b.tail<3>()), w.cross(b.tail<3>());
    EXPECT_LT((got * b - want).norm(), 1e-15);
}

// What the host's service answers here, times one: a host may be off by rounding.
double unitLength = 1.0;
extern "C" void unitQtrn(QTRN* out, const QTRN* q) {
    const double scale = unitLength / std::hypot(q->c, normVect(&q->v));
    *out = {q->c * scale, {q->v.x * scale, q->v.y * scale, q->v.z * scale}};
}

TRSF pose(const Eigen::Quaterniond& q) {
    const Eigen::Matrix3d r = q.toRotationMatrix();
    TRSF t;
    VECT* axes[] = {&t.n, &t.o, &t.a};
    for (int i = 0; i < 3; i++) *axes[i] = {r(0, i), r(1, i), r(2, i)};
    t.p = {300.0 * q.x(), -200.0, 500.0};  // mm; no part of a rotation
    return t;
}

// Distance of the step from `from` to `to` from what is wanted.
double stepError(const Eigen::Quaterniond& from, const Eigen::Quaterniond& to, const Eigen::Vector3d& want) {
    VECT e = {kNan, kNan, kNan};
    EXPECT_EQ(quattorpy(pose(from), pose(to), &e), 1);
    return (Eigen::Vector3d(e.x, e.y, e.z) - want).norm();
}

TEST(RotationStep, IsTwiceTheVectorPartOfASlerp) {
    for (int round = 0; round < 4000; round++) {
        const Eigen::Quaterniond q = Eigen::Quaterniond::UnitRandom();
        const double angle = 1.571 + 1.5705 * Eigen::Vector2d::Random()[0];
        const Eigen::Quaterniond turn(Eigen::AngleAxisd(angle, Eigen::Vector3d::Random().normalized()));
        const Eigen::Vector3d want = 2.0 * Eigen::Quaterniond::Identity().slerp(0.1, turn).vec();
        EXPECT_LT(stepError(q, turn * q, want), 1e-10) << angle << " about " << turn.vec();
        EXPECT_LT(stepError(q, q, {0, 0, 0}), 1e-15) << round;  // a NaN is not less
    }
}

TEST(RotationStep, TakesACosineBeyondOneForNoAngleAndANegativeOneForTheLongWay) {
    const Eigen::Quaterniond turned(Eigen::AngleAxisd(1.0, Eigen::Vector3d::UnitY()));
    const double table[][2] = {{1.0, std::sin(0.05)}, {1.5, 0.0}, {-1.0, std::sin(0.1 * (M_PI - 0.5))}};
    for (const auto& [length, sine] : table) {
        unitLength = length;
        EXPECT_LT(stepError(Eigen::Quaterniond::Identity(), turned, {0, 2.0 * sine, 0}), 1e-14) << length;
    }
    unitLength = 1.0;
}

// ---- noise, and numbers that are none

// The C library's sequence, also Eigen's, unless a test gives the draws.
std::mt19937 generator;
std::vector<int> draws;  // the last one first
extern "C" int rand() noexcept {
    if (draws.empty()) return static_cast<int>(generator() >> 1);
    const int draw = draws.back();
    draws.pop_back();
    return draw;
}

TEST(NormalSample, DrawsRadiusThenAngle) {
    const double radius = std::sqrt(-2.0 * std::log(0.25));
    const struct {
        int first, second;
        double want;
    } table[] = {{1 << 29, 0, radius},
                 {1 << 29, 1 << 28, radius * std::sqrt(0.5)},
                 {INT_MAX, 1 << 30, -std::sqrt(0x1p-30)},
                 {0, 0, kInf}};
    for (const auto& row : table) {
        draws = {row.second, row.first};
        EXPECT_TRUE(fixture::near(generate_normal(3.0, 0.5), 3.0 + 0.5 * row.want, 1e-14)) << row.first;
    }
}

TEST(NonFinite, NumbersHaveTheirBitsAndAreFoundOnceFilledIn) {
    tarn::NonFinite& n = tarn::nonFinite;
    n = {};
    EXPECT_TRUE(rtIsInf(0.0) && rtIsInfF(0.0F) && !rtIsInf(kInf)) << "before the values are filled in";
    rt_InitInfAndNaN();
    const struct {
        double got, stored;
        float gotF, storedF;
        uint64_t bits;
    } table[] = {
        {rtGetNaN(), n.rtNaN, rtGetNaNF(), n.rtNaNF, 0xFFF8000000000000},
        {rtGetInf(), n.rtInf, rtGetInfF(), n.rtInfF, 0x7FF0000000000000},
        {rtGetMinusInf(), n.rtMinusInf, rtGetMinusInfF(), n.rtMinusInfF, 0xFFF0000000000000},
    };
    for (const auto& row : table) {
        for (const double x : {row.got, row.stored, double{row.gotF}, double{row.storedF}})
            EXPECT_EQ(std::bit_cast<uint64_t>(x), row.bits);
        const bool infinite = &row != table;
        EXPECT_TRUE(rtIsInf(row.got) == infinite && rtIsInfF(row.gotF) == infinite);
        EXPECT_TRUE(rtIsNaN(row.got) != infinite && rtIsNaNF(row.gotF) != infinite);
    }
    EXPECT_FALSE(rtIsInf(0.0) || rtIsInfF(0.0F) || rtIsNaN(1e308) || rtIsNaNF(1e38F));
}

}  // namespace
