// The identification of a joint's friction: samples against the rules written out plainly, the evaluation
// against the fit by itself, the judgement on results that are handed out in the fit's place.
#include "identification/joint_friction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "identification/single_joint.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "support/reference.h"
#include "tarnhal/thalintf.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

using fixture::kInf, fixture::kNan;
using tarn::jointFriction, tarn::singleJointIdentify;

static const double* handedOut;  // ten parameters, slow and fast; null: the fit itself

extern "C" void __real_fitCurve(int, const double*, const double*, const double*, double*, double*);
extern "C" void __wrap_fitCurve(int dim, const double* X0, const double* xdata, const double* ydata,
                                double* x, double* resnorm) {
    if (handedOut == nullptr) return __real_fitCurve(dim, X0, xdata, ydata, x, resnorm);
    std::copy_n(handedOut + (dim == 40 ? 0 : 5), 5, x);
}

namespace {

void start(int type, int joint) {
    fixture::start(type);
    mpb.state = TGEN_SERVICE;
    singleJointIdentify = {};
    jointFriction = {};
    handedOut = nullptr;
    zvmcSingleJointFrictionOnlineOnOff(static_cast<uint8_t>(joint), 1);
}

// ---- sampling

constexpr double kModel = 12.5;  // N m

// A cycle of joint 2, which is under test: deg/s, deg/s^2, thousandths of the rated torque.
struct Cycle {
    double v, acceleration;
    int16_t current;
    int state = TGEN_SERVICE;
};

void sample(const Cycle& c) {
    JNTS torque = {};
    torque.v[1] = kModel;
    mpb.state = c.state;
    mpb.jCvel.v[1] = c.v / 1000;
    mpb.jCaccRaw.v[1] = c.acceleration / 1e6;
    how.currentFeedback[1] = c.current;
    zvmcSingleJointFrictionSaveData(&torque);
}

// The rules, one after the other. Ranges: slow up, slow down, fast up, fast down.
struct Plain {
    double meanV[4][30] = {}, meanT[4][30] = {};
    int next[4] = {}, count = 0, averaged = 0, fastStage = 0;
    float v[10], t[10];

    void clear() { count = averaged = 0; }
    void sample(const Cycle& c) {
        const double speed = mpb.jCvel.v[1] * 1000.0, s = std::fabs(speed);
        const double torque = c.current * 0.001 * ref::ratedTorque(103, 1) - kModel / 100.0;
        if (s >= 18.0 && fastStage == 0) fastStage = 1, clear();
        const bool slow = c.state == 2 && s < 18.0 && s > 0.01 && fastStage == 0;
        const bool fast = c.state == 2 && s >= 18.0 && s < 126.1 && fastStage == 1;
        if (!slow && !fast) return clear();
        if (!(std::fabs(mpb.jCaccRaw.v[1] * 1000 * 1000) < (slow ? 1e-06 : 0.1))) return clear();
        const int range = (slow ? 0 : 2) + (speed < 0 ? 1 : 0), k = next[range];
        const double low = slow ? k * 0.9 - 0.1 : k * 3.6 + 17.9;
        const double high = slow ? (k + 1) * 0.9 + 0.1 : (k + 1) * 3.6 + 18.1;
        if (s <= low || s >= high) return clear();
        if (count < (slow ? 10 : 3) && averaged == 0) {
            v[count] = static_cast<float>(speed);
            t[count++] = static_cast<float>(torque);
            return;
        }
        averaged = 1;
        float sumV = 0, sumT = 0;
        for (int i = 0; i < count; i++) sumV += v[i], sumT += t[i];
        meanV[range][k] = static_cast<double>(sumV / static_cast<float>(count));
        meanT[range][k] = static_cast<double>(sumT / static_cast<float>(count));
        if (slow || k < 29) next[range]++;
    }

    void expectSame(const std::string& where) const {
        const auto& s = singleJointIdentify;
        const auto& f = jointFriction;
        for (int r = 0; r < 4; r++) {
            const auto n = static_cast<unsigned>(r < 2 ? 20 : 30), from = n * static_cast<unsigned>(r % 2);
            ASSERT_TRUE(
                std::equal(meanV[r], meanV[r] + n, (r < 2 ? s.slowJointVel : s.highJointVel) + from) &&
                std::equal(meanT[r], meanT[r] + n, (r < 2 ? s.slowJointTorque : s.highJointTorque) + from))
                << where << ", range " << r;
        }
        ASSERT_EQ(
            std::vector({f.j_vel, f.j_velN, f.j_vel_high, f.j_velN_high, f.slowFlag, +f.velFlag, s.count}),
            std::vector({next[0], next[1], next[2], next[3], fastStage, averaged, count}))
            << where;
        ASSERT_TRUE(s.sumJointVel == 0 && s.sumJointToruqe == 0) << where;
    }
};

struct Sweep {
    std::vector<Cycle> cycles;
    std::mt19937 random;

