// A collision: the arm moves, something pushes it, the supervisor finds it in the motor currents. You learn
// what the levels are worth, what the reactions do to the motion, and what a host sees and has to clear.
//
// Planner, states and services are those of the reference host. The drives are ideal ones: they follow the
// command, and their measured current is the commanded one and what the push takes.
#include <cstdint>

#include "../shared/claim.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"

namespace {

constexpr int kPushAt = 400;  // cycle of the motion, at constant speed

constexpr const char* kStates[] = {"", "idle", "moving", "paused", "guided"};  // by TGEN_STATE

void cycle(double push) {
    float rated[6];
    zvmcJointDefaultTorque(rated);
    for (int i = 0; i < 6; i++) how.currentFeedback[i] = how.currentSet[i];
    how.currentFeedback[0] = static_cast<int16_t>(
        how.currentFeedback[0] + push / (static_cast<double>(rated[0]) * 100.0) * 1000.0);  // gear 100

    zvmcCheckForCollisionError();
    tarn::host::serveRequests();  // what the supervisor asked for, and the next step of the motion
    mpb.oldJ6 = mpb.j6;
    mpb.j6 = mpb.jC;
    mpb.j6vel = mpb.jCvel;
    gravityTorqueControl(&mpb.j6);
}

struct Seen {
    int found;              // cycle of the push in which it is found; -1 never
    unsigned fault, alarm;  // codes as the operator gets them, relative to "none"
    uint8_t collided;       // tmcGetCollisionState
    int state;              // half a second after the push
    int guided;             // cycles under the hand, until the library ended them
};

// Joint 1 turns by 120 degrees, with a push of so many N m against it.
Seen move(float level, uint8_t reaction, double push) {
    tarn::host::setDefaults(ROB_ZVB_V1_000);
    tmcgravityTeachVersionOnOff(2);
    float levels[6] = {level, level, level, level, level, level};
    tmcSetCollisionLevel(0, levels, 1, 0);
    int margin[6] = {5, 5, 5, 5, 5, 5};
    tmcSetCollisionPause(reaction, 1000, 150, 250, margin);
    const double goal[6] = {120, 0, 0, 0, 0, 0};
    tarn::host::startJointMove(goal, 0.5);

    Seen seen = {-1, 0, 0, 0, 0, 0};
    for (int n = 0; n < 2500; n++) {
        const bool touched = n >= kPushAt && seen.found < 0;  // who was pushed steps back
        cycle(touched ? push : 0.0);
        if (seen.found < 0 &&
            (mcb.collisionError != zvCtlCollisionOK || mcb.motionAlarm != zvCtlMotionNoAlarm)) {
            seen.found = n - kPushAt + 1;
            seen.fault = mcb.collisionError - zvCtlCollisionOK;
            seen.alarm = mcb.motionAlarm - zvCtlMotionNoAlarm;
            tmcGetCollisionState(&seen.collided);
        }
        if (n == kPushAt + 500) seen.state = mpb.state;
        if (mpb.state == TGEN_DRAG) seen.guided++;
    }
    std::printf("%5.0f %8u %7.0f %8d %6u %6u   %-7s %9d\n", static_cast<double>(level), reaction, push,
                seen.found, seen.fault, seen.alarm, kStates[seen.state], seen.guided);
    return seen;
}

}  // namespace

int main() {
    std::printf("level reaction push/N m found/ms  fault  alarm   then    guided/ms\n");
    const Seen nothing = move(3, 2, 0.0);
    const Seen light = move(3, 2, 15.0), found = move(3, 2, 30.0), blunt = move(10, 2, 30.0);
    const Seen off = move(100, 2, 30.0);
    claim(nothing.found < 0 && nothing.state == TGEN_SERVICE, "nobody there, nothing found");
    claim(light.found < 0 && found.found >= 0,
          "level 3 finds a push of 30 N m at joint 1, and not one of 15");
    claim(found.found == mpb.collisionErrorTime, "once it has lasted for mpb.collisionErrorTime");
    claim(blunt.found < 0 && off.found < 0, "level 10 does not find it, and level 100 is off");

    const Seen pause = move(3, 0, 30.0), alarm = move(3, 1, 30.0), free = move(3, 3, 30.0);
    claim(found.state == TGEN_IDLE && found.fault != 0, "reaction 2 stops, with the fault of the joint");
    claim(pause.state == TGEN_PAUSE, "reaction 0 pauses: the host may let the motion go on");
    claim(alarm.state == TGEN_SERVICE && alarm.fault == 0 && alarm.alarm != 0, "reaction 1 only tells");
    claim(free.state == TGEN_DRAG && free.guided == 1001,
          "reaction 3 gives the arm to the hand for a second");

    // what the last one has left behind
    uint8_t collided;
    tmcGetCollisionState(&collided);
    std::printf("afterwards: collided %u, friction compensation %u, fault stands: %s\n", collided,
                mcb.fricCompensationFlag, mcb.collisionError != zvCtlCollisionOK ? "yes" : "no");
    claim(free.collided == 1 && collided == 0, "the library ends the guiding and says so");
    claim(mcb.collisionError != zvCtlCollisionOK && mcb.fricCompensationFlag == 0,
          "the fault and the friction compensation are the host's to bring back");
    mcb.collisionError = zvCtlCollisionOK;  // the operator has acknowledged it
    mcb.motionAlarm = zvCtlMotionNoAlarm;
    tmcFrictionCompensationOnOff(1);
    const double home[6] = {};
    const double from = mpb.jC.v[0];
    const bool started = tarn::host::startJointMove(home, 0.5);
    for (int n = 0; n < 300; n++) cycle(0.0);
    claim(started && mpb.state == TGEN_SERVICE && mpb.jC.v[0] < from - 5.0, "after that the arm moves again");
    return result();
}
