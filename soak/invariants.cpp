#include "soak/invariants.h"

#include <cmath>
#include <cstddef>
#include <limits>

#include "collision/after_collision.h"
#include "collision/custom_thresholds.h"
#include "collision/encoder_detector.h"
#include "collision/momentum_observer.h"
#include "collision/power_limit.h"
#include "collision/supervisor.h"
#include "collision/torque_record.h"
#include "collision/trace.h"
#include "dynamics/measured_load.h"
#include "force_control/constant_force.h"
#include "force_control/drag_state.h"
#include "force_control/regulators.h"
#include "force_control/torque_drag.h"
#include "guiding/regulator_reference.h"
#include "identification/joint_friction.h"
#include "identification/scripted_run.h"
#include "identification/sensor_load.h"
#include "identification/single_joint.h"
#include "model/payload.h"
#include "numeric/filter_records.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"

namespace soak {
namespace {

constexpr double kMany = std::numeric_limits<int>::max();

class Check {
  public:
    explicit Check(const Report& report) : report_(report) {}

    void range(const char* what, double value, double low, double high, int index = 0) const {
        if (!(value >= low && value <= high)) report_(what, index, value);
    }
    template <typename T>
    void number(const char* what, T value, int index = 0) const {
        if (!std::isfinite(value)) report_(what, index, static_cast<double>(value));
    }
    // Looks for the one that is none only where there is one: most of the run's time is spent here.
    template <typename T, std::size_t N>
    void numbers(const char* what, const T (&values)[N]) const {
        bool all = true;
        for (std::size_t i = 0; i < N; i++) all &= std::fabs(values[i]) <= std::numeric_limits<T>::max();
        for (std::size_t i = 0; !all && i < N; i++) number(what, values[i], static_cast<int>(i));
    }
    template <typename T, std::size_t R, std::size_t N>
    void numbers(const char* what, const T (&rows)[R][N]) const {
        for (const auto& row : rows) numbers(what, row);
    }
    void numbers(const char* what, const VECT& v) const {
        const double values[] = {v.x, v.y, v.z};
        numbers(what, values);
    }
    void numbers(const char* what, const FORCESENSOR_DATA& f) const {
        const double values[] = {f.fx, f.fy, f.fz, f.mx, f.my, f.mz};
        numbers(what, values);
    }
    void numbers(const char* what, const TRSF& t) const {
        for (const VECT* v : {&t.n, &t.o, &t.a, &t.p}) numbers(what, *v);
    }
    void numbers(const char* what, const PID& pid) const {
        const double values[] = {pid.P, pid.I, pid.D, pid.lastError, pid.prevError, pid.sumError};
        numbers(what, values);
    }
    // The rows of a history in use; filters take row 6 to move it down.
    void history(const char* what, const filter& f) const {
        range(what, f.index, 0, 6);
        numbers(what, f.j_pos);
        numbers(what, f.prej_pos);
        numbers(what, f.tau);
        numbers(what, f.pre_tau);
    }

