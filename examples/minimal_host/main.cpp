// A controller in the making: its own state blocks, its own log, settings and gravity tables, and one call of
// gravityTorqueControl in each cycle. Every service that is not defined here comes from the reference host
// that is linked behind it, so a controller can take over one service after the other.
//
// The arm (family B on the floor, 2 kg at the flange) starts stretched out to the side, lifts its upper arm
// to the vertical within 2000 cycles and stays there. You will see the six motor currents, in thousandths of
// the rated motor torque, every 500 cycles: the shoulder (joint 2) starts with three times the current of any
// other joint and ends near zero. The first line is the setting that switching friction compensation on
// persists.
//
// Beware: the currents only hold the arm. Position control, limits and everything else that makes an arm safe
// stay with the controller, and a real one writes its log outside the cycle.
#include <cstdarg>
#include <cstdio>

#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tarntools/tools_config.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"

// ---- the blocks: the library reads the state of the arm here and leaves its results here

MOTION_CONTROL_BLOCK mcb;
MOTION_PARAMETER_BLOCK mpb;
HOW how;

// ---- the services

// A real controller appends to a ring that a thread of low priority drains.
void Write_Log(int severity, const char* format, ...) {
    va_list values;
    va_start(values, format);
    std::fprintf(stderr, "log %d: ", severity);
    std::vfprintf(stderr, format, values);
    std::fputc('\n', stderr);
    va_end(values);
}

// A real controller keeps the value and fills the blocks from it at the next start.
int ConfigWriteEntry(const char* file, const char* section, const char* key, float value) {
    std::printf("%s [%s] %s = %g\n", file, section, key, static_cast<double>(value));
    return 0;
}

// The controller's own gravity tables, by mounting. Family B asks for them on versions 1 and 2; version 3,
// used here, has its model in the library, which can serve for the tables as well.
int tmcDynComGravityExload(JNTS* q, EX_LOAD* exload, JNTS* gtorque, int /*model*/) {
    return zvmcGravityTorque(q, exload, gtorque);
}
int tmcDynComGravityExloadWall(JNTS* q, EX_LOAD* exload, JNTS* gtorque, int /*model*/) {
    return zvmcGravityTorque(q, exload, gtorque);
}
int tmcDynComGravityExloadCeiling(JNTS* q, EX_LOAD* exload, JNTS* gtorque, int /*model*/) {
    return zvmcGravityTorque(q, exload, gtorque);
}

// ---- the cycle

namespace {

// What a controller reads from its configuration. The blocks are zero at load; only what is needed follows.
void configure() {
    mcb.robotType = ROB_ZVB_V1_002;
    mcb.robotInstallPos = 0;  // floor
    mpb.sysJntsNo = NUM_JNTS;
    mpb.moterRatedTorque_80 = 1.27F;   // N m, joints 1 to 3; of the motors built in
    mpb.moterRatedTorque_60 = 0.35F;   // N m, joints 4 to 6
    mpb.loadWeight = 2.0;              // kg
    mpb.loadCoord = {0.0, 0.0, 50.0};  // mm, in front of the flange
    for (int i = 0; i < NUM_JNTS; i++) {
        mpb.defaultJointVel.v[i] = 180.0;  // degrees/s
        mpb.friction_Free[i] = 0.5F;       // share of the friction torque that is compensated
    }
    tmcFrictionCompensationOnOff(1);  // a command: stored in mcb, and persisted by ConfigWriteEntry
}

// Where the arm is in this cycle. A real controller reads its encoders and runs its trajectory generator.
void refresh(int cycle) {
    const bool moving = cycle < 2000;
    mpb.state = moving ? TGEN_SERVICE : TGEN_IDLE;
    mpb.jCvel.v[1] = moving ? -90.0 / 2000 : 0.0;  // degrees per cycle of 1 ms
    mpb.jC.v[1] = moving ? -90.0 / 2000 * cycle : -90.0;
    mpb.j6 = mpb.jC;
    mpb.j6vel = mpb.jCvel;
}

}  // namespace

int main() {
    configure();
    for (int cycle = 0; cycle <= 2500; cycle++) {
        refresh(cycle);
        gravityTorqueControl(&mpb.j6);
        if (cycle % 500 != 0) continue;
        std::printf("cycle %4d:", cycle);
        for (short current : how.currentSet) std::printf(" %6d", current);
        std::printf("\n");
    }
}
