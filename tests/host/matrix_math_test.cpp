#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "tarnmath/tarnmath.h"

namespace {

// A matrix with its own storage, indices from `base` on.
struct Matrix {
    std::vector<double> storage;
    std::vector<double*> rowPointers;
    dmat m;
    Matrix(int rows, int columns, int base = 0) : storage(static_cast<std::size_t>(rows * columns)) {
        for (int i = 0; i < base; i++) rowPointers.push_back(nullptr);
        for (int i = 0; i < rows; i++) rowPointers.push_back(storage.data() + i * columns - base);
        m = {base, base + rows - 1, base, base + columns - 1, storage.data(), rowPointers.data()};
    }
    void fill(unsigned seed) {
        std::mt19937 engine(seed);
        for (double& x : storage) x = std::uniform_real_distribution<double>(-1.0, 1.0)(engine);
    }
};

}  // namespace

TEST(MatrixMath, ProductInPlaceEqualsProductBeside) {
    Matrix a(5, 5), b(5, 5, 1), out(5, 5);
    a.fill(1), b.fill(2);
    ASSERT_EQ(matmul(a.m, b.m, out.m), 0);
    double sum = 0.0;
    for (int k = 0; k < 5; k++) sum += a.m.el[3][k] * b.m.el[1 + k][3];
    EXPECT_EQ(out.m.el[3][2], sum);

    ASSERT_EQ(matmul(a.m, b.m, b.m), 0);
    EXPECT_EQ(b.storage, out.storage);
    b.fill(2);
    ASSERT_EQ(matmul(a.m, b.m, a.m), 0);
    EXPECT_EQ(a.storage, out.storage);
}

TEST(MatrixMath, InverseInPlaceTimesMatrixIsOne) {
    for (int n : {1, 6, 27, 32})
        for (double unit : {1.0, 1e-4}) {  // rows and columns in units up to 12 decades apart
            Matrix a(n, n), inverse(n, n);
            a.fill(3);
            for (int i = 0; i < n; i++)
                for (int j = 0; j < n; j++) {
                    if (n == 6) a.m.el[i][j] = 1.0 / (i + j + 1);  // ill-conditioned, and regular
                    a.m.el[i][j] *= std::pow(unit, i % 4 + j % 3);
                }
            inverse.storage = a.storage;
            ASSERT_EQ(matinvert(inverse.m, inverse.m), 0);
            ASSERT_EQ(matmul(inverse.m, a.m, a.m), 0);
            for (int i = 0; i < n; i++)
                for (int j = 0; j < n; j++)
                    EXPECT_NEAR(a.m.el[i][j] * std::pow(unit, i % 3 - j % 3), i == j, 1e-8) << n;
        }
}

TEST(MatrixMath, RefusalsLeaveTheOutputAlone) {
    Matrix singular(5, 5), out(5, 5), narrow(5, 2), wide(33, 33), kept(5, 5);
    out.fill(5), kept.fill(5);
    std::mt19937 engine(6);
    for (int n = 0; n < 200; n++) {  // whole numbers, the middle row a sum of others
        for (double& x : singular.storage) x = int(engine() % 201) - 100;
        for (int j = 0; j < 5; j++)
            singular.m.el[2][j] = singular.m.el[0][j] - 2 * singular.m.el[1][j] + singular.m.el[4][j];
        EXPECT_EQ(matinvert(singular.m, out.m), -1) << n;
    }
    EXPECT_EQ(matinvert(narrow.m, out.m), -1);
    EXPECT_EQ(matmul(narrow.m, out.m, out.m), -1);
    EXPECT_EQ(matSum(narrow.m, out.m, out.m), -1);
    EXPECT_EQ(out.storage, kept.storage);
    EXPECT_EQ(matmul(wide.m, wide.m, wide.m), -1);  // beyond this host's size
    EXPECT_EQ(matinvert(wide.m, wide.m), -1);
}
