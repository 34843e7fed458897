#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "force_control/regulators.h"
#include "support/fixture.h"
#include "zvmcforcesensorblock.h"

namespace {

using fixture::kInf;
using fixture::kNan;
using fixture::near;

TEST(Pid, WindsUpAndIsHeldOnlyInItsResult) {
    PID held = {1, 1, 1, 9, 9, 9}, open = held;
    for (PID* pid : {&held, &open}) EXPECT_EQ(PIDInit(pid, 4.0 / 256, 2.0 / 256, 1.0 / 256), 0);
    // the error, and 256 times the result that is not held
    const double rows[][2] = {{1, 7}, {2, 15}, {-1, -3}, {-8, -51}, {0, -4}, {kInf, kInf}, {1, kNan}};
    for (const auto& [error, want] : rows) {
        double free, bounded;
        EXPECT_EQ(PID_increase_Calc(&open, error, &free), 0);
        EXPECT_EQ(PIDCalc(&held, error, &bounded), 0);
        EXPECT_TRUE(near(free, want / 256, 0)) << error << ": " << free;
        EXPECT_TRUE(near(bounded, std::clamp(want / 256, -0.05, 0.05), 0)) << error << ": " << bounded;
    }
}

TEST(GainTuner, FollowsForceAndStepWithOneBoundForAllRegulators) {
    constexpr double kKeep = -1;
    // clang-format off
    const struct { int calls, sign; double first, P, fz, want; } rows[] = {
        // windows close at calls 51, 101, 151, ... on the mean of |fz| - 20; the bound at load is 0.001
        {50, 21, 0, 5e-4, -20.099, 5e-4}, {1, 21, 0, kKeep, -20.099, 6e-4}, {49, 29, 0, kKeep, -20.099, 6e-4},
        {1, 29, 0, kKeep, -20.099, 5e-4}, {50, 21, 0, kKeep, -19.89, 6e-4}, {1, 21, 0, kKeep, 20, 5e-4},
        {49, 21, 0, kKeep, 20, 4e-4}, {50, 21, 0, kKeep, kNan, 4e-4}, {50, 21, 0, kKeep, -20, 3e-4},
        {1, 21, 0, 0.002, -20, 0.001},
        // a first error of exactly 1 sets the bound, tuned or not
        {1, 20, 1, 0.02, -20, 0.02}, {1, 30, 0, 0.03, -20, 0.03}, {1, 29, 0.999, 0.03, -20, 0.02},
        {1, 71, 1, 0.004, -20, 0.004}, {1, 21, 0, 0.02, -20, 0.005},
        // jumps of 0.0095 and 0.011 (the gain falls above 0.01), 0.0295 and 0.0305 (the bound above 0.03)
        {1, 21, 0, kKeep, -18.1, 0.005}, {1, 21, 0, kKeep, -15.9, 0.0049}, {1, 21, 0, 0.005, -10, 0.0049},
        {1, 21, 0, 0.005, -16.1, 0.0049}, {1, 21, 0, 0.005, -16.1, 0.0049},
        // 0.044 and 0.0745 (by a third above 0.05); held at a step of 0.05, from which 0.048 is no jump
        {1, 21, 0, kKeep, -25, 0.0048}, {1, 21, 0, kKeep, 30, 0.0032}, {1, 21, 0, kKeep, -5, 0.0032},
        {1, 21, 0, 1e-5, -20, 1e-4},
    };
    // clang-format on
    PID pid = {};
    mcb.forceControl.constForceValue.fz = -20;
    for (const auto& row : rows) {
        if (row.P != kKeep) pid.P = row.P;
        mpb.forceRCS.fz = row.fz;
        for (int n = 0; n < row.calls; n++) zvmcPIDAdjust(static_cast<uint8_t>(row.sign), row.first, &pid);
        EXPECT_NEAR(pid.P, row.want, 1e-12) << "row " << &row - rows;
    }
}

TEST(Learning, BuildsUponEarlierRunsReplaysAndEndsWithItsStore) {
    ILC* const stores = &mcb.forceControl.ilcconstForceFx;
    ILC& ilc = stores[5];
    // a steady force error of 2, from whose rise the first step also learns: flag, first and later results
    const double runs[][3] = {
        {1, 0.009009, 0.9e-5},  {1, 0.0171171, 1.71e-5}, {2, 0.0171171, 1.71e-5}, {0, 0, 0}, {3, 0, 0},
        {2, 0.0171171, 1.71e-5}};
    for (const auto& [flag, first, later] : runs) {
        const bool on = first != 0;
        double C;
        zvmcILCinit(&ilc, 1, 1, static_cast<int>(flag));  // these gains have no effect
        for (int n = 0; n < 12000; n++) {
            ASSERT_EQ(zvmcILCcontrol(&ilc, 2, &C), 0);
            ASSERT_NEAR(C, n == 0 ? first : later, 1e-12) << flag << " " << n;
        }
        for (int index : {12000, -1}) {
            ilc.index = index, C = 7, mcb.ioError = {};
            EXPECT_EQ(zvmcILCcontrol(&ilc, 2, &C), on ? -1 : 0);
            EXPECT_TRUE(C == (on ? 7 : 0) && on == (mcb.ioError == zvCtlIOVALUEError)) << flag;
        }
    }
    for (int i = 0; i < 6; i++) stores[i].index = 5;
    zvmcILCreset();
    for (int i = 0; i < 6; i++) EXPECT_EQ(stores[i].index, 0) << i;
}

TEST(Compliance, RefusesNegativesAndActsBelowItsForceOnly) {
    const auto& [setFlag, setFd, setP] = mcb.forceControl.compliance;
    const double settings[][3] = {{0, 0, 0}, {0.25, 8, 2}, {-1e-9, 1, 1}, {1, -1e-9, 1}, {1, 1, -1}};
    for (const auto& [p, Fd, flag] : settings) {  // only the first two are good
        mpb.currentLine = 3, mcb.ioError = {};
        const bool good = zvmcCompliancestartstop(p, Fd, static_cast<int>(flag), 50) == 0;
        EXPECT_EQ(good, flag == 0 || flag == 2);
        EXPECT_TRUE(good == (mpb.currentLine != 50) && good == (mcb.ioError != zvCtlIOVALUEError));
    }
    EXPECT_TRUE(setFlag == 2 && setFd == 8 && setP == 0.25);
    const double rows[][4] = {// flag, Fd, F, what is left of 4
                              {1, 8, 7.9, 3},
                              {-1, -8, -7.9, 3},
                              {1, 8, -8, 4},
                              {0, 8, 1, 4},
                              {1, 8, kNan, 4}};
    for (const auto& [flag, Fd, F, want] : rows) {
        double sum = 4;
        EXPECT_EQ(Compliancecontrol(0.25, Fd, F, static_cast<int>(flag), sum, &sum), 0);
        EXPECT_EQ(sum, want) << flag << " " << Fd << " " << F;
    }
}

TEST(Integrator, AcceleratesItsMassUntilDampingAndSpringHoldTheForce) {
    double m[] = {1, 2, 3, 4, 5, 6}, b[] = {6, 5, 4, 3, 2, 1}, k[] = {9, 8, 7, 6, 5, 4};
    double force[] = {90, 80, 70, 60, 50, 40}, way[6];
    std::fill_n(tarn::forceIntegrator.ft_cur_pos, 6, 500);
    for (int axis = 0; axis < 6; axis++) {
        const double net = force[axis] - k[axis] * (axis < 3 ? 0.5 : std::acos(-1) / 0.36);
        zvmcFTControl_Admittance(axis, m, b, k, force, 0.002, way);
        EXPECT_NEAR(way[axis], 0.002 * 0.002 * net / m[axis], 1e-12) << axis;
        for (int n = 0; n < 50000; n++) zvmcFTControl_Admittance(axis, m, b, k, force, 0.002, way);
        EXPECT_NEAR(way[axis], 0.002 * net / b[axis], 1e-6) << axis;
    }
    for (int beside : {-1, 6}) EXPECT_EQ(zvmcFTControl_Admittance(beside, m, b, k, force, 0.002, nullptr), 0);
}

TEST(Normal, SettlesAtTheAngleOfTheContactAndKeepsANonNumber) {
    const double rows[][6] = {// moments, tip along x and z (mm, the radius is 100), angle
                              {1, 0, 0.5, 0, 100, 30},  {1, 0, 0, 50, 0, 30},     {0, 1, 0.5, 70, 100, 120},
                              {1, -1, 0, 0, 0, 45},     {1, 1, 1.5, 0, 100, 135}, {1, 1, -1.5, 0, 100, 45},
                              {1, -1, 1.5, 0, 100, 45}, {0, 0, 1, 0, 100, kNan},  {1, 0, 0.5, 0, 100, kNan}};
    mcb.forceControl.grindingToolR = 100;
    for (const auto& [mx, my, mz, x, z, angle] : rows) {
        mcb.forceControl.forceOriginEnd = {7, 8, 9, mx, my, mz};
        mpb.TOOL.p = {x, 0, z};
        double theta = kNan, tangential = kNan;
        for (int n = 0; n < 4000; n++) zvmcFTNormal_estimation(&theta, &tangential);
        EXPECT_TRUE(near(theta, angle * 1.034322828, 1e-6)) << angle << ": " << theta;
        EXPECT_NEAR(tangential, mz / 0.1, 1e-9);
    }
}

}  // namespace
