#include "sim/arm_model.h"

#include <fmt/format.h>

#include <Eigen/Eigenvalues>
#include <numbers>

#include "model/arm_shape.h"

namespace tarn::sim {
namespace {

constexpr double kRadian = std::numbers::pi / 180.0;
constexpr double kMm = 1e-3;     // m
constexpr double kKgMm2 = 1e-6;  // kg m^2

// A rotor weighs 0.4 kg m^2 and more at its joint, so nothing of it is left in any result.
constexpr double kLeastMoment = 1e-12;  // kg m^2

// Mass, first and second moments of a body in one symmetric matrix,
//   | S   m c |      S = integral of r r^T dm
//   | m c^T m |
// A body can exist if it has no negative eigenvalue. Moved to another frame it is T P T^T.
using Moments = Eigen::Matrix4d;

Moments momentsOf(const ArmLink& link) {
    const Eigen::Matrix3d turn = link.endTurn.toRotationMatrix();
    const Eigen::Matrix3d tensor = turn * link.tensor * turn.transpose();
    Moments p;
    p.topLeftCorner<3, 3>() = tensor.trace() / 2.0 * Eigen::Matrix3d::Identity() - tensor +
                              link.mass * link.center * link.center.transpose();
    p.topRightCorner<3, 1>() = link.mass * link.center;
    p.bottomLeftCorner<1, 3>() = link.mass * link.center.transpose();
    p(3, 3) = link.mass;
    return p;
}

void setMoments(ArmLink& link, const Moments& p) {
    link.mass = p(3, 3);
    link.center = p.topRightCorner<3, 1>() / link.mass;
    const Eigen::Matrix3d second =
        p.topLeftCorner<3, 3>() - link.mass * link.center * link.center.transpose();
    const Eigen::Matrix3d turn = link.endTurn.toRotationMatrix();
    link.tensor = turn.transpose() * (second.trace() * Eigen::Matrix3d::Identity() - second) * turn;
}

// By how much the tensor is short of a body's: the smallest second moment about the center, kg m^2.
double leastSecondMoment(const ArmLink& link) {
    const Eigen::Matrix3d second = link.tensor.trace() / 2.0 * Eigen::Matrix3d::Identity() - link.tensor;
    return Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d>(second).eigenvalues()[0];
}

// A thin rod on the axis of a joint does not turn with the joint, so it moves alike as a part of either link.
// Hands one from the link before to the link behind, of no mass but with moments of either sign: both links'
// centers come to one height along the axis, which leaves them most, and they share that by their masses.
void handOver(ArmLink& before, ArmLink& behind) {
    Eigen::Isometry3d end = Eigen::Isometry3d::Identity();
    end.translate(before.end);
    end.rotate(before.endTurn);
    const Moments theirs = end.inverse().matrix() * momentsOf(before) * end.inverse().matrix().transpose();
    const Moments ours = momentsOf(behind);

    const double share = ours(3, 3) / (ours(3, 3) + theirs(3, 3));
    const double height = (ours(2, 3) + theirs(2, 3)) / (ours(3, 3) + theirs(3, 3));
    const double spread = ours(2, 2) + theirs(2, 2) - height * (ours(2, 3) + theirs(2, 3));
    Moments rod = Moments::Zero();
    rod(2, 3) = rod(3, 2) = height * ours(3, 3) - ours(2, 3);
    rod(2, 2) = share * spread + height * height * ours(3, 3) - ours(2, 2);

    setMoments(behind, ours + rod);
    setMoments(before, end.matrix() * (theirs - rod) * end.matrix().transpose());
}

}  // namespace

ArmLinks armLinks(const ParameterSet& set, const std::array<double, 6>& turnsDeg, double massScale,
                  double inertiaScale) {
    const std::array<DhLink, 6> rows = dhLinks(set);
    ArmLinks links;
    for (std::size_t i = 0; i < 6; i++) {
        ArmLink& link = links[i];
        const double* c = set.inparaC + 3 * i;
        link.endYaw = turnsDeg[i] * kRadian;
        link.endRoll = rows[i].alphaDeg * kRadian;
        const Eigen::Quaterniond yaw(Eigen::AngleAxisd(link.endYaw, Eigen::Vector3d::UnitZ()));
        const Eigen::Quaterniond roll(Eigen::AngleAxisd(link.endRoll, Eigen::Vector3d::UnitX()));
        const Eigen::Vector3d length(rows[i].a * kMm, 0.0, rows[i].d * kMm);
        link.endTurn = yaw * roll;
        link.end = yaw * length;
        link.mass = massScale * set.inparaM[i];
        link.center = yaw * (length + roll * Eigen::Vector3d(c[0], c[1], c[2]) * kMm);
        link.tensor = symmetric(set.inparaI + 6 * i, inertiaScale * kKgMm2);
        link.rotor = set.inparaIj[i] * kKgMm2;
    }
    return links;
}

PrincipalInertia principalInertia(const Eigen::Matrix3d& tensor, const Eigen::Quaterniond& turn) {
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> principal(tensor);
    Eigen::Matrix3d axes = principal.eigenvectors();
    if (axes.determinant() < 0.0) axes.col(2) *= -1.0;
    return {principal.eigenvalues(), (turn * Eigen::Quaterniond(axes)).normalized()};
}

std::vector<std::string> makePossible(ArmLinks& links) {
    std::vector<std::string> done;
    for (std::size_t i = 0; i < 6; i++) {
        if (leastSecondMoment(links[i]) < 0.0) {
            if (i > 0) handOver(links[i - 1], links[i]);
            if (i == 0 || leastSecondMoment(links[i]) < 0.0 || leastSecondMoment(links[i - 1]) < 0.0)
                throw ImpossibleArm(fmt::format("link {} has moments of inertia that no body has", i + 1));
            done.push_back(
                fmt::format("Link {1} has moments of inertia that no body has. Moments along the axis of "
                            "joint {1}, where "
                            "they move with either link, went over from link {0}: centers and tensors of "
                            "links {0} and {1} "
                            "are not those of the parameter set, all motions and joint torques are. The "
                            "force between the "
                            "two links is not.",
                            i, i + 1));
        }
        if (principalInertia(links[i]).moments[0] < kLeastMoment) {
            links[i].tensor += kLeastMoment * Eigen::Matrix3d::Identity();
            done.push_back(
                fmt::format("Link {} has no moment of inertia about one of its axes, which programs refuse: "
                            "{:g} kg m^2 were added to all three.",
                            i + 1, kLeastMoment));
        }
    }
    return done;
}

}  // namespace tarn::sim
