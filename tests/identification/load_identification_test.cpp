// The tool load by scripted motion and by nine poses, and the load table.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <climits>

#include "dynamics/measured_load.h"
#include "identification/nine_point.h"
#include "identification/scripted_run.h"
#include "sensor/wrench_algebra.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "support/reference.h"

using namespace algebra;

namespace {

LOAD_IDENTIFY& run = mcb.loadIdentify;

void startRun(int type) {
    fixture::start(type);
    tarn::scriptedRun = {};
    mpb.j6 = {{10, -70, 80, -100, -95, 20}, {}, 6};
    mpb.jCvel = {{0.01, -0.02, 0.03, 0.02, -0.03, 0.004}, {}, 6};
    mcb.fricCompensationFlag = 1;
    ASSERT_EQ(tmcLoadIdentifyStartEnd(1), 0);
}

void feed(int line, int16_t current, int cycles = 1, TGEN_STATE state = TGEN_SERVICE) {
    mpb.currentLine = line;
    mpb.state = state;
    for (; cycles > 0; cycles--) {
        std::fill_n(how.currentFeedback, 6, current);
        EXPECT_EQ(zvmcLoadIdentifyControl(), 0);
    }
}

// What a joint bears beyond the bare arm, by another model of it.
double excess(int joint, int current) {
    const double down[3] = {0, 0, -9.8};
    const int type = mcb.robotType;
    const double holds = ref::holdingTorque(ref::arm(ref::gravityArm(type)), {}, down, mpb.j6.v).v[joint];
    const double rubs = mcb.fricCompensationFlag == 1 ? ref::friction(type, 2, joint, mpb.jCvel.v[joint]) : 0;
    return 101 * std::fabs(current * ref::ratedTorque(type, joint) / 1000 - (holds + rubs) / 100);
}

// A thousand samples and a closing call that takes none; the pair of lines of a joint shares a chunk.
TEST(ScriptedRun, WeighsByTheMeanOfAChunk) {
    for (const int type : {103, 202, 401}) {
        startRun(type);
        mcb.fricCompensationFlag = type != 202;
        for (const auto& [line, joint, lever] : {std::tuple{3, 4, 0.9996}, {6, 2, 2.2736}}) {
            const int number = run.weightTotalNum;
            feed(line, 300, 400);
            feed(line, 9999, 50, TGEN_PAUSE);
            feed(5, 9999, 50);
            feed(line + 1, -200, 600);
            EXPECT_EQ(run.count1000ms, 1000);
            EXPECT_EQ(run.weightTotalNum, number);
            fixture::forgetCalls();
            feed(line, 9999);
            const double mean = 0.4 * excess(joint, 300) + 0.6 * excess(joint, -200);
            EXPECT_NEAR(run.weightTemp[number], mean / lever, 1e-9 * mean) << type << " " << line;
            EXPECT_EQ(run.weightTotalNum, number + 1);
            EXPECT_EQ(run.count1000ms, 0);
            EXPECT_EQ(fixture::calls().back(), "Write_Log 2 weightTotalNum " + std::to_string(number) +
                                                   " weightTemp " + std::to_string(run.weightTemp[number]));
            feed(line, 100, 1001);  // the sum has started anew
            EXPECT_NEAR(run.weightTemp[number + 1], excess(joint, 100) / lever, 1e-9 * mean);
        }
    }
    EXPECT_EQ(tarn::test::guarded([] { feed(3, 1); }), "");
}

TEST(ScriptedRun, CorrectsALightLoad) {
    startRun(103);
    const double rows[][3] = {{2, 2, 1.5}, {2.4, 2.6, 2.5}, {3, 4, 3.5}, {2.4999, 2.4999, 1.9999}};
    for (const auto& [first, second, result] : rows) {
        ASSERT_EQ(tmcLoadIdentifyStartEnd(1), 0);
        run.weightTemp[0] = first;
        run.weightTemp[1] = second;
        run.weightTotalNum = 2;
        run.count1000ms = 77;
        feed(10, 0, 1, TGEN_PAUSE);
        EXPECT_NEAR(run.weightResult, result, 1e-12);
        EXPECT_EQ(run.weightIdentifyResult, 1);
        EXPECT_EQ(run.weightTotalNum, 0);
        EXPECT_EQ(run.count1000ms, 0);
        run.weightTemp[0] = 9;
        feed(9, 0, 1, TGEN_PAUSE);  // final
        EXPECT_NEAR(run.weightResult, result, 1e-12);
    }
}

TEST(ScriptedRun, TurnsJoint6AndEnds) {
    startRun(103);
    run.weightIdentifyResult = 1;
    run.weightResult = 3;
    double largest = 0, z = 0;
    for (const auto& [current, j6] : {std::pair{100, 50.0}, {-400, 70.0}, {300, 90.0}}) {
        mpb.j6.v[5] = j6;
        feed(9, static_cast<int16_t>(current), 1001);
        const double bears = excess(5, current), want = bears * 1000 / (3 * 9.8);
        EXPECT_NEAR(run.coordTemp[run.coordTotalNum - 1].z, want, 1e-9 * want) << j6;
        z += want / 3;
        if (current == -400) largest = bears;
    }
    ASSERT_EQ(run.coordTotalNum, 3);
    EXPECT_EQ(fixture::calls().back(),
              "Write_Log 2 coordTotalNum 2 coordTemp " + std::to_string(run.coordTemp[2].z));
    fixture::forgetCalls();
    feed(9, 999, 1, TGEN_IDLE);
    const double r = largest * 1000 / (3 * 9.8) - z;
    uint8_t identify = 0;
    double weight = 0;
    VECT center = {};
    EXPECT_EQ(tmcGetLoadWeightCoord(&identify, &weight, &center), 0);
    EXPECT_EQ(identify, 1);
    EXPECT_EQ(weight, 3);
    EXPECT_NEAR(center.x, -r * std::sin(70), 1e-9 * z);  // degrees, as they stand
    EXPECT_NEAR(center.y, -r * std::cos(70), 1e-9 * z);
    EXPECT_NEAR(center.z, z, 1e-9 * z);
    const fixture::Lines lines = fixture::calls();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2], "Write_Log 2 diffTorqueXY " + std::to_string(largest));
    EXPECT_EQ(lines.back(), "Write_Log 2 j6ValueXY 70.000000");
    EXPECT_EQ(tarn::scriptedRun.maxTorque + tarn::scriptedRun.j6ValueXY + tarn::scriptedRun.diffTorqueXY, 0);
    EXPECT_EQ(run.loadIdentifyControl, 0);
    EXPECT_EQ(run.coordIdentifyResult, 1);
    const fixture::Blocks blocks;
    EXPECT_EQ(zvmcLoadIdentifyControl(), 0);  // over
    EXPECT_TRUE(blocks.unchanged());

    ASSERT_EQ(tmcLoadIdentifyStartEnd(1), 0);
    feed(10, 0, 1, TGEN_IDLE);  // nothing measured
    EXPECT_EQ(run.identifyResult, 1);
    EXPECT_TRUE(std::isnan(run.weightResult) && std::isnan(run.coordResult.x) &&
                std::isnan(run.coordResult.z));
}

