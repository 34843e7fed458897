// Storage of the three blocks, and their start values.
#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "model/type_table.h"
#include "recent_current.h"
#include "reset_motion.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnhost/devices.h"
#include "tarnhost/kinematics.h"
#include "tarnhost/planner_values.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

MOTION_CONTROL_BLOCK mcb;
MOTION_PARAMETER_BLOCK mpb;
HOW how;

namespace tarn::host {
namespace {

using SixJoints = std::array<double, 6>;

// Nominal joint speed, degrees per second: large joints are slower.
// clang-format off
constexpr TypeRow<SixJoints> kJointSpeed[] = {
    // first, last,  joints 1 to 6
    {  201,  400, {120, 120, 180, 180, 180, 180} },
    {  401,  500, {100, 100, 120, 180, 180, 180} },
    {  902,  902, {120, 120, 180, 180, 180, 180} },
    { 1001, 1100, {100, 100, 120, 180, 180, 180} },
};
// clang-format on
constexpr SixJoints kJointSpeedOther = {180, 180, 180, 180, 180, 180};

// Rated motor torques, N m: with its gears each arm holds its heaviest load in any pose within them. Types
// 501 to 600 do not: they have the smallest motor in every joint and the model of a larger arm.
constexpr float kRated60 = 0.35F;
constexpr float kRated60L = 0.64F;
constexpr float kRated80 = 1.27F;
constexpr float kRated130 = 3.6F;
constexpr float kRated130L = 10.0F;

constexpr double kTransSpeed = 1000.0;   // mm/s
constexpr double kJointAccel = 1440.0;   // deg/s^2, for which the collision windows are tuned
constexpr float kCollisionLevel = 5.0F;  // middle of the range 1 to 10 that all detectors have
constexpr int kCollisionCycles = 10;     // debounce of a torque deviation
constexpr float kCollisionShare = 0.1F;  // threshold at level 1, of the rated motor torque

// The library expects drives that feed 0.7 of a commanded current forward; the drives of this host take it
// whole.
constexpr double kExpectedShare = 0.7;
constexpr double kFeedForward = 1.0;

// Static torque weights of mode 1, by the adjusted ones.
constexpr double kTeachGain[NUM_JNTS] = {1.43, 1.23, 1.23, 1.43, 1.43, 1.43};

template <typename Record>
void zero(Record& record) {
    static_assert(std::is_trivially_copyable_v<Record>);
    std::memset(static_cast<void*>(&record), 0, sizeof record);
}

template <typename T, std::size_t N>
void setAll(T (&values)[N], T value) {
    std::fill(std::begin(values), std::end(values), value);
}

void clearFaults() {
    mcb.cmdPointError = zvCtlCmdPointOK;
    mcb.servoError = zvCtlServoOK;
    mcb.softLimitError = zvCtlSoftLimitOK;
    mcb.collisionError = zvCtlCollisionOK;
    mcb.slaveNumError = zvCtlSlaveNumOK;
    setAll(mcb.slaveError, zvCtlSlaveOK);
    mcb.ioError = zvCtlIOOK;
    mcb.gripperError = zvCtlGripperOK;
    mcb.fileError = zvCtlFileOK;
    mcb.paraError = zvCtlParaOK;
    mcb.exAxisSoftLimitError = zvCtlExAxisSoftLimitOK;
    mcb.alarm = zvCtlNoAlarm;
    mcb.safetyDoorAlarm = zvSafetyDoorNoAlarm;
    mcb.motionAlarm = zvCtlMotionNoAlarm;
    mcb.interfereAlarm = zvCtlInterfereNoAlarm;
    mcb.servoAlarm = zvCtlServoAlarmOK;
    mcb.safetyPlaneAlarm = zvCtlSafetyPlaneNoAlarm;
}

void setMotion(int robotType) {
    mpb.sampleTime = static_cast<float>(SM_SAMPLING_TIME);
    mpb.sysJntsNo = NUM_JNTS;
    mpb.state = TGEN_IDLE;
    for (JNTS* joints :
         {&mpb.jC, &mpb.jCvel, &mpb.jCacc, &mpb.jCaccRaw, &mpb.j6, &mpb.oldJ6, &mpb.j6vel, &mpb.j6acc,
          &mpb.jointPos, &mpb.defaultJointVel, &mpb.defaultJointAccel, &mpb.limitsJnt.maxVel})
        joints->num = NUM_JNTS;

    const SixJoints& speed = byType(kJointSpeed, kJointSpeedOther, robotType);
    for (std::size_t i = 0; i < speed.size(); i++) {
        mpb.defaultJointVel.v[i] = mpb.limitsJnt.maxVel.v[i] = speed[i];
        mpb.defaultJointAccel.v[i] = kJointAccel;
    }
    mpb.defaultTransVel = mpb.limitsGoto.maxVel = kTransSpeed;
    mcb.speedScaleAuto = mcb.speedScaleManual = 1.0F;

    mpb.TOOL = mpb.externalAxisInBase_RT = mpb.posSensorCtl.posSensorInEnd = kIdentityPose;
    for (POS_SENSOR_CTL& sensor : mpb.posSensorCtlList) sensor.posSensorInEnd = kIdentityPose;
    workPieceInBase.fill(kIdentityPose);
    newFwdKinematics(&mpb.jC, &mpb.tC);
    mpb.t6 = mpb.goalPos = mpb.tC;
}

void setDrivesAndFriction() {
    mpb.moterRatedTorque_60 = kRated60;
    mpb.moterRatedTorque_60L = kRated60L;
    mpb.moterRatedTorque_80 = kRated80;
    mpb.moterRatedTorque_130 = kRated130;
    mpb.moterRatedTorque_130L = kRated130L;

    mcb.fricCompensationFlag = 1;
    setAll(mpb.friction_Free, 1.0F);
    for (auto* gains : {&mpb.ForDeadGain, &mpb.RevDeadGain, &mpb.ForFastGain, &mpb.RevFastGain})
        setAll(*gains, 1.0);
    setAll(mpb.jointDynFFRatio, kFeedForward / kExpectedShare);
    for (auto* gains : {&mcb.newTeachGainKf, &mcb.newTeachGainGAdj, &mcb.newTeachGainKfAdj})
        setAll(*gains, 1.0);
    std::copy_n(kTeachGain, NUM_JNTS, mcb.newTeachGain);
}

// Along the axes and about them: 40 N move the tool at 0.2 m/s and 4 N m at 0.2 rad/s, both reached with a
// time constant of 50 ms. Half of that inertia does not carry the damping of the virtual wall.
void setForceDrag() {
    EndForceDrag& drag = mcb.forceControl.endforcedrag;
    std::fill_n(drag.M, 3, 10.0);      // kg
    std::fill_n(drag.M + 3, 3, 1.0);   // kg m^2
    std::fill_n(drag.B, 3, 200.0);     // N s/m
    std::fill_n(drag.B + 3, 3, 20.0);  // N m s/rad
    drag.Vmax = 100.0;                 // deg/s, the slowest nominal joint speed
    drag.Fmax = 50.0;                  // N, and N m
}

void setCollision() {
    setAll(mpb.collisionLevel, kCollisionLevel);
    setAll(mpb.configCollisionLevel, kCollisionLevel);
    mpb.collisionErrorTime = kCollisionCycles;
    float rated[NUM_JNTS];
    zvmcJointDefaultTorque(rated);
    float* const threshold[NUM_JNTS] = {&mpb.j1CollisionValue, &mpb.j2CollisionValue, &mpb.j3CollisionValue,
                                        &mpb.j4CollisionValue, &mpb.j5CollisionValue, &mpb.j6CollisionValue};
    for (int i = 0; i < NUM_JNTS; i++)
        *threshold[i] = std::min(kCollisionShare * rated[i], static_cast<float>(MAXCOLLISIONVALUE));

    // reaction 5 within its ranges
    mcb.collisionDetection.safeTime = 1000;
    mcb.collisionDetection.safeDistance = 150;
    mcb.collisionDetection.safeSpeed = 250;
    setAll(mcb.collisionDetection.safetyMargin, 5);
}

}  // namespace

void setDefaults(int robotType) {
    zero(mcb);
    zero(mpb);
    zero(how);
    safetyBoard = {};
    axleBus = {};
    drives = {};
    plannerValues = {};
    forgetCurrents();
    resetMotion();

    mcb.robotType = robotType;
    clearFaults();
    setMotion(robotType);
    setDrivesAndFriction();
    setForceDrag();
    setCollision();
}

}  // namespace tarn::host
