#include "tarnhost/devices.h"

#include <algorithm>

#include "record_call.h"
#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"

namespace tarn::host {

SafetyBoard safetyBoard;
AxleBus axleBus;
Drives drives;

namespace {

// Joints count from 1 at the drives.
bool isJoint(int number) { return 1 <= number && number <= 6; }

}  // namespace
}  // namespace tarn::host

using namespace tarn::host;

// ---- safety board

int tfsSetRobotJointFrictionCmpstOnOff(uint8_t flag) {
    recordCall("tfsSetRobotJointFrictionCmpstOnOff", flag);
    safetyBoard.frictionOn = flag;
    return 0;
}

int tfsSetRobotJointFrictionLevel(float* level) {
    recordCall("tfsSetRobotJointFrictionLevel", Values<float>{level, 6});
    std::copy_n(level, 6, safetyBoard.frictionLevel);
    return 0;
}

int tfsSetMomentumPowerOnOff(uint8_t flag) {
    recordCall("tfsSetMomentumPowerOnOff", flag);
    safetyBoard.momentumPowerOn = flag;
    return 0;
}

int tfsSetMomentumPowerParam(float momentumLimit, float powerLimit) {
    recordCall("tfsSetMomentumPowerParam", momentumLimit, powerLimit);
    safetyBoard.momentumLimit = momentumLimit;
    safetyBoard.powerLimit = powerLimit;
    return 0;
}

// ---- axle bus

int zvHalGetAxleDin(uint16_t* value) {
    *value = axleBus.din;
    return 0;
}

int zvHalEnableAxleDeviceType(uint8_t value) {
    recordCall("zvHalEnableAxleDeviceType", value);
    axleBus.deviceType = value;
    return 0;
}

int zvHalSetAxleSensorData(uint8_t dev_addr, uint8_t reg_h_addr, uint8_t reg_l_addr, uint8_t reg_num,
                           uint16_t data1, uint16_t data2) {
    recordCall("zvHalSetAxleSensorData", dev_addr, reg_h_addr, reg_l_addr, reg_num, data1, data2);
    axleBus.write = {dev_addr, reg_h_addr, reg_l_addr, reg_num, {data1, data2}};
    axleBus.writes++;
    return 0;
}

// ---- drives

int zvHalSetVarGainFactor(int32_t* gain) {
    std::copy_n(gain, 6, drives.varGain);
    drives.varGainWrites++;
    return 0;
}

int zvHalSetJointIdentifyEnable(uint8_t joint_num, uint16_t flag) {
    recordCall("zvHalSetJointIdentifyEnable", joint_num, flag);
    if (!isJoint(joint_num)) return -1;
    drives.identifyEnable[joint_num - 1] = flag;
    return 0;
}

int zvHalSetJointIdentifyType(uint16_t type) {
    recordCall("zvHalSetJointIdentifyType", type);
    drives.identifyType = type;
    return 0;
}

int zvHalGetSingleJointIdentify(uint8_t joint_num, int32_t* rigidity, int32_t* rodIner, int32_t* motorIner) {
    recordCall("zvHalGetSingleJointIdentify", joint_num);
    if (!isJoint(joint_num)) return -1;
    *rigidity = drives.rigidity[joint_num - 1];
    *rodIner = drives.rodInertia[joint_num - 1];
    *motorIner = drives.motorInertia[joint_num - 1];
    return 0;
}

int zvHalGetJointIdentificationData(int32_t* value) {
    recordCall("zvHalGetJointIdentificationData");
    std::copy_n(drives.identification, 6, value);
    return 0;
}
