#include "sim/model_text.h"

#include <fmt/format.h>

#include <cmath>
#include <numbers>

#include "model/arm_shape.h"
#include "tarnhost/defaults.h"
#include "tmcforceblock.h"

namespace tarn::sim {
namespace {

constexpr double kRadian = std::numbers::pi / 180.0;

// Enough for a mass matrix that is right to 12 digits, and short: 0.15226 and not 0.15226000000000001.
constexpr int kDigits = 15;
constexpr double kNothing = 1e-15;  // what a quarter turn leaves of a zero

std::string number(double value, int digits) {
    if (digits == kDigits && std::fabs(value) < kNothing) value = 0.0;
    return fmt::format("{:.{}g}", value, digits);
}

std::string vectorText(const Eigen::Vector3d& v, int digits) {
    return fmt::format("{} {} {}", number(v.x(), digits), number(v.y(), digits), number(v.z(), digits));
}

std::string quaternionText(const Eigen::Quaterniond& q, int digits) {
    return number(q.w(), digits) + " " + vectorText(q.vec(), digits);
}

std::string joinedRow(const Joints& values) {
    std::string text;
    for (const double value : values) text += fmt::format("{}{:.6g}", text.empty() ? "" : ", ", value);
    return text;
}

// What both texts say of themselves. XML allows no two dashes in a comment.
std::string heading(const ExportedArm& arm) {
    std::string text = fmt::format(
        "  The arm of robot type {}, parameter set {}, as torque model {} has it. Written by tarnsim {}.\n"
        "  Units: m, kg, rad, s, N m. Joint angles are those of the library; base z points up.\n"
        "  Inertias are about the center of mass. Nothing is on the flange.\n"
        "  Efforts are the joint torques of the rated motor torques; drives can do more for a short time.\n"
        "  The library knows no limits of joint angles. Joint friction is not in the model.\n",
        arm.robotType, arm.setName, static_cast<int>(arm.torqueModel), TARN_VERSION);
    for (const std::string& note : arm.notes) text += fmt::format("  Note: {}\n", note);
    return text;
}

// A stick from the joint to the next one, to look at.
constexpr double kStickRadius = 0.03;  // m

}  // namespace

std::string endPlace(const ArmLink& link, int digits) {
    return fmt::format("pos=\"{}\" quat=\"{}\"", vectorText(link.end, digits),
                       quaternionText(link.endTurn, digits));
}

std::string mjcfBodies(const ArmLinks& links, int digits,
                       const std::function<std::string(std::size_t)>& inside, const std::string& onFlange) {
    std::string text;
    std::string place = R"(pos="0 0 0" quat="1 0 0 0")";
    for (std::size_t i = 0; i < 6; i++) {
        text += fmt::format(
            "{0:{1}}<body name=\"link{2}\" {3}>\n"
            "{0:{1}}  <joint name=\"joint{2}\" axis=\"0 0 1\" armature=\"{4}\"/>\n"
            "{0:{1}}  {5}\n",
            "", 4 + 2 * i, i + 1, place, number(links[i].rotor, digits), inside(i));
        place = endPlace(links[i], digits);
    }
    text += fmt::format("{:16}{}\n", "", onFlange);
    for (std::size_t i = 6; i-- > 0;) text += fmt::format("{:{}}</body>\n", "", 4 + 2 * i);
    return text;
}

ExportedArm exportedArm(int robotType, TorqueModel torqueModel) {
    const ParameterSet* set = armOf(robotType, torqueModel);
    if (set == nullptr) {
        throw std::invalid_argument(fmt::format("torque model {} has no parameter set for robot type {}",
                                                static_cast<int>(torqueModel), robotType));
    }
    std::array<double, 6> turns = jointZeroOffsetDeg(robotType);
    const std::array<DhLink, 6> rows = dhLinks(*set);
    for (std::size_t i = 0; i < 6; i++) turns[i] = rows[i].thetaOffsetDeg - turns[i];
    ExportedArm arm = {robotType, torqueModel, set->name, armLinks(*set, turns), {}, {}, {}};
    arm.notes = makePossible(arm.links);

    host::setDefaults(robotType);
    float rated[6];
    zvmcJointDefaultTorque(rated);
    MaxJointVel(arm.speed.data());
    const Joints gears = gearRatios(robotType);
    for (std::size_t i = 0; i < 6; i++) {
        arm.speed[i] *= kRadian;
        arm.torque[i] = static_cast<double>(rated[i]) * gears[i];
    }
    return arm;
}

std::string mjcfText(const ExportedArm& arm) {
    const auto inside = [&](std::size_t i) {
        const ArmLink& link = arm.links[i];
        const PrincipalInertia inertia = principalInertia(link);
        return fmt::format(
            "<inertial pos=\"{}\" quat=\"{}\" mass=\"{}\" diaginertia=\"{}\"/>\n{:{}}"
            "<geom type=\"capsule\" fromto=\"0 0 0 {}\" size=\"{}\" contype=\"0\" conaffinity=\"0\"/>",
            vectorText(link.center, kDigits), quaternionText(inertia.axes, kDigits),
            number(link.mass, kDigits), vectorText(inertia.moments, kDigits), "", 6 + 2 * i,
            vectorText(link.end, kDigits), kStickRadius);
    };
    std::string motors;
    for (std::size_t i = 0; i < 6; i++) {
        motors += fmt::format(
            "    <motor name=\"motor{0}\" joint=\"joint{0}\" ctrllimited=\"true\" ctrlrange=\"-{1:.6g} "
            "{1:.6g}\"/>\n",
            i + 1, arm.torque[i]);
    }
    return fmt::format(
        "<!--\n{}"
        "  Rotor inertias are the joints' armature. This format has no limits of joint speed, they are\n"
        "  {} rad/s.\n"
        "-->\n"
        "<mujoco model=\"arm_{}\">\n"
        "  <compiler angle=\"radian\" inertiafromgeom=\"false\"/>\n"
        "  <option gravity=\"0 0 -9.8\"/>\n"
        "  <worldbody>\n{}  </worldbody>\n"
        "  <actuator>\n{}  </actuator>\n"
        "</mujoco>\n",
        heading(arm), joinedRow(arm.speed), arm.robotType,
        mjcfBodies(arm.links, kDigits, inside,
                   fmt::format("<site name=\"flange\" {}/>", endPlace(arm.links[5], kDigits))),
        motors);
}

std::string urdfText(const ExportedArm& arm) {
    Joints rotors;
    std::string tree;
    std::string parent = "base", place = R"(xyz="0 0 0" rpy="0 0 0")";
    for (std::size_t i = 0; i < 6; i++) {
        const ArmLink& link = arm.links[i];
        const Eigen::Matrix3d turn = link.endTurn.toRotationMatrix();
        const Eigen::Matrix3d t = turn * link.tensor * turn.transpose();
        const Eigen::Vector3d stick = link.end / 2.0;
        const auto text = [](double value) { return number(value, kDigits); };
        tree += fmt::format(
            "  <joint name=\"joint{0}\" type=\"continuous\">\n"
            "    <parent link=\"{1}\"/>\n"
            "    <child link=\"link{0}\"/>\n"
            "    <origin {2}/>\n"
            "    <axis xyz=\"0 0 1\"/>\n"
            "    <limit effort=\"{3:.6g}\" velocity=\"{4:.6g}\"/>\n"
            "  </joint>\n",
            i + 1, parent, place, arm.torque[i], arm.speed[i]);
        tree += fmt::format(
            "  <link name=\"link{}\">\n"
            "    <inertial>\n"
            "      <origin xyz=\"{}\" rpy=\"0 0 0\"/>\n"
            "      <mass value=\"{}\"/>\n"
            "      <inertia ixx=\"{}\" ixy=\"{}\" ixz=\"{}\" iyy=\"{}\" iyz=\"{}\" izz=\"{}\"/>\n"
            "    </inertial>\n",
            i + 1, vectorText(link.center, kDigits), text(link.mass), text(t(0, 0)), text(t(0, 1)),
            text(t(0, 2)), text(t(1, 1)), text(t(1, 2)), text(t(2, 2)));
        tree += fmt::format(
            "    <visual>\n"
            "      <origin xyz=\"{}\" rpy=\"0 {} {}\"/>\n"
            "      <geometry><cylinder length=\"{}\" radius=\"{}\"/></geometry>\n"
            "    </visual>\n"
            "  </link>\n",
            vectorText(stick, kDigits), text(std::atan2(std::hypot(stick.x(), stick.y()), stick.z())),
            text(std::atan2(stick.y(), stick.x())), text(link.end.norm()), kStickRadius);
        parent = fmt::format("link{}", i + 1);
        place = fmt::format("xyz=\"{}\" rpy=\"{} 0 {}\"", vectorText(link.end, kDigits), text(link.endRoll),
                            text(link.endYaw));
        rotors[i] = link.rotor;
    }
    return fmt::format(
        "<?xml version=\"1.0\"?>\n"
        "<!--\n{}"
        "  This format has no rotor inertias. They are, at the joints and to be added to the diagonal of the "
        "mass\n"
        "  matrix, {} kg m^2.\n"
        "-->\n"
        "<robot name=\"arm_{}\">\n"
        "  <link name=\"base\"/>\n{}"
        "  <joint name=\"joint_flange\" type=\"fixed\">\n"
        "    <parent link=\"link6\"/>\n"
        "    <child link=\"flange\"/>\n"
        "    <origin {}/>\n"
        "  </joint>\n"
        "  <link name=\"flange\"/>\n"
        "</robot>\n",
        heading(arm), joinedRow(rotors), arm.robotType, tree, place);
}

}  // namespace tarn::sim
