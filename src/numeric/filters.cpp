// Digital filters, their coefficients designed outside for samples of 1 ms.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "numeric/filter_records.h"

namespace tarn {

ArmFilters armFilters;
ForceFilters forceFilters;

namespace {

// ---- coefficients: a the denominator, b the numerator

struct Coefficients {
    int n;  // per side: the order plus 1
    double a[5], b[5];
};

// clang-format off

// -3 dB at 2.8 Hz
constexpr Coefficients kOrder4At2p8Hz = {5,
    {1.0, -3.953836739036792, 5.862572756863548, -3.863621026769476, 0.954885104129417},
    {5.949168623009538e-09, 2.379667449203815e-08, 3.569501173805723e-08, 2.379667449203815e-08, 5.949168623009538e-09}};

// 80 Hz, rounded to four places: the gain of 0.9916 at zero frequency is part of what its users are tuned to
constexpr Coefficients kOrder4At80Hz = {5,
    {1.0, -2.6926, 2.8674, -1.4035, 0.2646},
    {0.0022, 0.0089, 0.0134, 0.0089, 0.0022}};

constexpr Coefficients kOrder3At5Hz = {4,
    {1.0, -2.93717585357136, 2.87630965551717, -0.939103754520731},
    {3.75592813463277e-06, 1.12677844038983e-05, 1.12677844038983e-05, 3.75592813463277e-06}};

constexpr Coefficients kOrder2At100Hz = {3,
    {1.0, -1.1429805025399, 0.412801598096189},
    {0.0674552738890719, 0.134910547778144, 0.0674552738890719}};

constexpr Coefficients kOrder2At0p4Hz = {3,
    {1.0, -1.99644569738134, 0.996452002719291},
    {1.57633448805864e-06, 3.15266897611727e-06, 1.57633448805864e-06}};

// 3.9 Hz, the denominator rounded: a gain of 1.034 at zero frequency, likewise kept
constexpr Coefficients kOrder2At3p9Hz = {3,
    {1.0, -1.9645, 0.9651},
    {0.0001551484234756995, 0.000310296846951399, 0.0001551484234756995}};

constexpr Coefficients kOrder4At10Hz = {5,
    {1.0, -3.83582554064735, 5.52081913662223, -3.53353521946302, 0.848555999266477},
    {8.98486146397045e-07, 3.59394458558818e-06, 5.39091687838227e-06, 3.59394458558818e-06, 8.98486146397045e-07}};

constexpr Coefficients kOrder2At2p8Hz = {3,
    {1.0, -1.97502398483361, 0.975332061958806},
    {7.70192812997728e-05, 0.000154038562599546, 7.70192812997728e-05}};

constexpr Coefficients kOrder2At15p8Hz = {3,
    {1.0, -1.85982678731441, 0.869027376715565},
    {0.00230014735028783, 0.00460029470057566, 0.00230014735028783}};

// clang-format on

// ---- the difference equation

constexpr int kRows = 6;     // samples that a history holds
constexpr int kColumns = 6;  // joints or axes

// Samples of one signal, `stride` numbers apart. What is not held, before the first sample or beyond the
// record, counts as zero.
struct History {
    const double* first;
    std::size_t stride;

