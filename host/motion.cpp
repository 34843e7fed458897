#include "tarnhost/motion.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "planned_move.h"
#include "recent_current.h"
#include "record_call.h"
#include "reset_motion.h"
#include "support/to_integer.h"
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

// The move that a command handler has planned, and the one that the cycle runs. `offered` hands it over: the
// handler writes while it is false, the cycle takes it while it is true.
PlannedMove planned;
std::atomic<bool> offered;
PlannedMove running;

// Where the running move goes: on, or to a stand and then to a pause or to idle.
enum class Wish { Run, Pause, Stop };
Wish wish;

struct Jog {
    std::atomic<double> speed[NUM_JNTS];  // deg/s, wished
    Ramp ramp[NUM_JNTS];                  // deg/s, deg/s^2
};
Jog jog;

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

void command(const SetPoint& setPoint) {
    // A drive smooths the acceleration that it is fed; the raw one stands beside it.
    constexpr double kSmoothing = 1.0 / 20.0;  // first order, 20 ms
    for (int i = 0; i < NUM_JNTS; i++) {
        mpb.jC.v[i] = setPoint.position[i];
        mpb.jCvel.v[i] = setPoint.velocity[i];
        mpb.jCaccRaw.v[i] = setPoint.acceleration[i];
        mpb.jCacc.v[i] += kSmoothing * (setPoint.acceleration[i] - mpb.jCacc.v[i]);
    }
    newFwdKinematics(&mpb.jC, &mpb.tC);
}

void enter(int state) {
    mpb.state = state;
    if (state != TGEN_SERVICE) freezeCommand();
    if (state == TGEN_IDLE) setGoal();
}

// Whether the arm is where the offered move was planned from: an end-force drag may have moved it since.
bool startsHere() { return std::equal(planned.from, planned.from + NUM_JNTS, mpb.jC.v); }

void begin() {
    running = planned;
    wish = Wish::Run;
    mpb.interMode = running.interMode;
    mpb.currentLine = running.line;
    enter(TGEN_SERVICE);
}

// One cycle of the running move. A line that cannot go on stops where it is.
void run() {
    SetPoint setPoint;
    const Progress progress = advance(running, wish == Wish::Run ? 1.0 : 0.0, &setPoint);
    if (progress != Progress::Lost) command(setPoint);
    mpb.ci.c = toInt(std::round(running.time / SM_SAMPLING_TIME));
    mpb.ci.sigma = toInt(std::round(duration(running.profile) / SM_SAMPLING_TIME));
    if (progress == Progress::Arrived || progress == Progress::Lost) enter(TGEN_IDLE);
    if (progress == Progress::Standing) enter(wish == Wish::Pause ? TGEN_PAUSE : TGEN_IDLE);
}

// Requests by state. A move comes to its stand by a planned ramp before the state says pause or idle; drag
// takes over at once.
void serveState(unsigned asked) {
    switch (mpb.state) {
        case TGEN_SERVICE:
            if ((asked & kStop) && (asked & kEnterDrag)) {
                enter(TGEN_IDLE);
                enter(TGEN_DRAG);
            } else if (asked & kStop) {
                wish = Wish::Stop;
            } else if ((asked & bit(ENTER_PAUSE_STATE)) && wish == Wish::Run) {
                wish = Wish::Pause;
            } else if ((asked & bit(LEAVE_PAUSE_STATE)) && !(asked & bit(ENTER_PAUSE_STATE)) &&
                       wish == Wish::Pause) {
                wish = Wish::Run;
            }
            break;
        case TGEN_PAUSE:
            if (asked & kStop) {
                enter(TGEN_IDLE);
                if (asked & kEnterDrag) enter(TGEN_DRAG);
            } else if (asked & bit(LEAVE_PAUSE_STATE)) {
                wish = (asked & bit(ENTER_PAUSE_STATE)) ? Wish::Pause : Wish::Run;
                enter(TGEN_SERVICE);
            }
            break;
        case TGEN_DRAG:
            if (asked & (kStop | kLeaveDrag)) enter(TGEN_IDLE);
            if (asked & kEnterDrag) enter(TGEN_DRAG);
            break;
        default:
            if (asked & kEnterDrag) {
                enter(TGEN_DRAG);
            } else if ((asked & bit(SERVICE_NEXT_REQUEST)) && mcb.jogControl.jogCycleFlag == 0 &&
                       offered.load(std::memory_order_acquire) && startsHere()) {
                begin();
                if (asked & bit(ENTER_PAUSE_STATE)) wish = Wish::Pause;
            }
            break;
    }
}

