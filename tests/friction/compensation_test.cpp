#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

namespace {

using fixture::kInf;
using fixture::kNan;
using Lines = std::vector<std::string>;

constexpr double kOld = 1234.5;

// A host in a state, every joint with gains of its own and 180 degrees per second as nominal speed.
void start(int type, int state) {
    fixture::start(type);
    mpb.state = state;
    mpb.sysJntsNo = 6;
    mcb.jointStiffnessType = 0;
    for (int i = 0; i < 6; i++) {
        mpb.defaultJointVel.v[i] = 180;
        mpb.ForDeadGain[i] = 0.50 + 0.01 * i;
        mpb.RevDeadGain[i] = 0.70 + 0.02 * i;
        mpb.ForFastGain[i] = 0.90 + 0.03 * i;
        mpb.RevFastGain[i] = 1.10 + 0.04 * i;
    }
}

struct Values {
    double v[16];  // more than a joint loop may write
    Values() { std::fill_n(v, 16, kOld); }
};

TEST(FrictionCompensation, EveryTypeTakesItsCurvesClampAndAttenuation) {
    // degrees per ms: low and high band, both signs, inside and beyond every clamp
    const double speeds[][6] = {
        {0.004, -0.004, 0.0005, 0.009, -0.009, 0.0002},
        {-0.0005, 0.0005, 0, -0.003, 0.003, -0.0002},
        {0.05, -0.05, 0.1, 0.02, -0.02, 0.035},
        {0.15, -0.15, -0.13, 0.06, -0.06, 0.1},
        {0.2, -0.2, 0.7, 0.19, -0.3, -0.7},
        {0.01, -0.01, 0.18, 0.04, -0.04, 0.01},
    };
    const auto check = [&](int type, int state) {
        start(type, state);
        mcb.jointStiffnessType = type & 1;
        for (const auto& speed : speeds) {
            JNTS v{};
            std::copy_n(speed, 6, v.v);
            Values value;
            EXPECT_EQ(frictionCompensation(&v, value.v), 0);
            for (int i = 0; i < 6; i++) {
                const double want = ref::friction(type, state, i, speed[i]);
                EXPECT_NEAR(value.v[i], want, 1e-12 * (1 + std::fabs(want)))
                    << "type " << type << ", state " << state << ", joint " << i + 1 << " at " << speed[i];
            }
            EXPECT_EQ(value.v[6], kOld);
            EXPECT_EQ(fixture::calls(), Lines{});
        }
    };
    for (int type = ref::kFirstType; type <= ref::kLastType && !HasFailure(); type++)
        for (int state : {1, 4}) check(type, state);
    for (int type : {INT_MIN, INT_MAX, -1000}) check(type, 4);
    for (int state : {0, 2, 3, 5, -4}) check(101, state);  // only 4 is hand guiding
}

TEST(FrictionCompensation, OverspeedZeroesAllJointsAndLogsTheFirstOne) {
    start(101, 4);
    for (int i = 0; i < 6; i++) {
        mpb.jC.v[i] = i + 0.5;
        mpb.j6.v[i] = -i - 0.25;
        mpb.oldJ6.v[i] = 10.0 * i;
    }
    const Lines poses = {"Write_Log 1 jC 0.500000 1.500000 2.500000 3.500000 4.500000 5.500000",
                         "Write_Log 1 j6 -0.250000 -1.250000 -2.250000 -3.250000 -4.250000 -5.250000",
                         "Write_Log 1 oldJ6 0.000000 10.000000 20.000000 30.000000 40.000000 50.000000"};
    const struct {
        double speed[6];
        const char* line;
    } rows[] = {
        {{0.8, 0.1, 0.1, 0.9, 0.1, 0.1}, "Write_Log 1 jointVel0 800.000000"},
        {{0.1, 0.1, -0.75, 0.1, 0.9, 0.1}, "Write_Log 1 jointVel2 -750.000000"},
        {{0.1, 0.1, 0.1, 0.1, 0.1, kInf}, "Write_Log 1 jointVel5 inf"},
        {{kNan, -kInf, 0.1, 0.1, 0.1, 0.1}, "Write_Log 1 jointVel1 -inf"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        JNTS v{};
        std::copy_n(row.speed, 6, v.v);
        Values value;
        for (int repeat = 0; repeat < 2; repeat++) {  // the lines repeat as long as the overspeed lasts
            fixture::forgetCalls();
            const fixture::Blocks before;
            EXPECT_EQ(frictionCompensation(&v, value.v), 0);
            EXPECT_EQ(fixture::calls(), (Lines{row.line, poses[0], poses[1], poses[2]}));
            for (int i = 0; i < 6; i++) EXPECT_EQ(value.v[i], 0.0) << "joint " << i + 1;
            EXPECT_TRUE(before.unchanged());
        }
    }
}

TEST(FrictionCompensation, OverspeedBeginsBeyondFourTimesTheNominalSpeed) {
    start(101, 1);
    mpb.defaultJointVel.v[0] = 125;
    JNTS v{{0.5}, {}, 0};
    Values value;
    frictionCompensation(&v, value.v);
    EXPECT_NE(value.v[0], 0.0);
    v.v[0] = std::nextafter(0.5, 1);
    frictionCompensation(&v, value.v);
    EXPECT_EQ(value.v[0], 0.0);
}

TEST(FrictionCompensation, LooksAtAndWritesTheArmsJointsOnly) {
    for (int type : {101, 201, 705, 902})
        for (int state : {1, 4})
            for (int joints : {0, 1, 2, 3, 5, -1, INT_MIN, 7, INT_MAX}) {
                SCOPED_TRACE(testing::Message() << type << ", state " << state << ", joints " << joints);
                start(type, state);
                mpb.sysJntsNo = joints;
                JNTS v{{0.02, 0.02, 0.02, 0.02, 0.02, 0.02}, {}, 0};
                for (int i = std::max(joints, 0); i < 6; i++)
                    v.v[i] = 0.9;                          // overspeed, on no joint of the arm
                std::memset(v.type, 0x7f, sizeof v.type);  // huge when read as a seventh speed
                Values value;
                EXPECT_EQ(frictionCompensation(&v, value.v), 0);
                EXPECT_EQ(fixture::calls(), Lines{});
                // joint 3 has its own attenuation, which looks at no number of joints
                const bool third = state == 4 && type != 201;
                for (int i = 0; i < 16; i++) {
                    const bool written = i < std::min(joints, 6) || (i == 2 && third);
                    EXPECT_EQ(value.v[i] != kOld, written) << "joint " << i + 1;
                }
            }
    start(101, 4);
    mpb.sysJntsNo = 2;
    JNTS fast{{0.9}, {}, 0};
    Values value;
    frictionCompensation(&fast, value.v);
    EXPECT_EQ(value.v[1], 0.0);
    EXPECT_EQ(value.v[2], kOld);  // overspeed leaves before the attenuation
}

TEST(FrictionCompensation, ANonNumberStaysWithItsJoint) {
    start(101, 4);
    JNTS v{{kNan, 0.02, 0.02, 0.02, 0.02, 0.02}, {}, 0};
    Values value;
    frictionCompensation(&v, value.v);
    EXPECT_TRUE(std::isnan(value.v[0]));
    for (int i = 1; i < 6; i++) EXPECT_TRUE(std::isfinite(value.v[i])) << "joint " << i + 1;
    EXPECT_EQ(fixture::calls(), Lines{});
}

}  // namespace
