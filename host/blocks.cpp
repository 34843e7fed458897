// Storage of the three blocks, and their start values.
#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "model/type_table.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnhost/devices.h"
#include "tarnhost/kinematics.h"
#include "tarnhost/motion.h"
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

// Rated motor torques, N m: with its gears each arm holds its heaviest load in any pose within them.
constexpr float kRated60 = 0.35F;
constexpr float kRated60L = 0.64F;
constexpr float kRated80 = 1.27F;
constexpr float kRated130 = 3.6F;
constexpr float kRated130L = 10.0F;

constexpr double kTransSpeed = 1000.0;   // mm/s
constexpr double kStopInMs = 250.0;      // ms from nominal joint speed to standstill
constexpr float kCollisionLevel = 5.0F;  // middle of the range 1 to 10 that all detectors have
constexpr int kCollisionCycles = 10;     // debounce of a torque deviation
constexpr float kCollisionShare = 0.1F;  // threshold at level 1, of the rated motor torque

constexpr TRSF kIdentity = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0}};

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
        mpb.defaultJointAccel.v[i] = speed[i] / (kStopInMs * 0.001);
    }
    mpb.defaultTransVel = mpb.limitsGoto.maxVel = kTransSpeed;
    mcb.speedScaleAuto = mcb.speedScaleManual = 1.0F;

    mpb.TOOL = mpb.externalAxisInBase_RT = mpb.posSensorCtl.posSensorInEnd = kIdentity;
    for (POS_SENSOR_CTL& sensor : mpb.posSensorCtlList) sensor.posSensorInEnd = kIdentity;
    std::fill(std::begin(workPieceInBase), std::end(workPieceInBase), kIdentity);
    mpb.tC = kIdentity;  // stays for an arm without geometry
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
    for (auto* gains :
         {&mpb.ForDeadGain, &mpb.RevDeadGain, &mpb.ForFastGain, &mpb.RevFastGain, &mpb.jointDynFFRatio})
        setAll(*gains, 1.0);
    for (auto* gains :
         {&mcb.newTeachGain, &mcb.newTeachGainKf, &mcb.newTeachGainGAdj, &mcb.newTeachGainKfAdj})
        setAll(*gains, 1.0);
}

void setCollision() {
    setAll(mpb.collisionLevel, kCollisionLevel);
    setAll(mpb.configCollisionLevel, kCollisionLevel);
    mpb.collisionErrorTime = kCollisionCycles;
    float rated[NUM_JNTS];
    zvmcJointDefaultTorque(rated);
    float* const threshold[NUM_JNTS] = {&mpb.j1CollisionValue, &mpb.j2CollisionValue, &mpb.j3CollisionValue,
                                        &mpb.j4CollisionValue, &mpb.j5CollisionValue, &mpb.j6CollisionValue};
    for (int i = 0; i < NUM_JNTS; i++) *threshold[i] = kCollisionShare * rated[i];

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
    plannerValues = {{}, {1, 1, 1, 1, 1, 1}};
    resetMotion();

    mcb.robotType = robotType;
    clearFaults();
    setMotion(robotType);
    setDrivesAndFriction();
    setCollision();
}

}  // namespace tarn::host
