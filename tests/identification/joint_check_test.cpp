// The model check of one joint, and the gains of the vibration abatement.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "identification/single_joint.h"
#include "numeric/filter_records.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "tarnhost/devices.h"
#include "tmcforceblock.h"

namespace {

using tarn::singleJointIdentify;
using tarn::host::drives;

struct Status {
    std::uint16_t status = 99;
    float real[3], factory[3], error[3];

    Status() { EXPECT_EQ(0, zvmcGetJointModelStatus(&status, real, factory, error)); }
    std::vector<float> all() const {
        std::vector<float> values;
        for (const float* three : {real, factory, error}) values.insert(values.end(), three, three + 3);
        return values;
    }
};

float online() {
    float value = NAN;
    EXPECT_EQ(0, zvmcGetJointModelDataOnline(&value));
    return value;
}

void choose(int joint) { zvmcSingleJointModelOnlineOnOff(static_cast<std::uint8_t>(joint), 1); }

void answer(int joint, std::int32_t rigidity, std::int32_t rodInertia, std::int32_t motorInertia) {
    drives.rigidity[joint - 1] = rigidity;
    drives.rodInertia[joint - 1] = rodInertia;
    drives.motorInertia[joint - 1] = motorInertia;
}

TEST(JointModel, StoresAndTellsTheDriveWhatItIsTold) {
    fixture::start(1);
    for (const int joint : {3, 0, 7, 255}) {
        EXPECT_EQ(0, zvmcSingleJointModelOnlineOnOff(static_cast<std::uint8_t>(joint), 513));
        EXPECT_EQ(joint, singleJointIdentify.jointModelNum);
        EXPECT_EQ(513, singleJointIdentify.jointModelOnlineFlag);
    }
    EXPECT_EQ(0, zvmcSetJointModelType(40000));
    EXPECT_EQ(40000, singleJointIdentify.JointModelType);
    EXPECT_EQ(
        "zvHalSetJointIdentifyEnable 3 513; zvHalSetJointIdentifyEnable 0 513; "
        "zvHalSetJointIdentifyEnable 7 513; zvHalSetJointIdentifyEnable 255 513; "
        "zvHalSetJointIdentifyType 40000; ",
        fixture::callText());
}

TEST(JointModel, FirstReadingIsOfJoint1AndLaterOnesOfTheChosen) {
    fixture::start(1);
    for (int i = 0; i < 6; i++) drives.identification[i] = 1000000 * (i + 1);
    zvmcSetJointModelType(1);
    choose(4);
    EXPECT_EQ(1000000.0f, online());
    EXPECT_EQ(1, singleJointIdentify.jointModelNum);
    EXPECT_EQ(1000000.0f, online());
    choose(4);
    EXPECT_EQ(4000000.0f, online());
    for (const int type : {0, 2, 65535}) {
        zvmcSetJointModelType(static_cast<std::uint16_t>(type));
        EXPECT_FLOAT_EQ(4.0f, online()) << type;
    }
    for (const int outside : {0, 7, 255}) {
        choose(outside);
        EXPECT_EQ(0.0f, online()) << outside;
    }
}

TEST(JointModel, OnlyMoreThanTwiceTheFactoryValueTrips) {
    const struct {
        int type, joint;
        std::int32_t drive[3];
        float factory[3];
        int status;
    } cases[] = {
        {1, 1, {16700, 2367, 31}, {16700, 2367, 31}, 0},
        {100, 2, {33400, 15584, 62}, {16700, 7792, 31}, 0},  // twice is not more than twice
        {1, 2, {33401, 15584, 62}, {16700, 7792, 31}, 1},
        {1, 3, {0, 2450021, 0}, {16700, 1225010, 31}, 1},
        {1, 4, {1, -5, 22}, {7800, 1024, 10.638f}, 1},
        {1, 4, {1, -5, 21}, {7800, 1024, 10.638f}, 0},  // far below is as good
        {1, 5, {15600, 205020, 21}, {7800, 102510, 10.638f}, 0},
        {1, 6, {15600, 675, 21}, {7800, 337.43f, 10.638f}, 1},
        {1, 6, {15600, 674, 21}, {7800, 337.43f, 10.638f}, 0},
        {101, 1, {0, 0, 1}, {0, 0, 0}, 1},  // no factory values are known
        {0, 1, {0, -1, 0}, {0, 0, 0}, 0},
        {150, 6, {0, 0, 0}, {0, 0, 0}, 0},
    };
    for (const auto& c : cases) {
        fixture::start(c.type);
        drives = {};
        answer(c.joint, c.drive[0], c.drive[1], c.drive[2]);
        choose(c.joint);
        const Status is;
        SCOPED_TRACE(testing::Message() << "type " << c.type << " joint " << c.joint);
        EXPECT_EQ(c.status, is.status);
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(static_cast<float>(c.drive[i]), is.real[i]) << i;
            EXPECT_EQ(c.factory[i], is.factory[i]) << i;
            EXPECT_EQ(c.factory[i] - static_cast<float>(c.drive[i]), is.error[i]) << i;
        }
    }
    // a joint outside the arm: the drives give no answer, and there is nothing to compare with
    fixture::start(1);
    for (int joint = 1; joint <= 6; joint++) answer(joint, 1 << 30, 1 << 30, 1 << 30);
    for (const int outside : {0, 7, 255}) {
        choose(outside);
        const Status is;
        EXPECT_EQ(0, is.status) << outside;
        EXPECT_EQ(std::vector<float>(9, 0.0f), is.all()) << outside;
    }
}

