// Force sensor, encoders, surfaces and hand against the plant's truth, the host's kinematics and cases for
// mental arithmetic.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "runs.h"
#include "sim/hand.h"
#include "sim/simulation.h"
#include "sim/vectors.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/kinematics.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

using namespace tarn;
using namespace tarn::sim;

namespace {

constexpr double kRadian = std::numbers::pi / 180.0;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kType = 101;

// The flange in the base frame, m, by the host's kinematics.
Eigen::Isometry3d flangeAt(const Joints& q) {
    TRSF t;
    EXPECT_TRUE(host::flangePose(kType, q.data(), &t));
    Eigen::Isometry3d pose = Eigen::Isometry3d::Identity();
    pose.matrix().topRows<3>() << t.n.x, t.o.x, t.a.x, t.p.x * 1e-3,  //
        t.n.y, t.o.y, t.a.y, t.p.y * 1e-3,                            //
        t.n.z, t.o.z, t.a.z, t.p.z * 1e-3;
    return pose;
}

// Sensor 45 mm ahead of the flange, turned about two axes.
const Vec3 kSensorPlace = {10.0, -5.0, 45.0};
Eigen::Isometry3d sensorInFlange() {
    Eigen::Isometry3d pose = Eigen::Isometry3d::Identity();
    pose.translate(vector(kSensorPlace) * 1e-3);
    pose.rotate(Eigen::AngleAxisd(30.0 * kRadian, Eigen::Vector3d::UnitZ()));
    pose.rotate(Eigen::AngleAxisd(-70.0 * kRadian, Eigen::Vector3d::UnitX()));
    return pose;
}

PlantOptions arm() {
    PlantOptions options;
    options.set = *gravitySet(kType);
    options.gravity = {};
    options.ratedTorque.fill(0.5);
    options.gearRatio.fill(100.0);
    const Eigen::Matrix3d turn = sensorInFlange().linear();
    options.sensorInEnd = {kSensorPlace, {array(turn.col(0)), array(turn.col(1)), array(turn.col(2))}};
    return options;
}

const Joints kBent = {10.0, -60.0, 80.0, -110.0, -90.0, 30.0};

testing::AssertionResult near(const Vec3& value, const Eigen::Vector3d& expected, double tolerance) {
    if ((vector(value) - expected).norm() <= tolerance) return testing::AssertionSuccess();
    return testing::AssertionFailure() << vector(value).transpose() << " for " << expected.transpose();
}

// The turn from one pose to another, rad, for small ones.
Eigen::Vector3d spinBetween(const Eigen::Isometry3d& from, const Eigen::Isometry3d& to) {
    const Eigen::Matrix3d turn = to.linear() * from.linear().transpose();
    return Eigen::Vector3d(turn(2, 1) - turn(1, 2), turn(0, 2) - turn(2, 0), turn(1, 0) - turn(0, 1)) / 2.0;
}

// How the intake decodes a word, by the table of the sensors.
struct SensorRow {
    int company, device;
    double force, moment;  // kgf, kgf m of the range; 0: fixed point
};
constexpr SensorRow kSensors[] = {
    {16, 0, 40.0, 1.6},  {16, 1, 11.2, 0.4},  {16, 2, 100.0, 2.8}, {16, 3, 160.0, 4.0}, {16, 4, 6.4, 0.32},
    {16, 5, 20.0, 0.8},  {16, 6, 10.0, 1.6},  {16, 7, 20.0, 1.6},  {16, 8, 40.0, 1.6},  {16, 9, 60.0, 1.6},
    {16, 10, 80.0, 1.6}, {16, 11, 120, 15.0}, {18, 0, 0.0, 0.0},   {21, 0, 0.0, 0.0},   {23, 2, 0.0, 0.0},
    {25, 2, 0.0, 0.0},   {80, 1, 0.0, 0.0},   {96, 0, 0.0, 0.0},
};

double decoded(const SensorRow& row, std::int32_t word, bool force) {
    const auto raw = static_cast<std::int16_t>(word & 0xffff);
    if (row.force == 0.0) return raw * (force ? 0.1 : 0.01);
    return raw * (force ? row.force : row.moment) / 4096 * 9.8;
}

}  // namespace

