#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <vector>

#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

namespace {

using fixture::kInf;
using fixture::kNan;
using fixture::near;

struct Curve {
    double (*plain)(double);
    double (*drag)(double, double, double, double, double);
};
// clang-format off
const std::map<int, Curve> kCurves = {
    {14, {joint14FrictionCalculate_deadzone, joint14FrictionCalculate_deadzone_DRAG}},
    {17, {joint17FrictionCalculate_deadzone, joint17FrictionCalculate_deadzone_DRAG}},
    {25, {joint25FrictionCalculate_deadzone, joint25FrictionCalculate_deadzone_DRAG}},
    {32, {joint32FrictionCalculate_deadzone, joint32FrictionCalculate_deadzone_DRAG}},
    {40, {joint40FrictionCalculate_deadzone, joint40FrictionCalculate_deadzone_DRAG}},
};
// clang-format on

// Rest, a sweep over five decades, and both sides of the edges of band and dead zone, degrees per ms.
std::vector<double> speeds() {
    std::vector<double> all = {0};
    for (double v = 2e-6; v < 0.2; v *= 1.07) all.push_back(v);
    for (double edge : {0.001, 0.01})
        for (double v : {std::nextafter(edge, 0), edge, std::nextafter(edge, 1)}) all.push_back(v);
    return all;
}

TEST(FrictionCurve, FollowsTheLawInBothBandsAndTakesOneGainWhenGuiding) {
    for (int stiffness : {0, 1, 2, -1})
        for (const auto& [size, curve] : kCurves)
            for (double speed : speeds())
                for (double v : {speed, -speed}) {
                    mcb.jointStiffnessType = stiffness;
                    const double plain = ref::frictionCurve(size, stiffness == 1, v, true);
                    const double guided = ref::frictionCurve(size, stiffness == 1, v, false);
                    // of the four gains only the chosen one is a number
                    const bool low = speed<0.01, forward = v> 0;
                    const double got =
                        curve.drag(v, low && forward ? 1.1 : kNan, low && !forward ? 1.1 : kNan,
                                   !low && forward ? 1.1 : kNan, !low && !forward ? 1.1 : kNan);
                    const double tolerance = v == 0 ? 0 : 1e-12 * (1 + std::fabs(guided));
                    EXPECT_PRED3(near, curve.plain(v), plain, tolerance) << "size " << size << " at " << v;
                    EXPECT_PRED3(near, got, 1.1 * guided, 2 * tolerance)
                        << "size " << size << " at " << v << ", guiding";
                }
}

// Far beyond any joint's speed the exponential overflows, and how it does decides what is finite.
TEST(FrictionCurve, OverflowsAsItsFormulaDoes) {
    const double viscous14 = 1.5311 * (1e300 / 180 * 3.141592653589793 * 1000);
    // clang-format off
    const struct {
        double want;
        std::vector<std::pair<int, double>> at;  // size, velocity
    } rows[] = {
        {kNan,  {{14, -1e300}, {14, -kInf}, {17, kInf}, {17, 10}, {40, -1},
                 {14, kNan}, {17, kNan}, {25, kNan}, {32, kNan}, {40, kNan}}},
        {kInf,  {{14, 1e308}, {14, kInf}, {40, -0.2260}}},  // the last: the product, not the exponential
        {-kInf, {{17, -kInf}}},
        {viscous14, {{14, 1e300}}},
        {ref::frictionCurve(32, 0, 100, true), {{32, 100}}},
        {ref::frictionCurve(40, 0, 1, true), {{40, 1}}},
    };
    // clang-format on
    mcb.jointStiffnessType = 0;
    for (const auto& [want, at] : rows)
        for (const auto& [size, v] : at)
            for (double got : {kCurves.at(size).plain(v), kCurves.at(size).drag(v, 1, 1, 1, 1)})
                EXPECT_PRED3(near, got, want, 1e-12 * std::fabs(want)) << "size " << size << " at " << v;
}

}  // namespace
