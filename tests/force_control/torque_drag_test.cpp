#include "force_control/torque_drag.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "cycle/full_dynamics.h"
#include "numeric/filter_records.h"
#include "sensor/wrench_algebra.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "support/reference.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"

namespace {

// clang-format off
using fixture::kInf, fixture::kNan;

FORCE_CONTROL& control = mcb.forceControl;
ForceAndTorqueDrag& drag = mcb.forceControl.forceandtorquedrag;
JNTS q = {{31, -62, 83, 24, -45, 16}, {}, 6};

// Joint torques of a wrench at the flange, base frame: its moment about each axis.
algebra::Wrench torqueOf(int type, const double* degrees, const algebra::Wrench& base) {
    const struct { int first, last; double d1, a2, a3, d4, d5, d6; } rows[] = {
        {1, 100, 140, -280, -240, 102, 102, 100},   {201, 300, 180, -700, -586, 159, 114, 106},   {301, 400, 180, -520, -400, 159, 114, 106},
        {401, 500, 215, -1000, -716, 166, 138, 120}, {1001, 1100, 215, -700, -536, 166, 138, 120}, {INT_MIN, INT_MAX, 152, -425, -395, 102, 102, 100}};
    const auto& l = *std::ranges::find_if(rows, [type](const auto& row) { return row.first <= type && type <= row.last; });
    const double links[6][3] = {{0, l.d1, 90}, {l.a2, 0, 0}, {l.a3, 0, 0}, {0, l.d4, 90}, {0, l.d5, -90}, {0, l.d6, 0}};
    Eigen::Affine3d at = Eigen::Affine3d::Identity(), joint[6];
    for (int i = 0; i < 6; i++) {
        joint[i] = at;
        at = at * Eigen::AngleAxisd(degrees[i] * M_PI / 180, Eigen::Vector3d::UnitZ()) * Eigen::Translation3d(links[i][0] / 1000, 0, links[i][1] / 1000) *
             Eigen::AngleAxisd(links[i][2] * M_PI / 180, Eigen::Vector3d::UnitX());
    }
    return algebra::Wrench::NullaryExpr([&](int i) {
        const Eigen::Vector3d lever = at.translation() - joint[i].translation();
        return joint[i].linear().col(2).dot(lever.cross(base.head<3>()) + base.tail<3>());
    });
}

struct Slow {  // 0.4 Hz
    double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    double operator()(double x) {
        const double y = 1.57633448805864e-06 * (x + x2) + 3.15266897611727e-06 * x1 + 1.99644569738134 * y1 - 0.996452002719291 * y2;
        return x2 = x1, x1 = x, y2 = y1, y1 = y;
    }
};

// A force in a sensor that stands turned and off the flange; all six torques before the filter.
algebra::Wrench start(int type, int impedance, const FORCESENSOR_DATA& force) {
    fixture::start(type);
    tarn::forceFilters.filt6 = {};
    tarn::torqueDrag = {};
    algebra::Random random;
    const algebra::Matrix3 end = random.rotation();
    mpb.tC = algebra::pose(end, random.vector(500));
    control.forceSensorCoord = {10, -20, 300, 40, -50, 160};
    control.forceOriginEnd = force;
    drag.impedance_sign = impedance;
    algebra::Wrench torque = torqueOf(type, q.v, algebra::adjoint(end * algebra::rpy(40, -50, 160)) * algebra::wrench(force));
    for (int i = 0; i < 6; i++) {
        drag.BGain[i] = 0.1 * (i + 1);
        mpb.j6vel.v[i] = 0.05 - 0.02 * i;
        if (impedance == 1) torque[i] -= 1000 * drag.BGain[i] * mpb.j6vel.v[i];
    }
    return torque;
}
const FORCESENSOR_DATA kHand = {100, -90, 80, 15, -12, 9};  // beyond what any limit would let pass

TEST(TorqueDrag, MapsTheWholeForceOutsideItsDeadZoneThroughTheSlowSection) {
    const struct { FORCESENSOR_DATA given, kept; } rows[] = {
        {kHand, kHand}, {{0, -1.5, 0, 0, 0, -0.06}, {0, -1.5, 0, 0, 0, -0.06}}, {{0.5, 0.5, 0.5, 0.03, 0.03, 0.02}, {}}, {{0.7, 0, 0.72, 0, 0, 0}, {0.7, 0, 0.72, 0, 0, 0}},
        {{0, 0, -1, 0.05, 0, 0}, {}}, {{0, 1, 0, 0, 0.0500001, 0}, {0, 0, 0, 0, 0.0500001, 0}}};
    for (int type : ref::types())
        for (const auto& [given, kept] : rows) {
            if (&given != &rows[0].given && type % 100 != 3) continue;
            const int impedance = type % 3;
            const algebra::Wrench want = start(type, impedance, kept);
            control.forceOriginEnd = given;
            Slow slow[6];
            for (int n = 0; n < 9; n++) {
                double torque[6];
                zvmcForceDataToTorque(q.v, torque);
                for (int i = 0; i < 6; i++) {
                    const double y = slow[i](want[i]);
                    ASSERT_NEAR(torque[i], y, 1e-9 * std::fabs(y) + 1e-18) << type << ", joint " << i + 1 << ", sample " << n << ", row " << &kept - &rows[0].kept;
                }
            }
            EXPECT_EQ(algebra::wrench(control.forceOriginEnd), algebra::wrench(kept)) << type;
        }
}

TEST(TorqueDrag, StartChecksHoldsStoresAndPersists) {
    const struct { int status, impedance, act; double lamda, k, b; int result; } rows[] = {
        {2, 0, 1, 1, 1, 1, -1}, {-1, 0, 1, 1, 1, 1, -1}, {0, 2, 1, 1, 1, 1, -1}, {0, -1, 0, 1, 1, 1, -1}, {1, 1, 1, -1e-9, 1, 1, -1}, {1, 1, 1, 1, -1, 1, -1},
        {1, 1, 1, 1, 1, -1, -1}, {1, 1, 0, 7, 1, 7, -2}, {1, 0, 1, 5.5, 9, 1.5, 0}, {0, 1, 1, kNan, kInf, 0.5, 0}};
    for (const auto& [status, impedance, act, lamda, k, b, result] : rows) {
        start(103, 0, {});
        control.forceSensorAct = static_cast<uint8_t>(act);
        double L[] = {0, 1, 2, 3, 4, lamda}, K[] = {0, 1, 2, 3, 4, k}, B[] = {0, 0.5, 1, 1, 0.25, b};
        const fixture::Blocks before;
        EXPECT_EQ(zvmcForceAndTorqueDragStartStop(status, impedance, L, K, B, 250, 30), result);
        EXPECT_EQ(mcb.ioError == zvCtlIOVALUEError, result == -1);
        EXPECT_TRUE(fixture::near(L[5], result == 0 && lamda > 5 ? 5 : lamda, 0) && K[5] == k && B[5] == (result == 0 && b > 1 ? 1 : b)) << L[5] << " " << B[5];
        mcb.ioError = zvCtlIOOK;
        EXPECT_EQ(before.unchanged(), result != 0);
        fixture::Lines want;
        if (result == 0) {
            EXPECT_TRUE(drag.status == status && drag.impedance_sign == impedance && drag.DragMaxTcpVel == 250 && drag.DragMaxTcpOriVel == 30);
            want.push_back("IMPEDANCE_SIGN");
            for (const auto& [key, given, stored] : {std::tuple{"LAMDAGAIN", L, drag.LamdaGain}, {"KGAIN", K, drag.KGain}, {"BGAIN", B, drag.BGain}})
                for (int i = 0; i < 6; i++) {
                    EXPECT_TRUE(fixture::near(stored[i], given[i], 0)) << key << i;
                    want.push_back(key + std::to_string(i + 1) + (i == 1 && stored != drag.BGain ? " 1" : ""));
                }
            want.insert(want.end(), {"DRAGMAXTCPVEL 250", "DRAGMAXTCPORIVEL 30"});
        }
        const fixture::Lines calls = fixture::calls();
        ASSERT_EQ(calls.size(), want.size());
        for (size_t n = 0; n < want.size(); n++)
            EXPECT_TRUE((calls[n] + " ").starts_with("ConfigWriteEntry /usr/local/etc/controller/user.config TEST_PARAM " + want[n] + " ")) << calls[n];
        control.endforcedrag.flag = 7;
        int flags[2];
        zvmcGetForceAndTorqueDragState(&flags[0], &flags[1]);
        EXPECT_TRUE(flags[0] == 7 && flags[1] == drag.status);
    }
}

// The share of joint i is that of its own sample; nothing reaches the joints of a type without a limit.
TEST(TorqueDrag, TheCycleTakesASampleForEachJointWithinTheLimits) {
    const struct { int type, status, state, joints; bool acts; } rows[] = {
        {103, 1, 4, 6, true},  {401, 1, 4, 4, true},  {0, 1, 4, 6, true},    {103, 1, 2, 6, false}, {103, 0, 4, 6, false}, {103, 2, 4, 6, false},
        {701, 1, 4, 6, false}, {702, 1, 4, 6, false}, {704, 1, 4, 6, false}, {902, 1, 4, 6, false}, {1001, 1, 4, 6, false}};
    for (const auto& [type, status, state, joints, acts] : rows) {
        const algebra::Wrench force = start(type, 0, kHand);
        fixture::rateMotors(0.01f);  // a current of 1000 is 1 N m at a joint with a ratio of 100
        mcb.newTeachEnable = 2, mcb.fricCompensationFlag = 0;
        drag.status = status, mpb.state = state, mpb.sysJntsNo = joints, drag.DragMaxTcpVel = drag.DragMaxTcpOriVel = 1;
        for (int i = 0; i < 6; i++) drag.LamdaGain[i] = 0.9 * i;
        Slow slow[6];
        int held = 0, passed = 0;
        for (int n = 0; n < 400; n++) {
            gravityTorqueControl(&q);
            const tarn::FullDynamicsTorque model = tarn::fullDynamicsTorque({&q, {mpb.loadCoord, mpb.loadWeight}, {}, {}, {}});
            for (int i = 0; i < joints; i++) {
                double sample[6];
                for (int k = 0; k < joints; k++) sample[k] = slow[i](force[i]);
                const double t = acts ? (1 - 0.9 * i) * sample[i] : 0, bound = model.dragForceMAX[i];
                std::fabs(t) > bound ? held++ : passed++;
                const double want = (model.joint_torque[i] - std::clamp(t, -bound, bound)) / (static_cast<double>(0.01f) * ref::gearRatio(type, i));
                ASSERT_NEAR(static_cast<int16_t>(how.currentSet[i] - ref::toCurrent(want * 1000)), 0, 1) << type << ", joint " << i + 1 << ", cycle " << n;
            }
        }
        EXPECT_EQ(acts, held > 50 && passed > 50) << type << " " << held << " " << passed;
        EXPECT_EQ(tarn::test::guarded([] { gravityTorqueControl(&q); }), "");
    }
}

TEST(TorqueDrag, SixCyclesTooFastEndItAgainAndAgain) {
    const std::string alarm = "tmcDragSwitch 0; Write_Log 2 zvCtlTCPSpeedOver After to DragMode mcb.collisionPauseFlag = : 0; ";
    const struct { double speed, turn; int status, state, mode, cycles, alarms, count = -1; } rows[] = {
        {250.1, 0, 1, 4, 2, 5, 0},   {250, -30, 1, 4, 2, 1, 0}, {-251, 0, 1, 4, 2, 5, 0}, {0, -31, 1, 4, 2, 2, 2}, {251, 31, 1, 2, 2, 1, 0}, {0, 31, 1, 4, 2, 7, 2},
        {251, 31, 1, 4, 1, 3, 0},    {0, 31, 1, 4, 2, 1, 1},    {251, 0, 0, 4, 2, 1, 0},  {kInf, 0, 1, 4, 2, 6, 1}, {kNan, kNan, 1, 4, 2, 1, 0}, {kNan, 31, 1, 4, 2, 5, 0},
        {0, 31, 1, 4, 2, 2, 2, INT_MAX - 1}};
    start(704, 0, {});
    drag.DragMaxTcpVel = 250, drag.DragMaxTcpOriVel = 30;
    for (const auto& [speed, turn, status, state, mode, cycles, alarms, count] : rows) {
        mpb.tcpvel = speed, mpb.tcpOriVel = turn, drag.status = status, mpb.state = state, mcb.newTeachEnable = static_cast<uint8_t>(mode);
        if (count >= 0) tarn::torqueDrag.velCount = count;
        mcb.motionAlarm = {};
        fixture::forgetCalls();
        for (int n = 0; n < cycles; n++) gravityTorqueControl(&q);
        EXPECT_EQ(fixture::callText(), alarms == 0 ? "" : alarms == 1 ? alarm : alarm + alarm) << "row " << &speed - &rows[0].speed;
        EXPECT_EQ(mcb.motionAlarm == zvCtlTCPSpeedOver, alarms > 0);
    }
}

// A force that is no number gives no current; it stays in the filter, which nothing resets.
TEST(TorqueDrag, NonNumbersStayInBounds) {
    double* const places[] = {&control.forceOriginEnd.fy, &control.forceSensorCoord.b, &q.v[1], &mpb.tC.o.y, &drag.BGain[0], &mpb.j6vel.v[2], &drag.LamdaGain[3]};
    for (double* place : places)
        for (double bad : {kNan, kInf, -1e300}) {
            start(103, 1, kHand);
            drag.status = 1, mpb.state = 4, mcb.newTeachEnable = 2, mpb.sysJntsNo = INT_MAX;
            const double good = std::exchange(*place, bad);
            for (int n = 0; n < 9; n++) gravityTorqueControl(&q);
            *place = good;
            gravityTorqueControl(&q);
            const bool forever = place == places[0] && std::isnan(bad);
            EXPECT_TRUE(!forever || std::count(how.currentSet, how.currentSet + 6, 0) == 6);
        }
}
// clang-format on

}  // namespace
