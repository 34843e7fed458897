#include "support/reference.h"

#include <cmath>
#include <cstdlib>
#include <iterator>
#include <limits>

#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace ref {

// clang-format off
const Arm kArms[] = {
    {"B", {152, -425, -395, 102, 102, 100}, {4.64, 10.08, 2.71, 1.56, 1.56, 0.36},
     {-0.19, -18.28, 2.26, 212.47, 0, 121.2, 122.62, 0.17, 12.59, 0.05, -2.33, 14.68, -0.05, 2.33, 14.68, 0.93, 0.81, -20.05},
     {1615598, 1615598, 1615598, 425520, 425520, 425520}},
    {"A1", {140, -280, -240, 102, 102, 100}, {2.37, 5.21, 2.31, 1.66, 1.66, 0.34},
     {0.02, -10.77, 2.16, 139.64, 0, 104.21, 49.09, -0.01, 7.84, -0.02, -2.13, 9.03, 0.02, 2.12, 9.02, 1.47, -0.28, -19.94},
     {657160, 657160, 657160, 425520, 425520, 425520}},
    {"A2", {140, -280, -240, 102, 102, 100}, {2.24, 4.94, 2.29, 1.56, 1.56, 0.36},
     {-0.05, -15.92, 2.26, 139.49, 0, 99.54, 58.99, 0.08, 12.99, 0.05, -2.33, 14.67, -0.05, 2.33, 14.67, -0.55, -1.11, -20.05},
     {657160, 657160, 657160, 425520, 425520, 425520}},
    {"A3", {140, -280, -240, 102, 102, 100}, {2.24, 4.89, 2.29, 1.56, 1.58, 0.35},
     {0.11, 16.24, 2.21, 139.48, 0, 98.99, 59.01, 0.08, 13, 0.05, -2.33, 14.69, -0.05, 2.33, 14.69, 1.61, 1.12, -19.91},
     {657160, 657160, 657160, 425520, 425520, 425520}},
    {"A4", {140, -280, -240, 102, 102, 100}, {2.24, 4.94, 2.29, 1.56, 1.56, 0.36},
     {-0.05, -15.92, 2.26, 130.49, 0, 99.54, 58.99, 0.08, 12.99, 0.05, -2.33, 14.67, -0.05, 2.33, 14.67, -0.55, -1.11, -20.05},
     {657160, 657160, 657160, 425520, 425520, 425520}},
    {"C1", {180, -700, -586, 195, 114, 106}, {12.7, 19.57, 3.87, 2.17, 2, 0.35},
     {0, -24.27, 3.75, 491.29, -0.03, 165.79, 169.53, -0.01, 50.02, -44.97, -6.92, -2.84, -0.02, 2.58, 5.66, -0.14, -1.54, -20.27},
     {1.747266e+07, 1.747266e+07, 1615598, 657160, 657160, 657160}},
    {"C2", {180, -700, -586, 159, 114, 106}, {11.97, 19.59, 3.7, 1.69, 1.69, 0.35},
     {-0.1, -26.12, 4.04, 480.27, 0.01, 164.68, 211.22, 0.11, 54.21, 0.12, -3, 12.18, -0.12, 3, 12.18, 1.24, 0.85, -20.34},
     {1.747266e+07, 1.747266e+07, 1615598, 657160, 657160, 657160}},
    {"D1", {180, -520, -400, 195, 114, 106}, {12.7, 19.57, 3.87, 2.17, 2, 0.35},
     {0.03, -25.7, 3.78, 364.73, -0.04, 164.55, 102.33, 0.03, 51.01, 0.04, -7.64, 5.39, -0.04, 2.59, 5.83, -0.14, -1.54, -20.27},
     {1.747266e+07, 1.747266e+07, 1615598, 657160, 657160, 657160}},
    {"D2", {180, -520, -400, 159, 114, 106}, {11.97, 18.18, 3.22, 1.69, 1.69, 0.35},
     {-0.1, -26.12, 4.04, 364.4, 0.01, 163.09, 135.03, 0.12, 55.58, 0.12, -3, 12.18, -0.12, 3, 12.18, 1.24, 0.85, -20.34},
     {1.747266e+07, 1.747266e+07, 1615598, 657160, 657160, 657160}},
    {"E", {215, -1000, -716, 166, 138, 120}, {20.79, 42.84, 9.88, 4.64, 4.64, 0.6},
     {-0.19, -36.57, 5.68, 605.25, 0.06, 202.94, 262.84, 0.22, 43.08, 0.23, -2.28, 18.42, -0.23, 2.28, 18.42, -2.11, -1.96, -20.38},
     {4.9675e+07, 4.9675e+07, 2.620899e+07, 1615598, 1615598, 1615598}},
    {"PQ1", {140, -420, 12, 360, 102, 100}, {2.26, 4.53, 1.56, 1.97, 1.56, 0.35},
     {-0.11, -16.1, 2.16, 245.09, 0.04, 100.93, -0.05, 2.33, 14.67, -0.06, 38.54, 11.65, -0.05, 2.33, 14.67, -1.51, -1.37, -19.91},
     {657160, 657160, 425520, 425520, 425520, 425520}},
    {"PQ2", {140, -425, -395, 102, 102, 100}, {1.66, 3.74, 2, 1.17, 1.17, 0.28},
     {-0.06, 13.58, 1.68, 212.5, 0, 101.93, 114.17, 0.08, 9.92, 0.07, -2.18, 12.48, -0.07, 2.18, 12.48, 1.9, 1.6, -20.08},
     {312933, 312933, 312933, 319140, 319140, 319140}},
    // what the gravity torque takes for PQ2
    {"PQ2 gravity", {140, -425, -395, 102, 102, 100}, {1.54, 3.49, 2.0, 1.17, 1.17, 0.28},
     {-0.01, -14.27, 1.37, 212.5, 0, 101.43, 114.17, 0.08, 9.92, 0.07, -2.18, 12.48, -0.07, 2.18, 12.48, 1.9, 1.6, -20.08},
     {312933, 312933, 312933, 319140, 319140, 319140}},
    {"PQ3", {140, -280, -240, 102, 102, 100}, {1.66, 3.68, 1.81, 1.18, 1.18, 0.28},
     {-0.06, -13.58, 1.68, 140.11, 0, 101.71, 63.49, 0.1, 10.94, 0.07, -2.18, 12.48, -0.07, 2.18, 12.48, 1.81, 1.33, -20.41},
     {156467, 156467, 156467, 177300, 177300, 177300}},
    {"GL1", {140, -280, -240, 102, 102, 100}, {1.59, 3.41, 1.68, 1.14, 1.14, 0.35},
     {-0.11, -14.84, 1.91, 140, 0, 100.14, 62.54, 0.11, 12.4, 0.05, -2.29, 13.75, -0.06, 2.28, 13.74, -1.51, -1.37, -19.91},
     {962147.9, 962147.9, 962147.9, 434072.9, 434072.9, 434072.9}},
    {"HN1", {180, -700, -586, 211, 114, 106}, {},
     {},
     {1.747266e+07, 1.747266e+07, 1615598, 657160, 657160, 657160}},
    {"GL2", {150, -280, -240, 102, 102, 100}, {1.55, 3.34, 1.5, 1.1, 1.11, 0.35},
     {-0.11, -14.5, 1.53, 140, 0, 100.52, 47.11, 0.06, 12.14, 0.05, -1.54, 13.61, -0.07, 1.53, 13.59, -1.51, -1.37, -19.91},
     {962147.9, 962147.9, 962147.9, 434072.9, 434072.9, 434072.9}},
    {"F", {215, -700, -536, 166, 138, 120}, {20.64, 36.37, 8.41, 4.64, 4.64, 0.6},
     {-0.22, -37.39, 5.59, 440.73, 0.05, 198.7, 185.64, 0.25, 45.82, 0.23, -2.29, 18.6, -0.23, 2.29, 18.6, -2.11, -1.96, -20.38},
     {3.974e+07, 3.974e+07, 2.620899e+07, 1615598, 1615598, 1615598}},
};
const int kArmCount = std::size(kArms);

