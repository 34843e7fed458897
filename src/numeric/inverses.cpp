// Inverses of small matrices. None judges how well a matrix is conditioned: the caller tests a determinant.
#include <algorithm>
#include <cmath>
#include <utility>

#include "tarntools/tools_log.h"
#include "zvmctoolblock.h"

namespace {

// Inverse by LU factors with partial pivoting; flat, element (r, c) at r + N * c. Exact zeros are skipped, so
// that they stay zero beside infinities. A zero pivot is passed over in the factors and divides in the end.
template <int N, typename Real>
void invert(const Real* x, Real* y) {
    Real a[N * N];
    std::copy_n(x, N * N, a);
    std::fill_n(y, N * N, Real(0));
    signed char ipiv[N], p[N];  // row swapped with row i in its turn; row of x that ended as row i; from 1
    for (int i = 0; i < N; i++) ipiv[i] = p[i] = static_cast<signed char>(i + 1);

    // P * x = L * U, both factors in a; the unit diagonal of L is not stored
    for (int j = 0; j < N - 1; j++) {
        int pivot = j;
        for (int r = j + 1; r < N; r++)
            if (std::fabs(a[r + N * j]) > std::fabs(a[pivot + N * j])) pivot = r;

        if (a[pivot + N * j] != 0) {
            if (pivot != j) {
                ipiv[j] = static_cast<signed char>(pivot + 1);
                for (int c = 0; c < N; c++) std::swap(a[j + N * c], a[pivot + N * c]);
            }
            for (int r = j + 1; r < N; r++) a[r + N * j] /= a[j + N * j];
        }
        for (int c = j + 1; c < N; c++) {
            const Real multiplier = a[j + N * c];
            if (multiplier == 0) continue;
            for (int r = j + 1; r < N; r++) a[r + N * c] -= a[r + N * j] * multiplier;
        }
    }
    for (int k = 0; k < N; k++)
        if (ipiv[k] > k + 1) std::swap(p[k], p[ipiv[k] - 1]);

    // L * y = P
    for (int k = 0; k < N; k++) {
        Real* column = y + N * (p[k] - 1);
        column[k] = 1;
        for (int j = k; j < N; j++) {
            if (column[j] == 0) continue;
            for (int r = j + 1; r < N; r++) column[r] -= column[j] * a[r + N * j];
        }
    }
    // U * inverse = y
    for (int c = 0; c < N; c++) {
        Real* column = y + N * c;
        for (int k = N - 1; k >= 0; k--) {
            if (column[k] == 0) continue;
            column[k] /= a[k + N * k];
            for (int r = 0; r < k; r++) column[r] -= column[k] * a[r + N * k];
        }
    }
}

}  // namespace

void invNxN(const double* x, double* y) { invert<6>(x, y); }

void inv(const double* x, double* y) { invNxN(x, y); }

void invMatrix(const float* a, float* matrixA) { invert<4>(a, matrixA); }

// Rows in place of columns: the inverse of the transpose is the transpose of the inverse.
int inverseMatrix4(float matrix[4][4], float result[4][4]) {
    invMatrix(matrix[0], result[0]);
    return 0;
}

void inverseJacobi(double matrix[6][6], double inverse[6][6]) {
    double rows[6][12] = {};  // the matrix, and beside it the identity that turns into the inverse
    for (int i = 0; i < 6; i++) {
        std::copy_n(matrix[i], 6, rows[i]);
        rows[i][6 + i] = 1.0;
    }
    // no search for a pivot and no test of it, on purpose: a zero spreads infinities and NaNs
    for (int i = 0; i < 6; i++) {
        const double divisor = rows[i][i];
        for (double& element : rows[i]) element /= divisor;
        for (int k = 0; k < 6; k++) {
            if (k == i) continue;
            const double multiplier = rows[k][i];
            for (int c = 0; c < 12; c++) rows[k][c] -= multiplier * rows[i][c];
        }
    }
    for (int i = 0; i < 6; i++) std::copy_n(rows[i] + 6, 6, inverse[i]);
}

int inverseMatrix2(double matrix[2][2], double inverse[2][2]) {
    const double a = matrix[0][0], b = matrix[0][1], c = matrix[1][0], d = matrix[1][1];
    const double determinant = a * d - b * c;
    // exact zero, without a tolerance, on purpose
    if (determinant == 0.0) {
        Write_Log(LOG_ERR, "Matrix is not invertible.\n");
        return -1;
    }
    inverse[0][0] = d / determinant;
    inverse[0][1] = -b / determinant;
    inverse[1][0] = -c / determinant;
    inverse[1][1] = a / determinant;
    return 0;
}