TEST(ScriptedRun, AnAbortKeepsTheSumAndAFullTableWhatItHas) {
    startRun(103);
    feed(3, 300, 500);
    EXPECT_EQ(tmcLoadIdentifyStartEnd(0), 0);
    EXPECT_EQ(run.count1000ms, 0);
    feed(3, 300, 100);
    const fixture::Blocks blocks;
    EXPECT_EQ(tmcLoadIdentifyStartEnd(2), -1);
    EXPECT_TRUE(blocks.unchanged());
    EXPECT_EQ(tmcLoadIdentifyStartEnd(1), 0);
    feed(3, 300, 1001);
    EXPECT_NEAR(run.weightTemp[0], 1.5 * excess(4, 300) / 0.9996, 1e-9);

    feed(3, 300, 600);  // one count for all joints, a sum for each
    feed(6, 300, 401);
    EXPECT_NEAR(run.weightTemp[1], 0.4 * excess(2, 300) / 2.2736, 1e-9);

    LOAD_IDENTIFY full;
    for (const int number : {1000, -1, INT_MAX}) {
        run.weightTotalNum = run.coordTotalNum = number;
        run.weightIdentifyResult = 1;
        full = run;
        for (const int line : {3, 6, 9}) feed(line, 300, 1001);
        EXPECT_EQ(std::memcmp(&full, &run, sizeof full), 0) << number;
    }
    run.count1000ms = INT_MAX;  // under the sanitizers
    feed(3, 1, 2);
}

