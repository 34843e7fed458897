// The inverse dynamics blocks, the same results from KDL, and the torque by a plain recursion of our own.
#include <Eigen/Geometry>
#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <kdl/chaindynparam.hpp>
#include <kdl/chainidsolver_recursive_newton_euler.hpp>
#include <memory>
#include <random>

#include "dynamics/regressor.h"
#include "model/arm_shape.h"
#include "tmcHNzvCdynamicblock.h"
#include "tmcforceblock.h"
#include "tmczvPQdynamicblock.h"
#include "tmczvdynamicblock.h"
#include "tmczvoutputmcg.h"
#include "workloads.h"
#include "zvmcidentifydynamicblock.h"

namespace tarn::bench {
namespace {

constexpr double kRadPerDeg = 3.141592653589793 / 180.0;

struct Motion {
    double q[6], qd[6], qdd[6];  // degrees, by s and s^2
    float qSingle[6], qdSingle[6], qddSingle[6];
    KDL::JntArray kdlQ{6}, kdlQd{6}, kdlQdd{6};
};
std::vector<Motion> motions;
constexpr double kLoad[10] = {2.0, 10.0, -20.0, 60.0, 900.0, 10.0, -20.0, 1100.0, 30.0, 1200.0};
constexpr double kGravity[3] = {1.2, -0.4, -9.7};

// An arm's set in both precisions.
struct Arm {
    ParameterSet set;
    float lengths[6], masses[6], centers[18], inertias[36], rotors[6], load[10], gravity[3];
};
Arm arm;

template <typename From, typename To>
void toSingle(const From& from, To& to) {
    std::transform(std::begin(from), std::end(from), std::begin(to),
                   [](double x) { return static_cast<float>(x); });
}

void prepareBlock(int robotType) {
    arm.set = *dynamicsSet(robotType);
    toSingle(arm.set.paramSDH, arm.lengths);
    toSingle(arm.set.inparaM, arm.masses);
    toSingle(arm.set.inparaC, arm.centers);
    toSingle(arm.set.inparaI, arm.inertias);
    toSingle(arm.set.inparaIj, arm.rotors);
    toSingle(kLoad, arm.load);
    toSingle(kGravity, arm.gravity);

    std::mt19937_64 random(20240715);
    std::uniform_real_distribution<double> angle(-180.0, 180.0), accel(-500.0, 500.0);
    motions.assign(kStates, {});
    for (Motion& m : motions) {
        for (unsigned i = 0; i < 6; i++) {
            m.q[i] = angle(random);
            m.qd[i] = angle(random);
            m.qdd[i] = accel(random);
            m.kdlQ(i) = m.q[i] * kRadPerDeg;
            m.kdlQd(i) = m.qd[i] * kRadPerDeg;
            m.kdlQdd(i) = m.qdd[i] * kRadPerDeg;
        }
        toSingle(m.q, m.qSingle);
        toSingle(m.qd, m.qdSingle);
        toSingle(m.qdd, m.qddSingle);
    }
}

const Motion& motion(int state) { return motions[static_cast<size_t>(state)]; }

// ---- KDL, the load as part of link 6; its recursion knows no rotors

struct KdlArm {
    KDL::Chain chain;
    std::unique_ptr<KDL::ChainDynParam> terms;
    std::unique_ptr<KDL::ChainIdSolver_RNE> recursion;
    KDL::JntSpaceInertiaMatrix mass{6};
    KDL::JntArray coriolis{6}, gravity{6}, torque{6};
    KDL::Wrenches none{6};
};
std::unique_ptr<KdlArm> kdl;

KDL::RigidBodyInertia kdlBody(double mass, const double* center, const double* tensor) {
    const KDL::RotationalInertia about(tensor[0], tensor[3], tensor[5], tensor[1], tensor[2], tensor[4]);
    return KDL::RigidBodyInertia(mass, 0.001 * KDL::Vector(center[0], center[1], center[2]), 1e-6 * about);
}

void prepareKdl(int robotType) {
    prepareBlock(robotType);
    kdl = std::make_unique<KdlArm>();
    const std::array<DhLink, 6> links = dhLinks(arm.set);
    for (size_t i = 0; i < 6; i++) {
        KDL::RigidBodyInertia body =
            kdlBody(arm.set.inparaM[i], arm.set.inparaC + 3 * i, arm.set.inparaI + 6 * i);
        if (i == 5) body = body + kdlBody(kLoad[0], kLoad + 1, kLoad + 4);
        const KDL::Frame tip = KDL::Frame::DH(0.001 * links[i].a, links[i].alphaDeg * kRadPerDeg,
                                              0.001 * links[i].d, links[i].thetaOffsetDeg * kRadPerDeg);
        kdl->chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ), tip, body));
    }
    const KDL::Vector gravity(kGravity[0], kGravity[1], kGravity[2]);
    kdl->terms = std::make_unique<KDL::ChainDynParam>(kdl->chain, gravity);
    kdl->recursion = std::make_unique<KDL::ChainIdSolver_RNE>(kdl->chain, gravity);
}

