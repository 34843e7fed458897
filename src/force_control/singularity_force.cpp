// Force that pushes a dragged arm away from its singularities: how far it can still move, where a small step
// would better that, and a barrier that grows as little is left.
#include "force_control/singularity_force.h"

#include <cmath>

#include "force_control/drag_state.h"
#include "force_control/regulators.h"
#include "model/type_table.h"
#include "support/log_lines.h"
#include "tarntools/tools_log.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

using namespace tarn;

namespace {

// clang-format off

struct Arm {
    float  paramDH[6];    // mm: d1, a2, a3, d4, d5, d6
    double wcr, wth;      // m^3: where the barrier of translation is highest, and where it begins
    double lamda;         // gain of the barrier with joint 3 far from stretched
    double lamdaStretch;  // the same within 30 degrees of it
};
constexpr TypeRow<Arm> kArms[] = {
    // first, last,    d1,    a2,    a3,  d4,  d5,  d6         wcr,  wth,  lamda
    {    1,  100, { { 152,  -280,  -240, 102, 102, 100 }, 0.0024, 0.01, 1500, 1500 } },
    {  101,  200, { { 152,  -425,  -395, 102, 102, 100 }, 0.005,  0.05, 1500, 3000 } },
    {  201,  300, { { 180,  -700,   586, 159, 114, 106 }, 0.038,  0.15, 1500, 1500 } },  // + on purpose
    {  301,  400, { { 180,  -520,  -400, 159, 114, 106 }, 0.013,  0.06, 1500, 1500 } },
    {  401,  500, { { 215, -1000,  -716, 166, 138, 120 }, 0.05,   0.2,  1500, 1500 } },
    { 1001, 1100, { { 215,  -700,  -536, 166, 138, 120 }, 0.04,   0.16, 1500, 1500 } },
};
constexpr Arm kOtherArm =
                  { { 152,  -425,  -395, 102, 102, 100 }, 0.005,  0.05, 1500, 1500 };

// clang-format on

constexpr double wrcr = 0.1, wrth = 0.5;               // of rotation, on all arms
constexpr double FTMax[6] = {100, 100, 100, 6, 6, 6};  // N, N m
constexpr double kSingular = 1e-06;                    // m^3, of the determinant
constexpr double kStretched = 30.0;                    // degrees
constexpr double kProbe = 0.001 * kPi / 180.0;         // m, radians

const Arm& arm() { return byType(kArms, kOtherArm, mcb.robotType); }

enum Rows { Linear = 0, Angular = 3 };  // first row of the three

// sqrt(det(M * (I - H+ * H) * M')), with M the three moving rows of a Jacobian, H the three held ones, and
// H+ = H' * (H * H')^-1: the volume that is left to M by joint motions with which H stands still.
//
// That is the product of the moving rows' lengths once each row has given off its share along all rows
// before it, held ones first. No product of the matrix with itself is formed, so that in single precision the
// digits near a singularity last. Held rows without a volume give no number.
template <typename Real, typename Element>
Real mobility(Rows moving, Rows held, const Element& element) {
    Real row[6][6];
    for (int r = 0; r < 3; r++)
        for (int c = 0; c < 6; c++) {
            row[r][c] = element(held + r, c);
            row[3 + r][c] = element(moving + r, c);
        }
    const auto dot = [&row](int a, int b) {
        Real sum = 0;
        for (int c = 0; c < 6; c++) sum += row[a][c] * row[b][c];
        return sum;
    };
    Real volume = 1;  // squared
    for (int i = 0; i < 6; i++) {
        const Real square = dot(i, i);
        if (i >= 3) {
            if (square == 0) return 0;
            volume *= square;
        }
        for (int j = i + 1; j < 6; j++) {
            const Real share = dot(i, j) / square;
            for (int c = 0; c < 6; c++) row[j][c] -= share * row[i][c];
        }
    }
    return std::sqrt(volume);
}

float mobility(Rows moving, Rows held, const float* J) {
    return mobility<float>(moving, held, [J](int row, int column) { return J[row + 6 * column]; });
}

double mobility(Rows moving, Rows held, double (*J)[6]) {
    return mobility<double>(moving, held, [J](int row, int column) { return J[row][column]; });
}

// Gain of a measure along one axis, signed by the way that betters it more; 0 on a crest.
double ascent(float here, float ahead, float behind) {
    const double W = static_cast<double>(here);
    const double up = static_cast<double>(ahead) - W, down = static_cast<double>(behind) - W;
    if (up <= 0.0 && down <= 0.0) return 0.0;
    return up >= down ? up : -down;
}

// Steepest at its critical value, on purpose without a guard there, and of twice the height beyond.
double barrier(double measure, double critical, double threshold, double gain) {
    if (measure > threshold) return 0.0;
    const double height = gain * (1.0 / (measure - critical) - 1.0 / (threshold - critical));
    return measure > critical ? height : -2.0 * height;
}

double dot(const VECT& a, const double* b) { return a.x * b[0] + a.y * b[1] + a.z * b[2]; }

}  // namespace

