#include "sim/simulation.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <stdexcept>

#include "model/arm_shape.h"
#include "model/type_table.h"
#include "support/to_integer.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnhost/devices.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn::sim {
namespace {

constexpr double kGravity = 9.8;  // m/s^2, as in the library's models

// The friction of the drives proper is the guiding form with unit gains: the plain form of size 32 has a dead
// zone at standstill, which belongs to the compensation and not to a gear.
double friction14(double v) { return joint14FrictionCalculate_deadzone_DRAG(v, 1.0, 1.0, 1.0, 1.0); }
double friction17(double v) { return joint17FrictionCalculate_deadzone_DRAG(v, 1.0, 1.0, 1.0, 1.0); }
double friction25(double v) { return joint25FrictionCalculate_deadzone_DRAG(v, 1.0, 1.0, 1.0, 1.0); }
double friction32(double v) { return joint32FrictionCalculate_deadzone_DRAG(v, 1.0, 1.0, 1.0, 1.0); }
double friction40(double v) { return joint40FrictionCalculate_deadzone_DRAG(v, 1.0, 1.0, 1.0, 1.0); }

struct DriveSize {
    FrictionCurve friction;
    double stiffness;  // N m/deg of the gear, from motor to link: middle of the range of its load
};
constexpr DriveSize kSize14 = {friction14, 70.0};
constexpr DriveSize kSize17 = {friction17, 200.0};
constexpr DriveSize kSize25 = {friction25, 700.0};
constexpr DriveSize kSize32 = {friction32, 1600.0};
constexpr DriveSize kSize40 = {friction40, 7500.0};

struct Drives {
    std::array<const DriveSize*, 6> size;
};

// clang-format off

// What is built into the arms. It can differ from what the compensation assumes for a type.
constexpr TypeRow<Drives> kDrives[] = {
    // first, last,  J1        J2        J3        J4        J5        J6
    {    1,  100, { { &kSize17, &kSize17, &kSize17, &kSize14, &kSize14, &kSize14 } } },
    {  201,  400, { { &kSize32, &kSize32, &kSize25, &kSize17, &kSize17, &kSize17 } } },
    {  401,  500, { { &kSize40, &kSize40, &kSize32, &kSize25, &kSize25, &kSize25 } } },
    {  701,  701, { { &kSize17, &kSize17, &kSize14, &kSize14, &kSize14, &kSize14 } } },
    {  702,  800, { { &kSize17, &kSize17, &kSize17, &kSize14, &kSize14, &kSize14 } } },
    {  801,  900, { { &kSize17, &kSize17, &kSize14, &kSize14, &kSize14, &kSize14 } } },
    {  901,  901, { { &kSize17, &kSize17, &kSize17, &kSize14, &kSize14, &kSize14 } } },
    {  902,  902, { { &kSize32, &kSize32, &kSize25, &kSize17, &kSize17, &kSize17 } } },
    {  903,  903, { { &kSize17, &kSize17, &kSize17, &kSize14, &kSize14, &kSize14 } } },
    { 1001, 1100, { { &kSize40, &kSize40, &kSize32, &kSize25, &kSize25, &kSize25 } } },
};
constexpr Drives kDrivesOther =
                  { { &kSize25, &kSize25, &kSize25, &kSize14, &kSize14, &kSize14 } };

// Gear ratios.
constexpr TypeRow<Joints> kGears[] = {
    // first, last,   J1   J2   J3   J4   J5   J6
    {  702,  703, { 121, 121, 121, 101, 101, 101 } },
    {  901,  901, { 121, 121, 121, 101, 101, 101 } },
};
constexpr Joints kGearsOther = { 100, 100, 100, 100, 100, 100 };

// clang-format on

void copy(JNTS& to, const Joints& from) {
    std::copy(from.begin(), from.end(), to.v);
    to.num = NUM_JNTS;
}

Joints joints(const JNTS& from) {
    Joints to;
    std::copy_n(from.v, to.size(), to.begin());
    return to;
}

// deg, by which one frame is turned against another; exact for small angles, too.
double turnBetween(const ROTRSF& from, const ROTRSF& to) {
    double square = 0.0;
    for (const auto axis : {&ROTRSF::n, &ROTRSF::o, &ROTRSF::a}) {
        VECT step;
        subtractVect(&step, &(to.*axis), &(from.*axis));
        square += step.x * step.x + step.y * step.y + step.z * step.z;
    }
    return 2.0 * std::asin(std::min(1.0, std::sqrt(square / 8.0))) * 180.0 / std::numbers::pi;
}

// Tells the blocks which force sensor sits where, and answers its pose in the flange frame.
Pose mountSensor(const SimulationOptions& options) {
    mcb.fsCompanyID = options.forceSensor.company;
    mcb.fsDeviceID = options.forceSensor.device;
    const Vec3& place = options.sensorPlace;
    const Vec3& turn = options.sensorTurn;
    mcb.forceControl.forceSensorCoord = {place[0], place[1], place[2], turn[0], turn[1], turn[2]};
    TRSF& pose = mpb.posSensorCtl.posSensorInEnd;
    rpyToTrsf(&pose, turn[2], turn[1], turn[0]);
    pose.p = {place[0], place[1], place[2]};
    return {
        place,
        {{{pose.n.x, pose.n.y, pose.n.z}, {pose.o.x, pose.o.y, pose.o.z}, {pose.a.x, pose.a.y, pose.a.z}}}};
}

// Fills the blocks as a controller has them after power-on with this arm, mount and load. It comes first in
// the making of a simulation, since the rated torques that scale the plant's currents stand in the blocks.
PlantOptions switchOn(const SimulationOptions& options) {
    const ParameterSet* set = armOf(options.robotType, options.plantModel);
    if (set == nullptr) throw std::invalid_argument("the torque model has no arm of this robot type");

    host::setDefaults(options.robotType);
    mcb.robotInstallPos = options.mount.code;
    mcb.robotInstallYangle = options.mount.yAngle;
    mcb.robotInstallZangle = options.mount.zAngle;
    mcb.newTeachEnable = options.torqueModel;
    mcb.fricCompensationFlag = options.frictionCompensation ? 1 : 0;
    mpb.state = TGEN_IDLE;
    mpb.loadWeight = options.load;
    mpb.loadCoord = {options.loadCenter[0], options.loadCenter[1], options.loadCenter[2]};
    mpb.loadWeightList[mpb.loadNum] = mpb.loadWeight;
    mpb.loadCoordList[mpb.loadNum] = mpb.loadCoord;
    std::fill(std::begin(how.currentSet), std::end(how.currentSet), std::int16_t{0});
    zvmcSetAxleDeviceType(0);  // also ends what an earlier arm had announced

    PlantOptions plant;
    plant.set = *set;
    plant.zeroShift = jointZeroOffsetDeg(options.robotType);
    plant.gravity = gravityInBase(options.mount);
    plant.loadMass = options.load + options.loadError;
    plant.loadCenter = options.loadCenter;
    float rated[6];
    zvmcJointDefaultTorque(rated);
    std::copy(std::begin(rated), std::end(rated), plant.ratedTorque.begin());
    plant.gearRatio = gearRatios(options.robotType);
    const Drives& drives = byType(kDrives, kDrivesOther, options.robotType);
    for (std::size_t i = 0; i < 6; i++) plant.friction[i] = drives.size[i]->friction;
    plant.frictionScale = options.frictionScale;
    plant.massScale = options.massScale;
    plant.inertiaScale = options.inertiaScale;
    plant.loadInertia = options.loadInertia;
    plant.sensorInEnd = mountSensor(options);
    return plant;
}

EncoderOptions encoderOptions(const SimulationOptions& options) {
    EncoderOptions encoders;
    const Drives& drives = byType(kDrives, kDrivesOther, options.robotType);
    for (std::size_t i = 0; i < 6; i++) {
        encoders.stiffness[i] = options.stiffnessScale * drives.size[i]->stiffness;
    }
    encoders.velocityCorner = options.velocityCorner;
    encoders.accelerationCorner = options.accelerationCorner;
    return encoders;
}

}  // namespace

