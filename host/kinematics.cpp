#include "tarnhost/kinematics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "model/arm_shape.h"
#include "model/parameter_sets.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn::host {

constinit std::array<TRSF, kWorkPieces> workPieceInBase = [] {
    std::array<TRSF, kWorkPieces> frames = {};
    frames.fill(kIdentityPose);
    return frames;
}();

namespace {

using std::numbers::pi;

const ParameterSet* geometry(int robotType) {
    const ParameterSet* set = dynamicsSet(robotType);
    return set != nullptr ? set : gravitySet(robotType);
}

// Frames of the base (index 0) and of links 1 to 6, in B.
struct Chain {
    TRSF frame[7];
};

bool chain(int robotType, const double jointsDeg[6], Chain* out) {
    const ParameterSet* set = geometry(robotType);
    if (set == nullptr) return false;
    const std::array<DhLink, 6> links = dhLinks(*set);
    const std::array<double, 6>& zero = jointZeroOffsetDeg(robotType);

    out->frame[0] = kIdentityPose;
    for (std::size_t i = 0; i < 6; i++) {
        const DhLink& link = links[i];
        const double theta = jointsDeg[i] - zero[i] + link.thetaOffsetDeg;
        TRSF step;
        dhClassic(&step, link.a, link.alphaDeg / 180.0 * pi, link.d, theta / 180.0 * pi);
        multTrsf(&out->frame[i + 1], &out->frame[i], &step);
    }
    return true;
}

ROBCARTPOS toRobCartPos(const TRSF& t) {
    double rz, ry, rx;
    trsfToRpy(&rz, &ry, &rx, &t);
    return {static_cast<float>(t.p.x),
            static_cast<float>(t.p.y),
            static_cast<float>(t.p.z),
            static_cast<float>(rx),
            static_cast<float>(ry),
            static_cast<float>(rz),
            -1};
}

TRSF fromRobCartPos(const ROBCARTPOS& pose) {
    TRSF t;
    rpyToTrsf(&t, static_cast<double>(pose.c), static_cast<double>(pose.b), static_cast<double>(pose.a));
    t.p = {static_cast<double>(pose.x), static_cast<double>(pose.y), static_cast<double>(pose.z)};
    return t;
}

// ---- inverse kinematics: Levenberg-Marquardt on the pose error

using Vector6 = std::array<double, 6>;
using Matrix6 = std::array<Vector6, 6>;

// Way from the flange to the target: meters, and a rotation vector in radians, both in B.
Vector6 poseError(const TRSF& flange, const TRSF& target) {
    TRSF back, difference;
    invertTrsf(&back, &flange);
    multTrsf(&difference, &target, &back);
    QTRN q;
    VECT turn;
    trsfToQtrn(&q, &difference);
    qtrnToDspl(&turn, &q);
    return {(target.p.x - flange.p.x) * 0.001,
            (target.p.y - flange.p.y) * 0.001,
            (target.p.z - flange.p.z) * 0.001,
            turn.x,
            turn.y,
            turn.z};
}

double squareSum(const Vector6& v) {
    double sum = 0.0;
    for (double x : v) sum += x * x;
    return sum;
}

// Motion of the flange, m and rad in B, by joint, rad.
Matrix6 jacobian(const Chain& arm) {
    Matrix6 jac;
    for (std::size_t k = 0; k < 6; k++) {
        VECT lever, linear;
        const VECT axis = arm.frame[k].a;
        subtractVect(&lever, &arm.frame[6].p, &arm.frame[k].p);
        crossVect(&linear, &axis, &lever);
        scaleVect(&linear, &linear, 0.001);
        const Vector6 column = {linear.x, linear.y, linear.z, axis.x, axis.y, axis.z};
        for (std::size_t i = 0; i < 6; i++) jac[i][k] = column[i];
    }
    return jac;
}

// Gaussian elimination with row exchanges: b becomes the solution of m x = b. The determinant of m; at 0
// there is no solution.
double solve(Matrix6 m, Vector6& b) {
    double determinant = 1.0;
    for (std::size_t k = 0; k < 6; k++) {
        std::size_t pivot = k;
        for (std::size_t i = k + 1; i < 6; i++)
            if (std::fabs(m[i][k]) > std::fabs(m[pivot][k])) pivot = i;
        if (pivot != k) {
            std::swap(m[k], m[pivot]);
            std::swap(b[k], b[pivot]);
            determinant = -determinant;
        }
        determinant *= m[k][k];
        if (m[k][k] == 0.0) return 0.0;
        for (std::size_t i = k + 1; i < 6; i++) {
            const double factor = m[i][k] / m[k][k];
            for (std::size_t j = k; j < 6; j++) m[i][j] -= factor * m[k][j];
            b[i] -= factor * b[k];
        }
    }
    for (std::size_t k = 6; k-- > 0;) {
        for (std::size_t j = k + 1; j < 6; j++) b[k] -= m[k][j] * b[j];
        b[k] /= m[k][k];
    }
    return determinant;
}

// (J^T J + damping * 1)^-1 J^T error
Vector6 dampedStep(const Matrix6& jac, const Vector6& error, double damping) {
    Matrix6 normal = {};
    Vector6 step = {};
    for (std::size_t i = 0; i < 6; i++) {
        for (std::size_t j = 0; j < 6; j++)
            for (std::size_t k = 0; k < 6; k++) normal[i][j] += jac[k][i] * jac[k][j];
        normal[i][i] += damping;
        for (std::size_t k = 0; k < 6; k++) step[i] += jac[k][i] * error[k];
    }
    solve(normal, step);
    return step;
}

bool isSingular(const Chain& arm) {
    constexpr double kSmallest = 1e-6;  // m^3; well-posed arms have some 1e-2 and more
    Vector6 unused = {};
    return std::fabs(solve(jacobian(arm), unused)) < kSmallest;
}

// 0, -1 or -2 as the service; joints in degrees, start on entry and solution on success.
int solveFlange(const TRSF& target, double jointsDeg[6]) {
    constexpr int kMostSteps = 100;
    constexpr double kReached = 1e-20;  // square of 1e-10 m and rad
    constexpr double kMostDamping = 1e6;

    Chain arm;
    if (!chain(mcb.robotType, jointsDeg, &arm)) return -1;
    const bool startSingular = isSingular(arm);

    double q[6];
    std::copy_n(jointsDeg, 6, q);
    Vector6 error = poseError(arm.frame[6], target);
    double square = squareSum(error);
    double damping = 1e-4;
    for (int step = 0; step < kMostSteps && square > kReached && damping < kMostDamping; step++) {
        const Vector6 change = dampedStep(jacobian(arm), error, damping);
        double next[6];
        for (std::size_t i = 0; i < 6; i++) next[i] = q[i] + change[i] / pi * 180.0;
        Chain nextArm;
        chain(mcb.robotType, next, &nextArm);
        const Vector6 nextError = poseError(nextArm.frame[6], target);
        const double nextSquare = squareSum(nextError);
        if (nextSquare < square) {
            std::copy_n(next, 6, q);
            arm = nextArm;
            error = nextError;
            square = nextSquare;
            damping = std::max(damping * 0.1, 1e-14);
        } else {
            damping *= 10.0;
        }
    }
    if (!(square <= kReached)) return startSingular ? -2 : -1;  // also for a target that is no number

    // the turn of each joint that is nearest to the start
    for (std::size_t i = 0; i < 6; i++)
        if (std::fabs(q[i] - jointsDeg[i]) > 180.0)
            q[i] = jointsDeg[i] + std::remainder(q[i] - jointsDeg[i], 360.0);
    std::copy_n(q, 6, jointsDeg);
    return 0;
}

}  // namespace

