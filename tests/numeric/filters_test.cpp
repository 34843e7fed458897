#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "force_control/regulators.h"
#include "guiding/regulator_reference.h"
#include "identification/parameter_solution.h"
#include "numeric/filter_records.h"
#include "support/fixture.h"

namespace {

using fixture::kNan;
using namespace tarn;

// Denominator and numerator as the filters hold them (at 2.8 Hz the last bit matters), gain at zero
// frequency, and the frequency where that has fallen by 3 dB, with the precision that it is told with, Hz.
struct Set {
    std::vector<double> a, b;
    double gain, corner, cornerTolerance;
};
// clang-format off
const Set S1 = {{1.0, -3.953836739036792, 5.862572756863548, -3.863621026769476, 0.954885104129417}, {5.949168623009538e-09, 2.379667449203815e-08, 3.569501173805723e-08, 2.379667449203815e-08, 5.949168623009538e-09}, 1, 2.8, 0.05};
const Set S2 = {{1.0, -2.6926, 2.8674, -1.4035, 0.2646}, {0.0022, 0.0089, 0.0134, 0.0089, 0.0022}, 0.9916, 80, 0.5};
const Set S3 = {{1.0, -2.93717585357136, 2.87630965551717, -0.939103754520731}, {3.75592813463277e-06, 1.12677844038983e-05, 1.12677844038983e-05, 3.75592813463277e-06}, 1, 5, 0.05};
const Set S4 = {{1.0, -1.1429805025399, 0.412801598096189}, {0.0674552738890719, 0.134910547778144, 0.0674552738890719}, 1, 100, 0.5};
const Set S5 = {{1.0, -1.99644569738134, 0.996452002719291}, {1.57633448805864e-06, 3.15266897611727e-06, 1.57633448805864e-06}, 1, 0.4, 0.005};
const Set S6 = {{1.0, -1.9645, 0.9651}, {0.0001551484234756995, 0.000310296846951399, 0.0001551484234756995}, 1.034, 3.9, 0.05};
const Set S7 = {{1.0, -3.83582554064735, 5.52081913662223, -3.53353521946302, 0.848555999266477}, {8.98486146397045e-07, 3.59394458558818e-06, 5.39091687838227e-06, 3.59394458558818e-06, 8.98486146397045e-07}, 1, 10, 0.05};
const Set S8 = {{1.0, -1.97502398483361, 0.975332061958806}, {7.70192812997728e-05, 0.000154038562599546, 7.70192812997728e-05}, 1, 2.8, 0.05};
const Set S9 = {{1.0, -1.85982678731441, 0.869027376715565}, {0.00230014735028783, 0.00460029470057566, 0.00230014735028783}, 1, 15.8, 0.05};

const struct Section {
    const char* name;
    int (*run)(int, int, double*);
    const Set& set;
    filter& record;
    double (&in)[6][6];
    double (&out)[6][6];
} kSections[] = {
    {"buttord",                      buttord,                      S1, armFilters.filt,    armFilters.filt.j_pos,    armFilters.filt.prej_pos},
    {"filter_data",                  filter_data,                  S3, armFilters.filt1,   armFilters.filt1.j_pos,   armFilters.filt1.prej_pos},
    {"Fivebuttord",                  Fivebuttord,                  S1, armFilters.filt2,   armFilters.filt2.j_pos,   armFilters.filt2.prej_pos},
    {"TualEncoderbuttord",           TualEncoderbuttord,           S2, armFilters.filt4,   armFilters.filt4.j_pos,   armFilters.filt4.afterj_pos},
    {"Loadbuttord",                  Loadbuttord,                  S1, armFilters.filt5,   armFilters.filt5.j_pos,   armFilters.filt5.prej_pos},
    {"LoadPosbuttord",               LoadPosbuttord,               S1, armFilters.filt5,   armFilters.filt5.j_acc,   armFilters.filt5.prej_acc},
    {"ForceCollisionbuttord",        ForceCollisionbuttord,        S1, armFilters.filt6,   armFilters.filt6.j_acc,   armFilters.filt6.prej_acc},
    {"SensorDragbuttord",            SensorDragbuttord,            S2, forceFilters.filt5, forceFilters.filt5.j_pos, forceFilters.filt5.afterj_pos},
    {"buttordFTControl",             buttordFTControl,             S4, forceFilters.filt7, forceFilters.filt7.j_pos, forceFilters.filt7.prej_pos},
    {"TwoForceAndTorqueDragbuttord", TwoForceAndTorqueDragbuttord, S5, forceFilters.filt6, forceFilters.filt6.j_pos, forceFilters.filt6.prej_pos},
    {"buttordFTControlThetaf",       buttordFTControlThetaf,       S6, forceFilters.filt8, forceFilters.filt8.j_pos, forceFilters.filt8.prej_pos},
};
// clang-format on

// Makes every number of every history a NaN, so that a wrong read shows.
void spoilHistories() {
    std::memset(static_cast<void*>(&armFilters), 0xff, sizeof armFilters);
    std::memset(static_cast<void*>(&forceFilters), 0xff, sizeof forceFilters);
}

// One cycle of a section's user, with noise of its own in the other columns.
double sample(const Section& section, int column, double x) {
    int& index = section.record.index;
    if (index > 5) {
        std::memmove(section.in[0], section.in[1], 5 * sizeof section.in[0]);
        std::memmove(section.out[0], section.out[1], 5 * sizeof section.out[0]);
        index = 5;
    }
    for (int i = 0; i < 6; i++) section.in[index][i] = i == column ? x : std::sin(1e3 * i + x) * 1e6;
    for (int i = 0; i < 6; i++) EXPECT_EQ(section.run(i, index, &section.out[index][i]), 0);
    return section.out[index++][column];
}

// The filter's next output is that of the equation over the whole past, in extended precision.
void expectEquation(const std::string& name, const Set& set, const std::function<double(double)>& next) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> value(-200, 200);
    std::vector<long double> x, y;
    long double worst = 0, largest = 0, feedback = 0;
    for (int k = 0; k < 10000; k++) {
        x.push_back(value(random));
        long double want = 0;
        for (size_t i = 0; i < set.b.size() && i < x.size(); i++) {
            want += static_cast<long double>(set.b[i]) * x[x.size() - 1 - i];
            if (i > 0) want -= static_cast<long double>(set.a[i]) * y[y.size() - i];
        }
        y.push_back(want);
        largest = std::max(largest, std::fabs(want));
        const long double difference = std::fabs(next(static_cast<double>(x.back())) - want);
        if (!(difference <= worst * largest)) worst = difference / largest;  // NaN counts too
    }
    // feedback amplifies a rounding: 2e-9 in all at 2.8 Hz of fourth order, below 1e-10 elsewhere
    for (double a : set.a) feedback += a;
    EXPECT_LT(worst, (1 / std::fabs(feedback) + 100) * 2.2e-16L) << name;
}

