#include "collision/after_collision.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "collision/deviation.h"
#include "support/joints.h"
#include "support/log_lines.h"
#include "support/to_integer.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn {

AfterCollision afterCollision;

namespace {

enum DragReaction { FreeDrag = 3, SpringDrag = 4, PushBackDrag = 5 };  // mcb.collisionPauseFlag

constexpr double kDamp[6] = {0.5, 0.5, 0.5, 0.1, 0.1, 0};  // N m s/degree
constexpr double kStiffness = 5.0;                         // N m/degree
constexpr int kPushedBack = 3;                             // the push-back takes the first three joints

// degrees/ms to degrees/s, and against the motion
double dampingTorque(int i) { return kDamp[i] * (0.0 - mpb.j6vel.v[i] * 1000.0); }

// Down by one cycle; a setting may have put the lowest int there.
void countDown(int& time) {
    if (time > INT_MIN) time--;
}

void leaveDrag(int place) {
    afterCollision.CollisionAfterTime = 0;
    tmcDragSwitch(0);
    logDragPlace(place);
}

void endReaction(int place, double& distanceErr) {
    leaveDrag(place);
    mcb.collisionStateback = 0;
    distanceErr = 0;
    mcb.forceControl.collisionErrorState = 0;
    std::fill_n(afterCollision.ftCollisionData, 6, 0.0);
}

constexpr double kPushGain = 5.0;  // a force collision pushes back harder than one seen in the torques

// A force collision that has just been raised: its time begins, with the torques of this instant.
void takeForceCollisionOver(const CycleFrame& frame) {
    FORCE_CONTROL& guard = mcb.forceControl;
    if (guard.collisionErrorState != 1) return;
    afterCollision.CollisionAfterTime = toInt(static_cast<double>(guard.collisionStateTime));
    afterCollision.CollisionStartFlag = 1;
    guard.collisionErrorState = 2;
    zvmcForceDataToTorque(frame.q->v, afterCollision.ftCollisionData);
    const JointTorques torques = jointTorques();
    const int joints = armJoints();
    for (int i = 0; i < joints; i++) afterCollision.forceCollisionError[i] = torques.precent[i] * kPushGain;
}

bool reacting() {
    return (mcb.collisionStateback == 1 || mcb.forceControl.collisionErrorState == 2) &&
           mcb.collisionPauseFlag >= FreeDrag && mcb.collisionPauseFlag <= PushBackDrag &&
           mpb.state == TGEN_DRAG;
}

void latchReference() {
    std::copy_n(mpb.jC.v, 6, afterCollision.lastJointPos);
    afterCollision.lastTcpPos.p = mpb.tC.p;
}

double distanceFromReference() {
    const VECT &now = mpb.tC.p, &start = afterCollision.lastTcpPos.p;
    return std::sqrt((now.x - start.x) * (now.x - start.x) + (now.y - start.y) * (now.y - start.y) +
                     (now.z - start.z) * (now.z - start.z));
}

void holdBySpring(double (&gtorque)[6]) {
    for (int i = 0; i < 6; i++)
        gtorque[i] += kStiffness * (afterCollision.lastJointPos[i] - mpb.jC.v[i]) + dampingTorque(i);
}

// Gives way to what pushed the arm at the collision, less from cycle to cycle, and sheds torque of a fast
// tool.
void pushBack(double (&gtorque)[6]) {
    const COLLISION_DETECTION& set = mcb.collisionDetection;
    for (int i = 0; i < kPushedBack; i++) {
        const double e = (static_cast<double>(afterCollision.CollisionAfterTime) - set.safeTime) * 0.001 *
                         set.safetyMargin[i];
        gtorque[i] = gtorque[i] - afterCollision.forceCollisionError[i] * 100.0 * std::exp(e) * 0.5 +
                     afterCollision.ftCollisionData[i];
        if (mpb.tcpvel >= set.safeSpeed) gtorque[i] = gtorque[i] * set.safeSpeed / mpb.tcpvel;
    }
}

}  // namespace

void afterCollisionStage(CycleFrame& frame) {
    takeForceCollisionOver(frame);
    if (!reacting()) return;
    countDown(afterCollision.CollisionAfterTime);
    if (afterCollision.CollisionStartFlag == 1) {
        afterCollision.CollisionStartFlag = 0;
        latchReference();
    }
    double distanceErr = distanceFromReference();

    const int flag = mcb.collisionPauseFlag;
    if (flag == SpringDrag && afterCollision.CollisionAfterTime > 0)
        holdBySpring(frame.servor_torque.v);
    else if (flag == PushBackDrag && afterCollision.CollisionAfterTime > 0)
        pushBack(frame.servor_torque.v);

    if (afterCollision.CollisionAfterTime < 0) endReaction(2, distanceErr);
    // the end above has cleared the distance on purpose
    if (flag == PushBackDrag && distanceErr > mcb.collisionDetection.safeDistance)
        endReaction(3, distanceErr);
}

void staticCollisionStage(CycleFrame& frame) {
    if (mcb.collisionDetection.staticCollisionFlag != 1 || mpb.state == TGEN_SERVICE ||
        mcb.collisionStateback != 0)
        return;
    const int speed = toInt(mpb.tcpvel);
    if (speed >= -1 && speed <= 1) tmcCheckTorqueError();
    if (afterCollision.CollisionStartFlag == 1) {
        mcb.fricCompensationFlag = 0;  // until a command brings it back
        countDown(afterCollision.CollisionAfterTime);
        for (int i = 0; i < 6; i++) frame.servor_torque.v[i] += dampingTorque(i);
    }
    // the time is shared with the reactions: it ends here whoever counted it
    if (afterCollision.CollisionAfterTime < 0) {
        afterCollision.CollisionStartFlag = 0;
        leaveDrag(4);
    }
}

void coldStartAfterCollision() {
    std::fill_n(afterCollision.forceCollisionError, 6, 0.0);
    std::fill_n(afterCollision.ftCollisionData, 6, 0.0);
}

}  // namespace tarn
