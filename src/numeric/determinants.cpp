// Determinants by cofactor expansion along the top row.
#include <bit>
#include <limits>

#include "zvmctoolblock.h"

namespace {

constexpr int kLargest = 6;

// Determinant of the leading n by n block. An expansion meets the same minor of the lower rows again and
// again; here each is worked out once, narrow ones first, with the operations and their order as in the plain
// recursion, so that the bits are the same.
double leadingDeterminant(const double* mat, int rowWidth, int n) {
    if (n < 1) return 0.0;
    if (n > rowWidth || n > kLargest) return std::numeric_limits<double>::quiet_NaN();  // past the array

    // by the set of a minor's columns, a bit each; its rows are the last of the block
    double minor[1 << kLargest];
    int sizes[1 << kLargest] = {};
    const unsigned all = (1U << n) - 1;
    for (unsigned set = 1; set <= all; set++) {
        const int size = sizes[set] = sizes[set & (set - 1)] + 1;
        const double* row = mat + (n - size) * rowWidth;
        const int left = std::countr_zero(set), right = static_cast<int>(std::bit_width(set)) - 1;
        if (size == 1) {
            minor[set] = row[left];
        } else if (size == 2) {
            const double* below = row + rowWidth;
            minor[set] = row[left] * below[right] - row[right] * below[left];
        } else {
            double sum = 0.0, sign = 1.0;
            for (unsigned rest = set; rest != 0; rest &= rest - 1) {
                const int column = std::countr_zero(rest);
                sum += sign * row[column] * minor[set ^ (1U << column)];
                sign = -sign;
            }
            minor[set] = sum;
        }
    }
    return minor[all];
}

}  // namespace

double determinant(double mat[6][6], int n) { return leadingDeterminant(mat[0], 6, n); }

double determinantDimen(int n, double* mat) { return leadingDeterminant(mat, n, n); }

double determinantDimen4(int n, double mat[4][4]) { return leadingDeterminant(mat[0], 4, n); }
