// Zero of the force sensor.
#include <cmath>

#include "sensor/sensor_load.h"
#include "support/persist.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

using namespace tarn;

namespace {

constexpr double kNoLoad = 1e-06;  // kg, mm

constexpr const char* kZeroKeys[6] = {
    "FORCESENSOR_ZERO_FX", "FORCESENSOR_ZERO_FY", "FORCESENSOR_ZERO_FZ",
    "FORCESENSOR_ZERO_MX", "FORCESENSOR_ZERO_MY", "FORCESENSOR_ZERO_MZ",
};
constexpr const char* kZeroOffsetKeys[6] = {
    "FORCESENSOR_ZEROOFFSET_FX", "FORCESENSOR_ZEROOFFSET_FY", "FORCESENSOR_ZEROOFFSET_FZ",
    "FORCESENSOR_ZEROOFFSET_MX", "FORCESENSOR_ZEROOFFSET_MY", "FORCESENSOR_ZEROOFFSET_MZ",
};

void persistWrench(const char* const (&keys)[6], const FORCESENSOR_DATA& w) {
    const double values[6] = {w.fx, w.fy, w.fz, w.mx, w.my, w.mz};
    for (int i = 0; i < 6; i++) persist(FORCE_SENSOR_SECTION, keys[i], values[i]);
}

}  // namespace

namespace tarn {

bool sensorLoadSet() {
    const VECT& center = mpb.forceSensorLoadCoord;
    return mpb.forceSensorLoadWeight > kNoLoad || std::fabs(center.x) > kNoLoad ||
           std::fabs(center.y) > kNoLoad || std::fabs(center.z) > kNoLoad;
}

void persistZeroOffset() { persistWrench(kZeroOffsetKeys, mcb.forceControl.zeroOffset); }

}  // namespace tarn

int tmcSetForceSensorZero(uint8_t status, int curLine) {
    FORCE_CONTROL& control = mcb.forceControl;
    if (status > 1) {
        mcb.ioError = zvCtlIOVALUEError;
        mpb.currentLine = curLine;
        return -1;
    }
    if (control.forceSensorRcs == 1) return -2;
    if (sensorLoadSet()) return -3;

    control.forceSensorZeroFlag = status;
    control.zeroValue = status == 1 ? mpb.forceOrigin : FORCESENSOR_DATA{};
    control.zeroOffset = {};

    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_ZEROFLAG", control.forceSensorZeroFlag);
    persistWrench(kZeroKeys, control.zeroValue);
    persistZeroOffset();
    mpb.currentLine = curLine;
    return 0;
}
