#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

TEST(Defaults, EveryArmHoldsItsHeaviestLoadWithinTheRatedTorque) {
    struct {
        int type;
        double load;  // kg
    } const arms[] = {{1, 3},    {3, 3},    {101, 5}, {103, 5}, {201, 10}, {202, 10}, {301, 16},
                      {302, 16}, {401, 20}, {701, 3}, {702, 3}, {901, 3},  {1001, 30}};
    std::mt19937 engine(21);
    std::uniform_real_distribution<double> angle(-180.0, 180.0);
    for (const auto& arm : arms) {
        tarn::host::setDefaults(arm.type);
        mcb.robotInstallPos = 3;
        float rated[6];
        zvmcJointDefaultTorque(rated);
        EX_LOAD load = {{0, 0, 0}, arm.load};
        double worst = 0.0;
        for (int n = 0; n < 20000; n++) {
            JNTS q = {}, torque = {};
            for (double& v : q.v) v = angle(engine);
            zvmcGravityTorque(&q, &load, &torque);
            for (int i = 0; i < 6; i++)
                worst = std::max(worst, std::fabs(torque.v[i] / ref::gearRatio(arm.type, i) / rated[i]));
        }
        EXPECT_LT(worst, 1.0) << arm.type;
        EXPECT_GT(worst, 0.3) << arm.type;  // and the motors are not out of all proportion
    }
}
