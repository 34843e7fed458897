#include <array>
#include <cmath>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <kdl/chainfksolverpos_recursive.hpp>

#include "tarnhost/defaults.h"
#include "tarnhost/kinematics.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

using namespace tarn::host;

namespace {

struct Row {
    double a, alpha, d, offset;  // mm, degrees
};
struct Arm {
    int type;
    std::array<Row, 6> rows;
};

// clang-format off
const Arm kArms[] = {
    {101, {{{0, 90, 152, 0}, {-425, 0, 0, 0}, {-395, 0, 0, 0}, {0, 90, 102, 0}, {0, -90, 102, 0}, {0, 0, 100, 0}}}},
    {401, {{{0, 90, 215, 0}, {-1000, 0, 0, 0}, {-716, 0, 0, 0}, {0, 90, 166, 0}, {0, -90, 138, 0}, {0, 0, 120, 0}}}},
    // joints 1, 2, 4, 6 of this version have their zero turned
    {  3, {{{0, 90, 140, -180}, {-280, 0, 0, -180}, {-240, 0, 0, 0}, {0, 90, 102, -180}, {0, -90, 102, 0}, {0, 0, 100, -180}}}},
    // forearm along joint 4
    {701, {{{0, 90, 140, 0}, {-420, 0, 0, 0}, {0, 90, 12, -90}, {0, -90, 360, -90}, {0, -90, 102, 90}, {0, 0, 100, 0}}}},
};
// clang-format on

KDL::Frame flangeByKdl(const Arm& arm, const double q[6]) {
    KDL::Chain chain;
    KDL::JntArray joints(6);
    for (unsigned i = 0; i < 6; i++) {
        const Row& row = arm.rows[i];
        chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ),
                                      KDL::Frame::DH(row.a, row.alpha * M_PI / 180, row.d, 0)));
        joints(i) = (q[i] + row.offset) * M_PI / 180;
    }
    KDL::Frame flange;
    KDL::ChainFkSolverPos_recursive(chain).JntToCart(joints, flange);
    return flange;
}

void expectSame(const TRSF& t, const KDL::Frame& f, double mm, double radians) {
    const VECT columns[3] = {t.n, t.o, t.a};
    for (int j = 0; j < 3; j++) {
        EXPECT_NEAR(columns[j].x, f.M(0, j), radians);
        EXPECT_NEAR(columns[j].y, f.M(1, j), radians);
        EXPECT_NEAR(columns[j].z, f.M(2, j), radians);
    }
    EXPECT_NEAR(t.p.x, f.p.x(), mm);
    EXPECT_NEAR(t.p.y, f.p.y(), mm);
    EXPECT_NEAR(t.p.z, f.p.z(), mm);
}

JNTS joints(std::mt19937& engine) {
    std::uniform_real_distribution<double> angle(-170.0, 170.0);
    JNTS q = {};
    for (double& v : q.v) v = angle(engine);
    return q;
}

TRSF pose(const ROBCARTPOS& p) {
    TRSF t;
    rpyToTrsf(&t, double(p.c), double(p.b), double(p.a));
    t.p = {double(p.x), double(p.y), double(p.z)};
    return t;
}

}  // namespace

TEST(Kinematics, ForwardEqualsKdlForEveryShape) {
    std::mt19937 engine(11);
    for (const Arm& arm : kArms) {
        SCOPED_TRACE(arm.type);
        setDefaults(arm.type);
        rpyToTrsf(&mpb.TOOL, 30.0, -20.0, 10.0);
        mpb.TOOL.p = {10, -20, 150};
        const KDL::Frame tool(KDL::Rotation::RPY(M_PI / 18, -M_PI / 9, M_PI / 6), KDL::Vector(10, -20, 150));
        for (int n = 0; n < 20; n++) {
            JNTS q = joints(engine);
            const KDL::Frame flange = flangeByKdl(arm, q.v);
            TRSF t;
            ASSERT_EQ(newFwdKinematics(&q, &t), 0);
            expectSame(t, flange, 1e-9, 1e-12);

            ROBCARTPOS cart;
            ASSERT_EQ(jointTrsfToEndCartTCF_RT(0, q.v, &cart), 0);
            expectSame(pose(cart), flange, 2e-4, 5e-7);  // single precision
            ASSERT_EQ(jointTrsfToToolCartTCF_RT(1, q.v, &cart), 0);
            expectSame(pose(cart), flange * tool, 2e-4, 5e-7);
            mpb.j6 = q;
            ROBPOS robot;
            EXAXISPOS axes;
            ASSERT_EQ(tmcGetRobotPos(&robot, &axes), 0);
            EXPECT_NEAR(robot.a3, (flange * tool).p.z(), 1e-9);
            EXPECT_EQ(robot.j4, q.v[3]);
        }
    }
}