    void hold(double v, unsigned n) {
        for (; n > 0; n--) {
            const double current =
                std::copysign(40 + std::fabs(v), v) + std::fmod(static_cast<double>(random()), 19) - 9;
            cycles.push_back({v, 0, static_cast<int16_t>(std::fabs(v) < 1e4 ? current : -32768)});
        }
    }
    void ramp(unsigned n) { cycles.insert(cycles.end(), n, {cycles.back().v, 20, 40}); }
};

TEST(FrictionSampling, FillsEveryBinOfASweep) {
    Sweep sweep;
    for (double sign : {1.0, -1.0}) {
        for (int k = 0; k < 20; k++) sweep.hold(sign * (k + 0.5) * 0.9, 12), sweep.ramp(3);
        sweep.hold(sign * 17.95, 14);  // a bin that has no place
    }
    for (double sign : {-1.0, 1.0})
        for (int k = 0; k < 30; k++) sweep.hold(sign * (18 + (k + 0.5) * 3.6), 5), sweep.ramp(2);
    start(103, 2);
    Plain plain;
    for (const Cycle& c : sweep.cycles) {
        sample(c);
        plain.sample(c);
        ASSERT_NO_FATAL_FAILURE(plain.expectSame(std::to_string(c.v)));
    }
    EXPECT_EQ(jointFriction.j_vel, 21);
    EXPECT_EQ(jointFriction.j_vel_high, 29);
    for (int r = 0; r < 4; r++)
        for (int k = 0; k < (r < 2 ? 20 : 30); k++) {
            const double sign = r % 2 == 0 ? 1 : -1,
                         v = sign * (r < 2 ? (k + 0.5) * 0.9 : 18 + (k + 0.5) * 3.6);
            EXPECT_NEAR(plain.meanV[r][k], v, 1e-4);
            EXPECT_NEAR(plain.meanT[r][k], (v + sign * 40) * 0.001 * ref::ratedTorque(103, 1) - kModel / 100,
                        0.012);
        }
}

// Edges of the bins, steps that skip or repeat one, new starts, other states, wild values.
TEST(FrictionSampling, FollowsTheRulesOnAnySweep) {
    int closed = 0;
    for (unsigned seed = 0; seed < 60; seed++) {
        Sweep sweep{{}, std::mt19937(seed)};
        auto& random = sweep.random;
        for (int n = 0; n < 250; n++) {
            const bool fast = n % 125 > 60;
            const int k = fast ? (n % 125 - 61) / 2 : n % 125 / 3;
            const double places[] = {0.5, 0.5, 0.5, 1, 0, 1.05, -0.02, 2.5}, width = fast ? 3.6 : 0.9;
            const double speed = (fast ? 18 : 0) + width * (k + places[random() % (seed % 3 == 0 ? 3 : 8)]);
            sweep.hold(random() % 10 < seed % 4 ? -speed : speed, static_cast<unsigned>(random() % 18 + 1));
            if (random() % 2 == 0) sweep.ramp(1);
            if (random() % 16 == 0) sweep.cycles.back().state = static_cast<int>(random() % 5);
        }
        for (double v : {18.0, -18.0, 17.999, 126.1, 126.0, 0.01, 0.0, 1e9, kInf, kNan, -kInf})
            sweep.hold(v, 1);
        for (double a : {1e-6, 0.99e-6, 0.1, 0.099, kNan, kInf}) sweep.cycles.push_back({125, a, 7});

        start(103, 2);
        Plain plain;
        for (size_t n = 0; n < sweep.cycles.size(); n++) {
            if (n % 997 == 996 || n == sweep.cycles.size() / 2) {
                uint16_t status;
                float real[10], meo[10], err[10];
                zvmcGetJointFrictionStatus(&status, real, meo, err);
                std::fill_n(plain.next, 4, plain.fastStage = 0);
            }
            sample(sweep.cycles[n]);
            plain.sample(sweep.cycles[n]);
            ASSERT_NO_FATAL_FAILURE(plain.expectSame(std::to_string(seed) + ", " + std::to_string(n)));
            closed += plain.averaged;
        }
    }
    EXPECT_GT(closed, 1000);
}

// The model's torque of the same cycle, for the flag 1 and a joint of the arm alone; no call allocates, locks
// or enters the kernel.
TEST(FrictionSampling, IsAStageOfTheCycle) {
    const auto excess = [](int joint, uint16_t flag, int joints = 6) {
        start(103, joint);
        zvmcSingleJointFrictionOnlineOnOff(static_cast<uint8_t>(joint), flag);
        mcb.fricCompensationFlag = 1;
        mpb.sysJntsNo = joints;
        for (int i = 0; i < 6; i++) {
            mpb.j6.v[i] = 10 * i - 35;
            mpb.jCvel.v[i] = 0.0005;
            how.currentFeedback[i] = static_cast<int16_t>(100 + i);
        }
        for (int n = 0; n < 12; n++)
            EXPECT_EQ(tarn::test::guarded([] { gravityTorqueControl(&mpb.j6); }), "");
        return singleJointIdentify.slowJointTorque[0];
    };
    for (int i = 0; i < 6; i++) {
        const double torque = excess(i + 1, 1);
        EX_LOAD load = {};
        JNTS model = {};
        zvmcNewGravityTorque(&mpb.j6, &load, &model);
        EXPECT_NEAR(torque, (100 + i) * 0.001 * ref::ratedTorque(103, i) - model.v[i] / 100, 1e-6) << i;
        EXPECT_EQ(excess(i + 1, 2), 0.0);
    }
    for (int joint : {0, 7, 255}) {
        EXPECT_EQ(excess(joint, 1), 0.0);
        EXPECT_EQ(singleJointIdentify.jointNum, static_cast<uint8_t>(joint - 1));
    }
    EXPECT_EQ(excess(4, 1, 3), 0.0);
}

// ---- evaluation

struct Result {
    uint16_t status = 77;
    float real[10], meo[10], err[10];
    Result() {
        for (auto* values : {real, meo, err}) std::fill_n(values, 10, -7.0f);
        zvmcGetJointFrictionStatus(&status, real, meo, err);
    }
};

struct Factory {
    int type, joint;
    double value[10];
};
// clang-format off
const Factory kFactory[] = {
    {  1, 3, {2.1779, 8.8225, 0.0073, 151.1883, 3.5497, 5.7085, -2.5677, -4.4524, -19.6854, 1.9261}},
    {101, 1, {10.024, 41.523, 0.0033, 329.9324, 28.289, -71.7434, 11.3021, 4.42725, 23.9343, 17.9582}},
    {100, 4, {1.2523, 1.3676, 0.0126, 2579.98, 2.1091, -9.4779, 1.4954, -6.0408, 20.2514, 1.5311}},
    {101, 7, {}},
    {  1, 0, {}},
};
// clang-format on

// The bins through the fit, and the same bins in other units at each further call.
TEST(FrictionStatus, FitsTheBins) {
    for (const Factory& f : kFactory) {
        start(f.type, f.joint);
        auto& s = singleJointIdentify;
        for (int k = 0; k < 100; k++) {
            double& v = k < 40 ? s.slowJointVel[k] : s.highJointVel[k - 40];
            v = k < 40 ? (k % 20 + 0.5) * (k < 20 ? 0.9 : -0.9)
                       : (18 + ((k - 40) % 30 + 0.5) * 3.6) * (k < 70 ? 1 : -1);
            (k < 40 ? s.slowJointTorque[k] : s.highJointTorque[k - 40]) =
                ref::frictionCurve(17, 0, v / 1000, false) + 0.05 * std::sin(9.0 * k);
        }
        s.jointFrictionOnlineFlag = 3;  // neither samples nor evaluates
        const Result r;
        EXPECT_TRUE(r.status == 0 && r.real[0] == 0 && r.meo[0] == 0 && r.err[0] == 0);
        EXPECT_TRUE(r.real[1] == -7 && r.meo[9] == -7 && r.err[5] == -7);
        s.jointFrictionOnlineFlag = 0;

        for (int call = 0; call < 2; call++) {
            auto slow = std::to_array(s.slowJointVel);
            auto high = std::to_array(s.highJointVel);
            for (double& v : slow) v *= 0.017453292519943;
            for (double& v : high) v *= 0.017453292519943;
            double want[10], resnorm;
            const double ones[5] = {1, 1, 1, 1, 1};
            __real_fitCurve(40, ones, slow.data(), s.slowJointTorque, want, &resnorm);
            __real_fitCurve(60, ones, high.data(), s.highJointTorque, want + 5, &resnorm);

            fixture::forgetCalls();
            const Result found;
            EXPECT_EQ(std::to_array(s.slowJointVel), slow);
            EXPECT_EQ(std::to_array(s.highJointVel), high);
            for (int i = 0; i < 10; i++) {
                EXPECT_EQ(found.real[i], static_cast<float>(want[i])) << f.type << " " << i;
                EXPECT_EQ(found.meo[i], static_cast<float>(f.value[i])) << f.type << " " << i;
                EXPECT_EQ(found.err[i], found.meo[i] - found.real[i]) << f.type << " " << i;
            }
            const fixture::Lines lines = fixture::calls();
            const char* starts[] = {"slow fc fs qs yita sita = ", "slow time = ", nullptr};
            for (size_t n = 0; starts[n] != nullptr; n++) {
                EXPECT_EQ(lines.at(n).find(std::string("Write_Log 1 ") + starts[n]), 0u) << lines[n];
                EXPECT_EQ(lines.at(n + 123).find("Write_Log 1 high" + std::string(starts[n] + 4)), 0u);
            }
            EXPECT_EQ(lines.at(2), "Write_Log 1 " + std::to_string(s.jointNum) + "-------------\n");
            EXPECT_NEAR(std::stod(lines.at(121).substr(lines[121].rfind(' '))), high[59], 1e-6);
            EXPECT_EQ(lines.at(122).find("Write_Log 1 singleJointIdentify.highJointTorque[59] = "), 0u);
        }
    }
}

// The numbers are cut before they are compared, and only a loss trips.
TEST(FrictionStatus, JudgesByWholeNumbers) {
    for (const Factory& f : kFactory) {
        start(f.type, f.joint);
        singleJointIdentify.jointFrictionOnlineFlag = 0;
        double real[10];
        handedOut = real;
        const auto statusWith = [&](int i, double value) {
            std::copy_n(f.value, 10, real);
            real[i] = value;
            return Result().status;
        };
        for (int i = 0; i < 10; i++) {
            const double whole = std::trunc(std::fabs(f.value[i])), half = std::ceil(whole / 2);
            for (double sign : {1.0, -1.0}) {
                EXPECT_EQ(statusWith(i, sign * half), 0) << f.type << " " << i;
                EXPECT_EQ(statusWith(i, sign * (half - 0.01)), whole > 0) << f.type << " " << i;
                EXPECT_EQ(statusWith(i, sign * 1e300), 0) << f.type << " " << i;
            }
            EXPECT_EQ(statusWith(i, kNan), whole > 0) << f.type << " " << i;
        }
    }
}

// At 3.6 to 90 degrees/ms the factory's curve is zero, a bad measurement; with a nominal speed beyond that it
// is that of the fastest speed, while the found one overflows on one side and counts as zero.
TEST(FrictionStatus, ComparesCurvesFarBeyondTheSweep) {
    start(101, 1);
    singleJointIdentify.jointFrictionOnlineFlag = 0;
    handedOut = kFactory[1].value;
    EXPECT_EQ(Result().status, 0);
    EXPECT_EQ(fixture::calls().size(), 125u + 20 * 4);
    fixture::forgetCalls();
    mpb.defaultJointVel.v[0] = 1e6;
    EXPECT_EQ(Result().status, 1);
    EXPECT_EQ(fixture::calls().size(), 125u);
}

TEST(FrictionCurve, HasTwoRanges) {
    float p[10] = {1.2f, 1.9f, 0.01f, 400, 2, -9, 1.5f, -6, 20, 1.5f};
    for (double v : {-2.0, -0.3, -0.0181, -0.0179, -0.001, 0.0, 1e-5, 0.01, 0.01799, 0.01801, 0.5, 3.0}) {
        const float* c = p + (std::fabs(v) <= 0.018 ? 0 : 5);
        const double want =
            (c[0] + (c[1] - c[0]) * std::exp(-std::pow(v / c[2], 2))) * std::tanh(c[3] * v / 2) + c[4] * v;
        EXPECT_NEAR(frictionCalculate(p, static_cast<float>(v * 180 / M_PI / 1000)), want, 1e-5) << v;
    }
    EXPECT_TRUE(std::isnan(frictionCalculate(p, -90)));  // the exponential overflows
    EXPECT_TRUE(std::isfinite(frictionCalculate(p, 90)));
}

}  // namespace
