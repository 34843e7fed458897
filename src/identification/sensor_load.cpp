// The tool load out of the force sensor while an operator guides the arm: five wrenches in different
// orientations tell weight and center, over a window that slides with the motion.
#include "identification/sensor_load.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "dynamics/load_center.h"
#include "identification/load_in_use.h"
#include "model/payload.h"
#include "support/persist.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarntools/tools_log.h"
#include "zvmcforcesensorblock.h"

using namespace tarn;

namespace {

constexpr double kGravity = 9.8;  // m/s^2
constexpr int kCallPeriod = 5;    // ms
constexpr int kWindow = LOADIDENTIFYRECORDNUM;

int leave() {
    sensorLoad = {};
    sensorLoad.stateLast = mpb.state;
    return 0;
}

int stay() {
    sensorLoad.stateLast = mpb.state;
    return 0;
}

ROTRSF endOrientation() {
    ROBCARTPOS endCartPos = {};
    TRSF end = {};
    jointTrsfToEndCartTCF_RT(0, mpb.j6.v, &endCartPos);
    rpyToTrsf(&end, static_cast<double>(endCartPos.c), static_cast<double>(endCartPos.b),
              static_cast<double>(endCartPos.a));
    return end;
}

// Takes a sample into the window; tells whether it is full.
bool record(const FORCESENSOR_DATA& wrench, const ROTRSF& orientation) {
    SensorLoad& s = sensorLoad;
    int place = kWindow - 1;
    if (s.recordFullFlag == 0) {
        place = s.recordCount++;
    } else {
        std::copy(s.recordForce + 1, s.recordForce + kWindow, s.recordForce);
        std::copy(s.recordPos + 1, s.recordPos + kWindow, s.recordPos);
    }
    s.recordForce[place] = wrench;
    s.recordPos[place] = orientation;
    if (place < kWindow - 1) return false;
    s.recordFullFlag = 1;
    s.recordCount = 0;
    return true;
}

}  // namespace

int tmcLoadIdentifyDynOnOff(uint8_t status) {
    if (status > 1) return -1;
    mcb.loadIdentifyDyn.loadIdentifyDynCtl = status;
    persist(USER_PARAM_SECTION, "LOAD_IDENTIFY_DYN", status);
    return 0;
}

int tmcSetLoadIdentifyDynPara(int sampleTime) {
    if (sampleTime < 0 || sampleTime > 1000) return -1;
    mcb.loadIdentifyDyn.loadIdentifyDynTime = sampleTime;
    persist(USER_PARAM_SECTION, "LOAD_IDENTIFY_TIME", sampleTime);
    return 0;
}

int zvmcLoadIdentifyDynControl() {
    SensorLoad& s = sensorLoad;
    if (mcb.loadIdentifyDyn.loadIdentifyDynCtl != 1) return leave();
    if (mpb.state != TGEN_DRAG) {
        if (s.stateLast == TGEN_DRAG) persistLoadInUse();
        return leave();
    }
    // a spacing below the period waits for a count of -1, which never comes, on purpose
    if (s.dynCount != mcb.loadIdentifyDyn.loadIdentifyDynTime / kCallPeriod - 1) {
        if (s.dynCount < INT_MAX) s.dynCount++;
        return stay();
    }
    s.dynCount = 0;
    if (!record(mpb.forceRCS, endOrientation())) return stay();

    double loadweight, loadcoord[3];
    zvmcComloaddymIdentify(s.recordForce, s.recordPos, &loadweight, loadcoord);
    // what is no number goes through these as it is
    if (loadweight < kSlightlyNegativeLoad) loadweight = 0.0;
    const double heaviest = heaviestLoad(mcb.robotType);
    if (loadweight > heaviest) loadweight = heaviest;
    for (double& mm : loadcoord) {
        if (mm < MINLOADCOORD) mm = MINLOADCOORD;
        if (mm > MAXLOADCOORD) mm = MAXLOADCOORD;
    }

    // the last state stays with these, so that leaving the hand guiding still persists
    if (std::isnan(loadweight)) {
        Write_Log(LOG_ERR, "loadweight is NAN");
        return -1;
    }
    for (int i = 0; i < 3; i++) {
        if (std::isnan(loadcoord[i])) {
            Write_Log(LOG_ERR, "loadcoord%d is NAN", i);
            return -1;
        }
    }
    mpb.loadWeight = loadweight;  // the center in use stays as it was set, on purpose
    return stay();
}

// Center from M = r x F. Mass from F = R G, though the weight in the flange's axes is R' G, on purpose: the
// mean of the forces, turned once more by R', is as long as they are only while the orientation hardly
// changes.
int zvmcComloaddymIdentify(FORCESENSOR_DATA* fivePoint, ROTRSF* R, double* m, double* xyz) {
    ROTRSF right_sum = {}, right1_sum = {};
    VECT left_sum = {}, left1_sum = {};
    for (int i = 0; i < kWindow; i++) {
        addEquation(crossedWith(force(fivePoint[i])), moment(fivePoint[i]), &right_sum, &left_sum);
        addEquation(R[i], force(fivePoint[i]), &right1_sum, &left1_sum);
    }
    const VECT load_xyz = solveEquations(right_sum, left_sum);
    xyz[0] = load_xyz.x * 1000.0;
    xyz[1] = load_xyz.y * 1000.0;
    xyz[2] = load_xyz.z * 1000.0;
    const VECT load_Gxyz = solveEquations(right1_sum, left1_sum);
    *m = normVect(&load_Gxyz) / kGravity;
    return 0;
}
