// Hardware state of the arm and the services of drives and axle bus.
//
// All defined by the host; the library leaves them undefined. The axle bus is the tool-side bus at the end
// of the arm.
#pragma once

#include <stdint.h>

extern "C" {

// clang-format off

// Refreshed by the host before each gravityTorqueControl, all but currentSet, which that call writes.
struct HOW {
    int16_t currentFeedback[6];   // 0.001 rated torque   host      measured motor current
    int16_t currentSet[6];        // 0.001 rated torque   library   commanded motor current
    int64_t enc[6];               // counts, 16384 a turn host      motor encoders
    int32_t HSEnc[6];             // counts, 16384 a turn host      output-side encoders, in counts of the motor side
};

// What a host keeps of a device on the axle bus: the source of the device numbers in mcb, of the words given
// to forceSensorDataProcess, and of the telegrams given to axleSensorDataAddToBuff.
struct AXLESENSOR_STATUS_EXHAL {
    int      id_company;                // -        host   maker, see mcb.fsCompanyID
    int      id_device;                 // -        host   model, see mcb.fsDeviceID
    int32_t  AxleSensorData[6];         // raw      host   fx, fy, fz, mx, my, mz; the low 16 bits count
    uint32_t AxleSensorData_2data[2];   // raw      host   telegram of two words
    int      axle_ret;                  // -        host   result of the last exchange
};

// clang-format on

extern HOW how;

// Every service returns 0, or a negative number when the bus or the drive did not take the request or give
// an answer; outputs are then left alone. The library does not act on the result.

// ---- axle bus

// Reads the 16 digital inputs. Bits 6 and 7 are the two alarm lines of a force sensor. Cycle.
int zvHalGetAxleDin(uint16_t* value);

// Announces the device types attached, one bit each; bit 0 is the force sensor. Command.
int zvHalEnableAxleDeviceType(uint8_t value);

// Writes reg_num registers of the sensor at dev_addr, from the address reg_h_addr, reg_l_addr
// on, with data1 and data2. Command.
int zvHalSetAxleSensorData(uint8_t dev_addr, uint8_t reg_h_addr, uint8_t reg_l_addr, uint8_t reg_num,
                           uint16_t data1, uint16_t data2);

// ---- drives; joints count from 1

// Variable gain factor of the six drives, gain[6], each 0 or 1. Cycle: must not block.
int zvHalSetVarGainFactor(int32_t* gain);

// Switches the identification in the drive of one joint on (1) or off (0). Command.
int zvHalSetJointIdentifyEnable(uint8_t joint_num, uint16_t flag);

// Chooses what the drives identify; the codes are the drive firmware's. Command.
int zvHalSetJointIdentifyType(uint16_t type);

// Results of one joint in drive units: stiffness, inertia of the driven link, inertia of the motor. Command.
int zvHalGetSingleJointIdentify(uint8_t joint_num, int32_t* rigidity, int32_t* rodIner, int32_t* motorIner);

// Running value of the identification of all six joints, value[6], in drive units. Command.
int zvHalGetJointIdentificationData(int32_t* value);

}  // extern "C"
