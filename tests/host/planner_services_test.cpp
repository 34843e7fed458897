#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/fixture.h"
#include "support/reference.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"

TEST(GravityServices, HoldTheArmOnEveryMount) {
    fixture::start(101);
    struct {
        int (*service)(JNTS*, EX_LOAD*, JNTS*, int);
        double gravity[3];
    } const mounts[] = {{tmcDynComGravityExload, {0, 0, -9.8}},
                        {tmcDynComGravityExloadWall, {9.8, 0, 0}},
                        {tmcDynComGravityExloadCeiling, {0, 0, 9.8}}};
    EX_LOAD load = {{20, -10, 80}, 2.5};
    JNTS q = {{10, -70, 60, -80, 40, 30}, {}, 6};
    for (const auto& mount : mounts)
        for (int model : {1, 2, 101, 102, 201, 202, 301, 302, 401, 402}) {
            JNTS torque = {};
            EXPECT_EQ(mount.service(&q, &load, &torque, model), 0);
            const auto expected =
                ref::holdingTorque(ref::arm(ref::gravityArm(model)), load, mount.gravity, q.v);
            for (int i = 0; i < 6; i++)
                EXPECT_NEAR(torque.v[i], expected.v[i], 1e-11 * expected.largest) << model;
        }
    EXPECT_EQ(fixture::calls()[10], "tmcDynComGravityExloadWall 1");
    JNTS torque = {{1, 1, 1, 1, 1, 1}, {}, 6};
    tmcDynComGravityExload(&q, &load, &torque, 902);  // a model without a set
    for (double v : torque.v) EXPECT_EQ(v, 0.0);
}

TEST(Kalman, ConvergesAndForgetsBadSamples) {
    KALMANINFO info;
    Init_KalmanInfo(&info, 1.0, 1.0, 4.0);
    for (int i = 0; i < 50; i++) KalmanFilter(&info, 4.0);
    // with equal noises the gain settles at the golden section
    EXPECT_NEAR(info.kalmanGain, (std::sqrt(5.0) - 1.0) / 2.0, 1e-12);
    EXPECT_NEAR(KalmanFilter(&info, 5.0), 4.0 + info.kalmanGain, 1e-12);
    const double before = info.filterValue;
    for (double bad : {fixture::kNan, fixture::kInf}) EXPECT_EQ(KalmanFilter(&info, bad), before);
    info.P = info.filterValue = fixture::kNan;
    KalmanFilter(&info, 2.0);
    EXPECT_GT(KalmanFilter(&info, 3.0), 2.5);
    Init_KalmanInfo(&info, 0.0, 0.0, 3.0);  // all certain
    EXPECT_EQ(KalmanFilter(&info, 2.0), 3.0);
}

TEST(Spline, FollowsALineTwoIntervalsBehindAndIsSmoothWithinTheRangeOfTheSamples) {
    Bsplinep fit;
    double time[4] = {0, 0.05, 0.1, 0.15};
    double value = 7.0;
    EXPECT_EQ(zvmcinitBtraj(&fit), 0);
    EXPECT_EQ(zvmccomBfitting(fit, 4, time, 0, &value, {}), -1);  // empty
    EXPECT_EQ(value, 0.0);
    for (int i = 0; i < 6; i++) zvmcaddpointBfitting(&fit, 1, 100.0 * i);
    ASSERT_EQ(zvmccomBfitting(fit, 4, time, 25, &value, {}), 0);
    EXPECT_NEAR(value, 350.0, 1e-12);  // 550 by now

    // across an interval's end the curve goes on with the steps it had
    double last = 0.0, lastStep = 0.0;
    zvmcinitBtraj(&fit);
    const double samples[] = {0, 100, -100, 100, 100, -50, 80};
    for (int n = 0; n < 7; n++) {
        zvmcaddpointBfitting(&fit, n < 6 ? 1 : 0, samples[n]);
        for (int position = 0; position < 50; position++) {
            ASSERT_EQ(zvmccomBfitting(fit, 4, time, position, &value, {}), 0);
            EXPECT_LE(std::fabs(value), 100.0);
            EXPECT_NEAR(value - last, lastStep, 0.5) << n << " " << position;
            lastStep = value - last;
            last = value;
        }
    }
}

TEST(ServiceRecord, TellsArgumentsAndCountsWhatItCannotHold) {
    using namespace tarn::host;
    fixture::start(101);
    float level[6] = {0, 0.5F, 0.1F, 1, 1, 1};
    tfsSetRobotJointFrictionLevel(level);
    zvHalSetAxleSensorData(9, 1, 2, 2, 500, 65535);
    EXPECT_EQ(fixture::calls(),
              (std::vector<std::string>{"tfsSetRobotJointFrictionLevel 0 0.5 0.100000001 1 1 1",
                                        "zvHalSetAxleSensorData 9 1 2 2 500 65535"}));
    for (int i = 0; i < kServiceRecordLines + 3; i++) zvHalSetJointIdentifyType(1);
    serviceRecord.on = false;
    zvHalSetJointIdentifyType(1);
    EXPECT_EQ(serviceRecord.count, kServiceRecordLines);
    EXPECT_EQ(serviceRecord.dropped, 5);
}