// On the brakes the sensor sees the weight, with gravity along every axis of the base in turn, a push, and a
// wall. In the first step from rest they turn the joints: M * velocity = (J^T F - holding torque) * 1 ms.
TEST(ToolForces, WeightAndPushReachSensorAndJoints) {
    Draw draw;
    for (int n = 0; n < 24; n++) {
        PlantOptions options = arm();
        options.gravity[static_cast<std::size_t>(n % 3)] = n % 6 < 3 ? 9.8 : -9.8;
        options.loadMass = draw(0.5, 10.0);
        options.loadCenter = draw.vec(150.0);
        options.loadInertia = {4000.0, 100.0, -50.0, 3000.0, 80.0, 2000.0};
        options.substeps = 1;
        Plant plant(options);
        const Joints q = draw.pose();
        const Vec3 push = draw.vec(40.0), moment = draw.vec(5.0), grip = draw.vec(100.0);
        plant.setToolForces({[&](const ToolState& tool) {
            return PointWrench{{push, moment}, pointOf(tool, grip)};
        }});
        const Eigen::Isometry3d flange = flangeAt(q), sensor = flange * sensorInFlange();
        const Eigen::Vector3d at = flange * (vector(grip) * 1e-3), pushMoment = vector(moment);
        const Eigen::Vector3d normal = vector(draw.vec(1.0)).normalized();
        const Eigen::Vector3d force = vector(push) + 10.0 * normal;
        plant.setSurfaces({grip, 10.0},
                          {{array(at - 0.009 * normal), array(normal), 10e3, 100.0, 0.5, 1e-3}});
        plant.reset(q);
        const Eigen::Vector3d weight = vector(options.gravity) * options.loadMass;
        const Eigen::Vector3d center = flange * (vector(options.loadCenter) * 1e-3);
        const Eigen::Matrix3d back = sensor.linear().transpose();
        EXPECT_TRUE(near(plant.tool().flange.origin, flange.translation(), 1e-12));
        EXPECT_TRUE(near(plant.contactForce(), 10.0 * normal, 1e-9));
        EXPECT_TRUE(near(plant.sensorWrench().force, back * (weight + force), 1e-9));
        EXPECT_TRUE(near(plant.sensorWrench().moment,
                         back * ((center - sensor.translation()).cross(weight) + pushMoment +
                                 (at - sensor.translation()).cross(force)),
                         1e-9));
        EXPECT_TRUE(
            near(plant.toolWrench().moment, pushMoment + (at - flange.translation()).cross(force), 1e-9));

        plant.step({});
        const std::array<Joints, 6> mass = plant.massMatrix(q);
        const Joints holding = plant.gravityTorque(q);
        for (std::size_t i = 0; i < 6; i++) {
            constexpr double kTurn = 1e-3;  // deg
            Joints q1 = q, q2 = q;
            q1[i] -= kTurn;
            q2[i] += kTurn;
            const Eigen::Isometry3d behind = flangeAt(q1), ahead = flangeAt(q2);
            const Eigen::Vector3d travel = ahead * (vector(grip) * 1e-3) - behind * (vector(grip) * 1e-3);
            const double work = travel.dot(force) + spinBetween(behind, ahead).dot(pushMoment);
            const double torque = work / (2.0 * kTurn * kRadian) - holding[i];
            double momentum = 0.0;  // N m s
            for (std::size_t j = 0; j < 6; j++)
                momentum += mass[i][j] * plant.velocity()[j] * 1000.0 * kRadian;
            EXPECT_NEAR(momentum, torque * 0.001, 1e-6 + 1e-6 * std::fabs(torque)) << "joint " << i + 1;
        }
    }
}