void torqueKdl(int state) {
    const Motion& m = motion(state);
    kdl->recursion->CartToJnt(m.kdlQ, m.kdlQd, m.kdlQdd, kdl->none, kdl->torque);
}

void dynamicsKdl(int state) {
    const Motion& m = motion(state);
    kdl->terms->JntToMass(m.kdlQ, kdl->mass);
    kdl->terms->JntToCoriolis(m.kdlQ, m.kdlQd, kdl->coriolis);
    kdl->terms->JntToGravity(m.kdlQ, kdl->gravity);
    torqueKdl(state);
}

// ---- Newton's and Euler's laws as a textbook has them: rotation matrices, links about their centers

using Vector3 = Eigen::Vector3d;
using Matrix3 = Eigen::Matrix3d;

struct PlainLink {
    Matrix3 twist, tensor;
    Vector3 lever, center;  // m, lever from hinge to frame in the frame
    double mass, rotor, offset;
};
PlainLink plain[6];

Matrix3 tensorOf(const double* t) {
    Matrix3 tensor;
    tensor << t[0], t[1], t[2], t[1], t[3], t[4], t[2], t[4], t[5];
    return 1e-6 * tensor;
}

void preparePlain(int robotType) {
    prepareBlock(robotType);
    const std::array<DhLink, 6> links = dhLinks(arm.set);
    for (size_t i = 0; i < 6; i++) {
        PlainLink& link = plain[i];
        link.twist = Eigen::AngleAxisd(links[i].alphaDeg * kRadPerDeg, Vector3::UnitX());
        link.lever = link.twist.transpose() * Vector3(0.001 * links[i].a, 0.0, 0.001 * links[i].d);
        link.center = 0.001 * Eigen::Map<const Vector3>(arm.set.inparaC + 3 * i);
        link.tensor = tensorOf(arm.set.inparaI + 6 * i);
        link.mass = arm.set.inparaM[i];
        link.rotor = 1e-6 * arm.set.inparaIj[i];
        link.offset = links[i].thetaOffsetDeg;
    }
    const auto about = [](double mass, const Vector3& r) -> Matrix3 {
        return mass * (r.squaredNorm() * Matrix3::Identity() - r * r.transpose());
    };
    PlainLink& last = plain[5];
    const Vector3 loadCenter = 0.001 * Eigen::Map<const Vector3>(kLoad + 1);
    const Vector3 center = (last.mass * last.center + kLoad[0] * loadCenter) / (last.mass + kLoad[0]);
    last.tensor +=
        about(last.mass, last.center - center) + tensorOf(kLoad + 4) + about(kLoad[0], loadCenter - center);
    last.center = center;
    last.mass += kLoad[0];
}

double plainTorque[6];

