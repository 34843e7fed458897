// Reading results of an identification: the friction of a joint out of a sweep of speeds, and the mass of a
// tool out of a program of fixed lines. You learn the order of the calls, what comes back in which unit, and
// which of the numbers to trust.
//
// The services are those of the reference host. The drives are made up here, with a friction and a load that
// are known, so that what comes back can be held against them.
#include <cmath>
#include <cstdint>
#include <initializer_list>

#include "../shared/claim.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tmcforceblock.h"

namespace {

constexpr double kGear = 100.0;
constexpr double kRadians = 3.14159265358979 / 180.0;  // per degree

float rated[6];  // N m, motors

// ---- friction of joint 1

// N m on the motor's side at a speed in degrees/s: sticks, slides, and grows with the speed.
double friction(double speed) {
    const double v = speed * kRadians;
    return (0.12 + 0.06 * std::exp(-(v / 0.1) * (v / 0.1))) * std::tanh(30.0 * v) + 0.05 * v;
}

// The drive needs its friction beside what the library commands, which is the model: joint 1 is upright.
void hold(double speed, int cycles) {
    mpb.jCvel.v[0] = mpb.j6vel.v[0] = speed / 1000.0;  // degrees per cycle; no acceleration
    for (; cycles > 0; cycles--) {
        mpb.j6.v[0] = mpb.jC.v[0] += mpb.jCvel.v[0];
        how.currentFeedback[0] =
            static_cast<int16_t>(std::lround(friction(speed) / static_cast<double>(rated[0]) * 1000.0));
        gravityTorqueControl(&mpb.j6);  // takes the sample
    }
}

// The fitted curve at a speed in degrees/s: fc, fs, qs, yita, sita below 18 degrees/s, then five more above.
double fitted(const float (&ten)[10], double speed) {
    const float* p = std::fabs(speed) < 18.0 ? ten : ten + 5;
    const double fc = p[0], fs = p[1], qs = p[2], yita = p[3], sita = p[4], v = speed * kRadians;
    return (fc + (fs - fc) * std::exp(-(v / qs) * (v / qs))) * std::tanh(yita * v / 2.0) + sita * v;
}

void identifyFriction() {
    mpb.state = TGEN_SERVICE;  // as on a motion
    mcb.fricCompensationFlag = 0;
    uint16_t status;
    float real[10], factory[10], difference[10];
    zvmcSingleJointFrictionOnlineOnOff(1, 1);
    zvmcGetJointFrictionStatus(&status, real, factory, difference);  // while it is on: a new run
    for (int k = 0; k < 20; k++) hold(0.9 * (k + 0.5), 12), hold(-0.9 * (k + 0.5), 12);
    for (int k = 0; k < 30; k++) hold(18 + 3.6 * (k + 0.5), 5), hold(-18 - 3.6 * (k + 0.5), 5);
    zvmcSingleJointFrictionOnlineOnOff(1, 0);
    zvmcGetJointFrictionStatus(&status, real, factory, difference);  // once: this is the result

    std::printf("slow: fc %.3f fs %.3f N m, qs %.3f yita %.1f, sita %.3f\n", static_cast<double>(real[0]),
                static_cast<double>(real[1]), static_cast<double>(real[2]), static_cast<double>(real[3]),
                static_cast<double>(real[4]));
    std::printf("fast: sliding %.3f N m, growing by %.3f N m s\n", static_cast<double>(real[5]),
                static_cast<double>(real[9]));
    std::printf("degrees/s    found     true, N m on the motor's side\n");
    double off = 0.0;
    for (const double speed : {-100.0, -30.0, -10.0, 3.0, 10.0, 30.0, 60.0, 120.0}) {
        const double found = fitted(real, speed);
        std::printf("%9.0f %8.4f %8.4f\n", speed, found, friction(speed));
        off = std::fmax(off, std::fabs(found / friction(speed) - 1.0));
    }
    std::printf("judged %u: factory %.1f N m at the joint, found %.3f on the motor's side\n", status,
                static_cast<double>(factory[0]), static_cast<double>(real[0]));
    claim(off < 0.12, "the curve is the joint's, within 12 %");
    claim(status == 1,
          "the judgement compares both sides of the gear, so that a sound joint is told worn, too");
}

// ---- mass of the tool

constexpr double kMass = 3.0;     // kg
constexpr double kLever = 0.232;  // m from joint 3: the pose of lines 6 and 7 has to give that
constexpr double kGravity = 9.8;  // m/s^2

// A line of the program: the arm stands in a pose and bears a torque at a joint beyond its own weight.
void line(int number, int state, int joint, double load, int cycles) {
    mpb.currentLine = number;
    mpb.state = state;
    EX_LOAD none = {};
    JNTS own = {};
    zvmcNewGravityTorque(&mpb.j6, &none, &own);
    for (int i = 0; i < 6; i++) {
        const double torque = own.v[i] + (i == joint ? load : 0.0);
        how.currentFeedback[i] =
            static_cast<int16_t>(std::lround(torque / kGear / static_cast<double>(rated[i]) * 1000.0));
    }
    for (; cycles > 0; cycles--) zvmcLoadIdentifyControl();
}

void identifyLoad() {
    mpb.jCvel = {};
    mpb.loadWeight = 0.0;  // the load in use has to be none
    uint8_t ended;
    double mass;
    VECT center;
    tmcLoadIdentifyStartEnd(1);
    line(6, TGEN_SERVICE, 2, kMass * kGravity * kLever, 2 * (LOADIDENTIFYINTERVAL + 1));  // two chunks
    tmcGetLoadWeightCoord(&ended, &mass, &center);
    const bool early = ended != 0;
    line(9, TGEN_SERVICE, 5, 0.2, LOADIDENTIFYINTERVAL + 1);  // turned by joint 6
    line(9, TGEN_IDLE, 5, 0.2, 1);                            // the line ends, and the run with it
    tmcGetLoadWeightCoord(&ended, &mass, &center);
    std::printf("\nload: ended %u, %.3f kg of %.3f\n", ended, mass, kMass);
    claim(!early && ended == 1, "the result is there once the last line has ended");
    // measured torque counts with a gear of 101, and a count of the current is a part of it
    claim(std::fabs(mass - kMass * 1.01) < 0.06,
          "the mass is a hundredth too much on drives with a gear of 100");
    claim(tmcSetLoadPara(0, mass, {0, 0, 50}, 0) == 0 && mpb.loadWeight == mass,
          "it becomes the load in use by a command");
}

}  // namespace

int main() {
    tarn::host::setDefaults(ROB_ZVB_V1_000);
    tmcgravityTeachVersionOnOff(2);
    zvmcJointDefaultTorque(rated);
    identifyFriction();
    identifyLoad();
    return result();
}
