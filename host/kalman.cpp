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
    // nothing bad must stay in the filter for ever
    if (!std::isfinite(sample)) return info->filterValue;
    if (!std::isfinite(info->filterValue)) info->filterValue = sample;
    if (!std::isfinite(info->P)) info->P = info->R;

    const double predicted = info->A * info->filterValue;
    const double variance = info->A * info->P * info->A + info->Q;
    const double spread = info->H * variance * info->H + info->R;
    info->kalmanGain = spread > 0.0 ? variance * info->H / spread : 0.0;  // 0: without noise nothing is new
    info->filterValue = predicted + info->kalmanGain * (sample - info->H * predicted);
    info->P = (1.0 - info->kalmanGain * info->H) * variance;
    return info->filterValue;
}
