// The load on the force sensor: set by hand, or found from three poses.
//
// A weight f at p gives the moment m = p x f, linear in p. Turned by the pose, three readings tell p; told
// with them how each pose turned gravity, they tell the weight and the sensor's own offset as well.
#include <cmath>
#include <iterator>

#include "dynamics/load_center.h"
#include "model/payload.h"
#include "sensor/sensor_load.h"
#include "support/persist.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tarntools/tools_log.h"
#include "zvmcforcesensorblock.h"
#include "zvmctoolblock.h"

using namespace tarn;

namespace {

struct LoadCalibration {
    FORCESENSOR_DATA ThreePointData[3];  // N, N m: readings of the full method
    ROTRSF POS1, POS2, POS3;             // B in E at each of them
};
LoadCalibration loadCalibration;

constexpr double kSingular = 1e-06;  // determinant of normal equations that tell nothing
constexpr double kGravity = 9.8;     // m/s^2

// A reading below these carries no load to measure.
constexpr double kNoForce = 1.0;   // N
constexpr double kNoMoment = 0.1;  // N m

constexpr unsigned kSettleTime = 10000;  // us

void persistLoadWeight() {
    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_LOADWEIGHT", mpb.forceSensorLoadWeight);
}

void persistLoadCoord() {
    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_LOADCOORDX", mpb.forceSensorLoadCoord.x);
    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_LOADCOORDY", mpb.forceSensorLoadCoord.y);
    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_LOADCOORDZ", mpb.forceSensorLoadCoord.z);
}

// What is logged of readings that determine nothing.
struct SingularLines {
    const char* determinant;
    const char* reading[3];
};

constexpr SingularLines kSimpleLines = {
    "threePointCalibration: data error detValue = %f",
    {"threePoint1: data error = %f,%f,%f,%f,%f,%f", "threePoint2: data error = %f,%f,%f,%f,%f,%f",
     "threePoint3: data error = %f,%f,%f,%f,%f,%f"}};
constexpr SingularLines kMomentLines = {
    "ThreePointDataCalibration1: data error detValue = %f",
    {"ThreePointData11: data1 error = %f,%f,%f,%f,%f,%f", "ThreePointData12: data2 error = %f,%f,%f,%f,%f,%f",
     "ThreePointData13: data3 error = %f,%f,%f,%f,%f,%f"}};
constexpr SingularLines kForceLines = {
    "ThreePointDataCalibration2: data error detValue = %f",
    {"ThreePointData21: data error = %f,%f,%f,%f,%f,%f", "ThreePointData22: data error = %f,%f,%f,%f,%f,%f",
     "ThreePointData23: data error = %f,%f,%f,%f,%f,%f"}};

bool singular(double det, const FORCESENSOR_DATA readings[3], const SingularLines& lines) {
    if (!(std::fabs(det) < kSingular)) return false;
    Write_Log(LOG_ERR, lines.determinant, det);
    for (int k = 0; k < 3; k++) {
        const FORCESENSOR_DATA& w = readings[k];
        Write_Log(LOG_ERR, lines.reading[k], w.fx, w.fy, w.fz, w.mx, w.my, w.mz);
    }
    return true;
}

// Normal equations of the six unknowns (u, v) in H[k] u + v = b[k] over three readings.
struct NormalEquations {
    double left[6][6];
    double right[6];
};

NormalEquations normalEquations(const ROTRSF (&H)[3], const VECT (&b)[3]) {
    NormalEquations sum = {};
    for (int k = 0; k < 3; k++) {
        const VECT &n = H[k].n, &o = H[k].o, &a = H[k].a;
        const double rows[3][6] = {
            {n.x, o.x, a.x, 1, 0, 0}, {n.y, o.y, a.y, 0, 1, 0}, {n.z, o.z, a.z, 0, 0, 1}};
        for (int r = 0; r < 6; r++) {
            for (int c = 0; c < 6; c++)
                sum.left[r][c] += rows[0][r] * rows[0][c] + rows[1][r] * rows[1][c] + rows[2][r] * rows[2][c];
            sum.right[r] += rows[0][r] * b[k].x + rows[1][r] * b[k].y + rows[2][r] * b[k].z;
        }
    }
    return sum;
}

// The unknowns u and v; the determinant has been asked before.
struct Solution {
    VECT u, v;
};

Solution solution(NormalEquations& equations) {
    double inverse[6][6], x[6];
    inverseJacobi(equations.left, inverse);
    for (int r = 0; r < 6; r++) {
        x[r] = 0;
        for (int c = 0; c < 6; c++) x[r] += inverse[r][c] * equations.right[c];
    }
    return {{x[0], x[1], x[2]}, {x[3], x[4], x[5]}};
}

}  // namespace

// ---- by hand

int tmcSetForceSensorLoadWeight(double weight, int curLine) {
    if (loadWeightRefused(weight, mcb.robotType)) {
        mcb.paraError = zvCtlLoadWeightError;
        return -1;
    }
    mpb.forceSensorLoadWeight = weight;
    Write_Log(LOG_DEBUG, "forceSensorLoadWeight:%f", weight);
    persistLoadWeight();
    mpb.currentLine = curLine;
    return 0;
}

