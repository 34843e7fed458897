// The host's gravity tables: the library's own closed form on the parameter set of the model, for three
// mounts. A real controller has fitted tables of its own by model.
#include <algorithm>

#include "model/arm_shape.h"
#include "model/parameter_sets.h"
#include "record_call.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"

namespace tarn::host {
namespace {

// Gravity in B, m/s^2. The wall mount is turned by +90 degrees about y.
constexpr double kFloor[3] = {0.0, 0.0, -9.8};
constexpr double kWall[3] = {9.8, 0.0, 0.0};
constexpr double kCeiling[3] = {0.0, 0.0, 9.8};

int gravityTorque(const double (&gravity)[3], const JNTS& q, const EX_LOAD& load, JNTS* torque, int model) {
    const ParameterSet* set = gravitySet(model);
    if (set == nullptr) {
        std::fill_n(torque->v, 6, 0.0);
        return 0;
    }
    double joints[6];
    for (int i = 0; i < 6; i++) joints[i] = q.v[i] - jointZeroOffsetDeg(model)[static_cast<std::size_t>(i)];
    const double loadForm[10] = {load.mass, load.cmc.x, load.cmc.y, load.cmc.z};
    zvmcInvGravity(set->paramSDH, set->inparaM, set->inparaC, loadForm, gravity, joints, torque->v);
    return 0;
}

}  // namespace
}  // namespace tarn::host

using namespace tarn::host;

int tmcDynComGravityExload(JNTS* q, EX_LOAD* exload, JNTS* gtorque, int model) {
    recordCall("tmcDynComGravityExload", model);
    return gravityTorque(kFloor, *q, *exload, gtorque, model);
}

int tmcDynComGravityExloadWall(JNTS* q, EX_LOAD* exload, JNTS* gtorque, int model) {
    recordCall("tmcDynComGravityExloadWall", model);
    return gravityTorque(kWall, *q, *exload, gtorque, model);
}

int tmcDynComGravityExloadCeiling(JNTS* q, EX_LOAD* exload, JNTS* gtorque, int model) {
    recordCall("tmcDynComGravityExloadCeiling", model);
    return gravityTorque(kCeiling, *q, *exload, gtorque, model);
}
