// Matrices of run-time size. Element (i, j) is el[i][j], from the lower bounds on.
#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "tarnmath/tarnmath.h"

namespace {

int rows(const dmat& m) { return m.ub1 - m.lb1 + 1; }
int columns(const dmat& m) { return m.ub2 - m.lb2 + 1; }
double& at(const dmat& m, int i, int j) { return m.el[m.lb1 + i][m.lb2 + j]; }

// Scratch for results that must not be written before all inputs are read. The matrices of the cycle and the
// identification fit the stack; anything larger comes from the heap.
class Scratch {
  public:
    Scratch(int rowCount, int columnCount) : width_(columnCount) {
        const int size = rowCount * columnCount;
        if (size > kOnStack) heap_.reset(new (std::nothrow) double[static_cast<std::size_t>(size)]);
        data_ = size > kOnStack ? heap_.get() : stack_;
    }
    explicit operator bool() const { return data_ != nullptr; }
    double& operator()(int i, int j) { return data_[i * width_ + j]; }
    void copyTo(const dmat& out) {
        for (int i = 0; i < rows(out); i++)
            for (int j = 0; j < width_; j++) at(out, i, j) = (*this)(i, j);
    }

  private:
    static constexpr int kOnStack = 64 * 64;
    int width_;
    double* data_;
    std::unique_ptr<double[]> heap_;
    double stack_[kOnStack];
};

}  // namespace

int matmul(dmat a, dmat b, dmat out) {
    if (columns(a) != rows(b) || rows(out) != rows(a) || columns(out) != columns(b)) return -1;
    Scratch product(rows(out), columns(out));
    if (!product) return -1;
    for (int i = 0; i < rows(out); i++)
        for (int j = 0; j < columns(out); j++) {
            double sum = 0.0;
            for (int k = 0; k < columns(a); k++) sum += at(a, i, k) * at(b, k, j);
            product(i, j) = sum;
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

// Gauss-Jordan on [A | 1] held in one square: the columns of the unit matrix take the place of those that are
// already eliminated. Row exchanges come back as column exchanges at the end.
int matinvert(dmat a, dmat out) {
    const int n = rows(a);
    if (columns(a) != n || rows(out) != n || columns(out) != n) return -1;
    Scratch m(n, n);
    Scratch pivotRow(1, n);
    if (!m || !pivotRow) return -1;
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++) m(i, j) = at(a, i, j);

    for (int k = 0; k < n; k++) {
        int pivot = k;
        for (int i = k + 1; i < n; i++)
            if (std::fabs(m(i, k)) > std::fabs(m(pivot, k))) pivot = i;
        if (m(pivot, k) == 0.0) return -1;
        pivotRow(0, k) = pivot;
        for (int j = 0; j < n; j++) std::swap(m(k, j), m(pivot, j));

        const double scale = 1.0 / m(k, k);
        m(k, k) = 1.0;
        for (int j = 0; j < n; j++) m(k, j) *= scale;
        for (int i = 0; i < n; i++) {
            if (i == k) continue;
            const double factor = m(i, k);
            m(i, k) = 0.0;
            for (int j = 0; j < n; j++) m(i, j) -= factor * m(k, j);
        }
    }
    for (int k = n - 1; k >= 0; k--) {
        const int pivot = static_cast<int>(pivotRow(0, k));
        for (int i = 0; i < n; i++) std::swap(m(i, k), m(i, pivot));
    }
    m.copyTo(out);
    return 0;
}
