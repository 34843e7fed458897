#include "soak/arm.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace soak {
namespace {

constexpr double kFollow = 0.1;            // share of the way to the set-point a cycle
constexpr double kHandFollow = 0.02;       // likewise of the hand's speed
constexpr double kHeldSpeed = 1.0;         // degrees/s: no hand moves the arm far against what pulls it back
constexpr double kContactMoment = 0.5;     // N m, of a tool that turns in contact
constexpr double kJointEnd = 165.0;        // degrees, where the hand turns round
constexpr double kCounts = 16384 / 360.0;  // a degree
constexpr double kTwist = 2e-5;            // degrees by thousandth of the rated torque

double turnBetween(const TRSF& a, const TRSF& b) {
    const double trace = a.n.x * b.n.x + a.n.y * b.n.y + a.n.z * b.n.z + a.o.x * b.o.x + a.o.y * b.o.y +
                         a.o.z * b.o.z + a.a.x * b.a.x + a.a.y * b.a.y + a.a.z * b.a.z;
    return std::acos(std::clamp((trace - 1) / 2, -1.0, 1.0)) * 180 / std::numbers::pi;
}

std::int16_t feedback(double current) {
    return static_cast<std::int16_t>(std::lround(std::clamp(current, -3000.0, 3000.0)));
}

}  // namespace

void Arm::reset() {
    for (int i = 0; i < 6; i++) position_[i] = mpb.jC.v[i], velocity_[i] = 0.0;
    mpb.j6 = mpb.oldJ6 = mpb.jC;
    newFwdKinematics(&mpb.j6, &mpb.t6);
    faults = {};
    press(0, 0);
    lead(30, 0);
}

// Three sines without a common period, by channel.
double Arm::wave(int channel) const {
    const double t = static_cast<double>(time_) * 0.001, c = 1 + 0.37 * channel;
    return (std::sin(1.1 * c * t) + std::sin(2.7 * c * t + channel) + std::sin(0.31 * t + 2.0 * channel)) / 3;
}

void Arm::measure(std::int32_t (&words)[6]) {
    time_++;
    mpb.oldJ6 = mpb.j6;
    for (int i = 0; i < 6; i++) {
        double velocity = (mpb.jC.v[i] - position_[i]) * kFollow;
        if (mpb.state == TGEN_DRAG) {
            const bool held = mcb.collisionStateback == 1 || mcb.forceControl.collisionErrorState == 2 ||
                              mcb.dragLockEnable == 1 || mcb.interfereDrag == 1;
            double wish = (held ? kHeldSpeed : handSpeed_) * 0.001 * wave(i);
            if (std::fabs(position_[i]) > kJointEnd) wish = -std::copysign(0.01, position_[i]);
            velocity = velocity_[i] + kHandFollow * (wish - velocity_[i]);
        }
        position_[i] += velocity;
        mpb.j6.v[i] = position_[i];
        mpb.j6acc.v[i] = velocity - velocity_[i];
        mpb.j6vel.v[i] = velocity_[i] = velocity;
        how.currentFeedback[i] = feedback(how.currentSet[i] + random_.between(-5, 5) + faults.jointTorque[i]);
        how.enc[i] = std::llround((position_[i] + kTwist * how.currentFeedback[i]) * kCounts);
        how.HSEnc[i] = static_cast<std::int32_t>(std::lround(position_[i] * kCounts)) + faults.encoder;
    }
    const TRSF before = mpb.t6;
    newFwdKinematics(&mpb.j6, &mpb.t6);
    VECT step;
    subtractVect(&step, &mpb.t6.p, &before.p);
    mpb.tcpvel = normVect(&step) * 1000.0;
    mpb.tcpOriVel = turnBetween(before, mpb.t6) * 1000.0;
    sense(words);
}

// The load under gravity, the hand, the contact of the tool, and what collides with it.
void Arm::sense(std::int32_t (&words)[6]) {
    const double weight = 9.8 * mpb.forceSensorLoadWeight;
    const VECT down = {-weight * mpb.t6.n.z, -weight * mpb.t6.o.z, -weight * mpb.t6.a.z};
    VECT moment, lever;
    scaleVect(&lever, &mpb.forceSensorLoadCoord, 0.001);
    crossVect(&moment, &lever, &down);
    const double pressed = contact_.force + contact_.stiffness * contact_.correction;
    const double wrench[6] = {
        down.x + handForce_ * wave(6) + faults.push.x,
        down.y + handForce_ * wave(7) + faults.push.y,
        down.z + handForce_ * wave(8) + faults.push.z - (contact_.force > 0 ? std::max(pressed, 0.0) : 0.0),
        moment.x + (contact_.force > 0 ? kContactMoment : 0.0) + 0.1 * handForce_ * wave(9) +
            0.1 * faults.push.y,
        moment.y + 0.1 * handForce_ * wave(10) - 0.1 * faults.push.x,
        moment.z + 0.1 * handForce_ * wave(11),
    };
    for (int i = 0; i < 6; i++) {
        const double counts = wrench[i] * (i < 3 ? 10.0 : 100.0) + random_.between(-2, 2);
        words[i] = static_cast<std::int32_t>(std::lround(std::clamp(counts, -32768.0, 32767.0)));
        if (faults.sensorFrozen) words[i] = lastWords_[i];
        if (faults.sensorSilent) words[i] = 0;
        if (faults.sensorSpike) words[i] = i % 2 ? -32768 : 32767;
        lastWords_[i] = words[i];
    }
}

}  // namespace soak
