// State of the drag by the force sensor, and its reset.
#include "force_control/drag_state.h"

#include "numeric/filter_records.h"
#include "sensor/base_frame_snapshot.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

double AdmittanceF[6];

namespace tarn {

constinit ForceDrag forceDrag = {};

void restartIncrementFilters() {
    for (BUTTERWORTHFILTER& filter : forceFilters.EndForceDragfilter) zvmcButterWorthFiltInit(&filter, 0);
}

}  // namespace tarn

using namespace tarn;

int zvmcInitEndForceDragParam() {
    restartIncrementFilters();
    mcb.forceControl.forceandtorquedrag.status = 0;
    return 0;
}

int zvmcEndForceDragParamReset() {
    forceDrag.motion = {};
    baseFrameSnapshot.DragToCartFlag = 0;
    return 0;
}
