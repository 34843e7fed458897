#include "cycle_settings.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "soak/momentum.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnhost/log.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"
#include "zvmcidentifydynamicblock.h"
#include "zvmctoolblock.h"

namespace tarn::bench {
namespace {

const struct {
    const char* name;
    std::vector<int> values;
} kTable[kSwitches] = {
    {"type", {103, 1, 3, 101, 201, 301, 303, 401, 701, 702, 801, 901, 902, 1001}},
    {"mount", {3, 0, 1, 2}},
    {"model", {0, 1, 2}},
    {"motion", {Hold, JointMoves, LineMoves, Guiding, TorqueServo, FrictionRun}},
    {"pose", {0, 1, 2}},
    {"friction", {0, 1}},
    {"lock", {0, 1}},
    {"zone", {0, 1, 2}},
    {"tool", {0, 1}},
    {"record", {0, 1, 2, 3}},
    {"custom", {0, 1, 2, 3}},
    {"detector", {0, 1, 2}},
    {"reaction", {0, 1, 2, 3, 4, 5}},
    {"standstill", {0, 1}},
    {"sensor", {0, 1, 2, 3}},
    {"guard", {0, 1}},
    {"drag", {0, 1}},
    {"adaptive", {0, 1}},
    {"wall", {0, 1, 2}},
    {"singular", {0, 1, 2}},
    {"torquedrag", {0, 1, 2}},
    {"press", {0, 1, 2}},
    {"learn", {0, 1}},
    {"power", {0, 1}},
    {"script", {0, 1}},
    {"dynamicload", {0, 1}},
    {"excitation", {0, 1}},
    {"observer", {0, 1}},
    {"shock", {0, 1}},
};

constexpr double kBent[6] = {20.0, -80.0, 100.0, -110.0, -90.0, 30.0};
constexpr int kSettle = 50;  // cycles after which a host clears a fault or starts anew what has ended
constexpr int kShocks = 97;  // cycles from one collision to the next
constexpr int kLine = 7;     // program line
constexpr int kSampled = 3;  // program line at which the scripted identification reads a joint

template <typename T>
void fill(T (&values)[6], double value) {
    std::fill_n(values, 6, static_cast<T>(value));
}

}  // namespace

Settings settingsOf(const std::string& text) {
    Settings settings;
    for (std::size_t i = 0; i < kSwitches; i++) settings[i] = kTable[i].values.front();
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const std::size_t equals = word.find('=');
        const auto row = std::find_if(std::begin(kTable), std::end(kTable),
                                      [&](const auto& one) { return one.name == word.substr(0, equals); });
        if (equals == std::string::npos || row == std::end(kTable))
            throw std::invalid_argument("no setting " + word);
        settings[static_cast<std::size_t>(row - std::begin(kTable))] = std::stoi(word.substr(equals + 1));
    }
    return settings;
}

std::string textOf(const Settings& settings) {
    std::string text;
    for (std::size_t i = 0; i < kSwitches; i++) {
        if (i != Type && settings[i] == kTable[i].values.front()) continue;
        if (!text.empty()) text += ' ';
        text += kTable[i].name;
        text += '=';
        text += std::to_string(settings[i]);
    }
    return text;
}

namespace {

int anyValue(std::size_t which, soak::Random& random) {
    const std::vector<int>& values = kTable[which].values;
    return values[static_cast<std::size_t>(random.below(static_cast<int>(values.size())))];
}

}  // namespace

Settings draw(soak::Random& random) {
    Settings settings;
    for (std::size_t i = 0; i < kSwitches; i++) settings[i] = anyValue(i, random);
    return settings;
}

Settings altered(Settings settings, soak::Random& random) {
    for (int n = 1 + random.below(3); n > 0; n--) {
        const auto which = static_cast<std::size_t>(random.below(kSwitches));
        settings[which] = anyValue(which, random);
    }
    return settings;
}

