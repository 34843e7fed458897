#include <gtest/gtest.h>

#include "sensor/base_frame_snapshot.h"
#include "sensor/wrench_algebra.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "zvmcforcesensorblock.h"

using namespace algebra;

static FORCE_CONTROL& control = mcb.forceControl;

// Physics by the adjoint; where it is meant to differ, spelled out: the moment of an upright arm, no lever in
// the base frame, none of the tool but under constant force control.
TEST(SensorCompensation, IsWrenchAlgebraInEveryFrame) {
    fixture::start(101);
    Random random;
    for (int n = 0; n < 2000; n++) {
        const Matrix3 flange = random.rotation(), tool = random.rotation();
        const Vector3 angles = random.vector(180), place = random.vector(0.3), tip = random.vector(0.4);
        const Vector3 center = random.vector(0.2), mounting = random.vector(180);
        const Vector3 weight(0, 0, -9.8 * random(10));
        const Wrench reading = random.wrench(300), zero = random.wrench(50), offset = random.wrench(20);
        const bool zeroed = n & 1, identifying = n & 2, pressing = n & 4;
        mpb.tC = pose(flange, random.vector(900));
        mpb.TOOL = pose(tool, 1000 * tip);
        mcb.robotInstallYangle = mounting.x();
        mcb.robotInstallZangle = mounting.y();
        mpb.forceSensorLoadWeight = weight.z() / -9.8;
        mpb.forceSensorLoadCoord = pose(flange, 1000 * center).p;
        mpb.forceOrigin = record(reading);
        control.zeroValue = record(zero);
        control.zeroOffset = record(offset);
        const Vector3 mm = 1000 * place;
        control.forceSensorCoord = {mm.x(), mm.y(), mm.z(), angles.x(), angles.y(), angles.z()};
        control.forceSensorZeroFlag = zeroed ? 1 : 2;
        control.constForceFlag = pressing ? 1 : 2;
        mcb.loadIdentifyDyn.loadIdentifyDynCtl = identifying ? 2 : 0;

        const Matrix3 mount = rpy(0, mounting.x(), 0) * rpy(0, 0, mounting.y());
        Wrench load = hanging(flange, center, weight);
        load.head<3>() = hanging(flange, center, mount.transpose() * weight).head<3>();
        FORCESENSOR_DATA got;
        forceSensorDataGravityCompensation(&got);
        ASSERT_LT((wrench(got) - load).norm(), 1e-9) << n;

        Wrench w = reading;
        if (zeroed) w -= zero;
        if (!identifying) w -= load + offset;
        const Matrix3 sensor = rpy(angles.x(), angles.y(), angles.z());
        const Wrench end = adjoint(sensor, place) * w;
        const Vector3 lever = pressing ? Vector3(-tool.transpose() * tip) : Vector3::Zero();
        const Wrench want[] = {end, adjoint(flange * sensor) * w, adjoint(tool.transpose(), lever) * end, w};
        for (uint8_t frame = 0; frame < 4; frame++) {
            tarn::baseFrameSnapshot.DragToCartFlag = 0;
            control.forceSensorRcs = frame;
            ASSERT_EQ(tarn::test::guarded([&] { trsfToRCS_force(&got); }), "");
            ASSERT_LT((wrench(got) - want[frame]).norm(), 1e-9) << n << ", frame " << int{frame};
            ASSERT_LT((wrench(control.forceOriginEnd) - w).norm(), 1e-9) << n;
            ASSERT_EQ(tarn::baseFrameSnapshot.DragToCartFlag, frame == 1) << "frame " << int{frame};
        }
    }
}

TEST(SensorCompensation, KeepsItsBaseFrameUntilTheFlagIsCleared) {
    fixture::start(101);
    Random random;
    mpb.forceOrigin = record(random.wrench(100));
    control.forceSensorRcs = 1;
    Matrix3 kept;
    for (int cycle = 0; cycle < 9; cycle++) {
        const Matrix3 arm = random.rotation();
        mpb.tC = pose(arm, random.vector(900));
        if (cycle % 3 == 0) {
            tarn::baseFrameSnapshot.DragToCartFlag = 0;
            kept = arm;
        }
        FORCESENSOR_DATA got;
        trsfToRCS_force(&got);
        EXPECT_LT((wrench(got) - adjoint(kept) * wrench(mpb.forceOrigin)).norm(), 1e-9) << cycle;
    }
}

