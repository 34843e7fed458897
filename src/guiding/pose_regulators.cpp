// Regulators that pull the guided arm back to where it was when they began: the drag lock, the resistance at
// an interference zone.
#include <algorithm>
#include <climits>
#include <iterator>

#include "guiding/regulator_reference.h"
#include "numeric/filter_records.h"
#include "numeric/fixed_matrix.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

using namespace tarn;

namespace {

// The regulators work in motor torque, the cycle in joint torque.
constexpr double kJointPerMotor = 100.0;

constexpr double radians(double degrees) { return degrees / 180.0 * 3.141592653589793; }

bool firstCycle() { return cpd.compedence_index <= 0; }

void countCycle() {
    if (cpd.compedence_index < INT_MAX) cpd.compedence_index++;
}

VECT meters(const VECT& mm) { return {mm.x / 1000.0, mm.y / 1000.0, mm.z / 1000.0}; }

using Jacobian = int (*)(double* joint_pos, dmat J);

// A regulator a Cartesian axis, x, y, z in m, then a rotation step in radians; their results are a wrench.
// curpos in mm, joint_pos in radians. J: output. force: output, may be null.
int poseTorque(Jacobian jacobian, PID* pid, TRSF curpos, double* joint_pos, const dmat& J, double* tau,
               double* force) {
    curpos.p = meters(curpos.p);
    VECT ev, ew;
    quattorpy(curpos, cpd.initpos, &ew);
    subtractVect(&ev, &cpd.initpos.p, &curpos.p);
    jacobian(joint_pos, J);
    double e[6] = {ev.x, ev.y, ev.z, ew.x, ew.y, ew.z};
    for (int i = 0; i < 6; i++) {
        double result;
        PID_increase_Calc(&pid[i], e[i], &result);
        e[i] = result;
        if (force != nullptr) force[i] = result;
    }
    balanceWrench(J, e, tau);
    return 0;
}

using Pretau = int (*)(PID* pid, TRSF curpos, double* joint_pos, dmat J, double* tau);

int regulatedPull(Pretau pretau, PID* pid, const TRSF& curpos, const double* joint_pos, const double* input,
                  double* tau) {
    if (firstCycle()) {
        cpd.initpos = curpos;
        cpd.initpos.p = meters(curpos.p);
    }
    double q[6];
    for (int i = 0; i < 6; i++) q[i] = radians(joint_pos[i]);
    FixedMatrix<6, 6> J;
    pretau(pid, curpos, q, J.view(), tau);
    for (int i = 0; i < 6; i++) tau[i] = tau[i] * kJointPerMotor + input[i];
    countCycle();
    return 0;
}

int pretauB(PID* pid, TRSF curpos, double* joint_pos, dmat J, double* tau) {
    double force[6];
    return zvB_pretau(pid, curpos, joint_pos, J, tau, force);
}

using Pull = int (*)(PID* pid, TRSF curpos, double* joint_pos, double* input, double* tau);

// By Interfere::flag1. Family E has no regulator: its torque stays as the caller has it.
constexpr Pull kPulls[] = {teachcontrolA, teachcontrolB, teachcontrolC, teachcontrolD};
constexpr int kFamilyE = 4;

enum Zone { NoZone = 0, JointZone = 1 };  // Interfere::flag; any other: a Cartesian one

}  // namespace

int zvA_pretau(PID* pid, TRSF curpos, double* joint_pos, dmat J, double* tau) {
    return poseTorque(zvA_jacob, pid, curpos, joint_pos, J, tau, nullptr);
}

int zvB_pretau(PID* pid, TRSF curpos, double* joint_pos, dmat J, double* tau, double* Force) {
    return poseTorque(zvB_jacob, pid, curpos, joint_pos, J, tau, Force);
}

int zvC_pretau(PID* pid, TRSF curpos, double* joint_pos, dmat J, double* tau) {
    return poseTorque(zvC_jacob, pid, curpos, joint_pos, J, tau, nullptr);
}

int zvD_pretau(PID* pid, TRSF curpos, double* joint_pos, dmat J, double* tau) {
    return poseTorque(zvD_jacob, pid, curpos, joint_pos, J, tau, nullptr);
}

int teachcontrolA(PID* pid, TRSF curpos, double* joint_pos, double* input, double* tau) {
    return regulatedPull(zvA_pretau, pid, curpos, joint_pos, input, tau);
}

int teachcontrolB(PID* pid, TRSF curpos, double* joint_pos, double* input, double* tau) {
    return regulatedPull(pretauB, pid, curpos, joint_pos, input, tau);
}

int teachcontrolC(PID* pid, TRSF curpos, double* joint_pos, double* input, double* tau) {
    return regulatedPull(zvC_pretau, pid, curpos, joint_pos, input, tau);
}

int teachcontrolD(PID* pid, TRSF curpos, double* joint_pos, double* input, double* tau) {
    return regulatedPull(zvD_pretau, pid, curpos, joint_pos, input, tau);
}

// The reference shares its place with the gravity test, on purpose.
int zvmcimpedencejoint(PID* pid, double* joint_pos, double* input, double* tau) {
    double* reference = armFilters.filt.j_pos0;
    if (firstCycle())
        for (int i = 0; i < 6; i++) reference[i] = radians(joint_pos[i]);
    for (int i = 0; i < 6; i++) {
        double result;
        PID_increase_Calc(&pid[i], reference[i] - radians(joint_pos[i]), &result);
        tau[i] = result * kJointPerMotor + input[i];
    }
    countCycle();
    return 0;
}

int zvmcteachcontrolinterfere(PID* pid, Interfere interfere, TRSF curpos, double* joint_pos, double* input,
                              double* tau) {
    switch (interfere.flag) {
        case NoZone:
            // in every cycle: the next entry latches anew, and the gravity test starts over, too
            std::copy_n(input, 6, tau);
            zvmcdynfiltresert();
            return 0;
        case JointZone:
            return zvmcimpedencejoint(pid, joint_pos, input, tau);
        default:
            break;
    }
    const int family = interfere.flag1;
    if (family >= 0 && family < static_cast<int>(std::size(kPulls)))
        return kPulls[family](pid, curpos, joint_pos, input, tau);
    if (family != kFamilyE) std::copy_n(input, 6, tau);
    return 0;
}
