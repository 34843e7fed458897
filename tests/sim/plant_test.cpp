// The plant against other roads to the same numbers: the library's static torque, a naive mass matrix, the
// host's kinematics, and cases for mental arithmetic.
#include "sim/plant.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <random>
#include <set>
#include <vector>

#include "model/arm_shape.h"
#include "sim/simulation.h"
#include "tarnhost/kinematics.h"
#include "tmcforceblock.h"

using namespace tarn;
using namespace tarn::sim;

namespace {

constexpr double kRadian = std::numbers::pi / 180.0;

// One type code for each set of the gravity model.
std::vector<int> typesOfAllSets() {
    std::vector<int> types;
    std::set<const ParameterSet*> seen;
    for (int type = 0; type <= 1100; type++) {
        if (gravitySet(type) != nullptr && seen.insert(gravitySet(type)).second) types.push_back(type);
    }
    return types;
}

struct Draw {
    std::mt19937 generator{20240607};
    double operator()(double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(generator);
    }
    Joints pose() {
        Joints q;
        for (double& angle : q) angle = (*this)(-180.0, 180.0);
        return q;
    }
};

// M as the sum over the bodies of Jv^T m Jv + Jw^T I Jw, with the load as a point mass on the flange.
Eigen::Matrix<double, 6, 6> naiveMassMatrix(const PlantOptions& options, const Joints& q) {
    const std::array<DhLink, 6> links = dhLinks(options.set);
    Eigen::Isometry3d frame = Eigen::Isometry3d::Identity();
    std::vector<Eigen::Vector3d> axes, origins;
    Eigen::Matrix<double, 6, 6> mass = Eigen::Matrix<double, 6, 6>::Zero();
    const auto add = [&](const Eigen::Vector3d& center, double m, const Eigen::Matrix3d& tensor) {
        Eigen::Matrix<double, 3, 6> linear = Eigen::Matrix<double, 3, 6>::Zero(), angular = linear;
        for (std::size_t j = 0; j < axes.size(); j++) {
            linear.col(static_cast<Eigen::Index>(j)) = axes[j].cross(center - origins[j]);
            angular.col(static_cast<Eigen::Index>(j)) = axes[j];
        }
        mass += m * linear.transpose() * linear + angular.transpose() * tensor * angular;
    };
    for (std::size_t i = 0; i < 6; i++) {
        axes.push_back(frame.linear().col(2));
        origins.push_back(frame.translation());
        const double theta = q[i] - options.zeroShift[i] + links[i].thetaOffsetDeg;
        frame.rotate(Eigen::AngleAxisd(theta * kRadian, Eigen::Vector3d::UnitZ()));
        frame.translate(Eigen::Vector3d(links[i].a, 0.0, links[i].d) * 1e-3);
        frame.rotate(Eigen::AngleAxisd(links[i].alphaDeg * kRadian, Eigen::Vector3d::UnitX()));
        const double* c = options.set.inparaC + 3 * i;
        const double* t = options.set.inparaI + 6 * i;
        Eigen::Matrix3d tensor;
        tensor << t[0], t[1], t[2], t[1], t[3], t[4], t[2], t[4], t[5];
        add(frame * (Eigen::Vector3d(c[0], c[1], c[2]) * 1e-3), options.set.inparaM[i],
            frame.linear() * tensor * frame.linear().transpose() * 1e-6);
        mass(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(i)) += options.set.inparaIj[i] * 1e-6;
    }
    const Vec3& load = options.loadCenter;
    add(frame * (Eigen::Vector3d(load[0], load[1], load[2]) * 1e-3), options.loadMass,
        Eigen::Matrix3d::Zero());
    return mass;
}

PlantOptions weightless(int type) {
    PlantOptions options;
    options.set = *gravitySet(type);
    options.gravity = {};
    options.ratedTorque.fill(0.5);
    options.gearRatio.fill(100.0);
    return options;
}

}  // namespace

TEST(Plant, GravityTorqueIsThatOfTheLibrary) {
    Draw draw;
    int shapes = 0;
    for (const int type : typesOfAllSets()) {
        const ParameterSet& set = *gravitySet(type);
        if (type == 701) continue;  // on purpose the library gives this arm's torque for another shape
        shapes++;
        for (int n = 0; n < 30; n++) {
            PlantOptions options;
            options.set = set;
            options.gravity = gravityInBase({"", 3, draw(-180.0, 180.0), draw(-180.0, 180.0)});
            options.loadMass = n == 0 ? 0.0 : draw(0.0, 20.0);
            for (double& x : options.loadCenter) x = draw(-200.0, 200.0);
            const Plant plant(options);
            const double load[10] = {options.loadMass, options.loadCenter[0], options.loadCenter[1],
                                     options.loadCenter[2]};
            for (int k = 0; k < 10; k++) {
                const Joints q = draw.pose();
                double expected[6];
                zvmcInvGravity(set.paramSDH, set.inparaM, set.inparaC, load, options.gravity.data(), q.data(),
                               expected);
                double largest = 0.0;
                for (const double torque : expected) largest = std::max(largest, std::fabs(torque));
                const Joints torque = plant.gravityTorque(q);
                for (std::size_t i = 0; i < 6; i++) {
                    ASSERT_NEAR(torque[i], expected[i], 1e-9 * largest) << set.name << " joint " << i + 1;
                }
            }
        }
    }
    EXPECT_GE(shapes, 14);
}