TEST(SensorZero, RefusesInItsOrderOrTakesTheReadingOfTheMoment) {
    const struct {
        int result;
        uint8_t status, frame;
        double weight, y;
    } rows[] = {{-1, 2, 1, 1, 0},     {-2, 1, 1, 1, 0},        {-3, 0, 2, 1.1e-6, 0},
                {-3, 1, 0, 0, -2e-6}, {0, 1, 0, -1e-9, -1e-6}, {0, 0, 0, 0, 0}};
    for (const auto& row : rows) {
        fixture::start(101);
        control.forceSensorRcs = row.frame;
        mpb.forceSensorLoadWeight = row.weight;
        mpb.forceSensorLoadCoord.y = row.y;
        mpb.forceOrigin = {1, 2, 3, 4, 5, 6};
        control.zeroValue = control.zeroOffset = {7, 7, 7, 7, 7, 7};
        const fixture::Blocks before;
        EXPECT_EQ(tmcSetForceSensorZero(row.status, 9), row.result) << &row - rows;
        EXPECT_EQ(std::exchange(mcb.ioError, zvCtlIOOK), row.result == -1 ? zvCtlIOVALUEError : zvCtlIOOK);
        EXPECT_EQ(std::exchange(mpb.currentLine, 0), row.result == -1 || row.result == 0 ? 9 : 0);
        EXPECT_EQ(before.unchanged(), row.result != 0) << &row - rows;
        const fixture::Lines lines = fixture::calls();
        ASSERT_EQ(lines.size(), row.result == 0 ? 13U : 0U);
        if (row.result != 0) continue;
        EXPECT_TRUE(lines[0].ends_with(" FORCE_SENSOR FORCESENSOR_ZEROFLAG " + std::to_string(row.status)));
        EXPECT_TRUE(lines[6].ends_with(" FORCESENSOR_ZERO_MZ " + std::to_string(6 * row.status)));
        EXPECT_TRUE(lines[12].ends_with(" FORCESENSOR_ZEROOFFSET_MZ 0"));
        FORCESENSOR_DATA got;
        trsfToRCS_force(&got);
        EXPECT_LT((wrench(got) - (1 - row.status) * wrench(mpb.forceOrigin)).norm(), 1e-7);
    }
}

TEST(SensorCompensation, MovesAGoalByAnOffsetInTheFrameOfTheForce) {
    fixture::start(101);
    mpb.j6 = {{20, -70, 80, -100, -60, 30}, {}, 6};
    ROBPOS robot;
    EXAXISPOS axes;
    tmcGetRobotPos(&robot, &axes);
    mpb.rpyRef = {robot.a4 + 360, robot.a5, robot.a6 - 360};
    const Matrix3 present = rpy(robot.a4, robot.a5, robot.a6);
    const Vector3 from(robot.a1, robot.a2, robot.a3);
    const Vector3 turn(40, 15, -30), way(10, -20, 5);
    for (uint8_t frame = 0; frame < 3; frame++) {
        CARTPOS_FORCE goal;
        control.forceSensorRcs = frame;
        tmcPosAddTrsfToRCS({10, -20, 5, 40, 15, -30}, &goal);
        const Vector3 place(goal.x, goal.y, goal.z), angles(goal.a, goal.b, goal.c);
        EXPECT_LT((place - from - (frame == 0 ? present * way : way)).norm(), 1e-3);
        if (frame == 0) {
            EXPECT_LT((rpy(goal.a, goal.b, goal.c) - present * rpy(40, 15, -30)).norm(), 1e-5);
            EXPECT_NEAR(goal.a, mpb.rpyRef.x, 180.001);  // the nearest of its turns
        } else {
            EXPECT_LT((angles - Vector3(robot.a4, robot.a5, robot.a6) - turn).norm(), 1e-3);
        }
    }
}
