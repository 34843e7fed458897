#include <gtest/gtest.h>

#include "sensor/wrench_algebra.h"
#include "support/fixture.h"
#include "zvmcforcesensorblock.h"

using namespace algebra;

static FORCE_CONTROL& control = mcb.forceControl;

TEST(SensorCalibration, FindsLoadAndOffsetOfAPerfectSensor) {
    Random random;
    for (int n = 0; n < 500; n++) {
        fixture::start(101);
        // tilted arms, and upright ones, on which load and offset leave nothing in any pose
        const Matrix3 mount = n % 2 ? random.rotation() : Matrix3::Identity();
        const double mass = 2 + random(1.5);
        const Vector3 at = random.vector(0.2), pull = mount * Vector3(0, 0, -9.8 * mass);
        const Wrench bias = random.wrench(20);
        const auto read = [&](const Matrix3& arm) {
            mpb.tC = pose(arm, {0, 0, 0});
            mpb.forceOrigin = record(hanging(arm, at, pull) + bias);
            trsfToRCS_force(&mpb.forceRCS);
        };
        FORCESENSOR_DATA unbiased[3];
        int k = 0;
        const Matrix3 first = random.rotation();
        for (const Matrix3& arm :
             {first, Matrix3(first * rpy(80, 20, 0)), Matrix3(first * rpy(-30, 100, 40))}) {
            read(arm);
            unbiased[k++] = record(hanging(arm, at, pull));
            ASSERT_EQ(zvmcSaveSensorDataFlag(k), 0);
        }
        double m, xyz[3];
        ASSERT_EQ(zvmcSensorComload(&m, xyz), 0);
        ASSERT_NEAR(m, mass, 1e-9);
        ASSERT_LT((Vector3(xyz) - 1000 * at).norm(), 1e-9) << n;
        ASSERT_LT((wrench(control.zeroOffset) - bias).norm(), 1e-9) << n;
        read(random.rotation());
        ASSERT_LT(wrench(mpb.forceRCS).head(n % 2 ? 0 : 6).norm(), 1e-9) << n;
        ASSERT_EQ(mpb.forceSensorLoadWeight, m);

        VECT simple;
        ASSERT_EQ(tmcForceSensor_loadCoordIdentify(unbiased, &simple), 0);
        ASSERT_LT((Vector3(simple.x, simple.y, simple.z) - 1000 * at).norm(), 1e-9) << n;
        ASSERT_EQ(tmcForceSensor_loadWeightIdentify({1, 2, -9.8 * mass, 3, 4, 5}, &m), 0);
        ASSERT_DOUBLE_EQ(m, mass);
    }
}

TEST(SensorCalibration, TellsReadingsThatDetermineNothingAndStoresWhatItHas) {
    fixture::start(101);
    const auto logged = [](const std::string& first, const std::string& last) {
        const fixture::Lines lines = fixture::calls();
        fixture::forgetCalls();
        return lines.size() == 4 &&
               lines[0].starts_with("Write_Log 4 " + first + ": data error detValue = ") &&
               lines[3].starts_with("Write_Log 4 " + last + " error = ");
    };
    FORCESENSOR_DATA parallel[3] = {{0, 0, -20, 0, 0.5, 0}, {0, 0, -20, 0, 0.5, 0}, {0, 0, 10, 0, 0.5, 0}};
    VECT coord = {1, 2, 3};
    EXPECT_EQ(tmcForceSensor_loadCoordIdentify(parallel, &coord), -1);
    EXPECT_TRUE(logged("threePointCalibration", "threePoint3: data"));
    EXPECT_EQ(coord.z, 3);

    // turned about the vertical nothing is told; about one horizontal axis the center, which stays stored
    double m = 4, xyz[3] = {5, 6, 7};
    for (const bool horizontal : {false, true}) {
        for (int k = 1; k <= 3; k++) {
            const Matrix3 arm = horizontal ? rpy(60 * k, 0, 0) : rpy(0, 0, 60 * k);
            mpb.tC = pose(arm, {0, 0, 0});
            mpb.forceRCS = record(hanging(arm, {0.01, -0.02, 0.03}, {0, 0, -20}));
            EXPECT_EQ(zvmcSaveSensorDataFlag(k), 0);
        }
        EXPECT_EQ(zvmcSensorComload(&m, xyz), -1);
        EXPECT_TRUE(horizontal ? logged("ThreePointDataCalibration2", "ThreePointData23: data")
                               : logged("ThreePointDataCalibration1", "ThreePointData13: data3"));
        EXPECT_NEAR(xyz[1], horizontal ? -20 : 6, 1e-9);
        EXPECT_NEAR(mpb.forceSensorLoadCoord.y, horizontal ? -20 : 0, 1e-9);
        EXPECT_EQ(mpb.forceSensorLoadWeight, 0);
        EXPECT_EQ(m, 4);
    }
}