TEST(Filters, AreTheirDifferenceEquationsFromTheFirstSampleOn) {
    for (const Section& section : kSections)
        for (int i = 0; i < 6; i++) {
            spoilHistories();  // what has not been written is not there
            section.record.index = 0;
            expectEquation(section.name, section.set, [&](double x) { return sample(section, i, x); });
        }
    spoilHistories();
    forceFilters.filt7.index = forceFilters.filt8.index = 0;
    expectEquation("one signal", S4,
                   [](double x) { return filterSingleSignal(forceFilters.filt7, buttordFTControl, x); });
    expectEquation("one signal", S6, [](double x) {
        return filterSingleSignal(forceFilters.filt8, buttordFTControlThetaf, x);
    });
    double y;
    for (auto [flag, set] : {std::pair{0, &S8}, {1, &S1}, {2, &S9}}) {
        BUTTERWORTHFILTER f;
        std::memset(&f, 0x7f, sizeof f);  // whatever was there goes
        zvmcButterWorthFiltInit(&f, flag);
        zvmcButterWorthFiltProcessData(&f, 0, &y, 1);  // the first sample is the offset
        expectEquation("Butterworth", *set, [&](double x) {
            EXPECT_EQ(zvmcButterWorthFiltProcessData(&f, x, &y, 1), 0);
            return y;
        });
    }
    for (int i = 0; i < 6; i++) {
        for (int k = 0; k < 5000; k++) myfilter(i, 0, &y);  // brings it to rest
        expectEquation("myfilter", S7, [&](double x) {
            for (int none : {-1, 6, INT_MAX}) myfilter(none, 1e6, &y);
            EXPECT_EQ(y, 0.0);
            myfilter((i + 1) % 6, x * x, &y);
            myfilter(i, x, &y);
            return y;
        });
    }
}

