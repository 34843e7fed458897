// All services that the library may call, for a controller that uses its torque cycle alone. Three of them do
// something here; each of the others ends the program with its own name, so that a wider use of the library
// tells which one to write next. None that the library calls may be left out: it is bound as a whole at load.
//
// The declarations, C linkage included, are those of the library's headers. Include this file once.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarntools/tools_config.h"
#include "tarntools/tools_log.h"

// ---- the log: a ring of fixed lines. Its one writer is the cycle or a command, which here take turns.

constexpr int kLogLines = 64, kLogWidth = 120;
static char logRing[kLogLines][kLogWidth];
static int logCount;  // lines written since the start

void Write_Log(int, const char* format, ...) {
    va_list values;
    va_start(values, format);
    std::vsnprintf(logRing[logCount++ % kLogLines], kLogWidth, format, values);
    va_end(values);
}

// ---- the settings: a table in memory. A real controller writes it to its flash outside the cycle.

struct Setting {
    char key[48];
    float value;
};
static Setting settings[128];
static int settingsCount;

int ConfigWriteEntry(const char* /*file*/, const char* /*section*/, const char* key, float value) {
    int i = 0;
    while (i < settingsCount && std::strcmp(settings[i].key, key) != 0) i++;
    if (i == static_cast<int>(sizeof settings / sizeof *settings)) return -1;
    if (i == settingsCount) std::snprintf(settings[settingsCount++].key, sizeof settings->key, "%s", key);
    settings[i].value = value;
    return 0;
}

// ---- the drives' variable gain, told in every cycle: the next frame on the bus takes it along

static int32_t varGain[6];

int zvHalSetVarGainFactor(int32_t* gain) {
    std::memcpy(varGain, gain, sizeof varGain);
    return 0;
}

// ---- the others

[[noreturn]] static void missing(const char* service) {
    std::fprintf(stderr, "this controller has no %s\n", service);
    std::abort();
}
// clang-format off
#define MISSING(...) __VA_ARGS__ { missing(#__VA_ARGS__); }

MISSING(void* __wrap_malloc(size_t))
MISSING(void __wrap_free(void*))
MISSING(int __wrap_usleep(unsigned int))
MISSING(int __wrap_gettimeofday(struct timeval*, void*))
MISSING(int __wrap_puts(const char*))

MISSING(int doConfigHandle(int, int))
MISSING(int tmcStop())
MISSING(int tmcPause())
MISSING(int tmcDragSwitch(int))
MISSING(int resetWeldControlPara())
MISSING(int tmcUpdateJointCartGoalPos())

MISSING(int tmcGetRobotPos(ROBPOS*, EXAXISPOS*))
MISSING(int tmcGetInverseKinematicNoLine(int, ROBCARTPOS, ROBPOS*))
MISSING(int newFwdKinematics(JNTS*, TRSF*))
MISSING(int jointTrsfToEndCartTCF_RT(int, double*, ROBCARTPOS*))
MISSING(int jointTrsfToToolCartTCF_RT(int, double*, ROBCARTPOS*))
MISSING(int baseTrsfToWorkPiece(int, TRSF, TRSF*))
MISSING(int toolInBaseTrsfToToolInExAxis_RealTime(TRSF, EXAXIS_DHPARA, TRSF, TRSF*))
MISSING(void TransMatSDHTR(SDHV, TRSF*))

MISSING(int tmcDynComGravityExload(JNTS*, EX_LOAD*, JNTS*, int))
MISSING(int tmcDynComGravityExloadWall(JNTS*, EX_LOAD*, JNTS*, int))
MISSING(int tmcDynComGravityExloadCeiling(JNTS*, EX_LOAD*, JNTS*, int))
MISSING(int newJointVelFFTorque(float*))
MISSING(int newCollisionRatio(float*))
MISSING(int zvmcinitBtraj(Bsplinep*))
MISSING(int zvmcaddpointBfitting(Bsplinep*, int, double))
MISSING(int zvmccomBfitting(Bsplinep, int, double*, int, double*, dmat))
MISSING(void Init_KalmanInfo(KALMANINFO*, double, double, double))
MISSING(double KalmanFilter(KALMANINFO*, double))

MISSING(int tfsSetRobotJointFrictionCmpstOnOff(uint8_t))
MISSING(int tfsSetRobotJointFrictionLevel(float*))
MISSING(int tfsSetMomentumPowerOnOff(uint8_t))
MISSING(int tfsSetMomentumPowerParam(float, float))
MISSING(int zvHalGetAxleDin(uint16_t*))
MISSING(int zvHalEnableAxleDeviceType(uint8_t))
MISSING(int zvHalSetAxleSensorData(uint8_t, uint8_t, uint8_t, uint8_t, uint16_t, uint16_t))
MISSING(int zvHalSetJointIdentifyEnable(uint8_t, uint16_t))
MISSING(int zvHalSetJointIdentifyType(uint16_t))
MISSING(int zvHalGetSingleJointIdentify(uint8_t, int32_t*, int32_t*, int32_t*))
MISSING(int zvHalGetJointIdentificationData(int32_t*))

MISSING(void dhClassic(TRSF*, double, double, double, double))
MISSING(void rpyToTrsf(TRSF*, double, double, double))
MISSING(void trsfToRpy(double*, double*, double*, const TRSF*))
MISSING(void trsfToRpyRt(double*, double*, double*, const TRSF*, const VECT*))
MISSING(void multTrsf(TRSF*, const TRSF*, const TRSF*))
MISSING(void invertTrsf(TRSF*, const TRSF*))
MISSING(void multRotrsf(ROTRSF*, const ROTRSF*, const ROTRSF*))
MISSING(void invRotrsf(ROTRSF*, const ROTRSF*))
MISSING(void trsposeRotrsf(ROTRSF*, const ROTRSF*))
MISSING(void addRotrsf(ROTRSF*, const ROTRSF*, const ROTRSF*))
MISSING(void detRotrsf(const ROTRSF*, double*))
MISSING(void multRotrsfVect(VECT*, const ROTRSF*, const VECT*))
MISSING(void addVect(VECT*, const VECT*, const VECT*))
MISSING(void subtractVect(VECT*, const VECT*, const VECT*))
MISSING(void crossVect(VECT*, const VECT*, const VECT*))
MISSING(void scaleVect(VECT*, const VECT*, double))
MISSING(double normVect(const VECT*))
MISSING(void trsfToQtrn(QTRN*, const TRSF*))
MISSING(void unitQtrn(QTRN*, const QTRN*))
MISSING(void qtrnToDspl(VECT*, const QTRN*))
MISSING(int matmul(dmat, dmat, dmat))
MISSING(int matSum(dmat, dmat, dmat))
MISSING(int matinvert(dmat, dmat))
