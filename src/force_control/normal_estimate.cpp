// Direction in which a rotating tool touches its workpiece, from the moments that the contact makes.
#include <cmath>

#include "force_control/regulators.h"
#include "numeric/filter_records.h"
#include "zvmcforcesensorblock.h"

using namespace tarn;

// Without a guard on purpose: with no moment across the tool axis the angle is no number, which the filter
// keeps; with no radius the force is not finite.
int zvmcFTNormal_estimation(double* thetaF, double* Fc) {
    const FORCESENSOR_DATA& F = mcb.forceControl.forceOriginEnd;
    const VECT& tool = mpb.TOOL.p;
    const double dx = tool.x * 0.001, dy = tool.y * 0.001, dz = tool.z * 0.001;  // m
    const double r = mcb.forceControl.grindingToolR * 0.001;                     // m

    // the tangential force that makes the moment about the tool axis
    *Fc = F.mz / r;

    const double s = (F.mx * dx + F.my * dy + F.mz * dz) / (r * std::sqrt(F.mx * F.mx + F.my * F.my));
    const double a = std::atan(F.my / F.mx);
    double theta;
    if (s < -1)
        theta = std::fabs(a - kPi / 2);
    else if (s > 1)
        theta = std::fabs(a + kPi / 2);
    else
        theta = std::fabs(std::asin(s) + a);
    *thetaF = filterSingleSignal(forceFilters.filt8, buttordFTControlThetaf, theta * 180.0 / kPi);
    return 0;
}
