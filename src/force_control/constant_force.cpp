// Presses with a constant force while the arm follows a planned path: each axis turns its force error into a
// step, the steps add up to a correction, and the correction moves the planned pose.
#include "force_control/constant_force.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "force_control/regulators.h"
#include "numeric/filter_records.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn {

constinit ConstantForce constantForce;

}  // namespace tarn

using namespace tarn;

namespace {

enum ReferenceFrame { EndFrame = 0, ToolFrame = 2 };  // mcb.forceControl.forceSensorRcs

struct Axis {
    double FORCESENSOR_DATA::*force;
    PID FORCE_CONTROL::*regulator;
    ILC FORCE_CONTROL::*store;
    double FORCE_CONTROL::*sum;
    double FORCE_CONTROL::*limit;
    ZvCmdPointError beyondLimit;
};

using Force = FORCESENSOR_DATA;
using Control = FORCE_CONTROL;
// clang-format off
constexpr Axis kAxes[6] = {
    {&Force::fx, &Control::constForceFx, &Control::ilcconstForceFx, &Control::dxSum, &Control::constForceMaxDis, zvCtlConstForceXOver},
    {&Force::fy, &Control::constForceFy, &Control::ilcconstForceFy, &Control::dySum, &Control::constForceMaxDis, zvCtlConstForceYOver},
    {&Force::fz, &Control::constForceFz, &Control::ilcconstForceFz, &Control::dzSum, &Control::constForceMaxDis, zvCtlConstForceZOver},
    {&Force::mx, &Control::constForceMx, &Control::ilcconstForceMx, &Control::daSum, &Control::constForceMaxAng, zvCtlConstForceRXOver},
    {&Force::my, &Control::constForceMy, &Control::ilcconstForceMy, &Control::dbSum, &Control::constForceMaxAng, zvCtlConstForceRYOver},
    {&Force::mz, &Control::constForceMz, &Control::ilcconstForceMz, &Control::dcSum, &Control::constForceMaxAng, zvCtlConstForceRZOver},
};
// clang-format on
constexpr int kTranslations = 3;
enum { X = 0, Y = 1, Z = 2 };

constexpr int kIncrementFilter = 2;  // of zvmcButterWorthFiltInit: 15.8 Hz
constexpr double kCycle = 0.001;     // s

// Force error along z, N, by its magnitude: what it counts as. It stays as it is above the last row.
constexpr struct { double upTo, counts; } kErrorSteps[] = {{1, 0}, {3, 1.5}, {5, 3}, {10, 5}, {20, 10}};

double steppedError(double error) {
    for (const auto& [upTo, counts] : kErrorSteps)
        if (std::fabs(error) <= upTo) return std::copysign(counts, error);
    return error;
}

double radians(double degrees) { return degrees / 180.0 * kPi; }

// +-1, and 0 for zero
double sign(double value) { return value > 0 ? 1.0 : value < 0 ? -1.0 : 0.0; }

bool selected(int axis) { return mcb.forceControl.constForceSelect[axis] == 1; }

// ---- the start's and the end's parts

void clearSums() {
    for (const Axis& axis : kAxes) mcb.forceControl.*axis.sum = 0.0;
}

// The pose where the correction ended becomes the goal, in the workpiece's frame, and the path goes on from
// there.
void stopHere() {
    mpb.goalPos = mpb.tC;
    mpb.jointPos = mpb.jC;
    toolInBaseTrsfToToolInExAxis_RealTime(mpb.goalPos, mcb.exAxisDHPara, mpb.externalAxisInBase_RT,
                                          &mpb.goalPos);
    baseTrsfToWorkPiece(mpb.workPieceNum, mpb.goalPos, &mpb.goalPos);
    clearSums();
    mcb.forceControl.forceadjustsign = 0;
    constantForce.adjinitflag = 1.0;
}

// The filters of the increments belong to the drag as well, whose closed gate restarts them in every cycle:
// each sample is then its filter's first, and passes as it is.
void setUpFilters() {
    for (BUTTERWORTHFILTER& filter : forceFilters.EndForceDragfilter)
        zvmcButterWorthFiltInit(&filter, kIncrementFilter);
    // set up as well, and used by nobody
    init_filter(&forceFilters.MovingAverageFilter);
    init_notch(&forceFilters.notchFilter, 10.0, 5.0);
}

// What a stop does to the target by the angle of the contact's last normal, which may be that of an earlier
// run. Angle 0, also where there was no normal yet, turns x round, on purpose.
void turnTargetRound(FORCESENSOR_DATA& target) {
    const double theta = constantForce.thetaF;
    if ((theta >= 0 && theta < 30) || (theta > 150 && theta <= 180)) target.fx = -target.fx;
    if (theta > 70 && theta < 120) target.fy = -target.fy;
}

// ---- one cycle

// Turns the target in the plane with the contact's normal, about the tangential force. The sign that a
// component had is a factor of the new one, which may thus turn round from cycle to cycle. The magnitude of
// the cosine in the y line alone, on purpose.
void turnPlaneTarget() {
    double Fc = 0.0;
    zvmcFTNormal_estimation(&constantForce.thetaF, &Fc);
    const double theta = radians(constantForce.thetaF);
    const double along = constantForce.xyBindingforce, across = std::fabs(Fc);
    auto& [fx, fy, fz, mx, my, mz] = mcb.forceControl.constForceValue;
    const double sx = sign(fx), sy = sign(fy);
    fx = sx * along * std::sin(theta) + sx * across * std::cos(theta);
    fy = sy * along * std::fabs(std::cos(theta)) - sy * across * std::sin(theta);
}

// Lets the tool yield to the moments of the contact. The cosine by which its z axis was tilted before.
double yieldOrientation() {
    double m[6] = {0.5, 0.5, 0.5, 0.5, 0.5, 0.5}, b[6] = {2, 2, 2, 1.5, 1.5, 1.5}, k[6] = {};
    double realF[6], way[6];
    for (std::size_t i = 0; i < std::size(kAxes); i++) realF[i] = mpb.forceRCS.*kAxes[i].force;
    for (int i = 0; i < 6; i++) zvmcFTControl_Admittance(i, m, b, k, realF, kCycle, way);

    double(&angle)[6] = forceIntegrator.ft_cur_pos;
    TRSF before;
    rpyToTrsf(&before, angle[5], angle[4], angle[3]);
    for (int i = kTranslations; i < 6; i++) angle[i] += way[i] * 180.0 / kPi;
    return before.a.z;
}

// One step of the axis into its sum: mm, or degrees.
void correctAxis(int i) {
    FORCE_CONTROL& control = mcb.forceControl;
    const Axis& axis = kAxes[i];
    const double force = mpb.forceRCS.*axis.force;
    double error = force - control.constForceValue.*axis.force;
    // Every axis but z tells the tuner its error for a first cycle, on purpose.
    double first = error;
    if (i == Z) {
        error = steppedError(error);
        if (control.filter_Sign == 1) error = filterSingleSignal(forceFilters.filt7, buttordFTControl, error);
        first = constantForce.adjinitflag;
    }

    PID& regulator = control.*axis.regulator;
    double step = 0.0, learned = 0.0;
    zvmcPIDAdjust(static_cast<uint8_t>(control.forceadjustsign + 10 * i), first, &regulator);
    PIDCalc(&regulator, error, &step);
    zvmcILCcontrol(&(control.*axis.store), error, &learned);
    if (i < kTranslations)
        zvmcButterWorthFiltProcessData(&forceFilters.EndForceDragfilter[i], step, &step, 0);
    if (i == Z) {
        step = std::clamp(step, -kMaxStep, kMaxStep);  // the filter overshoots
        if (control.posAdapt_sign == 1) step = yieldOrientation() * step;
    }
    double& sum = control.*axis.sum;
    sum = sum + step + learned;
    const COMPLIANCE& compliance = control.compliance;
    Compliancecontrol(compliance.p, compliance.Fd, force, compliance.flag, sum, &sum);
}

TRSF inverse(const TRSF& pose) {
    TRSF out;
    invRotrsf(&out, &pose);
    VECT back;
    multRotrsfVect(&back, &out, &pose.p);
    out.p = {-back.x, -back.y, -back.z};
    return out;
}

// The planned pose, of the end in the base frame, moved by the correction in the frame of the force.
TRSF corrected(const TRSF& planned) {
    const FORCE_CONTROL& control = mcb.forceControl;
    const VECT shift = {control.dxSum, control.dySum, control.dzSum};
    TRSF out;
    switch (control.forceSensorRcs) {
        case EndFrame: {
            const TRSF& sensor = mpb.posSensorCtl.posSensorInEnd;
            const TRSF back = inverse(sensor);
            TRSF correction;
            rpyToTrsf(&correction, control.dcSum, control.dbSum, control.daSum);
            correction.p = shift;
            multTrsf(&out, &planned, &sensor);
            multTrsf(&out, &out, &correction);
            multTrsf(&out, &out, &back);
            break;
        }
        case ToolFrame: {
            // turned by the contact alone, and never about z: the sums of the angles have no part, on purpose
            const double* angle = forceIntegrator.ft_cur_pos;
            TRSF correction;
            rpyToTrsf(&correction, 0.0, angle[4], angle[3]);
            correction.p = shift;
            multTrsf(&out, &planned, &correction);
            break;
        }
        default: {
            double rz, ry, rx;
            trsfToRpyRt(&rz, &ry, &rx, &planned, &mpb.rpyRef);
            rpyToTrsf(&out, rz + control.dcSum, ry + control.dbSum, rx + control.daSum);
            out.p = {planned.p.x + shift.x, planned.p.y + shift.y, planned.p.z + shift.z};
            break;
        }
    }
    return out;
}

}  // namespace

