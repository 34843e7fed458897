// Exported arms, loaded by programs that were not written here, against the library's own dynamics: mass
// matrix, gravity torque and velocity terms.
#include <gtest/gtest.h>
#include <mujoco/mujoco.h>

#include <Eigen/Dense>
#include <fstream>
#include <memory>
#include <numbers>

#include "model/arm_shape.h"
#include "runs.h"
#include "sim/model_text.h"
#include "support/scratch_folder.h"
#include "tarnhost/kinematics.h"
#include "tmcHNzvCdynamicblock.h"
#include "tmczvPQdynamicblock.h"
#include "tmczvoutputmcg.h"
#ifdef TARN_TESTS_URDFDOM
#include <urdf_parser/urdf_parser.h>
#include <kdl/chaindynparam.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#endif

using namespace tarn;
using namespace tarn::sim;

namespace {

using Matrix6 = Eigen::Matrix<double, 6, 6>;
using Vector6 = Eigen::Matrix<double, 6, 1>;
using Eigen::Index;

constexpr double kRadian = std::numbers::pi / 180.0;
constexpr double kFloor[3] = {0.0, 0.0, -9.8};
constexpr double kNoLoad[10] = {};

// All families; both shapes; 3 has turned joint zeros, 3 and 701 to 900 a link that cannot be.
constexpr int kTypes[] = {1, 3, 50, 101, 202, 302, 401, 501, 701, 702, 703, 850, 901, 902, 903, 1001};

struct State {
    Joints q, qd;  // deg, deg/s
};

// Degrees as the models take them: without the turn of the joints' zeros.
Joints modelAngles(int type, const Joints& q) {
    Joints angles;
    for (std::size_t i = 0; i < 6; i++) angles[i] = q[i] - jointZeroOffsetDeg(type)[i];
    return angles;
}

// The torque of the library's block for the type.
Vector6 blockTorque(int type, const State& at, const Joints& acceleration, const double* gravity) {
    const ParameterSet& set = *dynamicsSet(type);
    const Joints q = modelAngles(type, at.q);
    Vector6 torque;
    if (type == 902) {
        tmcHNzvCdynamicblock(set.paramSDH, q.data(), at.qd.data(), acceleration.data(), kNoLoad, set.inparaIj,
                             gravity, torque.data());
    } else {
        tmczvPQdynamicblock(set.paramSDH, q.data(), at.qd.data(), acceleration.data(), kNoLoad, set.inparaM,
                            set.inparaC, set.inparaI, set.inparaIj, gravity, torque.data());
    }
    return torque;
}

struct Terms {
    Matrix6 mass;  // with the rotors
    Vector6 gravity, velocity;
};

Terms libraryTerms(int type, const State& at) {
    const ParameterSet& set = *dynamicsSet(type);
    Terms terms;
    if (set.shape == ArmShape::Standard && type != 902) {
        const Joints q = modelAngles(type, at.q);
        Matrix6 coriolis;
        output_MCG(set.paramSDH, q.data(), at.qd.data(), at.qd.data(), set.inparaM, set.inparaC, set.inparaI,
                   set.inparaIj, kNoLoad, kFloor, terms.mass.data(), coriolis.data(), terms.gravity.data());
        terms.velocity = coriolis * Eigen::Map<const Vector6>(at.qd.data()) * kRadian;
        return terms;
    }
    const State still = {at.q, {}};
    const double none[3] = {};
    terms.gravity = blockTorque(type, still, {}, kFloor);
    terms.velocity = blockTorque(type, at, {}, none);
    for (std::size_t i = 0; i < 6; i++) {
        Joints acceleration{};
        acceleration[i] = 1.0 / kRadian;
        terms.mass.col(Index(i)) = blockTorque(type, still, acceleration, none);
    }
    return terms;
}

Vector6 rotors(int type) { return Eigen::Map<const Vector6>(dynamicsSet(type)->inparaIj) * 1e-6; }

void expectSame(const Terms& got, const Terms& want, double tolerance) {
    EXPECT_LT((got.mass - want.mass).cwiseAbs().maxCoeff(), tolerance * want.mass.cwiseAbs().maxCoeff());
    EXPECT_LT((got.gravity - want.gravity).cwiseAbs().maxCoeff(),
              tolerance * want.gravity.cwiseAbs().maxCoeff());
    EXPECT_LT((got.velocity - want.velocity).cwiseAbs().maxCoeff(),
              tolerance * want.velocity.cwiseAbs().maxCoeff());
}

class EngineModel {
  public:
    EngineModel(const std::string& text, const char* name)
        : model_(nullptr, mj_deleteModel), data_(nullptr, mj_deleteData) {
        const fixture::ScratchFolder folder;
        const std::string file = folder.path / name;
        std::ofstream(file) << text;
        char reason[500] = "";
        model_.reset(mj_loadXML(file.c_str(), nullptr, reason, sizeof reason));
        if (model_ == nullptr) throw std::runtime_error(reason);
        data_.reset(mj_makeData(model_.get()));
        for (std::size_t k = 0; k < 3; k++) model_->opt.gravity[k] = kFloor[k];
    }

