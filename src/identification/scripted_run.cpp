// The tool load out of a scripted motion: the host's program holds it by joint 5 and by joint 3, at levers
// that are taken as known, and then turns it by joint 6. What these joints bear beyond the bare arm is the
// load. Program lines tell which joint is read.
#include "identification/scripted_run.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#include "support/joints.h"
#include "tarnhal/thalintf.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

// Lever of the load times 9.8 m/s^2: 0.102 m from joint 5, 0.232 m from joint 3, whatever the arm.
constexpr double kWeightOnJoint5 = 0.9996;  // N m/kg
constexpr double kWeightOnJoint3 = 2.2736;
constexpr double kGravity = 9.8;         // m/s^2
constexpr double kModelGear = 100.0;     // from the modelled torque to that of the motor
constexpr double kMeasuredGear = 101.0;  // and from the motor back to the joint; another one, on purpose

constexpr double kLight = 2.5;            // kg, below which
constexpr double kLightCorrection = 0.5;  // kg are known to be too much

struct Excess {
    double actualTorque[6];  // N m, motor side
    double diffTorque[6];    // N m, magnitude of what is more or less than the bare arm's, at the joint
};

Excess excess() {
    EX_LOAD noLoad = {};
    JNTS torqueGravity = {};
    zvmcNewGravityTorque(&mpb.j6, &noLoad, &torqueGravity);
    double value[6] = {};
    if (mcb.fricCompensationFlag == 1) frictionCompensation(&mpb.jCvel, value);
    float JointTorque[6];
    zvmcJointDefaultTorque(JointTorque);

    Excess found = {};
    const int joints = armJoints();
    for (int i = 0; i < joints; i++) {
        const double theoryTorque = (torqueGravity.v[i] + value[i]) / kModelGear;
        found.actualTorque[i] = how.currentFeedback[i] * 0.001 * static_cast<double>(JointTorque[i]);
        found.diffTorque[i] = std::fabs(found.actualTorque[i] - theoryTorque) * kMeasuredGear;
    }
    return found;
}

// Takes a sample into the chunk in hand. The call that finds the chunk full takes none but closes it by
// handing on its mean.
template <typename Close>
void gather(double sample, double& sum, Close close) {
    int& count = mcb.loadIdentify.count1000ms;
    if (count != LOADIDENTIFYINTERVAL) {
        sum += sample;
        if (count < INT_MAX) count++;
        return;
    }
    close(sum / LOADIDENTIFYINTERVAL);
    count = 0;
    sum = 0.0;
}

// A full table takes no more chunks.
bool hasRoom(int number) { return 0 <= number && number < LOADIDENTIFYBUFNUM; }

void gatherWeight(double sample, double& sum, double perKilogram) {
    gather(sample, sum, [perKilogram](double mean) {
        LOAD_IDENTIFY& run = mcb.loadIdentify;
        if (!hasRoom(run.weightTotalNum)) return;
        double& weight = run.weightTemp[run.weightTotalNum];
        weight = mean / perKilogram;
        Write_Log(LOG_INFO, "weightTotalNum %d weightTemp %f", run.weightTotalNum, weight);
        run.weightTotalNum++;
    });
}

void gatherCoord(double sample) {
    gather(sample, scriptedRun.diffTorque6Sum, [](double mean) {
        LOAD_IDENTIFY& run = mcb.loadIdentify;
        if (!hasRoom(run.coordTotalNum)) return;
        double& z = run.coordTemp[run.coordTotalNum].z;
        z = mean * 1000.0 / (run.weightResult * kGravity);
        Write_Log(LOG_INFO, "coordTotalNum %d coordTemp %f", run.coordTotalNum, z);
        run.coordTotalNum++;
    });
}

// No number without a chunk: a run that has seen nothing says so by its result alone.
template <typename Value>
double mean(int number, Value value) {
    double sum = 0.0;
    for (int i = 0; i < std::min(number, LOADIDENTIFYBUFNUM); i++) sum += value(i);
    return sum / number;
}

void formWeight() {
    LOAD_IDENTIFY& run = mcb.loadIdentify;
    run.weightResult = mean(run.weightTotalNum, [](int i) { return mcb.loadIdentify.weightTemp[i]; });
    if (run.weightResult < kLight) run.weightResult -= kLightCorrection;
    run.weightIdentifyResult = 1;
    run.weightTotalNum = 0;
    run.count1000ms = 0;
}

// What joint 6 bears on average stands for z, what it bears at most beyond that for the way off its axis.
void formCoord() {
    LOAD_IDENTIFY& run = mcb.loadIdentify;
    ScriptedRun& s = scriptedRun;
    const double weight = run.weightResult * kGravity;  // N
    run.coordResult.z = mean(run.coordTotalNum, [](int i) { return mcb.loadIdentify.coordTemp[i].z; });
    const double r = (s.diffTorqueXY - weight * run.coordResult.z / 1000.0) * 1000.0 / weight;
    run.coordResult.x = -r * std::sin(s.j6ValueXY);  // of degrees taken for radians, on purpose
    run.coordResult.y = -r * std::cos(s.j6ValueXY);
    Write_Log(LOG_INFO, "diffTorqueXY %f", s.diffTorqueXY);
    Write_Log(LOG_INFO, "j6ValueXY %f", s.j6ValueXY);
    s.maxTorque = s.diffTorqueXY = s.j6ValueXY = 0.0;
}

void turnByJoint6(const Excess& found) {
    LOAD_IDENTIFY& run = mcb.loadIdentify;
    if (run.weightIdentifyResult == 0) formWeight();
    if (mpb.state == TGEN_SERVICE) {
        if (std::fabs(found.actualTorque[5]) > scriptedRun.maxTorque) {
            scriptedRun.maxTorque = std::fabs(found.actualTorque[5]);
            scriptedRun.diffTorqueXY = found.diffTorque[5];
            scriptedRun.j6ValueXY = mpb.j6.v[5];
        }
        gatherCoord(found.diffTorque[5]);
    } else if (mpb.state == TGEN_IDLE) {
        if (run.coordIdentifyResult == 0) formCoord();
        run.weightIdentifyResult = 1;
        run.coordIdentifyResult = 1;
        run.identifyResult = 1;
        run.loadIdentifyControl = 0;
    }
}

}  // namespace

// The sums of a chunk that was never closed stay for the next run, on purpose.
int tmcLoadIdentifyStartEnd(uint8_t status) {
    if (status > 1) return -1;
    std::memset(&mcb.loadIdentify, 0, sizeof mcb.loadIdentify);
    mcb.loadIdentify.loadIdentifyControl = status;
    return 0;
}

int zvmcLoadIdentifyControl() {
    if (mcb.loadIdentify.loadIdentifyControl != 1) return 0;
    const Excess found = excess();
    switch (mpb.currentLine) {
        case 3:
        case 4:
            if (mpb.state == TGEN_SERVICE)
                gatherWeight(found.diffTorque[4], scriptedRun.diffTorque5Sum, kWeightOnJoint5);
            break;
        case 6:
        case 7:
            if (mpb.state == TGEN_SERVICE)
                gatherWeight(found.diffTorque[2], scriptedRun.diffTorque3Sum, kWeightOnJoint3);
            break;
        case 9:
        case 10:
            turnByJoint6(found);
            break;
        default:
            break;
    }
    return 0;
}

int tmcGetLoadWeightCoord(uint8_t* identify, double* weight, VECT* loadCoord) {
    *identify = mcb.loadIdentify.identifyResult;
    *weight = mcb.loadIdentify.weightResult;
    *loadCoord = mcb.loadIdentify.coordResult;
    return 0;
}
