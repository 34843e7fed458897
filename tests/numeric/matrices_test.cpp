// Small matrices, rotation step, noise and non-finite numbers, against Eigen.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <Eigen/Geometry>
#include <Eigen/LU>
#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <random>

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
constexpr int kSeed = 7;

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
    srand(kSeed);
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
    srand(kSeed);
    constexpr double kCanary = 77.0;
    for (int n = 1; n <= 7; n++)
        for (int k = 1; k <= 7; k++)
            for (int m = 1; m <= 7; m++) {
                SCOPED_TRACE(testing::Message() << n << " by " << k << " by " << m);
                RowsX a = RowsX::Random(n, k), other = RowsX::Random(n, k), b = RowsX::Random(k, m);
                double got[50];
                // the result, and that the element behind it was left alone
                const auto expect = [&](const RowsX& want, int code) {
                    EXPECT_EQ(code, 0);
                    EXPECT_LT((Eigen::Map<RowsX>(got, want.rows(), want.cols()) - want).norm(), 1e-14);
                    EXPECT_EQ(got[want.size()], kCanary);
                    std::fill_n(got, 50, kCanary);
                };
                std::fill_n(got, 50, kCanary);
                expect(a * b, MatrixMulDimen(n, k, m, a.data(), b.data(), got));
                Eigen::VectorXd column = b.col(0);
                expect(a * column, MatrixMulDimenSingle(n, k, m, a.data(), column.data(), got));
                expect(a + other, MatrixAddDimen(n, k, a.data(), other.data(), got));
                expect(a - other, MatrixSubDimen(n, k, a.data(), other.data(), got));
                transposeMatrixDimen(n, k, a.data(), got);
                expect(a.transpose(), 0);
                EXPECT_EQ(MatrixMulDimenSingle(n, k, 0, a.data(), column.data(), got), 0);
                EXPECT_EQ(got[0], kCanary) << "no columns";
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
    srand(kSeed);
    std::mt19937 random(kSeed);
    const double special[] = {0.0, -0.0, 1e-160, 1e160, 1.0};
    for (int round = 0; round < 300; round++) {
        for (int n = 1; n <= 6; n++) {
            RowsX block = RowsX::Random(n, n);
            for (int i = 0; round % 2 == 1 && i < n * n; i++)
                if (random() % 3 == 0) block.data()[i] = special[random() % 5];
            Rows<6> six = Rows<6>::Constant(kNan);  // what must not be read
            six.topLeftCorner(n, n) = block;
            const double want = cofactors(block);
            EXPECT_TRUE(sameBits(determinant(rows(six), n), want)) << block;
            if (round % 2 == 0) {
                EXPECT_NEAR(want, block.determinant(), 1e-13) << block;
            }
            if (n == 6) {
                EXPECT_TRUE(sameBits(determinantDimen(n, block.data()), want)) << block;
            }
            if (n > 4) continue;
            Rows<4> four = six.topLeftCorner(4, 4);
            EXPECT_TRUE(sameBits(determinantDimen4(n, rows(four)), want)) << block;
        }
    }
    Rows<6> six = Rows<6>::Constant(kNan);
    EXPECT_EQ(determinant(rows(six), 0), 0.0);
}

// ---- inverses

int invertFour(const float* x, float* y) {
    Rows<4, float> in = Eigen::Map<const Rows<4, float>>(x), out;
    const int code = inverseMatrix4(rows(in), rows(out));
    Eigen::Map<Rows<4, float>>(y, 4, 4) = out;
    return code;
}

// Random matrices, all permutations, ties, a zero pivot at each place, zero.
template <int N, class Real, class Invert>
void expectInverse(Invert&& invert) {
    using M = Rows<N, Real>;
    const Real tolerance = 1000 * std::numeric_limits<Real>::epsilon();
    M got;
    for (int round = 0; round < 200; round++) {
        M m = M::Random();
        const Real condition = m.norm() * m.inverse().norm();
        invert(m.data(), got.data());
        EXPECT_LT((got - m.inverse()).norm(), tolerance * condition * m.inverse().norm()) << m;
        EXPECT_LT((got * m - M::Identity()).norm(), tolerance * condition) << m;
        invert(m.data(), m.data());
        EXPECT_EQ(m, got) << "in place";
    }
    Eigen::PermutationMatrix<N> permutation;
    permutation.setIdentity();
    do {
        const M m = permutation.toDenseMatrix().template cast<Real>();
        invert(m.data(), got.data());
        EXPECT_EQ(got, m.transpose());
    } while (std::next_permutation(permutation.indices().data(), permutation.indices().data() + N));

    // Rows (1, 1) and (+-1, +-tiny): with the upper one as pivot an element of the inverse is exactly 0, with
    // the lower one it is -tiny. By columns, so that rows and columns change places in this storage.
    for (int i = 0; i < N; i++)
        for (int k = i + 1; k < N; k++)
            for (const Real sign : {Real(1), Real(-1)}) {
                M m = M::Identity();
                m(i, i) = m(k, i) = 1;
                m(i, k) = sign;
                m(k, k) = sign * Real(1e-20);
                invert(m.data(), got.data());
                EXPECT_EQ(got(i, i), 0) << "rows " << i << " and " << k;
            }

    // a zero pivot or a NaN spoils its own column alone, a row in this storage, as zeros are passed over
    for (int i = 0; i < N; i++)
        for (const Real spoiler : {Real(0), std::numeric_limits<Real>::quiet_NaN()}) {
            M m = M::Identity(), want = M::Identity();
            m(i, spoiler == 0 ? i : N - 1) = spoiler;
            invert(m.data(), got.data());
            EXPECT_FALSE(std::isfinite(got(i, i)));
            got.row(i) = want.row(i);
            EXPECT_EQ(got, want) << spoiler << " at " << i;
        }
    fixture::forgetCalls();
    invert(M(M::Zero()).data(), got.data());
    EXPECT_FALSE(got.allFinite());
    invert(M(M::Constant(std::numeric_limits<Real>::quiet_NaN())).data(), got.data());
    EXPECT_FALSE(got.allFinite());
    EXPECT_TRUE(fixture::calls().empty());
}

