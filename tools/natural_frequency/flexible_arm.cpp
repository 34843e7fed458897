#include "flexible_arm.h"

#include <Eigen/Eigenvalues>
#include <cmath>
#include <numbers>

#include "dynamics/rigid_body.h"

namespace tarn::tools {

double firstFrequency(const ParameterSet& set, const JointStiffness& stiffness, const double* pose,
                      const ToolLoad& load) {
    using Matrix6 = Eigen::Matrix<double, 6, 6>;
    using Vector6 = Eigen::Matrix<double, 6, 1>;

    const double tool[10] = {load.mass, 0.0, 0.0, load.center};
    constexpr double noGravity[3] = {}, atRest[6] = {};
    const ArmParameters<double> parameters = {set.paramSDH, set.inparaM, set.inparaC, set.inparaI,
                                              set.inparaIj, tool,        noGravity};
    double q[6], coriolis[36], gravity[6];
    for (int i = 0; i < 6; i++) q[i] = radians(pose[i]);
    Matrix6 mass;
    dynamicsTerms<kStandardShape>(armModel<kStandardShape>(parameters), q, atRest,
                                  {mass.data(), coriolis, gravity});

    // With y = K^(1/2) x the problem reads K^(-1/2) M K^(-1/2) y = y / w^2, and the lowest w is the largest
    // eigenvalue.
    Vector6 softness;
    softness << Eigen::Vector3d::Constant(1.0 / std::sqrt(stiffness.arm)),
        Eigen::Vector3d::Constant(1.0 / std::sqrt(stiffness.wrist));
    const Matrix6 scaled = softness.asDiagonal() * mass * softness.asDiagonal();
    const Eigen::SelfAdjointEigenSolver<Matrix6> modes(scaled, Eigen::EigenvaluesOnly);
    return 1.0 / (2.0 * std::numbers::pi * std::sqrt(modes.eigenvalues()(5)));
}

}  // namespace tarn::tools
