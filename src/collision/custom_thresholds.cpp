// Thresholds of the user's own: on the torque deviation of each joint, and on the force and torque at the
// arm's end that the joint torques stand for.
#include "collision/custom_thresholds.h"

#include <algorithm>
#include <cmath>

#include "model/type_table.h"
#include "support/joints.h"
#include "support/log_lines.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

namespace tarn {

CustomThresholdState customThresholds;

void coldStartCustomThresholds() { customThresholds = {}; }

}  // namespace tarn

using namespace tarn;

namespace {

struct Lengths {
    float paramDH[6];  // mm
};

// clang-format off
constexpr TypeRow<Lengths> kLengths[] = {
    // first, last,     d1,    a2,    a3,  d4,  d5,  d6
    {    1,  100, { { 152,  -280,  -240, 102, 102, 100 } } },
    {  101,  200, { { 152,  -425,  -395, 102, 102, 100 } } },
    {  201,  300, { { 180,  -700,   586, 159, 114, 106 } } },  // a3 positive on purpose: the Jacobian takes its magnitude
    {  301,  400, { { 180,  -520,  -400, 159, 114, 106 } } },
    {  401,  500, { { 215, -1000,  -716, 166, 138, 120 } } },
    {  701,  701, { { 140,  -420,    12, 360, 102, 100 } } },
    {  702,  702, { { 140,  -425,  -395, 102, 102, 100 } } },
    {  703,  703, { { 140,  -280,  -240, 102, 102, 100 } } },
    {  704,  800, { {   0,     0,     0,   0,   0,   0 } } },  // no arm known: always singular
    {  801,  900, { { 140,  -425,  -395, 102, 102, 100 } } },
    {  901,  901, { { 140,  -280,  -240, 102, 102, 100 } } },
    {  902,  902, { { 180,  -700,  -586, 211, 114, 106 } } },
    {  903,  903, { { 150,  -280,  -240, 102, 102, 100 } } },
    { 1001, 1100, { { 215,  -700,  -536, 166, 138, 120 } } },
};
constexpr Lengths kLengthsOther =
                  { { 152,  -425,  -395, 102, 102, 100 } };
// clang-format on

constexpr double kSingular = 1e-06;  // m^3, of the determinant

// The supervisor compares torques of the motors' side; the arm's end feels them through the gears.
constexpr double kGear = 100;

// TJacob: the Jacobian of the commanded pose transposed, so that joint torques = TJacob * wrench of the end.
void transposedJacobian(double TJacob[6][6]) {
    float joint_angle[6], Jacob[6][6];
    for (int i = 0; i < 6; i++) joint_angle[i] = static_cast<float>(mpb.jC.v[i] * 3.141592653589793 / 180.0);
    velocityJacobOld(byType(kLengths, kLengthsOther, mcb.robotType).paramDH, joint_angle, Jacob);
    for (int i = 0; i < 6; i++)
        for (int j = 0; j < 6; j++) TJacob[j][i] = static_cast<double>(Jacob[i][j]);
}

// Counts the first value outside its band, and that one alone: the counters of the others keep still. With
// all values inside, the counters start anew.
void countFirstOutside(const double* value, const float* threshold, float* counter) {
    for (int i = 0; i < 6; i++) {
        const double t = static_cast<double>(threshold[i]);
        if (value[i] < -t || value[i] > t) {
            counter[i] += 1.0F;
            return;
        }
    }
    std::fill_n(counter, armJoints(), 0.0F);
}

}  // namespace

int zvmcCustomCollisionDetectionMain(double* precent, double* servor_current_feedback) {
    COLLISION_DETECTION& detection = mcb.collisionDetection;
    const uint8_t f = detection.CustomCollisionFlag;

    if (f == 2 || f == 3) {
        double TJacob[6][6];
        transposedJacobian(TJacob);
        const double detJJ = determinantDimen(6, TJacob[0]);
        if (std::fabs(detJJ) < kSingular) {
            logSingular("TJacob", detJJ, TJacob);
            return -1;
        }
        double invTJacob[6][6], EndForceAndTorque[6];
        inverseJacobi(TJacob, invTJacob);
        MatrixMul6and1(invTJacob, servor_current_feedback, EndForceAndTorque);
        for (int i = 0; i < 6; i++) {
            EndForceAndTorque[i] *= kGear;
            detection.tcpRealForce[i] = static_cast<float>(EndForceAndTorque[i]);
        }
        countFirstOutside(EndForceAndTorque, detection.tcpDetectionThreshold,
                          customThresholds.tcpCollisionCount);
    }
    if (f == 1 || f == 3)
        countFirstOutside(precent, detection.jointDetectionThreshold, customThresholds.jointCollisionCount);
    return 0;
}
