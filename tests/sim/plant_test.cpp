// The plant against other roads to the same numbers: the library's static torque, a naive mass matrix, the
// host's kinematics, and cases for mental arithmetic.
#include "sim/plant.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <set>
#include <vector>

#include "model/arm_shape.h"
#include "runs.h"
#include "sim/simulation.h"
#include "tarnhost/kinematics.h"
#include "tmcforceblock.h"

using namespace tarn;
using namespace tarn::sim;

namespace {

using Matrix6 = Eigen::Matrix<double, 6, 6>;
using Matrix36 = Eigen::Matrix<double, 3, 6>;
using Eigen::Index;

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

// M as the sum over the bodies of Jv^T m Jv + Jw^T I Jw, with the load as a point mass on the flange.
Matrix6 naiveMassMatrix(const PlantOptions& options, const Joints& q) {
    const std::array<DhLink, 6> links = dhLinks(options.set);
    Eigen::Isometry3d frame = Eigen::Isometry3d::Identity();
    Matrix6 mass = Matrix6::Zero();
    Matrix36 axes = Matrix36::Zero(), origins = axes;  // of the joints up to the body at hand
    const auto add = [&](const double* center, double m, const Eigen::Matrix3d& tensor) {
        const Eigen::Vector3d place = frame * (Eigen::Map<const Eigen::Vector3d>(center) * 1e-3);
        Matrix36 linear;
        for (int j = 0; j < 6; j++) linear.col(j) = axes.col(j).cross(place - origins.col(j));
        const Eigen::Matrix3d turned = frame.linear() * tensor * frame.linear().transpose() * 1e-6;
        mass += m * linear.transpose() * linear + axes.transpose() * turned * axes;
    };
    for (std::size_t i = 0; i < 6; i++) {
        axes.col(Index(i)) = frame.linear().col(2);
        origins.col(Index(i)) = frame.translation();
        const double theta = q[i] - options.zeroShift[i] + links[i].thetaOffsetDeg;
        frame.rotate(Eigen::AngleAxisd(theta * kRadian, Eigen::Vector3d::UnitZ()));
        frame.translate(Eigen::Vector3d(links[i].a, 0.0, links[i].d) * 1e-3);
        frame.rotate(Eigen::AngleAxisd(links[i].alphaDeg * kRadian, Eigen::Vector3d::UnitX()));
        const double* t = options.set.inparaI + 6 * i;
        Eigen::Matrix3d tensor;
        tensor << t[0], t[1], t[2], t[1], t[3], t[4], t[2], t[4], t[5];
        add(options.set.inparaC + 3 * i, options.set.inparaM[i], tensor);
        mass(Index(i), Index(i)) += options.set.inparaIj[i] * 1e-6;
    }
    add(options.loadCenter.data(), options.loadMass, Eigen::Matrix3d::Zero());
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

// Two of the sets hold tensors that no rigid body has; the engine takes them all the same.
TEST(Plant, EverySetHasTheGravityTorqueMassMatrixAndFlangeOfItsTables) {
    Draw draw;
    int sets = 0;
    for (const int type : typesOfAllSets()) {
        SCOPED_TRACE(type);
        sets++;
        for (int n = 0; n < 30; n++) {
            PlantOptions options;
            options.set = *gravitySet(type);
            options.zeroShift = jointZeroOffsetDeg(type);
            options.gravity = gravityInBase({"", 3, draw(-180.0, 180.0), draw(-180.0, 180.0)});
            options.loadMass = n == 0 ? 0.0 : draw(0.0, 20.0);
            for (double& x : options.loadCenter) x = draw(-200.0, 200.0);
            Plant plant(options);
            const double load[10] = {options.loadMass, options.loadCenter[0], options.loadCenter[1],
                                     options.loadCenter[2]};
            for (int k = 0; k < 10; k++) {
                const Joints q = draw.pose();
                double angle[6], torque[6], largest = 0.0;
                for (std::size_t i = 0; i < 6; i++) angle[i] = q[i] - options.zeroShift[i];
                zvmcInvGravity(options.set.paramSDH, options.set.inparaM, options.set.inparaC, load,
                               options.gravity.data(), angle, torque);
                for (const double value : torque) largest = std::max(largest, std::fabs(value));
                if (type == 701) largest = 1e99;  // on purpose the library's torque is for another shape
                const Matrix6 naive = naiveMassMatrix(options, q);
                plant.reset(q);
                const Joints gravityTorque = plant.gravityTorque(q), position = plant.position();
                const std::array<Joints, 6> mass = plant.massMatrix(q);
                for (std::size_t i = 0; i < 6; i++) {
                    ASSERT_NEAR(gravityTorque[i], torque[i], 1e-9 * largest) << "joint " << i + 1;
                    ASSERT_NEAR(position[i], q[i], 1e-12) << "joint " << i + 1;
                    for (std::size_t j = 0; j < 6; j++) {
                        ASSERT_NEAR(mass[i][j], naive(Index(i), Index(j)), 1e-12 * naive(0, 0)) << i << j;
                        ASSERT_EQ(mass[i][j], mass[j][i]) << i << j;
                    }
                }
                TRSF flange;
                ASSERT_TRUE(host::flangePose(type, q.data(), &flange));
                const Vec3 origin = plant.frameOrigins(q)[6];
                ASSERT_NEAR(origin[0] * 1000.0, flange.p.x, 1e-9);
                ASSERT_NEAR(origin[1] * 1000.0, flange.p.y, 1e-9);
                ASSERT_NEAR(origin[2] * 1000.0, flange.p.z, 1e-9);
            }
        }
    }
    EXPECT_GE(sets, 15);
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