void endJog() {
    for (int i = 0; i < NUM_JNTS; i++) {
        jog.speed[i].store(0.0);
        jog.ramp[i] = {};
    }
    mcb.jogControl = {};
}

// Jogging moves the commanded joints at idle; anything else ends it.
void runJog(bool stop) {
    if (mcb.jogControl.jogCycleFlag == 0) return;
    SetPoint setPoint = {};
    bool moving = false;
    for (int i = 0; i < NUM_JNTS; i++) {
        Ramp& ramp = jog.ramp[i];
        if (stop || mcb.jogControl.modeCTL == 0) jog.speed[i].store(0.0);
        const double acceleration = mpb.defaultJointAccel.v[i];
        advance(ramp, jog.speed[i].load(), {acceleration, acceleration / kJerkTime}, SM_SAMPLING_TIME);
        moving = moving || ramp.rate != 0.0 || ramp.slope != 0.0 || jog.speed[i].load() != 0.0;
        setPoint.position[i] = mpb.jC.v[i] + ramp.rate * SM_SAMPLING_TIME;
        setPoint.velocity[i] = ramp.rate * SM_SAMPLING_TIME;
        setPoint.acceleration[i] = ramp.slope * SM_SAMPLING_TIME * SM_SAMPLING_TIME;
    }
    command(setPoint);
    if (moving) return;
    mcb.jogControl = {};
    enter(TGEN_IDLE);
}

// The offer comes first: the cycle takes it back only after it has changed the state.
bool atRestAndIdle() { return !offered.load() && mpb.state == TGEN_IDLE && mcb.jogControl.jogCycleFlag == 0; }

bool offer(bool isPlanned) {
    if (!isPlanned) return false;
    offered.store(true, std::memory_order_release);
    return requestState(SERVICE_NEXT_REQUEST);
}

}  // namespace

bool requestState(int request) {
    if (request < SERVICE_NEXT_REQUEST || request > ENTER_DRAG_STATE) return false;
    ask(bit(request));
    return true;
}

bool startJointMove(const double goalDeg[6], double speed, int line) {
    if (!atRestAndIdle() || !planJointMove(&planned, mpb.jC.v, goalDeg, speed)) return false;
    planned.line = line;
    return offer(true);
}

bool startLineMove(const TRSF& flangeGoal, double mmPerSecond, int line) {
    if (!atRestAndIdle() || !planLineMove(&planned, mpb.jC.v, flangeGoal, mmPerSecond)) return false;
    planned.line = line;
    return offer(true);
}

bool startJog(int joint, double degPerSecond) {
    if (joint < 0 || joint >= NUM_JNTS || offered.load() || mpb.state != TGEN_IDLE) return false;
    if (!(std::fabs(degPerSecond) <= mpb.limitsJnt.maxVel.v[joint])) return false;
    jog.speed[joint].store(degPerSecond);
    mcb.jogControl.modeCTL = 1;
    mcb.jogControl.jogCycleFlag = 1;
    return true;
}

void stopJog() { mcb.jogControl.modeCTL = 0; }

void serveRequests() {
    keepCurrent();
    const unsigned asked = pending.exchange(0);
    if (asked & kStop) offered.store(false);  // a stop wins over a start
    serveState(asked);
    if (asked & bit(SERVICE_NEXT_REQUEST)) offered.store(false);  // begun, or out of place
    if (mpb.state == TGEN_SERVICE) run();
    if (mpb.state == TGEN_IDLE) runJog((asked & (kStop | bit(ENTER_PAUSE_STATE))) != 0);
    if (mpb.state == TGEN_DRAG) {
        endJog();
        followMeasured();
    }

    if (asked & kHandleConfig) motionRecord.configHandled++;
    if (asked & kResetWeld) motionRecord.weldResets++;
    if (asked & kUpdateGoal) {
        setGoal();
        motionRecord.goalUpdates++;
    }
}

void resetMotion() {
    pending = 0;
    offered = false;
    running = {};
    wish = Wish::Run;
    endJog();
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
