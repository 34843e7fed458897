// Force control: words of a force sensor in, a zero, a constant force along a path, a drag by the sensor. You
// learn the order of the calls, the signs, and how a host knows that the control has given up.
//
// Planner, kinematics and services are those of the reference host. The arm is an ideal one; what it meets is
// a board that gives way by 1 mm for 20 N and rises by 3 mm along the path, and a hand.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "../shared/claim.h"
#include "tarnhost/defaults.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "zvmcforcesensorblock.h"

namespace {

constexpr double kBias[6] = {3.2, -1.7, 5.0, 0.12, -0.3, 0.05};  // N, N m; what the sensor shows unloaded

// The words of a sensor with 0.1 N and 0.01 N m a count, for a force on the tool (E, N).
void sense(const VECT& force) {
    const double reading[6] = {force.x, force.y, force.z, 0, 0, 0};
    int32_t words[6];
    for (int i = 0; i < 6; i++)
        words[i] = static_cast<int32_t>(std::lround((reading[i] + kBias[i]) / (i < 3 ? 0.1 : 0.01)));
    forceSensorDataProcess(words);
}

// ---- the board, in the base frame: N and mm

double boardAt(double y, double start, double z) { return z - 2.0 + 0.03 * (y - start); }

VECT boardForce(const TRSF& flange, double start, double z) {
    const double depth = boardAt(flange.p.y, start, z) - flange.p.z;
    const double up = 20.0 * std::max(depth, 0.0);
    return {up * flange.n.z, up * flange.o.z, up * flange.a.z};  // seen from E
}

// Status 1 starts, 0 stops. 15 N along the flange's z axis: what presses the tool forward is felt backward.
int press(uint8_t status) {
    uint8_t select[6] = {0, 0, 1, 0, 0, 0};
    const FORCESENSOR_DATA target = {0, 0, -15, 0, 0, 0};
    constexpr int kSensorInUse = 256;
    return tmcConstForceStartStop(status, kSensorInUse, select, target, 0.002, 0, 0, 0, 0, 0, 0, 0, 10.0, 5.0,
                                  0, 0, 0, 0);
}

void constantForce() {
    const TRSF begin = mpb.tC;
    TRSF end = begin;
    end.p.y += 100.0;
    press(1);
    TRSF flange = begin;  // where the arm is: the planned pose, corrected
    double least = 1e9, most = -1e9, correction = 0.0;
    int refused = 0;
    std::printf("\nplanned y   corrected by     force\n");
    for (int n = 0; n <= 2500; n++) {
        if (n == 500) tarn::host::startLineMove(end, 60.0);  // in contact by now
        sense(boardForce(flange, begin.p.y, begin.p.z));
        tarn::host::serveRequests();
        if (constForceControl(mpb.tC, &flange) != 0) refused++;
        correction = flange.p.z - mpb.tC.p.z;
        if (n % 500 == 0)
            std::printf("%6.1f mm %9.2f mm %9.2f N\n", mpb.tC.p.y - begin.p.y, correction, mpb.forceRCS.fz);
        if (n < 500) continue;
        least = std::min(least, -mpb.forceRCS.fz);
        most = std::max(most, -mpb.forceRCS.fz);
    }
    std::printf("along the board between %.2f and %.2f N\n", least, most);
    claim(least > 12.0 && most < 18.0 && refused == 0, "the force stays within 3 N of the 15 asked for");
    // 2 mm down to the board and 3 mm up with it, then 15 N deep
    claim(std::fabs(correction - (-2.0 + 3.0 - 15.0 / 20.0)) < 0.2, "the correction follows the board");

    press(0);
    constForceControl(mpb.tC, &flange);
    claim(flange.p.z == mpb.tC.p.z, "after the stop the arm is where the plan has it");
}

void nothingToPressOn() {
    press(1);
    TRSF flange = mpb.tC;
    int n = 0;
    for (; n < 3000 && constForceControl(mpb.tC, &flange) == 0; n++) sense({0, 0, 0});
    std::printf("\nno board: given up after %d ms and %.1f mm\n", n, mpb.tC.p.z - flange.p.z);
    claim(mcb.cmdPointError == zvCtlConstForceZOver && mcb.forceControl.constForceFlag == 0,
          "past the largest correction the control ends with a fault");
    mcb.cmdPointError = zvCtlCmdPointOK;  // as the operator acknowledges it
}

void drag() {
    double inertia[6] = {5, 5, 5, 0.5, 0.5, 0.5}, damping[6] = {200, 200, 200, 20, 20, 20};
    double stiffness[6] = {}, deadZone[6] = {2, 2, 2, 0.2, 0.2, 0.2};
    mcb.mode = 1;  // in manual mode only, and with the arm idle
    zvmcEndForceDragstartstop(1, 0, 0, 0, inertia, damping, stiffness, deadZone, 50.0, 100.0);
    VECT last = mpb.tC.p, way = {};
    double fastest = 0.0;
    std::printf("\n      hand     speed\n");
    for (int n = 1; n <= 1500; n++) {
        sense({n <= 500 ? 20.0 : 0.0, 0, 0});  // along the flange's x axis, then let go
        zvmcForceSensorDragProcess();
        tarn::host::serveRequests();
        if (n % 250 != 0) continue;
        subtractVect(&way, &mpb.tC.p, &last);
        const double speed = normVect(&way) / 0.25;
        std::printf("%8.1f N %7.1f mm/s\n", mpb.forceRCS.fx, speed);
        fastest = std::max(fastest, speed);
        last = mpb.tC.p;
    }
    zvmcEndForceDragStartStopControl(0);
    claim(std::fabs(fastest - 20.0 / 200.0 * 1000.0) < 5.0,
          "a hand of 20 N against 200 N s/m moves 100 mm/s");
    claim(normVect(&way) < 0.1, "and let go, the arm stands");
}

}  // namespace

int main() {
    tarn::host::setDefaults(ROB_ZVB_V1_000);
    const double pose[6] = {20, -70, 100, -120, -90, 10};  // degrees; the flange looks down
    for (int i = 0; i < 6; i++) mpb.jC.v[i] = mpb.j6.v[i] = pose[i];
    newFwdKinematics(&mpb.jC, &mpb.tC);

    mcb.fsCompanyID = 18;  // a sensor of fixed-point words
    mcb.fsDeviceID = 0;
    tmcSetForceSensorAct(1, 0);
    float place[6] = {};  // of the sensor on the flange
    tmcSetForceSensorRcs(0, place, 0);
    for (int n = 0; n < 100; n++) sense({0, 0, 0});
    const double before = mpb.forceRCS.fz;
    const int zeroed = tmcSetForceSensorZero(1, 0);  // on the reading of this cycle
    for (int n = 0; n < 100; n++) sense({0, 0, -8});
    std::printf("unloaded %.2f N; zeroed, under -8 N, %.2f N\n", before, mpb.forceRCS.fz);
    claim(zeroed == 0 && std::fabs(before - kBias[2]) < 0.05 && std::fabs(mpb.forceRCS.fz + 8.0) < 0.05,
          "zeroed the sensor shows the force alone");
    for (int n = 0; n < 100; n++) sense({0, 0, 0});

    constantForce();
    nothingToPressOn();
    drag();
    return result();
}