void torquePlain(int state) {
    const Motion& m = motion(state);
    Matrix3 turn[6];  // of frame k in frame k-1
    Vector3 axis[6], force[6], moment[6];
    Vector3 w = Vector3::Zero(), dw = w, a = -Eigen::Map<const Vector3>(kGravity);
    for (int k = 0; k < 6; k++) {
        const PlainLink& link = plain[k];
        const double angle = (m.q[k] + link.offset) * kRadPerDeg;
        const double qd = m.qd[k] * kRadPerDeg, qdd = m.qdd[k] * kRadPerDeg;
        const double c = std::cos(angle), s = std::sin(angle);
        Matrix3 about;
        about << c, -s, 0, s, c, 0, 0, 0, 1;
        turn[k] = about * link.twist;
        axis[k] = turn[k].row(2);
        dw = turn[k].transpose() * dw + qdd * axis[k];
        w = turn[k].transpose() * w;
        dw += w.cross(qd * axis[k]);
        w += qd * axis[k];
        a = turn[k].transpose() * a + dw.cross(link.lever) + w.cross(w.cross(link.lever));
        force[k] = link.mass * (a + dw.cross(link.center) + w.cross(w.cross(link.center)));
        moment[k] = link.tensor * dw + w.cross(link.tensor * w);
    }
    Vector3 f = Vector3::Zero(), n = f;  // on frame k from beyond
    for (int k = 5; k >= 0; k--) {
        const PlainLink& link = plain[k];
        n += moment[k] + link.center.cross(force[k]);
        f += force[k];
        n += link.lever.cross(f);
        plainTorque[k] = n.dot(axis[k]) + link.rotor * m.qdd[k] * kRadPerDeg;
        n = turn[k] * n;
        f = turn[k] * f;
    }
}

// ---- ours

float torqueSingle[6], gravitySingle[6], massSingle[36], coriolisSingle[36];
double torque[6], mass[36], coriolis[36], gravity[6];

void blockSingle(int state) {
    const Motion& m = motion(state);
    tmczvdynamicblock(arm.lengths, m.qSingle, m.qdSingle, m.qddSingle, arm.load, arm.masses, arm.centers,
                      arm.inertias, arm.rotors, arm.gravity, torqueSingle, gravitySingle, massSingle,
                      coriolisSingle);
}

void blockOffset(int state) {
    const Motion& m = motion(state);
    tmczvPQdynamicblock(arm.set.paramSDH, m.q, m.qd, m.qdd, kLoad, arm.set.inparaM, arm.set.inparaC,
                        arm.set.inparaI, arm.set.inparaIj, kGravity, torque);
}

void blockBuiltIn(int state) {
    const Motion& m = motion(state);
    tmcHNzvCdynamicblock(arm.set.paramSDH, m.q, m.qd, m.qdd, kLoad, arm.set.inparaIj, kGravity, torque);
}

void separateTerms(int state) {
    const Motion& m = motion(state);
    output_MCG(arm.set.paramSDH, m.q, m.qd, m.qdd, arm.set.inparaM, arm.set.inparaC, arm.set.inparaI,
               arm.set.inparaIj, kLoad, kGravity, mass, coriolis, gravity);
}

// ---- the forward regressor against its matrix times the parameters, and a sample of the identification

struct MountedMotion {
    double q[9], qd[9], qdd[9];  // radians, by s and s^2
};
std::vector<MountedMotion> mountedMotions;
double regressorRows[3][27];

void prepareRegressor(int) {
    std::mt19937_64 random(20240716);
    std::uniform_real_distribution<double> part(-1.0, 1.0);
    for (double& x : gtau) x = part(random);
    mountedMotions.assign(kStates, {});
    for (MountedMotion& m : mountedMotions) {
        for (int i = 1; i < 9; i++) m.q[i] = 3.0 * part(random);
        for (int i = 3; i < 9; i++) {
            m.qd[i] = 3.0 * part(random);
            m.qdd[i] = 10.0 * part(random);
        }
    }
}