    Terms terms(const State& at) {
        for (std::size_t i = 0; i < 6; i++) {
            data_->qpos[i] = at.q[i] * kRadian;
            data_->qvel[i] = 0.0;
        }
        mj_forward(model_.get(), data_.get());
        Terms terms;
        mj_fullM(model_.get(), terms.mass.data(), data_->qM);
        terms.gravity = Eigen::Map<const Vector6>(data_->qfrc_bias);
        for (std::size_t i = 0; i < 6; i++) data_->qvel[i] = at.qd[i] * kRadian;
        mj_forward(model_.get(), data_.get());
        terms.velocity = Eigen::Map<const Vector6>(data_->qfrc_bias) - terms.gravity;
        return terms;
    }

    const mjModel& model() const { return *model_; }
    const mjData& data() const { return *data_; }

  private:
    std::unique_ptr<mjModel, void (*)(mjModel*)> model_;
    std::unique_ptr<mjData, void (*)(mjData*)> data_;
};

State drawState(Draw& draw) {
    State at = {draw.pose(), {}};
    for (double& speed : at.qd) speed = draw(-120.0, 120.0);
    return at;
}

// m, of the host's own kinematics.
Eigen::Vector3d flangeOf(int type, const Joints& q) {
    TRSF flange;
    EXPECT_TRUE(host::flangePose(type, q.data(), &flange));
    return Eigen::Vector3d(flange.p.x, flange.p.y, flange.p.z) * 1e-3;
}

}  // namespace

TEST(Export, MjcfMovesAsTheLibrarySays) {
    Draw draw;
    for (const int type : kTypes) {
        SCOPED_TRACE(type);
        const ExportedArm arm = exportedArm(type, FullDynamics);
        EngineModel engine(mjcfText(arm), "arm.xml");
        const mjModel& model = engine.model();
        ASSERT_EQ(model.nv, 6);
        ASSERT_EQ(model.nu, 6);
        EXPECT_EQ(model.opt.gravity[2], -9.8);
        for (int n = 0; n < 20; n++) {
            const State at = drawState(draw);
            expectSame(engine.terms(at), libraryTerms(type, at), 1e-10);
            const int flange = mj_name2id(&model, mjOBJ_SITE, "flange");
            ASSERT_GE(flange, 0);
            const Eigen::Vector3d place =
                Eigen::Map<const Eigen::Vector3d>(engine.data().site_xpos + 3 * flange);
            EXPECT_LT((place - flangeOf(type, at.q)).norm(), 1e-12);
        }
    }
}

// The format has no rotors.
TEST(Export, UrdfMovesAsTheLibrarySaysInTheEngine) {
    Draw draw;
    for (const int type : kTypes) {
        SCOPED_TRACE(type);
        EngineModel engine(urdfText(exportedArm(type, FullDynamics)), "arm.urdf");
        ASSERT_EQ(engine.model().nv, 6);
        for (int n = 0; n < 20; n++) {
            const State at = drawState(draw);
            Terms terms = engine.terms(at);
            terms.mass.diagonal() += rotors(type);
            expectSame(terms, libraryTerms(type, at), 1e-6);  // what the engine makes of tensors
        }
    }
}