// ---- nine points

SIMPLE_LOADIDENTIFY& nine = tarn::simply_loadidentify;

// Axes and levers of the chain of the type's table, angles in radians; rows force, moment.
Eigen::Matrix<double, 6, 6> jacobian(const double (&lengths)[6], const double* q) {
    const auto& [a2, a3, d1, d4, d5, d6] = lengths;
    const double alpha[6] = {M_PI / 2, 0, 0, M_PI / 2, -M_PI / 2, 0}, a[6] = {0, a2, a3, 0, 0, 0},
                 d[6] = {d1, 0, 0, d4, d5, d6};
    std::vector<Eigen::Isometry3d> frame = {Eigen::Isometry3d::Identity()};
    for (size_t i = 0; i < 6; i++)
        frame.push_back(frame[i] * Eigen::AngleAxisd(q[i], Vector3::UnitZ()) *
                        Eigen::Translation3d(a[i], 0, d[i]) * Eigen::AngleAxisd(alpha[i], Vector3::UnitX()));
    Eigen::Matrix<double, 6, 6> J;
    for (int i = 0; i < 6; i++) {
        const auto& at = frame[static_cast<size_t>(i)];
        const Vector3 axis = at.linear().col(2), lever = frame[6].translation() - at.translation();
        J.col(i) << axis.cross(lever), axis;
    }
    return J;
}

TEST(NinePoints, KeepTheWrenchBehindTheTorques) {
    const double B[6] = {-0.425, -0.395, 0.152, 0.102, 0.102, 0.1};
    const struct {
        std::vector<int> types;
        double lengths[6];
    } rows[] = {{{1, 100}, {-0.28, -0.24, 0.14, 0.102, 0.102, 0.1}},
                {{201, 300}, {-0.7, -0.586, 0.18, 0.159, 0.114, 0.106}},
                {{301}, {-0.52, -0.4, 0.18, 0.195, 0.114, 0.106}},
                {{302}, {-0.52, -0.4, 0.18, 0.159, 0.114, 0.106}},
                {{401, 500}, {-1.0, -0.716, 0.215, 0.166, 0.138, 0.12}},
                {{1001, 1100}, {-0.7, -0.536, 0.215, 0.166, 0.138, 0.12}},
                {{INT_MIN, 0, 101, 200, 501, 1000, 1101}, {B[0], B[1], B[2], B[3], B[4], B[5]}}};
    Random random;
    for (const auto& row : rows) {
        const auto& lengths = row.lengths;
        for (const int type : row.types) {
            fixture::start(type);
            const Wrench bare = random.wrench(50), loaded = random.wrench(50);
            const double q[6] = {20, -71, 100, -3, 1.2, 40};  // a number of degrees that is taken for radians
            const auto torque = [&](const Wrench& f) { return Wrench(jacobian(lengths, q).transpose() * f); };
            std::copy_n(q, 6, tarn::measuredLoad.joint_angle_load);
            mpb.tC = pose(random.rotation(), {1, 2, 3});
            std::copy_n(torque(bare).data(), 6, tarn::measuredLoad.torque);
            zvmcSetCurrentLoadIdentifyFlag(0);
            EXPECT_EQ(zvmcSaveLoadIdentifyPoint(9), 0);
            const TRSF kept = mpb.tC;
            mpb.tC = {};
            std::copy_n(torque(loaded).data(), 6, tarn::measuredLoad.torque);
            zvmcSetCurrentLoadIdentifyFlag(1);
            EXPECT_EQ(zvmcSaveLoadIdentifyPoint(9), 0);
            for (int i = 0; i < 6; i++) {
                EXPECT_NEAR(static_cast<double>(nine.f_non[8][i]), bare[i], 1e-4) << type;
                EXPECT_NEAR(static_cast<double>(nine.f_load[8][i]), loaded[i], 1e-4) << type;
            }
            EXPECT_EQ(std::memcmp(&nine.POS[8], &kept, sizeof kept), 0);  // of the first pass
        }
    }
    const SIMPLE_LOADIDENTIFY before = nine;
    for (const int number : {0, 10, -1, INT_MIN, INT_MAX}) EXPECT_EQ(zvmcSaveLoadIdentifyPoint(number), 0);
    nine.flag = 2;
    EXPECT_EQ(zvmcSaveLoadIdentifyPoint(1), 0);
    nine.flag = 1;
    EXPECT_EQ(std::memcmp(&before, &nine, sizeof before), 0);
    for (const int type : {303, 400}) {
        fixture::start(type);
        nine.f_load[3][2] = 1;
        EXPECT_EQ(zvmcSaveLoadIdentifyPoint(4), 0);
        EXPECT_FALSE(std::isfinite(nine.f_load[3][2])) << type;
        EXPECT_EQ(fixture::callText(), "");
    }
}

