// One step of the drag by the force sensor: from the force in the frame of forceSensorRcs to the pose that
// the tool takes now. Around the admittance stand the limits of the force, its filter, virtual wall,
// singularities, and the limit of the joint speeds.
#include "force_control/drag_step.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "force_control/drag_state.h"
#include "force_control/regulators.h"
#include "force_control/singularity_force.h"
#include "numeric/filter_records.h"
#include "sensor/base_frame_snapshot.h"
#include "support/log_lines.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tarntools/tools_log.h"
#include "zvmcforcesensorblock.h"

using namespace tarn;

namespace {

using SixAxes = std::array<double, 6>;  // x, y, z, then the rotations about them

constexpr double kStep = SM_SAMPLING_TIME;  // s
constexpr int kRows = 6;                    // samples that a history holds

EndForceDrag& settings() { return mcb.forceControl.endforcedrag; }

double magnitudeLimited(double value, double limit) {
    if (!(std::fabs(value) > limit)) return value;
    return value < 0.0 ? -limit : limit;
}

double squareOfThree(const double* v) { return v[0] * v[0] + v[1] * v[1] + v[2] * v[2]; }

// ---- force

SixAxes sensedForce() {
    const FORCESENSOR_DATA& f = mpb.forceRCS;
    return {f.fx, f.fy, f.fz, f.mx, f.my, f.mz};
}

// By the length of the vectors: what passes, passes whole. The limits of the other axes have no effect.
SixAxes outsideDeadZone(SixAxes F) {
    const double* zone = settings().F;
    if (squareOfThree(&F[0]) <= zone[0] * zone[0]) F[0] = F[1] = F[2] = 0.0;
    if (squareOfThree(&F[3]) <= zone[3] * zone[3]) F[3] = F[4] = F[5] = 0.0;
    return F;
}

// The history outlives the drag.
SixAxes lowPass(const SixAxes& realF) {
    filter& history = forceFilters.filt5;
    int& index = history.index;
    if (index >= kRows) {
        for (auto* rows : {history.j_pos, history.afterj_pos})
            std::memmove(rows, rows + 1, (kRows - 1) * sizeof *rows);
        index = kRows - 1;
    }
    SixAxes filtered;
    for (std::size_t i = 0; i < 6; i++) {
        history.j_pos[index][i] = realF[i];
        SensorDragbuttord(static_cast<int>(i), index, &filtered[i]);
        history.afterj_pos[index][i] = filtered[i];
    }
    return filtered;
}

// One past the rows asks for a shift, however far past.
void nextSample() {
    int& index = forceFilters.filt5.index;
    index = std::min(index + 1, kRows);
}

// ---- damping

// Critical damping of the inertia on the stiffness of what the tool touches. A negative stiffness gives no
// numbers, which go on into the law, on purpose.
SixAxes contactDamping(const SixAxes& FF) {
    constexpr SixAxes kDivisor = {1.0, 1.0, 1.0, 10.0, 10.0, 100.0};
    if (settings().adaptive_sign != 1) return {};
    double Q[3] = {0.002, 100.0, 10.0}, R[2] = {0.002, 1.0}, x_eval[3];
    double y[2] = {forceDrag.motion.cur_vel[2], FF[2]};
    zvmcKalmanEnvironmenModelEvaluate(Q, R, y, x_eval);
    SixAxes damping;
    for (std::size_t i = 0; i < 6; i++)
        damping[i] = 2.0 * std::sqrt(settings().M[i] * x_eval[1]) / kDivisor[i];
    return damping;
}

// Damping of the virtual wall, by where the velocity would go without any extra damping.
std::array<float, 6> wallDamping(const SixAxes& FF) {
    const EndForceDrag& set = settings();
    const DragMotion& motion = forceDrag.motion;
    std::array<float, 6> B = {}, velocity;
    if (set.interfere_drag_sign != 1) return B;
    for (std::size_t i = 0; i < 6; i++) {
        const auto acceleration = static_cast<float>(admittanceAcceleration(
            static_cast<int>(i), set.M, set.B, set.K, FF.data(), motion.cur_pos, motion.cur_vel));
        velocity[i] = static_cast<float>(motion.cur_vel[i] + static_cast<double>(acceleration) * kStep);
    }
    zvmcForceSensorVirtualWall(velocity.data(), B.data());
    return B;
}

// ---- singularities: joints in degrees

// Brakes hard, and once the arm is slow hands it to the joint drag of the host, from which the process brings
// it back. The hand-over does not ask whether the arm is still near.
void leaveForJointDrag() {
    constexpr double kBrake = 5000.0, kSlow = 20.0;  // N s/m and N m s/rad; mm/s
    const double* q = mpb.jC.v;
    const double elbow = std::fabs(q[2]), wrist = std::fabs(q[4]);
    const bool near = elbow < 20.0 || elbow > 160.0 || wrist < 20.0 || wrist > 160.0 || q[3] > 70.0 ||
                      q[3] < -250.0 || std::fabs(q[5]) > 160.0 ||
                      forceDrag.shoulderSingularDis < kNearShoulder;
    if (near) {
        forceDrag.dragModelflag = 1;  // also from 2: each step near starts over
        std::fill_n(forceDrag.weakB, 6, kBrake);
    }
    if (forceDrag.dragModelflag == 1 && std::fabs(mpb.tcpvel) < kSlow) {
        std::fill_n(forceDrag.weakB, 6, 0.0);
        tmcDragSwitch(1);
        logDragPlace(9);
        forceDrag.dragModelflag = 2;
    }
}

// A strong constraint takes the place of the operator's force, a weak one comes on top; and motion against it
// is braked. Three axes at a time.
struct Constraint {
    std::size_t first;
    double strong;  // square of the constraint, N^2 or (N m)^2
    double felt;    // N, N m
    double brake;   // N s/m, N m s/rad
};
constexpr Constraint kConstraints[] = {{0, 3.0, 1.0, 5000.0}, {3, 0.5, 0.5, 100.0}};

void constrain(const Constraint& c, const SixAxes& Fv, SixAxes& FF) {
    const double square = squareOfThree(&Fv[c.first]);
    for (std::size_t i = c.first; i < c.first + 3; i++) {
        if (square >= c.strong)
            FF[i] = Fv[i];
        else if (square > 0.0)
            FF[i] = Fv[i] + FF[i];

        const double power = Fv[i] * forceDrag.motion.cur_vel[i];
        if (!(std::fabs(Fv[i]) > c.felt)) continue;
        if (power < 0.0) forceDrag.weakB[i] = c.brake;
        if (power > 0.0) forceDrag.weakB[i] = 0.0;
    }
}

// Ranges before the end of a joint's travel in which motion toward it is braked.
struct EndOfTravel {
    int joint;
    double upperFrom, upperTo, lowerTo, lowerFrom;
};
constexpr EndOfTravel kEndsOfTravel[] = {{5, 165.0, 174.0, -174.0, -165.0}, {3, 70.0, 84.0, -264.0, -250.0}};

void evadeSingularity(const SixAxes& Fv, SixAxes& FF) {
    const double* q = mpb.jC.v;
    const double elbow = std::fabs(q[2]), wrist = std::fabs(q[4]);
    const bool near = elbow < 30.0 || elbow > 150.0 || wrist < 20.0 || wrist > 160.0 ||
                      forceDrag.shoulderSingularDis < kNearShoulder;
    if (near && forceDrag.dragModelflag == 0)
        for (const Constraint& c : kConstraints) constrain(c, Fv, FF);
    else
        std::fill_n(forceDrag.weakB, 6, 0.0);

    for (const EndOfTravel& end : kEndsOfTravel) {
        const double angle = q[end.joint], speed = mpb.jCvel.v[end.joint];
        if ((end.upperFrom < angle && angle < end.upperTo && speed > 0.0) ||
            (end.lowerTo < angle && angle < end.lowerFrom && speed < 0.0)) {
            std::fill_n(forceDrag.weakB, 3, 5000.0);
            std::fill_n(forceDrag.weakB + 3, 3, 150.0);
        }
    }
}

// ---- admittance

// Damping of one axis in this step: that of the settings, raised by force and contact, or by a singularity. A
// peak is held for the three steps after it. Held damping is zero after a reset, and so the first step has
// none, on purpose.
double stepDamping(std::size_t i, double F, double delta_F, double contactB) {
    constexpr double kp = 0.25;
    constexpr SixAxes kd = {30.0, 30.0, 30.0, 5.0, 5.0, 2.0};
    constexpr double kHeldSteps = 3.0;
    DragMotion& motion = forceDrag.motion;

    const bool adaptive = settings().adaptive_sign == 1;
    const double delta_B = adaptive ? kp * std::fabs(F) + kd[i] * std::fabs(delta_F) / (kStep * 10.0) : 0.0;
    const double B = settings().B[i];
    double sumB = adaptive ? B + delta_B + contactB : B + forceDrag.weakB[i];
    if (delta_B > (i <= 2 ? 10000.0 : 50.0)) {
        motion.Bmember[i] = sumB;
        motion.Bnum[i] = kHeldSteps;
    }
    if (motion.Bnum[i] >= 0.0) {
        sumB = motion.Bmember[i];
        motion.Bnum[i] -= 1.0;
    }
    return sumB;
}

// Way of this step by axis, smoothed: mm, degrees. F: the limited force, before dead zone and filter.
SixAxes admittanceStep(const SixAxes& F, SixAxes FF, const SixAxes& contactB,
                       const std::array<float, 6>& wallB) {
    EndForceDrag& set = settings();
    DragMotion& motion = forceDrag.motion;
    double sumB[6], delt_pos[6];
    SixAxes addpos;
    for (std::size_t i = 0; i < 6; i++) {
        const double delta_F = FF[i] - motion.lastF[i];
        motion.lastF[i] = AdmittanceF[i] = FF[i];
        sumB[i] = stepDamping(i, F[i], delta_F, contactB[i]);
        if (set.interfere_drag_sign == 1) sumB[i] += static_cast<double>(wallB[i]);
        zvmcAdmittanceControl(static_cast<int>(i), set.M, sumB, set.K, FF.data(), kStep, motion.cur_pos,
                              motion.cur_vel, delt_pos);
        addpos[i] = i <= 2 ? delt_pos[i] * 1000.0 : delt_pos[i] * 180.0 / kPi;
        zvmcButterWorthFiltProcessData(&forceFilters.EndForceDragfilter[i], addpos[i], &addpos[i], 0);
    }
    return addpos;
}

// ---- pose

TRSF operator*(const TRSF& a, const TRSF& b) {
    TRSF product;
    multTrsf(&product, &a, &b);
    return product;
}

// A frame that was never set has no inverse: the pose then is no number, and the host's inverse kinematics
// decides about it.
TRSF inverse(const TRSF& t) {
    TRSF result;
    invRotrsf(&result, &t);
    multRotrsfVect(&result.p, &result, &t.p);
    result.p = {-result.p.x, -result.p.y, -result.p.z};
    return result;
}

TRSF poseOf(const double* v) {
    TRSF result;
    rpyToTrsf(&result, v[5], v[4], v[3]);
    result.p = {v[0], v[1], v[2]};
    return result;
}

// The increments are in the frame of the offset, which stays moved when the step is refused. The pose is that
// of the offset as kept.
TRSF advanceOffset(const SixAxes& addpos) {
    double* cur_pos = forceDrag.motion.cur_pos;
    const TRSF offset = poseOf(cur_pos) * poseOf(addpos.data());
    cur_pos[0] = offset.p.x;
    cur_pos[1] = offset.p.y;
    cur_pos[2] = offset.p.z;
    trsfToRpy(&cur_pos[5], &cur_pos[4], &cur_pos[3], &offset);
    return poseOf(cur_pos);
}

// The tool at curpos, moved by an offset in the frame of the force.
TRSF moved(const TRSF& curpos, const TRSF& offset) {
    TRSF frame = mpb.TOOL;  // the tool, seen from the axes in which the offset acts
    switch (mcb.forceControl.forceSensorRcs) {
        case 0:
            break;
        case 1: {
            TRSF base = baseFrameSnapshot.t06Last;
            base.p = {};
            frame = base * mpb.TOOL;
            break;
        }
        default:
            return curpos * offset;
    }
    return curpos * inverse(frame) * offset * frame;
}

}  // namespace