TEST(Filters, HaveTheirGainAndCorner) {
    for (const Set* set : {&S1, &S2, &S3, &S4, &S5, &S6, &S7, &S8, &S9}) {
        const auto gain = [&](double hertz) {
            std::complex<double> above, below;
            for (size_t i = 0; i < set->a.size(); i++) {
                const auto delay = std::polar(1.0, -2 * M_PI * hertz / 1000 * static_cast<double>(i));
                above += set->b[i] * delay;
                below += set->a[i] * delay;
            }
            return std::abs(above / below);
        };
        const double fallen = std::sqrt(0.5) * gain(0);
        EXPECT_NEAR(gain(0), set->gain, 5e-4) << set->corner;
        EXPECT_GT(gain(set->corner - set->cornerTolerance), fallen) << set->corner;
        EXPECT_LT(gain(set->corner + set->cornerTolerance), fallen) << set->corner;
    }
}

TEST(Filters, StayWithinTheirRecordsAtAnyIndex) {
    for (const Section& section : kSections) {
        spoilHistories();
        std::fill_n(section.in[0], 36, 1.0);
        std::fill_n(section.out[0], 36, 1.0);
        for (int index : {INT_MIN, -1, 0, 1, 3, 5, 6, 9, 10, INT_MAX})
            for (int column : {INT_MIN, -1, 0, 5, 6, INT_MAX}) {
                double y = kNan;
                section.run(column, index, &y);
                const bool there = column >= 0 && column < 6 && index >= 0 && index < 10;
                EXPECT_TRUE(there ? std::isfinite(y) : y == 0)
                    << section.name << " " << column << " " << index;
            }
    }
    for (int index : {INT_MIN, -1, 7, INT_MAX})
        for (int n : {INT_MIN, 11, INT_MAX}) {
            BUTTERWORTHFILTER f;
            zvmcButterWorthFiltInit(&f, 1);
            f.index = index;
            f.N = n;
            double y = kNan;
            zvmcButterWorthFiltABComputer(f, &y);
            EXPECT_EQ(y, 0.0);
            for (int k = 0; k < 20; k++) zvmcButterWorthFiltProcessData(&f, 2.5, &y, 0);
            EXPECT_TRUE(std::isfinite(y) && f.index == 6);
        }
}

TEST(ButterworthFilter, AddsItsFirstSampleBackWhenAsked) {
    for (int set : {0, 1, 2, 3, -1, INT_MAX}) {
        BUTTERWORTHFILTER plain, shifted;
        zvmcButterWorthFiltInit(&plain, set);
        zvmcButterWorthFiltInit(&shifted, set);
        for (int k = 0; k < 50; k++) {
            const double x = 12345.678 + 10 * std::sin(0.1 * k);
            double without, again, y = x;
            zvmcButterWorthFiltProcessData(&plain, x, &without, 3);
            zvmcButterWorthFiltProcessData(&shifted, y, &y, 0);  // in place
            ASSERT_EQ(y, 12345.678 + without);
            ASSERT_TRUE(without == 0 || (k > 0 && set >= 0 && set <= 2));
            plain.index--;  // the row just written, once more
            zvmcButterWorthFiltABComputer(plain, &again);
            ASSERT_EQ(again, without);
            ASSERT_EQ(plain.after_pos[plain.index++], y);
        }
    }
}

