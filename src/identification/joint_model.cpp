// The model check of one joint: the drive identifies stiffness and inertias by itself, here they are fetched
// and held against the factory's.
#include <cstdint>
#include <iterator>

#include "identification/single_joint.h"
#include "model/type_table.h"
#include "tarnhal/thalintf.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

struct JointModelCheck {
    std::uint8_t flag = 1;  // no value has been fetched yet
};
JointModelCheck jointModelCheck;

constexpr std::uint16_t kPlainValue = 1;  // singleJointIdentify.JointModelType; all others come in millionths
constexpr double kMillionth = 1e-06;

// In drive units: stiffness of the gear, inertia of the driven link, inertia of the motor.
struct FactoryJoint {
    float model[3];
};
struct FactoryArm {
    FactoryJoint joint[6];
};

// clang-format off
constexpr TypeRow<FactoryArm> kFactoryArms[] = {
    {    1,  100, { {
        // MeoRigidity, MeoRodIner, MeoMotorIner
        { { 16700.0f,    2367.0f,   31.0f   } },
        { { 16700.0f,    7792.0f,   31.0f   } },
        { { 16700.0f, 1225010.0f,   31.0f   } },
        { {  7800.0f,    1024.0f,   10.638f } },
        { {  7800.0f,  102510.0f,   10.638f } },
        { {  7800.0f,     337.43f,  10.638f } },
    } } },
};
// clang-format on
constexpr FactoryArm kFactoryArmOther = {};  // compared with nothing, a joint trips on any positive value
constexpr FactoryJoint kNoJoint = {};

const FactoryJoint& factoryJoint(int number) {
    const FactoryArm& arm = byType(kFactoryArms, kFactoryArmOther, mcb.robotType);
    const bool known = 1 <= number && number <= static_cast<int>(std::size(arm.joint));
    return known ? arm.joint[number - 1] : kNoJoint;
}

}  // namespace

int zvmcSingleJointModelOnlineOnOff(uint8_t joint_num, uint16_t flag) {
    singleJointIdentify.jointModelNum = joint_num;
    singleJointIdentify.jointModelOnlineFlag = flag;
    zvHalSetJointIdentifyEnable(joint_num, flag);
    return 0;
}

int zvmcSetJointModelType(uint16_t type) {
    zvHalSetJointIdentifyType(type);
    singleJointIdentify.JointModelType = type;
    return 0;
}

int zvmcGetJointModelDataOnline(float* jointModelData) {
    std::int32_t value[6] = {};
    zvHalGetJointIdentificationData(value);
    // The first call ever reports joint 1, whatever was chosen, on purpose.
    if (jointModelCheck.flag == 1) {
        singleJointIdentify.jointModelNum = 1;
        jointModelCheck.flag = 0;
    }
    const int n = singleJointIdentify.jointModelNum;
    const std::int32_t chosen = 1 <= n && n <= 6 ? value[n - 1] : 0;
    *jointModelData = singleJointIdentify.JointModelType == kPlainValue
                          ? static_cast<float>(chosen)
                          : static_cast<float>(chosen * kMillionth);
    return 0;
}

int zvmcGetJointModelStatus(uint16_t* status, float* realJointModel, float* MeoJointModel,
                            float* ErrJointModel) {
    const int n = singleJointIdentify.jointModelNum;
    std::int32_t rigidity = 0, rodIner = 0, motorIner = 0;
    zvHalGetSingleJointIdentify(singleJointIdentify.jointModelNum, &rigidity, &rodIner, &motorIner);
    const std::int32_t real[3] = {rigidity, rodIner, motorIner};
    const FactoryJoint& factory = factoryJoint(n);
    *status = 0;
    for (int i = 0; i < 3; i++) {
        realJointModel[i] = static_cast<float>(real[i]);
        MeoJointModel[i] = factory.model[i];
        ErrJointModel[i] = MeoJointModel[i] - realJointModel[i];
        // One-sided on purpose: a value far below the factory's does not trip.
        if (realJointModel[i] > 2 * MeoJointModel[i]) *status = 1;
    }
    return 0;
}