namespace tarn {

ROBCARTPOS plannerPose(const TRSF& tool) {
    double rz, ry, rx;
    trsfToRpyRt(&rz, &ry, &rx, &tool, &mpb.rpyRef);
    return {static_cast<float>(tool.p.x),
            static_cast<float>(tool.p.y),
            static_cast<float>(tool.p.z),
            static_cast<float>(rx),
            static_cast<float>(ry),
            static_cast<float>(rz),
            -1};
}

}  // namespace tarn

int zvmcAdmittanceControl(int i, double* m, double* b, double* k, double* realF, double delta_t,
                          double* cur_pos, double* cur_vel, double* delt_pos) {
    if (i < 0 || i >= 6) return 0;
    const bool translation = i <= 2;
    const double fastest = translation ? 0.2 : 0.349;  // m/s, rad/s
    const double largeDamping = translation ? 10000.0 : 50.0;
    const double share = b[i] > largeDamping ? largeDamping / b[i] : 1.0;
    double v = admittanceVelocity(i, m, b, k, realF, cur_pos, cur_vel, delta_t);
    if (std::fabs(v) > fastest) v = std::copysign(fastest * (share * share), v);
    cur_vel[i] = v;
    delt_pos[i] = v * delta_t;
    return 0;
}

int zvmcIsOverJntvel(TRSF afterpos) {
    ROBPOS solved = {};
    if (tmcGetInverseKinematicNoLine(0, plannerPose(afterpos), &solved) < 0) return -7;

    const double m = shoulderMeasure();
    const double elbow = std::fabs(mpb.jC.v[2]), wrist = std::fabs(mpb.jC.v[4]);
    if (elbow <= 5.0 || elbow >= 160.0 || wrist <= 5.0 || wrist >= 175.0 || m <= 0.001) return -7;

    const double joints[6] = {solved.j1, solved.j2, solved.j3, solved.j4, solved.j5, solved.j6};
    const double Vmax = settings().Vmax;
    for (int i = 0; i < 6; i++) {
        const double dv = std::fabs(mpb.jC.v[i] - joints[i]);  // degrees a cycle
        if (dv * 1000.0 >= Vmax) {
            Write_Log(LOG_INFO, "dv[%d] = :%lf\t-- max=%lf\n", i, dv, Vmax);
            return -(i + 1);
        }
    }
    return 0;
}

