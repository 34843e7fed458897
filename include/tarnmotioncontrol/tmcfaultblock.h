// Fault and alarm codes: the values of the typed fault fields of mcb.
//
// A code has 32 bits. The high byte is the family, the low bytes the code within it; offset 0 of a family
// says that there is no fault. Raising a fault is one assignment to the field, over whatever stands there;
// only the host clears it. The stop or pause that goes with a fault is a call of its own.
#pragma once

#include <stdint.h>

// Bases of the families.
// clang-format off
#define ZV_CTL_CMDPOINT_ERROR         0x10000000U
#define ZV_CTL_SERVO_ERROR            0x11000000U
#define ZV_CTL_SOFTLIMIT_ERROR        0x12000000U
#define ZV_CTL_COLLISION_ERROR        0x13000000U
#define ZV_CTL_SLAVE_NUM_ERROR        0x14000000U
#define ZV_CTL_SLAVE_ERROR            0x15000000U
#define ZV_CTL_IO_ERROR               0x16000000U
#define ZV_CTL_GRIPPER_ERROR          0x17000000U
#define ZV_CTL_FILE_ERROR             0x18000000U
#define ZV_CTL_PARA_ERROR             0x19000000U
#define ZV_CTL_EXAXIS_SOFTLIMIT_ERROR 0x1A000000U
#define ZV_CTL_ALARM                  0x20000000U
#define ZV_SAFETYDOOR_ALARM           0x21000000U
#define ZV_MOTION_ALARM               0x22000000U
#define ZV_INTERFERE_ALARM            0x23000000U
#define ZV_SERVO_ALARM                0x24000000U
#define ZV_SAFETYPLANE_ALARM          0x25000000U
// clang-format on