namespace {

template <typename T>
struct Band {
    int first, last;
    T value;
};

template <typename T, size_t N>
const T& look(const Band<T> (&bands)[N], const T& other, int type) {
    for (const Band<T>& band : bands)
        if (type >= band.first && type <= band.last) return band.value;
    return other;
}

struct Sets {
    std::string_view dynamics, gravity;
};
const Sets kSetsOther = {"B", "B"};
const Band<Sets> kSets[] = {
    {   0,    0, {"B",   "B"}},
    {   1,    1, {"A1",  "A1"}},
    {   2,    2, {"A2",  "A1"}},
    {   3,    3, {"A3",  "A3"}},
    {   4,  100, {"A4",  "A4"}},
    { 101,  200, {"B",   "B"}},
    { 201,  201, {"C1",  "C1"}},
    { 202,  300, {"C2",  "C2"}},
    { 301,  301, {"D1",  "D1"}},
    { 302,  400, {"D2",  "D2"}},
    { 401,  500, {"E",   "E"}},
    { 701,  701, {"PQ1", "PQ1"}},
    { 702,  702, {"PQ2", "PQ2 gravity"}},
    { 703,  703, {"PQ3", "PQ3"}},
    { 704,  800, {"",    ""}},
    { 801,  900, {"PQ1", ""}},
    { 901,  901, {"GL1", "GL1"}},
    { 902,  902, {"HN1", ""}},
    { 903,  903, {"GL2", "GL2"}},
    {1001, 1100, {"F",   "F"}},
};

const int kGravityModelOther = 101;
const Band<int> kGravityModel[] = {
    {   0,    0, 101},
    {   1,    1, 1},
    {   2,    2, 2},
    {   3,    3, kOwnModel},
    {   4,  100, 1},
    { 101,  101, 101},
    { 102,  102, 102},
    { 103,  103, kOwnModel},
    { 104,  200, 101},
    { 201,  201, 201},
    { 202,  202, 202},
    { 203,  300, 201},
    { 301,  301, 301},
    { 302,  302, 302},
    { 303,  400, 301},
    { 401,  401, 401},
    { 402,  402, 402},
    { 403,  500, 401},
    { 501,  700, kNoModel},
    { 701,  800, kOwnModel},
    { 801,  900, kNoModel},
    {1001, 1100, kOwnModel},
};

enum Motor { m60, m60L, m80, m130, m130L };
struct Motors {
    Motor joint[6];
};
const Motors kMotorsOther = {{m80, m80, m80, m60, m60, m60}};
const Band<Motors> kMotors[] = {
    {   1,  100, {{m60L,  m60L,  m60L, m60,  m60,  m60}}},
    { 101,  200, {{m80,   m80,   m80,  m60,  m60,  m60}}},
    { 201,  400, {{m130,  m130,  m80,  m60L, m60L, m60L}}},
    { 401,  500, {{m130L, m130L, m130, m80,  m80,  m80}}},
    { 501,  600, {{m60,   m60,   m60,  m60,  m60,  m60}}},
    { 601,  700, {{m80,   m80,   m80,  m60,  m60,  m60}}},
    { 702,  703, {{m60L,  m60L,  m60L, m60,  m60,  m60}}},
    { 701,  900, {{m60L,  m60L,  m60,  m60,  m60,  m60}}},
    { 901,  901, {{m60L,  m60L,  m60L, m60,  m60,  m60}}},
    { 902,  902, {{m130,  m130,  m80,  m60L, m60L, m60L}}},
    {1001, 1100, {{m130L, m130L, m130, m80,  m80,  m80}}},
};

// curve sizes of joints 1 to 6, 0 for none; guided: the gains apply in hand guiding
struct Curves {
    int size[6];
    bool guided;
};
const Curves kCurvesOther = {{25, 25, 25, 14, 14, 14}, false};
const Band<Curves> kCurves[] = {
    {   0,    0, {{25, 25, 25, 14, 14, 14}, true}},
    {   1,  100, {{17, 17, 17, 14, 14, 14}, true}},
    { 101,  200, {{25, 25, 25, 14, 14, 14}, true}},
    { 201,  400, {{32, 32, 25, 17, 17, 17}, true}},
    { 401,  500, {{40, 40, 32, 25, 25, 25}, true}},
    { 701,  701, {{17, 17, 14, 14, 14, 14}, true}},
    { 702,  703, {{17, 17, 17, 14, 14, 14}, true}},
    { 704,  800, {{ 0,  0,  0,  0,  0,  0}, true}},
    { 801,  900, {{17, 17, 14, 14, 14, 14}, false}},
    { 901,  901, {{17, 17, 17, 14, 14, 14}, false}},
    { 902,  902, {{32, 32, 25, 17, 17, 17}, false}},
    {1001, 1001, {{40, 40, 32, 25, 25, 25}, true}},
};

struct Fit {
    int size, type;
    bool high;
    long double fc, fs, qs, yita, sita;
};
const Fit kFits[] = {
    {14, -1, false,    1.2523L,   1.3676L,  0.0126L, 2579.9799L,  2.1091L},
    {14, -1, true,    -9.4779L,   1.4954L, -6.0408L,   20.2514L,  1.5311L},
    {17, -1, false,    2.1779L,   8.8225L,  0.0073L,  151.1883L,  3.5497L},
    {17, -1, true,     5.7085L,  -2.5677L, -4.4524L,  -19.6854L,  1.9261L},
    {25,  0, false,    5.3406L,  12.4693L, -0.012L,   153.1699L, 11.4372L},
    {25,  0, true,    13.6401L,   6.8902L,  0.6317L,   21.9747L,  1.3145L},
    {25,  1, false,   10.024L,   41.523L,   0.0033L,  329.9324L, 28.289L},
    {25,  1, true,   -71.7434L,  11.3021L,  4.42725L,  23.9343L, 17.9582L},
    {32, -1, false,   12.1015L,  15.2203L,  0.0169L,  775.8381L, 23.7299L},
    {32, -1, true,   -21.0712L,  13.5558L, -2.6147L,   48.6744L, 14.8233L},
    {40, -1, false,   16.9667L, 121.7087L,  0.0089L,   65.742L,  86.3627L},
    {40, -1, true,  -114.2515L,  23.9152L, -3.5737L,  179.4015L, 35.6362L},
};
// clang-format on

}  // namespace

