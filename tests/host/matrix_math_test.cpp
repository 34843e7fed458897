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
    Matrix& fill(unsigned seed) {
        std::mt19937 engine(seed);
        std::uniform_real_distribution<double> number(-1.0, 1.0);
        for (double& x : storage) x = number(engine);
        return *this;
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
    for (int n : {1, 6, 27, 70}) {
        Matrix a(n, n), inverse(n, n);
        a.fill(3), inverse.fill(3);
        ASSERT_EQ(matinvert(inverse.m, inverse.m), 0);
        ASSERT_EQ(matmul(a.m, inverse.m, a.m), 0);
        for (int i = 0; i < n; i++)
            for (int j = 0; j < n; j++) EXPECT_NEAR(a.m.el[i][j], i == j ? 1.0 : 0.0, 1e-10) << n;
    }
}

TEST(MatrixMath, RefusalsLeaveTheOutputAlone) {
    Matrix singular(3, 3), out(3, 3), narrow(3, 2), kept(3, 3);
    singular.storage = {1, 2, 4, 2, 4, 8, 0, 1, 1};
    out.fill(5), kept.fill(5);
    EXPECT_EQ(matinvert(singular.m, out.m), -1);
    EXPECT_EQ(matinvert(narrow.m, out.m), -1);
    EXPECT_EQ(matmul(narrow.m, out.m, out.m), -1);
    EXPECT_EQ(matSum(narrow.m, out.m, out.m), -1);
    EXPECT_EQ(out.storage, kept.storage);
}
