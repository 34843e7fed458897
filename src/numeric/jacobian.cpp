// Jacobians of the arm, and the velocity of its end turned into joint velocities.
#include "numeric/jacobian.h"

#include <cmath>

#include "model/type_table.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

using namespace tarn;

namespace {

constexpr double kPi = 3.141592653589793;

// ---- the standard arm, in the layouts that its users ask for

void byRows(const ArmLengths<double>& arm, const double* q, double J[6][6]) {
    armJacobian(arm, q, [J](int row, int column) -> double& { return J[row][column]; });
}

int intoMatrix(const ArmLengths<double>& arm, const double* q, const dmat& J) {
    armJacobian(arm, q, [&J](int row, int column) -> double& { return J.el[J.lb1 + row][J.lb2 + column]; });
    return 0;
}

// paramDH: d1, a2, a3, d4, d5, d6, mm; a2 and a3 count without their sign.
ArmLengths<float> lengthsOf(const float* paramDH) {
    return {-std::fabs(paramDH[1]) / 1000.0F, -std::fabs(paramDH[2]) / 1000.0F, paramDH[3] / 1000.0F,
            paramDH[4] / 1000.0F, paramDH[5] / 1000.0F};
}

// ---- any chain of six joints

bool isStandardArm(const double* alpha, const double* a, const double* d) {
    constexpr double right = kPi / 2;
    return alpha[0] == right && alpha[1] == 0.0 && alpha[2] == 0.0 && alpha[3] == right &&
           alpha[4] == -right && a[0] == 0.0 && d[1] == 0.0 && d[2] == 0.0 && a[3] == 0.0 && a[4] == 0.0 &&
           a[5] == 0.0;
}

// Axes and origin of each link frame in base coordinates, from the base outward; then axis x lever over axis.
void chainJacobian(const double* alpha, const double* a, const double* d, const double* q, double J[6][6]) {
    double axis[6][3], origin[6][3];  // of joint k
    double x[3] = {1.0, 0.0, 0.0}, y[3] = {0.0, 1.0, 0.0}, z[3] = {0.0, 0.0, 1.0}, p[3] = {};
    for (int k = 0; k < 6; k++) {
        const double c = std::cos(q[k]), s = std::sin(q[k]);
        const double cosAlpha = std::cos(alpha[k]), sinAlpha = std::sin(alpha[k]);
        for (int r = 0; r < 3; r++) {
            axis[k][r] = z[r];
            origin[k][r] = p[r];
            const double across = c * y[r] - s * x[r];
            x[r] = c * x[r] + s * y[r];
            p[r] += d[k] * z[r] + a[k] * x[r];
            y[r] = cosAlpha * across + sinAlpha * z[r];
            z[r] = cosAlpha * z[r] - sinAlpha * across;
        }
    }
    for (int k = 0; k < 6; k++) {
        const double* w = axis[k];
        const double lever[3] = {p[0] - origin[k][0], p[1] - origin[k][1], p[2] - origin[k][2]};
        J[0][k] = w[1] * lever[2] - w[2] * lever[1];
        J[1][k] = w[2] * lever[0] - w[0] * lever[2];
        J[2][k] = w[0] * lever[1] - w[1] * lever[0];
        for (int r = 0; r < 3; r++) J[3 + r][k] = w[r];
    }
}

// ---- arms

// clang-format off

// Arms of the closed forms, m. The wider arms carry a longer wrist offset d4 here than in the rows below.
//                                         a2,     a3,     d4,    d5,    d6
constexpr ArmLengths<double> kArmA = {  -0.28,  -0.24,  0.102, 0.102, 0.1   };
constexpr ArmLengths<double> kArmB = { -0.425, -0.395,  0.102, 0.102, 0.1   };
constexpr ArmLengths<double> kArmC = {   -0.7, -0.586,  0.195, 0.114, 0.106 };
constexpr ArmLengths<double> kArmD = {  -0.52,   -0.4,  0.195, 0.114, 0.106 };

// Arms of the velocity mapping by robot type, mm.
constexpr TypeRow<ArmLengths<double>> kArmRows[] = {
    // first, last,      a2,     a3,    d4,    d5,    d6
    {   1,  100, {   -280.0, -240.0, 102.0, 102.0, 100.0 } },
    { 101,  200, {   -425.0, -395.0, 102.0, 102.0, 100.0 } },
    { 201,  300, {   -700.0, -586.0, 159.0, 114.0, 106.0 } },
    { 301,  400, {   -520.0, -400.0, 159.0, 114.0, 106.0 } },
    { 401,  500, {  -1000.0, -716.0, 166.0, 138.0, 120.0 } },
};
constexpr const ArmLengths<double>& kArmOther = kArmRows[1].value;

// clang-format on

ArmLengths<double> armOf(int robotType) {
    const ArmLengths<double>& mm = byType(kArmRows, kArmOther, robotType);
    return {mm.a2 / 1000.0, mm.a3 / 1000.0, mm.d4 / 1000.0, mm.d5 / 1000.0, mm.d6 / 1000.0};
}

}  // namespace

int Jacobian_com(double* alpha, double* a, double* d, double* q, double J[6][6]) {
    if (isStandardArm(alpha, a, d)) {
        byRows({a[1], a[2], d[3], d[4], d[5]}, q, J);
    } else {
        chainJacobian(alpha, a, d, q, J);
    }
    return 0;
}

int zvA_jacob(double* joint_pos, dmat zv_J) { return intoMatrix(kArmA, joint_pos, zv_J); }
int zvB_jacob(double* joint_pos, dmat zv_J) { return intoMatrix(kArmB, joint_pos, zv_J); }
int zvC_jacob(double* joint_pos, dmat zv_J) { return intoMatrix(kArmC, joint_pos, zv_J); }
int zvD_jacob(double* joint_pos, dmat zv_J) { return intoMatrix(kArmD, joint_pos, zv_J); }

void velocityJacob(const float* paramDH, const float* joint_post, float* Jacob) {
    armJacobian(lengthsOf(paramDH), joint_post,
                [Jacob](int row, int column) -> float& { return Jacob[row + 6 * column]; });
}

void velocityJacobOld(const float* paramDH, const float* joint_post, float JJ[6][6]) {
    armJacobian(lengthsOf(paramDH), joint_post,
                [JJ](int row, int column) -> float& { return JJ[row][column]; });
}

int EndvelToJointvel(double* q, double* endvel, double* jointvel) {
    // on purpose in the caller's array, also on a refusal
    for (int i = 0; i < 6; i++) q[i] = q[i] / 180.0 * kPi;
    double J[6][6];
    byRows(armOf(mcb.robotType), q, J);
    // only the exact zero is refused; near a singularity the caller limits what comes out
    if (determinant(J, 6) == 0.0) {
        mcb.ioError = zvCtlIOVALUEError;
        return -1;
    }
    double inverse[6][6];
    inverseJacobi(J, inverse);
    MatrixMul6and1(inverse, endvel, jointvel);
    return 0;
}
