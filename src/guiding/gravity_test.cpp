// The torque model of mode 1: identified parameters times the arm's regressor, static and motion torque
// weighed apart.
#include <algorithm>
#include <cstring>
#include <initializer_list>

#include "dynamics/regressor.h"
#include "model/gravity_test_vectors.h"
#include "model/parameter_sets.h"
#include "numeric/filter_records.h"
#include "numeric/fixed_matrix.h"
#include "tmcforceblock.h"
#include "zvmcidentifydynamicblock.h"
#include "zvmctoolblock.h"

using namespace tarn;

namespace {

constexpr int kRows = 6;        // samples that a history holds
constexpr int kSettling = 500;  // cycles before the filtered position may be differentiated
constexpr int kMounting = 3;    // axes ahead of the arm's
constexpr int kAxes = 9;

constexpr double radians(double degrees) { return degrees / 180.0 * 3.141592653589793; }

// Family B converts with a factor of single precision, on purpose.
constexpr double kRadPerDegB = 0.01745329238474369;
constexpr double kRotorGainB[6] = {0.1, 0.1, 0.3, 0.2, 0.0, 0.2};

using Regressor = int (*)(double* q, double* dq, double* ddq, dmat result);

// Mounting and joints as the regressors take them: radians, by s and s^2.
struct Motion {
    double q[kAxes], velocity[kAxes], acceleration[kAxes];
};

struct Torque {
    double still[6], moving[6];  // at the pose alone, and with the motion; unit of the parameters
};

// What the load adds to a parameter. Those it does not touch stay what they are at an infinite weight, too.
double loadShare(double perKilogram) { return perKilogram != 0.0 ? perKilogram * mpb.loadWeight : 0.0; }

// First cycle after a reset: the family's parameters come into force, and the filter starts at the pose.
void begin(const GravityTestVector& x, const GravityTestVector* perKilogram, const double* joint_pos) {
    if (armFilters.filt.index > 0) return;
    for (int i = 0; i < 54; i++)
        selftauHb_x[i] = x[i] + (perKilogram != nullptr ? loadShare((*perKilogram)[i]) : 0.0);
    std::copy_n(selftauHb_x, 54, gtau);
    for (int i = 0; i < 6; i++) armFilters.filt.j_pos0[i] = radians(joint_pos[i]);
}

// The pose through the low-pass, standing still.
Motion filteredPose(double q2, double q3, const double* joint_pos) {
    filter& f = armFilters.filt;
    if (f.index >= kRows) {
        for (auto* rows : {f.j_pos, f.prej_pos, f.afterj_pos})
            std::memmove(rows, rows + 1, (kRows - 1) * sizeof *rows);
        f.index = kRows - 1;
    }
    Motion at = {};
    at.q[1] = radians(q2);
    at.q[2] = radians(q3);
    const int row = f.index;
    for (int i = 0; i < 6; i++) {
        f.j_pos[row][i] = radians(joint_pos[i]) - f.j_pos0[i];
        double result;
        buttord(i, row, &result);
        f.prej_pos[row][i] = result;
        f.afterj_pos[row][i] = at.q[kMounting + i] = f.j_pos0[i] + result;
    }
    return at;
}

void countCycle() {
    filter& f = armFilters.filt;
    f.index++;
    if (f.index1 <= kSettling + 1) f.index1++;
}

// Motion from differences of the filtered pose, once the filter has settled.
void addFilteredMotion(Motion& at) {
    const filter& f = armFilters.filt;
    if (f.index1 <= kSettling) return;
    const auto* p = &f.afterj_pos[f.index];
    for (int i = 0; i < 6; i++) {
        at.velocity[kMounting + i] = (p[0][i] - p[-2][i]) / 0.002;
        at.acceleration[kMounting + i] = (p[0][i] - 2 * p[-1][i] + p[-2][i]) / 1e-06;
    }
}

// The joints as they are, unfiltered, in the motion as planned.
void takePlannedMotion(Motion& at, const double* joint_pos) {
    for (int i = 0; i < 6; i++) {
        at.q[kMounting + i] = joint_pos[i] * kRadPerDegB;
        at.velocity[kMounting + i] = mpb.jCvel.v[i] * 1000.0 * kRadPerDegB;
        at.acceleration[kMounting + i] = mpb.jCaccRaw.v[i] * 1000.0 * 1000.0 * kRadPerDegB;
    }
}

// No regressor for another family's model number: no torque.
Torque torqueOf(Regressor regressor, Motion& at) {
    Torque torque = {};
    if (regressor == nullptr) return torque;
    FixedMatrix<6, 1> result;
    double rest[kAxes] = {};
    regressor(at.q, rest, rest, result.view());
    for (int i = 0; i < 6; i++) torque.still[i] = result[i][0];
    regressor(at.q, at.velocity, at.acceleration, result.view());
    for (int i = 0; i < 6; i++) torque.moving[i] = result[i][0];
    return torque;
}

double weighed(const Gain& gain, const Torque& torque, int i) {
    return gain.kp[i] * torque.still[i] + gain.kf[i] * (torque.moving[i] - torque.still[i]);
}

// Families A, C and D: the parameters give motor torque.
int motorTorqueTest(const GravityTestVector& x, Regressor regressor, double q2, double q3, const Gain& gain,
                    const double* joint_pos, double* tau) {
    begin(x, nullptr, joint_pos);
    Motion at = filteredPose(q2, q3, joint_pos);
    addFilteredMotion(at);
    const Torque torque = torqueOf(regressor, at);
    for (int i = 0; i < 6; i++) tau[i] = weighed(gain, torque, i) * 100.0;
    countCycle();
    return 0;
}

}  // namespace

int zvmcteachcontrolA_gravitytest(double q2, double q3, Gain gain, TRSF /*curpos*/, double* joint_pos,
                                  double* tau, int robot_model) {
    return motorTorqueTest(kGravityTestA, robot_model == 1 ? computeZvA_selftautest : nullptr, q2, q3, gain,
                           joint_pos, tau);
}

// The parameters give joint torque and hold the load; the rotors are beside them. The filter runs along, but
// nothing of the torque comes from it.
int zvmcteachcontrolB_gravitytest(double q2, double q3, Gain gain, TRSF /*curpos*/, double* joint_pos,
                                  double* tau, int robot_model) {
    begin(kGravityTestB, &kGravityTestLoadB, joint_pos);
    Motion at = filteredPose(q2, q3, joint_pos);
    takePlannedMotion(at, joint_pos);
    const bool ownModel = robot_model == 102 || robot_model == 101;
    const Torque torque = torqueOf(ownModel ? computeZvB_selftautest : nullptr, at);
    for (int i = 0; i < 6; i++)
        tau[i] = weighed(gain, torque, i) + kRotorGainB[i] * kSetB.inparaIj[i] * 1e-06 * mpb.jCaccRaw.v[i] *
                                                1000.0 * 1000.0 * kRadPerDegB;
    countCycle();
    return 0;
}

int zvmcteachcontrolC_gravitytest(double q2, double q3, Gain gain, TRSF /*curpos*/, double* joint_pos,
                                  double* tau, int robot_model) {
    return motorTorqueTest(kGravityTestC, robot_model == 201 ? computeZvC_selftautest : nullptr, q2, q3, gain,
                           joint_pos, tau);
}

int zvmcteachcontrolD_gravitytest(double q2, double q3, Gain gain, TRSF /*curpos*/, double* joint_pos,
                                  double* tau, int robot_model) {
    return motorTorqueTest(kGravityTestD, robot_model == 301 ? computeZvD_selftautest : nullptr, q2, q3, gain,
                           joint_pos, tau);
}
