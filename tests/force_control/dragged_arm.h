// An arm in the middle of its reach, far from any singularity, about to be dragged; filters at rest.
#pragma once

#include "force_control/drag_state.h"
#include "numeric/filter_records.h"
#include "sensor/base_frame_snapshot.h"
#include "sensor/wrench_algebra.h"
#include "support/fixture.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "zvmcforcesensorblock.h"

namespace dragged {

using namespace algebra;

inline constexpr double kPose[6] = {20, -80, 100, -110, -90, 30};
inline EndForceDrag& set = mcb.forceControl.endforcedrag;
inline tarn::ForceDrag& drag = tarn::forceDrag;

// The arm at kPose but for one joint.
inline void place(int joint = 0, double angle = kPose[0]) {
    std::copy_n(kPose, 6, mpb.jC.v);
    mpb.jC.v[joint] = angle;
    newFwdKinematics(&mpb.jC, &mpb.tC);
    mpb.j6 = mpb.jC;
    mpb.t6 = mpb.tC;
}

inline void start() {
    fixture::start(101);
    drag = {};
    tarn::forceFilters = {};
    mcb.mode = mcb.forceControl.forceSensorAct = 1;
    set.Vmax = set.Fmax = 1e6;
    mpb.rpyRef = {180, 0, 90};
    place();
    zvmcForceSensorDragProcess();  // closed: takes the reference
    set.flag = 1;
    fixture::forgetCalls();
}

inline TRSF toolPose() {
    TRSF tool;
    multTrsf(&tool, &mpb.tC, &mpb.TOOL);
    return tool;
}

inline Eigen::Affine3d affine(const TRSF& t) {
    Eigen::Affine3d a;
    a.matrix() << t.n.x, t.o.x, t.a.x, t.p.x, t.n.y, t.o.y, t.a.y, t.p.y, t.n.z, t.o.z, t.a.z, t.p.z, 0, 0, 0,
        1;
    return a;
}

}  // namespace dragged
