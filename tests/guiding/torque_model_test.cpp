// Gravity tests, end load and regulators by themselves, against KDL and plain forms of their laws.
#include <gtest/gtest.h>

#include <kdl/frames.hpp>

#include "guiding/regulator_reference.h"
#include "numeric/filter_records.h"
#include "numeric/fixed_matrix.h"
#include "support/fixture.h"
#include "support/rigid_body.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"
#include "zvmcidentifydynamicblock.h"
#include "zvmctoolblock.h"

namespace {

using Six = Eigen::Matrix<double, 6, 1>;

constexpr double kDeg = M_PI / 180, kSingle = 0.01745329238474369;  // rad per degree; that of family B

ref::StateDraw drawState;
Six draw(double range) {
    return Six::NullaryExpr([range] { return drawState.uniform(-range, range); });
}

bool same(const double* got, const Six& want, double tolerance) {
    return (Eigen::Map<const Six>(got) - want).cwiseAbs().maxCoeff() <= tolerance;  // false for no numbers
}

KDL::Rotation rotation(const ROTRSF& r) {
    return {r.n.x, r.o.x, r.a.x, r.n.y, r.o.y, r.a.y, r.n.z, r.o.z, r.a.z};
}
TRSF flange(int type, const double* degrees) {
    fixture::start(type);
    JNTS q = {};
    std::copy_n(degrees, 6, q.v);
    TRSF pose;
    newFwdKinematics(&q, &pose);
    return pose;
}

// The torque that holds a mass on massless links, by KDL. The tables take the joints for degrees twice, so
// their arm stands in another pose, with the load where the true pose has it in base axes; type 3 also takes
// its half turns off the radians. `shape` is the type whose flange frame the set has.
TEST(EndLoad, IsTheWeightThroughTheJacobianOfTheBranch) {
    const struct {
        int type, model;
        const tarn::ParameterSet* set;
        int shape;
        bool twice;
    } rows[] = {
        {1, 1, &tarn::kSetA1, 1, false},     {103, 1, &tarn::kSetA1, 1, false},
        {3, 1, &tarn::kSetA1, 1, true},      {3, 102, &tarn::kSetB, 1, false},
        {0, 102, &tarn::kSetB, 1, false},    {101, 102, &tarn::kSetB, 1, false},
        {201, 201, &tarn::kSetC1, 1, false}, {301, 301, &tarn::kSetD1, 1, false},
        {401, 401, &tarn::kSetE, 1, true},   {701, 701, &tarn::kSetPQ1, 701, true},
        {702, 701, &tarn::kSetPQ2, 1, true}, {703, 800, &tarn::kSetPQ3, 1, true},
        {101, 750, nullptr, 1, false},       {101, 801, &tarn::kSetPQ1, 701, true},
        {1001, 1001, &tarn::kSetF, 1, true}, {1001, 1002, &tarn::kSetB, 1, false},
    };
    for (const auto& [type, model, known, shape, twice] : rows)
        for (int n = 0; n < 50; n++) {
            const Six q = draw(180), mount = draw(180);
            const EX_LOAD load = {{draw(200)(0), draw(200)(0), draw(200)(0)}, n == 0 ? 0.0 : 5.0};
            const KDL::Rotation base =
                KDL::Rotation::RotY(mount(0) * kDeg) * KDL::Rotation::RotZ(mount(1) * kDeg);
            ref::ArmState at = {};
            for (int i = 0; i < 6; i++) {
                const bool halfTurn = type == 3 && twice && i != 2 && i != 4;
                at.q[i] = twice ? q(i) * kDeg - (halfTurn ? 180 : 0) : q(i);
            }
            for (int i = 0; i < 3; i++) at.gravity[i] = -9.8 * base(2, i);
            const KDL::Vector center(load.cmc.x, load.cmc.y, load.cmc.z);
            const KDL::Vector turned =
                rotation(flange(shape, at.q)).Inverse() * (rotation(flange(type, q.data())) * center);
            at.load[0] = load.mass;
            for (int i = 0; i < 3; i++) at.load[1 + i] = turned(i);
            tarn::ParameterSet set = known ? *known : tarn::kSetB;
            std::fill_n(set.inparaM, 6, 0.0);
            std::fill_n(set.inparaI, 36, 0.0);
            const Six want = known ? Six(ref::dynamics(set, at).gravity) : Six(Six::Zero());

            fixture::start(type);
            Six given = q;
            double tau[6];
            zvmcendload(-mount(0), mount(1), given.data(), load, tau, model);
            // the host's flange pose is of single precision
            ASSERT_TRUE(same(tau, want, 2e-6 * load.mass * 9.8)) << "type " << type << ", model " << model;
        }
}

const struct Family {
    int (*test)(double, double, Gain, TRSF, double*, double*, int);
    int (*regressor)(double*, double*, double*, dmat);
    int model;
    int spot;  // a parameter to know the family's vector by
    double parameter, perKilogram;
    int (*pull)(PID*, TRSF, double*, double*, double*);
    int (*jacobian)(double*, dmat);
} kFamilies[] = {
    {zvmcteachcontrolA_gravitytest, computeZvA_selftautest, 1, 27, 0.00210959, 0, teachcontrolA, zvA_jacob},
    {zvmcteachcontrolB_gravitytest, computeZvB_selftautest, 102, 27, 0.020899374, 0.010404, teachcontrolB,
     zvB_jacob},
    {zvmcteachcontrolC_gravitytest, computeZvC_selftautest, 201, 3, 0.010124106, 0, teachcontrolC, zvC_jacob},
    {zvmcteachcontrolD_gravitytest, computeZvD_selftautest, 301, 7, 0.130794807, 0, teachcontrolD, zvD_jacob},
};

Six rotorTorque() {
    const double rotor[6] = {1615598, 1615598, 1615598, 425520, 425520, 425520};
    const double gain[6] = {0.1, 0.1, 0.3, 0.2, 0, 0.2};
    return Six::NullaryExpr([&](Eigen::Index i) { return gain[i] * rotor[i] * mpb.jCaccRaw.v[i] * kSingle; });
}

TEST(GravityTest, WeighsStaticAndMotionTorqueOfAFilteredOrOnBOfThePlannedMotion) {
    const Gain gain = {{1.4, 1.3, 1.2, 1.1, 0.9, 0.8}, {0.5, 0.6, 0.7, 0.8, 0.9, 1.0}};
    for (const Family& family : kFamilies) {
        fixture::start(101);
        zvmcdynfiltresert();
        mpb.loadWeight = 2.5;
        const bool isB = family.model == 102;
        BUTTERWORTHFILTER lowPass[6];  // the same coefficients in a record of their own
        for (auto& one : lowPass) zvmcButterWorthFiltInit(&one, 1);
        Six p[3], moved, want;  // p: the latest filtered poses
        for (int call = 1; call <= 600; call++) {
            double q[6], tau[6], at[3][9] = {{0, -25 * kDeg, -40 * kDeg}}, rest[9] = {};
            p[0] = p[1], p[1] = p[2];
            for (int i = 0; i < 6; i++) {
                q[i] = 20 * i - 50 + 30 * std::sin(0.004 * call + i);
                mpb.jCvel.v[i] = 0.05 * std::cos(0.01 * call + i);
                mpb.jCaccRaw.v[i] = 1e-4 * std::sin(0.02 * call + i);
                zvmcButterWorthFiltProcessData(&lowPass[i], q[i] * kDeg, &p[2](i), 0);
                const bool moves = isB || call >= 502;
                const double velocity = isB ? mpb.jCvel.v[i] * 1e3 * kSingle : (p[2](i) - p[0](i)) / 0.002;
                const double curve = p[2](i) - 2 * p[1](i) + p[0](i);
                at[0][3 + i] = isB ? q[i] * kSingle : p[2](i);
                at[1][3 + i] = moves ? velocity : 0;
                at[2][3 + i] = moves ? (isB ? mpb.jCaccRaw.v[i] * 1e6 * kSingle : curve / 1e-6) : 0;
            }
            family.test(-25, -40, gain, {}, q, tau, family.model);
            if (call == 1) mpb.loadWeight = 30;  // what came with the first call stays
            ASSERT_NEAR(gtau[family.spot], family.parameter + 2.5 * family.perKilogram, 1e-15);
            tarn::FixedMatrix<6, 1> still, moving;
            family.regressor(at[0], rest, rest, still.view());
            family.regressor(at[0], at[1], at[2], moving.view());
            want = isB ? rotorTorque() : Six(Six::Zero());
            for (int i = 0; i < 6; i++) {
                moved(i) = moving[i][0] - still[i][0];
                want(i) += (gain.kp[i] * still[i][0] + gain.kf[i] * moved(i)) * (isB ? 1 : 100);
            }
            ASSERT_TRUE(same(tau, want, 1e-5)) << "model " << family.model << ", call " << call;
        }
        EXPECT_GT(moved.norm(), 0.001) << "the motion does not show";

        double q[6] = {10, -60, 70, 20, 40, 50}, tau[6];
        for (int model : {-1, 0, 1, 2, 101, 102, 103, 201, 202, 301, 302, 701}) {
            family.test(-30, 20, gain, {}, q, tau, model);
            const bool own = model == family.model || (isB && model == 101);
            EXPECT_EQ(same(tau, isB ? rotorTorque() : Six(Six::Zero()), 1e-12), !own) << model;
        }
        zvmcdynfiltresert();
        mpb.loadWeight = fixture::kInf;
        family.test(0, 0, gain, {}, q, tau, family.model);
        EXPECT_EQ(std::count_if(gtau, gtau + 54, [](double x) { return !std::isfinite(x); }), isB ? 16 : 0)
            << "an infinite load shows in the parameters that it touches";
    }
}

TEST(PoseRegulators, PullBackToTheFirstPoseThroughTheJacobianAndZonesChooseAmongThem) {
    for (int family = 0; family < 4; family++)
        for (bool asZone : {false, true}) {
            zvmcdynfiltresert();
            PID pid[6], own[6];
            for (int i = 0; i < 6; i++) pid[i] = own[i] = {1.5 + i, 0.1 * i, 7.0 - i, 0, 0, 0};
            TRSF first = {}, pose;
            for (int call = 0; call < 20; call++) {
                Six q = draw(180), input = draw(50), e, u;
                rpyToTrsf(&pose, draw(180)(0), draw(90)(0), draw(180)(0));
                pose.p = {draw(800)(0), draw(800)(0), draw(800)(0)};
                if (call == 0) first = pose;
                double tau[6];
                asZone ? zvmcteachcontrolinterfere(pid, {2 + call, family, {}, 0, {}}, pose, q.data(),
                                                   input.data(), tau)
                       : kFamilies[family].pull(pid, pose, q.data(), input.data(), tau);

                // the vector part of a tenth of the rotation, doubled
                KDL::Vector axis;
                const double turn = (rotation(first) * rotation(pose).Inverse()).GetRotAngle(axis);
                const double step = 2 * std::sin(0.1 * turn / 2);
                e << (first.p.x - pose.p.x) / 1000, (first.p.y - pose.p.y) / 1000,
                    (first.p.z - pose.p.z) / 1000, axis.x() * step, axis.y() * step, axis.z() * step;
                Six radians = q * kDeg;
                tarn::FixedMatrix<6, 6> J;
                kFamilies[family].jacobian(radians.data(), J.view());
                Six force, bare;
                PID twin[6];
                std::copy_n(own, 6, twin);
                zvB_pretau(twin, pose, radians.data(), tarn::FixedMatrix<6, 6>().view(), bare.data(),
                           force.data());
                for (int i = 0; i < 6; i++) PID_increase_Calc(&own[i], e(i), &u(i));
                ASSERT_TRUE(same(force.data(), u, 1e-9)) << "what the regulators give";
                const Eigen::Map<Eigen::Matrix<double, 6, 6, Eigen::RowMajor>> jacobian(J[0]);
                ASSERT_TRUE(same(tau, jacobian.transpose() * u * 100 + input, 1e-6)) << family << " " << call;
            }
        }
}

TEST(ZoneResistance, ByJointSharesReferenceAndCountAndOutsideLatchesAnew) {
    zvmcdynfiltresert();
    PID pid[6];
    for (PID& one : pid) one = {2, 0, 0, 0, 0, 0};
    Six start = draw(90), input = draw(30), q = start;
    double tau[6];
    const auto call = [&](int flag, int family) {
        std::fill_n(tau, 6, -7);
        const TRSF here = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {}};
        zvmcteachcontrolinterfere(pid, {flag, family, {}, 0, {}}, here, q.data(), input.data(), tau);
    };
    for (int n = 0; n < 10; n++) {
        q = start + Six::Constant(n);
        call(1, 99);  // the family is not looked at
        ASSERT_TRUE(same(tau, input - Six::Constant(200 * n * kDeg), 1e-9)) << n;
    }
    EXPECT_NEAR(tarn::armFilters.filt.j_pos0[3], start(3) * kDeg, 1e-15) << "the gravity test's place";
    call(2, 1);  // a pose regulator that follows latches nothing
    EXPECT_EQ(tarn::cpd.initpos.n.x, 0);
    EXPECT_EQ(tarn::cpd.compedence_index, 11);
    call(0, 1);
    EXPECT_TRUE(same(tau, input, 0));
    for (int family : {4, -1, 5, 255}) {
        call(3, family);
        EXPECT_TRUE(same(tau, family == 4 ? Six::Constant(-7) : input, 0)) << family;
    }
    EXPECT_EQ(tarn::cpd.compedence_index, 0);
}

}  // namespace
