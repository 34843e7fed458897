#include <gtest/gtest.h>

#include <climits>
#include <cmath>
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
    EX_LOAD load{};
    load.mass = uniform(0, 30);
    load.cmc = {uniform(-300, 300), uniform(-300, 300), uniform(-300, 300)};
    return load;
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
ref::Torque ownModel(int type, const JNTS& q, const EX_LOAD& load, const double gravity[3]) {
    if (ref::gravityArm(type).empty()) return {};
    JNTS seen = q;
    if (type == 3)
        for (int i : {0, 1, 3, 5}) seen.v[i] -= 180;
    return ref::holdingTorque(ref::arm(ref::gravityArm(type)), load, gravity, seen.v);
}

TEST(InvGravity, AgreesWithKdlForEverySetPoseLoadAndMounting) {
    for (int n = 0; n < ref::kArmCount && !HasFailure(); n++) {
        const ref::Arm& arm = ref::kArms[n];
        if (arm.name == "HN1") continue;  // has no masses
        for (int k = 0; k < 1000 && !HasFailure(); k++) {
            const JNTS q = randomPose();
            const EX_LOAD load = randomLoad();
            const double external[10] = {load.mass, load.cmc.x, load.cmc.y, load.cmc.z};
            const double gravity[3] = {uniform(-10, 10), uniform(-10, 10), uniform(-10, 10)};
            double torque[6];
            zvmcInvGravity(arm.sdh, arm.mass, arm.center, external, gravity, q.v, torque);
            EXPECT_TRUE(same(torque, ref::holdingTorque(arm, load, gravity, q.v), 1e-12))
                << "set " << arm.name << ", pose " << k;
        }
    }
}

TEST(InvGravity, TakesLengthsWithoutSignAndLeavesAMasslessLinkSixUnguarded) {
    const ref::Arm& arm = ref::arm("B");
    ref::Arm other = arm;
    other.sdh[1] = 425;
    other.sdh[2] = 395;
    other.mass[5] = 0;
    const JNTS q = randomPose();
    const double gravity[3] = {1, 2, -9};
    const double none[10] = {};
    double torque[6], positive[6];
    zvmcInvGravity(arm.sdh, arm.mass, arm.center, none, gravity, q.v, torque);
    zvmcInvGravity(other.sdh, arm.mass, arm.center, none, gravity, q.v, positive);
    for (int i = 0; i < 6; i++) EXPECT_EQ(torque[i], positive[i]) << "joint " << i + 1;
    zvmcInvGravity(arm.sdh, other.mass, arm.center, none, gravity, q.v, torque);
    for (int i = 0; i < 6; i++) EXPECT_FALSE(std::isfinite(torque[i])) << "joint " << i + 1;
}

TEST(GravityTorque, EveryTypeTakesItsSetAndOffset) {
    for (int type = ref::kFirstType; type <= ref::kLastType && !HasFailure(); type++) {
        fixture::start(type);
        mpb.sysJntsNo = type % 7;  // plays no part here
        mcb.robotInstallPos = static_cast<uint8_t>(type % 5);
        const double y = uniform(-180, 180), z = uniform(-180, 180);
        mcb.robotInstallYangle = y;
        mcb.robotInstallZangle = z;
        const double rad = M_PI / 180;
        const double gravity[3] = {9.8 * std::sin(y * rad) * std::cos(z * rad),
                                   -9.8 * std::sin(y * rad) * std::sin(z * rad), -9.8 * std::cos(y * rad)};
        JNTS q = randomPose();
        const JNTS given = q;
        EX_LOAD load = randomLoad();
        JNTS torque;
        for (double& v : torque.v) v = 1234.5;

        const fixture::Blocks before;
        EXPECT_EQ(zvmcGravityTorque(&q, &load, &torque), 0);
        EXPECT_TRUE(same(torque.v, ownModel(type, given, load, gravity), 1e-11)) << "type " << type;
        EXPECT_EQ(std::memcmp(&q, &given, sizeof q), 0)
            << "type " << type << " changed the pose it was given";
        EXPECT_TRUE(before.unchanged()) << "type " << type;
        EXPECT_EQ(fixture::calls().size(), 0u) << "type " << type;
    }
}

TEST(GravityTorque, GravityFollowsTheMountingAngles) {
    const double r3 = std::sqrt(3.0);
    const struct {
        double y, z;
        double gravity[3];
    } rows[] = {
        {0, 0, {0, 0, -9.8}},   {0, 77, {0, 0, -9.8}},   {90, 0, {9.8, 0, 0}},
        {90, 90, {0, -9.8, 0}}, {-90, 0, {-9.8, 0, 0}},  {90, 180, {-9.8, 0, 0}},
        {180, 30, {0, 0, 9.8}}, {450, 360, {9.8, 0, 0}}, {30, 60, {2.45, -2.45 * r3, -4.9 * r3}},
    };
    for (const auto& row : rows) {
        fixture::start(103);
        mcb.robotInstallYangle = row.y;
        mcb.robotInstallZangle = row.z;
        JNTS q = randomPose(), torque{};
        EX_LOAD load = randomLoad();
        zvmcGravityTorque(&q, &load, &torque);
        EXPECT_TRUE(same(torque.v, ownModel(103, q, load, row.gravity), 1e-11))
            << "angles " << row.y << ", " << row.z;
    }
}

TEST(NewGravityTorque, EveryTypeAndMountingTakesItsModel) {
    const char* const services[] = {"tmcDynComGravityExload", "tmcDynComGravityExloadWall",
                                    "tmcDynComGravityExloadCeiling"};
    const double directions[][3] = {{0, 0, -9.8}, {9.8, 0, 0}, {0, 0, 9.8}};
    const double tilted[3] = {-9.8 * 0.5 * 0.5, 9.8 * 0.5 * std::sqrt(0.75), -9.8 * std::sqrt(0.75)};
    const auto check = [&](int type, int mounting) {
        SCOPED_TRACE(testing::Message() << "type " << type << ", mounting " << mounting);
        fixture::start(type);
        mcb.robotInstallPos = static_cast<uint8_t>(mounting);
        mcb.robotInstallYangle = -30;
        mcb.robotInstallZangle = 60;
        JNTS q = randomPose();
        EX_LOAD load = randomLoad();
        JNTS torque, untouched;
        std::memset(&torque, 0x5a, sizeof torque);
        std::memset(&untouched, 0x5a, sizeof untouched);

        EXPECT_EQ(zvmcNewGravityTorque(&q, &load, &torque), 0);
        const int model = mounting == 3  ? ref::kOwnModel
                          : mounting > 3 ? ref::kNoModel
                                         : ref::gravityModel(type);
        std::vector<std::string> want;
        if (model == ref::kNoModel) {
            EXPECT_EQ(std::memcmp(&torque, &untouched, sizeof torque), 0);
        } else if (model == ref::kOwnModel) {
            EXPECT_TRUE(same(torque.v, ownModel(type, q, load, tilted), 1e-11));
        } else {
            want = {std::string(services[mounting]) + " " + std::to_string(model)};
            EXPECT_TRUE(same(torque.v, ownModel(model, q, load, directions[mounting]), 1e-11));
        }
        EXPECT_EQ(fixture::calls(), want);
    };
    for (int type = ref::kFirstType; type <= ref::kLastType && !HasFailure(); type++)
        for (int mounting : {0, 1, 2, 3, 4, 7, 255}) check(type, mounting);
    for (int type : {INT_MIN, INT_MAX, -1000}) check(type, 0);
}

}  // namespace