TEST(Kinematics, InverseFindsTheToolPoseOnTheBranchOfThePresentJoints) {
    std::mt19937 engine(12);
    std::uniform_real_distribution<double> away(-5.0, 5.0);
    for (const Arm& arm : kArms) {
        setDefaults(arm.type);
        rpyToTrsf(&mpb.TOOL, 30.0, -20.0, 10.0);
        mpb.TOOL.p = {10, -20, 150};
        for (int n = 0; n < 200; n++) {
            SCOPED_TRACE(std::to_string(arm.type) + " " + std::to_string(n));
            mpb.jC = joints(engine);
            JNTS q = mpb.jC;
            for (double& v : q.v) v += away(engine);
            ROBCARTPOS target, reached;
            jointTrsfToToolCartTCF_RT(0, q.v, &target);
            ROBPOS found;
            ASSERT_EQ(tmcGetInverseKinematicNoLine(0, target, &found), 0);
            double solved[6] = {found.j1, found.j2, found.j3, found.j4, found.j5, found.j6};
            jointTrsfToToolCartTCF_RT(0, solved, &reached);
            EXPECT_NEAR(reached.x, target.x, 2e-4);
            EXPECT_NEAR(reached.z, target.z, 2e-4);
            EXPECT_NEAR(std::remainder(double(reached.c - target.c), 360.0), 0.0, 1e-3);
            EXPECT_NEAR(std::remainder(double(reached.a - target.a), 360.0), 0.0, 1e-3);
            for (int i = 0; i < 6; i++) EXPECT_LE(std::fabs(solved[i] - mpb.jC.v[i]), 180.0);
        }
    }
}

TEST(Kinematics, HopelessPosesAreRefused) {
    setDefaults(101);
    const double ready[6] = {0, -90, 90, -90, -90, 0};
    std::copy_n(ready, 6, mpb.jC.v);
    ROBPOS found = {};
    EXPECT_EQ(tmcGetInverseKinematicNoLine(0, {3000, 0, 500, 0, 0, 0, -1}, &found), -1);
    EXPECT_EQ(tmcGetInverseKinematicNoLine(0, {std::nanf(""), 0, 500, 0, 0, 0, -1}, &found), -1);
    std::fill_n(mpb.jC.v, 6, 0.0);  // stretched and wrist aligned
    EXPECT_EQ(tmcGetInverseKinematicNoLine(0, {3000, 0, 500, 0, 0, 0, -1}, &found), -2);
    EXPECT_EQ(found.j1, 0.0);

    setDefaults(750);  // no geometry is known
    TRSF t;
    EXPECT_EQ(newFwdKinematics(&mpb.jC, &t), -1);
    EXPECT_EQ(baseTrsfToWorkPiece(kWorkPieces, mpb.tC, &t), -1);
}

TEST(Kinematics, FramesOfWorkpieceAndExternalAxisUndoThemselves) {
    setDefaults(101);
    TRSF frame;
    rpyToTrsf(&frame, 90.0, 0.0, 0.0);  // x of the frame along y of the base
    frame.p = {100, 200, 300};
    workPieceInBase[3] = frame;
    TRSF inBase = frame, inWorkPiece, onAxis;
    inBase.p = {100, 250, 310};
    ASSERT_EQ(baseTrsfToWorkPiece(3, inBase, &inWorkPiece), 0);
    ASSERT_EQ(toolInBaseTrsfToToolInExAxis_RealTime(inBase, {}, frame, &onAxis), 0);
    for (const TRSF& t : {inWorkPiece, onAxis}) {
        EXPECT_NEAR(t.p.x, 50.0, 1e-12);
        EXPECT_NEAR(t.p.y, 0.0, 1e-12);
        EXPECT_NEAR(t.p.z, 10.0, 1e-12);
        EXPECT_NEAR(t.n.x, 1.0, 1e-15);
    }
}
