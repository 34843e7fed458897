// Friction torque of one joint drive as a function of its velocity, by drive size.
#pragma once

namespace tarn {

// The sizes of the joint drives, by their catalog number.
enum class DriveSize { None, Size14, Size17, Size25, Size32, Size40 };

// User gains of the guiding curves, by velocity band and by the sign of the velocity (zero counts as
// reverse).
struct GuidingGains {
    double forwardDead, reverseDead;  // low band
    double forwardFast, reverseFast;  // high band
};

// Friction torque at the joint, N·m; velocity in degrees per millisecond. A joint without a drive size gives
// 0.
double frictionCurve(DriveSize size, double velocity);

// The curve of hand guiding: the same model times one gain, without the dead zone of size 32.
double guidingFrictionCurve(DriveSize size, double velocity, const GuidingGains& gains);

}  // namespace tarn
