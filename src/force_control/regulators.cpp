#include "force_control/regulators.h"

#include <algorithm>
#include <cmath>

#include "zvmcforcesensorblock.h"

namespace tarn {

ForceIntegrator forceIntegrator;

double filterSingleSignal(filter& history, int (*section)(int, int, double*), double sample) {
    int& index = history.index;
    if (index > 5) {
        for (int row = 0; row < 5; row++) {
            history.j_pos[row][0] = history.j_pos[row + 1][0];
            history.prej_pos[row][0] = history.prej_pos[row + 1][0];
        }
        index = 5;
    }
    history.j_pos[index][0] = sample;
    double out;
    section(0, index, &out);
    history.prej_pos[index][0] = out;
    index++;
    return out;
}

}  // namespace tarn

using namespace tarn;

int PIDInit(PID* pid, double p, double i, double d) {
    *pid = {p, i, d, 0.0, 0.0, 0.0};
    return 0;
}

int PIDCalc(PID* pid, double error, double* result) {
    PID_increase_Calc(pid, error, result);
    // the sum goes on growing behind the clamp, on purpose
    *result = std::clamp(*result, -kMaxStep, kMaxStep);
    return 0;
}

int PID_increase_Calc(PID* pid, double error, double* result) {
    pid->sumError += error;
    *result = pid->P * error + pid->I * pid->sumError + pid->D * (error - pid->lastError);
    pid->prevError = pid->lastError;
    pid->lastError = error;
    return 0;
}

int zvmcCompliancestartstop(double p, double Fd, int flag, int curline) {
    if (flag < 0 || p < 0.0 || Fd < 0.0) {
        mcb.ioError = zvCtlIOVALUEError;
        mpb.currentLine = curline;
        return -1;
    }
    mcb.forceControl.compliance = {flag, Fd, p};
    return 0;
}

int Compliancecontrol(double p, double Fd, double F, int flag, double Xe, double* remain_Xe) {
    if (flag != 0 && std::fabs(F) < std::fabs(Fd)) *remain_Xe = Xe - p * Xe;
    return 0;
}

int zvmcFTControl_Admittance(int i, double* m, double* b, double* k, double* realF, double delta_t,
                             double* delt_pos) {
    if (i < 0 || i > 5) return 0;
    auto& [ft_cur_pos, ft_cur_vel] = forceIntegrator;
    ft_cur_vel[i] = admittanceVelocity(i, m, b, k, realF, ft_cur_pos, ft_cur_vel, delta_t);
    delt_pos[i] = ft_cur_vel[i] * delta_t;
    return 0;
}