Host::Host(const Settings& settings, std::uint64_t seed) : settings_(settings), random_(seed), arm_(random_) {
    host::drainLog([](int, const char*) {});
    host::setDefaults(is(Type));
    mcb.robotInstallPos = static_cast<std::uint8_t>(is(Mount));
    mcb.robotInstallYangle = 20.0;
    mcb.robotInstallZangle = -35.0;
    std::copy_n(kBent, 6, mpb.jC.v);
    if (is(Pose) == 1)
        for (double& angle : mpb.jC.v) angle = random_.between(-150.0, 150.0);
    if (is(Pose) == 2) mpb.jC.v[4] = random_.between(10.0, 15.0);
    std::copy_n(mpb.jC.v, 6, start_);
    newFwdKinematics(&mpb.jC, &mpb.tC);
    mpb.jointPos = mpb.jC;
    mpb.goalPos = mpb.tC;
    arm_.reset();
    arm_.lead(40.0, 20.0);
    mcb.mode = 1;
    mcb.speedScaleManual = mcb.speedScaleAuto = 1.0F;
    start();
}

// The commands of a user, in a host that has just come up.
void Host::start() {
    mcb.newTeachEnable = static_cast<std::uint8_t>(is(Model));
    mcb.fricCompensationFlag = static_cast<std::uint8_t>(is(Friction));
    for (int i = 0; i < 6; i++) mpb.friction_Free[i] = 0.5F;
    if (is(Tool) != 0) {
        tmcSetLoadPara(1, 2.0, {10.0, -20.0, 60.0}, kLine);
        mpb.loadWeight = 2.0;
        mpb.loadCoord = {10.0, -20.0, 60.0};
        mpb.TOOL.p = {5.0, -3.0, 120.0};
    }
    mcb.dragLockEnable = static_cast<std::uint8_t>(is(Lock));
    double p[6], i[6], d[6];
    fill(p, 1.0), fill(i, 1e-4), fill(d, 1.0);
    tmcSetDragLockPara(p, i, d);
    mcb.interfereDrag = static_cast<std::uint8_t>(is(Zone));
    mpb.interfereJointCubeFlag = is(Zone) != 0 ? 1 : 0;

    // bands that only a shock leaves
    float levels[6], joint[6], tip[6];
    fill(levels, 10.0), fill(joint, 2.0), fill(tip, 200.0);
    tmcSetCollisionLevel(0, levels, 0, kLine);
    tmcSetCollisionMode(static_cast<std::uint8_t>(is(Detector)), 0);
    int margin[6] = {1, 3, 5, 7, 9, 10};
    tmcSetCollisionPause(static_cast<std::uint8_t>(is(Reaction)), 1000, 300, 500, margin);
    zvmcSetCustomCollisionDetection(static_cast<std::uint8_t>(is(Custom)), joint, tip);
    tmcSetStaticCollisionOnOff(static_cast<std::uint8_t>(is(Standstill)));
    mpb.collisionErrorTime = 5;

    zvmcSetAxleDeviceType(0);
    mcb.fsCompanyID = 16;
    if (is(Sensor) != 0) {
        zvmcSetAxleDeviceType(1);
        tmcSetForceSensorAct(1, kLine);
        float place[6] = {0, 0, 20, 0, 0, 30};
        tmcSetForceSensorRcs(static_cast<std::uint8_t>(is(Sensor) - 1), place, kLine);
        tmcSetForceSensorLoadWeight(1.0, kLine);
        tmcSetForceSensorLoadCoord({5.0, -5.0, 40.0}, kLine);
    }
    zvmcInitEndForceDragParam();
    if (is(Guard) != 0) {
        std::uint8_t axes[6];
        fill(axes, 1);
        tmcCollisionStartStop(1, 1, axes, {}, {90, 90, 90, 30, 30, 30}, {90, 90, 90, 30, 30, 30}, kLine);
    }
    mcb.interfereCube = {static_cast<std::uint8_t>(is(Wall) != 0),
                         0,
                         static_cast<std::uint8_t>(is(Wall) == 2),
                         0,
                         {mpb.tC.p.x + 30.0, -2e3, -2e3},
                         {2e3, 2e3, 2e3},
                         {},
                         {}};
    if (is(Wall) == 2) mcb.interfereCube.min_cube.x = mpb.tC.p.x - 30.0;
    if (is(Drag) != 0) {
        double M[6] = {5, 5, 5, 0.5, 0.5, 0.5}, B[6] = {200, 200, 200, 20, 20, 20},
               K[6] = {100, 100, 100, 10, 10, 10}, F[6] = {1, 1, 1, 0.1, 0.1, 0.1};
        zvmcEndForceDragstartstop(1, is(Adaptive), is(Wall) != 0 ? 1 : 0, is(Singular), M, B, K, F, 100.0,
                                  1000.0);
    }
    if (is(TorqueDrag) != 0) {
        double gain[6], none[6] = {}, damping[6];
        fill(gain, 2.0), fill(damping, 0.1);
        zvmcForceAndTorqueDragStartStop(1, is(TorqueDrag) - 1, gain, none, damping, 1e9, 1e9);
    }
    tmcMomentumAndPowerOnOff(static_cast<std::uint8_t>(is(Power)), 20.0, 1e9);
    tmcSetPowerLimit(static_cast<std::uint8_t>(is(Power)), 1e9);
    mcb.servoJTStatus = is(Motion) == TorqueServo ? 1 : 0;
    zvmcSingleJointFrictionOnlineOnOff(2, is(Motion) == FrictionRun ? 1 : 0);
    if (is(Script) != 0) tmcLoadIdentifyStartEnd(1);
    tmcLoadIdentifyDynOnOff(static_cast<std::uint8_t>(is(DynamicLoad)));
    if (is(DynamicLoad) != 0) tmcSetLoadIdentifyDynPara(5);
    zvmcdynfiltresert();
    if (is(Excitation) != 0) {
        static bool stored;
        if (stored) Store_free();
        stored = true;
        zvmcdynstoreresert();
    }
    if (is(Record) != 0) {
        float low[6], high[6];
        int most[6];
        fill(low, -50.0), fill(high, 50.0), fill(most, 100);
        tmcTorqueRecordReset(kLine);
        tmcTorqueRecordStartEnd(1, static_cast<std::uint8_t>(is(Record) == 3), low, high, most, kLine);
    }
    if (is(Press) != 0) arm_.press(20.0, 5.0);
}

