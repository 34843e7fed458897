#include <cmath>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <kdl/frames_io.hpp>

#include "tarnhost/defaults.h"
#include "tarnhost/kinematics.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

using namespace tarn::host;

namespace {

constexpr double kDegree = M_PI / 180;

struct Row {
    double a, alpha, d, offset;  // mm, degrees
};
struct Arm {
    int type;
    Row rows[6];
};

// clang-format off
const Arm kArms[] = {
    {101, {{0, 90, 152, 0}, {-425, 0, 0, 0}, {-395, 0, 0, 0}, {0, 90, 102, 0}, {0, -90, 102, 0}, {0, 0, 100, 0}}},
    {401, {{0, 90, 215, 0}, {-1000, 0, 0, 0}, {-716, 0, 0, 0}, {0, 90, 166, 0}, {0, -90, 138, 0}, {0, 0, 120, 0}}},
    // joints 1, 2, 4, 6 of this version have their zero turned
    {  3, {{0, 90, 140, -180}, {-280, 0, 0, -180}, {-240, 0, 0, 0}, {0, 90, 102, -180}, {0, -90, 102, 0}, {0, 0, 100, -180}}},
    // forearm along joint 4
    {701, {{0, 90, 140, 0}, {-420, 0, 0, 0}, {0, 90, 12, -90}, {0, -90, 360, -90}, {0, -90, 102, 90}, {0, 0, 100, 0}}},
};
// clang-format on

KDL::Frame flangeByKdl(const Arm& arm, const double q[6]) {
    KDL::Frame flange;
    for (int i = 0; i < 6; i++) {
        const Row& row = arm.rows[i];
        flange = flange * KDL::Frame::DH(row.a, row.alpha * kDegree, row.d, (q[i] + row.offset) * kDegree);
    }
    return flange;
}

KDL::Vector kdl(const VECT& v) { return {v.x, v.y, v.z}; }
KDL::Frame kdl(const TRSF& t) { return {KDL::Rotation(kdl(t.n), kdl(t.o), kdl(t.a)), kdl(t.p)}; }
KDL::Frame kdl(const ROBCARTPOS& p) {
    return {KDL::Rotation::RPY(p.a * kDegree, p.b * kDegree, p.c * kDegree), KDL::Vector(p.x, p.y, p.z)};
}

void expectSame(const auto& pose, const KDL::Frame& expected, double mm, double radians) {
    const KDL::Frame f = kdl(pose);
    EXPECT_TRUE(KDL::Equal(f.M, expected.M, radians)) << f.M << expected.M;
    EXPECT_TRUE(KDL::Equal(f.p, expected.p, mm)) << f.p << expected.p;
}

void startWithTool(int type) {
    setDefaults(type);
    rpyToTrsf(&mpb.TOOL, 30.0, -20.0, 10.0);
    mpb.TOOL.p = {10, -20, 150};
}

JNTS joints(std::mt19937& engine) {
    std::uniform_real_distribution<double> angle(-170.0, 170.0);
    JNTS q = {};
    for (double& v : q.v) v = angle(engine);
    return q;
}

}  // namespace

TEST(Kinematics, ForwardEqualsKdlForEveryShape) {
    std::mt19937 engine(11);
    for (const Arm& arm : kArms) {
        SCOPED_TRACE(arm.type);
        startWithTool(arm.type);
        const KDL::Frame tool = kdl(mpb.TOOL);
        for (int n = 0; n < 20; n++) {
            JNTS q = joints(engine);
            const KDL::Frame flange = flangeByKdl(arm, q.v);
            TRSF t;
            ROBCARTPOS cart;
            ASSERT_EQ(newFwdKinematics(&q, &t), 0);
            expectSame(t, flange, 1e-9, 1e-12);
            ASSERT_EQ(jointTrsfToEndCartTCF_RT(0, q.v, &cart), 0);
            expectSame(cart, flange, 2e-4, 5e-7);  // single precision
            ASSERT_EQ(jointTrsfToToolCartTCF_RT(1, q.v, &cart), 0);
            expectSame(cart, flange * tool, 2e-4, 5e-7);
            mpb.j6 = q;
            ROBPOS robot;
            EXAXISPOS axes;
            ASSERT_EQ(tmcGetRobotPos(&robot, &axes), 0);
            EXPECT_NEAR(robot.a3, (flange * tool).p.z(), 1e-9);
            EXPECT_EQ(robot.j4, q.v[3]);
        }
    }
}