// What the simulation is told of its plant's errors, and of the load's tensor.
TEST(ModelErrors, ScaleWhatTheyName) {
    const auto armWith = [&](double mass, double inertia, double load) {
        SimulationOptions options;
        options.massScale = mass;
        options.inertiaScale = inertia;
        options.load = 1e-6;
        options.loadInertia = {load, 0.0, 0.0, load, 0.0, load};
        const Simulation simulation(options);
        return std::pair{simulation.plant().gravityTorque(kBent), simulation.plant().massMatrix(kBent)};
    };
    const auto [gravity, plain] = armWith(1.0, 1.0, 0.0);
    const auto [more, heavy] = armWith(1.1, 1.0, 0.0);
    const auto [same, none] = armWith(1.0, 0.0, 0.0);
    const auto [still, twice] = armWith(1.0, 2.0, 0.0);
    const auto loaded = armWith(1.0, 1.0, 90000.0).second;  // kg mm^2
    for (std::size_t i = 0; i < 6; i++) {
        EXPECT_NEAR(more[i], 1.1 * gravity[i], 1e-5);  // but the load
        EXPECT_EQ(still[i], gravity[i]);
        EXPECT_NEAR(loaded[i][i] - plain[i][i], 0.09, 1e-9);  // whatever the axis
        EXPECT_GT(plain[i][i], none[i][i] + 1e-5);
        for (std::size_t j = 0; j < 6; j++)
            EXPECT_NEAR(twice[i][j] - plain[i][j], plain[i][j] - none[i][j], 1e-12);
    }
}

TEST(Surfaces, PushAndRubByHand) {
    const Surface table = {{0.0, 0.0, 0.2}, {0.0, 0.0, 2.0}, 20e3, 100.0, 0.5, 1e-3};
    const ToolSphere ball = {{0.0, 0.0, 30.0}, 10.0};
    ToolState tool{};
    struct Case {
        double height, sink, slide;  // m of the sphere's center, m/s, m/s
        double up, along;            // N
    };
    // 20 N a mm, 1 N s/cm; half of it as friction, nearly none of that at a tenth of the friction speed
    const Case cases[] = {
        {0.211, 0.0, 0.0, 0.0, 0.0},
        {0.208, 0.1, 0.0, 50.0, 0.0},
        {0.208, -0.5, 0.1, 0.0, 0.0},
        {0.208, 0.0, -0.1, 40.0, 20.0},
        {0.208, 0.0, 1e-4, 40.0, -20.0 * 0.099668},
    };
    for (const Case& c : cases) {
        tool.flange.origin = {0.5, 0.1, c.height - 0.030};
        tool.velocity = {c.slide, 0.0, -c.sink};
        const PointWrench touch = contactWrench(table, ball, tool);
        EXPECT_TRUE(near(touch.wrench.force, Eigen::Vector3d(c.along, 0.0, c.up), 1e-4));
        if (c.up > 0.0) {
            EXPECT_TRUE(near(touch.point, Eigen::Vector3d(0.5, 0.1, 0.2), 1e-12));
        }
    }
}

TEST(Hands, WorkBecomesMotionAndTheEffortIsCounted) {
    Plant plant(arm());
    plant.reset(kBent);
    Hand hand(HandWrench{[](double) {
                  return Wrench{{2.0, 3.0, -6.0}, {0.1, 0.0, 0.2}};
              }},
              {20.0, 0.0, 50.0}, 0.1, 0.3);
    plant.setToolForces({hand.force()});
    for (int n = 0; n < 99; n++) plant.step({});
    EXPECT_EQ(hand.effort().seconds, 0.0);
    EXPECT_EQ(plant.kineticEnergy(), 0.0);
    for (int n = 0; n < 301; n++) plant.step({});
    EXPECT_NEAR(hand.effort().seconds, 0.2, 1e-3);
    EXPECT_NEAR(hand.effort().meanForce, 7.0, 1e-9);
    EXPECT_NEAR(hand.effort().peakForce, 7.0, 1e-9);
    EXPECT_GT(hand.effort().work, 0.1);
    EXPECT_NEAR(plant.kineticEnergy(), hand.effort().work, 0.01 * hand.effort().work);
}

