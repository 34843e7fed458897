#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

namespace {

using fixture::kInf;
using fixture::kNan;
using fixture::Lines;

constexpr double kOld = 1234.5;

// A host in a state, every joint with gains of its own and 180 degrees per second as nominal speed.
void start(int type, int state) {
    fixture::start(type);
    mpb.state = state;
    for (int i = 0; i < 6; i++) {
        mpb.defaultJointVel.v[i] = 180;
        mpb.ForDeadGain[i] = 0.50 + 0.01 * i;
        mpb.RevDeadGain[i] = 0.70 + 0.02 * i;
        mpb.ForFastGain[i] = 0.90 + 0.03 * i;
        mpb.RevFastGain[i] = 1.10 + 0.04 * i;
    }
}

// What the call wrote, with more room than a joint loop may write to.
struct Values {
    double v[16];
    explicit Values(JNTS speed) {
        std::fill_n(v, 16, kOld);
        EXPECT_EQ(frictionCompensation(&speed, v), 0);
    }
};

TEST(FrictionCompensation, EveryTypeTakesItsCurvesClampAndAttenuation) {
    // degrees per ms: low and high band, both signs, inside and beyond every clamp
    const JNTS speeds[] = {
        {{0.004, -0.004, 0.0005, 0.009, -0.009, 0.0002}, {}, 6},
        {{-0.0005, 0.0005, 0, -0.003, 0.003, -0.0002}, {}, 6},
        {{0.05, -0.05, 0.1, 0.02, -0.02, 0.035}, {}, 6},
        {{0.15, -0.15, -0.13, 0.06, -0.06, 0.1}, {}, 6},
        {{0.2, -0.2, 0.7, 0.19, -0.3, -0.7}, {}, 6},
        {{0.01, -0.01, 0.18, 0.04, -0.04, 0.01}, {}, 6},
        {{kNan, 0.02, 0.02, 0.02, 0.02, kNan}, {}, 6},
    };
    for (int type : ref::types())
        for (int state : {0, 1, 2, 3, 4, 5, -4}) {  // only 4 is hand guiding
            start(type, state);
            mcb.jointStiffnessType = type & 1;
            for (const JNTS& speed : speeds) {
                const Values got(speed);
                for (int i = 0; i < 6; i++) {
                    const double v = speed.v[i], want = ref::friction(type, state, i, v);
                    ASSERT_PRED3(fixture::near, got.v[i], want, 1e-12 * (1 + std::fabs(want)))
                        << "type " << type << ", state " << state << ", joint " << i + 1 << " at " << v;
                }
            }
            ASSERT_EQ(fixture::calls(), Lines{});
        }
}

TEST(FrictionCompensation, OverspeedZeroesAllJointsAndLogsTheFirstOne) {
    start(101, 4);
    mpb.defaultJointVel.v[0] = 125;  // four times that is the limit
    mpb.jC = {{0.5, 1.5, 2.5, 3.5, 4.5, 5.5}, {}, 6};
    mpb.j6 = {{-0.25, -1.25, -2.25, -3.25, -4.25, -5.25}, {}, 6};
    mpb.oldJ6 = {{0, 10, 20, 30, 40, 50}, {}, 6};
    const struct {
        JNTS speed;
        const char* line;
    } rows[] = {
        {{{0.8, 0.1, 0.1, 0.9, 0.1, 0.1}, {}, 6}, "Write_Log 1 jointVel0 800.000000"},
        {{{0.1, 0.1, -0.75, 0.1, 0.9, 0.1}, {}, 6}, "Write_Log 1 jointVel2 -750.000000"},
        {{{0.1, 0.1, 0.1, 0.1, 0.1, kInf}, {}, 6}, "Write_Log 1 jointVel5 inf"},
        {{{kNan, -kInf, 0.1, 0.1, 0.1, 0.1}, {}, 6}, "Write_Log 1 jointVel1 -inf"},
        {{{std::nextafter(0.5, 1)}, {}, 6}, "Write_Log 1 jointVel0 500.000000"},
    };
    for (const auto& row : rows)
        for (int repeat = 0; repeat < 2; repeat++) {  // the lines repeat as long as the overspeed lasts
            fixture::forgetCalls();
            const fixture::Blocks before;
            const Values got(row.speed);
            EXPECT_EQ(
                fixture::calls(),
                (Lines{row.line, "Write_Log 1 jC 0.500000 1.500000 2.500000 3.500000 4.500000 5.500000",
                       "Write_Log 1 j6 -0.250000 -1.250000 -2.250000 -3.250000 -4.250000 -5.250000",
                       "Write_Log 1 oldJ6 0.000000 10.000000 20.000000 30.000000 40.000000 50.000000"}));
            for (int i = 0; i < 6; i++) EXPECT_EQ(got.v[i], 0.0) << row.line << ": joint " << i + 1;
            EXPECT_TRUE(before.unchanged()) << row.line;
        }
    EXPECT_NE(Values({{0.5}, {}, 6}).v[0], 0.0) << "at the limit";
    mpb.sysJntsNo = 2;
    const Values two({{0.9}, {}, 6});
    EXPECT_EQ(two.v[1], 0.0);
    EXPECT_EQ(two.v[2], kOld) << "overspeed leaves before the attenuation of joint 3";
}

TEST(FrictionCompensation, LooksAtAndWritesTheArmsJointsOnly) {
    for (int type : {101, 201, 705, 902})
        for (int state : {1, 4})
            for (int joints : {0, 1, 2, 3, 5, 6, -1, INT_MIN, 7, INT_MAX}) {
                SCOPED_TRACE(testing::Message() << type << ", state " << state << ", joints " << joints);
                start(type, state);
                mpb.sysJntsNo = joints;
                JNTS speed{{0.02, 0.02, 0.02, 0.02, 0.02, 0.02}, {}, 0};
                for (int i = std::max(joints, 0); i < 6; i++)
                    speed.v[i] = 0.9;                              // overspeed, on no joint of the arm
                std::memset(speed.type, 0x7f, sizeof speed.type);  // huge when read as a seventh speed
                const Values got(speed);
                EXPECT_EQ(fixture::calls(), Lines{});
                // joint 3 has its own attenuation, which looks at no number of joints
                const bool third = state == 4 && type != 201;
                for (int i = 0; i < 16; i++)
                    EXPECT_EQ(got.v[i] != kOld, i < std::min(joints, 6) || (i == 2 && third))
                        << "joint " << i + 1;
            }
}

}  // namespace
