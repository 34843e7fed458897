// Which motor size drives which joint.
#include "model/type_table.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace {

using Motor = float MOTION_PARAMETER_BLOCK::*;  // rated torque of a motor size, N·m

struct JointMotors {
    Motor joint[6];
};

constexpr Motor k60 = &MOTION_PARAMETER_BLOCK::moterRatedTorque_60;
constexpr Motor k60L = &MOTION_PARAMETER_BLOCK::moterRatedTorque_60L;
constexpr Motor k80 = &MOTION_PARAMETER_BLOCK::moterRatedTorque_80;
constexpr Motor k130 = &MOTION_PARAMETER_BLOCK::moterRatedTorque_130;
constexpr Motor k130L = &MOTION_PARAMETER_BLOCK::moterRatedTorque_130L;

// clang-format off
constexpr tarn::TypeRow<JointMotors> kMotors[] = {
    // first, last,    J1     J2     J3     J4    J5    J6
    {    0,    0, { { k80,   k80,   k80,   k60,  k60,  k60  } } },
    {    1,  100, { { k60L,  k60L,  k60L,  k60,  k60,  k60  } } },
    {  101,  200, { { k80,   k80,   k80,   k60,  k60,  k60  } } },
    {  201,  400, { { k130,  k130,  k80,   k60L, k60L, k60L } } },
    {  401,  500, { { k130L, k130L, k130,  k80,  k80,  k80  } } },
    {  501,  600, { { k60,   k60,   k60,   k60,  k60,  k60  } } },
    {  601,  700, { { k80,   k80,   k80,   k60,  k60,  k60  } } },
    {  702,  703, { { k60L,  k60L,  k60L,  k60,  k60,  k60  } } },
    {  701,  900, { { k60L,  k60L,  k60,   k60,  k60,  k60  } } },
    {  901,  901, { { k60L,  k60L,  k60L,  k60,  k60,  k60  } } },
    {  902,  902, { { k130,  k130,  k80,   k60L, k60L, k60L } } },
    { 1001, 1100, { { k130L, k130L, k130,  k80,  k80,  k80  } } },
};
// Also the row of type 903, though it is an arm of family A: on purpose.
constexpr JointMotors kMotorsOther = { { k80, k80, k80, k60, k60, k60 } };
// clang-format on

}  // namespace

int zvmcJointDefaultTorque(float* jTorque) {
    const JointMotors& motors = tarn::byType(kMotors, kMotorsOther, mcb.robotType);
    for (int i = 0; i < 6; i++) jTorque[i] = mpb.*motors.joint[i];
    return 0;
}
