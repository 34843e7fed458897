#include "cycle/stages.h"

#include <cmath>

#include "collision/power_limit.h"
#include "cycle/cold_start.h"
#include "cycle/full_dynamics.h"
#include "dynamics/mounting.h"
#include "guiding/stages.h"
#include "model/type_table.h"
#include "support/joints.h"
#include "support/to_integer.h"
#include "tarnhal/thalintf.h"
#include "tmcforceblock.h"

namespace tarn {
namespace {

struct TorqueCycle {
    int lastState;  // mpb.state of the last call
};
TorqueCycle torqueCycle;

enum TorqueModel { GravityOnly = 0, FittedRegressor = 1, FullRigidBody = 2 };  // mcb.newTeachEnable

// Gear ratio of the current command, by joint.
struct GearRatio {
    double joint[6];
};

// clang-format off
constexpr TypeRow<GearRatio> kGearRatio[] = {
    // first, last,    J1     J2     J3     J4     J5     J6
    {  702,  703, { { 121.0, 121.0, 121.0, 101.0, 101.0, 101.0 } } },
    {  901,  901, { { 121.0, 121.0, 121.0, 101.0, 101.0, 101.0 } } },
};
constexpr GearRatio kGearRatioOther =
                  { { 100.0, 100.0, 100.0, 100.0, 100.0, 100.0 } };
// clang-format on

constexpr double kServoRatio = 100.0;     // torque servo: the same for every type
constexpr double kServoScale = 0.7;       // torque servo: divides the commanded torque, with no gear ratio
constexpr double kNoServoTorque = 1e-06;  // N·m; a smaller command is none

// Motor current in thousandths of rated torque that gives the joint its torque and its share of friction.
std::int16_t currentOf(const CycleFrame& frame, int i, double ratio) {
    const double torque =
        frame.servor_torque.v[i] + frame.value[i] * static_cast<double>(mpb.friction_Free[i]);
    return toInt16((torque / (static_cast<double>(frame.JointTorque[i]) * ratio)) * 1000.0);
}

}  // namespace

// A motion that ends out of a pause ends the watch of the custom thresholds.
void customCollisionEnd() {
    if (torqueCycle.lastState == TGEN_PAUSE && mpb.state == TGEN_IDLE &&
        mcb.collisionDetection.CustomCollisionFlag != 0 && mpb.collisionThresholdMode == 1)
        mcb.collisionDetection.CustomCollisionFlag = 0;
    torqueCycle.lastState = mpb.state;
}

// The gains go to the drives; nothing here reads them.
void vibrationAbatement() {
    float VibrateAbatementGain[6] = {};
    zvmcVibrateAbateControl(VibrateAbatementGain);
}

void loadIn(CycleFrame& frame) {
    frame.exLoad.mass = mpb.loadWeight;
    frame.exLoad.cmc = mpb.loadCoord;
}

// Shows the selected load record to the host, in a field named for something else. An index past the records
// shows nothing new.
void loadPublication() {
    if (mpb.loadNum >= MAXLOADNUM) return;
    const VECT& center = mpb.loadCoordList[mpb.loadNum];
    mpb.frictionValue[0] = static_cast<float>(mpb.loadWeightList[mpb.loadNum]);
    mpb.frictionValue[1] = static_cast<float>(center.x);
    mpb.frictionValue[2] = static_cast<float>(center.y);
    mpb.frictionValue[3] = static_cast<float>(center.z);
}

// Where no model runs the torque stays zero.
void torqueModel(CycleFrame& frame) {
    if (mcb.newTeachEnable == GravityOnly) zvmcNewGravityTorque(frame.q, &frame.exLoad, &frame.servor_torque);
    if (mcb.newTeachEnable == FittedRegressor) fittedRegressor(frame);
    if (mcb.newTeachEnable == FullRigidBody) fullDynamics(frame);
}

// With an unknown mounting the currents keep their last values.
void currentCommand(const CycleFrame& frame) {
    if (mcb.robotInstallPos > FreeAngleMount) return;
    const GearRatio& ratio = byType(kGearRatio, kGearRatioOther, mcb.robotType);
    const int joints = armJoints();
    for (int i = 0; i < joints; i++) {
        const double share = static_cast<double>(mpb.friction_Free[i]);
        if (share < -1e-06 || share > 1.0) mpb.friction_Free[i] = 0.5f;
        how.currentSet[i] = currentOf(frame, i, ratio.joint[i]);
    }
}

void torqueServoOverride(const CycleFrame& frame) {
    if (mcb.servoJTStatus != 1) return;
    if (mcb.collisionDetection.powerFlag == 1 && powerTrips()) coldStart();
    const int joints = armJoints();
    for (int i = 0; i < joints; i++) {
        const double torque = mpb.jTorque[i];
        if (std::fabs(torque) < kNoServoTorque)
            how.currentSet[i] = currentOf(frame, i, kServoRatio);
        else
            how.currentSet[i] =
                toInt16((torque / static_cast<double>(frame.JointTorque[i])) * 1000.0 / kServoScale);
    }
}

}  // namespace tarn
