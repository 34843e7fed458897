// The arm as a tree of bodies, out of a parameter set: what the plant is made of and what is exported.
#pragma once

#include <Eigen/Geometry>
#include <array>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/parameter_sets.h"

namespace tarn::sim {

// A link is told in the frame of its body, which stands where the link before ends and turns about its own z
// with the joint. The link's own frame, at its far end, is where the next body stands.
struct ArmLink {
    Eigen::Vector3d end;         // m, of the link's own frame in the body's
    double endYaw, endRoll;      // rad, it is turned by Rz(yaw) * Rx(roll)
    Eigen::Quaterniond endTurn;  // the same
    double mass;                 // kg
    Eigen::Vector3d center;      // m, of mass, in the body's frame
    Eigen::Matrix3d tensor;      // kg m^2, about the center, in the axes of the link's own frame
    double rotor;                // kg m^2, as the joint feels it
};
using ArmLinks = std::array<ArmLink, 6>;

// The scales are those of the links' masses and tensors. turnsDeg is the angle of the model's joint where the
// angle that is told is zero; 0 is the model's own zero.
ArmLinks armLinks(const ParameterSet& set, const std::array<double, 6>& turnsDeg, double massScale = 1.0,
                  double inertiaScale = 1.0);

// Principal moments and axes, the axes in the body's frame. The sum of two moments may be below the third.
struct PrincipalInertia {
    Eigen::Vector3d moments;  // kg m^2
    Eigen::Quaterniond axes;
};
// The tensor's axes are turned against the body's.
PrincipalInertia principalInertia(const Eigen::Matrix3d& tensor, const Eigen::Quaterniond& turn);
inline PrincipalInertia principalInertia(const ArmLink& link) {
    return principalInertia(link.tensor, link.endTurn);
}

// Out of xx, xy, xz, yy, yz, zz.
inline Eigen::Matrix3d symmetric(const double t[6], double scale) {
    Eigen::Matrix3d tensor;
    tensor << t[0], t[1], t[2], t[1], t[3], t[4], t[2], t[4], t[5];
    return tensor * scale;
}

// No distribution of mass gives such an arm, not even with other links before.
struct ImpossibleArm : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Makes links that no body can be, which other programs refuse, into links that move alike: mass matrix,
// gravity torque and velocity terms stay. Answers what was done, a sentence each; nothing for most arms.
std::vector<std::string> makePossible(ArmLinks& links);

}  // namespace tarn::sim
