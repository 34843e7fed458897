// Scalar Kalman filter of a constant with process noise.
#include <cmath>

#include "tarnmotioncontrol/tmcmotioncontroller.h"

void Init_KalmanInfo(KALMANINFO* info, double processNoise, double measurementNoise, double start) {
    // the start value is one measurement, and as uncertain as one
    *info = {.filterValue = start,
             .kalmanGain = 0.0,
             .A = 1.0,
             .H = 1.0,
             .Q = processNoise,
             .R = measurementNoise,
             .P = measurementNoise};
}

// Predict: x = A x, P = A P A + Q. Update: K = P H / (H P H + R), x += K (z - H x), P = (1 - K H) P.
double KalmanFilter(KALMANINFO* info, double sample) {
    // one bad sample must not stay in the filter for ever
    if (!std::isfinite(sample)) return info->filterValue;
    if (!std::isfinite(info->filterValue)) info->filterValue = sample;

    const double predicted = info->A * info->filterValue;
    const double variance = info->A * info->P * info->A + info->Q;
    info->kalmanGain = variance * info->H / (info->H * variance * info->H + info->R);
    info->filterValue = predicted + info->kalmanGain * (sample - info->H * predicted);
    info->P = (1.0 - info->kalmanGain * info->H) * variance;
    return info->filterValue;
}
