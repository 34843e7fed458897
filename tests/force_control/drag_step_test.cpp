// One step of the drag, against the law written as plain difference equations, with poses by Eigen. The
// wall's damping and the constraint force are taken as they are: they have tests of their own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "force_control/drag_step.h"
#include "force_control/dragged_arm.h"

using namespace dragged;
using fixture::callText;

namespace {

constexpr double kDeg = std::numbers::pi / 180, kDt = 0.001;
constexpr double kFirstTap = 0.0022;  // of the force filter

int step(TRSF* goal) { return zvmcEndForceDragToCart(toolPose(), goal); }

// ---- the law

struct Section {  // fourth-order low-pass of the force
    double x[5] = {}, y[5] = {};
    double operator()(double in) {
        constexpr double a[] = {0, -2.6926, 2.8674, -1.4035, 0.2646},
                         b[] = {.0022, .0089, .0134, .0089, .0022};
        std::copy_backward(x, x + 4, x + 5), std::copy_backward(y, y + 4, y + 5);
        x[0] = in, y[0] = 0;
        for (int i = 4; i >= 0; i--) y[0] += b[i] * x[i] - a[i] * y[i];
        return y[0];
    }
};

double noise(double variance) { return std::sqrt(variance) * (2.0 * std::rand() / 32767 - 1); }

// Stiffness of the contact: xe' = -(fz + ke xe) / be, all in double.
struct Contact {
    Vector3 x{0.002, 500, 0};
    Matrix3 P = Vector3(0.01, 100, 10).asDiagonal();
    double operator()(double speed, double force) {
        const double be = 2e5, q[] = {0.002, 100, 10}, r[] = {0.002, 1};
        Vector3 w;
        for (int i = 0; i < 3; i++) std::rand(), std::rand(), w[i] = noise(q[i]);
        const double v[] = {noise(r[0]), noise(r[1])};
        const auto gradient = [&]() -> Eigen::RowVector3d {
            return Eigen::RowVector3d(-x[1], -x[0], -1) / be;
        };
        const auto measured = [&]() -> Eigen::Matrix<double, 2, 3> {
            return (Eigen::Matrix<double, 2, 3>() << gradient(), Eigen::RowVector3d(0, 0, 1)).finished();
        };
        Matrix3 A = Matrix3::Zero();
        A.row(0) = gradient();
        const Eigen::Matrix2d R = Eigen::Vector2d(r[0], r[1]).asDiagonal();
        const Matrix3 Q = Vector3(q[0] / be / be, q[1], q[2]).asDiagonal();
        auto H = measured();
        P += 0.001F * (A * P - P * H.transpose() * R.inverse() * H * P + Q + P * A.transpose()).eval();
        x += 0.001F * Vector3((-x[2] - x[1] * x[0] + w[0]) / be, w[1], w[2]);
        H = measured();
        const Eigen::Matrix<double, 3, 2> K = P * H.transpose() * (H * P * H.transpose() + R).inverse();
        x += K * Eigen::Vector2d(speed + (x[2] + x[1] * x[0]) / be - v[0], force - x[2] - v[1]);
        P = ((Matrix3::Identity() - K * H) * P).eval();
        const double stiffness = x[1];
        x[0] = std::clamp(x[0], -0.5, 0.5);
        if (x[1] < 0.5) x[1] = 0;
        return stiffness;
    }
};

struct Law {
    Section force[6];
    BUTTERWORTHFILTER way[6];
    Contact contact;
    double v[6] = {}, last[6] = {}, held[6] = {};
    int hold[6] = {1, 1, 1, 1, 1, 1};  // steps left of a held damping, none of it at first
    int peaks = 0;
    Matrix3 R = Matrix3::Identity();
    Vector3 p = Vector3::Zero();

    Law() {
        for (auto& f : way) zvmcButterWorthFiltInit(&f, 0);
    }