int tmcConstForceStartStop(uint8_t status, int sensorNum, uint8_t* select, FORCESENSOR_DATA constforce,
                           double p_f, double i_f, double d_f, double p_m, double i_m, double d_m,
                           uint8_t adj_sign, uint8_t ILCsign, double maxDis, double maxAng, double r,
                           uint8_t filter_Sign, uint8_t posAdapt_sign, int curLine) {
    constexpr int kSensors = static_cast<int>(std::size(mpb.posSensorCtlList));
    FORCE_CONTROL& control = mcb.forceControl;
    mpb.currentLine = curLine;
    if (status > 1) {
        mcb.ioError = zvCtlIOVALUEError;
        return -1;
    }
    if (sensorNum < 0 || sensorNum > kSensors || adj_sign > 1 || ILCsign > 2) return -1;
    if (std::any_of(select, select + 6, [](uint8_t on) { return on > 1; })) return -1;
    if (control.forceSensorAct == 0) return -2;

    control.constForceFlag = status;
    // It is the armed guard that has the sensor chosen, on purpose. The number behind the last entry passes
    // and keeps the sensor in use.
    if (control.collisionFlag == 1 && sensorNum < kSensors)
        mpb.posSensorCtl = mpb.posSensorCtlList[sensorNum];
    std::copy_n(select, 6, control.constForceSelect);
    setUpFilters();
    control.forceadjustsign = adj_sign;
    for (const Axis& axis : kAxes) zvmcILCinit(&(control.*axis.store), p_f, d_f, ILCsign);
    control.constForceValue = constforce;
    for (int i = 0; i < 6; i++) {
        PID& regulator = control.*kAxes[i].regulator;
        if (i < kTranslations)
            PIDInit(&regulator, p_f, i_f, d_f);
        else
            PIDInit(&regulator, p_m, i_m, d_m);
    }
    control.filter_Sign = filter_Sign;
    control.posAdapt_sign = posAdapt_sign;
    control.constForceMaxDis = maxDis;
    control.constForceMaxAng = maxAng;
    control.grindingToolR = r;

    FORCESENSOR_DATA& target = control.constForceValue;
    if (status == 0) turnTargetRound(target);
    constantForce.xyBindingforce = std::sqrt(target.fx * target.fx + target.fy * target.fy);
    forceIntegrator = {};
    if (status == 0) {
        forceFilters.filt7 = {};
        stopHere();
    }
    constantForce.adjinitflag = 1.0;
    return 0;
}

int constForceControl(TRSF posBefore, TRSF* posAfter) {
    FORCE_CONTROL& control = mcb.forceControl;
    if (control.forceSensorAct != 1 || control.constForceFlag != 1) {
        *posAfter = posBefore;
        clearSums();
        constantForce.adjinitflag = 1.0;
        return 0;
    }
    if (selected(X) && selected(Y)) turnPlaneTarget();
    for (int i = 0; i < 6; i++)
        if (selected(i)) correctAxis(i);
    *posAfter = corrected(posBefore);

    for (const Axis& axis : kAxes) {
        if (std::fabs(control.*axis.sum) > control.*axis.limit) {
            mcb.cmdPointError = axis.beyondLimit;
            control.constForceFlag = 0;
            stopHere();
            return -1;
        }
    }
    constantForce.adjinitflag = 0.0;
    return 0;
}

int resetForceControlPara() {
    FORCE_CONTROL& control = mcb.forceControl;
    if (control.collisionFlag == 1) control.collisionFlag = 0;
    if (control.constForceFlag == 1) {
        control.constForceFlag = 0;
        clearSums();
        control.forceadjustsign = 0;
    }
    return 0;
}