#ifdef TARN_TESTS_URDFDOM
TEST(Export, UrdfMovesAsTheLibrarySaysInKdl) {
    Draw draw;
    for (const int type : kTypes) {
        SCOPED_TRACE(type);
        const ExportedArm arm = exportedArm(type, FullDynamics);
        const urdf::ModelInterfaceSharedPtr robot = urdf::parseURDF(urdfText(arm));
        ASSERT_NE(robot, nullptr);
        const auto frame = [](const urdf::Pose& pose) {
            const urdf::Rotation& r = pose.rotation;
            return KDL::Frame(KDL::Rotation::Quaternion(r.x, r.y, r.z, r.w),
                              KDL::Vector(pose.position.x, pose.position.y, pose.position.z));
        };
        KDL::Chain chain;
        std::size_t joints = 0;
        for (urdf::LinkConstSharedPtr link = robot->getRoot(); !link->child_links.empty();) {
            link = link->child_links.at(0);
            const urdf::Joint& joint = *link->parent_joint;
            const KDL::Frame place = frame(joint.parent_to_joint_origin_transform);
            KDL::RigidBodyInertia body;
            if (const urdf::Inertial* in = link->inertial.get()) {
                const KDL::Frame center = frame(in->origin);
                const KDL::RotationalInertia tensor(in->ixx, in->iyy, in->izz, in->ixy, in->ixz, in->iyz);
                body = center * KDL::RigidBodyInertia(in->mass, KDL::Vector::Zero(), tensor);
            }
            // in this library a segment has its joint at its root: placed first, turned, the link in its own
            // frame
            chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::None), place));
            const bool fixed = joint.type == urdf::Joint::FIXED;
            const KDL::Vector axis(joint.axis.x, joint.axis.y, joint.axis.z);
            chain.addSegment(KDL::Segment(fixed ? KDL::Joint(KDL::Joint::None)
                                                : KDL::Joint(KDL::Vector::Zero(), axis, KDL::Joint::RotAxis),
                                          KDL::Frame::Identity(), body));
            if (fixed) continue;
            ASSERT_EQ(joint.type, urdf::Joint::CONTINUOUS);
            ASSERT_LT(joints, arm.speed.size());
            EXPECT_NEAR(joint.limits->velocity, arm.speed[joints], 1e-5);
            EXPECT_NEAR(joint.limits->effort, arm.torque[joints++], 1e-3);
        }
        ASSERT_EQ(chain.getNrOfJoints(), 6u);
        KDL::ChainDynParam dynamics(chain, KDL::Vector(kFloor[0], kFloor[1], kFloor[2]));
        for (int n = 0; n < 20; n++) {
            const State at = drawState(draw);
            KDL::JntArray q(6), qd(6), gravity(6), coriolis(6);
            for (unsigned i = 0; i < 6; i++) {
                q(i) = at.q[i] * kRadian;
                qd(i) = at.qd[i] * kRadian;
            }
            KDL::JntSpaceInertiaMatrix mass(6);
            dynamics.JntToMass(q, mass);
            dynamics.JntToGravity(q, gravity);
            dynamics.JntToCoriolis(q, qd, coriolis);
            mass.data.diagonal() += rotors(type);
            expectSame({mass.data, gravity.data, coriolis.data}, libraryTerms(type, at), 1e-9);
            KDL::Frame flange;
            KDL::ChainFkSolverPos_recursive(chain).JntToCart(q, flange);
            const Eigen::Vector3d want = flangeOf(type, at.q);
            EXPECT_LT((flange.p - KDL::Vector(want[0], want[1], want[2])).Norm(), 1e-12);
        }
    }
}
#endif

// Only the sets with such a link are touched, only the two links at its joint, and the whole weighs the same.
TEST(Export, TouchesOnlyLinksThatCannotBe) {
    for (const int type : kTypes) {
        SCOPED_TRACE(type);
        const ExportedArm arm = exportedArm(type, FullDynamics);
        const ParameterSet& set = *dynamicsSet(type);
        const std::string name = set.name;
        ExportedArm asTold = arm;
        asTold.links = armLinks(set, {});
        if (arm.notes.empty())
            EXPECT_NO_THROW(EngineModel(mjcfText(asTold), "arm.xml"));
        else
            EXPECT_THROW(EngineModel(mjcfText(asTold), "arm.xml"), std::runtime_error);
        EXPECT_EQ(arm.notes.size(), name == "A3" || name == "PQ1" ? 1u : 0u);
        for (std::size_t i = 0; i < 6; i++) {
            EXPECT_NEAR(arm.links[i].mass, set.inparaM[i], 1e-12);
            const double* t = set.inparaI + 6 * i;
            const double change = (arm.links[i].tensor - symmetric(t, 1e-6)).cwiseAbs().maxCoeff();
            EXPECT_EQ(change > 2e-12, name == "A3" && i >= 4) << "link " << i + 1;
        }
    }
}

// A tensor that the link before cannot make up for is refused, and so are types without a set.
TEST(Export, RefusesWhatNoBodyCanBe) {
    ParameterSet set = kSetB;
    set.inparaI[35] *= 1000.0;
    ArmLinks links = armLinks(set, {});
    EXPECT_THROW(makePossible(links), ImpossibleArm);
    set = kSetB;
    set.inparaI[5] *= 3.0;  // nothing before link 1 turns
    links = armLinks(set, {});
    EXPECT_THROW(makePossible(links), ImpossibleArm);
    EXPECT_THROW(exportedArm(704, FullDynamics), std::invalid_argument);
    EXPECT_THROW(exportedArm(902, GravityOnly), std::invalid_argument);
}
