// The natural frequency: the networks' arithmetic and choice, and what they learned, against KDL.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <vector>

#include "model/parameter_sets.h"
#include "natural_frequency/arms.h"
#include "support/fixture.h"
#include "support/rigid_body.h"
#include "tmcforceblock.h"

namespace {

using Vector6 = Eigen::Matrix<double, 6, 1>;

struct Weights {
    double inputHiddenW[30][6], inputHiddenB[30], hiddenOutputW[30];
};

struct Network {
    int firstType, lastType;
    bool loaded;
    double bias, max, min;  // Hz
    double third, load, z;  // largest joint 3, deg; of a loaded one also load, kg, and its center, mm
    const Weights weights;

    Vector6 high() const {
        return loaded ? Vector6(85, third, 85, 175, load, z) : Vector6(175, 85, third, 85, 175, 175);
    }
    Vector6 low() const {
        return loaded ? Vector6(-265, -third, -265, -175, 0, 0)
                      : Vector6(-175, -265, -third, -265, -175, -175);
    }
};

// The tables once more, typed on their own, with the weights as they are.
// clang-format off
const Network kNetworks[] = {
    {1, 100, false, 2.0801677, 21.1004687, 12.3818111, 150, 0, 0, {
#include "natural_frequency/a_bare.inc"
    }},
    {1, 100, true, 1.2412603, 21.1004687, 9.1578021, 150, 3, 120, {
#include "natural_frequency/a_loaded.inc"
    }},
    {101, 200, false, 1.3997119, 21.1368857, 15.7266172, 160, 0, 0, {
#include "natural_frequency/b_bare.inc"
    }},
    {101, 200, true, -1.193701, 21.1368857, 10.7796394, 160, 5, 120, {
#include "natural_frequency/b_loaded.inc"
    }},
    {201, 300, false, 6.2909914, 13.0376851, 10.3728067, 160, 0, 0, {
#include "natural_frequency/c_bare.inc"
    }},
    {201, 300, true, -11.4609403, 13.0376851, 6.7185148, 160, 10, 220, {
#include "natural_frequency/c_loaded.inc"
    }},
    {301, 400, false, -3.9782381, 13.6050996, 11.9243084, 160, 0, 0, {
#include "natural_frequency/d_bare.inc"
    }},
    {301, 400, true, 7.4008631, 13.6050996, 6.7591504, 160, 16, 240, {
#include "natural_frequency/d_loaded.inc"
    }},
    {401, 500, false, -2.0238527, 9.5784768, 7.0671247, 160, 0, 0, {
#include "natural_frequency/e_bare.inc"
    }},
    {401, 500, true, -1.1583698, 9.5784768, 5.0037178, 160, 20, 220, {
#include "natural_frequency/e_loaded.inc"
    }},
    {1001, 1100, false, 6.2981319, 11.0279416, 8.8966792, 160, 0, 0, {
#include "natural_frequency/f_bare.inc"
    }},
    {1001, 1100, true, 0.0301723, 11.0279416, 5.5585629, 160, 30, 220, {
#include "natural_frequency/f_loaded.inc"
    }},
};
// clang-format on
const Network& kBareB = kNetworks[2];

// One output of a network, in long double.
double plainOutput(const Network& n, const Vector6& in) {
    const Vector6 high = n.high(), low = n.low();
    long double sum = n.bias;
    for (int i = 0; i < 30; i++) {
        long double bend = n.weights.inputHiddenB[i];
        for (int j = 0; j < 6; j++)
            bend += n.weights.inputHiddenW[i][j] *
                    ((2 * static_cast<long double>(in(j)) - high(j) - low(j)) / (high(j) - low(j)));
        sum += n.weights.hiddenOutputW[i] * std::tanh(bend);
    }
    return static_cast<double>(n.min + (sum + 1) / 2 * (n.max - n.min));
}

double output(const double (&pose)[6], int* result = nullptr) {
    double q[6], frequency = NAN;
    std::copy_n(pose, 6, q);
    const int returned = zvmcCalculateNaturalFreq(q, &frequency);
    if (result != nullptr) *result = returned;
    return frequency;
}

// What the network of a load is asked with.
Vector6 loadedInputs(const double (&q)[6]) {
    return {q[1], q[2], q[3], q[4], mpb.loadWeight, mpb.loadCoord.z};
}

void carry(double weight, double z) {
    mpb.loadWeight = weight;
    mpb.loadCoord = {1e3, -1e3, z};  // x and y play no part
}

TEST(NaturalFrequency, IsThatOfTheTypesNetworkAlsoBeyondItsRange) {
    std::vector<std::pair<int, const Network*>> cases;
    for (const Network& network : kNetworks)
        for (const int type :
             {network.firstType, (network.firstType + network.lastType) / 2, network.lastType})
            cases.emplace_back(type, &network);
    ref::StateDraw draw;
    for (const auto& [type, network] : cases) {
        fixture::start(type);
        for (int n = 0; n < 20; n++) {
            double q[6];
            for (double& x : q) x = draw.uniform(-400, 400);
            carry(network->loaded ? draw.uniform(-1, 40) : 0.0, draw.uniform(-500, 500));
            const double want =
                plainOutput(*network, network->loaded ? loadedInputs(q) : Vector6(Vector6::Map(q)));
            int result = 99;
            EXPECT_NEAR(want, output(q, &result), 1e-10 * (1 + std::fabs(want))) << type << ", " << n;
            EXPECT_EQ(want > 0 && want <= 200 ? 0 : -1, result) << type << ": " << want;
        }
    }
}

TEST(NaturalFrequency, OtherTypesTakeFamilyBsBareArmWithALoadToo) {
    const double q[6] = {10, -60, 70, -100, -80, 30};
    for (const int type : {0, -5, 501, 702, 903, 1000, 1101}) {
        fixture::start(type);
        carry(0.0, 70.0);
        EXPECT_NEAR(plainOutput(kBareB, Vector6::Map(q)), output(q), 1e-10) << type;
        carry(4.0, 70.0);
        EXPECT_NEAR(plainOutput(kBareB, loadedInputs(q)), output(q), 1e-10) << type;
    }
}

TEST(NaturalFrequency, AnyWeightButZeroIsALoad) {
    const double q[6] = {10, -60, 70, -100, -80, 30};
    fixture::start(101);
    carry(0.0, 0.0);
    const double bare = output(q);
    carry(-0.0, 90.0);
    EXPECT_EQ(bare, output(q));
    for (const double weight : {1e-300, 1e-310, -1e-300}) {
        carry(weight, 90.0);
        EXPECT_NEAR(plainOutput(kNetworks[3], loadedInputs(q)), output(q), 1e-10) << weight;
        EXPECT_NE(bare, output(q)) << weight;
    }
}

TEST(NaturalFrequency, RefusesWhatIsNoFrequencyAndWritesIt) {
    int result = 0;
    fixture::start(101);
    EXPECT_TRUE(std::isnan(output({0, fixture::kNan, 0, 0, 0, 0}, &result)));
    EXPECT_EQ(-1, result);
    // far out of range the continuation is of any size
    int refused = 0;
    for (const Network& network : kNetworks) {
        fixture::start(network.firstType);
        for (int corner = 0; corner < 64; corner++) {
            double q[6];
            for (int j = 0; j < 6; j++) q[j] = corner >> j & 1 ? 1e7 : -1e7;
            carry(network.loaded ? q[0] : 0.0, q[5]);
            const double got = output(q, &result);
            EXPECT_EQ(got > 0 && got <= 200 ? 0 : -1, result) << got;
            refused -= result;
        }
    }
    EXPECT_GT(refused, 0);
}

// ---- what the networks learned

// The first mode of the arm on the stiffness of its joints, by KDL's mass matrix, Hz.
double firstMode(const tarn::FittedArm& arm, const ref::ArmState& at) {
    const tarn::ParameterSet& set = *tarn::dynamicsSet(arm.firstType);
    Vector6 stiffness;
    stiffness << Eigen::Vector3d::Constant(arm.armStiffness), Eigen::Vector3d::Constant(arm.wristStiffness);
    const Eigen::Matrix<double, 6, 6> spring = stiffness.asDiagonal();
    const Eigen::GeneralizedSelfAdjointEigenSolver<Eigen::Matrix<double, 6, 6>> modes(
        spring, ref::dynamics(set, at).mass, Eigen::EigenvaluesOnly);
    return std::sqrt(modes.eigenvalues()(0)) / (2 * std::numbers::pi);
}

TEST(NaturalFrequency, IsTheFlexibleArmsWithinTheErrorTold) {
    constexpr int kPoses = 400;
    ref::StateDraw draw;
    for (const tarn::FittedArm& arm : tarn::kFittedArms)
        for (const Network& network : kNetworks) {
            if (network.firstType != arm.firstType) continue;
            SCOPED_TRACE(testing::Message() << arm.firstType << (network.loaded ? " loaded" : " bare"));
            const tarn::FittedNetwork& fitted = network.loaded ? arm.loaded : arm.bare;
            const double range = network.max - network.min;
            fixture::start(arm.firstType);
            double squares = 0.0, modelMax = 0.0, modelMin = 1e3;
            for (int n = 0; n < kPoses; n++) {
                ref::ArmState at = {};
                const Vector6 high = network.high(), low = network.low();
                const int first = network.loaded ? 1 : 0;
                // A load's network is asked with joints 1 and 6 at zero; they change next to nothing.
                for (int j = 0; j < (network.loaded ? 4 : 6); j++)
                    at.q[first + j] = draw.uniform(low(j), high(j));
                if (network.loaded) {
                    at.load[0] = draw.uniform(0, network.load);
                    at.load[3] = draw.uniform(0, network.z);
                }
                carry(at.load[0], at.load[3]);
                const double model = network.max - fitted.gain * (network.max - firstMode(arm, at));
                const double off = 100 * (output(at.q) - model) / range;
                // the worst of more poses than were held out can be a little worse
                EXPECT_LT(std::fabs(off), 1.5 * fitted.worstError) << n;
                squares += off * off;
                modelMax = std::max(modelMax, model);
                modelMin = std::min(modelMin, model);
            }
            EXPECT_LT(std::sqrt(squares / kPoses), 1.25 * fitted.rmsError);
            EXPECT_GT(std::sqrt(squares / kPoses), 0.75 * fitted.rmsError);
            // the ends of the told range are those of the model
            EXPECT_LT(modelMax, network.max + 1e-3 * range);
            EXPECT_GT(modelMin, network.min - 1e-3 * range);
            EXPECT_GT(modelMax - modelMin, 0.7 * range);
            EXPECT_NEAR(1.0, fitted.gain, 0.15);
        }
}

}  // namespace
