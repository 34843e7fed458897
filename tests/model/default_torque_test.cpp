#include <gtest/gtest.h>

#include "support/reference.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

TEST(DefaultTorque, EveryTypeHasItsMotors) {
    mpb.moterRatedTorque_60 = 0.1f;
    mpb.moterRatedTorque_60L = 0.2f;
    mpb.moterRatedTorque_80 = 0.4f;
    mpb.moterRatedTorque_130 = 0.8f;
    mpb.moterRatedTorque_130L = 1.6f;
    for (int type : ref::types()) {
        mcb.robotType = type;
        float torque[7] = {-1, -1, -1, -1, -1, -1, -1};
        EXPECT_EQ(zvmcJointDefaultTorque(torque), 0);
        for (int i = 0; i < 6; i++)
            ASSERT_EQ(static_cast<double>(torque[i]), ref::ratedTorque(type, i))
                << "type " << type << ", joint " << i + 1;
        EXPECT_EQ(torque[6], -1.0f);
    }
}
