// The identification of a joint's friction: samples against the rules written out plainly, the evaluation
// against the fit by itself, the judgement on results that are handed out in the fit's place.
#include "identification/joint_friction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
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

namespace {

const double* handedOut;  // ten parameters, slow and fast; null: the fit itself

}  // namespace

extern "C" void __real_fitCurve(int, const double*, const double*, const double*, double*, double*);
extern "C" void __wrap_fitCurve(int dim, const double* X0, const double* xdata, const double* ydata,
                                double* x, double* resnorm) {
    if (handedOut == nullptr) return __real_fitCurve(dim, X0, xdata, ydata, x, resnorm);
    std::copy_n(handedOut + (dim == 40 ? 0 : 5), 5, x);
}

namespace {

void start(int type, uint8_t joint) {
    fixture::start(type);
    mpb.state = TGEN_SERVICE;
    singleJointIdentify = {};
    jointFriction = {};
    handedOut = nullptr;
    zvmcSingleJointFrictionOnlineOnOff(joint, 1);
}

// A cycle of joint 2 (the one under test): deg/s, deg/s^2, thousandths of the rated torque.
struct Cycle {
    double v, acceleration;
    int16_t current;
    int state = TGEN_SERVICE;
};

constexpr double kModel = 12.5;  // N m

void sample(const Cycle& c) {
    JNTS torque = {};
    torque.v[1] = kModel;
    mpb.state = static_cast<decltype(mpb.state)>(c.state);
    mpb.jCvel.v[1] = c.v / 1000;
    mpb.jCaccRaw.v[1] = c.acceleration / 1e6;
    how.currentFeedback[1] = c.current;
    zvmcSingleJointFrictionSaveData(&torque);
}

// The rules, one after the other, for one joint.
struct Plain {
    double slowV[40] = {}, slowT[40] = {}, highV[60] = {}, highT[60] = {};
    float v[10], t[10];
    int count = 0, averaged = 0, slowUp = 0, slowDown = 0, highUp = 0, highDown = 0, high = 0;

    void restart() { slowUp = slowDown = highUp = highDown = high = 0; }
    void clear() { count = averaged = 0; }

    void sample(const Cycle& c, double ratedTorque) {
        const double speedV = mpb.jCvel.v[1] * 1000.0, a = std::fabs(mpb.jCaccRaw.v[1] * 1000 * 1000);
        const double torque = c.current * 0.001 * ratedTorque - kModel / 100.0, s = std::fabs(speedV);
        if (s >= 18.0 && high == 0) {
            high = 1;
            clear();
        }
        if (c.state != 2) return clear();
        if (s > 0.01 && s < 18.0 && high == 0) {
            if (!(a < 1e-06)) return clear();
            if (speedV > 0 && s > slowUp * 0.9 - 0.1 && s < (slowUp + 1) * 0.9 + 0.1) {
                if (take(10, speedV, torque)) return;
                if (slowUp < 20) mean(slowV[slowUp], slowT[slowUp]);
                slowUp++;
            } else if (speedV < 0 && s > slowDown * 0.9 - 0.1 && s < (slowDown + 1) * 0.9 + 0.1) {
                if (take(10, speedV, torque)) return;
                if (slowDown < 20) mean(slowV[20 + slowDown], slowT[20 + slowDown]);
                slowDown++;
            } else {
                clear();
            }
        } else if (s >= 18.0 && s < 126.1 && high == 1) {
            if (!(a < 0.1)) return clear();
            if (speedV > 0 && s > highUp * 3.6 + 17.9 && s < (highUp + 1) * 3.6 + 18.1) {
                if (take(3, speedV, torque)) return;
                mean(highV[highUp], highT[highUp]);
                if (highUp < 29) highUp++;
            } else if (speedV < 0 && s > highDown * 3.6 + 17.9 && s < (highDown + 1) * 3.6 + 18.1) {
                if (take(3, speedV, torque)) return;
                mean(highV[30 + highDown], highT[30 + highDown]);
                if (highDown < 29) highDown++;
            } else {
                clear();
            }
        } else {
            clear();
        }
    }
    bool take(int wanted, double speed, double torque) {
        if (count >= wanted || averaged != 0) {
            averaged = 1;
            return false;
        }
        v[count] = static_cast<float>(speed);
        t[count++] = static_cast<float>(torque);
        return true;
    }
    void mean(double& meanV, double& meanT) const {
        float sumV = 0, sumT = 0;
        for (int i = 0; i < count; i++) sumV += v[i], sumT += t[i];
        meanV = static_cast<double>(sumV / static_cast<float>(count));
        meanT = static_cast<double>(sumT / static_cast<float>(count));
    }

