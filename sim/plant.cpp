#include "sim/plant.h"

#include <fmt/format.h>
#include <mujoco/mujoco.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

#include "model/arm_shape.h"
#include "sim/arm_model.h"
#include "sim/model_text.h"
#include "sim/vectors.h"

namespace tarn::sim {
namespace {

constexpr double kCycle = 0.001;  // s
constexpr double kRadian = std::numbers::pi / 180.0;
constexpr double kMm = 1e-3;     // m
constexpr double kKgMm2 = 1e-6;  // kg m^2
constexpr int kToolBody = 7;     // behind the world and the links

// The first message since it was last fetched. The engine's hooks are plain functions without context; each
// thread that steps a plant has its own.
thread_local std::string engineMessage;

void onWarning(const char* text) {
    if (engineMessage.empty()) engineMessage = text;
}

// The engine ends the process if this returns.
void onError(const char* text) { throw PlantError(fmt::format("physics engine: {}", text)); }

// Room for every bit of a double.
constexpr int kDigits = 17;

std::string numbers(std::initializer_list<double> values) {
    std::string text;
    for (const double value : values)
        text += fmt::format("{}{:.{}g}", text.empty() ? "" : " ", value, kDigits);
    return text;
}

std::string quaternionText(const Eigen::Quaterniond& q) { return numbers({q.w(), q.x(), q.y(), q.z()}); }

std::string vectorText(const Eigen::Vector3d& v) { return numbers({v.x(), v.y(), v.z()}); }

// The arm as text for the engine. The tensors in it are place holders: the engine refuses some of the true
// ones, so those are written into the loaded model afterwards. The turned axes of the place holder keep the
// engine from marking a body's inertial frame as equal to the body's.
std::string modelText(const PlantOptions& options, const ArmLinks& links) {
    const auto inertial = [](const Eigen::Vector3d& center, double mass) {
        return fmt::format(
            "<inertial pos=\"{}\" quat=\"0.8 0.6 0 0\" mass=\"{:.17g}\" diaginertia=\"1 1 1\"/>",
            vectorText(center), mass);
    };
    const std::string tool =
        fmt::format("<body name=\"tool\" {}>{}<site name=\"sensor\" pos=\"{}\" quat=\"{}\"/></body>",
                    endPlace(links[5], kDigits), inertial(vector(options.loadCenter) * kMm, options.loadMass),
                    vectorText(vector(options.sensorInEnd.origin) * kMm),
                    quaternionText(Eigen::Quaterniond(rotation(options.sensorInEnd)).normalized()));
    const auto inside = [&](std::size_t i) { return inertial(links[i].center, links[i].mass); };
    return fmt::format(
        "<mujoco model=\"{}\">"
        "<compiler angle=\"radian\" inertiafromgeom=\"false\"/>"
        "<option timestep=\"{:.17g}\" gravity=\"{}\" integrator=\"Euler\">"
        "<flag contact=\"disable\" energy=\"enable\"/></option><worldbody>{}</worldbody>"
        "<sensor><force site=\"sensor\"/><torque site=\"sensor\"/></sensor></mujoco>",
        options.set.name, kCycle / options.substeps,
        numbers({options.gravity[0], options.gravity[1], options.gravity[2]}),
        mjcfBodies(links, kDigits, inside, tool));
}

mjModel* load(const std::string& text) {
    // the record of the virtual file system takes 2 MB
    const auto files = std::make_unique<mjVFS>();
    mj_defaultVFS(files.get());
    constexpr const char* kName = "arm.xml";
    if (mj_makeEmptyFileVFS(files.get(), kName, static_cast<int>(text.size())) != 0) {
        throw PlantError("physics engine: no room for the model text");
    }
    std::copy(text.begin(), text.end(), static_cast<char*>(files->filedata[0]));
    char reason[500] = "";
    mjModel* model = mj_loadXML(kName, files.get(), reason, sizeof reason);
    mj_deleteVFS(files.get());
    if (model == nullptr) throw PlantError(fmt::format("physics engine: {}", reason));
    return model;
}

// Puts the true moments and axes of a body in place of the place holders.
void patchTensor(mjModel* model, std::size_t body, const PrincipalInertia& inertia) {
    for (int k = 0; k < 3; k++)
        model->body_inertia[3 * body + static_cast<std::size_t>(k)] = inertia.moments[k];
    const Eigen::Quaterniond& turn = inertia.axes;
    const double q[4] = {turn.w(), turn.x(), turn.y(), turn.z()};
    std::copy(std::begin(q), std::end(q), model->body_iquat + 4 * body);
}

void patchTensors(mjModel* model, const PlantOptions& options, const ArmLinks& links) {
    for (std::size_t i = 0; i < 6; i++) patchTensor(model, i + 1, principalInertia(links[i]));
    patchTensor(
        model, kToolBody,
        principalInertia(symmetric(options.loadInertia.data(), kKgMm2), Eigen::Quaterniond::Identity()));
}

// Friction as a damping coefficient, N·m·s/rad: torque over velocity. In this form the engine takes it
// implicitly, so the curves, which are very steep dampers at standstill, stay quiet at any step size, and a
// jump between the bands of a curve is harmless.
double dampingOf(FrictionCurve curve, double radPerSecond) {
    // below this speed (deg/ms) the curves are straight lines and the quotient would only lose digits
    constexpr double kStraight = 1e-9;
    double speed = radPerSecond / kRadian * kCycle;
    if (std::fabs(speed) < kStraight) speed = kStraight;
    return std::max(0.0, curve(speed) / (speed * kRadian / kCycle));
}

}  // namespace

Plant::Plant(const PlantOptions& options)
    : options_(options),
      model_(nullptr, mj_deleteModel),
      motion_(nullptr, mj_deleteData),
      scratch_(nullptr, mj_deleteData) {
    mju_user_warning = onWarning;
    mju_user_error = onError;
    engineMessage.clear();

    const ArmLinks links = armLinks(options.set, {}, options.massScale, options.inertiaScale);
    model_.reset(load(modelText(options, links)));
    patchTensors(model_.get(), options, links);
    const std::array<DhLink, 6> rows = dhLinks(options.set);
    for (std::size_t i = 0; i < 6; i++) options_.zeroShift[i] -= rows[i].thetaOffsetDeg;
    motion_.reset(mj_makeData(model_.get()));
    scratch_.reset(mj_makeData(model_.get()));
    mj_setConst(model_.get(), motion_.get());
    reset({});
}

void Plant::setPose(mjData_* data, const Joints& pose) const {
    for (std::size_t i = 0; i < 6; i++) data->qpos[i] = (pose[i] - options_.zeroShift[i]) * kRadian;
}

void Plant::reset(const Joints& pose) {
    mj_resetData(model_.get(), motion_.get());
    failure_.clear();
    engineMessage.clear();
    setPose(motion_.get(), pose);
    mj_forward(model_.get(), motion_.get());
    applyToolForces();
    // the brakes leave nothing to the inertia
    std::fill_n(motion_->qacc, 6, 0.0);
    mj_sensorAcc(model_.get(), motion_.get());
    gearTorque_ = gravityTorque(pose);
    raiseEngineTrouble();
}

void Plant::step(const Currents& current) {
    if (failed()) throw PlantError(failure_);
    const Joints torque = jointTorque(current);
    std::copy(torque.begin(), torque.end(), motion_->qfrc_applied);
    for (int n = 0; n < options_.substeps; n++) {
        Joints before;
        for (std::size_t i = 0; i < 6; i++) {
            const FrictionCurve curve = options_.friction[i];
            before[i] = motion_->qvel[i];
            const double damping = curve == nullptr ? 0.0 : dampingOf(curve, before[i]);
            model_->dof_damping[i] = options_.frictionScale * damping;
        }
        mj_step1(model_.get(), motion_.get());
        applyToolForces();
        mj_step2(model_.get(), motion_.get());
        raiseEngineTrouble();
        // motor less friction and rotor, with the friction at the new velocity, where the engine took it
        for (std::size_t i = 0; i < 6; i++) {
            const double after = motion_->qvel[i];
            gearTorque_[i] = torque[i] - model_->dof_damping[i] * after -
                             model_->dof_armature[i] * (after - before[i]) / model_->opt.timestep;
        }
    }
}

ToolState Plant::readTool() const {
    ToolState tool{};
    tool.time = motion_->time;
    tool.step = model_->opt.timestep;
    const mjtNum* place = motion_->xpos + 3 * kToolBody;
    const mjtNum* turn = motion_->xmat + 9 * kToolBody;
    double velocity[6];  // of the turn, then of the origin
    mj_objectVelocity(model_.get(), motion_.get(), mjOBJ_XBODY, kToolBody, velocity, 0);
    for (std::size_t i = 0; i < 3; i++) {
        tool.flange.origin[i] = place[i];
        for (std::size_t axis = 0; axis < 3; axis++) tool.flange.axes[axis][i] = turn[3 * i + axis];
        tool.spin[i] = velocity[i];
        tool.velocity[i] = velocity[3 + i];
    }
    return tool;
}

// All of it enters as one force on the tool body: the sensor does not see what enters as joint torque.
void Plant::applyToolForces() {
    tool_ = readTool();
    const Eigen::Vector3d flange = vector(tool_.flange.origin);
    Eigen::Vector3d force = Eigen::Vector3d::Zero(), moment = force;
    const auto add = [&](const PointWrench& at) {
        force += vector(at.wrench.force);
        moment += vector(at.wrench.moment) + (vector(at.point) - flange).cross(vector(at.wrench.force));
    };
    for (const Surface& surface : surfaces_) add(contactWrench(surface, sphere_, tool_));
    contactForce_ = array(force);
    for (const ToolForce& toolForce : toolForces_) add(toolForce(tool_));
    toolWrench_ = {array(force), array(moment)};

    // the engine's point is the body's center of mass
    const Vec3 center = pointOf(tool_, options_.loadCenter);
    moment += (flange - vector(center)).cross(force);
    for (int k = 0; k < 3; k++) {
        motion_->xfrc_applied[6 * kToolBody + k] = force[k];
        motion_->xfrc_applied[6 * kToolBody + 3 + k] = moment[k];
    }
}

std::vector<Surface> Plant::scenery() const {
    std::vector<Surface> all = surfaces_;
    all.insert(all.end(), shown_.begin(), shown_.end());
    return all;
}

Wrench Plant::sensorWrench() const {
    Wrench wrench;
    for (std::size_t i = 0; i < 3; i++) {
        // the engine tells what the arm puts on the tool
        wrench.force[i] = -motion_->sensordata[i];
        wrench.moment[i] = -motion_->sensordata[3 + i];
    }
    return wrench;
}

void Plant::raiseEngineTrouble() {
    if (!engineMessage.empty()) {
        failure_ = fmt::format("physics engine: {}", engineMessage);
        engineMessage.clear();
    }
    const auto bad = [](double x) { return !std::isfinite(x); };
    if (failure_.empty() && (std::any_of(motion_->qpos, motion_->qpos + 6, bad) ||
                             std::any_of(motion_->qvel, motion_->qvel + 6, bad))) {
        failure_ = "physics engine: the state is not finite";
    }
    if (failed()) throw PlantError(failure_);
}

Joints Plant::position() const {
    Joints degrees;
    for (std::size_t i = 0; i < 6; i++) degrees[i] = motion_->qpos[i] / kRadian + options_.zeroShift[i];
    return degrees;
}

Joints Plant::velocity() const {
    Joints degreesPerMs;
    for (std::size_t i = 0; i < 6; i++) degreesPerMs[i] = motion_->qvel[i] / kRadian * kCycle;
    return degreesPerMs;
}

double Plant::kineticEnergy() const { return motion_->energy[1]; }

Joints Plant::jointTorque(const Currents& current) const {
    Joints torque;
    for (std::size_t i = 0; i < 6; i++) {
        torque[i] = current[i] * 0.001 * options_.ratedTorque[i] * options_.gearRatio[i];
    }
    return torque;
}

double Plant::currentOf(double torque, int joint) const {
    const auto i = static_cast<std::size_t>(joint);
    return torque / (options_.ratedTorque[i] * options_.gearRatio[i]) * 1000.0;
}

void Plant::mapKinematics(const Joints& pose) const {
    setPose(scratch_.get(), pose);
    mj_kinematics(model_.get(), scratch_.get());
    mj_comPos(model_.get(), scratch_.get());
}

Joints Plant::gravityTorque(const Joints& pose) const {
    mapKinematics(pose);
    mj_comVel(model_.get(), scratch_.get());  // at rest
    Joints torque;
    mj_rne(model_.get(), scratch_.get(), 0, torque.data());
    return torque;
}

Joints Plant::motionTorque(const Joints& pose, const Joints& velocity, const Joints& acceleration) const {
    mapKinematics(pose);
    for (std::size_t i = 0; i < 6; i++) {
        scratch_->qvel[i] = velocity[i] * kRadian;
        scratch_->qacc[i] = acceleration[i] * kRadian;
    }
    mj_comVel(model_.get(), scratch_.get());
    Joints torque;
    mj_rne(model_.get(), scratch_.get(), 1, torque.data());
    // the engine leaves the rotors out here
    for (std::size_t i = 0; i < 6; i++) torque[i] += model_->dof_armature[i] * scratch_->qacc[i];
    std::fill_n(scratch_->qvel, 6, 0.0);  // the other questions are about an arm at rest
    return torque;
}

std::array<Joints, 6> Plant::massMatrix(const Joints& pose) const {
    mapKinematics(pose);
    mj_crb(model_.get(), scratch_.get());
    std::array<double, 36> dense;
    mj_fullM(model_.get(), dense.data(), scratch_->qM);
    std::array<Joints, 6> rows;
    for (std::size_t i = 0; i < 6; i++)
        std::copy_n(dense.begin() + static_cast<std::ptrdiff_t>(6 * i), 6, rows[i].begin());
    return rows;
}

std::array<Vec3, 7> Plant::frameOrigins(const Joints& pose) const {
    mapKinematics(pose);
    std::array<Vec3, 7> origins;
    // body k+1 stands at the origin of frame k; the last one is the tool's
    for (std::size_t k = 0; k < 7; k++) std::copy_n(scratch_->xpos + 3 * (k + 1), 3, origins[k].begin());
    return origins;
}

}  // namespace tarn::sim
