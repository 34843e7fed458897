#include <gtest/gtest.h>

#include <climits>

#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

namespace {

TEST(DefaultTorque, EveryTypeHasItsMotors) {
    mpb.moterRatedTorque_60 = 0.1f;
    mpb.moterRatedTorque_60L = 0.2f;
    mpb.moterRatedTorque_80 = 0.4f;
    mpb.moterRatedTorque_130 = 0.8f;
    mpb.moterRatedTorque_130L = 1.6f;
    const auto check = [](int type) {
        mcb.robotType = type;
        float torque[7] = {-1, -1, -1, -1, -1, -1, -1};
        EXPECT_EQ(zvmcJointDefaultTorque(torque), 0);
        for (int i = 0; i < 6; i++)
            EXPECT_EQ(static_cast<double>(torque[i]), ref::ratedTorque(type, i))
                << "type " << type << ", joint " << i + 1;
        EXPECT_EQ(torque[6], -1.0f);
    };
    for (int type = ref::kFirstType; type <= ref::kLastType && !HasFailure(); type++) check(type);
    for (int type : {INT_MIN, INT_MAX, -1000}) check(type);
}

}  // namespace