int zvmcEndForceDragToCart(TRSF curpos, TRSF* cpoint) {
    DragMotion& motion = forceDrag.motion;
    if (mcb.forceControl.forceSensorAct != 1 || settings().flag != 1) {
        motion.Fflag = 0;
        *cpoint = curpos;
        nextSample();
        return 0;
    }

    SixAxes F = sensedForce();
    if (motion.Fflag == 0) {
        std::copy_n(F.data(), 6, forceDrag.F0);
        motion.Fflag = 1;
    }
    for (double& component : F) component = magnitudeLimited(component, settings().Fmax);
    SixAxes FF = lowPass(outsideDeadZone(F));
    const SixAxes contactB = contactDamping(FF);
    const std::array<float, 6> wallB = wallDamping(FF);

    SixAxes Fv = {};
    zvmcConstraintsAdmittance(Fv.data(), 0.0);  // a singular pose leaves it zero
    if (settings().singularityConstraintsFlag == 1)
        leaveForJointDrag();
    else
        evadeSingularity(Fv, FF);

    const TRSF offset = advanceOffset(admittanceStep(F, FF, contactB, wallB));
    const TRSF afterpos = moved(curpos, offset);
    const int result = zvmcIsOverJntvel(afterpos);
    if (result < 0) {
        motion.Fflag = 0;
        *cpoint = curpos;
        restartIncrementFilters();
        return result;
    }
    *cpoint = afterpos;
    nextSample();
    return 0;
}
