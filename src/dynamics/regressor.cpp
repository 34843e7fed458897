// Forward regressors: joint torques of a mounted arm from the parameters gtau.
#include "dynamics/regressor.h"

#include "tmcforceblock.h"
#include "zvmcidentifydynamicblock.h"

double gtau[54];

namespace tarn {

double selftauHb_x[54];

namespace {

int forwardTorque(const Chain<9>& chain, const double* q, const double* dq, const double* ddq,
                  const dmat& result) {
    double torque[6];
    chainTorque(chain, gtau, q, dq, ddq, torque);
    for (int i = 0; i < 6; i++) result.el[result.lb1 + i][result.lb2] = torque[i];
    return 0;
}

}  // namespace
}  // namespace tarn

using namespace tarn;

int computeZvA_selftautest(double* q, double* dq, double* ddq, dmat result) {
    return forwardTorque(kMountedA, q, dq, ddq, result);
}

int computeZvB_selftautest(double* q, double* dq, double* ddq, dmat result) {
    return forwardTorque(kMountedB, q, dq, ddq, result);
}

int computeZvC_selftautest(double* q, double* dq, double* ddq, dmat result) {
    return forwardTorque(kMountedC, q, dq, ddq, result);
}

int computeZvD_selftautest(double* q, double* dq, double* ddq, dmat result) {
    return forwardTorque(kMountedD, q, dq, ddq, result);
}

// What joints 4 to 6 of the identified arm feel of their own 27 parameters, rows weighted.
int solve_Hb5(double* q, double* dq, double* ddq, dmat Hb) {
    constexpr double kWeight[3] = {0.8151, 0.8407, 1.0};
    double H[3][27];
    regressor(kIdentifiedArm, q, dq, ddq, H);
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 27; j++) Hb.el[Hb.lb1 + i][Hb.lb2 + j] = kWeight[i] * H[i][j];
    return 0;
}