TEST(Hands, SpringFollowsItsPath) {
    PlantOptions options = arm();
    options.friction.fill([](double v) { return 200.0 * v; });
    Plant plant(options);
    plant.reset(kBent);
    const Vec3 grip = {0.0, 0.0, 80.0};
    const Eigen::Vector3d start = flangeAt(kBent) * Eigen::Vector3d(0.0, 0.0, 0.080);
    const Eigen::Vector3d speed(-0.05, 0.08, 0.03);  // m/s
    Hand hand(HandSpring{800.0, 30.0, [&](double t) { return array(start + t * speed); }}, grip);
    plant.setToolForces({hand.force()});
    double largest = 0.0;
    for (int n = 0; n < 500; n++) {
        plant.step({});
        const ToolState& tool = plant.tool();
        const Vec3 at = pointOf(tool, grip);
        const Eigen::Vector3d expected =
            800.0 * (start + tool.time * speed - vector(at)) + 30.0 * (speed - vector(velocityAt(tool, at)));
        EXPECT_TRUE(near(plant.toolWrench().force, expected, 1e-6));
        largest = std::max(largest, expected.norm());
    }
    EXPECT_NEAR(hand.effort().peakForce, largest, 1.0);
}

TEST(SensorWords, DecodeToTheWrenchWithinHalfACount) {
    Draw draw;
    for (const SensorRow& row : kSensors) {
        SCOPED_TRACE(testing::Message() << row.company << " " << row.device);
        ForceSensorOptions options;
        options.company = row.company;
        options.device = row.device;
        ForceSensor sensor(options);
        options.overload = kInfinity;
        ForceSensor open(options);
        const bool fixed = row.force == 0.0;
        const double range[2] = {fixed ? 3276.7 : row.force * 9.8, fixed ? 327.67 : row.moment * 9.8};
        for (int n = 0; n < 200; n++) {
            Wrench w;
            for (double& f : w.force) f = draw(-range[0], range[0]);
            for (double& m : w.moment) m = draw(-range[1], range[1]);
            const SensorWords words = sensor.sample(w);
            for (std::size_t i = 0; i < 6; i++) {
                const double truth = i < 3 ? w.force[i] : w.moment[i - 3];
                ASSERT_NEAR(decoded(row, words[i], i < 3), truth, 0.5001 * decoded(row, 1, i < 3));
            }
        }
        // at the edges of the range and of the words
        const Wrench far = {{1e9, -1e9, 1.01 * range[0]}, {-1e9, 1e9, -1.01 * range[1]}};
        const int high = fixed ? 32767 : 4096, low = fixed ? -32768 : -4096;
        EXPECT_EQ(sensor.sample(far), (SensorWords{high, low, high, low, high, low}));
        EXPECT_EQ(open.sample(far),
                  (SensorWords{32767, -32768, fixed ? 32767 : 4137, -32768, 32767, fixed ? -32768 : -4137}));
    }
    for (const auto& [company, device] :
         {std::pair{16, 12}, {16, -1}, {17, 0}, {18, 1}, {22, 1}, {23, 3}, {80, -1}, {96, 1}, {0, 0}}) {
        ForceSensorOptions options;
        options.company = company;
        options.device = device;
        EXPECT_THROW(ForceSensor{options}, std::invalid_argument) << company << " " << device;
    }
}

