#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <kdl/frames.hpp>
#include <random>

#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

namespace {

std::mt19937 engine(20240611);

double uniform(double low, double high) { return std::uniform_real_distribution<double>(low, high)(engine); }

JNTS randomPose() {
    JNTS q{};
    for (double& angle : q.v) angle = uniform(-360, 360);
    return q;
}

EX_LOAD randomLoad() {
    return {{uniform(-300, 300), uniform(-300, 300), uniform(-300, 300)}, uniform(0, 30)};
}

using Gravity = std::array<double, 3>;

// Gravity as a base sees it that is turned by RotY(y) * RotZ(z) against the room, degrees.
Gravity gravityAt(double y, double z) {
    const KDL::Rotation base = KDL::Rotation::RotY(y * M_PI / 180) * KDL::Rotation::RotZ(z * M_PI / 180);
    const KDL::Vector seen = base.Inverse(KDL::Vector(0, 0, -9.8));
    return {seen.x(), seen.y(), seen.z()};
}

// Relative to the largest torque of the state: a single joint's may cancel to nothing.
testing::AssertionResult same(const double* torque, const ref::Torque& want, double tolerance) {
    for (int i = 0; i < 6; i++)
        if (!(std::fabs(torque[i] - want.v[i]) <= tolerance * want.largest))
            return testing::AssertionFailure() << "joint " << i + 1 << ": " << torque[i] << " N m, expected "
                                               << want.v[i] << ", largest " << want.largest;
    return testing::AssertionSuccess();
}

// What the library's model of a type must give: its set, its joint offset; zero without a set.
ref::Torque ownModel(int type, JNTS q, const EX_LOAD& load, const Gravity& gravity) {
    if (ref::gravityArm(type).empty()) return {};
    if (type == 3)
        for (int i : {0, 1, 3, 5}) q.v[i] -= 180;
    return ref::holdingTorque(ref::arm(ref::gravityArm(type)), load, gravity.data(), q.v);
}

TEST(InvGravity, AgreesWithKdlForEverySetPoseLoadAndMounting) {
    for (const ref::Arm& arm : ref::kArms)
        for (int k = 0; k < 1000 && arm.name != "HN1"; k++) {  // which has no masses
            const JNTS q = randomPose();
            const EX_LOAD load = randomLoad();
            const double external[10] = {load.mass, load.cmc.x, load.cmc.y, load.cmc.z};
            const double gravity[3] = {uniform(-10, 10), uniform(-10, 10), uniform(-10, 10)};
            double torque[6];
            zvmcInvGravity(arm.sdh, arm.mass, arm.center, external, gravity, q.v, torque);
            ASSERT_TRUE(same(torque, ref::holdingTorque(arm, load, gravity, q.v), 1e-12))
                << "set " << arm.name << ", pose " << k;
        }
}

TEST(InvGravity, TakesLengthsWithoutSignAndLeavesAMasslessLinkSixUnguarded) {
    const ref::Arm& arm = ref::arm("B");
    const double positive[6] = {152, 425, 395, 102, 102, 100},
                 massless[6] = {4.64, 10.08, 2.71, 1.56, 1.56, 0};
    const JNTS q = randomPose();
    const double gravity[3] = {1, 2, -9}, none[10] = {};
    double torque[6], same[6], guarded[6];
    zvmcInvGravity(arm.sdh, arm.mass, arm.center, none, gravity, q.v, torque);
    zvmcInvGravity(positive, arm.mass, arm.center, none, gravity, q.v, same);
    zvmcInvGravity(arm.sdh, massless, arm.center, none, gravity, q.v, guarded);
    for (int i = 0; i < 6; i++) {
        EXPECT_EQ(torque[i], same[i]) << "joint " << i + 1;
        EXPECT_FALSE(std::isfinite(guarded[i])) << "joint " << i + 1;
    }
}

TEST(GravityTorque, EveryTypeTakesItsSetOffsetAndMountingAngles) {
    for (int type : ref::types()) {
        SCOPED_TRACE(type);
        fixture::start(type);
        mpb.sysJntsNo = std::abs(type % 7);  // plays no part here
        mcb.robotInstallPos = static_cast<uint8_t>(type % 5);
        mcb.robotInstallYangle = uniform(-450, 450);
        mcb.robotInstallZangle = uniform(-450, 450);
        const JNTS given = randomPose();
        JNTS q = given, torque;
        EX_LOAD load = randomLoad();
        std::fill_n(torque.v, 6, 1234.5);

        const fixture::Blocks before;
        EXPECT_EQ(zvmcGravityTorque(&q, &load, &torque), 0);
        const Gravity gravity = gravityAt(mcb.robotInstallYangle, mcb.robotInstallZangle);
        ASSERT_TRUE(same(torque.v, ownModel(type, given, load, gravity), 1e-11));
        ASSERT_EQ(std::memcmp(&q, &given, sizeof q), 0) << "changed the pose it was given";
        ASSERT_TRUE(before.unchanged());
        ASSERT_EQ(fixture::calls(), fixture::Lines{});
    }
}

TEST(NewGravityTorque, EveryTypeAndMountingTakesItsModel) {
    const struct {
        std::string service;
        Gravity gravity;
    } mounts[] = {
        {"tmcDynComGravityExload ", {0, 0, -9.8}},
        {"tmcDynComGravityExloadWall ", {9.8, 0, 0}},
        {"tmcDynComGravityExloadCeiling ", {0, 0, 9.8}},
    };
    for (int type : ref::types())
        for (int mounting : {0, 1, 2, 3, 4, 7, 255}) {
            SCOPED_TRACE(testing::Message() << "type " << type << ", mounting " << mounting);
            fixture::start(type);
            mcb.robotInstallPos = static_cast<uint8_t>(mounting);
            mcb.robotInstallYangle = -30;
            mcb.robotInstallZangle = 60;
            JNTS q = randomPose(), torque;
            EX_LOAD load = randomLoad();
            std::memset(&torque, 0x5a, sizeof torque);
            const JNTS untouched = torque;

            EXPECT_EQ(zvmcNewGravityTorque(&q, &load, &torque), 0);
            const int model = mounting < 3    ? ref::gravityModel(type)
                              : mounting == 3 ? ref::kOwnModel
                                              : ref::kNoModel;
            fixture::Lines want;
            if (model == ref::kNoModel) {
                ASSERT_EQ(std::memcmp(&torque, &untouched, sizeof torque), 0);
            } else if (model == ref::kOwnModel) {
                ASSERT_TRUE(same(torque.v, ownModel(type, q, load, gravityAt(-30, 60)), 1e-11));
            } else {
                want = {mounts[mounting].service + std::to_string(model)};
                ASSERT_TRUE(same(torque.v, ownModel(model, q, load, mounts[mounting].gravity), 1e-11));
            }
            ASSERT_EQ(fixture::calls(), want);
        }
}

}  // namespace
