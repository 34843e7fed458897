// States of a moving arm with a load, what KDL says about them, and the blocks in the same terms.
#pragma once

#include <Eigen/Core>
#include <iterator>
#include <random>
#include <vector>

#include "model/parameter_sets.h"
#include "tmcHNzvCdynamicblock.h"
#include "tmczvPQdynamicblock.h"
#include "tmczvdynamicblock.h"

namespace ref {

// As the blocks take it: degrees, degrees/s, degrees/s^2; the load in kg, mm, kg mm^2; m/s^2 in the base
// frame.
struct ArmState {
    double q[6], qd[6], qdd[6], load[10], gravity[3];
};

struct Dynamics {
    Eigen::Matrix<double, 6, 6> mass;  // with the rotors
    Eigen::Matrix<double, 6, 1> coriolisTorque, gravity, torque;
    double largest;  // torque, of the magnitudes
};
Dynamics dynamics(const tarn::ParameterSet& set, const ArmState& at);  // KDL, both shapes

double potentialEnergy(const tarn::ParameterSet& set, const ArmState& at);  // J

class StateDraw {
  public:
    double uniform(double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(engine_);
    }

    ArmState operator()() {
        ArmState at;
        for (double& x : at.q) x = uniform(-360, 360);
        for (double& x : at.qd) x = uniform(-180, 180);
        for (double& x : at.qdd) x = uniform(-600, 600);
        for (double& x : at.gravity) x = uniform(-10, 10);
        // the tensor of a few particles: one that a body can have; every fifth arm is empty
        const bool empty = uniform(0, 5) < 1;
        at.load[0] = empty ? 0 : uniform(0, 20);
        for (int i = 1; i < 10; i++) at.load[i] = i < 4 ? uniform(-300, 300) : 0;
        for (int particle = 0; particle < 4 && !empty; particle++) {
            const double m = uniform(0, 2), x = uniform(-80, 80), y = uniform(-80, 80), z = uniform(-80, 80);
            const double tensor[6] = {y * y + z * z, -x * y, -x * z, x * x + z * z, -y * z, x * x + y * y};
            for (int i = 0; i < 6; i++) at.load[4 + i] += m * tensor[i];
        }
        return at;
    }

  private:
    std::mt19937 engine_{20240715};
};

// The arm that is built into a block, from its data sheet in kg, m and kg m^2.
inline tarn::ParameterSet builtInArm() {
    const double sheet[6][10] = {
        {12.2, -0.00004, -0.02694, 0.00404, 0.04698751, -0.00003686, -0.00010386, 0.0359257, 0.00133421,
         0.0456188},
        {19.68, 0.48157, 0.00008, 0.1726, 0.0709783, -0.00035386, -0.11264793, 1.83204615, -0.00000106,
         1.81205484},
        {3.71, 0.21119, -0.00015, 0.31557, 0.00645938, -0.00011468, -0.00085915, 0.20368603, 0.000012,
         0.20302623},
        {1.69, -0.00012, 0.003, 0.01231, 0.00248845, -0.00001228, 0.00000178, 0.00240848, -0.00007316,
         0.00181624},
        {1.69, 0.00012, -0.003, 0.01231, 0.00248845, 0.00001228, 0.00000178, 0.00240848, 0.00007316,
         0.00181624},
        {0.35, -0.00125, -0.00085, -0.02032, 0.00023613, 0.00000085, 0.00000048, 0.00023454, 0.00000072,
         0.00036902},
    };
    tarn::ParameterSet set = {"HN1",
                              tarn::ArmShape::Standard,
                              {180, -700, -586, 211, 114, 106},
                              {},
                              {},
                              {},
                              {1.747266e+07, 1.747266e+07, 1615598, 657160, 657160, 657160}};
    for (int k = 0; k < 6; k++) {
        set.inparaM[k] = sheet[k][0];
        for (int i = 0; i < 3; i++) set.inparaC[3 * k + i] = sheet[k][1 + i] * 1e3;
        for (int i = 0; i < 6; i++) set.inparaI[6 * k + i] = sheet[k][4 + i] * 1e6;
    }
    return set;
}

// ---- the blocks

// The torque block of the set's shape; the built-in one for HN1.
inline Eigen::Matrix<double, 6, 1> torque(const tarn::ParameterSet& set, const ArmState& at) {
    Eigen::Matrix<double, 6, 1> tau;
    if (set.shape == tarn::ArmShape::Offset) {
        tmczvPQdynamicblock(set.paramSDH, at.q, at.qd, at.qdd, at.load, set.inparaM, set.inparaC, set.inparaI,
                            set.inparaIj, at.gravity, tau.data());
    } else {
        tmcHNzvCdynamicblock(set.paramSDH, at.q, at.qd, at.qdd, at.load, set.inparaIj, at.gravity,
                             tau.data());
    }
    return tau;
}

// What the general block gives, in single precision.
struct SingleTerms {
    Eigen::Matrix<float, 6, 6> M, C;
    Eigen::Matrix<float, 6, 1> tau, G;
};

inline SingleTerms singleTerms(const tarn::ParameterSet& set, const ArmState& at) {
    const auto single = [](const auto& from) { return std::vector<float>(std::begin(from), std::end(from)); };
    SingleTerms t;
    tmczvdynamicblock(single(set.paramSDH).data(), single(at.q).data(), single(at.qd).data(),
                      single(at.qdd).data(), single(at.load).data(), single(set.inparaM).data(),
                      single(set.inparaC).data(), single(set.inparaI).data(), single(set.inparaIj).data(),
                      single(at.gravity).data(), t.tau.data(), t.G.data(), t.M.data(), t.C.data());
    return t;
}

inline constexpr const tarn::ParameterSet* kStandardSets[] = {
    &tarn::kSetB,   &tarn::kSetA1,  &tarn::kSetA2, &tarn::kSetA3,  &tarn::kSetA4,
    &tarn::kSetC1,  &tarn::kSetC2,  &tarn::kSetD1, &tarn::kSetD2,  &tarn::kSetE,
    &tarn::kSetPQ2, &tarn::kSetPQ3, &tarn::kSetF,  &tarn::kSetGL1, &tarn::kSetGL2,
};

}  // namespace ref