const Mount* findMount(const std::string& name) {
    const Mount* found = std::find_if(std::begin(kMounts), std::end(kMounts),
                                      [&](const Mount& mount) { return name == mount.name; });
    return found == std::end(kMounts) ? nullptr : found;
}

Vec3 gravityInBase(const Mount& mount) {
    // exact where the angles are right angles: 9.8 * sin(pi) is not zero
    switch (mount.code) {
        case 0:
            return {0.0, 0.0, -kGravity};
        case 1:
            return {kGravity, 0.0, 0.0};
        case 2:
            return {0.0, 0.0, kGravity};
        default:
            break;
    }
    const double y = mount.yAngle * std::numbers::pi / 180.0;
    const double z = mount.zAngle * std::numbers::pi / 180.0;
    return {kGravity * std::sin(y) * std::cos(z), -kGravity * std::sin(y) * std::sin(z),
            -kGravity * std::cos(y)};
}

Vec3 baseToRoom(const Mount& mount, const Vec3& v) {
    const double y = mount.yAngle * std::numbers::pi / 180.0;
    const double z = mount.zAngle * std::numbers::pi / 180.0;
    const double ahead = std::cos(z) * v[0] - std::sin(z) * v[1];
    const double left = std::sin(z) * v[0] + std::cos(z) * v[1];
    return {std::cos(y) * ahead + std::sin(y) * v[2], left, -std::sin(y) * ahead + std::cos(y) * v[2]};
}

const ParameterSet* armOf(int robotType, TorqueModel model) {
    if (model == FullDynamics) return dynamicsSet(robotType);
    // a regressor was fitted to the arms of families A to D, but not to version 3
    if (model == FittedRegressor && (robotType < 1 || robotType > 400 || robotType == 3)) return nullptr;
    return gravitySet(robotType);
}

Joints gearRatios(int robotType) { return byType(kGears, kGearsOther, robotType); }

