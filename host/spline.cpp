// Spline fit of the torque record: a uniform cubic B-spline with the samples as control points.
//
// The curve has a continuous second derivative and stays within the range of its four newest samples. In
// return it is approximating: it does not pass through the samples, rounds off peaks, and runs two sample
// intervals behind the record.
#include <algorithm>
#include <iterator>

#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

constexpr int kPoints = std::size(Bsplinep{}.point);

int zvmcinitBtraj(Bsplinep* fit) {
    *fit = {};
    return 0;
}

int zvmcaddpointBfitting(Bsplinep* fit, int, double value) {
    // the first sample stands for those before it
    if (fit->num <= 0) std::fill(std::begin(fit->point), std::end(fit->point), value);
    std::shift_left(std::begin(fit->point), std::end(fit->point), 1);
    fit->point[kPoints - 1] = value;
    fit->num = std::min(fit->num + 1, kPoints);
    return 0;
}

int zvmccomBfitting(Bsplinep fit, int count, double* time, int position, double* result, dmat) {
    *result = 0.0;
    if (count != kPoints || fit.num <= 0) return -1;
    const double interval = time[1] - time[0];
    if (!(interval > 0.0)) return -1;

    const double u = std::clamp(position * SM_SAMPLING_TIME / interval, 0.0, 1.0);
    const double v = 1.0 - u;
    const double* p = fit.point;
    *result = (v * v * v * p[0] + (3.0 * u * u * u - 6.0 * u * u + 4.0) * p[1] +
               (3.0 * v * v * v - 6.0 * v * v + 4.0) * p[2] + u * u * u * p[3]) /
              6.0;
    return 0;
}
