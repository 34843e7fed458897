#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

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

// A filter of one signal: how to bring it to rest, and its next output.
struct Case {
    std::string name;
    const Set& set;
    std::function<void()> start;
    std::function<double(double)> next;
};

std::vector<Case> cases() {
    std::vector<Case> all;
    for (const Section& section : kSections)
        for (int i = 0; i < 6; i++)
            all.push_back({section.name + (" column " + std::to_string(i)), section.set,
                           [&] {
                               spoilHistories();  // what has not been written is not there
                               section.record.index = 0;
                           },
                           [&, i](double x) { return sample(section, i, x); }});
    static BUTTERWORTHFILTER f;
    static double y;
    for (auto [flag, set] : {std::pair{0, &S8}, {1, &S1}, {2, &S9}})
        all.push_back({"Butterworth " + std::to_string(flag), *set,
                       [flag] {
                           std::memset(&f, 0x7f, sizeof f);  // whatever was there goes
                           EXPECT_EQ(zvmcButterWorthFiltInit(&f, flag), 0);
                           zvmcButterWorthFiltProcessData(&f, 0, &y, 1);  // the first sample is the offset
                       },
                       [](double x) {
                           EXPECT_EQ(zvmcButterWorthFiltProcessData(&f, x, &y, 1), 0);
                           return y;
                       }});
    for (int i = 0; i < 6; i++)
        all.push_back({"myfilter " + std::to_string(i), S7,
                       [i] {
                           for (int k = 0; k < 5000; k++) myfilter(i, 0, &y);
                       },
                       [i](double x) {
                           for (int none : {-1, 6, INT_MAX}) myfilter(none, 1e6, &y);
                           EXPECT_EQ(y, 0.0);
                           myfilter((i + 1) % 6, x * x, &y);
                           myfilter(i, x, &y);
                           return y;
                       }});
    return all;
}

// Gain at a frequency, Hz, once settled.
double gainAt(double hertz, double settle, const std::function<double(double)>& next) {
    const double w = hertz * 2 * M_PI / 1000;
    int k = 0;
    for (; k < settle * 1000; k++) next(std::cos(w * k));
    if (hertz == 0) return next(1.0);
    double inPhase = 0, quadrature = 0;
    const int length = static_cast<int>(std::lround(std::ceil(5 * hertz) * 1000 / hertz));  // whole periods
    for (const int end = k + length; k < end; k++) {
        const double y = next(std::cos(w * k));
        inPhase += y * std::cos(w * k);
        quadrature += y * std::sin(w * k);
    }
    return 2 * std::hypot(inPhase, quadrature) / length;
}

TEST(Filters, AreTheirDifferenceEquationsFromTheFirstSampleOn) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> value(-200, 200);
    for (const Case& one : cases()) {
        // the same over the whole past, in extended precision
        std::vector<long double> x, y;
        long double worst = 0, largest = 0, feedback = 0;
        one.start();
        for (int k = 0; k < 10000; k++) {
            x.push_back(value(random));
            long double want = 0;
            for (size_t i = 0; i < one.set.b.size() && i < x.size(); i++) {
                want += static_cast<long double>(one.set.b[i]) * x[x.size() - 1 - i];
                if (i > 0) want -= static_cast<long double>(one.set.a[i]) * y[y.size() - i];
            }
            y.push_back(want);
            largest = std::max(largest, std::fabs(want));
            const long double difference = std::fabs(one.next(static_cast<double>(x.back())) - want);
            if (!(difference <= worst * largest)) worst = difference / largest;  // NaN counts too
        }
        // feedback amplifies a rounding: 2e-9 in all at 2.8 Hz of fourth order, below 1e-10 elsewhere
        for (double a : one.set.a) feedback += a;
        EXPECT_LT(worst, (1 / std::fabs(feedback) + 100) * 2.2e-16L) << one.name;
    }
}