extern "C" {

// clang-format off
// mcb.cmdPointError. Commanded points, commanded speeds, process functions and safety self-tests.
enum ZvCmdPointError : uint32_t {
    zvCtlCmdPointOK               = ZV_CTL_CMDPOINT_ERROR + 0x0,
    zvCtlPtpCmdPointError         = ZV_CTL_CMDPOINT_ERROR + 0x1,
    zvCtlLinCmdPointError         = ZV_CTL_CMDPOINT_ERROR + 0x2,
    zvCtlArcMiddlePointError      = ZV_CTL_CMDPOINT_ERROR + 0x3,
    zvCtlArcCmdPointError         = ZV_CTL_CMDPOINT_ERROR + 0x4,
    zvCtlArcCmdPointNear          = ZV_CTL_CMDPOINT_ERROR + 0x5,
    zvCtlCircleMiddleP1Error      = ZV_CTL_CMDPOINT_ERROR + 0x6,
    zvCtlCircleMiddleP2Error      = ZV_CTL_CMDPOINT_ERROR + 0x7,
    zvCtlCircleMiddleP3Error      = ZV_CTL_CMDPOINT_ERROR + 0x8,
    zvCtlCircleCmdPointNear       = ZV_CTL_CMDPOINT_ERROR + 0x9,
    zvCtlTPDCmdPointError         = ZV_CTL_CMDPOINT_ERROR + 0xa,
    zvCtlTpdToolError             = ZV_CTL_CMDPOINT_ERROR + 0xb,
    zvCtlTpdCmdDiffError          = ZV_CTL_CMDPOINT_ERROR + 0xc,
    zvCtlTCPChangeError           = ZV_CTL_CMDPOINT_ERROR + 0xd,
    zvCtlNewSpiralStartError      = ZV_CTL_CMDPOINT_ERROR + 0xe,
    zvCtlNSplineCmdPointError     = ZV_CTL_CMDPOINT_ERROR + 0xf,
    zvCtlPtpCmdOver               = ZV_CTL_CMDPOINT_ERROR + 0x11,
    zvCtlTpdCmdOver               = ZV_CTL_CMDPOINT_ERROR + 0x12,
    zvCtlJointCmdOver             = ZV_CTL_CMDPOINT_ERROR + 0x13,
    zvCtlCartCmdSpeedOver         = ZV_CTL_CMDPOINT_ERROR + 0x14,
    zvCtlCurrentCmdOver           = ZV_CTL_CMDPOINT_ERROR + 0x15,
    zvCtlJogCmdOver               = ZV_CTL_CMDPOINT_ERROR + 0x16,
    zvCtlJoint1CmdSpeedOver       = ZV_CTL_CMDPOINT_ERROR + 0x17,
    zvCtlJoint2CmdSpeedOver       = ZV_CTL_CMDPOINT_ERROR + 0x18,
    zvCtlJoint3CmdSpeedOver       = ZV_CTL_CMDPOINT_ERROR + 0x19,
    zvCtlJoint4CmdSpeedOver       = ZV_CTL_CMDPOINT_ERROR + 0x1a,
    zvCtlJoint5CmdSpeedOver       = ZV_CTL_CMDPOINT_ERROR + 0x1b,
    zvCtlJoint6CmdSpeedOver       = ZV_CTL_CMDPOINT_ERROR + 0x1c,
    zvCtlJointBackSpeedOver       = ZV_CTL_CMDPOINT_ERROR + 0x1d,
    zvCtlJointCmdDiffError        = ZV_CTL_CMDPOINT_ERROR + 0x1e,
    zvCtlDMPCmdPointError         = ZV_CTL_CMDPOINT_ERROR + 0x1f,
    zvCtlConfigChangeError        = ZV_CTL_CMDPOINT_ERROR + 0x21,
    zvCtlCurConfigChangeError     = ZV_CTL_CMDPOINT_ERROR + 0x22,
    zvCtlLinJointSpeedOverError   = ZV_CTL_CMDPOINT_ERROR + 0x23,
    zvCtlLinJointSpeedChangeError = ZV_CTL_CMDPOINT_ERROR + 0x24,
    zvCtlLinJointNotReachError    = ZV_CTL_CMDPOINT_ERROR + 0x25,
    zvCtlLinJointStrangeError     = ZV_CTL_CMDPOINT_ERROR + 0x26,
    zvCtlWeldCmdError             = ZV_CTL_CMDPOINT_ERROR + 0x31,
    zvCtlWeaveCmdError            = ZV_CTL_CMDPOINT_ERROR + 0x32,
    zvCtlWeaveParaError           = ZV_CTL_CMDPOINT_ERROR + 0x33,
    zvCtlWeaveCmdPointNear        = ZV_CTL_CMDPOINT_ERROR + 0x34,
    zvCtlWeaveSimStrangeError     = ZV_CTL_CMDPOINT_ERROR + 0x35,
    zvCtlWeaveSimLimitError       = ZV_CTL_CMDPOINT_ERROR + 0x36,
    zvCtlWeaveSimPlanError1       = ZV_CTL_CMDPOINT_ERROR + 0x37,
    zvCtlWeaveSimPlanError2       = ZV_CTL_CMDPOINT_ERROR + 0x38,
    zvCtlLaserCmdDiffError        = ZV_CTL_CMDPOINT_ERROR + 0x41,
    zvCtlLaserCmdEmptyError       = ZV_CTL_CMDPOINT_ERROR + 0x42,
    zvCtlExAxisCmdSpeedOver       = ZV_CTL_CMDPOINT_ERROR + 0x51,
    zvCtlExAxisCmdDiffError       = ZV_CTL_CMDPOINT_ERROR + 0x52,
    zvCtlExAxisComError           = ZV_CTL_CMDPOINT_ERROR + 0x53,
    zvCtlExAxisComLossError       = ZV_CTL_CMDPOINT_ERROR + 0x54,
    zvCtlPostureChangeError       = ZV_CTL_CMDPOINT_ERROR + 0x61,
    zvCtlConstForceXOver          = ZV_CTL_CMDPOINT_ERROR + 0x71,
    zvCtlConstForceYOver          = ZV_CTL_CMDPOINT_ERROR + 0x72,
    zvCtlConstForceZOver          = ZV_CTL_CMDPOINT_ERROR + 0x73,
    zvCtlConstForceRXOver         = ZV_CTL_CMDPOINT_ERROR + 0x74,
    zvCtlConstForceRYOver         = ZV_CTL_CMDPOINT_ERROR + 0x75,
    zvCtlConstForceRZOver         = ZV_CTL_CMDPOINT_ERROR + 0x76,
    zvCtlAxleSensorDataError      = ZV_CTL_CMDPOINT_ERROR + 0x77,
    zvCtlSpiralSearchFail         = ZV_CTL_CMDPOINT_ERROR + 0x78,
    zvCtlRotInsertFail            = ZV_CTL_CMDPOINT_ERROR + 0x79,
    zvCtlLinInsertFail            = ZV_CTL_CMDPOINT_ERROR + 0x7a,
    zvCtlFindSurfaceFail          = ZV_CTL_CMDPOINT_ERROR + 0x7b,
    zvCtlMaxTorqueRecordOver      = ZV_CTL_CMDPOINT_ERROR + 0x81,
    zvCtlSpeedChangeParaError     = ZV_CTL_CMDPOINT_ERROR + 0x82,
    zvCtlToolDirectionError       = ZV_CTL_CMDPOINT_ERROR + 0x83,
    zvCtlMomentumLimitError       = ZV_CTL_CMDPOINT_ERROR + 0x84,
    zvCtlPowerLimitError          = ZV_CTL_CMDPOINT_ERROR + 0x85,
    zvCtlSTLFlashError            = ZV_CTL_CMDPOINT_ERROR + 0x86,
    zvCtlSTLRAMError              = ZV_CTL_CMDPOINT_ERROR + 0x87,
    zvCtlSTLCPUError              = ZV_CTL_CMDPOINT_ERROR + 0x88,
    zvCtlSafety2DataError         = ZV_CTL_CMDPOINT_ERROR + 0x89,
    zvCtlJ1SafetyDataError        = ZV_CTL_CMDPOINT_ERROR + 0x8a,
    zvCtlJ2SafetyDataError        = ZV_CTL_CMDPOINT_ERROR + 0x8b,
    zvCtlJ3SafetyDataError        = ZV_CTL_CMDPOINT_ERROR + 0x8c,
    zvCtlJ4SafetyDataError        = ZV_CTL_CMDPOINT_ERROR + 0x8d,
    zvCtlJ5SafetyDataError        = ZV_CTL_CMDPOINT_ERROR + 0x8e,
    zvCtlJ6SafetyDataError        = ZV_CTL_CMDPOINT_ERROR + 0x8f,
    zvCtlSafetyCBComError         = ZV_CTL_CMDPOINT_ERROR + 0x91,
    zvCtlFocusPlanError           = ZV_CTL_CMDPOINT_ERROR + 0x93,
    zvCtlOriVelOverError          = ZV_CTL_CMDPOINT_ERROR + 0x94,
    zvCtlStatusWordError          = ZV_CTL_CMDPOINT_ERROR + 0x95,
};

// mcb.servoError. A servo drive of the arm reports an error.
enum ZvServoError : uint32_t {
    zvCtlServoOK     = ZV_CTL_SERVO_ERROR + 0x0,
    zvCtlServo1Error = ZV_CTL_SERVO_ERROR + 0x1,
    zvCtlServo2Error = ZV_CTL_SERVO_ERROR + 0x2,
    zvCtlServo3Error = ZV_CTL_SERVO_ERROR + 0x3,
    zvCtlServo4Error = ZV_CTL_SERVO_ERROR + 0x4,
    zvCtlServo5Error = ZV_CTL_SERVO_ERROR + 0x5,
    zvCtlServo6Error = ZV_CTL_SERVO_ERROR + 0x6,
};

// mcb.softLimitError. A joint stands beyond its soft limit.
enum ZvSoftLimitError : uint32_t {
    zvCtlSoftLimitOK      = ZV_CTL_SOFTLIMIT_ERROR + 0x0,
    zvCtlJ1SoftLimitError = ZV_CTL_SOFTLIMIT_ERROR + 0x1,
    zvCtlJ2SoftLimitError = ZV_CTL_SOFTLIMIT_ERROR + 0x2,
    zvCtlJ3SoftLimitError = ZV_CTL_SOFTLIMIT_ERROR + 0x3,
    zvCtlJ4SoftLimitError = ZV_CTL_SOFTLIMIT_ERROR + 0x4,
    zvCtlJ5SoftLimitError = ZV_CTL_SOFTLIMIT_ERROR + 0x5,
    zvCtlJ6SoftLimitError = ZV_CTL_SOFTLIMIT_ERROR + 0x6,
};

// mcb.collisionError. A joint, or the force sensor (FS), has met an obstacle.
enum ZvCollisionError : uint32_t {
    zvCtlCollisionOK      = ZV_CTL_COLLISION_ERROR + 0x0,
    zvCtlJ1CollisionError = ZV_CTL_COLLISION_ERROR + 0x1,
    zvCtlJ2CollisionError = ZV_CTL_COLLISION_ERROR + 0x2,
    zvCtlJ3CollisionError = ZV_CTL_COLLISION_ERROR + 0x3,
    zvCtlJ4CollisionError = ZV_CTL_COLLISION_ERROR + 0x4,
    zvCtlJ5CollisionError = ZV_CTL_COLLISION_ERROR + 0x5,
    zvCtlJ6CollisionError = ZV_CTL_COLLISION_ERROR + 0x6,
    zvCtlFSCollisionError = ZV_CTL_COLLISION_ERROR + 0x7,
};

// mcb.slaveNumError. A bus slave that should be there is not alive.
enum ZvSlaveNumError : uint32_t {
    zvCtlSlaveNumOK         = ZV_CTL_SLAVE_NUM_ERROR + 0x0,
    zvCtlAliveSlaveNumError = ZV_CTL_SLAVE_NUM_ERROR + 0x1,
};

// mcb.slaveError[8]. State of one bus slave.
enum ZvSlaveError : uint32_t {
    zvCtlSlaveOK             = ZV_CTL_SLAVE_ERROR + 0x0,
    zvCtlOffLine             = ZV_CTL_SLAVE_ERROR + 0x1,
    zvCtlErrorEcatState      = ZV_CTL_SLAVE_ERROR + 0x2,
    zvCtlNotConfigured       = ZV_CTL_SLAVE_ERROR + 0x3,
    zvCtlWrongConfiguration  = ZV_CTL_SLAVE_ERROR + 0x4,
    zvCtlInitCmdError        = ZV_CTL_SLAVE_ERROR + 0x5,
    zvCtlMailboxInitCmdError = ZV_CTL_SLAVE_ERROR + 0x6,
};

// mcb.ioError. Inputs, outputs and timeouts of waiting on them; bad arguments of the force functions.
enum ZvIoError : uint32_t {
    zvCtlIOOK               = ZV_CTL_IO_ERROR + 0x0,
    zvCtlIONOError          = ZV_CTL_IO_ERROR + 0x1,
    zvCtlIOVALUEError       = ZV_CTL_IO_ERROR + 0x2,
    zvCtlWaitDITimeOver     = ZV_CTL_IO_ERROR + 0x3,
    zvCtlWaitAITimeOver     = ZV_CTL_IO_ERROR + 0x4,
    zvCtlWaitAxleDITimeOver = ZV_CTL_IO_ERROR + 0x5,
    zvCtlWaitAxleAITimeOver = ZV_CTL_IO_ERROR + 0x6,
    zvCtlIONOConfigError    = ZV_CTL_IO_ERROR + 0x7,
    zvCtlArcStartTimeOver   = ZV_CTL_IO_ERROR + 0x8,
    zvCtlArcEndTimeOver     = ZV_CTL_IO_ERROR + 0x9,
    zvCtlSearchTimeOver     = ZV_CTL_IO_ERROR + 0xa,
    zvCtlObjDetectTimeOver  = ZV_CTL_IO_ERROR + 0xb,
    zvCtlWaitExtDITimeOver  = ZV_CTL_IO_ERROR + 0xc,
    zvCtlWaitExtAITimeOver  = ZV_CTL_IO_ERROR + 0xd,
};

// mcb.gripperError. The gripper.
enum ZvGripperError : uint32_t {
    zvCtlGripperOK            = ZV_CTL_GRIPPER_ERROR + 0x0,
    zvCtlGripperOverTimeError = ZV_CTL_GRIPPER_ERROR + 0x1,
};

// mcb.fileError. Configuration files: version and loading.
enum ZvFileError : uint32_t {
    zvCtlFileOK                   = ZV_CTL_FILE_ERROR + 0x0,
    zvCtlZbtConfigVersionError    = ZV_CTL_FILE_ERROR + 0x1,
    zvCtlZbtConfigLoadError       = ZV_CTL_FILE_ERROR + 0x2,
    zvCtlUserConfigVersionError   = ZV_CTL_FILE_ERROR + 0x3,
    zvCtlUserConfigLoadError      = ZV_CTL_FILE_ERROR + 0x4,
    zvCtlExaxisConfigVersionError = ZV_CTL_FILE_ERROR + 0x5,
    zvCtlExaxisConfigLoadError    = ZV_CTL_FILE_ERROR + 0x6,
    zvCtlRobotTypeError           = ZV_CTL_FILE_ERROR + 0x7,
    zvCtlDHParaConfigVersionError = ZV_CTL_FILE_ERROR + 0x8,
    zvCtlDHParaConfigLoadError    = ZV_CTL_FILE_ERROR + 0x9,
    zvCtlNotSetRobotTypeError     = ZV_CTL_FILE_ERROR + 0xa,
    zvCtlLoadConfigVersionError   = ZV_CTL_FILE_ERROR + 0xb,
    zvCtlLoadConfigLoadError      = ZV_CTL_FILE_ERROR + 0xc,
    zvCtlSpeedConfigVersionError  = ZV_CTL_FILE_ERROR + 0xd,
    zvCtlSpeedConfigLoadError     = ZV_CTL_FILE_ERROR + 0xe,
};

// mcb.paraError. Parameters given by a command: tool, load, levels, filter times.
enum ZvParaError : uint32_t {
    zvCtlParaOK                  = ZV_CTL_PARA_ERROR + 0x0,
    zvCtlToolNumError            = ZV_CTL_PARA_ERROR + 0x1,
    zvCtlPosCmdDoneRangeError    = ZV_CTL_PARA_ERROR + 0x2,
    zvCtlCollisionLevelNumError  = ZV_CTL_PARA_ERROR + 0x3,
    zvCtlLoadWeightError         = ZV_CTL_PARA_ERROR + 0x4,
    zvCtlLoadCoordXError         = ZV_CTL_PARA_ERROR + 0x5,
    zvCtlLoadCoordYError         = ZV_CTL_PARA_ERROR + 0x6,
    zvCtlLoadCoordZError         = ZV_CTL_PARA_ERROR + 0x7,
    zvCtlDIFilterTimeError       = ZV_CTL_PARA_ERROR + 0x8,
    zvCtlAxleDIFilterTimeError   = ZV_CTL_PARA_ERROR + 0x9,
    zvCtlAIFilterTimeError       = ZV_CTL_PARA_ERROR + 0xa,
    zvCtlAxleAIFilterTimeError   = ZV_CTL_PARA_ERROR + 0xb,
    zvCtlDIConfigLevelError      = ZV_CTL_PARA_ERROR + 0xc,
    zvCtlDOConfigLevelError      = ZV_CTL_PARA_ERROR + 0xd,
    zvCtlWorkPieceNumError       = ZV_CTL_PARA_ERROR + 0xe,
    zvCtlExAxisNumError          = ZV_CTL_PARA_ERROR + 0xf,
    zvCtlConveyorEncChannelError = ZV_CTL_PARA_ERROR + 0x10,
    zvCtlConveyorWpAxisError     = ZV_CTL_PARA_ERROR + 0x11,
};

// mcb.exAxisSoftLimitError. An external axis stands beyond its soft limit.
enum ZvExAxisSoftLimitError : uint32_t {
    zvCtlExAxisSoftLimitOK     = ZV_CTL_EXAXIS_SOFTLIMIT_ERROR + 0x0,
    zvCtlExAxis1SoftLimitError = ZV_CTL_EXAXIS_SOFTLIMIT_ERROR + 0x1,
    zvCtlExAxis2SoftLimitError = ZV_CTL_EXAXIS_SOFTLIMIT_ERROR + 0x2,
    zvCtlExAxis3SoftLimitError = ZV_CTL_EXAXIS_SOFTLIMIT_ERROR + 0x3,
    zvCtlExAxis4SoftLimitError = ZV_CTL_EXAXIS_SOFTLIMIT_ERROR + 0x4,
};

// mcb.alarm. Warnings that leave a program running: posture changes, timeouts.
enum ZvAlarm : uint32_t {
    zvCtlNoAlarm                 = ZV_CTL_ALARM + 0x0,
    zvCtlShoulderConfigChange    = ZV_CTL_ALARM + 0x1,
    zvCtlElbowConfigChange       = ZV_CTL_ALARM + 0x2,
    zvCtlWristConfigChange       = ZV_CTL_ALARM + 0x3,
    zvCtlRPYInitialFailed        = ZV_CTL_ALARM + 0x4,
    zvCtlWaitDITimeOverAlarm     = ZV_CTL_ALARM + 0x5,
    zvCtlWaitAITimeOverAlarm     = ZV_CTL_ALARM + 0x6,
    zvCtlWaitAxleDITimeOverAlarm = ZV_CTL_ALARM + 0x7,
    zvCtlWaitAxleAITimeOverAlarm = ZV_CTL_ALARM + 0x8,
    zvCtlArcDoneNoConfigAlarm    = ZV_CTL_ALARM + 0x9,
    zvCtlWaitExtDITimeOverAlarm  = ZV_CTL_ALARM + 0xa,
    zvCtlWaitExtAITimeOverAlarm  = ZV_CTL_ALARM + 0xb,
    zvCtlWeavePointSimAlarm      = ZV_CTL_ALARM + 0xc,
    zvCtlCvrCatchPointFail       = ZV_CTL_ALARM + 0xd,
};

// mcb.safetyDoorAlarm. The safety door.
enum ZvSafetyDoorAlarm : uint32_t {
    zvSafetyDoorNoAlarm = ZV_SAFETYDOOR_ALARM + 0x0,
    zvSafetyDoorAlarm   = ZV_SAFETYDOOR_ALARM + 0x1,
};

// mcb.motionAlarm. Warnings about a motion: speed, posture, end of motion not reached in time.
enum ZvMotionAlarm : uint32_t {
    zvCtlMotionNoAlarm            = ZV_MOTION_ALARM + 0x0,
    zvCtlLinPostureChangeAlarm    = ZV_MOTION_ALARM + 0x1,
    zvCtlTCPSpeedOver             = ZV_MOTION_ALARM + 0x2,
    zvCtlCollisionAlarm           = ZV_MOTION_ALARM + 0x3,
    zvCtlJ1SpeedOver              = ZV_MOTION_ALARM + 0x4,
    zvCtlJ2SpeedOver              = ZV_MOTION_ALARM + 0x5,
    zvCtlJ3SpeedOver              = ZV_MOTION_ALARM + 0x6,
    zvCtlJ4SpeedOver              = ZV_MOTION_ALARM + 0x7,
    zvCtlJ5SpeedOver              = ZV_MOTION_ALARM + 0x8,
    zvCtlJ6SpeedOver              = ZV_MOTION_ALARM + 0x9,
    zvCtlJ1CmdDoneOverTime        = ZV_MOTION_ALARM + 0xa,
    zvCtlJ2CmdDoneOverTime        = ZV_MOTION_ALARM + 0xb,
    zvCtlJ3CmdDoneOverTime        = ZV_MOTION_ALARM + 0xc,
    zvCtlJ4CmdDoneOverTime        = ZV_MOTION_ALARM + 0xd,
    zvCtlJ5CmdDoneOverTime        = ZV_MOTION_ALARM + 0xe,
    zvCtlJ6CmdDoneOverTime        = ZV_MOTION_ALARM + 0xf,
    zvCtlStrangPosAlarm           = ZV_MOTION_ALARM + 0x10,
    zvCtlLinJointSpeedChangeAlarm = ZV_MOTION_ALARM + 0x11,
};

// mcb.interfereAlarm. The interference zones.
enum ZvInterfereAlarm : uint32_t {
    zvCtlInterfereNoAlarm    = ZV_INTERFERE_ALARM + 0x0,
    zvCtlEnterInterfereAlarm = ZV_INTERFERE_ALARM + 0x1,
};

// mcb.servoAlarm. A servo drive of the arm warns.
enum ZvServoAlarm : uint32_t {
    zvCtlServoAlarmOK = ZV_SERVO_ALARM + 0x0,
    zvCtlServo1Alarm  = ZV_SERVO_ALARM + 0x1,
    zvCtlServo2Alarm  = ZV_SERVO_ALARM + 0x2,
    zvCtlServo3Alarm  = ZV_SERVO_ALARM + 0x3,
    zvCtlServo4Alarm  = ZV_SERVO_ALARM + 0x4,
    zvCtlServo5Alarm  = ZV_SERVO_ALARM + 0x5,
    zvCtlServo6Alarm  = ZV_SERVO_ALARM + 0x6,
};

// mcb.safetyPlaneAlarm. The safety planes.
enum ZvSafetyPlaneAlarm : uint32_t {
    zvCtlSafetyPlaneNoAlarm    = ZV_SAFETYPLANE_ALARM + 0x0,
    zvCtlEnterSafetyPlaneAlarm = ZV_SAFETYPLANE_ALARM + 0x1,
};
// clang-format on

}  // extern "C"
