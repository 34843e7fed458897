// The tool load out of nine poses, taken with the bare arm and again with the load: what the wrench at the
// arm's end has more the second time is the load's weight and moment.
#include "identification/nine_point.h"

#include <cmath>
#include <optional>

#include "dynamics/measured_load.h"
#include "model/type_table.h"
#include "tarntools/tools_log.h"
#include "zvmctoolblock.h"

using namespace tarn;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kGravity = 9.81;    // m/s^2
constexpr double kSingular = 1e-06;  // determinant of normal equations that tell nothing
constexpr int kPoses = 9;
constexpr int kMeanPoses[] = {0, 1, 3, 5, 7};  // the others count for the determinant only, on purpose

// clang-format off

// Denavit-Hartenberg lengths, m; none: no Jacobian.
struct Lengths { double a2, a3, d1, d4, d5, d6; };
constexpr TypeRow<std::optional<Lengths>> kArmRows[] = {
    // first, last,        a2,     a3,    d1,    d4,    d5,    d6
    {    1,  100, Lengths{ -0.28,  -0.24,  0.14,  0.102, 0.102, 0.1   } },
    {  101,  200, Lengths{ -0.425, -0.395, 0.152, 0.102, 0.102, 0.1   } },
    {  201,  300, Lengths{ -0.7,   -0.586, 0.18,  0.159, 0.114, 0.106 } },
    {  301,  301, Lengths{ -0.52,  -0.4,   0.18,  0.195, 0.114, 0.106 } },
    {  302,  302, Lengths{ -0.52,  -0.4,   0.18,  0.159, 0.114, 0.106 } },
    {  303,  400, std::nullopt                                          },
    {  401,  500, Lengths{ -1.0,   -0.716, 0.215, 0.166, 0.138, 0.12  } },
    { 1001, 1100, Lengths{ -0.7,   -0.536, 0.215, 0.166, 0.138, 0.12  } },
};
constexpr const std::optional<Lengths>& kArmOther = kArmRows[1].value;

// clang-format on

// Wrench at the flange, N and N m, B, that the measured joint torques balance. Without a Jacobian no number.
void endWrench(double (&f_end)[6]) {
    double J[6][6] = {};
    if (const auto& arm = byType(kArmRows, kArmOther, mcb.robotType)) {
        double alpha[6] = {kPi / 2, 0.0, 0.0, kPi / 2, -kPi / 2, 0.0};
        double a[6] = {0.0, arm->a2, arm->a3, 0.0, 0.0, 0.0};
        double d[6] = {arm->d1, 0.0, 0.0, arm->d4, arm->d5, arm->d6};
        Jacobian_com(alpha, a, d, measuredLoad.joint_angle_load, J);  // degrees for radians, on purpose
    }
    double transposed[6][6], inverse[6][6];
    transposeMatrixDimen(6, 6, J[0], transposed[0]);
    inverseJacobi(transposed, inverse);
    MatrixMulDimenSingle(6, 6, 1, inverse[0], measuredLoad.torque, f_end);
}

// Adds a pose's equations in mass and mass times center, with gravity along the approach vector.
void addPose(const VECT& a, double (&f_err)[6]) {
    double A[6][4] = {
        {-a.x, 0, 0, 0},   {-a.y, 0, 0, 0},   {-a.z, 0, 0, 0},
        {0, 0, -a.z, a.y}, {0, a.z, 0, -a.x}, {0, -a.y, a.x, 0},
    };
    double transposed[4][6], square[4][4], product[4];
    transposeMatrixDimen(6, 4, A[0], transposed[0]);
    MatrixMulDimen(4, 6, 4, transposed[0], A[0], square[0]);
    MatrixMulDimenSingle(4, 6, 1, transposed[0], f_err, product);
    SIMPLE_LOADIDENTIFY& s = simply_loadidentify;
    MatrixAddDimen(4, 4, s.left_sum[0], square[0], s.left_sum[0]);
    MatrixAddDimen(4, 1, s.right_sum, product, s.right_sum);
}

// Summed in single precision.
double mean(const float (&values)[kPoses]) {
    float sum = 0.0F;
    for (const int i : kMeanPoses) sum += values[i];
    return static_cast<double>(sum) / 5.0;
}

void logSingular(double detValue) {
    const auto& left = simply_loadidentify.left_sum;
    Write_Log(LOG_ERR, "detValue: = %f", detValue);
    // the approach vector of a tenth pose, on purpose: what stands there is of the sums behind the poses
    Write_Log(LOG_ERR, "POS: error = %f,%f,%f", left[1][2], left[1][3], left[2][0]);
    for (const auto& row : left)
        Write_Log(LOG_ERR, "loadIdentify: leftsum = %f,%f,%f,%f", row[0], row[1], row[2], row[3]);
}

}  // namespace

int zvmcSetCurrentLoadIdentifyFlag(uint8_t loadFlag) {
    simply_loadidentify.flag = loadFlag;
    return 0;
}

int zvmcSaveLoadIdentifyPoint(int RecordCount) {
    if (RecordCount < 1 || RecordCount > kPoses) return 0;
    SIMPLE_LOADIDENTIFY& s = simply_loadidentify;
    if (s.flag > 1) return 0;
    const int n = RecordCount - 1;
    double f_end[6];
    endWrench(f_end);
    float(&f)[6] = s.flag == 0 ? s.f_non[n] : s.f_load[n];
    for (int i = 0; i < 6; i++) f[i] = static_cast<float>(f_end[i]);
    if (s.flag == 0) s.POS[n] = mpb.tC;
    return 0;
}

int zvmcComEndLoadMain(double* m, double* xyz) {
    SIMPLE_LOADIDENTIFY& s = simply_loadidentify;
    float m_load[kPoses], rx[kPoses], ry[kPoses], rz[kPoses];
    for (int i = 0; i < kPoses; i++) {
        double f_err[6];
        for (int j = 0; j < 6; j++) f_err[j] = static_cast<double>(s.f_load[i][j] - s.f_non[i][j]);
        const VECT& a = s.POS[i].a;
        addPose(a, f_err);  // on top of what earlier evaluations left, on purpose

        m_load[i] = static_cast<float>(f_err[2] / (a.z * -kGravity));
        const double weight = static_cast<double>(m_load[i]) * kGravity;  // N
        rx[i] = static_cast<float>(f_err[4] / weight);
        ry[i] = static_cast<float>(f_err[3] / weight);
        const double x = static_cast<double>(rx[i]), y = static_cast<double>(ry[i]);
        rz[i] = static_cast<float>(std::sqrt(x * x + y * y) * 1000.0);
    }

    const double detValue = determinantDimen4(4, s.left_sum);
    if (std::fabs(detValue) < kSingular) {
        logSingular(detValue);
        return -1;
    }
    // The sums only decide whether there is a result. It is not their solution, on purpose, but the means: x
    // and y in m, the third number, the distance from the flange's axis, in mm.
    *m = mean(m_load);
    xyz[0] = mean(rx);
    xyz[1] = mean(ry);
    xyz[2] = mean(rz);
    return 0;
}