TEST(Kinematics, InverseFindsTheToolPoseNearTheJoints) {
    std::mt19937 engine(12);
    std::uniform_real_distribution<double> away(-5.0, 5.0);
    for (const Arm& arm : kArms) {
        startWithTool(arm.type);
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
            expectSame(reached, kdl(target), 2e-4, 2e-5);
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
    EXPECT_EQ(found.j2, -90.0);

    // poses of singular joints: wrist aligned, elbow stretched
    const double singular[][6] = {{20, -70, 80, -100, 0, 30}, {20, -70, 0, -40, -80, 30}};
    for (const double(&q)[6] : singular) {
        TRSF flange;
        flangePose(101, q, &flange);
        double solved[6] = {1, 2, 3, 4, 5, 6};
        EXPECT_EQ(inverseFlangePose(101, flange, q, solved), -2);
        EXPECT_EQ(solved[3], 4.0);
    }
}

TEST(Kinematics, InverseComesBackToTheJointsOfAnyPose) {
    for (const int type : {1, 3, 101, 201, 401, 701}) {
        std::mt19937_64 engine(13);
        std::uniform_real_distribution<double> angle(-180.0, 180.0);
        const int poses = type == 701 ? 20000 : 100000;  // the offset shape is searched
        int other = 0;
        double worst = 0.0;
        for (int n = 0; n < poses; n++) {
            double q[6], back[6];
            for (double& v : q) v = angle(engine);
            TRSF flange, again;
            flangePose(type, q, &flange);
            ASSERT_EQ(inverseFlangePose(type, flange, q, back), 0) << type << ", case " << n;
            flangePose(type, back, &again);
            const KDL::Frame a = kdl(flange), b = kdl(again);
            worst = std::max({worst, (a.p - b.p).Norm() / 1000.0, KDL::diff(a.M, b.M).Norm()});
            for (int i = 0; i < 6; i++)
                if (!(std::fabs(back[i] - q[i]) < 1e-5)) {
                    other++;
                    break;
                }
        }
        EXPECT_LT(worst, 1e-9) << type;
        // two branches that all but touch, on the searched shape
        EXPECT_LE(other, type == 701 ? 20 : 0) << type;
    }
}

TEST(Kinematics, WithoutGeometryTheFlangeIsInTheBase) {
    startWithTool(750);
    JNTS q = {{10, 20, 30, 40, 50, 60}, {}, 6};
    TRSF t;
    ROBCARTPOS end, tool;
    ROBPOS robot, found;
    EXAXISPOS axes;
    EXPECT_EQ(newFwdKinematics(&q, &t), -1);
    EXPECT_EQ(jointTrsfToEndCartTCF_RT(0, q.v, &end), -1);
    EXPECT_EQ(jointTrsfToToolCartTCF_RT(0, q.v, &tool), -1);
    EXPECT_EQ(tmcGetRobotPos(&robot, &axes), -1);
    EXPECT_EQ(tmcGetInverseKinematicNoLine(0, tool, &found), -1);
    expectSame(t, KDL::Frame(), 1e-15, 1e-15);
    expectSame(end, KDL::Frame(), 1e-15, 1e-15);
    expectSame(tool, kdl(mpb.TOOL), 2e-4, 5e-7);
    EXPECT_EQ(robot.a3, 150.0);
    EXPECT_EQ(found.j1, 0.0);
}

TEST(Kinematics, FramesOfWorkpieceAndExternalAxisUndoThemselves) {
    TRSF frame;
    ASSERT_EQ(baseTrsfToWorkPiece(0, kIdentityPose, &frame), 0);  // also before any defaults
    expectSame(frame, KDL::Frame(), 1e-15, 1e-15);
    EXPECT_EQ(baseTrsfToWorkPiece(kWorkPieces, frame, &frame), -1);
    rpyToTrsf(&frame, 90.0, 0.0, 0.0);  // x of the frame along y of the base
    frame.p = {100, 200, 300};
    workPieceInBase[3] = frame;
    TRSF inBase = frame, inWorkPiece, onAxis;
    inBase.p = {100, 250, 310};
    ASSERT_EQ(baseTrsfToWorkPiece(3, inBase, &inWorkPiece), 0);
    ASSERT_EQ(toolInBaseTrsfToToolInExAxis_RealTime(inBase, {}, frame, &onAxis), 0);
    for (const TRSF& t : {inWorkPiece, onAxis})
        expectSame(t, KDL::Frame(KDL::Vector(50, 0, 10)), 1e-12, 1e-15);
}