namespace tarn {

double shoulderMeasure() {
    const float* lengths = arm().paramDH;
    const double d4 = static_cast<double>(lengths[3]) / 1000.0;
    const double d6 = static_cast<double>(lengths[5]) / 1000.0;
    const double wx = mpb.tC.p.x * 0.001 - mpb.tC.a.x * d6;
    const double wy = mpb.tC.p.y * 0.001 - mpb.tC.a.y * d6;
    return wx * wx + wy * wy - d4 * d4;
}

}  // namespace tarn

float testOutTrans(const float* J) { return mobility(Linear, Angular, J); }
float testOutRot(const float* J) { return mobility(Angular, Linear, J); }
double zvmcInputJJOutTrans(double (*J)[6]) { return mobility(Linear, Angular, J); }
double zvmcInputJJOutROT(double (*J)[6]) { return mobility(Angular, Linear, J); }

int zvmcConstraintsAdmittance(double* Fv, double) {
    const Arm& own = arm();
    double joint_pos[6];  // radians
    for (int i = 0; i < 6; i++) joint_pos[i] = mpb.jC.v[i] / 180.0 * kPi;

    const auto jacobianAt = [&own](const double* q, float* Jacob) {
        float angles[6];
        for (int i = 0; i < 6; i++) angles[i] = static_cast<float>(q[i]);
        velocityJacob(own.paramDH, angles, Jacob);
    };
    float Jacob[36];
    jacobianAt(joint_pos, Jacob);
    const float rotComJJ = testOutRot(Jacob), transComJJ = testOutTrans(Jacob);

    double JJ[6][6], invJJ[6][6];
    for (int r = 0; r < 6; r++)
        for (int c = 0; c < 6; c++) JJ[r][c] = static_cast<double>(Jacob[r + 6 * c]);
    const double detJJ = determinantDimen(6, JJ[0]);
    if (std::fabs(detJJ) < kSingular) {
        logSingular("JJ", detJJ, JJ);
        return -1;
    }
    inverseJacobi(JJ, invJJ);

    // a small step of the end along and about each axis, either way
    double A[6];
    for (int c = 0; c < 6; c++) {
        const auto measureAt = [&](double step) {
            double q[6];
            for (int i = 0; i < 6; i++) q[i] = joint_pos[i] + invJJ[i][c] * step;
            jacobianAt(q, Jacob);
            return c < 3 ? testOutTrans(Jacob) : testOutRot(Jacob);
        };
        const float Wup = measureAt(kProbe), Wdown = measureAt(-kProbe);
        A[c] = ascent(c < 3 ? transComJJ : rotComJJ, Wup, Wdown);
    }
    forceDrag.shoulderSingularDis = shoulderMeasure();

    const double lamda = std::fabs(mpb.jC.v[2]) <= kStretched ? own.lamdaStretch : own.lamda;
    const double kwTrans = barrier(static_cast<double>(transComJJ), own.wcr, own.wth, lamda);
    const double kwRot = barrier(static_cast<double>(rotComJJ), wrcr, wrth, lamda);
    double Fv1[6];  // base frame
    for (int c = 0; c < 6; c++) Fv1[c] = A[c] * (c < 3 ? kwTrans : kwRot) * 5.0;

    // the end frame whatever the frame of the drag, on purpose
    const TRSF& end = mpb.tC;
    for (int c = 0; c < 6; c += 3) {
        Fv[c] = dot(end.n, Fv1 + c);
        Fv[c + 1] = dot(end.o, Fv1 + c);
        Fv[c + 2] = dot(end.a, Fv1 + c);
    }
    for (int i = 0; i < 6; i++)
        if (std::fabs(Fv[i]) > FTMax[i]) Fv[i] = std::copysign(FTMax[i], Fv[i]);
    return 0;
}

int det3(double (*matrix)[3], double* determinant) {
    const double(*m)[3] = matrix;
    *determinant = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                   m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                   m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    return 0;
}

int inverseMatrix3(double (*matrix)[3], double (*inverse)[3]) {
    double determinant;
    det3(matrix, &determinant);
    // exact zero, without a tolerance, on purpose
    if (determinant == 0.0) {
        Write_Log(LOG_INFO, "Matrix is not invertible.\n");
        return -1;
    }
    // cofactors by cyclic neighbors carry their sign
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) {
            const double *a = matrix[(j + 1) % 3], *b = matrix[(j + 2) % 3];
            const int k = (i + 1) % 3, l = (i + 2) % 3;
            inverse[i][j] = (a[k] * b[l] - a[l] * b[k]) / determinant;
        }
    return 0;
}
