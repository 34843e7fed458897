#include "friction/friction_curve.h"

#include <cmath>

#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn {
namespace {

// Fitted constants of one velocity band. Negative fc, fs, qs and yita belong to the fit.
struct BandFit {
    double fc;    // friction past the Stribeck dip, N·m
    double fs;    // breakaway friction, N·m
    double qs;    // Stribeck velocity, rad/s
    double yita;  // steepness of the smooth sign, s/rad
    double sita;  // viscous friction, N·m·s/rad
};

struct DriveFit {
    BandFit low, high;
};

// clang-format off
//                           fc        fs        qs       yita       sita
constexpr DriveFit kFit14      = {{    1.2523,   1.3676,   0.0126,  2579.9799,  2.1091 },
                                  {   -9.4779,   1.4954,  -6.0408,    20.2514,  1.5311 }};
// The high band's negative steepness turns its smooth sign around; kept on purpose.
constexpr DriveFit kFit17      = {{    2.1779,   8.8225,   0.0073,   151.1883,  3.5497 },
                                  {    5.7085,  -2.5677,  -4.4524,   -19.6854,  1.9261 }};
constexpr DriveFit kFit25      = {{    5.3406,  12.4693,  -0.012,    153.1699, 11.4372 },
                                  {   13.6401,   6.8902,   0.6317,    21.9747,  1.3145 }};
constexpr DriveFit kFit25Stiff = {{   10.024,   41.523,    0.0033,   329.9324, 28.289  },
                                  {  -71.7434,  11.3021,   4.42725,   23.9343, 17.9582 }};
constexpr DriveFit kFit32      = {{   12.1015,  15.2203,   0.0169,   775.8381, 23.7299 },
                                  {  -21.0712,  13.5558,  -2.6147,    48.6744, 14.8233 }};
constexpr DriveFit kFit40      = {{   16.9667, 121.7087,   0.0089,    65.742,  86.3627 },
                                  { -114.2515,  23.9152,  -3.5737,   179.4015, 35.6362 }};
// clang-format on

const DriveFit* driveFit(DriveSize size) {
    switch (size) {
        case DriveSize::Size14:
            return &kFit14;
        case DriveSize::Size17:
            return &kFit17;
        case DriveSize::Size25:
            return mcb.jointStiffnessType == 1 ? &kFit25Stiff : &kFit25;
        case DriveSize::Size32:
            return &kFit32;
        case DriveSize::Size40:
            return &kFit40;
        case DriveSize::None:
            break;
    }
    return nullptr;
}

// Both velocities in degrees per millisecond; the bands are open, their edges belong to the next one.
constexpr double kLowBand = 0.01;
constexpr double kDeadZone32 = 0.001;

bool within(double velocity, double edge) { return -edge < velocity && velocity < edge; }

double radPerSecond(double velocity) { return velocity / 180 * 3.141592653589793 * 1000; }

// Stribeck term with a smooth sign, plus viscous friction; v in rad/s. The smooth sign stays in this form, a
// quotient of exponentials: where they overflow decides what is finite.
double stribeck(const BandFit& f, double v) {
    const double e = std::exp(-f.yita * v);
    return (((f.fs - f.fc) * std::exp(-std::pow(v / f.qs, 2)) + f.fc) * (1 - e)) / (e + 1) + f.sita * v;
}

}  // namespace

double frictionCurve(DriveSize size, double velocity) {
    const DriveFit* fit = driveFit(size);
    if (fit == nullptr) return 0.0;
    if (size == DriveSize::Size32 && within(velocity, kDeadZone32)) return 0.0;
    return stribeck(within(velocity, kLowBand) ? fit->low : fit->high, radPerSecond(velocity));
}

double guidingFrictionCurve(DriveSize size, double velocity, const GuidingGains& gains) {
    const DriveFit* fit = driveFit(size);
    if (fit == nullptr) return 0.0;
    const double v = radPerSecond(velocity);
    const bool forward = v > 0;
    if (within(velocity, kLowBand))
        return stribeck(fit->low, v) * (forward ? gains.forwardDead : gains.reverseDead);
    return stribeck(fit->high, v) * (forward ? gains.forwardFast : gains.reverseFast);
}

}  // namespace tarn

using tarn::DriveSize;

double joint14FrictionCalculate_deadzone(double jointVel) {
    return tarn::frictionCurve(DriveSize::Size14, jointVel);
}
double joint17FrictionCalculate_deadzone(double jointVel) {
    return tarn::frictionCurve(DriveSize::Size17, jointVel);
}
double joint25FrictionCalculate_deadzone(double jointVel) {
    return tarn::frictionCurve(DriveSize::Size25, jointVel);
}
double joint32FrictionCalculate_deadzone(double jointVel) {
    return tarn::frictionCurve(DriveSize::Size32, jointVel);
}
double joint40FrictionCalculate_deadzone(double jointVel) {
    return tarn::frictionCurve(DriveSize::Size40, jointVel);
}

double joint14FrictionCalculate_deadzone_DRAG(double jointVel, double ForDeadGain, double RevDeadGain,
                                              double ForFastGain, double RevFastGain) {
    return tarn::guidingFrictionCurve(DriveSize::Size14, jointVel,
                                      {ForDeadGain, RevDeadGain, ForFastGain, RevFastGain});
}
double joint17FrictionCalculate_deadzone_DRAG(double jointVel, double ForDeadGain, double RevDeadGain,
                                              double ForFastGain, double RevFastGain) {
    return tarn::guidingFrictionCurve(DriveSize::Size17, jointVel,
                                      {ForDeadGain, RevDeadGain, ForFastGain, RevFastGain});
}
double joint25FrictionCalculate_deadzone_DRAG(double jointVel, double ForDeadGain, double RevDeadGain,
                                              double ForFastGain, double RevFastGain) {
    return tarn::guidingFrictionCurve(DriveSize::Size25, jointVel,
                                      {ForDeadGain, RevDeadGain, ForFastGain, RevFastGain});
}
double joint32FrictionCalculate_deadzone_DRAG(double jointVel, double ForDeadGain, double RevDeadGain,
                                              double ForFastGain, double RevFastGain) {
    return tarn::guidingFrictionCurve(DriveSize::Size32, jointVel,
                                      {ForDeadGain, RevDeadGain, ForFastGain, RevFastGain});
}
double joint40FrictionCalculate_deadzone_DRAG(double jointVel, double ForDeadGain, double RevDeadGain,
                                              double ForFastGain, double RevFastGain) {
    return tarn::guidingFrictionCurve(DriveSize::Size40, jointVel,
                                      {ForDeadGain, RevDeadGain, ForFastGain, RevFastGain});
}