  private:
    const Report& report_;
};

void collision(const Check& c) {
    using namespace tarn;
    c.range("collisionTime1", supervisor.collisionTime1, 0, 251);
    c.range("collisionKeepFlag", supervisor.collisionKeepFlag, 0, 1);
    c.range("timeFlag", supervisor.timeFlag, 0, 1);
    c.range("pauseResumeFlag", supervisor.pauseResumeFlag, 0, 1);
    c.range("pauseResumeCount", supervisor.pauseResumeCount, 0, RESUMECOLLISIONTIME);
    c.range("CollisionAfterTime", afterCollision.CollisionAfterTime, -1, 5000);
    c.range("CollisionStartFlag", afterCollision.CollisionStartFlag, 0, 1);
    c.numbers("lastJointPos", afterCollision.lastJointPos);
    c.numbers("forceCollisionError", afterCollision.forceCollisionError);
    c.numbers("ftCollisionData", afterCollision.ftCollisionData);
    c.range("powerCount", powerLimit.powerCount, 0, kPowerWindow);
    c.numbers("powerIntegral", powerLimit.powerIntegral);
    c.range("saveMsgCount", trace.saveMsgCount, 0, SAVEMSGSIZE);
    c.range("saveMsgPrintfCount", saveMsgPrintfCount, 0, 4 * SAVEMSGSIZE - 1);
    c.numbers("p_hat", momentumObserver.p_hat);
    c.numbers("peaks_val", encoderDetector.peaks_val);
    c.numbers("valleys_val", encoderDetector.valleys_val);
    c.numbers("err_data_mb", encoderDetector.err_data_mb);
    for (int i = 0; i < 6; i++) {
        c.range("jointCollisionCount", static_cast<double>(customThresholds.jointCollisionCount[i]), 0, kMany,
                i);
        c.range("tcpCollisionCount", static_cast<double>(customThresholds.tcpCollisionCount[i]), 0, kMany, i);
        c.range("collisionErrorCount", mpb.collisionErrorCount[i], 0, kMany, i);
        c.range("percentCount", torqueRecord.percentCount[i], 0, kMany, i);
    }
    for (const RecordPosition* p : {&torqueRecord.writer, &torqueRecord.reader}) {
        c.range("record count", p->count, 0, kMany);
        c.range("countInterval", p->countInterval, 0, TORQUERECORDINTERVAL - 1);
    }
    c.range("record history", torqueRecord.count, 0, 101);
    c.numbers("percentSum", torqueRecord.percentSum);
    c.range("torqueRecordFlag", mcb.torqueRecordCtl.torqueRecordFlag, 0, 2);
    c.numbers("jTorqueTheory", mpb.jTorqueTheory);
    c.numbers("jActualTheory", mpb.jActualTheory);
    c.numbers("momentumObserverValue", mpb.momentumObserverValue);
    c.numbers("dualEncCollisionValue", mpb.dualEncCollisionValue);
    c.numbers("tcpRealForce", mcb.collisionDetection.tcpRealForce);
}

void force(const Check& c) {
    using namespace tarn;
    const FORCE_CONTROL& f = mcb.forceControl;
    c.numbers("forceOrigin", mpb.forceOrigin);
    c.numbers("forceRCS", mpb.forceRCS);
    c.numbers("forceOriginEnd", f.forceOriginEnd);
    c.numbers("zeroValue", f.zeroValue);
    for (const KALMANINFO& k : mpb.forceKalman) c.number("forceKalman", k.filterValue + k.P);
    c.range("asq head", asq.head, 0, 255);
    c.range("asq tail", asq.tail, 0, 255);
    c.numbers("AdmittanceF", AdmittanceF);
    c.numbers("cur_pos", forceDrag.motion.cur_pos);
    c.numbers("cur_vel", forceDrag.motion.cur_vel);
    c.numbers("lastF", forceDrag.motion.lastF);
    c.numbers("weakB", forceDrag.weakB);
    c.range("dragModelflag", forceDrag.dragModelflag, 0, 2);
    c.number("shoulderSingularDis", forceDrag.shoulderSingularDis);
    c.range("velCount", torqueDrag.velCount, 0, kMany);
    c.number("thetaF", constantForce.thetaF);
    c.number("xyBindingforce", constantForce.xyBindingforce);
    c.numbers("ft_cur_pos", forceIntegrator.ft_cur_pos);
    c.numbers("ft_cur_vel", forceIntegrator.ft_cur_vel);
    const double sums[] = {f.dxSum, f.dySum, f.dzSum, f.daSum, f.dbSum, f.dcSum};
    c.numbers("correction", sums);
    for (const PID* pid : {&f.constForceFx, &f.constForceFy, &f.constForceFz, &f.constForceMx,
                           &f.constForceMy, &f.constForceMz})
        c.numbers("constant force regulator", *pid);
    for (const ILC* ilc : {&f.ilcconstForceFx, &f.ilcconstForceFy, &f.ilcconstForceFz, &f.ilcconstForceMx,
                           &f.ilcconstForceMy, &f.ilcconstForceMz})
        c.range("ILC index", ilc->index, 0, 12000);
    c.history("force filt5", forceFilters.filt5);
    c.history("force filt6", forceFilters.filt6);
    c.history("force filt7", forceFilters.filt7);
    c.history("force filt8", forceFilters.filt8);
    for (const BUTTERWORTHFILTER& b : forceFilters.EndForceDragfilter) {
        c.range("increment filter index", b.index, 0, FILTERMAXLEN);
        c.numbers("increment filter", b.pre_pos);
    }
}

void identification(const Check& c) {
    using namespace tarn;
    const SINGLEJOINTIDENTIFY& s = singleJointIdentify;
    c.range("friction count", s.count, 0, 10);
    c.range("j_vel", jointFriction.j_vel, 0, 21);
    c.range("j_velN", jointFriction.j_velN, 0, 21);
    c.range("j_vel_high", jointFriction.j_vel_high, 0, 29);
    c.range("j_velN_high", jointFriction.j_velN_high, 0, 29);
    c.range("slowFlag", jointFriction.slowFlag, 0, 1);
    c.numbers("slowJointVel", s.slowJointVel);
    c.numbers("slowJointTorque", s.slowJointTorque);
    c.numbers("highJointVel", s.highJointVel);
    c.numbers("highJointTorque", s.highJointTorque);
    c.number("sumJointToruqe", s.sumJointToruqe);
    c.range("count1000ms", mcb.loadIdentify.count1000ms, 0, LOADIDENTIFYINTERVAL);
    c.range("weightTotalNum", mcb.loadIdentify.weightTotalNum, 0, LOADIDENTIFYBUFNUM);
    c.range("coordTotalNum", mcb.loadIdentify.coordTotalNum, 0, LOADIDENTIFYBUFNUM);
    c.number("diffTorque5Sum", scriptedRun.diffTorque5Sum);
    c.number("diffTorque3Sum", scriptedRun.diffTorque3Sum);
    c.number("diffTorque6Sum", scriptedRun.diffTorque6Sum);
    c.range("recordCount", sensorLoad.recordCount, 0, LOADIDENTIFYRECORDNUM);
    c.range("dynCount", sensorLoad.dynCount, 0, kMany);
    c.number("loadWeight", mpb.loadWeight);
    c.range("loadWeight", mpb.loadWeight, 0, tarn::heaviestLoad(mcb.robotType));
    c.numbers("loadCoord", mpb.loadCoord);
}

void motion(const Check& c) {
    using namespace tarn;
    c.numbers("jC", mpb.jC.v);
    c.numbers("tC", mpb.tC);
    c.numbers("goalPos", mpb.goalPos);
    c.numbers("jointPos", mpb.jointPos.v);
    c.range("state", mpb.state, TGEN_IDLE, TGEN_DRAG);
    c.numbers("frictionValue", mpb.frictionValue);
    for (int i = 0; i < 6; i++) c.range("friction_Free", static_cast<double>(mpb.friction_Free[i]), 0, 1, i);
    c.numbers("measured load torque", measuredLoad.torque);
    c.range("compedence_index", cpd.compedence_index, 0, kMany);
    c.numbers("initpos", cpd.initpos);
    c.history("arm filt", armFilters.filt);
    c.history("arm filt1", armFilters.filt1);
    c.history("arm filt2", armFilters.filt2);
    c.history("arm filt4", armFilters.filt4);
    c.history("arm filt5", armFilters.filt5);
    c.history("arm filt6", armFilters.filt6);
    c.numbers("lowpassfilter", armFilters.lowpassfilter.prev_output);
}

void stores(const Check& c) {
    const FORCE_CONTROL& f = mcb.forceControl;
    for (const ILC* ilc : {&f.ilcconstForceFx, &f.ilcconstForceFy, &f.ilcconstForceFz, &f.ilcconstForceMx,
                           &f.ilcconstForceMy, &f.ilcconstForceMz})
        c.numbers("learning store", ilc->u);
    c.numbers("collisionJointTarpos", collisionJointTarpos);
    c.numbers("collisionJointTarvel", collisionJointTarvel);
    c.numbers("collisionJointTaracc", collisionJointTaracc);
    c.numbers("collisionJointTartor", collisionJointTartor);
    c.numbers("collisionJointRealpos", collisionJointRealpos);
    c.numbers("collisionJointRealvel", collisionJointRealvel);
    c.numbers("collisionJointRealacc", collisionJointRealacc);
    c.numbers("collisionJointRealtor", collisionJointRealtor);
}

}  // namespace

void checkState(const Report& report, bool wide) {
    const Check check(report);
    collision(check);
    force(check);
    identification(check);
    motion(check);
    if (wide) stores(check);
}

}  // namespace soak
