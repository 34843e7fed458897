#include "tarnhost/motion.h"

#include <atomic>

#include "record_call.h"
#include "reset_motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn::host {

MotionRecord motionRecord;

namespace {

// Pending requests, one bit each. The first bits are those of the request codes.
constexpr unsigned bit(int request) { return 1U << request; }
constexpr unsigned kStop = bit(ENTER_IDLE_STATE);
constexpr unsigned kEnterDrag = bit(ENTER_DRAG_STATE);
constexpr unsigned kLeaveDrag = bit(16);
constexpr unsigned kHandleConfig = bit(17);
constexpr unsigned kResetWeld = bit(18);
constexpr unsigned kUpdateGoal = bit(19);

std::atomic<unsigned> pending;

struct Transition {
    unsigned request;
    int from, to;
};

// Served from the top, each row on the state that the rows above left: a pause wins over a start, and a stop
// before a drag request, as after a collision, ends in drag.
constexpr Transition kTransitions[] = {
    // clang-format off
    { kStop,                     TGEN_SERVICE, TGEN_IDLE },
    { kStop,                     TGEN_PAUSE,   TGEN_IDLE },
    { kStop,                     TGEN_DRAG,    TGEN_IDLE },
    { kLeaveDrag,                TGEN_DRAG,    TGEN_IDLE },
    { bit(LEAVE_PAUSE_STATE),    TGEN_PAUSE,   TGEN_SERVICE },
    { bit(SERVICE_NEXT_REQUEST), TGEN_IDLE,    TGEN_SERVICE },
    { bit(ENTER_PAUSE_STATE),    TGEN_SERVICE, TGEN_PAUSE },
    { kEnterDrag,                TGEN_IDLE,    TGEN_DRAG },
    // clang-format on
};

// Of drag on and drag off the later one holds, and a stop takes back a drag request made before it.
unsigned withdrawnBy(unsigned request) {
    if (request == kEnterDrag) return kLeaveDrag;
    return request == kLeaveDrag || request == kStop ? kEnterDrag : 0U;
}

void ask(unsigned request) {
    unsigned before = pending.load();
    while (!pending.compare_exchange_weak(before, (before & ~withdrawnBy(request)) | request)) {
    }
}

void freezeCommand() {
    for (int i = 0; i < NUM_JNTS; i++) mpb.jCvel.v[i] = mpb.jCacc.v[i] = mpb.jCaccRaw.v[i] = 0.0;
}

void followMeasured() {
    for (int i = 0; i < NUM_JNTS; i++) {
        mpb.jC.v[i] = mpb.j6.v[i];
        mpb.jCvel.v[i] = mpb.j6vel.v[i];
        mpb.jCacc.v[i] = mpb.jCaccRaw.v[i] = 0.0;
    }
    newFwdKinematics(&mpb.jC, &mpb.tC);
}

// The next motion starts from the commanded position: it is the goal reached.
void setGoal() {
    mpb.jointPos = mpb.jC;
    mpb.goalPos = mpb.tC;
}

}  // namespace

bool requestState(int request) {
    if (request < SERVICE_NEXT_REQUEST || request > ENTER_DRAG_STATE) return false;
    ask(bit(request));
    return true;
}

void serveRequests() {
    unsigned asked = pending.exchange(0);
    if (asked & kStop) asked &= ~bit(SERVICE_NEXT_REQUEST);  // a stop wins over a start

    const int before = mpb.state;
    for (const Transition& row : kTransitions)
        if ((asked & row.request) && mpb.state == row.from) mpb.state = row.to;
    if (mpb.state != before && mpb.state != TGEN_SERVICE) freezeCommand();
    if (mpb.state == TGEN_DRAG) followMeasured();
    if (mpb.state != before && mpb.state == TGEN_IDLE) setGoal();

    if (asked & kHandleConfig) motionRecord.configHandled++;
    if (asked & kResetWeld) motionRecord.weldResets++;
    if (asked & kUpdateGoal) {
        setGoal();
        motionRecord.goalUpdates++;
    }
}

void resetMotion() {
    pending = 0;
    motionRecord = {};
}

}  // namespace tarn::host

using namespace tarn::host;

int tmcStop() {
    recordCall("tmcStop");
    ask(kStop);
    return 0;
}

int tmcPause() {
    recordCall("tmcPause");
    ask(bit(ENTER_PAUSE_STATE));
    return 0;
}

int tmcDragSwitch(int flag) {
    recordCall("tmcDragSwitch", flag);
    ask(flag != 0 ? kEnterDrag : kLeaveDrag);
    return 0;
}

int doConfigHandle(int a, int b) {
    recordCall("doConfigHandle", a, b);
    ask(kHandleConfig);
    return 0;
}

int resetWeldControlPara() {
    recordCall("resetWeldControlPara");
    ask(kResetWeld);
    return 0;
}

int tmcUpdateJointCartGoalPos() {
    recordCall("tmcUpdateJointCartGoalPos");
    ask(kUpdateGoal);
    return 0;
}
