#include "sim/plant.h"

#include <fmt/format.h>
#include <mujoco/mujoco.h>

#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

#include "model/arm_shape.h"

namespace tarn::sim {
namespace {

constexpr double kCycle = 0.001;  // s
constexpr double kRadian = std::numbers::pi / 180.0;
constexpr double kMm = 1e-3;     // m
constexpr double kKgMm2 = 1e-6;  // kg m^2

// The first message since it was last fetched. The engine's hooks are plain functions without context; each
// thread that steps a plant has its own.
thread_local std::string engineMessage;

void onWarning(const char* text) {
    if (engineMessage.empty()) engineMessage = text;
}

// The engine ends the process if this returns.
void onError(const char* text) { throw PlantError(fmt::format("physics engine: {}", text)); }

std::string numbers(std::initializer_list<double> values) {
    std::string text;
    for (const double value : values) text += fmt::format("{}{:.17g}", text.empty() ? "" : " ", value);
    return text;
}

Eigen::Quaterniond turnAboutX(double degrees) {
    return Eigen::Quaterniond(Eigen::AngleAxisd(degrees * kRadian, Eigen::Vector3d::UnitX()));
}

// A joint of the engine turns about an axis of its own body. So body k is frame k-1 turned by joint k, and
// the link's frame k, in which its center and tensor are told, stands in it at (a, 0, d) turned by alpha
// about x.
Eigen::Vector3d linkOrigin(const DhLink& link) { return {link.a * kMm, 0.0, link.d * kMm}; }

std::string quaternionText(const Eigen::Quaterniond& q) { return numbers({q.w(), q.x(), q.y(), q.z()}); }

std::string vectorText(const Eigen::Vector3d& v) { return numbers({v.x(), v.y(), v.z()}); }

// The arm as text for the engine. The tensors in it are place holders: the engine refuses some of the true
// ones and loses digits in decomposing the others, so those are written into the loaded model afterwards. The
// turned axes of the place holder keep the engine from marking a body's inertial frame as equal to the
// body's.
std::string modelText(const PlantOptions& options, const std::array<DhLink, 6>& links) {
    std::string text = fmt::format(
        "<mujoco model=\"{}\">"
        "<compiler angle=\"radian\" inertiafromgeom=\"false\"/>"
        "<option timestep=\"{:.17g}\" gravity=\"{}\" integrator=\"Euler\">"
        "<flag contact=\"disable\" energy=\"enable\"/></option><worldbody>",
        options.set.name, kCycle / options.substeps,
        numbers({options.gravity[0], options.gravity[1], options.gravity[2]}));
    Eigen::Vector3d place = Eigen::Vector3d::Zero();
    Eigen::Quaterniond turn = Eigen::Quaterniond::Identity();
    for (std::size_t i = 0; i < 6; i++) {
        const double* c = options.set.inparaC + 3 * i;
        const Eigen::Quaterniond twist = turnAboutX(links[i].alphaDeg);
        const Eigen::Vector3d center = linkOrigin(links[i]) + twist * Eigen::Vector3d(c[0], c[1], c[2]) * kMm;
        text += fmt::format(
            "<body name=\"link{0}\" pos=\"{1}\" quat=\"{2}\">"
            "<inertial pos=\"{3}\" quat=\"0.8 0.6 0 0\" mass=\"{4:.17g}\" diaginertia=\"1 1 1\"/>"
            "<joint name=\"joint{0}\" axis=\"0 0 1\" armature=\"{5:.17g}\"/>",
            i + 1, vectorText(place), quaternionText(turn), vectorText(center), options.set.inparaM[i],
            options.set.inparaIj[i] * kKgMm2);
        place = linkOrigin(links[i]);
        turn = twist;
    }
    const Vec3& load = options.loadCenter;
    text += fmt::format(
        "<body name=\"tool\" pos=\"{}\" quat=\"{}\">"
        "<inertial pos=\"{}\" mass=\"{:.17g}\" diaginertia=\"0 0 0\"/></body>",
        vectorText(place), quaternionText(turn), numbers({load[0] * kMm, load[1] * kMm, load[2] * kMm}),
        options.loadMass);
    for (int i = 0; i < 6; i++) text += "</body>";
    return text + "</worldbody></mujoco>";
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

// Principal moments and axes of the true tensors. Sums of moments need not obey the triangle rule.
void patchTensors(mjModel* model, const ParameterSet& set, const std::array<DhLink, 6>& links) {
    for (std::size_t i = 0; i < 6; i++) {
        const double* t = set.inparaI + 6 * i;
        Eigen::Matrix3d tensor;
        tensor << t[0], t[1], t[2], t[1], t[3], t[4], t[2], t[4], t[5];
        const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> principal(tensor * kKgMm2);
        Eigen::Matrix3d axes = principal.eigenvectors();
        if (axes.determinant() < 0.0) axes.col(2) *= -1.0;
        const Eigen::Quaterniond turn =
            (turnAboutX(links[i].alphaDeg) * Eigen::Quaterniond(axes)).normalized();
        const std::size_t body = i + 1;  // body 0 is the world
        for (int k = 0; k < 3; k++)
            model->body_inertia[3 * body + static_cast<std::size_t>(k)] = principal.eigenvalues()[k];
        const double q[4] = {turn.w(), turn.x(), turn.y(), turn.z()};
        std::copy(std::begin(q), std::end(q), model->body_iquat + 4 * body);
    }
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

    const std::array<DhLink, 6> links = dhLinks(options.set);
    model_.reset(load(modelText(options, links)));
    patchTensors(model_.get(), options.set, links);
    for (std::size_t i = 0; i < 6; i++) options_.zeroShift[i] -= links[i].thetaOffsetDeg;
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
    raiseEngineTrouble();
}

void Plant::step(const Currents& current) {
    if (failed()) throw PlantError(failure_);
    const Joints torque = jointTorque(current);
    std::copy(torque.begin(), torque.end(), motion_->qfrc_applied);
    for (int n = 0; n < options_.substeps; n++) {
        for (std::size_t i = 0; i < 6; i++) {
            const FrictionCurve curve = options_.friction[i];
            const double damping = curve == nullptr ? 0.0 : dampingOf(curve, motion_->qvel[i]);
            model_->dof_damping[i] = options_.frictionScale * damping;
        }
        mj_step(model_.get(), motion_.get());
        raiseEngineTrouble();
    }
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
    mj_comVel(model_.get(), scratch_.get());  // at rest: the scratch data never moves
    Joints torque;
    mj_rne(model_.get(), scratch_.get(), 0, torque.data());
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
