// The one reset over filters of several subsystems.
#include "guiding/regulator_reference.h"
#include "identification/parameter_solution.h"
#include "numeric/filter_records.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmctoolblock.h"

using namespace tarn;

// filt5 and filt6 run on from one use to the next, on purpose.
int zvmcdynfiltresert() {
    // an excitation run keeps its samples
    if (solveX.flag == 0) {
        armFilters.filt = {};
        armFilters.filt1 = {};
        cpd = {};
    }
    if (mcb.newTeachEnable == 2) {
        armFilters.filt2 = {};
        armFilters.filt3 = {};
        armFilters.filt4 = {};
    }
    return 0;
}
