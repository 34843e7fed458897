#include "tarnhost/motion.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "planned_move.h"
#include "recent_current.h"
#include "record_call.h"
#include "reset_motion.h"
#include "support/to_integer.h"
#include "tarnhost/kinematics.h"
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

// Where the cycle left the commanded joints, once there was one, and whether someone has moved them from
// there.
double leftAt[NUM_JNTS];
bool served;
bool moved;

// Where the running move goes: on, or to a stand and then to a pause or to idle.
enum class Wish { Run, Pause, Stop };
Wish wish;

struct Jog {
    std::atomic<double> speed[NUM_JNTS];  // deg/s, wished
    Ramp ramp[NUM_JNTS];                  // deg/s, deg/s^2
};
Jog jog;

// The plan beside the command, while force control stands between them.
struct Corrected {
    bool on;
    SetPoint plan;
    double offset[NUM_JNTS];    // deg, commanded less planned
    double velocity[NUM_JNTS];  // deg/ms, of the offset, smoothed
};
Corrected corrected;

const double* plannedJoints() { return corrected.on ? corrected.plan.position : mpb.jC.v; }

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

// The next motion starts from the commanded position: it is the goal reached, in the workpiece's frame as
// the library has it.
void setGoal() {
    mpb.jointPos = mpb.jC;
    if (baseTrsfToWorkPiece(mpb.workPieceNum, mpb.tC, &mpb.goalPos) != 0) mpb.goalPos = mpb.tC;
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

// A set-point of the plan.
void moveTo(const SetPoint& setPoint) {
    if (corrected.on)
        corrected.plan = setPoint;
    else
        command(setPoint);
}

void enter(int state) {
    mpb.state = state;
    if (state != TGEN_SERVICE) freezeCommand();
    if (state == TGEN_IDLE) setGoal();
}

// Whether the arm is where the offered move was planned from: an end-force drag may have moved it since.
bool startsHere() { return std::equal(planned.from, planned.from + NUM_JNTS, plannedJoints()); }

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
    if (progress != Progress::Lost) moveTo(setPoint);
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
        setPoint.position[i] = plannedJoints()[i] + ramp.rate * SM_SAMPLING_TIME;
        setPoint.velocity[i] = ramp.rate * SM_SAMPLING_TIME;
        setPoint.acceleration[i] = ramp.slope * SM_SAMPLING_TIME * SM_SAMPLING_TIME;
    }
    moveTo(setPoint);
    if (moving) return;
    mcb.jogControl = {};
    enter(TGEN_IDLE);
}

bool forceControlOn() { return mcb.forceControl.constForceFlag == 1 && mcb.forceControl.forceSensorAct == 1; }

// Where the correction ends the arm stays: the rest of the path lies elsewhere.
void endCorrection() {
    corrected.on = false;
    endJog();
    mpb.state = TGEN_IDLE;
    freezeCommand();
    // a stop has told the goal already, an alarm has not
    if (!std::equal(mpb.jointPos.v, mpb.jointPos.v + NUM_JNTS, mpb.jC.v)) setGoal();
}

// Commands and alarms switch force control between two cycles.
void watchForceControl() {
    if (corrected.on && !forceControlOn()) endCorrection();
    // the plan stands until a move or jog says otherwise
    std::fill_n(corrected.plan.velocity, NUM_JNTS, 0.0);
    std::fill_n(corrected.plan.acceleration, NUM_JNTS, 0.0);
    if (corrected.on || !forceControlOn() || mpb.state == TGEN_DRAG) return;
    corrected = {.on = true, .plan = {}, .offset = {}, .velocity = {}};
    std::copy_n(mpb.jC.v, NUM_JNTS, corrected.plan.position);
}

void commandThrough(PoseCorrection correction) {
    TRSF pose, goal;
    if (!corrected.on) {
        correction(mpb.tC, &goal);  // switched off it only forgets what it had summed up
        return;
    }
    flangePose(mcb.robotType, corrected.plan.position, &pose);
    if (correction(pose, &goal) != 0) {
        endCorrection();
        return;
    }
    constexpr double kLeapInACycle = 2.0;  // deg: another branch
    // The correction trembles with the measured force. Fed forward as it is, it would shake the tool, and the
    // sensor would feel that as force again: its velocity is smoothed, and it has no part in the
    // acceleration.
    constexpr double kSmoothing = 1.0 / 5.0;  // first order, 5 ms
    SetPoint next = corrected.plan;
    double expected[NUM_JNTS];
    for (int i = 0; i < NUM_JNTS; i++) expected[i] = mpb.jC.v[i] + mpb.jCvel.v[i];
    bool reached = std::all_of(&goal.n.x, &goal.n.x + 12, [](double v) { return std::isfinite(v); }) &&
                   inverseFlangePose(mcb.robotType, goal, expected, next.position) == 0;
    for (int i = 0; reached && i < NUM_JNTS; i++) {
        reached = std::fabs(next.position[i] - mpb.jC.v[i]) <= kLeapInACycle;
        const double offset = next.position[i] - corrected.plan.position[i];
        corrected.velocity[i] += kSmoothing * (offset - corrected.offset[i] - corrected.velocity[i]);
        corrected.offset[i] = offset;
        next.velocity[i] += corrected.velocity[i];
    }
    if (reached)
        command(next);
    else
        freezeCommand();
}

// A drag by the force sensor moves the joints of an idle arm from outside and tells so by a new goal. Their
// velocity is how far they went; a second difference would be but the rounding of the single-precision pose.
void followDrag(bool told) {
    if (!told && !moved) return;
    moved = told;
    freezeCommand();
    if (!told || !served) return;
    for (int i = 0; i < NUM_JNTS; i++) mpb.jCvel.v[i] = mpb.jC.v[i] - leftAt[i];
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
    if (!atRestAndIdle() || !planJointMove(&planned, plannedJoints(), goalDeg, speed)) return false;
    planned.line = line;
    return offer(true);
}

bool startLineMove(const TRSF& flangeGoal, double mmPerSecond, int line) {
    if (!atRestAndIdle() || !planLineMove(&planned, plannedJoints(), flangeGoal, mmPerSecond)) return false;
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

void serveRequests(PoseCorrection correction) {
    keepCurrent();
    if (correction != nullptr) watchForceControl();
    const unsigned asked = pending.exchange(0);
    if (asked & kStop) offered.store(false);  // a stop wins over a start
    serveState(asked);
    if (asked & bit(SERVICE_NEXT_REQUEST)) offered.store(false);  // begun, or out of place
    if (mpb.state == TGEN_SERVICE) run();
    if (mpb.state == TGEN_IDLE && mcb.jogControl.jogCycleFlag == 0) followDrag((asked & kUpdateGoal) != 0);
    if (mpb.state == TGEN_IDLE) runJog((asked & (kStop | bit(ENTER_PAUSE_STATE))) != 0);
    if (mpb.state == TGEN_DRAG) {
        endJog();
        followMeasured();
        if (corrected.on) mcb.forceControl.constForceFlag = 0;
        corrected.on = false;
    }
    if (correction != nullptr) commandThrough(correction);

    if (asked & kHandleConfig) motionRecord.configHandled++;
    if (asked & kResetWeld) motionRecord.weldResets++;
    if (asked & kUpdateGoal) {
        setGoal();
        motionRecord.goalUpdates++;
    }
    std::copy_n(mpb.jC.v, NUM_JNTS, leftAt);
    served = true;
}

void resetMotion() {
    pending = 0;
    offered = false;
    running = {};
    wish = Wish::Run;
    served = moved = false;
    endJog();
    corrected = {};
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
