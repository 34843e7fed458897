// The tool load by the force sensor in hand guiding.
#include "identification/sensor_load.h"

#include <gtest/gtest.h>

#include <Eigen/QR>

#include "sensor/wrench_algebra.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "zvmcforcesensorblock.h"

using namespace algebra;

// In place of the host's for one sample: a length that no vector has.
static double lengthOffset = 0;
extern "C" double __real_normVect(const VECT* v);
extern "C" double __wrap_normVect(const VECT* v) { return __real_normVect(v) + lengthOffset; }

namespace {

struct Sample {
    FORCESENSOR_DATA wrench;
    TRSF orientation;
};

// Mass and center, mm, by a least-squares solver on the stacked equations.
Eigen::Vector4d fit(const Sample* window) {
    Eigen::Matrix<double, 15, 3> levers, turns;
    Eigen::Matrix<double, 15, 1> moments, forces;
    for (int i = 0; i < 5; i++) {
        const Wrench w = wrench(window[i].wrench);
        for (int k = 0; k < 3; k++) levers.block<3, 1>(3 * i, k) = Vector3::Unit(k).cross(w.head<3>());
        turns.middleRows<3>(3 * i) = Eigen::Map<const Matrix3>(&window[i].orientation.n.x);
        moments.segment<3>(3 * i) = w.tail<3>();
        forces.segment<3>(3 * i) = w.head<3>();
    }
    const Vector3 at = 1000 * levers.colPivHouseholderQr().solve(moments);
    return {turns.colPivHouseholderQr().solve(forces).norm() / 9.8, at.x(), at.y(), at.z()};
}

void startGuiding(int type, int spacing) {
    fixture::start(type);
    mcb.loadIdentifyDyn.loadIdentifyDynCtl = 0;
    zvmcLoadIdentifyDynControl();
    mcb.loadIdentifyDyn = {1, spacing};
    mpb.state = TGEN_DRAG;
    mpb.loadWeight = 99;
    mpb.loadCoord = {1, 2, 3};
}

// The next sample as the blocks have it, of a load of about so many kg.
Sample present(Random& random, double kg) {
    for (double& q : mpb.j6.v) q += random(3);
    mpb.forceRCS = record(random.wrench(2) + Wrench(0, 0, -9.8 * kg, 0, 0, 0));
    Sample sample = {mpb.forceRCS, {}};
    newFwdKinematics(&mpb.j6, &sample.orientation);
    return sample;
}

TEST(SensorLoadFit, IsTheLeastSquaresOne) {
    Random random;
    for (int n = 0; n < 200; n++) {
        Sample window[5];
        FORCESENSOR_DATA wrenches[5];
        ROTRSF turns[5];
        for (int i = 0; i < 5; i++) {
            window[i] = {record(random.wrench(30)), pose(random.rotation(), {0, 0, 0})};
            wrenches[i] = window[i].wrench;
            turns[i] = window[i].orientation;
        }
        double m, xyz[3];
        EXPECT_EQ(zvmcComloaddymIdentify(wrenches, turns, &m, xyz), 0);
        const Eigen::Vector4d want = fit(window);
        EXPECT_LT((Eigen::Vector4d(m, xyz[0], xyz[1], xyz[2]) - want).norm(), 1e-9 * want.norm()) << n;
    }
}

// The first result with the fifth sample, then one a sample, over the last five.
TEST(SensorLoad, SlidesItsWindowAtItsSpacing) {
    for (const int spacing : {5, 20, 24}) {
        startGuiding(103, spacing);
        mpb.j6 = {{10, -70, 80, -100, -95, 20}, {}, 6};
        Random random;
        std::vector<Sample> samples;
        for (int call = 1; call <= 8 * (spacing / 5); call++) {
            const Sample sample = present(random, 1.5);
            const double before = mpb.loadWeight;
            EXPECT_EQ(tarn::test::guarded([] { EXPECT_EQ(zvmcLoadIdentifyDynControl(), 0); }), "");
            if (call % (spacing / 5) == 0) samples.push_back(sample);
            if (samples.size() < 5 || call % (spacing / 5) != 0) {
                EXPECT_EQ(mpb.loadWeight, before) << spacing << " " << call;
            } else {
                EXPECT_NE(mpb.loadWeight, before);
                EXPECT_NEAR(mpb.loadWeight, fit(&samples[samples.size() - 5])[0],
                            1e-6);  // the pose is in floats
            }
        }
        EXPECT_EQ(mpb.loadCoord.x + mpb.loadCoord.y + mpb.loadCoord.z, 6);
        EXPECT_EQ(fixture::callText(), "");
    }
    startGuiding(103, 4);  // none at all
    Random random;
    for (int call = 0; call < 5000; call++) {
        present(random, 1.5);
        EXPECT_EQ(zvmcLoadIdentifyDynControl(), 0);
    }
    EXPECT_EQ(mpb.loadWeight, 99);
    EXPECT_EQ(tarn::sensorLoad.recordCount, 0);
}

TEST(SensorLoad, HoldsTheMassToTheArm) {
    const struct {
        int type;
        double kg, offset, result;
    } rows[] = {{103, 7, 0, 5},    {902, 12, 0, 10}, {950, 400, 0, 400},
                {1100, 31, 0, 30}, {103, 1, -20, 0}, {103, 1, 9, 1 + 9 / 9.8}};
    for (const auto& [type, kg, offset, result] : rows) {
        startGuiding(type, 5);
        Random random;
        for (int i = 0; i < 5; i++) {
            present(random, kg);
            lengthOffset = offset;
            EXPECT_EQ(zvmcLoadIdentifyDynControl(), 0);
            lengthOffset = 0;
        }
        EXPECT_NEAR(mpb.loadWeight, result, type == 950 || offset > 0 ? 2 : 0) << type << " " << kg;
    }
}

const std::string kPersisted =
    "ConfigWriteEntry /usr/local/etc/controller/user.config USER_PARAM LOAD_WEIGHT 99; "
    "ConfigWriteEntry /usr/local/etc/controller/user.config USER_PARAM LOAD_Coord_X 1; "
    "ConfigWriteEntry /usr/local/etc/controller/user.config USER_PARAM LOAD_Coord_Y 2; "
    "ConfigWriteEntry /usr/local/etc/controller/user.config USER_PARAM LOAD_Coord_Z 3; ";

// The exits leave the last state as it was; the end of the guiding persists, once, and forgets.
TEST(SensorLoad, RefusesWhatIsNoNumberAndPersistsAtTheEnd) {
    const struct {
        FORCESENSOR_DATA last;
        const char* log;
    } rows[] = {{{1, fixture::kNan, -9, 0, 0, 0}, "loadweight is NAN"},
                {{0, 0, -9.8, 0, 0, 0}, "loadcoord0 is NAN"},  // all forces parallel
                {{4, 5, -9, fixture::kNan, 0, 0}, "loadcoord0 is NAN"}};
    for (const auto& [last, log] : rows) {
        startGuiding(103, 5);
        for (int i = 0; i < 5; i++) {
            mpb.forceRCS = {0, 0, -9.8, 0, 0, 0};
            if (i == 4) {
                mpb.forceRCS = last;
                tarn::sensorLoad.stateLast = 7;
            }
            EXPECT_EQ(zvmcLoadIdentifyDynControl(), i < 4 ? 0 : -1);
        }
        EXPECT_EQ(fixture::callText(), std::string("Write_Log 4 ") + log + "; ");
        EXPECT_EQ(tarn::sensorLoad.stateLast, 7);
        EXPECT_EQ(mpb.loadWeight, 99);
        tarn::sensorLoad.stateLast = TGEN_DRAG;
        mpb.state = TGEN_IDLE;
        fixture::forgetCalls();
        for (int i = 0; i < 2; i++) EXPECT_EQ(zvmcLoadIdentifyDynControl(), 0);
        EXPECT_EQ(fixture::callText(), kPersisted);
        EXPECT_EQ(tarn::sensorLoad.recordFullFlag, 0);
    }
    // a guiding that ends within the first fill, or before a sample; switched off it only forgets
    for (const int spacing : {5, 1000}) {
        for (const int ctl : {1, 0, 2}) {
            startGuiding(103, spacing);
            zvmcLoadIdentifyDynControl();
            fixture::forgetCalls();
            mcb.loadIdentifyDyn.loadIdentifyDynCtl = static_cast<uint8_t>(ctl);
            mpb.state = ctl == 1 ? TGEN_IDLE : TGEN_DRAG;
            zvmcLoadIdentifyDynControl();
            EXPECT_EQ(fixture::callText(), ctl == 1 ? kPersisted : "");
            EXPECT_EQ(tarn::sensorLoad.recordCount + tarn::sensorLoad.dynCount, 0);
            EXPECT_EQ(tarn::sensorLoad.stateLast, mpb.state);
        }
    }
}

TEST(SensorLoad, SettersCheckStoreAndPersist) {
    fixture::start(103);
    EXPECT_EQ(tmcLoadIdentifyDynOnOff(1), 0);
    EXPECT_EQ(tmcSetLoadIdentifyDynPara(1000), 0);
    const fixture::Blocks blocks;
    EXPECT_EQ(tmcLoadIdentifyDynOnOff(2), -1);
    for (const int time : {1001, -1}) EXPECT_EQ(tmcSetLoadIdentifyDynPara(time), -1);
    EXPECT_TRUE(blocks.unchanged());
    EXPECT_EQ(mcb.loadIdentifyDyn.loadIdentifyDynCtl, 1);
    EXPECT_EQ(mcb.loadIdentifyDyn.loadIdentifyDynTime, 1000);
    EXPECT_EQ(tmcSetLoadIdentifyDynPara(0), 0);
    EXPECT_EQ(tmcLoadIdentifyDynOnOff(0), 0);
    const std::string key =
        "ConfigWriteEntry /usr/local/etc/controller/user.config USER_PARAM LOAD_IDENTIFY_";
    EXPECT_EQ(fixture::callText(),
              key + "DYN 1; " + key + "TIME 1000; " + key + "TIME 0; " + key + "DYN 0; ");
}

}  // namespace