Simulation::Simulation(const SimulationOptions& options)
    : options_(options),
      plant_(switchOn(options)),
      forceSensor_(options.forceSensor),
      encoderOptions_(encoderOptions(options)),
      drives_(encoderOptions_),
      cycles_(static_cast<int>(std::lround(options.startTime * 1000.0))),
      commanded_(options.startPose) {
    plant_.reset(options.startPose);
    copy(mpb.jC, commanded_);
    newFwdKinematics(&mpb.jC, &mpb.tC);
    mpb.jointPos = mpb.jC;
    mpb.goalPos = mpb.tC;
    measure();
    copy(mpb.oldJ6, measured_);

    const std::array<Joints, 6> inertia = plant_.massMatrix(options.startPose);
    identify(inertia);
    const double frequency = 2.0 * std::numbers::pi * options.positionLoop;  // rad/s
    for (std::size_t i = 0; i < 6; i++) {
        loopStiffness_[i] = inertia[i][i] * frequency * frequency;
        loopDamping_[i] = 2.0 * inertia[i][i] * frequency;
    }
}

// What the drives find out about their joints by themselves, in the start pose: gear stiffness, inertia of
// the driven link, inertia of the motor before the gear.
void Simulation::identify(const std::array<Joints, 6>& inertia) {
    constexpr double kDegPerRad = 180.0 / std::numbers::pi, kKgMm2 = 1e6;  // per kg m^2
    for (std::size_t i = 0; i < 6; i++) {
        const double rotor = plant_.options().set.inparaIj[i];  // kg mm^2, seen at the joint
        const double gear = plant_.options().gearRatio[i];
        host::drives.rigidity[i] = toInt(encoderOptions_.stiffness[i] * kDegPerRad);
        host::drives.rodInertia[i] = toInt(inertia[i][i] * kKgMm2 - rotor);
        host::drives.motorInertia[i] = toInt(rotor / (gear * gear));
        host::drives.identification[i] = host::drives.rigidity[i];
    }
}

// Plant to blocks. What is commanded is the host's.
void Simulation::measure() {
    const Joints last = velocity_;
    measured_ = plant_.position();
    velocity_ = plant_.velocity();
    Joints acceleration;
    for (std::size_t i = 0; i < 6; i++) acceleration[i] = velocity_[i] - last[i];  // deg/ms^2

    encoders_ = encoderCounts(encoderOptions_, measured_, plant_.gearTorque());
    drives_.update(encoders_);
    if (options_.driveState) {
        measured_ = drives_.position();
        velocity_ = drives_.velocity();
        acceleration = drives_.acceleration();
    }
    sensorWords_ = forceSensor_.sample(plant_.sensorWrench());

    mpb.oldJ6 = mpb.j6;
    copy(mpb.j6, measured_);
    copy(mpb.j6vel, velocity_);
    copy(mpb.j6acc, acceleration);
    const TRSF before = mpb.t6;
    newFwdKinematics(&mpb.j6, &mpb.t6);
    VECT step;
    subtractVect(&step, &mpb.t6.p, &before.p);
    mpb.tcpvel = normVect(&step) * 1000.0;                 // mm/s
    mpb.tcpOriVel = turnBetween(before, mpb.t6) * 1000.0;  // deg/s
    std::copy(current_.begin(), current_.end(), how.currentFeedback);
    std::copy(encoders_.motor.begin(), encoders_.motor.end(), how.enc);
    std::copy(encoders_.output.begin(), encoders_.output.end(), how.HSEnc);
    forceSensorDataProcess(sensorWords_.data());  // before all that reads the force
}

// The drives follow their set-point at once and exactly; with a position loop it is the feed-forward, and the
// current has its limit, in hand guiding, too.
void Simulation::drive() {
    std::copy(std::begin(how.currentSet), std::end(how.currentSet), currentSet_.begin());
    current_ = currentSet_;
    if (options_.positionLoop == 0.0) return;
    constexpr double kRadian = std::numbers::pi / 180.0;
    for (std::size_t i = 0; i < 6; i++) {
        double total = currentSet_[i];
        if (mpb.state != TGEN_DRAG) {
            const double torque = (loopStiffness_[i] * (commanded_[i] - measured_[i]) +
                                   loopDamping_[i] * (commandedVelocity_[i] - velocity_[i]) * 1000.0) *
                                  kRadian;
            total += plant_.currentOf(torque, static_cast<int>(i));
        }
        current_[i] = static_cast<std::int16_t>(std::lround(std::clamp(total, -kDriveLimit, kDriveLimit)));
    }
}

void Simulation::cycle() {
    measure();
    if (options_.supervised) zvmcCheckForCollisionError();
    collisionControl();  // nothing, until a command arms the guard
    zvmcForceSensorDragProcess();
    host::serveRequests(constForceControl);
    commanded_ = joints(mpb.jC);
    commandedVelocity_ = joints(mpb.jCvel);
    JNTS q = mpb.j6;
    gravityTorqueControl(&q);
    drive();
    plant_.step(current_);
    cycles_++;
}

}  // namespace tarn::sim
