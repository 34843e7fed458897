// Hand-guiding settings: torque model, drag lock, behavior at interference zones, mounting. Commands only.
#include <climits>

#include "model/type_table.h"
#include "support/persist.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

enum TorqueModel : uint8_t { GravityOnly = 0, FittedRegressor = 1, FullDynamics = 2 };  // newTeachEnable
constexpr uint8_t kResist = 1;                                                          // interfereDrag

// clang-format off

// Which torque models an arm has beside full dynamics, which all have.
struct Models {
    bool gravityOnly, fittedRegressor;
};
constexpr TypeRow<Models> kModels[] = {
    // first,    last,  gravity only, fitted regressor
    {      3,       3, { true,        false } },
    {    501,     700, { false,       false } },
    {    801,     900, { false,       false } },
    {    401, INT_MAX, { true,        false } },
};
constexpr Models kModelsOther =
                       { true,        true  };

// Weight of the static torque over the adjusted one.
constexpr double kStaticWeight[6] = { 1.43, 1.23, 1.23, 1.43, 1.43, 1.43 };

// Turns about y, degrees, that have a mounting code while there is none about z. Code 3, the free angle, is
// never derived, on purpose.
constexpr struct {
    double yangle;
    uint8_t installPos;
} kMountings[] = {
    {   0.0, 0 },
    {  90.0, 1 },
    { 180.0, 2 },
};

constexpr const char* kDragLockKeys[6][3] = {
    { "DRAGLOCK_P_X", "DRAGLOCK_I_X", "DRAGLOCK_D_X" },
    { "DRAGLOCK_P_Y", "DRAGLOCK_I_Y", "DRAGLOCK_D_Y" },
    { "DRAGLOCK_P_Z", "DRAGLOCK_I_Z", "DRAGLOCK_D_Z" },
    { "DRAGLOCK_P_A", "DRAGLOCK_I_A", "DRAGLOCK_D_A" },
    { "DRAGLOCK_P_B", "DRAGLOCK_I_B", "DRAGLOCK_D_B" },
    { "DRAGLOCK_P_C", "DRAGLOCK_I_C", "DRAGLOCK_D_C" },
};
// clang-format on

constexpr double kMaxDragLockGain = 10.0;

bool angleRefused(double degrees) { return degrees < -360.0 || degrees > 360.0; }

bool hasModel(uint8_t model) {
    const Models& models = byType(kModels, kModelsOther, mcb.robotType);
    if (model == GravityOnly) return models.gravityOnly;
    return model != FittedRegressor || models.fittedRegressor;
}

}  // namespace

// The drag lock and the resistance at a zone share their gains: one of them at a time.

int tmcDragLockEnableDisable(uint8_t status) {
    if (status > 1) return -1;
    if (status == 1 && mcb.interfereDrag == kResist) return -2;
    mcb.dragLockEnable = status;
    persist(DRAGLOCK_PARAM_SECTION, "DRAGLOCK_ENABLE", mcb.dragLockEnable);
    return 0;
}

int tmcSetInterfereDrag(uint8_t status) {
    if (status > 2) return -1;
    if (status == kResist && mcb.dragLockEnable == 1) return -2;
    mcb.interfereDrag = status;
    persist(INTERFERE_PARAM_SECTION, "INTERFERE_DRAG", mcb.interfereDrag);
    return 0;
}

int tmcSetDragLockPara(double* pPara, double* iPara, double* dPara) {
    double* const given[3] = {pPara, iPara, dPara};
    double* const stored[3] = {mcb.dragLockP, mcb.dragLockI, mcb.dragLockD};
    // Stored while checked, on purpose: what stands before a bad value takes effect, and is not persisted.
    for (int i = 0; i < 6; i++)
        for (int kind = 0; kind < 3; kind++) {
            double& gain = given[kind][i];
            if (gain < 0.0 || gain > kMaxDragLockGain) {
                gain = kMaxDragLockGain;
                return -1;
            }
            stored[kind][i] = gain;
        }
    for (int i = 0; i < 6; i++)
        for (int kind = 0; kind < 3; kind++)
            persist(DRAGLOCK_PARAM_SECTION, kDragLockKeys[i][kind], stored[kind][i]);
    return 0;
}

int tmcgravityTeachVersionOnOff(uint8_t status) {
    if (status > FullDynamics) return -1;
    // Not persisted, on purpose: the stored model comes back with the next start.
    if (!hasModel(status)) {
        mcb.newTeachEnable = FullDynamics;
        return -1;
    }
    mcb.newTeachEnable = status;
    for (int i = 0; i < 6; i++) {
        mcb.newTeachGain[i] = mcb.newTeachGainGAdj[i] * kStaticWeight[i];
        mcb.newTeachGainKf[i] = 1.0;
    }
    persist(TEST_PARAM_SECTION, "NEW_TEACH_ENABLE", mcb.newTeachEnable);
    persistSix(TEST_PARAM_SECTION, "NEW_TEACH_GAIN#", mcb.newTeachGain);
    persistSix(TEST_PARAM_SECTION, "NEW_TEACH_GAIN_KF#", mcb.newTeachGainKf);
    return 0;
}

int tmcSetRobotInstallPos(uint8_t installPos) {
    if (installPos > 3) return -1;
    mcb.robotInstallPos = installPos;
    persist(USER_PARAM_SECTION, "INSTALL_POS", mcb.robotInstallPos);
    return 0;
}

int tmcSetRobotInstallAngle(double yangle, double zangle) {
    if (angleRefused(yangle) || angleRefused(zangle)) return -1;
    mcb.robotInstallYangle = yangle;
    mcb.robotInstallZangle = zangle;
    persist(USER_PARAM_SECTION, "INSTALL_YANGLE", mcb.robotInstallYangle);
    persist(USER_PARAM_SECTION, "INSTALL_ZANGLE", mcb.robotInstallZangle);
    for (const auto& mounting : kMountings)
        if (mcb.robotInstallYangle == mounting.yangle && mcb.robotInstallZangle == 0.0)
            tmcSetRobotInstallPos(mounting.installPos);
    return 0;
}

int tmcGetRobotInstallAngle(double* yangle, double* zangle) {
    *yangle = mcb.robotInstallYangle;
    *zangle = mcb.robotInstallZangle;
    return 0;
}