    double at(int index, int back) const {
        const unsigned row =
            static_cast<unsigned>(index) - static_cast<unsigned>(back);  // no row if negative
        return row < kRows ? first[row * stride] : 0.0;
    }
};

// y(index) = sum of b[i] x(index - i) - sum of a[i] y(index - i), summed in one of two orders: the last bits
// differ.

double tapByTap(const double* a, const double* b, int n, History x, History y, int index) {
    double yy = 0.0;
    for (int i = 0; i < n; i++) {
        if (i == 0)
            yy += b[0] * x.at(index, 0);
        else
            yy = b[i] * x.at(index, i) + yy - a[i] * y.at(index, i);
    }
    return yy;
}

double inputsFirst(const double* a, const double* b, History x, History y, int index) {
    return b[0] * x.at(index, 0) + b[1] * x.at(index, 1) + b[2] * x.at(index, 2) - a[1] * y.at(index, 1) -
           a[2] * y.at(index, 2);
}

// ---- the fixed sections

enum class Order { TapByTap, InputsFirst };  // InputsFirst is for second-order sets

struct Section {
    const Coefficients& set;
    const filter& record;
    double (filter::*input)[kRows][kColumns];
    double (filter::*output)[kRows][kColumns];
    Order order;
};

using enum Order;
constexpr ArmFilters& arm = armFilters;
constexpr ForceFilters& force = forceFilters;

// clang-format off
//                                         coefficients     history      inputs           outputs               order of the sum
constexpr Section kButtord             = {kOrder4At2p8Hz,  arm.filt,    &filter::j_pos,  &filter::prej_pos,    TapByTap};
constexpr Section kFilterData          = {kOrder3At5Hz,    arm.filt1,   &filter::j_pos,  &filter::prej_pos,    TapByTap};
constexpr Section kFive                = {kOrder4At2p8Hz,  arm.filt2,   &filter::j_pos,  &filter::prej_pos,    TapByTap};
constexpr Section kDualEncoder         = {kOrder4At80Hz,   arm.filt4,   &filter::j_pos,  &filter::afterj_pos,  TapByTap};
constexpr Section kLoad                = {kOrder4At2p8Hz,  arm.filt5,   &filter::j_pos,  &filter::prej_pos,    TapByTap};
constexpr Section kLoadPosition        = {kOrder4At2p8Hz,  arm.filt5,   &filter::j_acc,  &filter::prej_acc,    TapByTap};
constexpr Section kForceCollision      = {kOrder4At2p8Hz,  arm.filt6,   &filter::j_acc,  &filter::prej_acc,    TapByTap};
constexpr Section kSensorDrag          = {kOrder4At80Hz,   force.filt5, &filter::j_pos,  &filter::afterj_pos,  TapByTap};
constexpr Section kForceControl        = {kOrder2At100Hz,  force.filt7, &filter::j_pos,  &filter::prej_pos,    InputsFirst};
constexpr Section kForceTorqueDrag     = {kOrder2At0p4Hz,  force.filt6, &filter::j_pos,  &filter::prej_pos,    InputsFirst};
constexpr Section kForceControlNormal  = {kOrder2At3p9Hz,  force.filt8, &filter::j_pos,  &filter::prej_pos,    InputsFirst};
// clang-format on

int run(const Section& section, int column, int index, double* result) {
    if (column < 0 || column >= kColumns) {
        *result = 0.0;
        return 0;
    }
    const auto signal = [&](auto rows) { return History{&(section.record.*rows)[0][column], kColumns}; };
    const History x = signal(section.input), y = signal(section.output);
    const auto& [n, a, b] = section.set;
    *result = section.order == TapByTap ? tapByTap(a, b, n, x, y, index) : inputsFirst(a, b, x, y, index);
    return 0;
}

// ---- the filter with coefficients of its own

// Coefficients by the flag of zvmcButterWorthFiltInit.
constexpr const Coefficients* kButterworth[] = {&kOrder2At2p8Hz, &kOrder4At2p8Hz, &kOrder2At15p8Hz};

double butterworth(const BUTTERWORTHFILTER& f) {
    const int n = std::min(f.N, static_cast<int>(std::size(f.a)));
    return tapByTap(f.a, f.b, n, {f.pos, 1}, {f.pre_pos, 1}, f.index);
}

// ---- myfilter

// Newest samples in row 0.
struct DirectHistory {
    double xa[5][kColumns];  // inputs
    double yb[4][kColumns];  // outputs
};
DirectHistory direct;

}  // namespace
}  // namespace tarn

using namespace tarn;

int buttord(int index1, int index, double* result) { return run(kButtord, index1, index, result); }
int filter_data(int index1, int index, double* resultq) { return run(kFilterData, index1, index, resultq); }
int Fivebuttord(int index1, int index, double* result) { return run(kFive, index1, index, result); }
int TualEncoderbuttord(int index1, int index, double* result) {
    return run(kDualEncoder, index1, index, result);
}
int Loadbuttord(int index1, int index, double* result) { return run(kLoad, index1, index, result); }
int LoadPosbuttord(int index1, int index, double* result) {
    return run(kLoadPosition, index1, index, result);
}
int ForceCollisionbuttord(int index1, int index, double* result) {
    return run(kForceCollision, index1, index, result);
}
int SensorDragbuttord(int index1, int index, double* result) {
    return run(kSensorDrag, index1, index, result);
}
int buttordFTControl(int index1, int index, double* result) {
    return run(kForceControl, index1, index, result);
}
int TwoForceAndTorqueDragbuttord(int index1, int index, double* result) {
    return run(kForceTorqueDrag, index1, index, result);
}
int buttordFTControlThetaf(int index1, int index, double* result) {
    return run(kForceControlNormal, index1, index, result);
}