TEST(SensorWords, NoiseIsWhiteAndItsSeedsOwn) {
    ForceSensorOptions options;
    options.bias = {{5.0, -3.0, 0.0}, {0.2, 0.0, -0.4}};
    options.noise = {{1.0, 2.0, 4.0}, {0.1, 0.2, 0.0}};
    options.seed = 11;
    ForceSensor sensor(options);
    options.seed = 12;
    ForceSensor other(options);
    const Wrench truth = {{10.0, 20.0, -30.0}, {1.0, -2.0, 3.0}};
    const std::array<double, 6> mean = {15.0, 17.0, -30.0, 1.2, -2.0, 2.6};
    const std::array<double, 5> spread = {1.0, 2.0, 4.0, 0.1, 0.2};
    constexpr int kSamples = 20000;
    int equal = 0;
    // in spreads, summed: itself, its square, with the sample before, with the next axis
    std::array<double, 5> sum{}, squares{}, neighbors{}, cross{}, off{};
    for (int n = 0; n < kSamples; n++) {
        const SensorWords words = sensor.sample(truth);
        equal += words == other.sample(truth);
        const std::array<double, 5> last = off;
        for (std::size_t i = 0; i < 5; i++) off[i] = (words[i] * (i < 3 ? 0.1 : 0.01) - mean[i]) / spread[i];
        for (std::size_t i = 0; i < 5; i++) {
            sum[i] += off[i] / kSamples;
            squares[i] += off[i] * off[i] / kSamples;
            neighbors[i] += off[i] * last[i] / kSamples;
            cross[i] += off[i] * off[(i + 1) % 5] / kSamples;
        }
        ASSERT_EQ(words[5], 260);  // without noise
    }
    EXPECT_LT(equal, 20);
    for (std::size_t i = 0; i < 5; i++) {
        for (const double zero : {sum[i], neighbors[i], cross[i]})
            EXPECT_NEAR(zero, 0.0, 5.0 / std::sqrt(kSamples)) << i;
        EXPECT_NEAR(squares[i], 1.0, 0.06) << i;
    }
}

// From rest: what the links need, whatever friction and rotor take of the motor's torque.
TEST(Gears, PassOnWhatTheLinksNeed) {
    PlantOptions options = arm();
    options.substeps = 1;
    options.friction.fill([](double v) { return 5000.0 * v; });
    Plant plant(options);
    plant.reset(kBent);
    plant.step({100, -80, 60, -50, 40, 30});
    const std::array<Joints, 6> mass = plant.massMatrix(kBent);
    for (std::size_t i = 0; i < 6; i++) {
        double links = -options.set.inparaIj[i] * 1e-6 * plant.velocity()[i];
        for (std::size_t j = 0; j < 6; j++) links += mass[i][j] * plant.velocity()[j];
        EXPECT_NEAR(plant.gearTorque()[i], links * 1000.0 * kRadian / 0.001, 1e-9) << "joint " << i + 1;
    }
}

// The twist as the controller's formula gives it, on an arm that stands by its gravity currents.
TEST(Encoders, DeflectionIsTheTorqueOverTheStiffness) {
    struct Gears {
        int type;
        Joints stiffness;  // N m/deg
    };
    for (const auto& [type, gears] : {Gears{101, {700, 700, 700, 70, 70, 70}},
                                      {401, {7500, 7500, 1600, 700, 700, 700}},
                                      {703, {200, 200, 200, 70, 70, 70}}}) {
        for (const double scale : {1.0, 0.25, kInfinity}) {
            SimulationOptions options;
            options.robotType = type;
            options.startPose = kBent;
            options.load = 3.0;
            options.loadCenter = {50.0, 20.0, 60.0};
            options.stiffnessScale = scale;
            Simulation simulation(options);
            for (int n = 0; n < 100; n++) simulation.cycle();
            const Joints torque = simulation.plant().gravityTorque(simulation.measured());
            for (std::size_t i = 0; i < 6; i++) {
                const double low = static_cast<double>(how.enc[i]) / 16384 * 360 / 101;
                const double high = static_cast<double>(how.HSEnc[i]) / 16384 * 360 / 101;
                const double stiffness = scale * gears[i];
                // a count, and what friction at the creep still lets through of the cut currents
                EXPECT_NEAR(high - low, -torque[i] / stiffness, 2.5e-4 + 0.01 / stiffness)
                    << type << " " << i;
                EXPECT_NEAR(high, mpb.j6.v[i], 1.2e-4);
            }
        }
    }
}

