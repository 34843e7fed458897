// Matrices of run-time size. Element (i, j) is el[i][j], from the lower bounds on.
#include <algorithm>
#include <cmath>
#include <limits>

#include "tarnmath/tarnmath.h"

namespace {

int rows(const dmat& m) { return m.ub1 - m.lb1 + 1; }
int columns(const dmat& m) { return m.ub2 - m.lb2 + 1; }
double& at(const dmat& m, int i, int j) { return m.el[m.lb1 + i][m.lb2 + j]; }

// Results that must not be written before all inputs are read wait here, on the stack: at most 32 by 32. The
// largest matrices in use, of the parameter identification, are 27 by 27.
constexpr int kLargest = 32;

struct Scratch {
    double element[kLargest][kLargest];
    void copyTo(const dmat& out) const {
        for (int i = 0; i < rows(out); i++)
            // The caller has filled as much as the shape of out names, and clearing all of it costs more.
            // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.Assign)
            for (int j = 0; j < columns(out); j++) at(out, i, j) = element[i][j];
    }
};

bool fitsScratch(const dmat& m) { return rows(m) <= kLargest && columns(m) <= kLargest; }

// Power of two that brings a magnitude between 1 and 2; 1 for zero and what is not finite.
int scaleOf(double magnitude) {
    return magnitude > 0.0 && std::isfinite(magnitude) ? -std::ilogb(magnitude) : 0;
}

}  // namespace

int matmul(dmat a, dmat b, dmat out) {
    if (columns(a) != rows(b) || rows(out) != rows(a) || columns(out) != columns(b)) return -1;
    if (!fitsScratch(out)) return -1;
    Scratch product;
    for (int i = 0; i < rows(out); i++)
        for (int j = 0; j < columns(out); j++) {
            double sum = 0.0;
            for (int k = 0; k < columns(a); k++) sum += at(a, i, k) * at(b, k, j);
            product.element[i][j] = sum;
        }
    product.copyTo(out);
    return 0;
}

int matSum(dmat a, dmat b, dmat out) {
    const auto fits = [&out](const dmat& m) { return rows(m) == rows(out) && columns(m) == columns(out); };
    if (!fits(a) || !fits(b)) return -1;
    for (int i = 0; i < rows(out); i++)
        for (int j = 0; j < columns(out); j++) at(out, i, j) = at(a, i, j) + at(b, i, j);
    return 0;
}

// Gauss-Jordan elimination on [A | 1] held in one square: the columns of the unit matrix take the place of
// those that are already eliminated.
//
// Rounding leaves of a singular matrix a last pivot that is not quite zero. With rows and columns scaled by
// powers of two, so that units make no difference, and the largest element of all as pivot, what is left is a
// few ulps of 1, and anything that small counts as zero.
int matinvert(dmat a, dmat out) {
    const int n = rows(a);
    if (columns(a) != n || rows(out) != n || columns(out) != n || !fitsScratch(out)) return -1;

    Scratch scratch;
    auto& m = scratch.element;
    int rowScale[kLargest], columnScale[kLargest];
    for (int i = 0; i < n; i++) {
        double largest = 0.0;
        for (int j = 0; j < n; j++) largest = std::max(largest, std::fabs(at(a, i, j)));
        rowScale[i] = scaleOf(largest);
        for (int j = 0; j < n; j++) m[i][j] = std::ldexp(at(a, i, j), rowScale[i]);
    }
    for (int j = 0; j < n; j++) {
        double largest = 0.0;
        for (int i = 0; i < n; i++) largest = std::max(largest, std::fabs(m[i][j]));
        columnScale[j] = scaleOf(largest);
        for (int i = 0; i < n; i++) m[i][j] = std::ldexp(m[i][j], columnScale[j]);
    }

    const double zero = 4.0 * n * std::numeric_limits<double>::epsilon();
    int pivotRow[kLargest], pivotColumn[kLargest];
    for (int k = 0; k < n; k++) {
        int p = k, q = k;
        for (int i = k; i < n; i++)
            for (int j = k; j < n; j++)
                if (!(std::fabs(m[i][j]) <= std::fabs(m[p][q]))) p = i, q = j;
        if (std::fabs(m[p][q]) <= zero) return -1;
        pivotRow[k] = p;
        pivotColumn[k] = q;
        for (int j = 0; j < n; j++) std::swap(m[k][j], m[p][j]);
        for (int i = 0; i < n; i++) std::swap(m[i][k], m[i][q]);

        const double pivot = m[k][k];
        m[k][k] = 1.0;
        for (int i = 0; i < n; i++) {
            if (i == k) continue;
            const double factor = m[i][k] / pivot;
            m[i][k] = 0.0;
            for (int j = 0; j < n; j++) m[i][j] -= factor * m[k][j];
        }
        for (int j = 0; j < n; j++) m[k][j] /= pivot;
    }
    // what was exchanged goes back, rows by columns and columns by rows
    for (int k = n - 1; k >= 0; k--) {
        for (int j = 0; j < n; j++) std::swap(m[k][j], m[pivotColumn[k]][j]);
        for (int i = 0; i < n; i++) std::swap(m[i][k], m[i][pivotRow[k]]);
    }
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++) m[i][j] = std::ldexp(m[i][j], columnScale[i] + rowScale[j]);
    scratch.copyTo(out);
    return 0;
}
