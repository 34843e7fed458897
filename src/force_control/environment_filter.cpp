// Stiffness of what the tool touches, estimated from speed and force: an extended Kalman filter, continuous
// in the model and discrete in the samples. State x = (xe, ke, fz): place of the contact, its stiffness, the
// force.
//
//   xe' = (-fz - ke xe + w0) / be     ke' = w1     fz' = w2          y = (xe', fz) + v
//
// The state is computed in single precision, the matrices in double.
#include <array>
#include <cmath>
#include <cstdlib>

#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

namespace {

template <int rows, int columns>
struct Matrix {
    double v[rows][columns];
};

using Matrix3 = Matrix<3, 3>;
using State = std::array<float, 3>;

template <int rows, int inner, int columns>
Matrix<rows, columns> operator*(const Matrix<rows, inner>& a, const Matrix<inner, columns>& b) {
    Matrix<rows, columns> product = {};
    for (int i = 0; i < rows; i++)
        for (int j = 0; j < columns; j++)
            for (int k = 0; k < inner; k++) product.v[i][j] += a.v[i][k] * b.v[k][j];
    return product;
}

// a + scale * b
template <int rows, int columns>
Matrix<rows, columns> sum(const Matrix<rows, columns>& a, const Matrix<rows, columns>& b,
                          double scale = 1.0) {
    Matrix<rows, columns> result;
    for (int i = 0; i < rows; i++)
        for (int j = 0; j < columns; j++) result.v[i][j] = a.v[i][j] + scale * b.v[i][j];
    return result;
}

template <int rows, int columns>
Matrix<columns, rows> transposed(const Matrix<rows, columns>& a) {
    Matrix<columns, rows> result;
    for (int i = 0; i < rows; i++)
        for (int j = 0; j < columns; j++) result.v[j][i] = a.v[i][j];
    return result;
}

constexpr float kSampleTime = 0.001F;                       // s
constexpr double kStep = static_cast<double>(kSampleTime);  // not 0.001 to the last bit, on purpose
constexpr float kContactDamping = 2e5F;                     // be, N s/m
constexpr float kFarthestContact = 0.5F;                    // m
constexpr float kSmallestStiffness = 0.5F;                  // N/m; below it counts as no contact

struct EnvironmentFilter {
    double xn_pre[3];  // state: m, N/m, N
    Matrix3 p_pre;     // its covariance
};
constinit EnvironmentFilter environment = {{0.002, 500.0, 0.0}, {{{0.01}, {0.0, 100.0}, {0.0, 0.0, 10.0}}}};

// Uniform noise of a variance's size. The divisor is that of a 15-bit generator whatever rand() spans: with a
// larger one the noise is far beyond the variance, and the estimate is tuned to that.
float uniformNoise(double variance) {
    const double share = 2.0 * std::rand() / 32767.0 - 1.0;
    return static_cast<float>(std::sqrt(variance) * share);
}

// Gradient of xe' by the state.
std::array<double, 3> contactGradient(const State& x) {
    const double be = static_cast<double>(kContactDamping);
    return {static_cast<double>(-x[1]) / be, static_cast<double>(-x[0]) / be, -1.0 / be};
}

Matrix<2, 3> measurementGradient(const State& x) {
    const std::array<double, 3> g = contactGradient(x);
    return {{{g[0], g[1], g[2]}, {0.0, 0.0, 1.0}}};
}

}  // namespace

int zvmcKalmanEnvironmenModelEvaluate(double* Q, double* R, double* y, double* x_eval) {
    float w[3], v[2];
    for (int i = 0; i < 3; i++) {
        generate_normal(0.0, std::sqrt(Q[i]));  // drawn and dropped: the sequence of rand() goes on by it
        w[i] = uniformNoise(Q[i]);
    }
    for (int i = 0; i < 2; i++) v[i] = uniformNoise(R[i]);

    // prediction of the state
    auto& [xn_pre, p_pre] = environment;
    State x;
    for (std::size_t i = 0; i < 3; i++) x[i] = static_cast<float>(xn_pre[i]);
    const float speed = (-x[2] - x[1] * x[0] + w[0]) / kContactDamping;
    const State xn1 = {x[0] + speed * kSampleTime, x[1] + w[1] * kSampleTime, x[2] + w[2] * kSampleTime};

    // and of its covariance: P + T (Fa P - P Ha' R^-1 Ha P + Ga Q Ga + P Fa')
    const std::array<double, 3> g = contactGradient(x);
    const Matrix3 Fa = {{{g[0], g[1], g[2]}}};
    const Matrix<2, 3> Ha = measurementGradient(x);
    const double be = static_cast<double>(kContactDamping);
    const Matrix3 noise = {{{Q[0] / (be * be)}, {0.0, Q[1]}, {0.0, 0.0, Q[2]}}};
    const Matrix<2, 2> inverseR = {{{1.0 / R[0], 0.0}, {0.0, 1.0 / R[1]}}};
    const Matrix3& P = p_pre;
    const Matrix3 drift = sum(Fa * P, P * transposed(Fa));
    const Matrix3 correction = P * transposed(Ha) * inverseR * Ha * P;
    const Matrix3 predicted = sum(P, sum(sum(drift, correction, -1.0), noise), kStep);

    // gain at the predicted state; an exactly singular divisor is logged and leaves it zero
    const Matrix<2, 3> H = measurementGradient(xn1);
    const Matrix<2, 2> spread = {{{R[0], 0.0}, {0.0, R[1]}}};
    Matrix<2, 2> divisor = sum(H * predicted * transposed(H), spread), inverse = {};
    inverseMatrix2(divisor.v, inverse.v);
    const Matrix<3, 2> gain = predicted * transposed(H) * inverse;

    // correction by the measurement
    const float predictedY[2] = {(-xn1[2] - xn1[1] * xn1[0]) / kContactDamping + v[0], xn1[2] + v[1]};
    const double error[2] = {y[0] - static_cast<double>(predictedY[0]),
                             y[1] - static_cast<double>(predictedY[1])};
    State xn;
    for (std::size_t i = 0; i < 3; i++) {
        xn[i] = static_cast<float>(static_cast<double>(xn1[i]) + gain.v[i][0] * error[0] +
                                   gain.v[i][1] * error[1]);
        x_eval[i] = static_cast<double>(xn[i]);  // without the limits of what is kept
    }
    if (std::fabs(xn[0]) > kFarthestContact) xn[0] = std::copysign(kFarthestContact, xn[0]);
    if (xn[1] < kSmallestStiffness) xn[1] = 0.0F;

    const Matrix3 unit = {{{1.0}, {0.0, 1.0}, {0.0, 0.0, 1.0}}};
    p_pre = sum(unit, gain * H, -1.0) * predicted;
    for (std::size_t i = 0; i < 3; i++) xn_pre[i] = static_cast<double>(xn[i]);
    return 0;
}
