// Which calls make a recording: those that a host makes into the library, beside pure ones, and the answers
// of services that have a state of their own. The other services are the same in every run of the reference
// host.
//
// A row: result, name, parameters, their names, and of each pointer how many elements it leads to.
#pragma once

#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

// clang-format off
#define TARN_RECORDED_CALLS(CALL) \
    CALL(int, forceSensorDataProcess, (int32_t* words), (words), 6) \
    CALL(void, zvmcCheckForCollisionError, (), (), 0) \
    CALL(int, collisionControl, (), (), 0) \
    CALL(int, zvmcForceSensorDragProcess, (), (), 0) \
    CALL(int, constForceControl, (TRSF before, TRSF* after), (before, after), 1) \
    CALL(void, gravityTorqueControl, (JNTS* q), (q), 1) \
    CALL(int, frictionCompensation, (JNTS* velocity, double* value), (velocity, value), 1, 6) \
    CALL(int, tmcSetCollisionLevel, (uint8_t type, float* level, uint8_t config, int line), (type, level, config, line), 6) \
    CALL(int, tmcCollisionLevelResume, (), (), 0) \
    CALL(int, tmcSetCollisionPause, (uint8_t pause, int time, int distance, int speed, int* margin), \
         (pause, time, distance, speed, margin), 6) \
    CALL(int, tmcSetStaticCollisionOnOff, (uint8_t status), (status), 0) \
    CALL(int, tmcCollisionStartStop, (uint8_t status, int sensor, uint8_t* select, FORCESENSOR_DATA now, \
         FORCESENSOR_DATA most, FORCESENSOR_DATA least, int line), (status, sensor, select, now, most, least, line), 6) \
    CALL(int, tmcTorqueRecordStartEnd, (uint8_t status, uint8_t smooth, float* below, float* above, int* time, int line), \
         (status, smooth, below, above, time, line), 6, 6, 6) \
    CALL(int, tmcDragLockEnableDisable, (uint8_t status), (status), 0) \
    CALL(int, tmcSetDragLockPara, (double* p, double* i, double* d), (p, i, d), 6, 6, 6) \
    CALL(int, tmcSetInterfereDrag, (uint8_t status), (status), 0) \
    CALL(int, zvmcSetAxleDeviceType, (uint8_t value), (value), 0) \
    CALL(int, tmcSetForceSensorRcs, (uint8_t rcs, float* frame, int line), (rcs, frame, line), 6) \
    CALL(void, forceSensorSaveLoadCoord, (), (), 0) \
    CALL(int, tmcConstForceStartStop, (uint8_t status, int sensor, uint8_t* select, FORCESENSOR_DATA force, \
         double pf, double fi, double df, double pm, double im, double dm, uint8_t adjust, uint8_t learn, \
         double distance, double angle, double r, uint8_t filter, uint8_t adapt, int line), \
         (status, sensor, select, force, pf, fi, df, pm, im, dm, adjust, learn, distance, angle, r, filter, adapt, line), 6) \
    CALL(int, zvmcCompliancestartstop, (double p, double force, int flag, int line), (p, force, flag, line), 0) \
    CALL(int, zvmcEndForceDragStartStopControl, (int status), (status), 0) \
    CALL(int, zvmcEndForceDragstartstop, (int status, int adaptive, int zones, int singular, double* M, double* B, \
         double* K, double* F, double force, double speed), (status, adaptive, zones, singular, M, B, K, F, force, speed), 6, 6, 6, 6) \
    CALL(int, zvmcForceAndTorqueDragStartStop, (int status, int impedance, double* weight, double* K, double* B, \
         double speed, double turn), (status, impedance, weight, K, B, speed, turn), 6, 6, 6) \
    CALL(int, tmcLoadIdentifyStartEnd, (uint8_t status), (status), 0) \
    CALL(int, zvmcLoadIdentifyControl, (), (), 0) \
    CALL(int, zvmcSetCurrentLoadIdentifyFlag, (uint8_t flag), (flag), 0) \
    CALL(int, tmcGetLoadWeightCoord, (uint8_t* identify, double* weight, VECT* center), (identify, weight, center), 1, 1, 1) \
    CALL(int, zvmcSaveLoadIdentifyPoint, (int count), (count), 0) \
    CALL(int, zvmcComEndLoadMain, (double* mass, double* center), (mass, center), 1, 3) \
    CALL(int, zvmcSaveSensorDataFlag, (int count), (count), 0) \
    CALL(int, zvmcSensorComload, (double* mass, double* center), (mass, center), 1, 3) \
    CALL(int, zvmcComloaddymIdentify, (FORCESENSOR_DATA* force, ROTRSF* turn, double* mass, double* center), \
         (force, turn, mass, center), 5, 5, 1, 3) \
    CALL(int, tmcLoadIdentifyDynOnOff, (uint8_t status), (status), 0) \
    CALL(int, zvmcLoadIdentifyDynControl, (), (), 0) \
    CALL(int, tmcSetLoadIdentifyDynPara, (int time), (time), 0) \
    CALL(int, zvmcdynfiltresert, (), (), 0) \
    CALL(int, zvmcdynstoreresert, (), (), 0) \
    CALL(int, zvmcloadidentifymain, (double* tau, double* q, double time), (tau, q, time), 6, 6) \
    CALL(int, zvmcloadidentifyvalue, (int flag), (flag), 0) \
    CALL(int, zvmcgetloadidentifyresult, (Gain gain, double* mass, VECT* center), (gain, mass, center), 1, 1) \
    CALL(int, zvmcComputefourierMotion, (TMC_LIMITS_CART limits, TMC_TIMES* times), (limits, times), 1) \
    CALL(int, zvmcComputefourierAccVelPos, (TMC_TIMES times, unsigned long point, double* q), (times, point, q), 6) \
    CALL(int, zvmcSingleJointFrictionOnlineOnOff, (uint8_t joint, uint16_t flag), (joint, flag), 0) \
    CALL(int, zvmcGetJointFrictionStatus, (uint16_t* status, float* found, float* told, float* off), \
         (status, found, told, off), 1, 10, 10, 10) \
    CALL(int, zvmcCalculateNaturalFreq, (double* q, double* frequency), (q, frequency), 6, 1)

#define TARN_RECORDED_ANSWERS(SERVICE) \
    SERVICE(int, newJointVelFFTorque, (float* current), (current), 6) \
    SERVICE(int, newCollisionRatio, (float* ratio), (ratio), 6) \
    SERVICE(int, baseTrsfToWorkPiece, (int number, TRSF pose, TRSF* out), (number, pose, out), 1) \
    SERVICE(int, zvHalGetAxleDin, (uint16_t* value), (value), 1) \
    SERVICE(int, zvHalGetSingleJointIdentify, (uint8_t joint, int32_t* stiffness, int32_t* link, int32_t* motor), \
            (joint, stiffness, link, motor), 1, 1, 1) \
    SERVICE(int, zvHalGetJointIdentificationData, (int32_t* value), (value), 6) \
    SERVICE(int, __wrap_gettimeofday, (struct timeval* now, void* zone), (now, zone), 1, 0)
// clang-format on
