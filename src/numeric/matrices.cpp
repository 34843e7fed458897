// Products, sums and transposes of small matrices.
//
// Fixed sizes start a sum with its first product, run-time sizes with zero: they differ in the sign of a
// zero.
#include "zvmctoolblock.h"

namespace {

template <int N>
int multiply(double (*a)[N], double (*b)[N], double (*result)[N]) {
    for (int i = 0; i < N; i++) {
        for (int j = 0; j < N; j++) {
            double sum = a[i][0] * b[0][j];
            for (int k = 1; k < N; k++) sum += a[i][k] * b[k][j];
            result[i][j] = sum;
        }
    }
    return 0;
}

}  // namespace

int MatrixMul(double A[4][4], double B[4][4], double result[4][4]) { return multiply<4>(A, B, result); }

int MatrixMul3(double A[3][3], double B[3][3], double result[3][3]) { return multiply<3>(A, B, result); }

int MatrixMul6(double A[6][6], double B[6][6], double result[6][6]) { return multiply<6>(A, B, result); }

int MatrixMul6and1(double A[6][6], double* B, double* result) {
    for (int i = 0; i < 6; i++) {
        double sum = A[i][0] * B[0];
        for (int k = 1; k < 6; k++) sum += A[i][k] * B[k];
        result[i] = sum;
    }
    return 0;
}

void transposeMatrix(double mat[6][6], double result[6][6]) {
    for (int i = 0; i < 6; i++)
        for (int j = 0; j < 6; j++) result[i][j] = mat[j][i];
}

int crossProduct(double* A, double* B, double* result) {
    result[0] = A[1] * B[2] - A[2] * B[1];
    result[1] = A[2] * B[0] - A[0] * B[2];
    result[2] = A[0] * B[1] - A[1] * B[0];
    return 0;
}

int MatrixMulDimen(int rows1, int cols1, int cols2, double* A, double* B, double* result) {
    for (int i = 0; i < rows1; i++) {
        for (int j = 0; j < cols2; j++) {
            double sum = 0.0;
            for (int k = 0; k < cols1; k++) sum += A[i * cols1 + k] * B[k * cols2 + j];
            result[i * cols2 + j] = sum;
        }
    }
    return 0;
}

int MatrixMulDimenSingle(int rows1, int cols1, int cols2, double* A, double* B, double* result) {
    if (cols2 < 1) return 0;  // as a product without columns: nothing is written, on purpose
    return MatrixMulDimen(rows1, cols1, 1, A, B, result);
}

int MatrixAddDimen(int rows, int cols, double* matrix1, double* matrix2, double* result) {
    for (int i = 0; i < rows; i++)
        for (int j = 0; j < cols; j++) result[i * cols + j] = matrix1[i * cols + j] + matrix2[i * cols + j];
    return 0;
}

int MatrixSubDimen(int rows, int cols, double* matrix1, double* matrix2, double* result) {
    for (int i = 0; i < rows; i++)
        for (int j = 0; j < cols; j++) result[i * cols + j] = matrix1[i * cols + j] - matrix2[i * cols + j];
    return 0;
}

void transposeMatrixDimen(int rows, int cols, double* matrix, double* result) {
    for (int i = 0; i < rows; i++)
        for (int j = 0; j < cols; j++) result[j * rows + i] = matrix[i * cols + j];
}