TEST(Filters, HaveTheirGainAndCorner) {
    for (const Case& one : cases()) {
        const double settle = 12 / one.set.corner;
        const auto gain = [&](double hertz) {
            one.start();
            return gainAt(hertz, settle, one.next);
        };
        EXPECT_NEAR(gain(0), one.set.gain, 5e-4) << one.name;
        const double fallen = std::sqrt(0.5) * gain(0);
        EXPECT_GT(gain(one.set.corner - one.set.cornerTolerance), fallen) << one.name;
        EXPECT_LT(gain(one.set.corner + one.set.cornerTolerance), fallen) << one.name;
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
    const double offset = 12345.678;
    for (int set : {0, 1, 2, 3, -1, INT_MAX}) {
        BUTTERWORTHFILTER f[2];
        double y[2] = {offset, offset}, again;
        for (auto& one : f) zvmcButterWorthFiltInit(&one, set);
        for (int k = 0; k < 50; k++) {
            for (int flag : {0, 1}) {
                y[flag] = offset + 10 * std::sin(0.1 * k);
                zvmcButterWorthFiltProcessData(&f[flag], y[flag], &y[flag], 3 * flag);  // in place
            }
            ASSERT_EQ(y[0], offset + y[1]);
            ASSERT_TRUE(y[1] == 0 || (k > 0 && set >= 0 && set <= 2));
            f[1].index--;  // the row just written, once more
            zvmcButterWorthFiltABComputer(f[1], &again);
            ASSERT_EQ(again, y[1]);
            ASSERT_EQ(f[1].after_pos[f[1].index], y[0]);
            f[1].index++;
        }
    }
}

TEST(MovingAverage, IsTheMeanOfTheNewestHundred) {
    MOVINGAVERAGEFILTER f;
    std::memset(&f, 0x7f, sizeof f);
    init_filter(&f);
    std::mt19937 random(3);
    std::vector<int> all;
    for (int k = 0; k < 1000; k++) {
        all.push_back(static_cast<int>(random() % 2001) - 1000);  // sums are exact in single precision
        const int count = std::min(k + 1, 100);
        float sum = 0;
        for (int i = k + 1 - count; i <= k; i++) sum += static_cast<float>(all[static_cast<size_t>(i)]);
        ASSERT_EQ(update_filter(&f, static_cast<float>(all.back())), sum / static_cast<float>(count)) << k;
    }
    for (int index : {INT_MIN, -1, 100, INT_MAX}) {
        f.index = index;
        update_filter(&f, 1);
        EXPECT_TRUE(f.index >= 0 && f.index < 100) << index;
    }
}

TEST(Notch, TakesOutItsCenterWithinItsBand) {
    BIQUAD f;
    const struct {
        double center, octaves, hertz, gain, tolerance;
    } rows[] = {{10, 5, 0, 1, 1e-9},  {10, 5, 10, 0, 1e-9},          {10, 5, 450, 1, 0.01},
                {40, 1, 40, 0, 1e-9}, {40, 1, 56.57, 0.7071, 0.005}, {40, 1, 28.28, 0.7071, 0.005}};
    for (const auto& row : rows) {
        std::memset(&f, 0x7f, sizeof f);
        init_notch(&f, row.center, row.octaves);
        const double gain = gainAt(row.hertz, 4, [&](double x) { return notch_process(&f, x); });
        EXPECT_NEAR(gain, row.gain, row.tolerance) << row.center << " at " << row.hertz << " Hz";
        init_notch(&f, row.center, row.octaves);
        EXPECT_EQ(notch_process(&f, 3.0), f.b0 * 3.0);
        EXPECT_NEAR(f.a0 * f.b0, 1, 1e-14);
    }
}

TEST(LowPass, FollowsAStepInEachChannelAndClearsNothingBehindIt) {
    struct {
        LOWPASSFILTER filter;
        char behind[200];
    } place;
    std::memset(&place, 0x5a, sizeof place);
    init_lowpassfilter(&place.filter, 1.0F, 0.1F);
    for (char c : place.behind) ASSERT_EQ(c, 0x5a);
    for (int k = 1; k <= 50; k++) {
        double input[6] = {1, -2, 3, 0, 1e6, 1e-6};
        float output[6];
        EXPECT_EQ(lowpassfilterMain(&place.filter, input, output), 0);
        for (int i = 0; i < 6; i++)
            EXPECT_NEAR(output[i], input[i] * (1 - std::pow(1 / 1.1, k)), 1e-6 * std::fabs(input[i])) << k;
    }
}

// 'z' zero, 'm' all bytes marked, '?' neither
template <typename Record>
char look(const Record& record) {
    const char* bytes = reinterpret_cast<const char*>(&record);
    for (char want : {'\0', '\x5a'})
        if (std::all_of(bytes, bytes + sizeof record, [&](char c) { return c == want; }))
            return want == 0 ? 'z' : 'm';
    return '?';
}

TEST(FilterReset, ClearsWhatItsTwoConditionsNameAndNothingElse) {
    fixture::start(101);
    const auto mark = [](auto& record) { std::memset(static_cast<void*>(&record), 0x5a, sizeof record); };
    for (int running : {0, 1, -1})
        for (int model : {0, 1, 2, 3}) {
            mark(armFilters), mark(forceFilters), mark(cpd), mark(solveX);
            solveX.flag = running;
            mcb.newTeachEnable = static_cast<uint8_t>(model);
            const fixture::Blocks before;
            EXPECT_EQ(zvmcdynfiltresert(), 0);
            const auto& a = armFilters;
            const std::string got = {look(a.filt),          look(a.filt1),      look(cpd.compedence_index),
                                     look(cpd.initpos),     look(a.filt2),      look(a.filt3),
                                     look(a.filt4),         look(a.filt5),      look(a.filt6),
                                     look(a.lowpassfilter), look(forceFilters), look(solveX.X),
                                     look(solveX.flag1)};
            const std::string want = std::string(4, running == 0 ? 'z' : 'm') +
                                     std::string(3, model == 2 ? 'z' : 'm') + std::string(6, 'm');
            EXPECT_EQ(got, want) << "solveX.flag " << running << ", newTeachEnable " << model;
            EXPECT_TRUE(solveX.flag == running && before.unchanged() && fixture::calls().empty());
        }
}

}  // namespace