// Two of the sets hold tensors that no rigid body has; the engine takes them all the same.
TEST(Plant, MassMatrixIsThatOfTheTablesForEverySet) {
    Draw draw;
    for (const int type : typesOfAllSets()) {
        PlantOptions options;
        options.set = *gravitySet(type);
        options.zeroShift = jointZeroOffsetDeg(type);
        options.loadMass = 3.0;
        options.loadCenter = {40.0, -25.0, 70.0};
        const Plant plant(options);
        for (int k = 0; k < 20; k++) {
            const Joints q = draw.pose();
            const std::array<Joints, 6> mass = plant.massMatrix(q);
            const Eigen::Matrix<double, 6, 6> expected = naiveMassMatrix(options, q);
            for (std::size_t i = 0; i < 6; i++) {
                for (std::size_t j = 0; j < 6; j++) {
                    const double value = expected(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j));
                    ASSERT_NEAR(mass[i][j], value, 1e-12 * expected(0, 0)) << options.set.name << i << j;
                    ASSERT_EQ(mass[i][j], mass[j][i]);
                }
            }
        }
    }
}

TEST(Plant, FlangeStandsWhereTheHostsKinematicsSay) {
    Draw draw;
    for (const int type : typesOfAllSets()) {
        PlantOptions options;
        options.set = *gravitySet(type);
        options.zeroShift = jointZeroOffsetDeg(type);
        Plant plant(options);
        for (int k = 0; k < 20; k++) {
            const Joints q = draw.pose();
            TRSF flange;
            ASSERT_TRUE(host::flangePose(type, q.data(), &flange));
            const Vec3 origin = plant.frameOrigins(q)[6];
            ASSERT_NEAR(origin[0] * 1000.0, flange.p.x, 1e-9) << type;
            ASSERT_NEAR(origin[1] * 1000.0, flange.p.y, 1e-9) << type;
            ASSERT_NEAR(origin[2] * 1000.0, flange.p.z, 1e-9) << type;
            plant.reset(q);
            for (std::size_t i = 0; i < 6; i++) ASSERT_NEAR(plant.position()[i], q[i], 1e-12);
        }
    }
}

// From rest the first cycle gives M * velocity = torque * 1 ms.
TEST(Plant, CurrentsAccelerateByRatedTorqueAndGear) {
    PlantOptions options = weightless(101);
    options.ratedTorque = {1.27, 1.27, 1.27, 0.35, 0.35, 0.35};
    options.gearRatio = {121.0, 121.0, 121.0, 101.0, 101.0, 101.0};
    Plant plant(options);
    const Joints q = {10.0, -60.0, 80.0, -110.0, -90.0, 30.0};
    plant.reset(q);
    const Currents current = {100, -80, 60, -50, 40, 30};
    plant.step(current);
    const std::array<Joints, 6> mass = plant.massMatrix(q);
    const Joints velocity = plant.velocity();
    for (std::size_t i = 0; i < 6; i++) {
        double momentum = 0.0;  // N m s
        for (std::size_t j = 0; j < 6; j++) momentum += mass[i][j] * velocity[j] * 1000.0 * kRadian;
        const double torque = current[i] * 0.001 * options.ratedTorque[i] * options.gearRatio[i];
        EXPECT_NEAR(momentum, torque * 0.001, 1e-4 * std::fabs(torque) * 0.001) << "joint " << i + 1;
    }
}

// A steady turn of the last joint settles where the friction takes the whole torque: the velocity v (deg/ms)
// with curve(v) = torque. Without the curve's share it would still be speeding up.
TEST(Plant, FrictionBalancesTheMotorAtSteadySpeed) {
    PlantOptions options = weightless(101);
    options.friction.fill([](double v) { return 30.0 * std::tanh(5.0 * v) + 20.0 * v; });
    options.frictionScale = 0.5;
    Plant plant(options);
    plant.reset({});
    for (int n = 0; n < 3000; n++) plant.step({0, 0, 0, 0, 0, 200});  // 10 N m
    const double v = plant.velocity()[5];
    EXPECT_GT(v, 0.05);
    EXPECT_NEAR(0.5 * (30.0 * std::tanh(5.0 * v) + 20.0 * v), 10.0, 1e-3);
}

TEST(Plant, BlowUpIsReportedAndLatched) {
    PlantOptions options = weightless(101);
    options.ratedTorque.fill(1e12);
    Plant plant(options);
    const Currents current = {32767, 32767, 32767, 32767, 32767, 32767};
    EXPECT_THROW(for (int n = 0; n < 100; n++) plant.step(current), PlantError);
    EXPECT_TRUE(plant.failed());
    EXPECT_THROW(plant.step({}), PlantError);
    EXPECT_FALSE(std::filesystem::exists("MUJOCO_LOG.TXT"));
    plant.reset({});
    EXPECT_NO_THROW(plant.step({}));
}
