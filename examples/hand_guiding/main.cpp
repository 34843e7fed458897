// Hand guiding: the host hands the arm over, the library compensates a part of the friction and holds an
// axis. You learn how a drag begins and ends, how much of the friction the hand is spared at which setting,
// and what the lock of an axis pulls with.
//
// The services and the state machine are those of the reference host. There is no simulator here: the program
// puts the joints where a hand would, and looks at the torques that the arm answers with.
#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "../shared/claim.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnhost/kinematics.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"

namespace {

void cycle() {
    tarn::host::serveRequests();
    gravityTorqueControl(&mpb.j6);
}

// What the drives are told, N m at the joints.
JNTS torque() {
    float rated[6];
    zvmcJointDefaultTorque(rated);
    JNTS result = {};  // with a gear of 100
    for (int i = 0; i < 6; i++) result.v[i] = how.currentSet[i] * 0.1 * static_cast<double>(rated[i]);
    return result;
}

// ---- friction

// Torque that the motor adds while a hand turns joint 1 at a speed, degrees/s. Joint 1 is upright: no weight.
double motorAt(double speed) {
    mpb.j6vel.v[0] = speed / 1000.0;
    cycle();
    mpb.j6vel.v[0] = 0.0;
    return torque().v[0];
}

void friction() {
    std::printf("\nfriction of joint 1, N m, and what the motor adds\n");
    std::printf("degrees/s   friction   off   share 0.5   share 1\n");
    float half[6], whole[6];
    std::fill_n(half, 6, 0.5F);
    std::fill_n(whole, 6, 1.0F);
    bool silent = true, twice = true, behind = true;
    for (const double speed : {-60.0, -20.0, 5.0, 20.0, 60.0}) {
        const double all = joint25FrictionCalculate_deadzone(speed / 1000.0);  // a drive of size 25, as built
        tmcFrictionCompensationOnOff(0);
        const double off = motorAt(speed);
        tmcFrictionCompensationOnOff(1);
        tmcSetFrictionValue_free(half);
        const double atHalf = motorAt(speed);
        tmcSetFrictionValue_free(whole);
        const double atWhole = motorAt(speed);
        std::printf("%9.0f %10.2f %5.2f %11.2f %9.2f\n", speed, all, off, atHalf, atWhole);
        silent = silent && off == 0.0;
        twice = twice && std::fabs(atWhole - 2.0 * atHalf) < 0.3;  // counts of 0.127 N m
        behind = behind && atWhole * speed > 0.0 && std::fabs(atWhole) < 0.9 * std::fabs(all);
    }
    claim(silent, "without compensation the motor of joint 1 does nothing");
    claim(twice, "half the share is half the torque");
    claim(behind, "the motor helps the hand, and never so much that the joint runs away");
}

// ---- the lock

constexpr double kLockGain = 10.0;  // 1 is 100 N/m
constexpr double kAway = 10.0;      // mm

// The joints that have the flange a way off a pose, mm in the base frame.
JNTS moved(const TRSF& from, double x, double z) {
    TRSF pose = from;
    pose.p.x += x;
    pose.p.z += z;
    JNTS joints = {};
    tarn::host::inverseFlangePose(mcb.robotType, pose, mpb.jC.v, joints.v);
    return joints;
}

// The part of the torque that comes from the lock.
JNTS lockTorque(const JNTS& at) {
    std::copy_n(at.v, 6, mpb.j6.v);
    cycle();
    const JNTS with = torque();
    mcb.dragLockEnable = 0;  // a look at the same pose without it: the reference stays
    cycle();
    mcb.dragLockEnable = 1;
    JNTS lock = torque();
    for (int i = 0; i < 6; i++) lock.v[i] = with.v[i] - lock.v[i];
    return lock;
}

// The force at the flange that joint torques stand for, N, along a direction: their work over a mm of way.
double force(const JNTS& torques, const JNTS& from, const JNTS& oneMm) {
    double work = 0.0;
    for (int i = 0; i < 6; i++) work += torques.v[i] * (oneMm.v[i] - from.v[i]) * 3.14159265358979 / 180.0;
    return work / 0.001;
}

void lock() {
    double p[6] = {0, 0, kLockGain, 0, 0, 0}, none[6] = {};  // x, y, z, then the rotations
    tmcSetDragLockPara(p, none, none);
    tmcDragLockEnableDisable(1);
    tmcDragSwitch(1);
    cycle();  // the arm is under the hand, and here is the reference of the lock
    const TRSF start = mpb.tC;
    const JNTS here = moved(start, 0, 0), oneUp = moved(start, 0, 1), oneAside = moved(start, 1, 0);

    const JNTS up = lockTorque(moved(start, 0, kAway)), aside = lockTorque(moved(start, kAway, 0));
    const double pull = force(up, here, oneUp), expected = -kLockGain * 100.0 * kAway / 1000.0;
    const double across = force(up, here, oneAside), free = force(aside, here, oneAside);
    std::printf("\nlock of z, gain %.0f: %.0f mm up %.2f N, and %.2f along x; %.0f mm along x %.2f N\n",
                kLockGain, kAway, pull, across, kAway, free);
    claim(std::fabs(pull - expected) < 1.0, "the lock pulls back with 100 N/m times its gain");
    claim(std::fabs(across) < 1.0 && std::fabs(free) < 1.0, "the other axes are free");
}

}  // namespace

int main() {
    tarn::host::setDefaults(ROB_ZVB_V1_000);
    const double pose[6] = {20, -70, 100, -120, -90, 10};  // degrees
    for (int i = 0; i < 6; i++) mpb.jC.v[i] = mpb.j6.v[i] = pose[i];
    tmcgravityTeachVersionOnOff(2);
    newFwdKinematics(&mpb.jC, &mpb.tC);

    const int before = mpb.state;
    tmcDragSwitch(1);
    cycle();
    const int during = mpb.state;
    mpb.j6.v[0] += 0.5;  // the hand
    cycle();
    std::printf("state %d, under the hand %d; measured %.1f and commanded %.1f degrees\n", before, during,
                mpb.j6.v[0], mpb.jC.v[0]);
    claim(before == TGEN_IDLE && during == TGEN_DRAG, "tmcDragSwitch hands the arm over");
    claim(mpb.jC.v[0] == mpb.j6.v[0], "the command follows the hand, so that nothing jumps afterwards");
    friction();
    tmcDragSwitch(0);
    cycle();
    claim(mpb.state == TGEN_IDLE, "tmcDragSwitch takes it back, too");

    lock();
    return result();
}
