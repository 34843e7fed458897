// The identification of the wrist's parameters: its motion, its run, what it makes of the result.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "dynamics/regressor.h"
#include "identification/parameter_solution.h"
#include "numeric/filter_records.h"
#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "tarntools/tools_log.h"
#include "zvmctoolblock.h"

// In place of the host's: counts what is out.
static int blocksOut;
void* __wrap_malloc(size_t size) {
    blocksOut++;
    void* block = std::malloc(size);
    std::fill_n(static_cast<char*>(block), size, '\x55');  // no zeros by luck
    return block;
}
void __wrap_free(void* p) {
    blocksOut--;
    std::free(p);
}

namespace {

using tarn::armFilters;
using tarn::solveX, tarn::store;
using Joints = std::array<double, 6>;

constexpr int kBlocksOfStore = 7 + 5 * 27 + 2 * 3;  // row tables, rows

Joints excitation(double maxVel, unsigned long point) {
    TMC_TIMES times;
    Joints q;
    zvmcComputefourierMotion({maxVel}, &times);
    zvmcComputefourierAccVelPos(times, point, q.data());
    return q;
}

// At the natural speed, a point each ms.
Joints excitationAtMs(unsigned long n) { return excitation(125, n); }

// One harmonic of 12 s of each joint, and the mean.
TEST(Excitation, SwingsAsDesigned) {
    const struct {
        double mean;  // rad
        int harmonic;
        bool sine;
        double velocity;  // rad/s
    } design[6] = {
        {0.0184361602989109, 1, false, 0.659116803820449},
        {-0.00852061176421409 - 1.0, 5, true, -0.927413021440375},
        {0.00541139342286477 - 0.2, 3, false, -1.22003008255574},
        {0.0151879766209857, 2, true, 0.689315509823173},
        {-0.00818653911693022, 4, true, -1.15372999985473},
        {-0.0217886414487416, 5, true, -0.655972441304665},
    };
    constexpr unsigned long kPoints = 1500;
    double mean[6] = {}, velocity[6] = {};
    for (unsigned long n = 0; n < kPoints; n++) {
        const Joints q = excitation(1000, n);
        for (size_t j = 0; j < 6; j++) {
            const double k = design[j].harmonic, rad = q[j] * M_PI / 180,
                         phase = 2 * M_PI * k * static_cast<double>(n) / kPoints;
            mean[j] += rad / kPoints;
            velocity[j] +=
                (design[j].sine ? -std::cos(phase) : std::sin(phase)) * rad * k * M_PI / 3 / kPoints;
        }
    }
    for (size_t j = 0; j < 6; j++) {
        EXPECT_NEAR(mean[j], design[j].mean, 1e-12) << j;
        EXPECT_NEAR(velocity[j], design[j].velocity, 1e-12) << j;
    }
    EXPECT_NEAR(excitation(2000, 300)[4], excitation(1000, 600)[4], 1e-9);  // twice the speed
}

struct Sample {
    Joints q, tau;
};

void feed(const Sample& s, double T) {
    Joints q = s.q, tau = s.tau;
    zvmcloadidentifymain(tau.data(), q.data(), T);
}

// What the library has made of the position of the sample just fed.
Joints filteredPosition() {
    const filter& f = armFilters.filt1;
    return std::to_array(f.afterj_pos[f.index - 1]);
}

// The weighted regressor at the middle of three positions 1 ms apart.
struct Regressor {
    double element[3][27];
    explicit Regressor(const Joints (&p)[3]) {
        double dq[6], ddq[6], *rows[3] = {element[0], element[1], element[2]};
        Joints q = p[1];
        for (size_t i = 0; i < 6; i++) {
            dq[i] = (p[2][i] - p[0][i]) / 0.002;
            ddq[i] = (p[2][i] + p[0][i] - 2 * p[1][i]) / 1e-6;
        }
        solve_Hb5(q.data(), dq, ddq, {0, 2, 0, 26, element[0], rows});
    }
};

// A run over the whole excitation whose torque follows from parameters finds these parameters, when each
// torque is that of the position 1 ms later.
TEST(ParameterRun, FindsTheParametersBehindTheTorque) {
    fixture::start(103);
    zvmcdynfiltresert();
    constexpr double T = 12;
    double truth[27];
    for (int i = 0; i < 27; i++) truth[i] = 0.02 * std::sin(1.7 * i + 0.4);

    std::vector<Sample> samples(12001);
    std::vector<Joints> filtered;
    for (size_t n = 0; n < samples.size(); n++) samples[n].q = excitationAtMs(n);

    // without torque, to see the filtered motion; off before the setup
    feed(samples[0], T);
    EXPECT_EQ(armFilters.filt1.index, 0);
    zvmcdynstoreresert();
    EXPECT_EQ(blocksOut, kBlocksOfStore);
    solveX.X[27] = -5;
    for (const Sample& s : samples) {
        ASSERT_EQ(solveX.flag, 1) << filtered.size();
        feed(s, T);
        filtered.push_back(filteredPosition());
    }
    EXPECT_EQ(solveX.flag, 0);
    EXPECT_EQ(blocksOut, 0);
    for (int i = 0; i < 27; i++) EXPECT_EQ(solveX.X[i], 0.0);
    EXPECT_EQ(solveX.X[27], -5);
    EXPECT_EQ(armFilters.filt1.index1, 12001);  // not cleared: the release came before the end of the run

    for (size_t n = 0; n + 2 < samples.size(); n++) {
        const Regressor H({filtered[n], filtered[n + 1], filtered[n + 2]});
        for (size_t i = 0; i < 3; i++)
            for (int j = 0; j < 27; j++) samples[n].tau[3 + i] += H.element[i][j] * truth[j];
    }
    zvmcdynfiltresert();
    zvmcdynstoreresert();
    armFilters.filt2.index = 3;
    mcb.newTeachEnable = 2;
    for (const Sample& s : samples) feed(s, T);
    EXPECT_EQ(armFilters.filt2.index, 0);  // the release resets the filters of full dynamics
    for (int i = 0; i < 27; i++) EXPECT_NEAR(solveX.X[i], truth[i], 1e-7) << i;
}

// A run that nobody ends keeps its store and its samples; the count of an earlier run that nobody reset ends
// the next one with its first sample.
TEST(ParameterRun, KeepsWhatNobodyClears) {
    fixture::start(103);
    zvmcdynfiltresert();
    EXPECT_EQ(Store_free(), 0);  // nothing there yet
    tmcComIdentifySum(2);
    tmcComIdentifyInv(solveX.X);
    zvmcdynstoreresert();
    const auto summed = [] { return store.right_sum.el[6][0]; };
    for (unsigned long n : {0u, 1u}) feed({excitationAtMs(n), {1, 1, 1, 1, 1, 1}}, 12);
    EXPECT_EQ(summed(), 0.0);  // the first two samples have no difference
    feed({excitationAtMs(2), {}}, 12);
    const double sum = summed();
    EXPECT_NE(sum, 0.0);
    for (int row : {-1000000, 0, 5, 1000000}) tmcComIdentifySum(row);
    EXPECT_EQ(summed(), sum);
    zvmcdynfiltresert();
    EXPECT_EQ(armFilters.filt1.index, 3);

    Store abandoned = store;
    zvmcdynstoreresert();
    EXPECT_EQ(blocksOut, 2 * kBlocksOfStore);
    EXPECT_EQ(summed(), 0.0);
    EXPECT_EQ(tarn::test::guarded([] { feed({excitationAtMs(3), {}}, 12); }), "");
    Store_free();
    Store_free();
    EXPECT_EQ(blocksOut, kBlocksOfStore);
    store = abandoned;
    feed({excitationAtMs(4), {}}, 0.002);
    EXPECT_EQ(solveX.flag, 0);
    EXPECT_EQ(blocksOut, 0);

    zvmcdynstoreresert();
    Store_free();  // released in between: ends without a solution
    solveX.X[0] = 7;
    feed({excitationAtMs(5), {}}, 0.002);
    EXPECT_EQ(solveX.flag, 0);
    EXPECT_EQ(solveX.X[0], 7.0);

    // given up: spares the history of hand guiding, too, until a sample without a time ends it
    zvmcdynfiltresert();
    zvmcdynstoreresert();
    Store_free();
    armFilters.filt.index = 4;
    zvmcdynfiltresert();
    EXPECT_EQ(armFilters.filt.index, 4);
    feed({excitationAtMs(6), {}}, 0);
    EXPECT_EQ(solveX.flag, 0);
    EXPECT_EQ(solveX.X[0], 7.0);
    zvmcdynfiltresert();
    EXPECT_EQ(armFilters.filt.index, 0);
}

TEST(Parameters, AreSelectedAndReadAsALoad) {
    using tarn::selftauHb_x, tarn::selftauHb_x0;
    std::fill_n(selftauHb_x, 54, 7.0);
    for (int flag : {-1, 3, 1}) {
        std::fill_n(selftauHb_x0, 54, 7.0);
        zvmcselectvalue(flag);
        EXPECT_EQ(selftauHb_x[9], 7.0) << flag;
        EXPECT_EQ(selftauHb_x0[46], flag == 1 ? 0.0108610777819643 : 7.0) << flag;
    }
    zvmcselectvalue(0);
    EXPECT_EQ(selftauHb_x[9], 0.001120787);
    zvmcselectvalue(2);
    EXPECT_EQ(selftauHb_x[9], 0.005507762);

    // 3 kg at (10, -20, 60) mm, in hundredths of the joint torque, beyond the bare wrist; links 4 to 6
    const double mass = 0.03, d5 = 0.102, d6 = 0.1;
    std::copy_n(selftauHb_x0 + 21, 27, solveX.X);
    solveX.X[6] += mass * d5;
    solveX.X[15] += mass * (d6 + 0.06);
    solveX.X[23] += mass * 0.01;
    solveX.X[24] += mass * -0.02;
    Gain gain = {};
    gain.kp[4] = 1;
    double m;
    VECT r;
    zvmcgetloadidentifyresult(gain, &m, &r);
    EXPECT_NEAR(m, 3, 1e-9);
    EXPECT_NEAR(r.x, 10, 1e-7);
    EXPECT_NEAR(r.y, -20, 1e-7);
    EXPECT_NEAR(r.z, 60, 1e-7);
    gain.kp[4] = 0.5;  // scales the solution, not the baseline
    zvmcgetloadidentifyresult(gain, &m, &r);
    EXPECT_NEAR(m, std::fabs(0.5 * solveX.X[6] - selftauHb_x0[27]) / d5 * 100, 1e-9);

    // as baseline, index for index
    solveX.X[46] = -5;
    for (int flag : {0, 2, 1}) {
        zvmcloadidentifyvalue(flag);
        EXPECT_EQ(selftauHb_x0[6] == solveX.X[6] && selftauHb_x0[46] == -5, flag == 1);
    }
}

}  // namespace
