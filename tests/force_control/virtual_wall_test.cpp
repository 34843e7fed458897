#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "force_control/drag_state.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "zvmcforcesensorblock.h"

namespace {

using fixture::kNan;
using tarn::forceDrag;
using tarn::test::guarded;

INTERFERE_CUBE& cube = mcb.interfereCube;
constexpr double kMin[3] = {-100, -300, -100}, kMax[3] = {300, 300, 700};  // mm

// The box; the flange turned a quarter about z, a tool of 50 mm along its x.
void start(int mode, int method = 0) {
    fixture::start(103);
    cube = {1, 0, static_cast<uint8_t>(mode), static_cast<uint8_t>(method), {}, {}, {}, {}};
    if (method == 0) cube.min_cube = {-100, -300, -100}, cube.max_cube = {300, 300, 700};
    if (method == 1) cube.center_cube = {100, 0, 300}, cube.length_cube = {400, 600, 800};
    mpb.t6 = {{{0, 1, 0}, {-1, 0, 0}, {0, 0, 1}}, {}};
    mpb.TOOL.p = {50, 0, 0};
}

struct Damping {
    float v[6];
};

// The tool at a place and moving, both in the base frame; B is handed in as sevens.
Damping wall(VECT tcp, VECT velocity) {
    mpb.t6.p = {tcp.x, tcp.y - 50, tcp.z};
    const float x = static_cast<float>(velocity.x), y = static_cast<float>(velocity.y),
                z = static_cast<float>(velocity.z);
    float vel[6] = {y, -x, z, 4, 5, 6};
    Damping B = {{7, 7, 7, 7, 7, 7}};
    EXPECT_EQ(guarded([&] { EXPECT_EQ(zvmcForceSensorVirtualWall(vel, B.v), 0); }), "");
    const float turned[6] = {x, y, z, 4, 5, 6};
    EXPECT_TRUE(std::isnan(x) || std::equal(vel, vel + 6, turned));
    return B;
}

testing::AssertionResult damps(const Damping& B, double force, double moment) {
    for (int i = 0; i < 6; i++)
        if (const double want = i < 3 ? force : moment; !fixture::near(B.v[i], want, 1e-3 * want))
            return testing::AssertionFailure() << "axis " << i << ": " << B.v[i] << ", expected " << want;
    return testing::AssertionSuccess();
}

testing::AssertionResult dampsAt(const Damping& B, double distance) {
    const double share = 100.001 / (distance + 0.001) - 1;
    return damps(B, std::min(800 * share, 15000.0), std::min(80 * share, 1000.0));
}

// Off every face, edge and corner of the box less `inward`, by several ways along each axis of that side.
template <typename Check>
void aroundTheBox(double inward, const Check& check) {
    for (double way : {0.5, 5.0, 40.0, 57.0, 70.0, 99.0})
        for (int side = 0; side < 27; side++) {
            if (side == 13) continue;  // the inside
            const int sides[3] = {side % 3 - 1, side / 3 % 3 - 1, side / 9 - 1};
            double place[3], squares = 0;
            for (int i = 0; i < 3; i++) {
                const double face = sides[i] < 0 ? kMin[i] + inward : kMax[i] - inward;
                place[i] = sides[i] == 0 ? 100 : face + sides[i] * way;
                squares += sides[i] * sides[i];
            }
            SCOPED_TRACE(testing::Message() << "side " << side << ", way " << way);
            const VECT away = {0.1 * sides[0], 0.1 * sides[1], 0.1 * sides[2]};
            check(VECT{place[0], place[1], place[2]}, away, VECT{-away.x, -away.y, -away.z},
                  way * std::sqrt(squares));
        }
}

TEST(VirtualWall, DampsTheWayToAForbiddenBox) {
    for (int method : {0, 1}) {
        start(0, method);
        aroundTheBox(0, [](VECT tcp, VECT away, VECT toward, double distance) {
            for (const VECT& velocity : {toward, VECT{}})  // none in the corners of the grown box
                EXPECT_TRUE(distance < 100 ? dampsAt(wall(tcp, velocity), distance)
                                           : damps(wall(tcp, velocity), 0, 0));
            EXPECT_TRUE(damps(wall(tcp, away), 0, 0));
        });
        for (double x : {-201.0, -200.0, kNan}) EXPECT_TRUE(damps(wall({x, 0, 0}, {1, 0, 0}), 0, 0));
        for (double x : {-100.0, 0.0, 300.0}) EXPECT_TRUE(damps(wall({x, 300, 0}, {-9, 9, 9}), 15000, 1000));
        EXPECT_TRUE(damps(wall({-150, 0, 0}, {kNan, 0, 0}), 0, 0));
    }
    start(0);  // where the ceiling is near, a hundredth of a micrometer shows
    EXPECT_NEAR(wall({-105.1, 0, 0}, {1, 0, 0}).v[0], 800 * (100.001 / 5.101 - 1), 0.01);
    start(0, 2);  // other methods: the base frame's origin
    EXPECT_TRUE(dampsAt(wall({0, 0, 50}, {0, 0, -1}), 50));
    start(0);
    cube.max_cube.x = -400;
    EXPECT_TRUE(damps(wall({-200, 0, 0}, {}), 0, 0)) << "no box";
}

TEST(VirtualWall, DampsTheWayOutOfAKeepInBox) {
    for (int method : {0, 1}) {
        start(1, method);
        aroundTheBox(100, [](VECT tcp, VECT away, VECT back, double distance) {
            const double left = 100 - distance;
            for (const VECT& velocity : {away, VECT{}})
                EXPECT_TRUE(left > 0 ? dampsAt(wall(tcp, velocity), left)
                                     : damps(wall(tcp, velocity), 1500, 150));
            EXPECT_TRUE(damps(wall(tcp, back), 7, 7)) << "as handed in";
        });
        EXPECT_TRUE(damps(wall({0, -200, 600}, {0, -1, 1}), 0, 0)) << "free, bounds included";
        EXPECT_TRUE(damps(wall({300, 0, 300}, {1, 0, 0}), 1500, 150)) << "on the wall";
        for (double x : {301.0, kNan}) EXPECT_TRUE(damps(wall({x, 0, 300}, {-1, 0, 0}), 1500, 150));
        EXPECT_TRUE(damps(wall({250, 0, 300}, {kNan, 0, 0}), 7, 7));
    }
    // a box narrower than two bands is all band, measured from its lower wall
    start(1);
    cube.max_cube.x = 50;
    EXPECT_TRUE(dampsAt(wall({-40, 0, 300}, {-1, 0, 0}), 60));
    EXPECT_TRUE(damps(wall({-40, 0, 300}, {1, 0, 0}), 7, 7));
}

TEST(VirtualWall, CountsOnlyABoxInTheBaseFrameWithoutAnotherReaction) {
    uint8_t* const fields[] = {&cube.setFlag_cube, &cube.refCoord_cube, &cube.mode_cube, &mcb.interfereDrag};
    const uint8_t rows[][2] = {{0, 0}, {0, 2}, {1, 1}, {1, 3}, {2, 2}, {3, 1}, {3, 2}};
    for (const auto& [field, value] : rows) {
        start(0);
        *fields[field] = value;
        EXPECT_TRUE(damps(wall({0, 0, 0}, {}), 7, 7)) << +field << " at " << +value;
    }
}

TEST(JointZones, HandOverToJointDragInEachCall) {
    const std::string handOver =
        "tmcDragSwitch 1; Write_Log 2 zvCtlTCPSpeedOver After to DragMode mcb.collisionPauseFlag = : 8; ";
    const struct {
        int mode;
        std::vector<double> in, out;
    } rows[] = {{0, {-19.9, 29.9}, {-20, 30, kNan}}, {1, {-20.1, 30.1}, {-20, 30, kNan}}, {2, {}, {0, 40}}};
    const auto check = [&](int mode, int joint, double angle, int off, bool enters) {
        SCOPED_TRACE(testing::Message()
                     << "mode " << mode << ", joint " << joint << " at " << angle << ", " << off);
        start(0);
        forceDrag = {};
        INTERFERE_JOINT& zones = mcb.interfereJoint;
        zones.mode_joint = static_cast<uint8_t>(mode);
        zones.setFlag_joint = off == 1 ? 2 : 1;
        mcb.interfereDrag = off == 2 ? 2 : 1;
        zones.enable_joint[joint] = off == 3 ? 0 : 1;
        zones.min_joint[joint] = -20, zones.max_joint[joint] = 30;
        mpb.j6.v[joint] = angle;
        for (int call = 0; call < 2; call++) {
            fixture::forgetCalls();
            EXPECT_TRUE(damps(wall({}, {}), 7, 7));
            for (int i = 0; i < 6; i++) EXPECT_EQ(forceDrag.jointInterFlag[i], enters && i == joint);
            EXPECT_EQ(forceDrag.jointModeChangeFlag, enters);
            EXPECT_EQ(fixture::callText(), enters ? handOver : "");
            // the flag stands, out of the zone and with the joint switched off
            mpb.j6.v[joint] = mode == 0 ? 50 : 0;
            zones.enable_joint[joint] = 0;
        }
    };
    for (const auto& row : rows)
        for (int joint = 0; joint < 6; joint++) {
            for (double angle : row.out) check(row.mode, joint, angle, 0, false);
            for (double angle : row.in)
                for (int off : {0, 1, 2, 3}) check(row.mode, joint, angle, off, off == 0);
        }
}

}  // namespace
