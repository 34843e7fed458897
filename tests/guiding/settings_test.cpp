#include <gtest/gtest.h>

#include <cmath>

#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"

namespace {

using fixture::calls;
using fixture::kInf;
using fixture::kNan;
using fixture::Lines;

std::string entry(const std::string& sectionAndKey, double value) {
    char text[32];
    std::snprintf(text, sizeof text, " %.9g", static_cast<double>(static_cast<float>(value)));
    return "ConfigWriteEntry /usr/local/etc/controller/user.config " + sectionAndKey + text;
}

// Every status through a setter that takes all up to `highest`, but not `excluded`.
void sweep(int (*set)(uint8_t), uint8_t& field, int highest, int excluded, const std::string& key) {
    for (int status = 0; status < 256; status++) {
        fixture::forgetCalls();
        field = 9;
        const int want = status > highest ? -1 : status == excluded ? -2 : 0;
        EXPECT_EQ(set(static_cast<uint8_t>(status)), want) << key << status;
        EXPECT_EQ(field, want == 0 ? status : 9);
        EXPECT_EQ(calls(), want == 0 ? Lines{entry(key, status)} : Lines{});
    }
}

TEST(GuidingSwitches, StoreThenPersistAndExcludeEachOther) {
    for (int other : {0, 1, 2}) {
        const int excluded = other == 1 ? 1 : -1;
        mcb.interfereDrag = static_cast<uint8_t>(other);
        sweep(tmcDragLockEnableDisable, mcb.dragLockEnable, 1, excluded, "DRAGLOCK_PARAM DRAGLOCK_ENABLE");
        mcb.dragLockEnable = static_cast<uint8_t>(other);
        sweep(tmcSetInterfereDrag, mcb.interfereDrag, 2, excluded, "INTERFERE_PARAM INTERFERE_DRAG");
    }
    sweep(tmcSetRobotInstallPos, mcb.robotInstallPos, 3, -1, "USER_PARAM INSTALL_POS");
}

TEST(DragLockGains, TakeEffectUpToABadOneWhichIsOverwritten) {
    double* const stored[] = {mcb.dragLockP, mcb.dragLockI, mcb.dragLockD};
    for (double odd : {kNan, 0.0, 10.0, -1e-9, std::nextafter(10.0, 11.0), kInf})
        for (int at = 0; at < 18; at++) {  // axis by axis, P before I before D
            const bool good = !(odd < 0 || odd > 10);
            fixture::forgetCalls();
            double given[3][6];
            Lines want;
            for (int n = 0; n < 18; n++) {
                stored[n % 3][n / 3] = -7;
                const double gain = given[n % 3][n / 3] = n == at ? odd : n * 0.3;
                const std::string key = {"PID"[n % 3], '_', "XYZABC"[n / 3]};
                if (good) want.push_back(entry("DRAGLOCK_PARAM DRAGLOCK_" + key, gain));
            }
            EXPECT_EQ(tmcSetDragLockPara(given[0], given[1], given[2]), good ? 0 : -1);
            EXPECT_TRUE(good || given[at % 3][at / 3] == 10) << odd << " at " << at;
            for (int n = 0; n < 18; n++) {
                const double gain = good || n < at ? given[n % 3][n / 3] : -7;
                EXPECT_TRUE(fixture::near(stored[n % 3][n / 3], gain, 0)) << odd << " at " << at;
            }
            EXPECT_EQ(calls(), want);
        }
}

TEST(TorqueModel, IsStoredWithItsGainsOrLeftToFullDynamicsUnpersisted) {
    const double gains[] = {2.86, 2.46, 2.46, 2.86, 2.86, 2.86, 1, 1, 1, 1, 1, 1};
    std::fill_n(mcb.newTeachGainGAdj, 6, 2);
    for (int type : ref::types())
        for (int status = 0; status < 4; status++) {
            const bool lacking = (status == 1 && (type > 400 || type == 3)) ||
                                 (status == 0 && ((type > 500 && type < 701) || (type > 800 && type < 901)));
            const bool good = status < 3 && !lacking;
            Lines want = {entry("TEST_PARAM NEW_TEACH_ENABLE", status)};
            for (int n = 0; n < 12; n++) {
                const std::string key = n < 6 ? "NEW_TEACH_GAIN" : "NEW_TEACH_GAIN_KF";
                want.push_back(entry("TEST_PARAM " + key + std::to_string(n % 6 + 1), gains[n]));
            }
            fixture::forgetCalls();
            mcb.robotType = type;
            mcb.newTeachEnable = 9;
            mcb.newTeachGain[1] = mcb.newTeachGainKf[5] = -7;
            EXPECT_EQ(tmcgravityTeachVersionOnOff(static_cast<uint8_t>(status)), good ? 0 : -1) << type;
            EXPECT_EQ(mcb.newTeachEnable, good ? status : lacking ? 2 : 9) << type << " " << status;
            EXPECT_EQ(mcb.newTeachGain[1], good ? 2.46 : -7) << type << " " << status;
            EXPECT_EQ(mcb.newTeachGainKf[5], good ? 1 : -7) << type << " " << status;
            EXPECT_EQ(calls(), good ? want : Lines{});
        }
}

TEST(MountingAngles, GiveACodeToThreeExactPairsOnly) {
    const double angles[] = {0, 90, 180, 360, -360, 90.0000001, kNan, std::nextafter(360, 361), -361, kInf};
    for (double y : angles)
        for (double z : angles) {
            const bool good = !(std::fabs(y) > 360 || std::fabs(z) > 360);
            const int code = z == 0 && (y == 0 || y == 90 || y == 180) ? static_cast<int>(y / 90) : 3;
            Lines want = {entry("USER_PARAM INSTALL_YANGLE", y), entry("USER_PARAM INSTALL_ZANGLE", z)};
            if (code != 3) want.push_back(entry("USER_PARAM INSTALL_POS", code));
            fixture::forgetCalls();
            mcb.robotInstallPos = 3;
            mcb.robotInstallYangle = mcb.robotInstallZangle = 7;
            EXPECT_EQ(tmcSetRobotInstallAngle(y, z), good ? 0 : -1) << y << " " << z;
            double got[2];
            tmcGetRobotInstallAngle(&got[0], &got[1]);
            EXPECT_TRUE(fixture::near(got[0], good ? y : 7, 0) && fixture::near(got[1], good ? z : 7, 0));
            EXPECT_EQ(mcb.robotInstallPos, code) << y << " " << z;
            EXPECT_EQ(calls(), good ? want : Lines{});
        }
}

}  // namespace