int zvmcButterWorthFiltInit(BUTTERWORTHFILTER* filtmode, int flag) {
    *filtmode = {};
    if (flag < 0 || flag >= static_cast<int>(std::size(kButterworth))) return 0;
    const Coefficients& set = *kButterworth[flag];
    filtmode->N = set.n;
    std::copy_n(set.a, set.n, filtmode->a);
    std::copy_n(set.b, set.n, filtmode->b);
    return 0;
}

int zvmcButterWorthFiltABComputer(BUTTERWORTHFILTER filtmode, double* result) {
    *result = butterworth(filtmode);
    return 0;
}

int zvmcButterWorthFiltProcessData(BUTTERWORTHFILTER* filtmode, double x, double* y, int flag) {
    int& index = filtmode->index;
    index = std::max(index, 0);
    // the first sample becomes the offset: no transient from zero up to the signal
    if (index == 0) filtmode->pos0 = x;
    if (index >= FILTERMAXLEN) {
        for (double* rows : {filtmode->pos, filtmode->pre_pos, filtmode->after_pos})
            std::copy_n(rows + 1, FILTERMAXLEN - 1, rows);
        index = FILTERMAXLEN - 1;
    }
    filtmode->pos[index] = x - filtmode->pos0;
    const double result = butterworth(*filtmode);
    filtmode->pre_pos[index] = result;
    filtmode->after_pos[index] = filtmode->pos0 + result;
    *y = flag != 0 ? result : filtmode->after_pos[index];
    index++;
    return 0;
}

void myfilter(int jj, double x, double* yy) {
    *yy = 0.0;
    if (jj < 0 || jj >= kColumns) return;
    auto& [xa, yb] = direct;
    const auto& [n, a, b] = kOrder4At10Hz;
    for (int j = n - 1; j > 0; j--) xa[j][jj] = xa[j - 1][jj];
    xa[0][jj] = x;
    double inputs = 0.0, outputs = 0.0;
    for (int j = 0; j < n; j++) inputs += xa[j][jj] * b[j];
    for (int j = 0; j < n - 1; j++) outputs += yb[j][jj] * a[j + 1];
    *yy = inputs - outputs;
    for (int j = n - 2; j > 0; j--) yb[j][jj] = yb[j - 1][jj];
    yb[0][jj] = *yy;
}

void init_filter(MOVINGAVERAGEFILTER* filter) { *filter = {}; }

float update_filter(MOVINGAVERAGEFILTER* filter, float new_value) {
    auto& [buffer, index, sum, count] = *filter;
    if (index < 0 || index >= BUFFER_SIZE) index = 0;
    if (count >= BUFFER_SIZE)
        sum -= buffer[index];
    else
        count++;
    sum += new_value;
    buffer[index] = new_value;
    index = (index + 1) % BUFFER_SIZE;
    return sum / static_cast<float>(std::min(count, BUFFER_SIZE));
}

void init_notch(BIQUAD* filter, double center_freq, double bandwidth) {
    const double w0 = center_freq * 6.283185307179586 / 1000.0;
    // half of ln 2, for a bandwidth in octaves
    const double alpha = std::sin(w0) * std::sinh(0.34657359027997264 * bandwidth * w0 / std::sin(w0));
    *filter = {};
    filter->a0 = 1 + alpha;  // stays as it is, while all others are divided by it
    filter->a1 = filter->b1 = -2 * std::cos(w0) / filter->a0;
    filter->a2 = (1 - alpha) / filter->a0;
    filter->b0 = filter->b2 = 1 / filter->a0;
}

double notch_process(BIQUAD* filter, double input) {
    auto& [a0, a1, a2, b0, b1, b2, x1, x2, y1, y2] = *filter;
    const double output = b0 * input + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
    x2 = x1;
    x1 = input;
    y2 = y1;
    y1 = output;
    return output;
}

void init_lowpassfilter(LOWPASSFILTER* filter, float RC, float dt) {
    *filter = {};
    filter->alpha = dt / (RC + dt);
}

int lowpassfilterMain(LOWPASSFILTER* filter, double* input, float* output) {
    const double alpha = static_cast<double>(filter->alpha);
    for (int i = 0; i < kColumns; i++) {
        const double mixed = alpha * input[i] + (1 - alpha) * static_cast<double>(filter->prev_output[i]);
        filter->prev_output[i] = output[i] = static_cast<float>(mixed);
    }
    return 0;
}