// What a user does who wants it to go on: clears faults, starts what has ended.
void Host::keepGoing() {
    if (is(Motion) == TorqueServo)
        for (int i = 0; i < 6; i++)
            mpb.jTorque[i] = std::sin(0.002 * (1 + 0.2 * i) * static_cast<double>(time_));
    if (is(Script) != 0) {
        mpb.currentLine = kSampled;
        mcb.loadIdentify.weightTotalNum = 0;  // the table never fills
    }
    if (time_ % kSettle != 0) return;
    mcb.collisionError = zvCtlCollisionOK;
    mcb.ioError = zvCtlIOOK;
    mcb.cmdPointError = zvCtlCmdPointOK;
    mcb.paraError = zvCtlParaOK;
    mcb.motionAlarm = zvCtlMotionNoAlarm;
    if (is(Press) != 0 && mcb.forceControl.constForceFlag == 0) {
        std::uint8_t axes[6];
        fill(axes, is(Press) == 2);
        axes[2] = 1;
        const auto all = static_cast<std::uint8_t>(is(Learn));
        zvmcCompliancestartstop(0.01, 30.0, is(Learn), kLine);
        tmcConstForceStartStop(1, 256, axes, {5.0, 5.0, -20.0, 0.0, 0.0, 0.0}, 1e-4, 1e-6, 1e-5, 1e-4, 1e-6,
                               1e-5, all, all, 500.0, 100.0, 40.0, all, all, kLine);
    }
    // a record that is complete replays with the next start
    if (is(Record) >= 2 && time_ == 6 * kSettle) {
        float low[6], high[6];
        int most[6];
        fill(low, -50.0), fill(high, 50.0), fill(most, 100);
        tmcTorqueRecordStartEnd(0, static_cast<std::uint8_t>(is(Record) == 3), low, high, most, kLine);
        tmcTorqueRecordStartEnd(1, static_cast<std::uint8_t>(is(Record) == 3), low, high, most, kLine);
    }
    if (mpb.state == TGEN_PAUSE) host::requestState(LEAVE_PAUSE_STATE);
    if (mpb.state != TGEN_IDLE) return;
    if (is(Drag) != 0 && mcb.forceControl.endforcedrag.flag == 0) {
        // ended where the arm could not go on: back to where it can
        if (std::equal(start_, start_ + 6, mpb.jC.v,
                       [](double a, double b) { return std::fabs(a - b) < 0.1; }))
            zvmcEndForceDragStartStopControl(1);
        else
            host::startJointMove(start_, 0.5, kLine);
        return;
    }
    double goal[6];
    TRSF pose = mpb.tC;
    switch (is(Motion)) {
        case JointMoves:
            for (int i = 0; i < 6; i++)
                goal[i] = std::clamp(mpb.jC.v[i] + random_.between(-40, 40), -170.0, 170.0);
            host::startJointMove(goal, random_.between(0.2, 1.0), kLine);
            break;
        case LineMoves:
            pose.p.x += random_.between(-100, 100);
            pose.p.y += random_.between(-100, 100);
            pose.p.z += random_.between(-100, 100);
            host::startLineMove(pose, random_.between(50, 500), kLine);
            break;
        case Guiding:
            tmcDragSwitch(1);
            break;
        case FrictionRun:
            host::startJog(1, random_.between(-10.0, 10.0));
            break;
        default:
            break;
    }
}