TEST(NinePoints, AverageFivePosesAndSumUpNine) {
    fixture::start(101);
    nine = {};
    Random random;
    Eigen::Matrix4d left = Eigen::Matrix4d::Zero();
    Eigen::Vector4d right = Eigen::Vector4d::Zero(), want = right;
    for (int i = 0; i < 9; i++) {
        nine.POS[i] = pose(random.rotation(), {0, 0, 0});
        for (int j = 0; j < 6; j++) {
            nine.f_non[i][j] = static_cast<float>(random(20));
            nine.f_load[i][j] = static_cast<float>(random(20));
        }
        Wrench f;
        for (int j = 0; j < 6; j++) f[j] = static_cast<double>(nine.f_load[i][j] - nine.f_non[i][j]);
        const Vector3 a(&nine.POS[i].a.x);
        Eigen::Matrix<double, 6, 4> A = Eigen::Matrix<double, 6, 4>::Zero();  // f = -m a, moment = a x (m r)
        A.topLeftCorner<3, 1>() = -a;
        for (int k = 0; k < 3; k++) A.bottomRightCorner<3, 3>().col(k) = a.cross(Vector3::Unit(k));
        left += A.transpose() * A;
        right += A.transpose() * f;
        if (i > 0 && i % 2 == 0) continue;
        const double m = f[2] / (a.z() * -9.81), x = f[4] / m / 9.81, y = f[3] / m / 9.81;
        want += Eigen::Vector4d(m, x, y, 1000 * std::hypot(x, y)) / 5;
    }
    for (const int times : {1, 2, 3}) {
        double m = 0, xyz[3] = {};
        ASSERT_EQ(zvmcComEndLoadMain(&m, xyz), 0);
        EXPECT_LT((Eigen::Vector4d(m, xyz[0], xyz[1], xyz[2]) - want).norm(), 2e-6 * want.norm());
        for (int i = 0; i < 4; i++) {
            EXPECT_NEAR(nine.right_sum[i], times * right[i], 1e-10);
            for (int j = 0; j < 4; j++) EXPECT_NEAR(nine.left_sum[i][j], times * left(i, j), 1e-12);
        }
    }
}

TEST(NinePoints, OneOrientationTellsNothing) {
    fixture::start(101);
    nine = {};
    for (TRSF& pose : nine.POS) pose.a = {0.75, 0, -0.5};
    double m = 7, xyz[3] = {8, 9, 10};
    EXPECT_EQ(zvmcComEndLoadMain(&m, xyz), -1);
    EXPECT_EQ(m + xyz[0] + xyz[1] + xyz[2], 34);
    EXPECT_EQ(fixture::callText(),  // the pose beyond the last is elements 6 to 8 of the sum behind the poses
              "Write_Log 4 detValue: = 0.000000; Write_Log 4 POS: error = 0.000000,3.375000,0.000000; "
              "Write_Log 4 loadIdentify: leftsum = 7.312500,0.000000,0.000000,0.000000; "
              "Write_Log 4 loadIdentify: leftsum = 0.000000,2.250000,0.000000,3.375000; "
              "Write_Log 4 loadIdentify: leftsum = 0.000000,0.000000,7.312500,0.000000; "
              "Write_Log 4 loadIdentify: leftsum = 0.000000,3.375000,0.000000,5.062500; ");
}

// ---- load table
// clang-format off

