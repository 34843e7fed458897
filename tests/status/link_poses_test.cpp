// Link poses against KDL, from the geometry: a link's display frame stands on its own joint's axis, z along
// it.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <kdl/frames.hpp>
#include <random>

#include "support/fixture.h"
#include "tmcforceblock.h"

namespace {

constexpr double kDegree = M_PI / 180;

struct Arm {
    int type;
    double up[5];  // m, along the axes of joints 1 to 5
    double a1, a2, d0, d3, d4, d5;
};

const Arm kArms[] = {
    {1, {.08, .185, .185, -.165, -.165}, -.28, -.24, .14, .102, .102, .1},
    {2, {.055, .17, .17, -.15, -.15}, -.28, -.24, .14, .102, .102, .1},
    {3, {}, -.28, -.24, .14, .102, .102, .1},
    {100, {}, -.28, -.24, .14, .102, .102, .1},
    {101, {.075, .215, .215, -.165, -.165}, -.425, -.395, .152, .13, .102, .1},
    {102, {.085, .215, .215, -.193, -.165}, -.425, -.395, .152, .13, .102, .1},
    {103, {.08, .21, .21, -.15, -.15}, -.425, -.395, .152, .102, .102, .1},
    {104, {}, 0, 0, 0, 0, 0, 0},
    {201, {.105, .29, .27, -.221, -.185}, -.7, -.586, .18, .195, .114, .106},
    {202, {.09, .275, .255, -.17, -.17}, -.7, -.586, .18, .159, .114, .106},
    {203, {}, 0, 0, 0, 0, 0, 0},
    {301, {.105, .29, .27, -.221, -.185}, -.52, -.4, .18, .195, .114, .106},
    {302, {.09, .275, .255, -.17, -.17}, -.52, -.4, .18, .159, .114, .106},
    {400, {}, 0, 0, 0, 0, 0, 0},
    {401, {.12, .35, .33, -.2, -.2}, -1, -.716, .215, .166, .138, .12},
    {500, {.12, .35, .33, -.2, -.2}, -1, -.716, .215, .166, .138, .12},
    {0, {}, -.425, -.395, .152, .102, .102, .1},
    {-7, {}, -.425, -.395, .152, .102, .102, .1},
    {501, {}, -.425, -.395, .152, .102, .102, .1},
    {903, {}, -.425, -.395, .152, .102, .102, .1},
    {1001, {.12, .351, .331, -.2, -.2}, -.7, -.536, .215, .166, .138, .12},
    {1100, {.12, .351, .331, -.2, -.2}, -.7, -.536, .215, .166, .138, .12},
    {1101, {}, -.425, -.395, .152, .102, .102, .1},
};

using Pose = std::array<double, 7>;

struct Links {
    Pose car[6], ring[6];
};

Links links() {
    Links out;
    EXPECT_EQ(
        zvmcGetDesJointsPos(out.car[0].data(), out.car[1].data(), out.car[2].data(), out.car[3].data(),
                            out.car[4].data(), out.car[5].data(), out.ring[0].data(), out.ring[1].data(),
                            out.ring[2].data(), out.ring[3].data(), out.ring[4].data(), out.ring[5].data()),
        0);
    return out;
}

testing::AssertionResult same(const Pose& got, const KDL::Frame& want) {
    const KDL::Rotation turned = KDL::Rotation::Quaternion(got[1], got[2], got[3], got[0]);
    const double angle = (turned.Inverse() * want.M).GetRot().Norm();
    const double way = (KDL::Vector(got[4], got[5], got[6]) - want.p).Norm();
    const double length = std::hypot(std::hypot(got[0], got[1]), std::hypot(got[2], got[3]));
    if (angle < 1e-7 && way < 1e-12 && std::fabs(length - 1) < 1e-12) return testing::AssertionSuccess();
    return testing::AssertionFailure() << way << " m and " << angle << " rad away, length " << length;
}

// Link i turns about the z axis of the frame before it. Its display frame is that frame, turned by the joint
// and by a fixed angle and moved along the axis: by its d, where the link has one, and by the housing's
// place.
TEST(LinkPoses, StandOnTheAxesOfTheirJoints) {
    std::mt19937 engine(101);
    std::uniform_real_distribution<double> angle(-175, 175);
    const double fixedTurn[6] = {180, 180, 180, -90, 90, 90};
    const double alpha[6] = {90, 0, 0, 90, -90, 0};
    for (const Arm& arm : kArms)
        for (int pose = 0; pose < 20; pose++) {
            fixture::start(arm.type);
            for (int i = 0; i < 6; i++) {
                mpb.jC.v[i] = pose == 0 ? 0.0 : angle(engine);
                mpb.j6.v[i] = 55;  // not the measured joints
            }
            const fixture::Blocks before;
            const Links got = links();
            EXPECT_TRUE(before.unchanged());

            const double a[6] = {0, arm.a1, arm.a2, 0, 0, 0}, d[6] = {arm.d0, 0, 0, arm.d3, arm.d4, arm.d5};
            KDL::Frame foot;  // frame of the link before
            for (int i = 0; i < 6; i++) {
                const auto about = [](double degrees) { return KDL::Rotation::RotZ(degrees * kDegree); };
                const double q = mpb.jC.v[i], up = d[i] + (i < 5 ? arm.up[i] : 0);
                const KDL::Frame ring = foot * KDL::Frame(about(fixedTurn[i]), KDL::Vector(0, 0, up));
                const KDL::Frame car = ring * KDL::Frame(about(q));
                EXPECT_TRUE(same(got.car[i], car)) << "type " << arm.type << ", link " << i + 1;
                EXPECT_TRUE(same(got.ring[i], ring)) << "type " << arm.type << ", ring " << i + 1;
                if (pose == 0) {
                    EXPECT_EQ(got.car[i], got.ring[i]) << "joints at zero";
                }
                foot = foot * KDL::Frame::DH(a[i], alpha[i] * kDegree, d[i], q * kDegree);
            }
        }
}

TEST(LinkPoses, AreLoggedAndCarryNoNumbersOn) {
    fixture::start(ROB_ZVB_V1_000);
    const Links at = links();
    const fixture::Lines lines = fixture::calls();
    ASSERT_EQ(lines.size(), 6U);
    for (size_t i = 0; i < 6; i++) {
        char want[200];
        const Pose& p = at.car[i];
        std::snprintf(want, sizeof want, "Write_Log 1 Joint%zu: = %f,%f,%f,%f,%f,%f,%f%s", i + 1, p[0], p[1],
                      p[2], p[3], p[4], p[5], p[6], i == 5 ? "\n" : "");
        EXPECT_EQ(lines[i], want);
    }

    mpb.jC.v[2] = fixture::kNan;
    mpb.jC.v[4] = fixture::kInf;
    const Links broken = links();
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(broken.car[i], at.car[i]) << "links before the joint keep their pose";
    for (int i = 2; i < 6; i++) EXPECT_TRUE(std::isnan(broken.car[i][4])) << "link " << i + 1;
}

}  // namespace
