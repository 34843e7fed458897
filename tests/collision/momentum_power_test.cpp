#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>

#include "collision/after_collision.h"
#include "collision/custom_thresholds.h"
#include "collision/encoder_detector.h"
#include "collision/momentum_observer.h"
#include "collision/power_limit.h"
#include "collision/supervisor.h"
#include "collision/torque_record.h"
#include "collision/trace.h"
#include "force_control/torque_drag.h"
#include "identification/joint_friction.h"
#include "identification/scripted_run.h"
#include "identification/sensor_load.h"
#include "identification/single_joint.h"
#include "numeric/filter_records.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

namespace {

// clang-format off
TEST(MomentumObserver, LimitsByLevelAndSpeed) {
    const struct { int joint; float level; unsigned mode; float speed; double limit; } rows[] = {
        {0, 1, 0, 1, 25},         {1, 5, 1, 1, 130},         {2, 10, 0, 1.1f, 310},      {2, 4, 0, 0.2f, 50},      {0, 10, 1, 0.5f, 155},
        {3, 2, 0, 1, 14.3},       {5, 9.9f, 1, 1, 70.5},     {3, 6, 1, 0.3f, 23},        {4, 3, 0, 1, 32},         {4, 8, 0, 0.4f, 59.75},
        {3, 100, 0, 1, 7.98},     {4, 0.5f, 0, 1, 10},       {0, -3, 0, 1, 25},          {4, 2, 2, 1, 0},          {0, 5, ~0u, 1, 0},
        {5, NAN, 2, 1, 0},        {5, NAN, 0, 1, NAN},       {4, INFINITY, 0, 1, 0}};
    double zero[36] = {}, rr[6];
    fixture::start(103);
    for (const auto& [joint, level, mode, speed, limit] : rows) {
        mpb.collisionLevel[joint] = level;
        mcb.mode = mode;
        mcb.speedScaleAuto = mode == 0 ? speed : 9;
        mcb.speedScaleManual = mode == 1 ? speed : 9;
        zvmcMomentumObserver(joint, nullptr, zero, zero, zero, nullptr, rr);
        EXPECT_TRUE(fixture::near(rr[joint], limit, 1e-4)) << "J" << joint + 1 << " " << level << " " << rr[joint];
        EXPECT_TRUE(fixture::near(mpb.dualEncCollisionValue[joint], limit, 1e-4));
        EXPECT_EQ(mpb.jointCollisionMode[joint], 1);
    }
    for (int joint : {-1, 6, 1 << 30}) zvmcMomentumObserver(joint, nullptr, zero, zero, zero, nullptr, nullptr);  // under the sanitizers
}

// At a steady speed the residual settles at the unexplained torque from where an unknown momentum puts it.
TEST(MomentumObserver, SettlesAtTheUnexplainedTorque) {
    fixture::start(103);
    tarn::momentumObserver = {};
    std::fill_n(mpb.collisionLevel, 6, 10.0f);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> number(-1, 1);
    double M[36], C[36], G[6], rr[6];
    for (int i = 0; i < 36; i++) M[i] = number(random), C[i] = number(random);
    for (int i = 0; i < 6; i++) G[i] = 10 * number(random), mpb.j6vel.v[i] = 0.03 * number(random), how.currentFeedback[i] = static_cast<int16_t>(30 * (i - 2));
    for (int n = 1; n <= 500; n++) {
        zvmcMomentumObserver(n % 3, nullptr, M, C, G, nullptr, rr);
        for (int i = 0; i < 6; i++) {
            double p = 0, torque = 0.16 * how.currentFeedback[i] * ref::ratedTorque(103, i) - G[i] - ref::friction(103, mpb.state, i, mpb.j6vel.v[i]);
            for (int k = 0; k < 6; k++) p += M[6 * i + k] * mpb.j6vel.v[k] * 1000, torque += C[6 * i + k] * mpb.j6vel.v[k] * 1000;
            ASSERT_NEAR(mpb.momentumObserverValue[i], torque - (torque + p / 100) * std::pow(0.99, n), 1e-5) << "call " << n;
        }
    }
}

// With nothing but G the residual is -0.01 * G after one call, exact at 5.
TEST(MomentumObserver, FiresBeyondTheMarginAndReacts) {
    const uint32_t codes[] = {1, 2, 3, 4, 4, 6};
    const struct { uint8_t flag; int state; uint8_t jog; double G; bool fires; const char* calls; } rows[] = {
        {0, 2, 0, 500, false, ""}, {0, 2, 0, -500, false, ""}, {0, 2, 0, 500.001, true, "tmcPause; "}, {0, 2, 0, -501, true, "tmcPause; "},
        {0, 1, 0, 501, true, ""},  {0, 2, 1, 501, true, ""},   {2, 2, 0, 501, true, "tmcStop; "},      {2, 4, 0, 501, true, ""},
        {2, 2, 2, -501, true, ""}, {1, 2, 0, 501, true, ""},   {3, 2, 0, 501, true, ""},               {5, 2, 0, 501, true, ""}};
    for (const auto& row : rows)
        for (int joint = 0; joint < 6; joint++) {
            fixture::start(704);  // no friction
            mcb.mode = 2;         // no limit
            mcb.collisionPauseFlag = row.flag;
            mcb.jogControl.modeCTL = row.jog;
            mpb.state = row.state;
            double zero[36] = {}, G[6] = {}, rr[6], &other = tarn::momentumObserver.p_hat[(joint + 1) % 6];
            tarn::momentumObserver = {};
            other = 3000;  // far outside
            G[joint] = row.G;
            EXPECT_EQ(tarn::test::guarded([&] { zvmcMomentumObserver(joint, nullptr, zero, zero, G, nullptr, rr); }), "");
            EXPECT_EQ(fixture::callText(), row.calls) << &row - rows;
            EXPECT_EQ(mcb.collisionError - 0x13000000, row.fires && row.flag < 3 ? codes[joint] : 0) << &row - rows;
            EXPECT_NEAR(mpb.momentumObserverValue[joint], -row.G / 100, 1e-12) << "no longer on display";
            EXPECT_EQ(other == 0, row.fires) << &row - rows;
        }
}

// The power rises by the same step with each call, so the means have a closed form.
TEST(Power, MeanIsZeroWhileTheWindowFillsAndThenCountsItsNewestTwice) {
    fixture::start(103);
    tarn::powerLimit = {};
    mpb.sysJntsNo = 5;
    mpb.j6vel = {{-0.001, 0.002, 0, 0, 0, 0.003}, {}, 6};
    const double step = 0.101 * M_PI / 180 * (ref::ratedTorque(103, 0) + 2 * ref::ratedTorque(103, 1));
    for (int n = 0; n < 350; n++) {
        std::fill_n(how.currentFeedback, 6, static_cast<int16_t>(n));
        double power = -1;
        tmcPowerReal(nullptr, &power);
        ASSERT_NEAR(power, n < 100 ? 0 : step * (99 * (n - 50) + n - 1) / 100, 1e-5 * step * n) << n;
    }
}

struct Bytes {  // of any state
    template <typename T>
    Bytes(T& object) : first(reinterpret_cast<char*>(&object)), size(sizeof object) {}
    bool are(char value) const { return std::count(first, first + size, value) == static_cast<long>(size); }
    char* first;
    size_t size;
};

// Everything is filled, then what the trip clears is filled again: nothing may differ from before.
TEST(Power, ATripClearsExactlyItsSet) {
    auto [s, a, r, power, f] = std::tie(tarn::supervisor, tarn::afterCollision, tarn::torqueRecord, tarn::powerLimit, tarn::jointFriction);
    const Bytes all[] = {s, a, r, tarn::customThresholds, tarn::trace, tarn::momentumObserver, tarn::torqueDrag, tarn::scriptedRun,
                         tarn::encoderDetector, tarn::sensorLoad, saveMsgPrintfCount,
                         tarn::singleJointIdentify, f.j_vel, f.j_velN, f.j_vel_high, f.j_velN_high, f.slowFlag, f.velFlag};
    const Bytes set[] = {s.pauseResumeFlag, s.pauseResumeCount, s.collisionRecordFlag, a.forceCollisionError, a.ftCollisionData,
                         r.currentBuff, r.percentSum, r.percentCount, tarn::customThresholds, tarn::trace, tarn::momentumObserver, tarn::torqueDrag, tarn::scriptedRun,
                         f.j_vel, f.j_velN, f.j_vel_high, f.j_velN_high, f.slowFlag, f.velFlag};
    const struct { uint8_t servo, on; double limit; bool trips; } rows[] = {{1, 1, 199.999, true}, {1, 1, 200, false}, {1, 0, 0, false}, {0, 1, 0, false}};
    for (const auto& [servo, on, limit, trips] : rows) {
        fixture::start(103);
        mcb.newTeachEnable = 2;
        gravityTorqueControl(&mpb.j6);  // the first one in this mode has reset its filters
        mcb.newTeachEnable = 0;         // in it the speed watch would clear its count anyway
        mcb.servoJTStatus = servo;
        mcb.collisionDetection.powerFlag = on;
        mcb.collisionDetection.powerLimit = limit;
        for (const Bytes& bytes : all) std::fill_n(bytes.first, bytes.size, '\1');
        power.powerCount = 100;
        std::fill_n(power.powerIntegral, 100, 200.0f);
        fixture::forgetCalls();
        EXPECT_EQ(tarn::test::guarded([] { gravityTorqueControl(&mpb.j6); }), "");

        for (const Bytes& bytes : set) {
            EXPECT_TRUE(bytes.are(trips ? 0 : 1)) << &bytes - set;
            std::fill_n(bytes.first, bytes.size, '\1');
        }
        for (const Bytes& bytes : all) EXPECT_TRUE(bytes.are(1)) << &bytes - all;
        EXPECT_EQ(power.powerCount, trips ? 0 : 100);
        EXPECT_EQ(std::count(power.powerIntegral, power.powerIntegral + 100, 0.0f), trips ? 100 : servo * on);  // stands still
        EXPECT_EQ(fixture::callText(), trips ? "tmcDragSwitch 0; Write_Log 2 zvCtlTCPSpeedOver After to DragMode mcb.collisionPauseFlag = : 5; " : "");
        EXPECT_EQ(mcb.cmdPointError, trips ? 0x10000015u : 0x10000000u);
        tarn::armFilters.filt4.j_pos[0][0] = 1;
        mcb.newTeachEnable = 2;
        gravityTorqueControl(&mpb.j6);
        EXPECT_EQ(tarn::armFilters.filt4.j_pos[0][0], trips ? 0 : 1) << "the next cycle of full dynamics";
    }
}
// clang-format on

}  // namespace
