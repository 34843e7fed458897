#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

namespace {

using fixture::kInf;
using fixture::kNan;

const struct {
    int size;
    double (*plain)(double);
    double (*drag)(double, double, double, double, double);
} kCurves[] = {
    {14, joint14FrictionCalculate_deadzone, joint14FrictionCalculate_deadzone_DRAG},
    {17, joint17FrictionCalculate_deadzone, joint17FrictionCalculate_deadzone_DRAG},
    {25, joint25FrictionCalculate_deadzone, joint25FrictionCalculate_deadzone_DRAG},
    {32, joint32FrictionCalculate_deadzone, joint32FrictionCalculate_deadzone_DRAG},
    {40, joint40FrictionCalculate_deadzone, joint40FrictionCalculate_deadzone_DRAG},
};

const auto& curve(int size) {
    for (const auto& one : kCurves)
        if (one.size == size) return one;
    throw std::out_of_range("no such curve");
}

// Both signs of a sweep over five decades, and both sides of the edges of band and dead zone, degrees per ms.
std::vector<double> speeds() {
    std::vector<double> all;
    for (double v = 2e-6; v < 0.2; v *= 1.07) all.push_back(v);
    for (double edge : {0.001, 0.01})
        for (double v : {std::nextafter(edge, 0), edge, std::nextafter(edge, 1)}) all.push_back(v);
    const size_t positive = all.size();
    for (size_t i = 0; i < positive; i++) all.push_back(-all[i]);
    return all;
}

TEST(FrictionCurve, FollowsTheLawInBothBandsAndTakesOneGainWhenGuiding) {
    for (int stiffness : {0, 1, 2, -1})
        for (const auto& c : kCurves)
            for (double v : speeds()) {
                mcb.jointStiffnessType = stiffness;
                const double plain = ref::frictionCurve(c.size, stiffness == 1, v, true);
                const double guided = ref::frictionCurve(c.size, stiffness == 1, v, false);
                const bool low = std::fabs(v) < 0.01;
                const double gain = low ? (v > 0 ? 1.1 : 1.2) : (v > 0 ? 1.3 : 1.4);
                const double tolerance = 1e-12 * (1 + std::fabs(guided));
                EXPECT_NEAR(c.plain(v), plain, tolerance) << "size " << c.size << " at " << v;
                EXPECT_NEAR(c.drag(v, 1.1, 1.2, 1.3, 1.4), gain * guided, 2 * tolerance)
                    << "size " << c.size << " at " << v << ", guiding";
            }
}

TEST(FrictionCurve, IsZeroAtRest) {
    for (const auto& c : kCurves)
        for (double v : {0.0, -0.0}) {
            EXPECT_EQ(c.plain(v), 0.0) << "size " << c.size;
            // with the reverse gain of the low band: any other would show
            EXPECT_EQ(c.drag(v, kNan, 1.2, kNan, kNan), 0.0) << "size " << c.size;
        }
}

TEST(FrictionCurve, Size32AloneHasADeadZone) {
    for (const auto& c : kCurves)
        for (double v : {0.0005, -0.0005}) {
            EXPECT_EQ(c.plain(v) == 0.0, c.size == 32) << "size " << c.size << " at " << v;
            EXPECT_NE(c.drag(v, 1, 1, 1, 1), 0.0) << "size " << c.size << " at " << v;
        }
}

// Far beyond any joint's speed the exponential overflows, and how it does decides what is finite.
TEST(FrictionCurve, OverflowsAsItsFormulaDoes) {
    const double viscous14 = 1.5311 * (1e300 / 180 * 3.141592653589793 * 1000);
    const struct {
        int size;
        double velocity, want;
    } rows[] = {
        {14, 1e300, viscous14},
        {14, -1e300, kNan},
        {14, 1e308, kInf},
        {14, kInf, kInf},
        {14, -kInf, kNan},
        {17, kInf, kNan},
        {17, -kInf, -kInf},
        {17, 10, kNan},
        {32, 100, ref::frictionCurve(32, 0, 100, true)},
        {40, -0.2260, kInf},  // the product overflows, the exponential does not
        {40, -1, kNan},
        {40, 1, ref::frictionCurve(40, 0, 1, true)},
        {14, kNan, kNan},
        {17, kNan, kNan},
        {25, kNan, kNan},
        {32, kNan, kNan},
        {40, kNan, kNan},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "size " << row.size << " at " << row.velocity);
        mcb.jointStiffnessType = 0;
        for (double got :
             {curve(row.size).plain(row.velocity), curve(row.size).drag(row.velocity, 1, 1, 1, 1)}) {
            if (std::isnan(row.want))
                EXPECT_TRUE(std::isnan(got)) << got;
            else if (std::isinf(row.want))
                EXPECT_EQ(got, row.want);
            else
                EXPECT_NEAR(got, row.want, 1e-12 * std::fabs(row.want));
        }
    }
}

}  // namespace