TEST(Inverse, PivotedFormsAgreeWithEigenAndKeepTheUpperOfEqualPivots) {
    srand(kSeed);
    expectInverse<6, double>(inv);
    expectInverse<6, double>(invNxN);
    expectInverse<4, float>(invMatrix);
    expectInverse<4, float>([](const float* x, float* y) { EXPECT_EQ(invertFour(x, y), 0); });
}

TEST(Inverse, JacobiNeedsADiagonal) {
    srand(kSeed);
    for (int round = 0; round < 200; round++) {
        Rows<6> m = Rows<6>::Random() + 4.0 * Rows<6>::Identity(), got;
        inverseJacobi(rows(m), rows(got));
        EXPECT_LT((got - m.inverse()).norm(), 1e-14) << m;
    }
    Rows<6> swapped = Rows<6>::Identity(), got;  // regular, but it needs an exchange of rows
    swapped.row(0).swap(swapped.row(1));
    inverseJacobi(rows(swapped), rows(got));
    EXPECT_FALSE(got.allFinite());
    Rows<6> singular = Rows<6>::Identity();
    singular(2, 2) = 0.0;
    inverseJacobi(rows(singular), rows(got));
    EXPECT_TRUE(got.array().isNaN().all()) << got;
}

TEST(Inverse, TwoByTwoRefusesAnExactZeroAlone) {
    const struct {
        double matrix[2][2], inverse[2][2];
        int code;
    } table[] = {
        {{{1, 2}, {2, 4}}, {{7, 7}, {7, 7}}, -1},
        {{{1, 2}, {3, 5}}, {{-5, 2}, {3, -1}}, 0},
        {{{0x1p-500, 0}, {0, 0x1p-500}}, {{0x1p500, 0}, {0, 0x1p500}}, 0},
        {{{kNan, 2}, {2, 4}}, {{kNan, kNan}, {kNan, kNan}}, 0},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.matrix[0][0]);
        fixture::forgetCalls();
        Rows<2> matrix = Eigen::Map<const Rows<2>>(row.matrix[0]), got = Rows<2>::Constant(7);
        EXPECT_EQ(inverseMatrix2(rows(matrix), rows(got)), row.code);
        for (int i = 0; i < 4; i++) {
            const double want = row.inverse[i / 2][i % 2];
            EXPECT_TRUE(std::isnan(want) ? std::isnan(got.data()[i]) : got.data()[i] == want) << got;
        }
        const std::vector<std::string> log{"Write_Log 4 Matrix is not invertible.\n"};
        EXPECT_EQ(fixture::calls(), row.code == 0 ? std::vector<std::string>{} : log);
    }
}

// ---- transforms and rotations

TEST(LinkTransform, IsTheChainOfItsFourMotionsByColumns) {
    using Eigen::Vector3d;
    srand(kSeed);
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
    srand(kSeed);
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
    TRSF t;
    const Eigen::Matrix3d r = q.toRotationMatrix();
    VECT* axes[] = {&t.n, &t.o, &t.a};
    for (int i = 0; i < 3; i++) *axes[i] = {r(0, i), r(1, i), r(2, i)};
    t.p = {300.0 * q.x(), -200.0, 500.0};  // mm; no part of a rotation
    return t;
}