const Arm& arm(std::string_view name) {
    for (const Arm& one : kArms)
        if (one.name == name) return one;
    std::abort();
}

std::string_view gravityArm(int type) { return look(kSets, kSetsOther, type).gravity; }

std::string_view dynamicsArm(int type) { return look(kSets, kSetsOther, type).dynamics; }

int gravityModel(int type) { return look(kGravityModel, kGravityModelOther, type); }

double ratedTorque(int type, int joint) {
    const float sizes[] = {mpb.moterRatedTorque_60, mpb.moterRatedTorque_60L, mpb.moterRatedTorque_80,
                           mpb.moterRatedTorque_130, mpb.moterRatedTorque_130L};
    return static_cast<double>(sizes[look(kMotors, kMotorsOther, type).joint[joint]]);
}

double gearRatio(int type, int joint) {
    if (type != 702 && type != 703 && type != 901) return 100;
    return joint < 3 ? 121 : 101;
}

double frictionCurve(int size, int fit, double velocity, bool deadZone) {
    if (size == 32 && deadZone && std::fabs(velocity) < 0.001) return 0;
    const bool high = !(std::fabs(velocity) < 0.01);
    for (const Fit& f : kFits) {
        if (f.size != size || f.high != high || (f.type >= 0 && f.type != fit)) continue;
        // Stribeck and viscous friction; (1 - e) / (1 + e) with e = exp(-x) is tanh(x / 2)
        const long double v = static_cast<long double>(velocity) * 3.141592653589793L / 0.18L;
        const long double ratio = v / f.qs;
        const long double level = f.fc + (f.fs - f.fc) * std::exp(-ratio * ratio);
        return static_cast<double>(level * std::tanh(f.yita * v / 2) + f.sita * v);
    }
    std::abort();
}