// A collision of a joint, of the tool, and encoders that slip, one after the other for a few cycles each.
void Host::shake() {
    arm_.faults = {};
    if (is(Shock) == 0) return;
    const long phase = time_ % kShocks, kind = time_ / kShocks % 3;
    if (phase > 10) return;
    if (kind == 0) arm_.faults.jointTorque[time_ / kShocks % 6] = 1400.0;
    if (kind == 1) arm_.faults.push = {200.0, -150.0, 250.0};
    if (kind == 2) arm_.faults.encoder = 150;
}

void Host::before() {
    keepGoing();
    shake();
    time_++;
    if (mpb.state == TGEN_DRAG && is(Zone) != 0) mpb.interfereJointCubeFlag = 1;
    VECT shift;
    subtractVect(&shift, &corrected_.p, &planned_.p);
    arm_.correct(shift.x * planned_.a.x + shift.y * planned_.a.y + shift.z * planned_.a.z);
    arm_.measure(words_);
    host::serveRequests();
    for (int i = 0; i < 6; i++) torque_[i] = how.currentFeedback[i] * 0.01;
    q_ = mpb.j6;
    planned_ = corrected_ = mpb.tC;
    if (time_ % 16 == 0) host::drainLog([](int, const char*) {});
}

void Host::cycle() {
    forceSensorDataProcess(words_);
    zvmcCheckForCollisionError();
    collisionControl();
    if (is(Observer) != 0) soak::observeMomentum(time_);
    zvmcForceSensorDragProcess();
    constForceControl(planned_, &corrected_);
    if (is(Script) != 0) zvmcLoadIdentifyControl();
    if (is(DynamicLoad) != 0 && time_ % 5 == 0) zvmcLoadIdentifyDynControl();
    if (is(Excitation) != 0) zvmcloadidentifymain(torque_, mpb.j6.v, 1e9);
    gravityTorqueControl(&q_);
}

}  // namespace tarn::bench