    void expectSame(const std::string& where) const {
        const auto& s = singleJointIdentify;
        const bool same = std::memcmp(s.slowJointVel, slowV, sizeof slowV) == 0 &&
                          std::memcmp(s.slowJointTorque, slowT, sizeof slowT) == 0 &&
                          std::memcmp(s.highJointVel, highV, sizeof highV) == 0 &&
                          std::memcmp(s.highJointTorque, highT, sizeof highT) == 0;
        const auto& f = jointFriction;
        ASSERT_TRUE(same) << where;
        ASSERT_EQ(
            std::vector({f.j_vel, f.j_velN, f.j_vel_high, f.j_velN_high, f.slowFlag, +f.velFlag, s.count}),
            std::vector({slowUp, slowDown, highUp, highDown, high, averaged, count}))
            << where;
        ASSERT_TRUE(s.sumJointVel == 0 && s.sumJointToruqe == 0) << where;
    }
};

// ---- sampling

struct Sweep {
    std::vector<Cycle> cycles;
    std::mt19937 random;

    double draw(double low, double high) { return std::uniform_real_distribution<double>(low, high)(random); }
    void hold(double v, int n) {
        for (; n > 0; n--)
            cycles.push_back({v, 0, static_cast<int16_t>(std::copysign(40 + std::fabs(v), v) + draw(-9, 9))});
    }
    void ramp(int n) { cycles.resize(cycles.size() + static_cast<size_t>(n), {cycles.back().v, 20, 40}); }
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
    for (size_t n = 0; n < sweep.cycles.size(); n++) {
        sample(sweep.cycles[n]);
        plain.sample(sweep.cycles[n], ref::ratedTorque(103, 1));
        ASSERT_NO_FATAL_FAILURE(plain.expectSame(std::to_string(n)));
    }
    EXPECT_EQ(jointFriction.j_vel, 21);
    EXPECT_EQ(jointFriction.j_velN, 21);
    EXPECT_EQ(jointFriction.j_vel_high, 29);
    const auto& s = singleJointIdentify;
    for (int k = 0; k < 100; k++) {
        const bool slow = k < 40;
        const int bin = slow ? k % 20 : (k - 40) % 30;
        const double sign = slow ? (k < 20 ? 1 : -1) : (k < 70 ? 1 : -1);
        const double v = sign * (slow ? (bin + 0.5) * 0.9 : 18 + (bin + 0.5) * 3.6);
        const double want = (v + sign * 40) * 0.001 * ref::ratedTorque(103, 1) - kModel / 100;
        EXPECT_NEAR(slow ? s.slowJointVel[k] : s.highJointVel[k - 40], v, 1e-4) << k;
        EXPECT_NEAR(slow ? s.slowJointTorque[k] : s.highJointTorque[k - 40], want, 0.01) << k;
    }
}

// Edges of the bins, steps that skip or repeat one, slow stages after a status call, other states, wild
// values.
TEST(FrictionSampling, FollowsTheRulesOnAnySweep) {
    int closed = 0;
    for (unsigned seed = 0; seed < 60; seed++) {
        Sweep sweep{{}, std::mt19937(seed)};
        sweep.hold(0.45, 1);
        for (int n = 0; n < 250; n++) {
            const bool fast = n % 125 > 60;
            const int k = fast ? (n % 125 - 61) / 2 : n % 125 / 3;
            const double edge = fast ? 18 + k * 3.6 : k * 0.9, width = fast ? 3.6 : 0.9;
            const double places[] = {0.5, 0.5, 0.5, 1, 0, 1.05, -0.02, 2.5};
            const double sign = sweep.draw(0, 1) < (seed % 2 == 0 ? 0.0 : 0.3) ? -1 : 1;
            sweep.hold(sign * (edge + width * places[sweep.random() % (seed % 3 == 0 ? 3 : 8)]),
                       static_cast<int>(sweep.random() % 18) + 1);
            if (sweep.random() % 2 == 0) sweep.ramp(1);
            if (sweep.random() % 16 == 0) sweep.cycles.back().state = static_cast<int>(sweep.random() % 5);
            if (sweep.random() % 20 == 0) sweep.hold(17.95, 14);
        }
        const double wild[] = {18.0, -18.0, 17.999, 126.1, 126.0, 0.01, 0.0, 1e9, kInf, kNan, -kInf};
        for (double v : wild) sweep.hold(v, 1);
        for (double a : {1e-6, 0.99e-6, 0.1, 0.099, kNan, kInf}) sweep.cycles.push_back({125, a, 7});
        for (auto& c : sweep.cycles)
            if (!(std::fabs(c.v) < 1e5)) c.current = -32768;

        start(103, 2);
        Plain plain;
        for (size_t n = 0; n < sweep.cycles.size(); n++) {
            if (n == sweep.cycles.size() / 2 || n % 997 == 996) {
                uint16_t status;
                float real[10], meo[10], err[10];
                zvmcGetJointFrictionStatus(&status, real, meo, err);
                plain.restart();
            }
            sample(sweep.cycles[n]);
            plain.sample(sweep.cycles[n], ref::ratedTorque(103, 1));
            ASSERT_NO_FATAL_FAILURE(plain.expectSame(std::to_string(seed) + ", " + std::to_string(n)));
            closed += plain.averaged;
        }
    }
    EXPECT_GT(closed, 1000);
}

// The model's torque of the same cycle, in service, for the flag 1 and a joint of the arm alone; no call of a
// cycle allocates, locks or enters the kernel.
TEST(FrictionSampling, IsAStageOfTheCycle) {
    const auto cycle = [](uint8_t joint, uint16_t flag) {
        start(103, joint);
        zvmcSingleJointFrictionOnlineOnOff(joint, flag);
        mcb.fricCompensationFlag = 1;
        for (int i = 0; i < 6; i++) {
            mpb.j6.v[i] = 10 * i - 35;
            mpb.jCvel.v[i] = 0.0005;
            how.currentFeedback[i] = static_cast<int16_t>(100 + i);
        }
        EXPECT_EQ(tarn::test::guarded([] {
                      for (int n = 0; n < 12; n++) gravityTorqueControl(&mpb.j6);
                  }),
                  "");
        return singleJointIdentify.slowJointTorque[0];
    };
    for (uint8_t joint = 1; joint <= 6; joint++) {
        const double excess = cycle(joint, 1);
        EX_LOAD load = {};
        JNTS model = {};
        zvmcNewGravityTorque(&mpb.j6, &load, &model);
        const int i = joint - 1;
        EXPECT_NEAR(excess, (100 + i) * 0.001 * ref::ratedTorque(103, i) - model.v[i] / 100, 1e-6) << +joint;
        EXPECT_EQ(cycle(joint, 2), 0.0);
    }
    for (uint8_t joint : {uint8_t{0}, uint8_t{7}, uint8_t{255}}) {
        EXPECT_EQ(cycle(joint, 1), 0.0);
        EXPECT_EQ(singleJointIdentify.jointNum, static_cast<uint8_t>(joint - 1));
        EXPECT_EQ(jointFriction.j_vel + singleJointIdentify.count, 0);
    }
    start(103, 4);
    mpb.sysJntsNo = 3;
    sample({5, 0, 1});
    EXPECT_EQ(singleJointIdentify.count, 0);
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
    int type;
    uint8_t joint;
    double value[10];
};
// clang-format off
const Factory kFactory[] = {
    {  1, 1, {2.1779, 8.8225, 0.0073, 151.1883, 3.5497, 5.7085, -2.5677, -4.4524, -19.6854, 1.9261}},
    {100, 3, {2.1779, 8.8225, 0.0073, 151.1883, 3.5497, 5.7085, -2.5677, -4.4524, -19.6854, 1.9261}},
    {  0, 2, {10.024, 41.523, 0.0033, 329.9324, 28.289, -71.7434, 11.3021, 4.42725, 23.9343, 17.9582}},
    {101, 1, {10.024, 41.523, 0.0033, 329.9324, 28.289, -71.7434, 11.3021, 4.42725, 23.9343, 17.9582}},
    { 50, 4, {1.2523, 1.3676, 0.0126, 2579.98, 2.1091, -9.4779, 1.4954, -6.0408, 20.2514, 1.5311}},
    {301, 6, {1.2523, 1.3676, 0.0126, 2579.98, 2.1091, -9.4779, 1.4954, -6.0408, 20.2514, 1.5311}},
    {101, 7, {}},
    {  1, 0, {}},
};
// clang-format on

// The fits of what is in the bins, and the same bins in other units at each further call.
TEST(FrictionStatus, FitsTheBins) {
    for (const Factory& f : kFactory) {
        start(f.type, f.joint);
        auto& s = singleJointIdentify;
        for (int k = 0; k < 100; k++) {
            const double v = k < 40 ? (k % 20 + 0.5) * (k < 20 ? 0.9 : -0.9)
                                    : (18 + ((k - 40) % 30 + 0.5) * 3.6) * (k < 70 ? 1 : -1);
            (k < 40 ? s.slowJointVel[k] : s.highJointVel[k - 40]) = v;
            (k < 40 ? s.slowJointTorque[k] : s.highJointTorque[k - 40]) =
                ref::frictionCurve(17, 0, v / 1000, false) + 0.05 * std::sin(9.0 * k);
        }
        zvmcSingleJointFrictionOnlineOnOff(f.joint, 3);  // neither samples nor evaluates
        const Result running;
        EXPECT_TRUE(running.status == 0 && running.real[0] == 0 && running.meo[0] == 0 &&
                    running.err[0] == 0);
        EXPECT_TRUE(running.real[1] == -7 && running.meo[9] == -7 && running.err[5] == -7);

        zvmcSingleJointFrictionOnlineOnOff(f.joint, 0);
        for (int call = 0; call < 2; call++) {
            std::vector<double> slow(s.slowJointVel, s.slowJointVel + 40),
                high(s.highJointVel, s.highJointVel + 60);
            for (auto* bins : {&slow, &high})
                for (double& v : *bins) v *= 0.017453292519943;
            double want[10], resnorm;
            const double ones[5] = {1, 1, 1, 1, 1};
            __real_fitCurve(40, ones, slow.data(), s.slowJointTorque, want, &resnorm);
            __real_fitCurve(60, ones, high.data(), s.highJointTorque, want + 5, &resnorm);
            const double times[2] = {slow[0], high[0]};

            fixture::forgetCalls();
            const Result r;
            EXPECT_EQ(s.slowJointVel[0], times[0]);
            EXPECT_TRUE(std::equal(high.begin(), high.end(), s.highJointVel));
            for (int i = 0; i < 10; i++) {
                EXPECT_EQ(r.real[i], static_cast<float>(want[i])) << f.type << " " << i;
                EXPECT_EQ(r.meo[i], static_cast<float>(f.value[i])) << f.type << " " << i;
                EXPECT_EQ(r.err[i], r.meo[i] - r.real[i]) << f.type << " " << i;
            }
            const fixture::Lines lines = fixture::calls();
            char text[160];
            std::snprintf(text, sizeof text, "Write_Log 1 slow fc fs qs yita sita = %f %f %f %f %f\n",
                          want[0], want[1], want[2], want[3], want[4]);
            EXPECT_EQ(lines.at(0), text);
            EXPECT_EQ(lines.at(1).find("Write_Log 1 slow time = "), 0u) << lines[1];
            EXPECT_EQ(lines.at(2),
                      "Write_Log 1 " + std::to_string((f.joint + 255) % 256) + "-------------\n");
            std::snprintf(text, sizeof text, "Write_Log 1 singleJointIdentify.highJointTorque[59] = %f",
                          s.highJointTorque[59]);
            EXPECT_EQ(lines.at(122), text);
            EXPECT_EQ(lines.at(123).find("Write_Log 1 high fc fs qs yita sita = "), 0u) << lines[123];
            const auto microseconds = [&](size_t n) { return std::stod(lines.at(n).substr(24)); };
            EXPECT_GT(microseconds(124), microseconds(1));
        }
    }
}

// The numbers are cut before they are compared, and only a loss trips.
TEST(FrictionStatus, JudgesByWholeNumbers) {
    for (const Factory& f : kFactory) {
        start(f.type, f.joint);
        zvmcSingleJointFrictionOnlineOnOff(f.joint, 0);
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
    const Factory& f = kFactory[3];
    start(f.type, f.joint);
    zvmcSingleJointFrictionOnlineOnOff(f.joint, 0);
    handedOut = f.value;
    EXPECT_EQ(Result().status, 0);
    EXPECT_EQ(fixture::calls().size(), 125u + 20 * 4);
    fixture::forgetCalls();
    mpb.defaultJointVel.v[0] = 1e6;
    EXPECT_EQ(Result().status, 1);
    EXPECT_EQ(fixture::calls().size(), 125u);
}

TEST(FrictionCurve, HasTwoRanges) {
    float p[10] = {1.2f, 1.9f, 0.01f, 400, 2, -9, 1.5f, -6, 20, 1.5f};
    const auto curve = [&](int set, double v) {
        const float* c = p + set;
        return (c[0] + (c[1] - c[0]) * std::exp(-std::pow(v / c[2], 2))) * std::tanh(c[3] * v / 2) + c[4] * v;
    };
    for (double v : {-2.0, -0.3, -0.0181, -0.0179, -0.001, 0.0, 1e-5, 0.01, 0.01799, 0.01801, 0.5, 3.0})
        EXPECT_NEAR(frictionCalculate(p, static_cast<float>(v * 180 / M_PI / 1000)),
                    curve(std::fabs(v) <= 0.018 ? 0 : 5, v), 1e-5)
            << v;
    EXPECT_TRUE(std::isnan(frictionCalculate(p, -90)));  // the exponential overflows
    EXPECT_TRUE(std::isfinite(frictionCalculate(p, 90)));
    EXPECT_TRUE(std::isnan(frictionCalculate(p, NAN)));
}

}  // namespace