    void operator()(Wrench F) {
        F = F.cwiseMin(set.Fmax).cwiseMax(-set.Fmax);
        Wrench real = F, f;
        for (int k : {0, 3})
            if (F.segment<3>(k).norm() <= set.F[k]) real.segment<3>(k).setZero();
        for (int i = 0; i < 6; i++) f[i] = force[i](real[i]);
        const double ke = set.adaptive_sign == 1 ? contact(v[2], f[2]) : 0;

        Vector3 angles =
            Vector3(std::atan2(R(2, 1), R(2, 2)), -std::asin(R(2, 0)), std::atan2(R(1, 0), R(0, 0)));
        double x[6] = {p.x() / 1000, p.y() / 1000, p.z() / 1000, angles.x(), angles.y(), angles.z()};
        float next[6], wall[6] = {};
        for (int i = 0; i < 6; i++)
            next[i] = static_cast<float>(v[i] + kDt * (f[i] - set.B[i] * v[i] - set.K[i] * x[i]) / set.M[i]);
        if (set.interfere_drag_sign == 1) zvmcForceSensorVirtualWall(next, wall);

        double d[6];
        for (int i = 0; i < 6; i++) {
            double b = set.B[i];
            if (set.adaptive_sign == 1) {
                const double kd[] = {30, 30, 30, 5, 5, 2}, share[] = {1, 1, 1, 10, 10, 100};
                const double rise = 0.25 * std::fabs(F[i]) + 100 * kd[i] * std::fabs(f[i] - last[i]);
                b += rise + 2 * std::sqrt(set.M[i] * ke) / share[i];
                if (rise > (i < 3 ? 10000 : 50)) held[i] = b, hold[i] = 4, peaks++;
            }
            if (hold[i] > 0) b = held[i], hold[i]--;
            b += wall[i];
            last[i] = f[i];
            v[i] += kDt * (f[i] - b * v[i] - set.K[i] * x[i]) / set.M[i];
            const double fast = i < 3 ? 0.2 : 0.349, damped = std::min(1.0, (i < 3 ? 10000 : 50) / b);
            if (std::fabs(v[i]) > fast) v[i] = std::copysign(fast * damped * damped, v[i]);
            zvmcButterWorthFiltProcessData(&way[i], v[i] * kDt * (i < 3 ? 1000 : 1 / kDeg), &d[i], 0);
        }
        p += R * Vector3(d[0], d[1], d[2]);
        R = R * rpy(d[3], d[4], d[5]);
    }

