// A matrix of fixed size where a service or a public function asks for a dmat: nothing is allocated.
#pragma once

#include <cstddef>

#include "tarnmath/tarnmath.h"

namespace tarn {

template <int rows, int columns>
class FixedMatrix {
  public:
    FixedMatrix() {
        for (int i = 0; i < rows; i++) row_[i] = value_[i];
    }
    FixedMatrix(const FixedMatrix&) = delete;
    FixedMatrix& operator=(const FixedMatrix&) = delete;

    double* operator[](int row) { return value_[row]; }
    dmat view() { return {0, rows - 1, 0, columns - 1, value_[0], row_}; }  // lives as long as the matrix

  private:
    double value_[rows][columns] = {};
    double* row_[rows];
};

// tau = J' * wrench: the joint torques that balance a wrench at the arm's end. J is 6 by 6.
inline void balanceWrench(const dmat& J, const double (&wrench)[6], double* tau) {
    FixedMatrix<6, 6> transposed;
    FixedMatrix<6, 1> e;
    for (int i = 0; i < 6; i++) {
        e[i][0] = wrench[i];
        for (int j = 0; j < 6; j++) transposed[i][j] = J.el[J.lb1 + j][J.lb2 + i];
    }
    matmul(transposed.view(), e.view(), e.view());
    for (int i = 0; i < 6; i++) tau[i] = e[i][0];
}

}  // namespace tarn
