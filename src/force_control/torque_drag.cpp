#include "force_control/torque_drag.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#include "model/type_table.h"
#include "numeric/filter_records.h"
#include "numeric/jacobian.h"
#include "support/joints.h"
#include "support/log_lines.h"
#include "support/persist.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

namespace tarn {

TorqueDrag torqueDrag;

namespace {

constexpr double kPi = 3.141592653589793;

// clang-format off
// mm. The height of the shoulder moves no column of the Jacobian and is left out.
constexpr TypeRow<ArmLengths<double>> kArms[] = {
    // first, last,      a2,     a3,    d4,    d5,    d6
    {    1,  100, {  -280.0, -240.0, 102.0, 102.0, 100.0 } },
    {  101,  200, {  -425.0, -395.0, 102.0, 102.0, 100.0 } },
    {  201,  300, {  -700.0, -586.0, 159.0, 114.0, 106.0 } },
    {  301,  400, {  -520.0, -400.0, 159.0, 114.0, 106.0 } },
    {  401,  500, { -1000.0, -716.0, 166.0, 138.0, 120.0 } },
    { 1001, 1100, {  -700.0, -536.0, 166.0, 138.0, 120.0 } },
};
constexpr const ArmLengths<double>& kArmOther = kArms[1].value;
// clang-format on

constexpr double kForceDeadZone = 1.0;    // N, magnitude of the force
constexpr double kMomentDeadZone = 0.05;  // N m
constexpr int kRows = 6;                  // samples that the filter's history holds
constexpr int kCyclesOverSpeed = 5;       // that the speed watch lets pass

// ---- the mapping

// In the shared record, on purpose: all that reads it later in the cycle sees the zeros. What passes is not
// limited.
void clearDeadZone(FORCESENSOR_DATA& w) {
    if (w.fx * w.fx + w.fy * w.fy + w.fz * w.fz <= kForceDeadZone * kForceDeadZone) w.fx = w.fy = w.fz = 0;
    if (w.mx * w.mx + w.my * w.my + w.mz * w.mz <= kMomentDeadZone * kMomentDeadZone) w.mx = w.my = w.mz = 0;
}

// Turned only: the moment keeps the sensor's origin as its point, on purpose.
void turnToBase(const FORCESENSOR_DATA& w, double (&out)[6]) {
    const FORCESENSOR_COORD& place = mcb.forceControl.forceSensorCoord;
    TRSF sensor = {}, sensorInBase;
    rpyToTrsf(&sensor, place.c, place.b, place.a);
    multTrsf(&sensorInBase, &mpb.tC, &sensor);
    const VECT force = {w.fx, w.fy, w.fz}, moment = {w.mx, w.my, w.mz};
    VECT f, m;
    multRotrsfVect(&f, &sensorInBase, &force);
    multRotrsfVect(&m, &sensorInBase, &moment);
    const double turned[6] = {f.x, f.y, f.z, m.x, m.y, m.z};
    std::copy_n(turned, 6, out);
}

void transposedJacobian(const double* joint_pos, double (&JJ_TR)[6][6]) {
    const ArmLengths<double>& mm = byType(kArms, kArmOther, mcb.robotType);
    const ArmLengths<double> arm = {mm.a2 / 1000.0, mm.a3 / 1000.0, mm.d4 / 1000.0, mm.d5 / 1000.0,
                                    mm.d6 / 1000.0};
    double q[6];
    for (int i = 0; i < 6; i++) q[i] = joint_pos[i] / 180.0 * kPi;
    armJacobian(arm, q, [&](int row, int column) -> double& { return JJ_TR[column][row]; });
}

// realF = J' * force + impedance, N m; joint_pos in degrees.
void forceToTorque(const double* joint_pos, double (&realF)[6]) {
    const ForceAndTorqueDrag& set = mcb.forceControl.forceandtorquedrag;
    clearDeadZone(mcb.forceControl.forceOriginEnd);
    double JJ_TR[6][6], wrench[6];
    transposedJacobian(joint_pos, JJ_TR);
    turnToBase(mcb.forceControl.forceOriginEnd, wrench);
    MatrixMul6and1(JJ_TR, wrench, realF);
    if (set.impedance_sign != 1) return;
    for (int i = 0; i < 6; i++) realF[i] += set.BGain[i] * (0 - mpb.j6vel.v[i] * 1000);
}

// One sample of the six torques through the slow section.
void filterSample(const double (&realF)[6], double* torque) {
    filter& history = forceFilters.filt6;
    int& index = history.index;
    if (index >= kRows) {
        for (auto* rows : {history.j_pos, history.prej_pos})
            std::memmove(rows, rows + 1, (kRows - 1) * sizeof *rows);
        index = kRows - 1;
    }
    for (int i = 0; i < 6; i++) {
        history.j_pos[index][i] = realF[i];
        TwoForceAndTorqueDragbuttord(i, index, &torque[i]);
        history.prej_pos[index][i] = torque[i];
    }
    index++;
}

// ---- the stage

bool active() { return mcb.forceControl.forceandtorquedrag.status == 1 && mpb.state == TGEN_DRAG; }

bool overSpeed() {
    const ForceAndTorqueDrag& set = mcb.forceControl.forceandtorquedrag;
    return std::fabs(mpb.tcpvel) > set.DragMaxTcpVel || std::fabs(mpb.tcpOriVel) > set.DragMaxTcpOriVel;
}

// The alarm repeats in each cycle until the tool is slow or the drag has ended.
void watchSpeed() {
    int& velCount = torqueDrag.velCount;
    if (!active() || !overSpeed()) {
        velCount = 0;
        return;
    }
    if (velCount < INT_MAX) velCount++;
    if (velCount <= kCyclesOverSpeed) return;
    mcb.motionAlarm = zvCtlTCPSpeedOver;
    tmcDragSwitch(0);
    logDragPlace(0);
}

}  // namespace

// The filter takes a sample for each joint, so it runs as many times faster as the arm has joints, on
// purpose. The sample is the same one: nothing that it depends on changes in between.
void torqueDragStage(CycleFrame& frame, const double (&joint_torque)[6], const double (&dragForceMAX)[6]) {
    watchSpeed();
    const int joints = armJoints();
    const bool on = joints > 0 && active();
    double realF[6], torque[6];
    if (on) forceToTorque(frame.q->v, realF);
    for (int i = 0; i < joints; i++) {
        double t = 0;
        if (on) {
            filterSample(realF, torque);
            t = (1 - mcb.forceControl.forceandtorquedrag.LamdaGain[i]) * torque[i];
            if (std::fabs(t) > std::fabs(dragForceMAX[i])) t = std::copysign(1.0, t) * dragForceMAX[i];
        }
        frame.servor_torque.v[i] = joint_torque[i] - t;
    }
}

void coldStartTorqueDrag() { torqueDrag = {}; }

}  // namespace tarn

