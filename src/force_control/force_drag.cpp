// The drag by the force sensor as a whole: its settings, start and stop, the gate of every cycle, the step as
// a joint position, the alarms that end it, and the hand-over to the host's joint drag and back.
#include <algorithm>
#include <cmath>

#include "force_control/drag_state.h"
#include "force_control/drag_step.h"
#include "force_control/singularity_force.h"
#include "support/joints.h"
#include "support/log_lines.h"
#include "support/persist.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tarntools/tools_log.h"
#include "zvmcforcesensorblock.h"

using namespace tarn;

namespace {

struct ForceDragProcess {
    uint8_t jCRecordFlag;  // jCRecord is taken
    JNTS jCRecord;         // degrees; joints at which the drag began
};
ForceDragProcess process;

EndForceDrag& settings() { return mcb.forceControl.endforcedrag; }

// ---- settings

// clang-format off

// A setting by axis: where it stands, and its keys.
struct AxisSetting {
    double (EndForceDrag::*values)[6];
    const char* keys[6];
};
constexpr AxisSetting kAxisSettings[] = {
    {&EndForceDrag::F, {"FORCESENSOR_ENDDRAGFX", "FORCESENSOR_ENDDRAGFY", "FORCESENSOR_ENDDRAGFZ",
                        "FORCESENSOR_ENDDRAGMX", "FORCESENSOR_ENDDRAGMY", "FORCESENSOR_ENDDRAGMZ"}},
    {&EndForceDrag::M, {"FORCESENSOR_INERTIA_X", "FORCESENSOR_INERTIA_Y", "FORCESENSOR_INERTIA_Z",
                        "FORCESENSOR_INERTIA_MX", "FORCESENSOR_INERTIA_MY", "FORCESENSOR_INERTIA_MZ"}},
    {&EndForceDrag::B, {"FORCESENSOR_DAMP_X", "FORCESENSOR_DAMP_Y", "FORCESENSOR_DAMP_Z",
                        "FORCESENSOR_DAMP_MX", "FORCESENSOR_DAMP_MY", "FORCESENSOR_DAMP_MZ"}},
    {&EndForceDrag::K, {"FORCESENSOR_STIFFNESS_X", "FORCESENSOR_STIFFNESS_Y", "FORCESENSOR_STIFFNESS_Z",
                        "FORCESENSOR_STIFFNESS_MX", "FORCESENSOR_STIFFNESS_MY", "FORCESENSOR_STIFFNESS_MZ"}},
};

// clang-format on

void persistSettings() {
    const EndForceDrag& set = settings();
    for (const AxisSetting& setting : kAxisSettings)
        for (int i = 0; i < 6; i++) persist(FORCE_SENSOR_SECTION, setting.keys[i], (set.*setting.values)[i]);
    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_ADAPTIVE_SIGN", set.adaptive_sign);
    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_INTERFERE_SIGN", set.interfere_drag_sign);
    persist(FORCE_SENSOR_SECTION, "SINGULARITYCONSTRAINTSFLAG", set.singularityConstraintsFlag);
    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_ENDDRAGFMAX", set.Fmax);
    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_ENDDRAGVMAX", set.Vmax);
}

bool anyNotPositive(const double* values) {
    return std::any_of(values, values + 6, [](double value) { return value <= 0.0; });
}

// ---- the cycle

bool gateOpen() {
    return mpb.state == TGEN_IDLE && mcb.mode == 1 && mcb.jogControl.jogCycleFlag == 0 &&
           mcb.forceControl.forceSensorAct == 1 && settings().flag == 1 &&
           mcb.cmdPointError == zvCtlCmdPointOK && mcb.collisionError == zvCtlCollisionOK &&
           mcb.ioError == zvCtlIOOK && mcb.alarm == zvCtlNoAlarm &&
           mcb.interfereAlarm != zvCtlEnterInterfereAlarm;
}

void recordJoints() { std::copy_n(mpb.jC.v, armJoints(), process.jCRecord.v); }

// Tool pose at which the drag began. A pose that is no number is told and goes on.
TRSF referencePose() {
    ROBCARTPOS pose = {};
    double* q = process.jCRecord.v;
    jointTrsfToToolCartTCF_RT(0, q, &pose);
    const float single[6] = {pose.x, pose.y, pose.z, pose.a, pose.b, pose.c};
    double v[6];
    std::copy_n(single, 6, v);
    if (std::any_of(v, v + 6, [](double value) { return std::isnan(value); })) {
        Write_Log(LOG_ERR, "curPos %f %f %f %f %f %f", v[0], v[1], v[2], v[3], v[4], v[5]);
        Write_Log(LOG_ERR, "jCRecord %f %f %f %f %f %f", q[0], q[1], q[2], q[3], q[4], q[5]);
    }
    TRSF result;
    rpyToTrsf(&result, v[5], v[4], v[3]);
    result.p = {v[0], v[1], v[2]};
    return result;
}

// What the result of a refused step does: it ends the drag with an alarm, or starts it over where the arm is.
// False for any other result.
bool stepRefused(int endforceret) {
    constexpr int kStrangePose = -7, kStartOver = -8;
    if (-6 <= endforceret && endforceret <= -1) {
        constexpr decltype(mcb.motionAlarm) kTooFast[] = {zvCtlJ1SpeedOver, zvCtlJ2SpeedOver,
                                                          zvCtlJ3SpeedOver, zvCtlJ4SpeedOver,
                                                          zvCtlJ5SpeedOver, zvCtlJ6SpeedOver};
        settings().flag = 0;
        mcb.motionAlarm = kTooFast[-endforceret - 1];
    } else if (endforceret == kStrangePose) {
        settings().flag = 0;
        mcb.motionAlarm = zvCtlStrangPosAlarm;
    } else if (endforceret == kStartOver) {
        recordJoints();
    } else {
        return false;
    }
    return true;
}

// A goal out of reach leaves the joints as they are for this cycle.
void command(const TRSF& goalPos) {
    ROBPOS solved = {};
    const int ret = tmcGetInverseKinematicNoLine(0, plannerPose(goalPos), &solved);
    if (ret == -1 || ret == -2) return;
    const double joints[6] = {solved.j1, solved.j2, solved.j3, solved.j4, solved.j5, solved.j6};
    std::copy_n(joints, 6, mpb.jC.v);
    newFwdKinematics(&mpb.jC, &mpb.tC);
    tmcUpdateJointCartGoalPos();
}

void drag() {
    mcb.forceSensorDragFlagLast = settings().flag;
    TRSF goalPos;
    const int endforceret = zvmcEndForceDragToCart(referencePose(), &goalPos);
    const VECT& p = goalPos.p;
    if (std::isnan(p.x) || std::isnan(p.y) || std::isnan(p.z))
        Write_Log(LOG_ERR, "goalPos %f %f %f", p.x, p.y, p.z);
    if (!stepRefused(endforceret)) command(goalPos);
}

// ---- hand-over; the number at the end of its lines tells the place, and not the flag that the text names

// A degree outside a zone releases its joint, and so does less than that at speed.
bool zoneLeft(int i) {
    constexpr double kMargin = 1.0, kFast = 100.0;  // degrees; mm/s
    const INTERFERE_JOINT& zone = mcb.interfereJoint;
    const double min = zone.min_joint[i], max = zone.max_joint[i], j = mpb.j6.v[i];
    const bool fast = mpb.tcpvel > kFast;
    const auto within = [j](double low, double high) { return low < j && j < high; };
    if (zone.mode_joint == 0)
        return j > max + kMargin || j < min - kMargin ||
               ((within(max, max + kMargin) || within(min - kMargin, min)) && fast);
    if (zone.mode_joint == 1)
        return within(min + kMargin, max - kMargin) ||
               ((within(min, min + kMargin) || within(max - kMargin, max)) && fast);
    return false;
}

void releaseJointZones() {
    uint8_t(&entered)[6] = forceDrag.jointInterFlag;
    for (int i = 0; i < 6; i++)
        if (entered[i] == 1 && zoneLeft(i)) entered[i] = 0;
    const bool released = std::all_of(entered, entered + 6, [](uint8_t flag) { return flag == 0; });
    if (!released || forceDrag.jointModeChangeFlag != 1) return;
    forceDrag.jointModeChangeFlag = 0;
    tmcDragSwitch(0);
    logDragPlace(6);
}

// From joint drag back to the sensor's, by an arm in motion. The region is not that of the way there: an
// elbow or wrist near 180 degrees does not count, on purpose.
void returnFromJointDrag() {
    constexpr double kMoving = 50.0;  // mm/s
    const double* q = mpb.jC.v;
    const bool clear = std::fabs(q[2]) >= 20.0 && std::fabs(q[4]) >= 20.0 && std::fabs(q[5]) <= 160.0 &&
                       forceDrag.shoulderSingularDis >= kNearShoulder && q[3] <= 70.0 && q[3] >= -250.0;
    if (forceDrag.dragModelflag != 2 || !clear || !(std::fabs(mpb.tcpvel) > kMoving)) return;
    forceDrag.dragModelflag = 0;
    tmcDragSwitch(0);
    logDragPlace(7);
}

}  // namespace

