#include "cycle/full_dynamics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "dynamics/measured_load.h"
#include "model/parameter_sets.h"
#include "numeric/filter_records.h"
#include "support/fixture.h"
#include "support/reference.h"
#include "tmcHNzvCdynamicblock.h"
#include "tmcforceblock.h"
#include "tmczvPQdynamicblock.h"
#include "tmczvdynamicblock.h"

namespace {

const JNTS kPose = {{31, -62, 83, 24, -45, 16}, {}, 6};

// A moving arm in mode 2; commanded and measured motion, planned and smoothed acceleration all differ.
tarn::CycleFrame start(int type) {
    fixture::start(type);
    mcb.newTeachEnable = 2;
    mcb.robotInstallYangle = 20;
    mcb.robotInstallZangle = -50;
    mcb.fricCompensationFlag = 0;
    for (int i = 0; i < 6; i++) {
        mpb.jC.v[i] = 7 * i;
        mpb.jCvel.v[i] = 0.03 * std::cos(3 * i);
        mpb.j6vel.v[i] = -0.02 * (i + 1);
        mpb.jCaccRaw.v[i] = 1e-4 * std::sin(2 * i + 1);
        mpb.jCacc.v[i] = -2e-4 * std::cos(i + 1);
    }
    static JNTS q;
    q = kPose;
    mpb.loadCoord = {12, -34, 56};
    mpb.loadWeight = 2.5;
    return {&q, {mpb.loadCoord, mpb.loadWeight}, {}, {}, {}};
}

struct Model {
    double torque[6], inertia[6];  // inertia: diagonal of the mass matrix
};

template <size_t N>
struct Single {
    explicit Single(const double (&x)[N]) {
        std::transform(x, x + N, v, [](double y) { return static_cast<float>(y); });
    }
    float v[N];
};

// What the block of the type gives, its inputs put together here.
Model modelOf(int type) {
    Model model = {};
    const std::string_view name = ref::dynamicsArm(type);
    if (name.empty()) return model;
    const auto row = std::ranges::find_if(tarn::kDynamicsSets,
                                          [&](const auto& r) { return r.value && r.value->name == name; });
    const auto& [unused, shape, sdh, mass, center, tensor, rotor] = *row->value;
    const bool general = name != "PQ1" && name != "HN1";
    const double y = 20 * M_PI / 180, z = -50 * M_PI / 180, load[10] = {2.5, 12, -34, 56};
    const double down[3] = {9.8 * sin(y) * cos(z), -9.8 * sin(y) * sin(z), -9.8 * cos(y)};
    double q[6], qd[6], qdd[6];
    for (int i = 0; i < 6; i++) {
        q[i] = kPose.v[i] - (type == 3 && i != 2 && i != 4 ? 180 : 0);
        qd[i] = mpb.jCvel.v[i] * 1000;
        qdd[i] = (general ? mpb.jCaccRaw : mpb.jCacc).v[i] * 1e6;
    }
    if (name == "PQ1") {
        tmczvPQdynamicblock(sdh, q, qd, qdd, load, mass, center, tensor, rotor, down, model.torque);
    } else if (name == "HN1") {
        tmcHNzvCdynamicblock(sdh, q, qd, qdd, load, rotor, down, model.torque);
    } else {
        float torque[6], still[6], m[36], c[36];
        tmczvdynamicblock(Single(sdh).v, Single(q).v, Single(qd).v, Single(qdd).v, Single(load).v,
                          Single(mass).v, Single(center).v, Single(tensor).v, Single(rotor).v, Single(down).v,
                          torque, still, m, c);
        for (int i = 0; i < 6; i++) {
            model.torque[i] = static_cast<double>(torque[i]);
            model.inertia[i] = static_cast<double>(m[7 * i]);
        }
    }
    return model;
}

// rad/s^2; 0 where there is none
double dragAcceleration(int type, int joint) {
    const double rows[3][3] = {{6.283185307179586, 6.283185307179586, 6.283185307179586},
                               {2.0943951023931953, 2.0943951023931953, 3.141592653589793},
                               {0.7853981633974483, 0.7853981633974483, 1.0471975511965976}};
    if (type < 0 || type > 500) return 0;
    return joint == 5 ? 9.42477796076938 : joint > 2 ? 6.283185307179586 : rows[(type - 1) / 100 / 2][joint];
}

TEST(FullDynamics, EveryTypeTakesItsBlockItsSetAndItsInputs) {
    for (int type : ref::types()) {
        tarn::CycleFrame frame = start(type);
        mpb.sysJntsNo = type % 4 == 0 ? 4 : 6;
        tarn::armFilters = {};
        const Model want = modelOf(type);
        double largest = 0;
        for (double torque : want.torque) largest = std::max(largest, std::fabs(torque));
        EXPECT_EQ(largest == 0, type >= 704 && type <= 800) << "type " << type;

        const fixture::Blocks before;
        const tarn::FullDynamicsTorque got = tarn::fullDynamicsTorque(frame);
        EXPECT_TRUE(before.unchanged()) << "type " << type;
        EXPECT_EQ(tarn::armFilters.filt5.index, want.inertia[0] != 0) << "measured load, type " << type;
        gravityTorqueControl(frame.q);
        for (int i = 0; i < 6; i++) {
            const auto what = "type " + std::to_string(type) + ", joint " + std::to_string(i + 1);
            EXPECT_NEAR(got.joint_torque[i], want.torque[i], 1e-6 * largest) << what;  // rounding of gravity
            EXPECT_EQ(got.dragForceMAX[i], want.inertia[i] * dragAcceleration(type, i)) << what;
            const double motor = ref::ratedTorque(type, i) * ref::gearRatio(type, i);
            EXPECT_EQ(how.currentSet[i],
                      i < mpb.sysJntsNo ? ref::toCurrent(got.joint_torque[i] / motor * 1000) : 0)
                << what;
        }
        EXPECT_EQ(std::memcmp(frame.q, &kPose, sizeof kPose), 0) << "type " << type << " changed the pose";
        if (HasFailure()) break;
    }
}

TEST(FullDynamics, TheWrapperWritesEveryElementOfItsMassMatrix) {
    const tarn::CycleFrame frame = start(101);
    const auto& [name, shape, sdh, mass, center, tensor, rotor] = tarn::kSetB;
    double MM[6][6], tau[6];
    for (auto& row : MM) std::fill_n(row, 6, fixture::kNan);
    EXPECT_EQ(zvtmczvdynamicblock(frame.q->v, frame.exLoad, tau, Single(sdh).v, Single(mass).v,
                                  Single(center).v, Single(tensor).v, Single(rotor).v, nullptr, MM),
              0);
    const Model want = modelOf(101);
    for (int i = 0; i < 36; i++) EXPECT_EQ(MM[i / 6][i % 6], i % 7 == 0 ? want.inertia[i / 7] : 0) << i;
}

TEST(FullDynamics, PublishesMeasuredTorqueAndPositionThroughTheSlowFilter) {
    const double b[5] = {5.949168623009538e-09, 2.379667449203815e-08, 3.569501173805723e-08,
                         2.379667449203815e-08, 5.949168623009538e-09};
    const double a[5] = {1, -3.953836739036792, 5.862572756863548, -3.863621026769476, 0.954885104129417};
    double in[2][6][20] = {}, out[2][6][20] = {};  // torque and position by joint, from sample 5 on
    const tarn::CycleFrame frame = start(702);     // its current command has other gears than 101
    mpb.sysJntsNo = 5;
    for (int n = 5; n < 20; n++) {
        for (int i = 0; i < 6; i++) {
            how.currentFeedback[i] = static_cast<int16_t>(2000 * std::sin(n * (i + 1)));
            mpb.j6.v[i] = 90 + 60 * std::cos(n + 2 * i);
            in[0][i][n] = i < 5 ? how.currentFeedback[i] * 0.001 * ref::ratedTorque(702, i) * 101 : 0;
            in[1][i][n] = mpb.j6.v[i];
        }
        tarn::fullDynamicsTorque(frame);
        EXPECT_EQ(tarn::armFilters.filt5.index, std::min(n - 4, 6));
        for (int s : {0, 1})
            for (int i = 0; i < 6; i++) {
                double& y = out[s][i][n] = b[0] * in[s][i][n];
                for (int k = 1; k < 5; k++) y += b[k] * in[s][i][n - k] - a[k] * out[s][i][n - k];
                const double got = (s ? tarn::measuredLoad.joint_angle_load : tarn::measuredLoad.torque)[i];
                EXPECT_NEAR(got, y, 1e-9 * std::fabs(y)) << "sample " << n << ", joint " << i + 1;
            }
    }
}

// State and friction switch walk along with the two gates of the board.
TEST(FullDynamics, OnlyTheGeneralWrapperRaisesTheBoardsVerdictsAndLogsOverspeeds) {
    for (int type : {101, 701, 704, 902})
        for (int state : {0, 1, 2, 3, 4})
            for (int on : {0, 1, 2})
                for (int code : {0, 7, 12, 26, 27, 28, 29, 30, 33, 34, 35, 65535}) {
                    const tarn::CycleFrame frame = start(type);
                    mpb.state = mcb.safetyPara.safetyStopEnable = static_cast<uint8_t>(state);
                    mcb.fricCompensationFlag = mcb.momentumPowerEnableFlag = static_cast<uint8_t>(on);
                    mcb.safetyPara.safetyIslandErrorCode = static_cast<uint16_t>(code);
                    mcb.cmdPointError = zvCtlJogCmdOver;
                    const bool commanded = code % 2 == 0;
                    (commanded ? mpb.jCvel : mpb.j6vel).v[3] = 100;  // degrees/ms
                    tarn::fullDynamicsTorque(frame);

                    uint32_t fault = zvCtlJogCmdOver;
                    if (type == 101 && state == 2 && on == 1 && code >= 27 && code <= 34)
                        fault = code == 27 ? 0x10000084 : code == 28 ? 0x10000085 : 0x10000015;
                    const bool logs = type == 101 && on == 1 && commanded == (state != 4);
                    const auto what = std::to_string(type) + ", state " + std::to_string(state);
                    EXPECT_EQ(mcb.cmdPointError, fault) << what << ", code " << code << ", switch " << on;
                    EXPECT_EQ(fixture::calls().size(), logs ? 4 : 0) << what << ", switch " << on;
                }
}

TEST(FullDynamics, TheFirstCycleInTheModeResetsTheFiltersOnce) {
    const auto resets = [](int mode) {
        const tarn::CycleFrame frame = start(704);
        mcb.newTeachEnable = static_cast<uint8_t>(mode);
        tarn::armFilters.filt.index = tarn::armFilters.filt4.index = 5;
        gravityTorqueControl(frame.q);
        EXPECT_EQ(tarn::armFilters.filt.index, tarn::armFilters.filt4.index);
        return tarn::armFilters.filt4.index == 0;
    };
    const std::pair<int, bool> cycles[] = {{0, false}, {2, true}, {2, false}, {0, false}, {2, false}};
    for (int start : {1, 2}) {
        for (const auto& [mode, want] : cycles) EXPECT_EQ(resets(mode), want) << start << ", mode " << mode;
        tarn::restartFullDynamics();
    }
}

}  // namespace
