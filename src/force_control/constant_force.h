// What pressing with a constant force remembers from cycle to cycle.
#pragma once

namespace tarn {

struct ConstantForce {
    double adjinitflag = 1.0;     // -        1: the next cycle is the first of a run
    double thetaF = 0.0;          // degrees  angle of the contact's normal, filtered; never reset
    double xyBindingforce = 0.0;  // N        magnitude of the target in the xy plane
};
extern ConstantForce constantForce;

}  // namespace tarn