bool flangePose(int robotType, const double jointsDeg[6], TRSF* pose) {
    Chain arm;
    const bool known = chain(robotType, jointsDeg, &arm);
    *pose = known ? arm.frame[6] : kIdentityPose;
    return known;
}

}  // namespace tarn::host

using namespace tarn::host;

int newFwdKinematics(JNTS* joints, TRSF* pose) { return flangePose(mcb.robotType, joints->v, pose) ? 0 : -1; }

int jointTrsfToEndCartTCF_RT(int, double* joints, ROBCARTPOS* pose) {
    TRSF flange;
    const bool known = flangePose(mcb.robotType, joints, &flange);
    *pose = toRobCartPos(flange);
    return known ? 0 : -1;
}

int jointTrsfToToolCartTCF_RT(int, double* joints, ROBCARTPOS* pose) {
    TRSF tool;
    const bool known = flangePose(mcb.robotType, joints, &tool);
    multTrsf(&tool, &tool, &mpb.TOOL);
    *pose = toRobCartPos(tool);
    return known ? 0 : -1;
}

int tmcGetRobotPos(ROBPOS* pos, EXAXISPOS* exAxisPos) {
    TRSF tool;
    const bool known = flangePose(mcb.robotType, mpb.j6.v, &tool);
    multTrsf(&tool, &tool, &mpb.TOOL);
    pos->a1 = tool.p.x;
    pos->a2 = tool.p.y;
    pos->a3 = tool.p.z;
    trsfToRpy(&pos->a6, &pos->a5, &pos->a4, &tool);
    const double* j = mpb.j6.v;
    pos->j1 = j[0];
    pos->j2 = j[1];
    pos->j3 = j[2];
    pos->j4 = j[3];
    pos->j5 = j[4];
    pos->j6 = j[5];
    *exAxisPos = {};
    return known ? 0 : -1;
}

int tmcGetInverseKinematicNoLine(int, ROBCARTPOS pose, ROBPOS* joints) {
    TRSF endInTool;
    invertTrsf(&endInTool, &mpb.TOOL);
    const TRSF tool = fromRobCartPos(pose);
    TRSF flange;
    multTrsf(&flange, &tool, &endInTool);

    double q[6];
    std::copy_n(mpb.jC.v, 6, q);
    const int result = solveFlange(flange, q);
    *joints = {.a1 = tool.p.x,
               .a2 = tool.p.y,
               .a3 = tool.p.z,
               .a4 = static_cast<double>(pose.a),
               .a5 = static_cast<double>(pose.b),
               .a6 = static_cast<double>(pose.c),
               .j1 = q[0],
               .j2 = q[1],
               .j3 = q[2],
               .j4 = q[3],
               .j5 = q[4],
               .j6 = q[5]};
    return result;
}

int baseTrsfToWorkPiece(int workPieceNum, TRSF pose, TRSF* out) {
    if (workPieceNum < 0 || workPieceNum >= kWorkPieces) {
        *out = kIdentityPose;
        return -1;
    }
    TRSF baseInWorkPiece;
    invertTrsf(&baseInWorkPiece, &workPieceInBase[static_cast<std::size_t>(workPieceNum)]);
    multTrsf(out, &baseInWorkPiece, &pose);
    return 0;
}

int toolInBaseTrsfToToolInExAxis_RealTime(TRSF pose, EXAXIS_DHPARA, TRSF externalAxisInBase, TRSF* out) {
    TRSF baseInAxis;
    invertTrsf(&baseInAxis, &externalAxisInBase);
    multTrsf(out, &baseInAxis, &pose);
    return 0;
}

void TransMatSDHTR(SDHV link, TRSF* out) { dhClassic(out, link.a, link.alpha, link.d, link.theta); }