double friction(int type, int state, int joint, double velocity) {
    const Curves& curves = look(kCurves, kCurvesOther, type);
    const int size = curves.size[joint];
    if (size == 0) return 0;

    const bool familyC = type >= 201 && type <= 300;
    const double limits[2][2] = {{0.180, 0.040}, {0.120, 0.180}};  // degrees per ms
    const double limit = limits[familyC][joint >= 3];
    const double v = velocity > limit ? limit : velocity < -limit ? -limit : velocity;

    const bool guiding = state == 4;
    const bool drag = guiding && curves.guided;
    double value = frictionCurve(size, mcb.jointStiffnessType == 1, v, !drag);
    if (drag) {
        const double* gains[2][2] = {{mpb.RevDeadGain, mpb.ForDeadGain}, {mpb.RevFastGain, mpb.ForFastGain}};
        value *= gains[!(std::fabs(v) < 0.01)][v > 0][joint];
    }
    const double share[6] = {0.4, 0.4, 0.5, 0.6, 0.6, 0.6};
    if (guiding) value *= familyC ? 0.4 : share[joint];
    return value;
}

int16_t toCurrent(double value) {
    if (std::isnan(value)) return 0;
    const double low = std::numeric_limits<int32_t>::min(), high = std::numeric_limits<int32_t>::max();
    const auto whole = static_cast<int64_t>(value < low ? low : value > high ? high : value);
    const int64_t bits = whole & 0xffff;
    return static_cast<int16_t>(bits < 0x8000 ? bits : bits - 0x10000);
}

}  // namespace ref
