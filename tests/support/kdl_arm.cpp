#include <algorithm>
#include <cmath>
#include <kdl/chain.hpp>
#include <kdl/chaindynparam.hpp>

#include "support/reference.h"

namespace ref {

Torque holdingTorque(const Arm& arm, const EX_LOAD& load, const double gravity[3], const double q[6]) {
    const double mm = 0.001;
    const double right = M_PI / 2;
    const double alpha[6] = {right, 0, 0, right, -right, 0};
    const double a[6] = {0, -std::fabs(arm.sdh[1]), -std::fabs(arm.sdh[2]), 0, 0, 0};
    const double d[6] = {arm.sdh[0], 0, 0, arm.sdh[3], arm.sdh[4], arm.sdh[5]};

    KDL::Chain chain;
    KDL::JntArray position(6);
    for (unsigned i = 0; i < 6; i++) {
        const double* c = arm.center + 3 * i;
        KDL::RigidBodyInertia body(arm.mass[i], mm * KDL::Vector(c[0], c[1], c[2]));
        if (i == 5)
            body =
                body + KDL::RigidBodyInertia(load.mass, mm * KDL::Vector(load.cmc.x, load.cmc.y, load.cmc.z));
        chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ),
                                      KDL::Frame::DH(mm * a[i], alpha[i], mm * d[i], 0), body));
        position(i) = q[i] * M_PI / 180;
    }

    KDL::ChainDynParam model(chain, KDL::Vector(gravity[0], gravity[1], gravity[2]));
    KDL::JntArray torque(6);
    model.JntToGravity(position, torque);

    Torque result{};
    for (unsigned i = 0; i < 6; i++) {
        result.v[i] = torque(i);
        result.largest = std::max(result.largest, std::fabs(torque(i)));
    }
    return result;
}

}  // namespace ref