TEST(Encoders, DriveStateFollowsAndFadesAtItsCorner) {
    EncoderOptions options;
    const auto run = [&](auto angle, int cycles, auto&& each) {
        DriveState drive(options);
        for (int n = 0; n < cycles; n++) {
            Joints q{};
            q.fill(angle(n * 0.001));
            drive.update(encoderCounts(options, q, {}));
            each(n * 0.001, drive);
        }
    };
    // steady acceleration of 100 deg/s^2: the filters' delays are 3.2 ms and 6.4 ms less half steps
    const auto angle = [](double t) { return -300.0 + 50.0 * t * t; };
    run(angle, 2000, [&](double t, const DriveState& drive) {
        EXPECT_NEAR(drive.position()[2], angle(t), 1.2e-4);
        if (0.0 < t && t < 0.2) return;
        ASSERT_NEAR(drive.velocity()[2] * 1000.0, std::max(0.0, 100.0 * (t - 0.0032)), 0.12) << t;
        ASSERT_NEAR(drive.acceleration()[2] * 1e6, t > 0.0 ? 100.0 : 0.0, 25.0) << t;
    });
    for (const double corner : {20.0, 50.0, 120.0}) {
        options.velocityCorner = corner;
        const double omega = 2.0 * std::numbers::pi * corner;
        double largest = 0.0;  // deg/s, of a swing of 2 deg
        run([&](double t) { return 2.0 * std::sin(omega * t); }, 1000,
            [&](double t, const DriveState& drive) {
                if (t >= 0.5) largest = std::max(largest, std::fabs(drive.velocity()[0]) * 1000.0);
            });
        EXPECT_NEAR(largest / (2.0 * omega), std::sqrt(0.5), 0.04) << corner;
    }
}

TEST(Loop, HoldsOnTheDrivesOwnStateAndRepeatsBitByBit) {
    SimulationOptions options;
    options.startPose = kBent;
    options.load = 3.0;
    options.loadCenter = {20.0, -10.0, 60.0};
    options.driveState = true;
    options.forceSensor = {16, 1, 1.0, {}, {{0.5, 0.5, 0.5}, {0.01, 0.01, 0.01}}, 3};
    options.sensorPlace = {0.0, 0.0, 40.0};
    options.sensorTurn = {90.0, 0.0, 0.0};
    std::vector<SensorWords> words[2];
    std::vector<Joints> measured[2];
    for (int run = 0; run < 2; run++) {
        Simulation simulation(options);
        for (int n = 0; n < 2000; n++) {
            simulation.cycle();
            words[run].push_back(simulation.sensorWords());
            measured[run].push_back(simulation.measured());
        }
        for (std::size_t i = 0; i < 6; i++) EXPECT_NEAR(simulation.plant().position()[i], kBent[i], 0.06);
    }
    EXPECT_EQ(words[0], words[1]);
    EXPECT_EQ(measured[0], measured[1]);
    for (std::size_t i = 0; i < 6; i++) {
        EXPECT_NEAR(mpb.j6.v[i], static_cast<double>(how.enc[i]) / 16384 * 360 / 101, 1e-10);
    }
    EXPECT_EQ(mcb.fsCompanyID, 16);
    EXPECT_EQ(mcb.fsDeviceID, 1);

    // the sensor's y axis is the flange's z: the weight along it, in counts of the range over 4096
    double mean = 0.0;
    for (const SensorWords& sample : words[0]) mean += sample[1] / 2000.0;
    EXPECT_NEAR(mean * 11.2 / 4096 * 9.8, -9.8 * 3.0 * flangeAt(kBent).linear()(2, 2), 0.1);
    EXPECT_EQ(mpb.posSensorCtl.posSensorInEnd.p.z, 40.0);
}

TEST(Loop, DrivesIdentifyTheArmTheyMove) {
    SimulationOptions options;
    options.robotType = 101;
    options.startPose = {0.0, -90.0, 0.0, 0.0, 0.0, 0.0};  // upright: joint 1 turns little but its rotor
    Simulation simulation(options);
    int32_t rigidity, link, motor;
    ASSERT_EQ(zvHalGetSingleJointIdentify(2, &rigidity, &link, &motor), 0);
    const auto inertia = simulation.plant().massMatrix(options.startPose);
    EXPECT_NEAR(motor * 1e4 + link, inertia[1][1] * 1e6, 1e4)
        << "the rotor behind a gear of 100, and the link";
    EXPECT_GT(link, 1000000);    // kg mm^2 of an arm stretched 0.8 m from joint 2
    EXPECT_GT(rigidity, 10000);  // N m/rad
}
