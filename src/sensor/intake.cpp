// The door through which the force sensor enters: its announcement on the axle bus, its alarm lines, and the
// words of every cycle.
#include <cstddef>
#include <iterator>

#include "sensor/decoding.h"
#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarntools/tools_log.h"
#include "zvmcforcesensorblock.h"

using namespace tarn;

namespace {

struct SensorIntake {
    uint8_t forcesensorFlag;      // bit 0 of the device type last announced
    uint8_t forceSensorActflag;   // the announcement has switched the sensor on; blind to other switches
    uint8_t forceKalmanInitFlag;  // the six filters run
};
SensorIntake sensorIntake;

// Variances of the filters, in the squared unit of the channel.
constexpr double kProcessNoise = 1.0;
constexpr double kMeasurementNoise = 1.0;

// Alarm lines among the inputs of the axle bus.
constexpr unsigned kAlarmLine1 = 6;
constexpr unsigned kAlarmLine2 = 7;

bool sensorInUse() { return mcb.forceControl.forceSensorAct == 1; }

// No latch: the state falls with the lines, and while one is high everything is closed again each cycle.
void watchAlarmLines() {
    uint16_t inputs = 0;
    zvHalGetAxleDin(&inputs);
    const unsigned sensor1 = inputs >> kAlarmLine1 & 1U, sensor2 = inputs >> kAlarmLine2 & 1U;
    const unsigned state = sensor2 * 2 + sensor1;
    if (state != 0 && sensorInUse()) {
        zvmcCloseForceSensor();
        mcb.forceControl.forceSensorState = static_cast<uint8_t>(state);
    } else {
        mcb.forceControl.forceSensorState = 0;
    }
}

// Each channel through its filter, which starts from the first sample.
void filterReading(FORCESENSOR_DATA& reading) {
    uint8_t& running = sensorIntake.forceKalmanInitFlag;
    if (running == 0) {
        for (std::size_t i = 0; i < std::size(kSensorChannels); i++)
            Init_KalmanInfo(&mpb.forceKalman[i], kProcessNoise, kMeasurementNoise,
                            reading.*kSensorChannels[i]);
        running = 1;
    }
    for (std::size_t i = 0; i < std::size(kSensorChannels); i++) {
        double& channel = reading.*kSensorChannels[i];
        channel = KalmanFilter(&mpb.forceKalman[i], channel);
    }
}

}  // namespace

int zvmcSetAxleDeviceType(uint8_t value) {
    SensorIntake& s = sensorIntake;
    s.forcesensorFlag = value & 1;
    zvHalEnableAxleDeviceType(value);
    if (s.forcesensorFlag == 1 && s.forceSensorActflag == 0) {
        Write_Log(LOG_INFO, "tmcSetForceSensorAct = 1");
        tmcSetForceSensorAct(1, 0);
        s.forceSensorActflag = 1;
    }
    if (s.forcesensorFlag == 0 && s.forceSensorActflag == 1) {
        Write_Log(LOG_INFO, "tmcSetForceSensorAct = 0");
        tmcSetForceSensorAct(0, 0);
        s.forceSensorActflag = 0;
    }
    return 0;
}

// The sensor itself stays in use.
int zvmcCloseForceSensor() {
    mcb.forceControl.endforcedrag.flag = 0;
    mcb.forceControl.forceandtorquedrag.status = 0;
    resetForceControlPara();
    zvmcEndForceDragParamReset();
    return 0;
}

int forceSensorDataProcess(int32_t* forcedata) {
    watchAlarmLines();
    if (!sensorInUse()) {
        sensorIntake.forceKalmanInitFlag = 0;
        mpb.forceOrigin = {};
        mpb.forceRCS = {};
        return 0;
    }
    // The words of an unknown sensor leave the reading of the cycle before, which is filtered anew.
    decodeSensorWords(forcedata, mcb.fsCompanyID, mcb.fsDeviceID, sensorIntake.forcesensorFlag == 1,
                      &mpb.forceOrigin);
    filterReading(mpb.forceOrigin);
    FORCESENSOR_DATA inReference;
    trsfToRCS_force(&inReference);
    mpb.forceRCS = inReference;
    return 0;
}