int zvmcEndForceDragstartstop(int status, int adaptive_sign, int interfere_drag_sign,
                              int singularityConstraintsFlag, double* M, double* B, double* K, double* F,
                              double Fmax, double Vmax) {
    if (status < 0 || anyNotPositive(B) || anyNotPositive(M)) {
        mcb.ioError = zvCtlIOVALUEError;
        return -1;
    }
    for (int i = 0; i < 6; i++) M[i] = i < 3 ? std::clamp(M[i], 5.0, 30.0) : std::clamp(M[i], 0.1, 10.0);

    EndForceDrag& set = settings();
    set.flag = status;
    set.adaptive_sign = adaptive_sign;
    set.singularityConstraintsFlag = singularityConstraintsFlag;
    std::copy_n(M, 6, set.M);
    std::copy_n(B, 6, set.B);
    std::copy_n(K, 6, set.K);
    std::copy_n(F, 6, set.F);
    set.interfere_drag_sign = interfere_drag_sign;
    set.Fmax = Fmax;
    set.Vmax = Vmax;
    restartIncrementFilters();
    persistSettings();
    return 0;
}

int zvmcEndForceDragStartStopControl(int status) {
    if ((status != 0 && status != 1) || mcb.forceControl.forceSensorAct != 1) {
        mcb.ioError = zvCtlIOVALUEError;
        return -1;
    }
    settings().flag = status;
    return 0;
}

int zvmcGetEndForceDragStartStopState(int* status) {
    *status = settings().flag;
    return 0;
}

int tmcSetForceSensorDragAutoFlag(uint8_t status) {
    if (status > 1) return -1;
    mcb.forceSensorDragAutoFlag = status;
    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_ENDDRAGAUTOFLAG", status);
    return 0;
}

int zvmcForceSensorDragProcess() {
    if (process.jCRecordFlag == 0) {
        process.jCRecordFlag = 1;
        recordJoints();
    }
    if (gateOpen()) {
        drag();
    } else {
        recordJoints();
        zvmcEndForceDragParamReset();
        restartIncrementFilters();
        releaseJointZones();
    }
    forceDrag.shoulderSingularDis = shoulderMeasure();
    returnFromJointDrag();
    return 0;
}
