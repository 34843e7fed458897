// Learns the correction along a path that is repeated, and replays it.
#include <iterator>

#include "zvmcforcesensorblock.h"

namespace {

enum Learning { Off = 0, Learn = 1, Replay = 2 };  // ILC::flag

constexpr double kCycle = 0.001;  // s
constexpr double kLearningGain = 5e-06;
constexpr double kForgetting = 0.9;

}  // namespace

// The gains of the command have no effect, on purpose.
int zvmcILCinit(ILC* ilc, double, double, int flag) {
    ilc->flag = flag;
    if (flag == Learn) ilc->e_1 = 0.0;  // what was learned before is kept and built upon
    ilc->index = 0;
    ilc->d = kLearningGain;
    ilc->p = kLearningGain;
    return 0;
}

int zvmcILCreset() {
    FORCE_CONTROL& force = mcb.forceControl;
    for (ILC* ilc : {&force.ilcconstForceFx, &force.ilcconstForceFy, &force.ilcconstForceFz,
                     &force.ilcconstForceMx, &force.ilcconstForceMy, &force.ilcconstForceMz})
        ilc->index = 0;
    return 0;
}

int zvmcILCcontrol(ILC* ilc, double dF, double* C) {
    if (ilc->flag != Learn && ilc->flag != Replay) {
        *C = 0.0;
        return 0;
    }
    // below zero only by a wild write, and not followed out of the store
    if (ilc->index < 0 || ilc->index >= static_cast<int>(std::size(ilc->u))) {
        mcb.ioError = zvCtlIOVALUEError;
        return -1;
    }
    double& u = ilc->u[ilc->index];
    if (ilc->flag == Learn) {
        const double de = (dF - ilc->e_1) / kCycle;
        u = (ilc->p * dF + u + ilc->d * de) * kForgetting;
        ilc->e_1 = dF;
    }
    *C = u;
    ilc->index++;
    return 0;
}
