#include "soak/schedule.h"

#include <algorithm>
#include <cmath>

#include "collision/after_collision.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnhost/devices.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"
#include "zvmcidentifydynamicblock.h"
#include "zvmctoolblock.h"

namespace soak {
namespace {

// Arms of every family and variant, and codes that stand for bands of others.
constexpr int kTypes[] = {0,   1,   2,   3,   101, 102, 103, 150, 201, 202, 301, 302,  350,  401,
                          402, 501, 601, 701, 702, 703, 750, 802, 901, 902, 903, 1001, 1050, 1200};

constexpr int kAnnouncedOnly = 96;  // maker whose words count only while the axle bus is told of them

template <typename T>
void fill(T (&values)[6], double value) {
    std::fill_n(values, 6, static_cast<T>(value));
}

bool reactionRuns() {
    return mcb.collisionStateback != 0 || mcb.forceControl.collisionErrorState != 0 ||
           tarn::afterCollision.CollisionAfterTime > 0;
}

// Ends an excitation run with what it has. While one is on, the reset leaves the filters and the family's
// parameters of model 1 alone.
void endExcitation() {
    double none[6] = {};
    zvmcloadidentifymain(none, mpb.j6.v, 0.0);
}

std::uint8_t digit(int value) { return static_cast<std::uint8_t>(value); }

}  // namespace

const char* Schedule::taskName(int task) {
    constexpr const char* kNames[kTasks] = {"rest",     "joint moves",   "line moves", "jogging",
                                            "guiding",  "force drag",    "pressing",   "streaming",
                                            "friction", "scripted load", "excitation"};
    return kNames[task];
}

std::string Schedule::place() const {
    const auto number = [](const char* name, int value) { return name + std::to_string(value); };
    return number("type ", mcb.robotType) + ", " + taskName(task_) + " for " + std::to_string(time_) +
           number(" cycles, model ", mcb.newTeachEnable) + number(", state ", mpb.state) +
           number(", reaction ", mcb.collisionPauseFlag) + number(", mounting ", mcb.robotInstallPos) +
           number(", frame ", mcb.forceControl.forceSensorRcs) + number(", servo ", mcb.servoJTStatus);
}

// All come with rules that hold on purpose. The push-back answers up to two and a half times the difference
// of measured and expected torque, anew in each cycle that the force guard fires, and it grows with the time
// left where a command has lowered the time that it starts from. A reaction that a command puts in the place
// of the running one takes over the time that is left, and its pose from before. The pose that lock and zone
// pull back to is kept for as long as one of them is on, over all that moves the arm otherwise.
const char* Schedule::knownExcess() const {
    if (mcb.collisionPauseFlag == 5 && mpb.state == TGEN_DRAG) return "push-back of reaction 5";
    if (mcb.collisionPauseFlag == 4 && mpb.state == TGEN_DRAG && reactionChanged_)
        return "spring of reaction 4 to the pose of an older one";
    const bool pulled =
        mcb.dragLockEnable == 1 || (mcb.interfereDrag == 1 && mpb.interfereJointCubeFlag != 0);
    if (pulled && mpb.state == TGEN_DRAG) return "pull towards an old pose of lock or zone";
    return nullptr;
}

void Schedule::betweenCycles() {
    if (shiftLeft_ <= 0) startShift();
    if (taskLeft_ <= 0) {
        endTask();
        startTask();
    }
    shiftLeft_--;
    taskLeft_--;
    time_++;
    drive();
    spoil();
    if (!calm_ && random_.oneIn(400)) command();
    clearFaults();
    // with another torque model the filters go on from where they stopped, unless the host resets them
    if (lastModel_ != mcb.newTeachEnable && random_.oneIn(2)) zvmcdynfiltresert();
    lastModel_ = mcb.newTeachEnable;
    if (!reactionRuns()) reactionChanged_ = false;
}

void Schedule::plan() {
    if (task_ == FrictionSweep || task_ == Excitation)
        sweep();
    else
        tarn::host::serveRequests();
}

// Pressing in the plane takes the contact's direction from the moments. Where they are zero the angle is no
// number and stays none for good, on purpose: so no sensor without words, as one may be after an alarm that
// must be announced again.
bool Schedule::momentsSure() const {
    const Faults& f = arm_.faults;
    return mcb.fsCompanyID != kAnnouncedOnly && !f.sensorSilent && !f.sensorFrozen;
}
bool Schedule::momentsNeeded() {
    const FORCE_CONTROL& force = mcb.forceControl;
    return force.constForceFlag == 1 && force.constForceSelect[0] == 1 && force.constForceSelect[1] == 1;
}

// ---- shifts

void Schedule::startShift() {
    shifts_++;
    endTask();
    tarn::host::setDefaults(random_.of(kTypes));
    // long enough, at times, for a torque record to overflow
    endurance_ = random_.oneIn(200);
    shiftLeft_ = endurance_ ? 700000 : 4000 + random_.below(60000);
    taskLeft_ = 0;
    for (int i = 0; i < 6; i++) mpb.jC.v[i] = random_.between(-150, 150);
    newFwdKinematics(&mpb.jC, &mpb.tC);
    mpb.jointPos = mpb.jC;
    mpb.goalPos = mpb.tC;
    arm_.reset();
    endExcitation();
    zvmcdynfiltresert();  // another arm, and elsewhere

    tmcSetRobotInstallPos(digit(random_.below(4)));
    if (random_.oneIn(2)) tmcSetRobotInstallAngle(random_.between(-90, 90), random_.between(-180, 180));
    tmcSetLoadPara(digit(random_.below(MAXLOADNUM)), random_.between(0, 3),
                   {random_.between(-50, 50), random_.between(-50, 50), random_.between(0, 100)}, 1);
    mpb.TOOL.p = {random_.between(-50, 50), random_.between(-50, 50), random_.between(0, 200)};
    mcb.mode = digit(random_.below(2));
    mcb.speedScaleAuto = mcb.speedScaleManual = static_cast<float>(random_.between(0.05, 1));
    mcb.safetyPara.safetyStopEnable = digit(random_.below(3));

    constexpr struct {
        int company, device;
    } kSensors[] = {{16, 0}, {16, 11}, {18, 0}, {23, 2}, {80, 1}, {kAnnouncedOnly, 0}};
    const auto& sensor = random_.of(kSensors);
    mcb.fsCompanyID = sensor.company;
    mcb.fsDeviceID = sensor.device;
    // the filters of the reading start anew, as their records in the block have
    tmcSetForceSensorAct(0, 2);
    std::int32_t words[6] = {};
    forceSensorDataProcess(words);
    zvmcSetAxleDeviceType(1);
    tmcSetForceSensorAct(1, 2);
    float place[6] = {0, 0, 20, 0, 0, static_cast<float>(random_.between(-180, 180))};
    tmcSetForceSensorRcs(digit(random_.below(3)), place, 3);
    tmcSetForceSensorLoadWeight(random_.between(0, 2), 4);
    tmcSetForceSensorLoadCoord({random_.between(-20, 20), random_.between(-20, 20), random_.between(0, 60)},
                               5);
    zvmcInitEndForceDragParam();
}

// ---- tasks

void Schedule::endTask() {
    if (task_ == JointMoves || task_ == LineMoves) {
        if (mcb.torqueRecordCtl.torqueRecordStatus == 1) startRecord(0);
    }
    if (task_ == Guiding) {
        double zero[6] = {};
        zvmcForceAndTorqueDragStartStop(0, 0, zero, zero, zero, 1000, 1000);
        tmcDragSwitch(0);
    }
    if (task_ == ForceDrag) zvmcEndForceDragStartStopControl(0);
    if (task_ == Pressing) {
        std::uint8_t none[6] = {};
        tmcConstForceStartStop(0, 1, none, {}, 0, 0, 0, 0, 0, 0, 0, 0, 10, 10, 1, 0, 0, 6);
    }
    if (task_ == FrictionSweep) {
        std::uint16_t status;
        float found[10], known[10], error[10];
        zvmcSingleJointFrictionOnlineOnOff(digit(1 + sweptJoint_), 0);
        zvmcGetJointFrictionStatus(&status, found, known, error);
    }
    if (task_ == LoadRun) {
        std::uint8_t identified;
        double weight;
        VECT center;
        tmcGetLoadWeightCoord(&identified, &weight, &center);
        tmcLoadIdentifyStartEnd(0);
    }
    if (task_ == Excitation) {
        if (random_.oneIn(2)) endExcitation();
        Store_free();
    }
    if (task_ == FrictionSweep || task_ == Excitation) leaveSweep();
    if (task_ == Streaming) {
        mcb.servoJTStatus = 0;
        fill(mpb.jTorque, 0);
    }
    tarn::host::stopJog();
    tmcStop();
    arm_.press(0, 0);
    calm_ = false;
    time_ = 0;
    task_ = Rest;
}

void Schedule::startTask() {
    setFunctions();
    task_ = endurance_ ? JointMoves : static_cast<Task>(random_.below(kTasks));
    tasks_[task_]++;
    taskLeft_ = endurance_ ? shiftLeft_ : 500 + random_.below(8000);
    // a plan goes by the commanded joints: the arm comes to a stand before
    tarn::host::serveRequests();
    switch (task_) {
        case JointMoves:
        case LineMoves:
            if (endurance_ || random_.oneIn(3)) {
                if (endurance_ || random_.oneIn(2)) tmcTorqueRecordReset(7);
                startRecord(1);
            }
            break;
        case Guiding:
            startGuiding();
            break;
        case ForceDrag: {
            double M[6] = {5, 5, 5, 0.5, 0.5, 0.5}, B[6] = {200, 200, 200, 20, 20, 20}, K[6] = {},
                   F[6] = {2, 2, 2, 0.5, 0.5, 0.5};
            if (random_.oneIn(3)) std::fill_n(K, 3, random_.between(0, 500));
            mcb.mode = 1;
            arm_.lead(30, 20);
            zvmcEndForceDragstartstop(1, random_.below(2), random_.below(2), random_.below(3), M, B, K, F, 50,
                                      random_.between(20, 150));
            break;
        }
        case Pressing:
            startPressing();
            break;
        case Streaming:
            mcb.servoJTStatus = 1;
            tmcSetPowerLimit(digit(random_.below(2)), random_.between(20, 2000));
            break;
        case FrictionSweep: {
            std::uint16_t status;
            float unused[3][10];
            sweptJoint_ = random_.below(6);
            zvmcSingleJointFrictionOnlineOnOff(digit(1 + sweptJoint_), 1);
            zvmcGetJointFrictionStatus(&status, unused[0], unused[1], unused[2]);
            sweepSpeed_ = -0.45;
            taskLeft_ *= 4;
            break;
        }
        case LoadRun:
            tmcLoadIdentifyStartEnd(1);
            break;
        case Excitation:
            endExcitation();
            zvmcdynfiltresert();
            zvmcdynstoreresert();
            break;
        default:
            break;
    }
}

// What may be on in any task.
void Schedule::setFunctions() {
    Random& r = random_;
    mcb.newTeachEnable = digit(r.below(3));
    reactionChanged_ = reactionChanged_ || reactionRuns();
    int margin[6] = {1, 3, 5, 7, 9, 10};
    tmcSetCollisionPause(digit(r.below(6)), 200 + r.below(1800), r.below(500), std::max(1, r.below(1000)),
                         margin);
    float level[6];
    for (float& one : level) one = static_cast<float>(r.oneIn(8) ? 100 : 1 + r.below(10));
    tmcSetCollisionLevel(0, level, 0, 8);
    tmcSetCollisionMode(digit(r.below(3)), digit(r.below(2)));
    float joint[6], tool[6];
    fill(joint, r.between(0.05, 2));
    fill(tool, r.between(5, 200));
    zvmcSetCustomCollisionDetection(digit(r.below(4)), joint, tool);
    tmcSetStaticCollisionOnOff(digit(r.below(2)));
    mpb.collisionErrorTime = 1 + r.below(20);
    tmcFrictionCompensationOnOff(digit(r.below(2)));
    tmcSetJointStiffnessType(r.below(2));
    float share[6];
    for (float& one : share) one = static_cast<float>(r.between(0, 1));
    tmcSetFrictionValue_free(share);
    tmcDragLockEnableDisable(digit(r.below(2)));
    tmcSetInterfereDrag(digit(r.below(3)));
    mcb.interfereCube = {
        digit(r.below(2)), 0, digit(r.below(2)), 0, {-700, -700, -300}, {700, 700, 900}, {}, {}};
    mcb.interfereJoint.setFlag_joint = digit(r.below(2));
    mcb.interfereJoint.mode_joint = digit(r.below(2));
    for (int i = 0; i < 6; i++) {
        mcb.interfereJoint.enable_joint[i] = digit(r.below(2));
        mcb.interfereJoint.min_joint[i] = r.between(-170, 0);
        mcb.interfereJoint.max_joint[i] = mcb.interfereJoint.min_joint[i] + 170;
    }
    observer_ = r.oneIn(4);
    dynamicLoad_ = r.oneIn(3);
    tmcLoadIdentifyDynOnOff(dynamicLoad_);
    tmcSetLoadIdentifyDynPara(5 * r.below(100));
    tmcSetForceSensorAct(digit(!r.oneIn(6)), 9);
    std::uint8_t axes[6];
    for (std::uint8_t& axis : axes) axis = digit(r.below(2));
    const double band = r.between(20, 200);
    tmcCollisionStartStop(digit(r.oneIn(3)), r.below(256), axes, {}, {band, band, band, 10, 10, 10},
                          {band, band, band, 10, 10, 10}, 10);
    arm_.lead(r.between(5, 90), r.oneIn(2) ? r.between(1, 40) : 0);
}

void Schedule::startGuiding() {
    double gain[6], damping[6], none[6] = {};
    for (int i = 0; i < 6; i++) gain[i] = random_.between(0.5, 3), damping[i] = random_.between(0, 1);
    if (random_.oneIn(2)) {
        mcb.newTeachEnable = 2;
        zvmcForceAndTorqueDragStartStop(1, random_.below(2), gain, none, damping, random_.between(200, 2000),
                                        random_.between(50, 500));
    }
    if (random_.oneIn(2)) {
        double p[6], i[6], d[6];
        fill(p, random_.between(0, 10));
        fill(i, random_.between(0, 0.001));
        fill(d, random_.between(0, 5));
        tmcSetDragLockPara(p, i, d);
    }
    tmcDragSwitch(1);
}

void Schedule::startPressing() {
    std::uint8_t axes[6];
    for (std::uint8_t& axis : axes) axis = digit(random_.oneIn(3));
    axes[2] = 1;
    if (!momentsSure()) axes[0] = 0;
    const FORCESENSOR_DATA target = {
        random_.between(0, 5), random_.between(0, 5), -random_.between(5, 30), 0, 0, 0};
    const auto learning = digit(random_.below(3));
    calm_ = learning != 0 && random_.oneIn(2);
    if (calm_) {  // undisturbed beyond the end of the stores
        taskLeft_ = 14000;
        shiftLeft_ = std::max(shiftLeft_, taskLeft_);
        tmcSetForceSensorAct(1, 11);
        arm_.faults = {};
        std::uint8_t none[6] = {};
        tmcCollisionStartStop(0, 1, none, {}, {}, {}, 11);
        mpb.collisionErrorTime = MAXCOLLISIONERRORTIME;
    }
    arm_.lead(30, 1);
    arm_.press(20, random_.between(1, 10));
    zvmcCompliancestartstop(random_.between(0, 0.01), random_.between(0, 5), random_.below(2), 11);
    tmcConstForceStartStop(1, random_.below(257), axes, target, 0.002, 0.0001, 0.0005, 0.002, 0, 0,
                           digit(random_.below(2)), learning, 50, 15, random_.between(5, 50),
                           digit(random_.below(2)), digit(random_.below(2)), 12);
}

void Schedule::startRecord(int status) {
    float low[6], high[6];
    int time[6];
    const double band = random_.between(0.05, 1);
    fill(low, -band);
    fill(high, band);
    fill(time, random_.below(100));
    tmcTorqueRecordStartEnd(digit(status), digit(random_.below(2)), low, high, time, 13);
}

// ---- within a task

// Keeps the motion going: what has come to its end, or was stopped, starts anew after a while.
void Schedule::drive() {
    const bool next = mpb.state == TGEN_IDLE && random_.oneIn(endurance_ ? 50 : 200);
    if (mpb.state == TGEN_PAUSE && random_.oneIn(300))
        tarn::host::requestState(random_.oneIn(4) ? ENTER_IDLE_STATE : LEAVE_PAUSE_STATE);
    double goal[6];
    switch (task_) {
        case JointMoves:
        case Pressing:
        case LoadRun:
            if (task_ == LoadRun) mpb.currentLine = 3 + static_cast<int>(time_ / 2100) % 8;
            if (!next) break;
            for (int i = 0; i < 6; i++)
                goal[i] = std::clamp(mpb.jC.v[i] + random_.between(-40, 40), -170.0, 170.0);
            tarn::host::startJointMove(goal, random_.between(0.02, 1), 14);
            break;
        case LineMoves:
            if (next) {
                TRSF pose = mpb.tC;
                pose.p.x += random_.between(-150, 150);
                pose.p.y += random_.between(-150, 150);
                pose.p.z += random_.between(-150, 150);
                tarn::host::startLineMove(pose, random_.between(20, 800), 15);
            }
            break;
        case Jogging:
            if (next) tarn::host::startJog(random_.below(6), random_.between(-60, 60));
            if (random_.oneIn(700)) tarn::host::stopJog();
            break;
        case Guiding:
            if (next && random_.oneIn(3)) tmcDragSwitch(1);
            break;
        case ForceDrag:
            if (next) zvmcEndForceDragStartStopControl(1);
            break;
        case Streaming: {
            float rated[6];
            zvmcJointDefaultTorque(rated);
            const double t = static_cast<double>(time_) * 0.001;
            for (int i = 0; i < 6; i++)
                mpb.jTorque[i] = random_.oneIn(50)
                                     ? 0.0
                                     : 0.5 * static_cast<double>(rated[i]) * std::sin((1 + 0.2 * i) * t);
            break;
        }
        default:
            break;
    }
    if ((task_ == JointMoves || task_ == LineMoves) && !endurance_ && random_.oneIn(3000)) tmcPause();
    if (random_.oneIn(2000)) mpb.interfereJointCubeFlag = digit(random_.below(3));
}

// Constant speeds one after the other, up and down; or the excitation, from a start at rest. Both within the
// planner's acceleration. The host's planner serves the requests as those of an arm at rest: a collision may
// hand the arm over, and the sweep goes on after that.
void Schedule::sweep() {
    constexpr double kAcceleration = 1.44e-3;  // degrees/ms^2
    constexpr double kLoop = 0.01;             // 1/ms, by which the excitation is followed
    constexpr long kHold = 350;                // cycles of a speed in one direction, with its ramp
    double point[6] = {};
    TMC_TIMES times = {12, 12};
    if (task_ == Excitation) zvmcComputefourierAccVelPos(times, static_cast<unsigned long>(time_ / 8), point);
    if (time_ % (2 * kHold) == 0) sweepSpeed_ += sweepSpeed_ < 17.1 ? 0.9 : 3.6;
    if (sweepSpeed_ > 125) sweepSpeed_ = 0.45;

    if (mpb.state == TGEN_SERVICE) mpb.state = TGEN_IDLE;
    tarn::host::serveRequests();
    if (mpb.state != TGEN_IDLE) {
        std::fill_n(sweepVelocity_, 6, 0.0);
        return;
    }
    mpb.state = TGEN_SERVICE;
    mpb.interMode = JOINT;
    mpb.ci = {500, 1000};
    for (int i = 0; i < 6; i++) {
        double& velocity = sweepVelocity_[i];
        const double speed = i == sweptJoint_ ? (time_ / kHold % 2 ? -0.001 : 0.001) * sweepSpeed_ : 0.0;
        const double fastest = 0.0005 * mpb.limitsJnt.maxVel.v[i];
        const double wish = task_ == Excitation
                                ? kLoop * kLoop * (point[i] - mpb.jC.v[i]) - 2 * kLoop * velocity
                                : speed - velocity;
        double acceleration = std::clamp(wish, -kAcceleration, kAcceleration);
        if (task_ == Excitation)
            acceleration = std::clamp(velocity + acceleration, -fastest, fastest) - velocity;
        mpb.jCacc.v[i] = mpb.jCaccRaw.v[i] = acceleration;
        velocity += acceleration;
        mpb.jCvel.v[i] = velocity;
        mpb.jC.v[i] += velocity;
    }
    newFwdKinematics(&mpb.jC, &mpb.tC);
}

// To a stand where it is, the goal of the last motion included.
void Schedule::leaveSweep() {
    std::fill_n(sweepVelocity_, 6, 0.0);
    if (mpb.state != TGEN_SERVICE) return;
    mpb.state = TGEN_IDLE;
    for (int i = 0; i < 6; i++) mpb.jCvel.v[i] = mpb.jCacc.v[i] = mpb.jCaccRaw.v[i] = 0.0;
    mpb.jointPos = mpb.jC;
    mpb.goalPos = mpb.tC;
}

// ---- what goes wrong

void Schedule::spoil() {
    if (faultLeft_ > 0 && --faultLeft_ == 0) {
        arm_.faults = {};
        tarn::host::axleBus.din = 0;
    }
    if (faultLeft_ > 0 || calm_ || !random_.oneIn(4000)) return;
    Faults& f = arm_.faults;
    faultLeft_ = 5 + random_.below(500);
    switch (random_.below(8)) {
        case 0:
            f.sensorFrozen = !momentsNeeded();
            break;
        case 1:
            f.sensorSilent = !momentsNeeded();
            break;
        case 2:
            f.sensorSpike = true;
            faultLeft_ = 1 + random_.below(20);
            break;
        case 3:
            tarn::host::axleBus.din = static_cast<std::uint16_t>((1 + random_.below(3)) << 6);
            break;
        case 4:
            f.push = {random_.between(-300, 300), random_.between(-300, 300), random_.between(-300, 300)};
            break;
        case 5:
            f.encoder = random_.below(400) - 200;
            break;
        default:
            f.jointTorque[random_.below(6)] = random_.between(-1500, 1500);
            break;
    }
}

// One of the commands that a user may give at any time.
void Schedule::command() {
    Random& r = random_;
    double numbers[6];
    float levels[6];
    std::uint8_t code;
    switch (r.below(24)) {
        case 0:
            mcb.newTeachEnable = digit(r.below(3));
            break;
        case 1:
            tmcgravityTeachVersionOnOff(digit(r.below(3)));
            break;
        case 2:
            tmcDragLockEnableDisable(digit(r.below(2)));
            break;
        case 3:
            if (momentsSure()) tmcSetForceSensorZero(digit(r.below(2)), 16);
            break;
        case 4:
            tmcSetCollisionMode(digit(r.below(3)), digit(r.below(2)));
            break;
        case 5:
            fill(levels, 1 + r.below(100));
            tmcSetCollisionLevel(1, levels, digit(r.below(2)), 17);
            break;
        case 6:
            tmcCollisionLevelResume();
            break;
        case 7:
            tmcFrictionCompensationOnOff(digit(r.below(2)));
            break;
        case 8:
            tmcDragSwitch(r.below(2));
            break;
        case 9:
            tmcStop();
            break;
        case 10:
            zvmcEndForceDragStartStopControl(r.below(2));
            break;
        case 11:
            tmcGetCollisionState(&code);
            break;
        case 12:
            tmcSetLoadPara(digit(r.below(MAXLOADNUM)), r.between(0, 3), {0, 0, r.between(0, 80)}, 18);
            break;
        case 13:
            zvmcGetJointCurrent(numbers);
            break;
        case 14:
            MaxJointVel(numbers);
            break;
        case 15:
            tmcMomentumAndPowerOnOff(digit(r.below(2)), 20, 300);
            break;
        case 16:
            resetForceControlPara();
            break;
        case 17:
            zvmcEndForceDragParamReset();
            break;
        case 18:
            tmcSetForceSensorAct(digit(r.below(2)), 19);
            break;
        case 19:
            zvmcILCreset();
            break;
        case 20:
            collisionMessagePrintf(saveMsgPrintfCount);
            break;
        case 21:
            mcb.servoJTStatus = digit(task_ == Streaming || r.oneIn(3));
            break;
        case 22:
            tmcAxleSensorDataBuffFlag(digit(r.below(2)));
            break;
        default: {
            std::uint32_t telegram[2] = {static_cast<std::uint32_t>(r.bits()),
                                         static_cast<std::uint32_t>(r.bits())};
            axleSensorDataAddToBuff(telegram);
            axleSensorDataMonitor(telegram);
        }
    }
    if (saveMsgPrintfCount < 4 * SAVEMSGSIZE - 1) saveMsgPrintfCount++;
}

// The host clears some time after it sees a fault or an alarm.
void Schedule::clearFaults() {
    const bool fault = mcb.collisionError != zvCtlCollisionOK || mcb.ioError != zvCtlIOOK ||
                       mcb.cmdPointError != zvCtlCmdPointOK || mcb.paraError != zvCtlParaOK ||
                       mcb.motionAlarm != zvCtlMotionNoAlarm;
    if (clearIn_ == 0 && fault) clearIn_ = 50 + random_.below(1500);
    if (clearIn_ == 0 || --clearIn_ > 0) return;
    mcb.collisionError = zvCtlCollisionOK;
    mcb.ioError = zvCtlIOOK;
    mcb.cmdPointError = zvCtlCmdPointOK;
    mcb.paraError = zvCtlParaOK;
    mcb.motionAlarm = zvCtlMotionNoAlarm;
    if (random_.oneIn(2)) mcb.collisionStateback = 0;
}

}  // namespace soak
