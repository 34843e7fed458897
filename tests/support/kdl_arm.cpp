#include <algorithm>
#include <cmath>
#include <kdl/chain.hpp>
#include <kdl/chaindynparam.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>

#include "support/reference.h"
#include "support/rigid_body.h"

namespace {

constexpr double kMm = 0.001, kKgMm2 = 1e-6;

struct Row {
    double alpha, a, d, offset;  // degrees, m
};

KDL::RigidBodyInertia body(double mass, const double* center, const double* tensor) {
    const KDL::RotationalInertia about(tensor[0], tensor[3], tensor[5], tensor[1], tensor[2], tensor[4]);
    return KDL::RigidBodyInertia(mass, kMm * KDL::Vector(center[0], center[1], center[2]), kKgMm2 * about);
}

// The arm with its load in link 6.
KDL::Chain chainOf(const double* sdh, bool offsetShape, const double* mass, const double* center,
                   const double* tensor, const double* load) {
    const double d1 = kMm * sdh[0], a2 = -kMm * std::fabs(sdh[1]), l3 = kMm * std::fabs(sdh[2]);
    const double d4 = kMm * sdh[3], d5 = kMm * sdh[4], d6 = kMm * sdh[5];
    const Row standard[6] = {{90, 0, d1, 0}, {0, a2, 0, 0},   {0, -l3, 0, 0},
                             {90, 0, d4, 0}, {-90, 0, d5, 0}, {0, 0, d6, 0}};
    const Row offset[6] = {{90, 0, d1, 0},    {0, a2, 0, 0},    {90, 0, l3, -90},
                           {-90, 0, d4, -90}, {-90, 0, d5, 90}, {0, 0, d6, 0}};
    KDL::Chain chain;
    for (int i = 0; i < 6; i++) {
        const Row& row = (offsetShape ? offset : standard)[i];
        KDL::RigidBodyInertia link = body(mass[i], center + 3 * i, tensor + 6 * i);
        if (i == 5) link = link + body(load[0], load + 1, load + 4);
        const KDL::Frame tip = KDL::Frame::DH(row.a, row.alpha * M_PI / 180, row.d, row.offset * M_PI / 180);
        chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ), tip, link));
    }
    return chain;
}

KDL::Chain chainOf(const tarn::ParameterSet& set, const double* load) {
    return chainOf(set.paramSDH, set.shape == tarn::ArmShape::Offset, set.inparaM, set.inparaC, set.inparaI,
                   load);
}

KDL::JntArray radians(const double* degrees) {
    KDL::JntArray result(6);
    for (unsigned i = 0; i < 6; i++) result(i) = degrees[i] * M_PI / 180;
    return result;
}

}  // namespace

namespace ref {

Torque holdingTorque(const Arm& arm, const EX_LOAD& load, const double gravity[3], const double q[6]) {
    const double none[36] = {}, carried[10] = {load.mass, load.cmc.x, load.cmc.y, load.cmc.z};
    const KDL::Chain chain = chainOf(arm.sdh, false, arm.mass, arm.center, none, carried);
    KDL::ChainDynParam model(chain, KDL::Vector(gravity[0], gravity[1], gravity[2]));
    KDL::JntArray torque(6);
    model.JntToGravity(radians(q), torque);

    Torque result{};
    for (unsigned i = 0; i < 6; i++) {
        result.v[i] = torque(i);
        result.largest = std::max(result.largest, std::fabs(torque(i)));
    }
    return result;
}

Dynamics dynamics(const tarn::ParameterSet& set, const ArmState& at) {
    const KDL::Chain chain = chainOf(set, at.load);
    KDL::ChainDynParam model(chain, KDL::Vector(at.gravity[0], at.gravity[1], at.gravity[2]));
    KDL::JntArray q = radians(at.q), qd = radians(at.qd), qdd = radians(at.qdd), gravity(6), coriolis(6);
    KDL::JntSpaceInertiaMatrix mass(6);
    model.JntToGravity(q, gravity);
    model.JntToCoriolis(q, qd, coriolis);
    model.JntToMass(q, mass);
    for (unsigned i = 0; i < 6; i++) mass(i, i) += kKgMm2 * set.inparaIj[i];
    Dynamics result;
    result.mass = mass.data;
    result.coriolisTorque = coriolis.data;
    result.gravity = gravity.data;
    result.torque = mass.data * qdd.data + coriolis.data + gravity.data;
    result.largest = result.torque.cwiseAbs().maxCoeff();
    return result;
}

double potentialEnergy(const tarn::ParameterSet& set, const ArmState& at) {
    const KDL::Chain chain = chainOf(set, at.load);
    KDL::ChainFkSolverPos_recursive forward(chain);
    const KDL::Vector gravity(at.gravity[0], at.gravity[1], at.gravity[2]);
    double energy = 0;
    for (unsigned i = 0; i < 6; i++) {
        KDL::Frame frame;
        forward.JntToCart(radians(at.q), frame, static_cast<int>(i) + 1);
        const KDL::RigidBodyInertia link = chain.getSegment(i).getInertia();
        energy -= link.getMass() * KDL::dot(gravity, frame * link.getCOG());
    }
    return energy;
}

}  // namespace ref