TEST(SensorCalibration, RefusesReadingsInItsOrder) {
    fixture::start(101);
    mpb.forceRCS = {0.99, -0.99, 0, 0.099, 0, -0.099};
    control.zeroOffset.fx = mpb.forceSensorLoadWeight = 1;
    EXPECT_EQ(zvmcSaveSensorDataFlag(1), -1);  // nothing on it, before the load
    EXPECT_EQ(zvmcSaveSensorDataFlag(2), -2);
    EXPECT_EQ(control.zeroOffset.fx, 1);
    mpb.forceSensorLoadWeight = 0;
    for (int number : {2, 3, 0, 4, -1, 1 << 30}) EXPECT_EQ(zvmcSaveSensorDataFlag(number), 0);
    EXPECT_EQ(control.zeroOffset.fx, 0);
    mpb.forceRCS.mz = -0.1;
    EXPECT_EQ(zvmcSaveSensorDataFlag(1), 0);

    FORCESENSOR_DATA data = {};
    mpb.posSensorCtlList[255].posSensorInstall = 7;
    const int rows[][6] = {{257, 0, 1, 1, -1, 0}, {256, 0, 1, 1, -2, 0}, {256, 1, 2, 1, -3, 0},
                           {0, 1, 0, 1, -4, 0},   {255, 1, 0, 0, 0, 7},  {256, 1, 0, 0, 0, 7}};
    for (const auto& [number, zeroed, frame, load, result, install] : rows) {
        control.forceSensorZeroFlag = static_cast<uint8_t>(zeroed);
        control.forceSensorRcs = static_cast<uint8_t>(frame);
        mpb.forceSensorLoadCoord.z = load;
        EXPECT_EQ(tmcGetForceSensorData_loadIdentify(number, &data), result);
        EXPECT_EQ(mpb.posSensorCtl.posSensorInstall, install) << number;
        EXPECT_EQ(data.fx, result == 0 ? 0.99 : 0);
    }
}

TEST(SensorLoad, IsHeldToItsRangeAndPersisted) {
    const std::pair<int, double> limits[] = {{0, 5}, {150, 5}, {901, 5}, {902, 10}, {950, 1e9}, {1100, 30}};
    for (const auto& [type, limit] : limits) {
        fixture::start(type);
        EXPECT_EQ(tmcSetForceSensorLoadWeight(limit, 6), 0) << type;
        EXPECT_EQ(tmcSetForceSensorLoadWeight(limit + 1e-4, 6), limit < 1e9 ? -1 : 0) << type;
        EXPECT_EQ(tmcSetForceSensorLoadWeight(-1e-6, 6), 0);
        EXPECT_EQ(mcb.paraError, limit < 1e9 ? zvCtlLoadWeightError : zvCtlParaOK);
        EXPECT_EQ(tmcSetForceSensorLoadWeight(-1.1e-6, 8), -1);
        EXPECT_EQ(mpb.currentLine, 6);
    }
    EXPECT_EQ(tmcSetForceSensorLoadCoord({1000, -1000, 30}, 7), 0);
    EXPECT_EQ(tmcSetForceSensorLoadCoord({0, -1000.1, 2000}, 8), -1);
    EXPECT_EQ(mcb.paraError, zvCtlLoadCoordYError);
    EXPECT_EQ(mpb.currentLine, 8);
    tmcSetForceSensorLoadWeight(1.5, 1);
    control.zeroOffset = {1, 2, 3, 4, 5, 6};
    fixture::forgetCalls();
    forceSensorSaveLoadCoord();
    std::string values;
    for (const std::string& line : fixture::calls())
        values += line.substr(line.find("FORCESENSOR_") + 12) + ' ';
    EXPECT_EQ(values,
              "LOADWEIGHT 1.5 LOADCOORDX 1000 LOADCOORDY -1000 LOADCOORDZ 30 ZEROOFFSET_FX 1 ZEROOFFSET_FY 2 "
              "ZEROOFFSET_FZ 3 ZEROOFFSET_MX 4 ZEROOFFSET_MY 5 ZEROOFFSET_MZ 6 ");
}