MountedMotion& mountedMotion(int state) { return mountedMotions[static_cast<size_t>(state)]; }

void regressorForward(int state) {
    MountedMotion& m = mountedMotion(state);
    double* rows[6];
    for (int i = 0; i < 6; i++) rows[i] = torque + i;
    computeZvB_selftautest(m.q, m.qd, m.qdd, {0, 5, 0, 0, torque, rows});
}

void regressorMatrix(int state) {
    const MountedMotion& m = mountedMotion(state);
    double H[6][54];
    regressor(kMountedB, m.q, m.qd, m.qdd, H);
    for (int i = 0; i < 6; i++) {
        torque[i] = 0.0;
        for (int j = 0; j < 54; j++) torque[i] += H[i][j] * gtau[j];
    }
}

void regressorIdentified(int state) {
    MountedMotion& m = mountedMotion(state);
    double* rows[3] = {regressorRows[0], regressorRows[1], regressorRows[2]};
    solve_Hb5(m.q + 3, m.qd + 3, m.qdd + 3, {0, 2, 0, 26, regressorRows[0], rows});
}

void prepareIdentification(int robotType) {
    prepareRegressor(robotType);
    zvmcdynstoreresert();
}

void identificationSample(int state) {
    MountedMotion& m = mountedMotion(state);
    zvmcloadidentifymain(m.qdd + 3, m.q + 3, 1e9);
}

}  // namespace

std::vector<Workload> dynamicsWorkloads() {
    return {
        {"kdl/dynamics/103", "", 103, prepareKdl, dynamicsKdl},
        {"tmczvdynamicblock/103", "kdl/dynamics/103", 103, prepareBlock, blockSingle},
        {"output_MCG/103", "kdl/dynamics/103", 103, prepareBlock, separateTerms},
        {"kdl/torque/701", "", 701, prepareKdl, torqueKdl},
        {"plain/torque/701", "kdl/torque/701", 701, preparePlain, torquePlain},
        {"tmczvPQdynamicblock/701", "kdl/torque/701", 701, prepareBlock, blockOffset},
        {"kdl/torque/902", "", 902, prepareKdl, torqueKdl},
        {"plain/torque/902", "kdl/torque/902", 902, preparePlain, torquePlain},
        {"tmcHNzvCdynamicblock/902", "kdl/torque/902", 902, prepareBlock, blockBuiltIn},
        {"regressorMatrix/103", "", 103, prepareRegressor, regressorMatrix},
        {"computeZvB_selftautest/103", "regressorMatrix/103", 103, prepareRegressor, regressorForward},
        {"solve_Hb5", "", 103, prepareRegressor, regressorIdentified},
        {"zvmcloadidentifymain", "", 103, prepareIdentification, identificationSample},
    };
}

double torqueDisagreement(int robotType) {
    prepareKdl(robotType);
    preparePlain(robotType);
    double worst = 0.0;
    for (int state = 0; state < kStates; state++) {
        torqueKdl(state);
        torquePlain(state);
        if (robotType == 103) {
            blockSingle(state);
            std::copy_n(torqueSingle, 6, torque);
        } else {
            (robotType == 701 ? blockOffset : blockBuiltIn)(state);
        }
        double largest = 0.0, difference = 0.0;
        for (unsigned i = 0; i < 6; i++) {
            const double rotor = 1e-6 * arm.set.inparaIj[i] * motion(state).kdlQdd(i);  // KDL has none
            const double want = kdl->torque(i) + rotor;
            largest = std::max(largest, std::fabs(want));
            for (const double got : {torque[i], plainTorque[i]})
                if (!(std::fabs(got - want) <= difference)) difference = std::fabs(got - want);
        }
        if (!(difference / largest <= worst)) worst = difference / largest;  // a NaN is kept too
    }
    return worst;
}

}  // namespace tarn::bench