TEST(RotationStep, IsTwiceTheVectorPartOfASlerp) {
    srand(kSeed);
    std::mt19937 random(kSeed);
    for (int round = 0; round < 2000; round++) {
        const Eigen::Quaterniond q1 = Eigen::Quaterniond::UnitRandom();
        const double angle = round == 0 ? 3.1415 : std::uniform_real_distribution<double>(1e-3, 3.1)(random);
        const Eigen::Quaterniond turn(Eigen::AngleAxisd(angle, Eigen::Vector3d::Random().normalized()));
        VECT e = {kNan, kNan, kNan};
        EXPECT_EQ(quattorpy(pose(q1), pose(turn * q1), &e), 1);
        const Eigen::Vector3d want = 2.0 * Eigen::Quaterniond::Identity().slerp(0.1, turn).vec();
        EXPECT_LT((Eigen::Vector3d(e.x, e.y, e.z) - want).norm(), 1e-10) << angle << " about " << turn.vec();
    }
}

TEST(RotationStep, IsZeroForEqualPoses) {
    srand(kSeed);
    VECT e = {kNan, kNan, kNan};
    EXPECT_EQ(quattorpy(pose(Eigen::Quaterniond::Identity()), pose(Eigen::Quaterniond::Identity()), &e), 1);
    EXPECT_TRUE(e.x == 0 && e.y == 0 && e.z == 0);
    for (int round = 0; round < 20000; round++) {
        const TRSF t = pose(Eigen::Quaterniond::UnitRandom());
        EXPECT_EQ(quattorpy(t, t, &e), 1);
        EXPECT_LT(std::fabs(e.x) + std::fabs(e.y) + std::fabs(e.z), 1e-15) << round;  // a NaN is not less
    }
}

TEST(RotationStep, TakesACosineBeyondOneForNoAngleAndANegativeOneForTheLongWay) {
    const TRSF start = pose(Eigen::Quaterniond::Identity());
    const TRSF turned = pose(Eigen::Quaterniond(Eigen::AngleAxisd(1.0, Eigen::Vector3d::UnitY())));
    const double table[][2] = {{1.0, std::sin(0.05)}, {1.5, 0.0}, {-1.0, std::sin(0.1 * (M_PI - 0.5))}};
    for (const auto& [length, sine] : table) {
        VECT e = {kNan, kNan, kNan};
        unitLength = length;
        quattorpy(start, turned, &e);
        EXPECT_NEAR(e.y, 2.0 * sine, 1e-14) << length;
        EXPECT_TRUE(e.x == 0 && e.z == 0) << length;
    }
    unitLength = 1.0;
}

// ---- noise, and numbers that are none

TEST(NormalSample, DrawsRadiusThenAngleFromTheProcessSequence) {
    double want[1000];
    srand(kSeed);
    for (double& sample : want) {
        const double first = std::ldexp(rand(), -31), second = std::ldexp(rand(), -31);
        sample = 3.0 + 0.5 * std::polar(std::sqrt(-2.0 * std::log(first)), 2.0 * M_PI * second).real();
    }
    srand(kSeed);
    for (const double sample : want) EXPECT_NEAR(generate_normal(3.0, 0.5), sample, 1e-14);
}

// The smallest state makes the C library's generator x * 1103515245 + 12345, which can be led to 0.
TEST(NormalSample, IsInfiniteForAFirstDrawOfZero) {
    uint32_t reciprocal = 1;
    for (int i = 0; i < 5; i++) reciprocal *= 2 - 1103515245U * reciprocal;
    char state[8];
    char* const old = initstate(-12345U * reciprocal, state, sizeof state);
    const bool zero = rand() == 0;
    initstate(-12345U * reciprocal, state, sizeof state);
    const double got = generate_normal(3.0, 0.5);
    setstate(old);
    ASSERT_TRUE(zero);
    EXPECT_TRUE(std::isinf(got)) << got;
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
        uint32_t bitsF;
        bool infinite;
    } table[] = {
        {rtGetNaN(), n.rtNaN, rtGetNaNF(), n.rtNaNF, 0xFFF8000000000000, 0xFFC00000, false},
        {rtGetInf(), n.rtInf, rtGetInfF(), n.rtInfF, 0x7FF0000000000000, 0x7F800000, true},
        {rtGetMinusInf(), n.rtMinusInf, rtGetMinusInfF(), n.rtMinusInfF, 0xFFF0000000000000, 0xFF800000,
         true},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.bits);
        for (const double x : {row.got, row.stored}) EXPECT_EQ(std::bit_cast<uint64_t>(x), row.bits);
        for (const float x : {row.gotF, row.storedF}) EXPECT_EQ(std::bit_cast<uint32_t>(x), row.bitsF);
        EXPECT_TRUE(rtIsInf(row.got) == row.infinite && rtIsInfF(row.gotF) == row.infinite);
        EXPECT_TRUE(rtIsNaN(row.got) != row.infinite && rtIsNaNF(row.gotF) != row.infinite);
    }
    EXPECT_FALSE(rtIsInf(0.0) || rtIsInfF(0.0F) || rtIsNaN(1e308) || rtIsNaNF(1e38F));
}

}  // namespace