int tmcSetForceSensorLoadCoord(VECT loadCoord, int curLine) {
    const ZvParaError refusal = loadCoordFault(loadCoord);
    if (refusal != zvCtlParaOK) {
        mcb.paraError = refusal;
        mpb.currentLine = curLine;  // unlike a refused weight, on purpose
        return -1;
    }
    mpb.forceSensorLoadCoord = loadCoord;
    Write_Log(LOG_DEBUG, "forceSensorLoadCoord:%f %f %f", loadCoord.x, loadCoord.y, loadCoord.z);
    persistLoadCoord();
    mpb.currentLine = curLine;
    return 0;
}

// ---- simple method: the host gathers the readings

int tmcGetForceSensorData_loadIdentify(int sensorNum, FORCESENSOR_DATA* data) {
    constexpr int kSensors = static_cast<int>(std::size(mpb.posSensorCtlList));
    if (sensorNum < 0 || sensorNum > kSensors) return -1;
    if (mcb.forceControl.forceSensorZeroFlag == 0) return -2;
    if (mcb.forceControl.forceSensorRcs != 0) return -3;
    if (sensorLoadSet()) return -4;
    // The number behind the last entry passes, on purpose, and keeps the sensor in use.
    if (sensorNum < kSensors) mpb.posSensorCtl = mpb.posSensorCtlList[sensorNum];
    __wrap_usleep(kSettleTime);
    *data = mpb.forceRCS;
    return 0;
}

int tmcForceSensor_loadWeightIdentify(FORCESENSOR_DATA onePoint, double* loadWeight) {
    *loadWeight = std::fabs(onePoint.fz) / kGravity;
    return 0;
}

int tmcForceSensor_loadCoordIdentify(FORCESENSOR_DATA* threePoint, VECT* loadCoord) {
    ROTRSF left = {};
    VECT right = {};
    for (int k = 0; k < 3; k++)
        addEquation(crossedWith(force(threePoint[k])), moment(threePoint[k]), &left, &right);
    double det;
    detRotrsf(&left, &det);
    if (singular(det, threePoint, kSimpleLines)) return -1;

    const VECT center = solveEquations(left, right);
    *loadCoord = {center.x * 1000, center.y * 1000, center.z * 1000};
    return 0;
}

// ---- full method: m = p x f + c and f = R g + F0

int zvmcSaveSensorDataFlag(int RecordCount) {
    const FORCESENSOR_DATA& w = mpb.forceRCS;
    const auto below = [](const VECT& v, double limit) {
        return std::fabs(v.x) < limit && std::fabs(v.y) < limit && std::fabs(v.z) < limit;
    };
    if (RecordCount == 1 && below(force(w), kNoForce) && below(moment(w), kNoMoment)) return -1;
    if (sensorLoadSet()) return -2;

    // Acts on the reading from the next cycle on: the first pose is read with the old offset, on purpose.
    mcb.forceControl.zeroOffset = {};
    if (RecordCount < 1 || RecordCount > 3) return 0;
    loadCalibration.ThreePointData[RecordCount - 1] = w;
    ROTRSF& rotation = RecordCount == 1   ? loadCalibration.POS1
                       : RecordCount == 2 ? loadCalibration.POS2
                                          : loadCalibration.POS3;
    invRotrsf(&rotation, &mpb.tC);
    return 0;
}

int zvmcSensorComload(double* m, double* xyz) {
    const FORCESENSOR_DATA(&w)[3] = loadCalibration.ThreePointData;
    const VECT f[3] = {force(w[0]), force(w[1]), force(w[2])};

    // p and c, from the moments
    NormalEquations moments = normalEquations({crossedWith(f[0]), crossedWith(f[1]), crossedWith(f[2])},
                                              {moment(w[0]), moment(w[1]), moment(w[2])});
    if (singular(determinant(moments.left, 6), w, kMomentLines)) return -1;
    const auto [tool, k] = solution(moments);
    mpb.forceSensorLoadCoord = {tool.x * 1000, tool.y * 1000, tool.z * 1000};
    xyz[0] = mpb.forceSensorLoadCoord.x;
    xyz[1] = mpb.forceSensorLoadCoord.y;
    xyz[2] = mpb.forceSensorLoadCoord.z;

    // g and F0, from the forces; the center of mass stays stored when they do not tell
    NormalEquations forces =
        normalEquations({loadCalibration.POS1, loadCalibration.POS2, loadCalibration.POS3}, f);
    if (singular(determinant(forces.left, 6), w, kForceLines)) return -1;
    const auto [g, F0] = solution(forces);

    // the sensor's own moment is what is left of c without the lever of F0
    mpb.forceSensorLoadWeight = std::sqrt(g.x * g.x + g.y * g.y + g.z * g.z) / kGravity;
    mcb.forceControl.zeroOffset = {F0.x,
                                   F0.y,
                                   F0.z,
                                   k.x - F0.y * tool.z + F0.z * tool.y,
                                   k.y - F0.z * tool.x + F0.x * tool.z,
                                   k.z - F0.x * tool.y + F0.y * tool.x};
    *m = mpb.forceSensorLoadWeight;
    return 0;
}

void forceSensorSaveLoadCoord() {
    persistLoadWeight();
    persistLoadCoord();
    persistZeroOffset();
}