TEST(LoadTable, HoldsEachTypeToItsWeight) {
    const struct { int first, last; double kg; } rows[] = {
        {0, 0, 5}, {1, 100, 3}, {101, 200, 5}, {201, 300, 10}, {301, 400, 16}, {401, 500, 20}, {501, 600, 3}, {601, 700, 5},
        {701, 800, 3}, {801, 900, 3}, {901, 901, 5}, {902, 902, 10}, {1001, 1100, 30}};
    fixture::start(101);
    for (const int type : ref::types()) {
        double limit = INFINITY;
        for (const auto& [first, last, kg] : rows)
            if (first <= type && type <= last) limit = kg;
        mcb.robotType = type;
        mcb.paraError = zvCtlParaOK;
        const double most = std::min(limit, 1e6);
        ASSERT_EQ(tmcSetLoadPara(4, most, {}, 1), 0) << type;
        ASSERT_EQ(tmcSetLoadPara(4, most + 1e-9, {}, 2), std::isinf(limit) ? 0 : -1) << type;
        ASSERT_EQ(mcb.paraError, std::isinf(limit) ? 0x19000000U : 0x19000004U);
    }
}

TEST(LoadTable, ChecksInOrderAndPersistsByRecord) {
    fixture::start(101);
    mpb.currentLine = 1;
    const fixture::Blocks blocks;
    EXPECT_EQ(tmcSetLoadPara(20, -1, {2000, 0, 0}, 9), -3);
    EXPECT_TRUE(blocks.unchanged());
    const struct { double weight; VECT at; int result, fault; } rows[] = {
        {-1.1e-6, {2000, 0, 0}, -1, 4}, {0, {-1000.1, 2000, 0}, -2, 5}, {0, {1000, 1000.1, -2000}, -2, 6}, {5, {0, -1000, 1000.1}, -2, 7}};
    for (const auto& [weight, at, result, fault] : rows) {
        EXPECT_EQ(tmcSetLoadPara(19, weight, at, fault), result);
        EXPECT_EQ(mcb.paraError, 0x19000000U + static_cast<unsigned>(fault));
        EXPECT_EQ(mpb.currentLine, fault);
    }
    EXPECT_EQ(fixture::callText(), "");
    mcb.paraError = zvCtlParaOK;
    mpb.currentLine = 1;
    EXPECT_TRUE(blocks.unchanged());
    EXPECT_EQ(tmcSetLoadPara(0, -1e-7, {fixture::kNan, 0, 0}, 3), 0);  // as the comparisons have it

    mcb.robotType = 950;  // carries anything
    for (const int number : {0, 9, 10, 19}) {
        fixture::forgetCalls();
        EXPECT_EQ(tmcSetLoadPara(static_cast<uint8_t>(number), 1.5 + number, {-1000, 1000, 2.5}, 40 + number), 0);
        EXPECT_EQ(mpb.currentLine, 40 + number);
        EXPECT_EQ(mpb.loadNum, number);
        for (const double* w : {&mpb.loadWeight, &mpb.loadWeightList[number]}) EXPECT_EQ(*w, 1.5 + number) << number;
        for (const VECT* at : {&mpb.loadCoord, &mpb.loadCoordList[number]}) EXPECT_TRUE(at->x == -1000 && at->y == 1000 && at->z == 2.5);
        const std::string n = std::to_string(number), weight = std::to_string(1 + number) + ".5; ";
        const std::string user = "ConfigWriteEntry /usr/local/etc/controller/user.config USER_PARAM LOAD_",
                          load = "ConfigWriteEntry /usr/local/etc/controller/load.config LOAD_PARAM LOAD" + n + "_";
        std::string want = "Write_Log 2 loadNum:" + n + "; Write_Log 2 loadWeight:" + std::to_string(1.5 + number) +
                           "; Write_Log 2 loadCoord:-1000.000000 1000.000000 2.500000; " + user + "NUM " + n + "; ";
        for (const std::string& key : {user, load})
            want += key + "WEIGHT " + weight + key + "Coord_X -1000; " + key + "Coord_Y 1000; " + key + "Coord_Z 2.5; ";
        EXPECT_EQ(fixture::callText(), want);
    }
}
// clang-format on

}  // namespace
