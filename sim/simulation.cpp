#include "sim/simulation.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <stdexcept>

#include "model/arm_shape.h"
#include "model/type_table.h"
#include "tarnhal/thalintf.h"
#include "tarnhost/defaults.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr double kGravity = 9.8;  // m/s^2, as in the library's models

struct Drives {
    std::array<FrictionCurve, 6> friction;
};

// The friction of the drives proper is the guiding form with unit gains: the plain form of size 32 has a dead
// zone at standstill, which belongs to the compensation and not to a gear.
double friction14(double v) { return joint14FrictionCalculate_deadzone_DRAG(v, 1.0, 1.0, 1.0, 1.0); }
double friction17(double v) { return joint17FrictionCalculate_deadzone_DRAG(v, 1.0, 1.0, 1.0, 1.0); }
double friction25(double v) { return joint25FrictionCalculate_deadzone_DRAG(v, 1.0, 1.0, 1.0, 1.0); }
double friction32(double v) { return joint32FrictionCalculate_deadzone_DRAG(v, 1.0, 1.0, 1.0, 1.0); }
double friction40(double v) { return joint40FrictionCalculate_deadzone_DRAG(v, 1.0, 1.0, 1.0, 1.0); }

// clang-format off

// What is built into the arms. It can differ from what the compensation assumes for a type.
constexpr TypeRow<Drives> kDrives[] = {
    // first, last,     J1          J2          J3          J4          J5          J6
    {    1,  100, { { friction17, friction17, friction17, friction14, friction14, friction14 } } },
    {  201,  400, { { friction32, friction32, friction25, friction17, friction17, friction17 } } },
    {  401,  500, { { friction40, friction40, friction32, friction25, friction25, friction25 } } },
    {  701,  701, { { friction17, friction17, friction14, friction14, friction14, friction14 } } },
    {  702,  800, { { friction17, friction17, friction17, friction14, friction14, friction14 } } },
    {  801,  900, { { friction17, friction17, friction14, friction14, friction14, friction14 } } },
    {  901,  901, { { friction17, friction17, friction17, friction14, friction14, friction14 } } },
    {  902,  902, { { friction32, friction32, friction25, friction17, friction17, friction17 } } },
    {  903,  903, { { friction17, friction17, friction17, friction14, friction14, friction14 } } },
    { 1001, 1100, { { friction40, friction40, friction32, friction25, friction25, friction25 } } },
};
constexpr Drives kDrivesOther =
                  { { friction25, friction25, friction25, friction14, friction14, friction14 } };

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

// Fills the blocks as a controller has them after power-on with this arm, mount and load. It comes first in
// the making of a simulation, since the rated torques that scale the plant's currents stand in the blocks.
PlantOptions switchOn(const SimulationOptions& options) {
    const ParameterSet* set = gravitySet(options.robotType);
    if (set == nullptr) throw std::invalid_argument("the robot type has no gravity model");

    host::setDefaults(options.robotType);
    mcb.robotInstallPos = options.mount.code;
    mcb.robotInstallYangle = options.mount.yAngle;
    mcb.robotInstallZangle = options.mount.zAngle;
    mcb.newTeachEnable = 0;
    mcb.fricCompensationFlag = 1;
    mpb.state = TGEN_IDLE;
    mpb.loadWeight = options.load;
    mpb.loadCoord = {options.loadCenter[0], options.loadCenter[1], options.loadCenter[2]};
    mpb.loadWeightList[mpb.loadNum] = mpb.loadWeight;
    mpb.loadCoordList[mpb.loadNum] = mpb.loadCoord;
    std::fill(std::begin(how.currentSet), std::end(how.currentSet), std::int16_t{0});

    PlantOptions plant;
    // In mode 0 the library knows the arm by the set of its gravity model, so that one is the truth here.
    plant.set = *set;
    plant.zeroShift = jointZeroOffsetDeg(options.robotType);
    plant.gravity = gravityInBase(options.mount);
    plant.loadMass = options.load + options.loadError;
    plant.loadCenter = options.loadCenter;
    float rated[6];
    zvmcJointDefaultTorque(rated);
    std::copy(std::begin(rated), std::end(rated), plant.ratedTorque.begin());
    plant.gearRatio = byType(kGears, kGearsOther, options.robotType);
    plant.friction = byType(kDrives, kDrivesOther, options.robotType).friction;
    plant.frictionScale = options.frictionScale;
    return plant;
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

bool hasGravityModel(int robotType) { return gravitySet(robotType) != nullptr; }

Simulation::Simulation(const SimulationOptions& options)
    : options_(options), plant_(switchOn(options)), commanded_(options.startPose) {
    plant_.reset(options.startPose);
    measure();
    copy(mpb.oldJ6, measured_);
}

// Plant to blocks. The commanded pose stays where the arm stood at the start.
void Simulation::measure() {
    const Joints last = velocity_;
    measured_ = plant_.position();
    velocity_ = plant_.velocity();
    Joints acceleration;
    for (std::size_t i = 0; i < 6; i++) acceleration[i] = velocity_[i] - last[i];  // deg/ms^2

    mpb.oldJ6 = mpb.j6;
    copy(mpb.j6, measured_);
    copy(mpb.j6vel, velocity_);
    copy(mpb.j6acc, acceleration);
    copy(mpb.jC, commanded_);
    copy(mpb.jCvel, {});
    copy(mpb.jCacc, {});
    copy(mpb.jCaccRaw, {});
    newFwdKinematics(&mpb.j6, &mpb.t6);
    newFwdKinematics(&mpb.jC, &mpb.tC);
    std::copy(current_.begin(), current_.end(), how.currentFeedback);
}

void Simulation::cycle() {
    measure();
    host::serveRequests();
    JNTS q = mpb.j6;
    gravityTorqueControl(&q);
    // the drives follow their set-point at once and exactly
    std::copy(std::begin(how.currentSet), std::end(how.currentSet), current_.begin());
    plant_.step(current_);
    cycles_++;
}

}  // namespace tarn::sim