// ---- vibration abatement

using Gains = std::vector<float>;

Gains abate() {
    Gains gains(6, 77.0f);
    EXPECT_EQ(0, zvmcVibrateAbateControl(gains.data()));
    return gains;
}

void plan(const double (&degPerS2)[6]) {
    for (int i = 0; i < 6; i++) mpb.jCaccRaw.v[i] = degPerS2[i] * 1e-6;
}

std::vector<int> driven() { return {drives.varGain, drives.varGain + 6}; }

// The low-pass gives an eleventh of its first sample. A thousandth of the limits is 0.36, 0.24 or 0.12.
TEST(VibrationAbatement, ComparesTheFilteredAccelerationWithAThousandthOfTheLimit) {
    const struct {
        int type;
        double limit[6];
    } types[] = {
        {0, {360, 360, 360, 360, 360, 360}},    {150, {360, 360, 360, 360, 360, 360}},
        {201, {240, 240, 360, 360, 360, 360}},  {400, {240, 240, 360, 360, 360, 360}},
        {401, {120, 120, 120, 360, 360, 360}},  {500, {120, 120, 120, 360, 360, 360}},
        {501, {360, 360, 360, 360, 360, 360}},  {1000, {360, 360, 360, 360, 360, 360}},
        {1001, {120, 120, 120, 360, 360, 360}}, {1100, {120, 120, 120, 360, 360, 360}},
    };
    // planned share of a thousandth of the limit, then gain and drive; speed at half
    const double share[6] = {0.999, 1.001, -0.999, -1.001, -5000.0, 0.0};
    const float gain[6] = {0.999f, 1.0f, -0.999f, -1.001f, -5000.0f, 1000.0f};
    const std::vector<int> drive = {0, 1, 0, 1, 1, 1};
    for (const auto& [type, limit] : types)
        for (int shift = 0; shift < 6; shift++) {
            fixture::start(type);
            mcb.speedScaleAuto = 0.5f;
            std::fill_n(tarn::armFilters.lowpassfilter.prev_output, 6, 0.0f);
            double planned[6];
            for (int i = 0; i < 6; i++) planned[i] = 11 * share[(i + shift) % 6] * 1e-3 * limit[i] * 0.5;
            plan(planned);
            const Gains is = abate();
            for (int i = 0; i < 6; i++) {
                const int k = (i + shift) % 6;
                EXPECT_NEAR(gain[k], is[static_cast<std::size_t>(i)], 1e-5 * std::fabs(gain[k]))
                    << type << " joint " << i + 1;
                EXPECT_EQ(drive[static_cast<std::size_t>(k)], drives.varGain[i])
                    << type << " joint " << i + 1;
            }
        }
}

TEST(VibrationAbatement, TheLowPassRunsOnFromCallToCall) {
    fixture::start(101);
    mcb.speedScaleAuto = 1.0f;
    double filtered[6] = {};
    for (int n = 0; n < 60; n++) {
        double planned[6];
        for (int i = 0; i < 6; i++) planned[i] = -500.0 * (i + 1) * (n < 30 ? 1.0 : std::cos(0.3 * n));
        plan(planned);
        const Gains is = abate();
        for (int i = 0; i < 6; i++) {
            filtered[i] += (planned[i] - filtered[i]) / 11.0;
            const double want = std::min(filtered[i] / 360.0 * 1000.0, 1.0);
            EXPECT_NEAR(want, static_cast<double>(is[static_cast<std::size_t>(i)]),
                        1e-5 * std::fabs(want) + 1e-4)
                << n << " joint " << i + 1;
        }
    }
}

// It halts short of zero, at the smallest numbers there are, so standing after a motion is no rest.
TEST(VibrationAbatement, AMotionFadesButNeverToZero) {
    fixture::start(101);
    mcb.speedScaleAuto = 1.0f;
    plan({500, -500, 0, 0, 0, 0});
    abate();
    plan({0, 0, 0, 0, 0, 0});
    for (int n = 0; n < 5000; n++) abate();
    EXPECT_EQ((std::vector<int>{0, 0, 1, 1, 1, 1}), driven());
}

TEST(VibrationAbatement, DoesWithoutNumbers) {
    fixture::start(101);
    mcb.speedScaleAuto = 0.0f;
    plan({3, -3, 0, 1e300, fixture::kNan, -fixture::kInf});
    const Gains is = abate();
    EXPECT_EQ(1.0f, is[0]);
    EXPECT_EQ(-INFINITY, is[1]);
    EXPECT_EQ(1000.0f, is[2]);
    EXPECT_TRUE(std::isnan(is[4]));
    EXPECT_EQ((std::vector<int>{1, 1, 1, 1, 0, 1}), driven());
}

TEST(VibrationAbatement, TheCycleTellsTheDrivesOnce) {
    fixture::start(101);
    mcb.speedScaleAuto = 1.0f;
    plan({1000, -1000, 0, 0.1, -0.1, 0});
    JNTS q{};
    for (unsigned cycle = 1; cycle <= 3; cycle++) {
        EXPECT_EQ("", tarn::test::guarded([&] { gravityTorqueControl(&q); }));
        EXPECT_EQ(cycle, drives.varGainWrites);
        EXPECT_EQ((std::vector<int>{1, 1, 1, 0, 0, 1}), driven());
    }
}

}  // namespace