    // The tool, moved by the offset in the axes of the force's frame: E, B, or T for all others.
    Eigen::Affine3d goal(int frame) const {
        const Eigen::Affine3d tool = affine(toolPose()),
                              offset = Eigen::Translation3d(p) * Eigen::Affine3d(R);
        Eigen::Affine3d axes = Eigen::Affine3d::Identity();
        if (frame < 2) axes = affine(mpb.TOOL);
        if (frame == 1) axes = affine(tarn::baseFrameSnapshot.t06Last).linear() * axes;
        return tool * axes.inverse() * offset * axes;
    }
};

class DragStep : public testing::TestWithParam<int> {};  // frame + 4 * (adaptive + 2 * wall)
INSTANTIATE_TEST_SUITE_P(All, DragStep, testing::Range(0, 16));

TEST_P(DragStep, FollowsTheLawFromItsFirstStepOn) {
    start();
    const int frame = GetParam() % 4;
    const auto copy = [](std::initializer_list<double> from, double* to) {
        std::copy(from.begin(), from.end(), to);
    };
    copy({5, 6, 7, 0.5, 0.6, 0.7}, set.M), copy({90, 80, 70, 9, 8, 7}, set.B);
    copy({100, 200, 0, 10, 0, 20}, set.K), copy({9, 0, 0, 0.4, 0, 0}, set.F);
    set.Fmax = 40;
    set.interfere_drag_sign = GetParam() / 8;
    mcb.forceControl.forceSensorRcs = static_cast<uint8_t>(frame);
    mpb.TOOL = pose(rpy(20, -30, 110), {30, -20, 90});
    tarn::baseFrameSnapshot.t06Last = pose(rpy(-40, 10, 70), {1, 2, 3});
    mcb.interfereCube.setFlag_cube = 1;
    mcb.interfereCube.min_cube = {toolPose().p.x + 60, -2e3, -2e3};
    mcb.interfereCube.max_cube = {2e3, 2e3, 2e3};
    Random random;
    Law law;
    Wrench push;
    for (int n = 0; n < 600; n++) {
        set.adaptive_sign = GetParam() / 4 % 2 == 1 && n >= 100;
        if (n % 60 == 0)
            push = random.wrench(n % 180 == 0 ? 1 : 60), push.tail<3>() /= n % 120 == 0 ? 20 : 80;
        mpb.forceRCS = record(push + random.wrench(0.2));
        TRSF goal;
        std::srand(static_cast<unsigned>(n));
        ASSERT_EQ(step(&goal), 0) << n;
        std::srand(static_cast<unsigned>(n));
        law(wrench(mpb.forceRCS));
        const Eigen::Affine3d want = law.goal(frame), got = affine(goal);
        ASSERT_LT((got.translation() - want.translation()).norm(), 1e-4) << n;
        ASSERT_LT((got.linear() - want.linear()).norm(), 1e-6) << n;
        for (int i = 0; i < 6; i++) ASSERT_NEAR(drag.motion.cur_vel[i], law.v[i], 1e-6) << n << " axis " << i;
    }
    EXPECT_GT(law.p.norm(), 0.3);
    EXPECT_EQ(law.peaks > 10, set.adaptive_sign == 1);
}

TEST(DragStepWall, WatchesNoJointZoneWhileItIsOff) {
    for (int on : {0, 1, 2}) {
        start();
        set.interfere_drag_sign = on;
        mcb.interfereDrag = 1;
        mcb.interfereJoint.setFlag_joint = mcb.interfereJoint.enable_joint[1] = 1;
        mcb.interfereJoint.min_joint[1] = -90, mcb.interfereJoint.max_joint[1] = -70;
        TRSF goal;
        EXPECT_EQ(step(&goal), 0);
        EXPECT_EQ(drag.jointInterFlag[1], on == 1);
        EXPECT_EQ(callText().find("tmcDragSwitch") != std::string::npos, on == 1);
    }
}

TEST(DragStepForce, IsLimitedByAxisAndThenDeadByItsLength) {
    const struct {
        double F[6], zone[6], Fmax;
        double force, moment;  // on x, before the filter
    } rows[] = {{{5, 0, 0, 2, 0, 0}, {5, 0, 0, 2, 0, 0}, 90, 0, 0},
                {{5.01, 0, 0, -2.01, 0, 0}, {5, 9, 9, 2, 9, 9}, 90, 5.01, -2.01},
                {{3, 3, -3, 1, 1, 1}, {5, 0, 0, 1.7, 0, 0}, 90, 3, 1},
                {{-8, 0, 0, 8, 0, 0}, {5, 0, 0, 5, 0, 0}, 6, -6, 6},
                {{8, 8, 8, 8, 0, 0}, {7, 0, 0, 0, 0, 0}, 4, 0, 4},
                {{fixture::kNan, 1, 1, 1, 0, 0}, {5, 0, 0, 5, 0, 0}, 90, fixture::kNan, 0}};
    for (const auto& row : rows) {
        start();
        set.Fmax = row.Fmax;
        std::copy_n(row.zone, 6, set.F);
        mpb.forceRCS = record(Wrench(row.F));
        TRSF goal;
        step(&goal);
        EXPECT_EQ(std::memcmp(drag.F0, row.F, sizeof row.F), 0) << "as sensed";
        EXPECT_TRUE(fixture::near(AdmittanceF[0], kFirstTap * row.force, 1e-15)) << &row - rows;
        EXPECT_TRUE(fixture::near(AdmittanceF[3], kFirstTap * row.moment, 1e-15)) << &row - rows;
    }
}

TEST(DragStepAdmittance, LimitsTheSpeedByTheSquareOfALargeDamping) {
    double M[6] = {5, 5, 5, 1, 1, 1}, b[6], K[6] = {}, F[6], x[6] = {}, way[6];
    // damping as a share of the large one, sign, share of the fastest
    const double rows[][3] = {{0.5, 1, 1}, {1, -1, 1}, {2, 1, 0.25}, {4, -1, 1.0 / 16}};
    for (const auto& [damping, sign, share] : rows) {
        double v[6] = {};
        for (int i = 0; i < 6; i++) {
            b[i] = damping * (i < 3 ? 10000 : 50);
            F[i] = sign * 1e5;
            EXPECT_EQ(zvmcAdmittanceControl(i, M, b, K, F, kDt, x, v, way), 0);
            EXPECT_NEAR(v[i], sign * share * (i < 3 ? 0.2 : 0.349), 1e-12) << damping << " axis " << i;
            EXPECT_NEAR(way[i], kDt * v[i], 1e-15);
        }
    }
    for (int beside : {-1, 6})
        EXPECT_EQ(zvmcAdmittanceControl(beside, M, b, K, F, kDt, x, nullptr, nullptr), 0);
}

TEST(DragStepSpeed, RefusesSingularPosesFastJointsAndNoWay) {
    start();
    const auto checked = [](int joint, double angle, TRSF commanded) {
        place(joint, angle);
        const TRSF tool = toolPose();
        mpb.tC = commanded;  // the shoulder's measure looks here alone
        return zvmcIsOverJntvel(tool);
    };
    const TRSF far = mpb.tC;
    const double rows[][4] = {
        {2, 5, 160, 5.1}, {2, -5, -160, -159.9}, {4, -5, -175, -5.1}, {4, 5, 175, 174.9}};
    for (const auto& [joint, low, high, inside] : rows) {
        EXPECT_EQ(checked(static_cast<int>(joint), low, far), -7) << joint << " " << low;
        EXPECT_EQ(checked(static_cast<int>(joint), high, far), -7) << joint << " " << high;
        EXPECT_EQ(checked(static_cast<int>(joint), inside, far), 0) << joint << " " << inside;
    }
    for (double over : {0.99e-3, 1.01e-3}) {
        const double radius = -1000 * std::sqrt(0.102 * 0.102 + over);
        EXPECT_EQ(checked(0, 20, pose(Matrix3::Identity(), {0, radius, 0})), over < 1e-3 ? -7 : 0);
    }
    place();
    EXPECT_EQ(zvmcIsOverJntvel(pose(Matrix3::Identity(), {5000, 0, 0})), -7);
    for (int i = 0; i < 6; i++) {  // the limit itself is refused, to the last bit
        JNTS moved = mpb.jC;
        moved.v[i] -= 0.2;
        TRSF tool;
        newFwdKinematics(&moved, &tool);
        ROBPOS joints;
        tmcGetInverseKinematicNoLine(0, tarn::plannerPose(tool), &joints);
        set.Vmax = 1000 * std::fabs(mpb.jC.v[i] - (&joints.j1)[i]);
        EXPECT_NEAR(set.Vmax, 200, 0.1);
        fixture::forgetCalls();
        EXPECT_EQ(zvmcIsOverJntvel(tool), -(i + 1));
        EXPECT_EQ(callText().find("Write_Log 2 dv[" + std::to_string(i) + "] = :"), 0U);
        set.Vmax = std::nextafter(set.Vmax, 1e9);
        EXPECT_EQ(zvmcIsOverJntvel(tool), 0) << i;
    }
}

TEST(DragStepRefusal, KeepsTheOffsetAndRestartsTheIncrementFilters) {
    start();
    const int& index = tarn::forceFilters.filt5.index;
    TRSF goal;
    mpb.forceRCS = {20, 0, 0, 0, 0, 0};
    for (int n = 0; n < 40; n++) ASSERT_EQ(step(&goal), 0);
    const TRSF tool = toolPose();
    const double before = drag.motion.cur_pos[0];
    const auto unmoved = [&] {
        return std::memcmp(&goal, &tool, sizeof goal) == 0 && drag.motion.Fflag == 0;
    };
    set.Vmax = 0;
    EXPECT_EQ(step(&goal), -1);
    EXPECT_TRUE(unmoved() && drag.motion.cur_pos[0] > before);
    EXPECT_EQ(index, 5) << "the sample of a refused step is written over";
    for (const auto& filter : tarn::forceFilters.EndForceDragfilter) EXPECT_EQ(filter.index, 0);
    set.Vmax = 1e9;
    EXPECT_EQ(step(&goal), 0);
    EXPECT_TRUE(index == 6 && drag.motion.Fflag == 1);
    const double kept = drag.motion.cur_pos[0];
    for (int flag : {2, 1}) {  // not requested; without a sensor
        set.flag = flag;
        mcb.forceControl.forceSensorAct = flag == 2;
        tarn::forceFilters.filt5.index = 2;
        EXPECT_EQ(step(&goal), 0);
        EXPECT_TRUE(unmoved() && index == 3 && drag.motion.cur_pos[0] == kept);
    }
}

// ---- singularities

constexpr const char* kMarker9 =
    "tmcDragSwitch 1; Write_Log 2 zvCtlTCPSpeedOver After to DragMode mcb.collisionPauseFlag = : 9; ";

TEST(DragStepSingularity, BrakesAndHandsOverOnceSlow) {
    const double rows[][3] = {// joint, angle, near; joint 0 stands for the shoulder
                              {2, 19.9, 1},  {2, -20, 0},  {2, -160.1, 1}, {2, 160, 0},
                              {4, -19.9, 1}, {4, 20, 0},   {4, 160.1, 1},  {4, -160, 0},
                              {3, 70.1, 1},  {3, 70, 0},   {3, -250.1, 1}, {3, -250, 0},
                              {5, 160.1, 1}, {5, -160, 0}, {5, -161, 1},   {0, 0, 1}};
    for (const auto& [joint, angle, near] : rows)
        for (int mode : {0, 1, 2})
            for (double speed : {-19.9, 20.0}) {
                start();
                set.singularityConstraintsFlag = 1;
                mpb.jC.v[static_cast<int>(joint)] = angle;  // the pose stays: far from the shoulder's axis
                if (joint == 0) mpb.tC = pose(Matrix3::Identity(), {120, 0, 400});
                drag.dragModelflag = static_cast<uint8_t>(mode);
                mpb.tcpvel = speed;
                TRSF goal;
                step(&goal);
                const bool over = (near == 1 || mode == 1) && speed != 20;
                const int then = near == 1 ? 1 : mode;
                EXPECT_EQ(drag.dragModelflag, over ? 2 : then) << joint << " " << angle;
                EXPECT_EQ(drag.weakB[0] == 5000 && drag.weakB[5] == 5000, near == 1 && !over);
                EXPECT_EQ(callText().find(kMarker9) != std::string::npos, over);
            }
}

// Rows over poses toward the elbow's and the wrist's singularities; what the constraint pushes decides.
TEST(DragStepSingularity, PushesAwayAndBrakesWhatMovesAgainst) {
    int seen[2][3] = {}, braked = 0, let = 0;
    for (int joint : {2, 4})
        for (double angle = 5.5; angle < 34; angle += 0.5)
            for (double sign : {1.0, -1.0})
                for (int mode : {0, 2}) {
                    start();
                    place(joint, sign * angle);
                    double Fv[6] = {};
                    zvmcConstraintsAdmittance(Fv, 0);
                    drag.dragModelflag = static_cast<uint8_t>(mode);
                    std::fill_n(drag.weakB, 6, 7.0);
                    std::fill_n(drag.motion.Bnum, 6, -1.0);  // past the first step
                    for (int i = 0; i < 6; i++) drag.motion.cur_vel[i] = i % 2 == 0 ? 0.01 : -0.01;
                    mpb.forceRCS = {50, -40, 30, 3, -2, 1};
                    const Wrench pushed = kFirstTap * wrench(mpb.forceRCS);
                    TRSF goal;
                    step(&goal);
                    const bool near = mode == 0 && angle < (joint == 2 ? 30 : 20);
                    for (int i = 0; i < 6; i++) {
                        const double* part = Fv + i / 3 * 3;
                        const double s = part[0] * part[0] + part[1] * part[1] + part[2] * part[2];
                        const int kind = !near || s == 0 ? 0 : s < (i < 3 ? 3 : 0.5) ? 1 : 2;
                        seen[i / 3][kind]++;
                        const double F = (kind > 0 ? Fv[i] : 0) + (kind < 2 ? pushed[i] : 0);
                        const double v = i % 2 == 0 ? 0.01 : -0.01;
                        double weak = near ? 7 : 0;
                        if (near && std::fabs(Fv[i]) > (i < 3 ? 1 : 0.5)) {
                            weak = Fv[i] * v > 0 ? 0 : i < 3 ? 5000 : 100;
                            (weak > 0 ? braked : let)++;
                        }
                        EXPECT_NEAR(AdmittanceF[i], F, 1e-12) << joint << " " << angle << " axis " << i;
                        EXPECT_EQ(drag.weakB[i], weak) << joint << " " << angle << " axis " << i;
                        EXPECT_NEAR(drag.motion.cur_vel[i], v + kDt * (F - (set.B[i] + weak) * v) / set.M[i],
                                    1e-12);
                    }
                }
    for (int k : {0, 1})
        for (int kind : {0, 1, 2}) EXPECT_GT(seen[k][kind], 0) << k << " " << kind;
    EXPECT_TRUE(braked > 0 && let > 0);
}

TEST(DragStepSingularity, BrakesTowardTheEndsOfTravelUnlessTheDampingAdapts) {
    const double rows[][4] = {// joint, angle, speed, braked
                              {5, 165, 1, 0},   {5, 165.1, 1, 1},   {5, 173.9, 1, 1},   {5, 174, 1, 0},
                              {5, 170, 0, 0},   {5, 170, -1, 0},    {5, -170, -1, 1},   {5, -170, 1, 0},
                              {5, -174, -1, 0}, {5, -165, -1, 0},   {3, 70, 1, 0},      {3, 70.1, 1, 1},
                              {3, 83.9, 1, 1},  {3, 84, 1, 0},      {3, -263.9, -1, 1}, {3, -264, -1, 0},
                              {3, -250, -1, 0}, {3, -250.1, -1, 1}, {3, -260, 1, 0}};
    for (const auto& [joint, angle, speed, braked] : rows)
        for (int adaptive : {0, 1}) {
            start();
            set.adaptive_sign = adaptive;
            mpb.jC.v[static_cast<int>(joint)] = angle;
            mpb.jCvel.v[static_cast<int>(joint)] = speed;
            std::fill_n(drag.motion.Bnum, 6, -1.0);
            drag.motion.cur_vel[0] = 0.01;
            TRSF goal;
            step(&goal);
            EXPECT_EQ(drag.weakB[2], 5000 * braked) << joint << " " << angle << " " << speed;
            EXPECT_EQ(drag.weakB[3], 150 * braked);
            EXPECT_EQ(drag.motion.cur_vel[0] < 0.005, adaptive == 0 && braked == 1);
        }
}

}  // namespace