TEST(MovingAverage, IsTheMeanOfTheNewestHundred) {
    MOVINGAVERAGEFILTER f;
    std::memset(&f, 0x7f, sizeof f);
    init_filter(&f);
    const auto value = [](int k) { return static_cast<float>(k * k * 7 % 2001 - 1000); };  // sums are exact
    for (int k = 0; k < 1000; k++) {
        float sum = 0;
        for (int i = std::max(k - 99, 0); i <= k; i++) sum += value(i);
        ASSERT_EQ(update_filter(&f, value(k)), sum / static_cast<float>(std::min(k + 1, 100))) << k;
    }
    for (int index : {INT_MIN, -1, 100, INT_MAX}) {
        f.index = index;
        update_filter(&f, 1);
        EXPECT_EQ(f.index, 1) << index;
    }
}

TEST(Notch, TakesOutItsCenterWithinItsBand) {
    // center, octaves, frequency and gain there
    const double rows[][4] = {{10, 5, 0, 1},  {10, 5, 10, 0},         {10, 5, 450, 1},
                              {40, 1, 40, 0}, {40, 1, 56.57, 0.7071}, {40, 1, 28.28, 0.7071}};
    for (const auto& [center, octaves, hertz, gain] : rows) {
        BIQUAD f;
        std::memset(&f, 0x7f, sizeof f);
        init_notch(&f, center, octaves);
        EXPECT_NEAR(f.a0 * f.b0, 1, 1e-14);
        double in = 0, out = 0;
        for (int k = 0; k < 24000; k++) {
            const double x = std::cos(2 * M_PI * hertz * k / 1000), y = notch_process(&f, x);
            if (k >= 4000) in += x * x, out += y * y;
        }
        const double tolerance = hertz == 0 || gain == 0 ? 1e-9 : 0.006;
        EXPECT_NEAR(std::sqrt(out / in), gain, tolerance) << center << " at " << hertz << " Hz";
    }
}

TEST(LowPass, FollowsAStepInEachChannelAndClearsNothingBehindIt) {
    LOWPASSFILTER filters[2];
    std::memset(filters, 0x5a, sizeof filters);
    const LOWPASSFILTER behind = filters[1];
    init_lowpassfilter(&filters[0], 1.0F, 0.1F);
    EXPECT_EQ(std::memcmp(&filters[1], &behind, sizeof behind), 0);
    double input[6] = {1, -2, 3, 0, 1e6, 1e-6};
    for (int k = 1; k <= 50; k++) {
        float output[6];
        EXPECT_EQ(lowpassfilterMain(&filters[0], input, output), 0);
        for (int i = 0; i < 6; i++)
            EXPECT_NEAR(output[i], input[i] * (1 - std::pow(1 / 1.1, k)), 1e-6 * std::fabs(input[i])) << k;
    }
}

TEST(FilterReset, ClearsWhatItsTwoConditionsNameAndNothingElse) {
    fixture::start(101);
    ArmFilters& a = armFilters;
    for (int running : {0, 1, -1})
        for (int model : {0, 1, 2, 3}) {
            std::string got;
            const auto each = [&](auto&& f) {
                f(a.filt), f(a.filt1), f(cpd.compedence_index), f(cpd.initpos), f(a.filt2), f(a.filt3),
                    f(a.filt4);
                f(a.filt5), f(a.filt6), f(a.lowpassfilter), f(forceFilters), f(solveX.X), f(solveX.flag1);
            };
            each([](auto& record) { std::memset(static_cast<void*>(&record), 0x5a, sizeof record); });
            solveX.flag = running;
            mcb.newTeachEnable = static_cast<uint8_t>(model);
            const fixture::Blocks before;
            EXPECT_EQ(zvmcdynfiltresert(), 0);
            // 'z' zero, 'm' all bytes marked, '?' neither
            each([&](auto& record) {
                const std::string bytes(reinterpret_cast<const char*>(&record), sizeof record);
                const bool uniform = bytes.find_first_not_of(bytes[0]) == std::string::npos;
                got += uniform && bytes[0] == 0 ? 'z' : uniform && bytes[0] == '\x5a' ? 'm' : '?';
            });
            const std::string want = std::string(4, running == 0 ? 'z' : 'm') +
                                     std::string(3, model == 2 ? 'z' : 'm') + std::string(6, 'm');
            EXPECT_EQ(got, want) << "solveX.flag " << running << ", newTeachEnable " << model;
            EXPECT_TRUE(solveX.flag == running && before.unchanged() && fixture::calls().empty());
        }
}

}  // namespace