using namespace tarn;

int zvmcForceDataToTorque(double* joint_pos, double* torque) {
    double realF[6];
    forceToTorque(joint_pos, realF);
    filterSample(realF, torque);
    return 0;
}

int zvmcForceAndTorqueDragStartStop(int status, int impedance_sign, double* LamdaGain, double* KGain,
                                    double* BGain, double DragMaxTcpVel, double DragMaxTcpOriVel) {
    const auto isSwitch = [](int value) { return value == 0 || value == 1; };
    const auto anyNegative = [](const double* gain) {
        return std::any_of(gain, gain + 6, [](double x) { return x < 0; });
    };
    if (!isSwitch(status) || !isSwitch(impedance_sign) || anyNegative(LamdaGain) || anyNegative(KGain) ||
        anyNegative(BGain)) {
        mcb.ioError = zvCtlIOVALUEError;
        return -1;
    }
    if (mcb.forceControl.forceSensorAct == 0) return -2;

    ForceAndTorqueDrag& set = mcb.forceControl.forceandtorquedrag;
    set.status = status;
    set.impedance_sign = impedance_sign;
    set.DragMaxTcpVel = DragMaxTcpVel;
    set.DragMaxTcpOriVel = DragMaxTcpOriVel;
    for (int i = 0; i < 6; i++) {
        // held in the caller's arrays, too, on purpose
        if (LamdaGain[i] > 5) LamdaGain[i] = 5;
        if (BGain[i] > 1) BGain[i] = 1;
        set.LamdaGain[i] = LamdaGain[i];
        set.KGain[i] = KGain[i];
        set.BGain[i] = BGain[i];
    }
    // the drag is off after the next start: its status is not persisted
    persist(TEST_PARAM_SECTION, "IMPEDANCE_SIGN", set.impedance_sign);
    persistSix(TEST_PARAM_SECTION, "LAMDAGAIN#", set.LamdaGain);
    persistSix(TEST_PARAM_SECTION, "KGAIN#", set.KGain);
    persistSix(TEST_PARAM_SECTION, "BGAIN#", set.BGain);
    persist(TEST_PARAM_SECTION, "DRAGMAXTCPVEL", set.DragMaxTcpVel);
    persist(TEST_PARAM_SECTION, "DRAGMAXTCPORIVEL", set.DragMaxTcpOriVel);
    return 0;
}

int zvmcGetForceAndTorqueDragState(int* dragStatus, int* status) {
    *dragStatus = mcb.forceControl.endforcedrag.flag;
    *status = mcb.forceControl.forceandtorquedrag.status;
    return 0;
}
