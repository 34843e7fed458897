// One link's transform and the spatial cross operator, both flat by columns.
#include <algorithm>
#include <cmath>

#include "zvmctoolblock.h"

// Rz(theta) * Tz(d) * Tx(a) * Rx(alpha).
void TransMatSDH(const double* paramSDH, double theta, double* output) {
    const double d = paramSDH[0], a = paramSDH[1];
    const double cosAlpha = std::cos(paramSDH[2]), sinAlpha = std::sin(paramSDH[2]);
    const double c = std::cos(theta), s = std::sin(theta);
    const double columns[4][4] = {
        {c, s, 0.0, 0.0},
        {-s * cosAlpha, c * cosAlpha, sinAlpha, 0.0},
        {s * sinAlpha, -c * sinAlpha, cosAlpha, 0.0},
        {a * c, a * s, d, 1.0},
    };
    for (int i = 0; i < 4; i++) std::copy_n(columns[i], 4, output + 4 * i);
}

void TransMatrix_SDH(const double* param_DH, double thita, double* Trans_DH) {
    TransMatSDH(param_DH, thita, Trans_DH);
}

// [ w x   v x ]
// [  0    w x ]
void cross_operator6(const double* input, double* output) {
    const auto put = [output](const double* vector, int row, int column) {
        const double x = vector[0], y = vector[1], z = vector[2];
        const double columns[3][3] = {{0.0, z, -y}, {-z, 0.0, x}, {y, -x, 0.0}};
        for (int i = 0; i < 3; i++) std::copy_n(columns[i], 3, output + 6 * (column + i) + row);
    };
    const double v[3] = {input[0], input[1], input[2]}, w[3] = {input[3], input[4], input[5]};
    std::fill_n(output, 36, 0.0);
    put(w, 0, 0);
    put(v, 0, 3);
    put(w, 3, 3);
}
