#include "planned_move.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "tarnhost/kinematics.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn::host {
namespace {

constexpr double kCycle = SM_SAMPLING_TIME;  // s
constexpr double kRadian = std::numbers::pi / 180.0;

// From rest to the full speed of a line.
constexpr double kLineSpeedUp = 0.25;  // s
// A shorter way is planned as if it were as long: speeds along it would mean nothing.
constexpr double kLeastWay = 1e-6;  // mm, or deg
// What a goal's columns may be off a rotation.
constexpr double kNoRotation = 1e-5;
// A line is looked at in places before it is planned. Shares of its way from one to the next:
constexpr double kMostLook = 1.0 / 200.0;
constexpr double kFirstLook = kMostLook / 64.0;
constexpr double kLeastLook = kMostLook / 8192.0;
// There no joint may be farther from what is expected of it.
constexpr double kUnexpected = 0.1;  // deg
// A line that the joints would slow down below this share of its speed is too near a singularity.
constexpr double kSlowest = 0.02;
// A joint that moves further from cycle to cycle has changed its branch.
constexpr double kLeapInACycle = 2.0;  // deg

double jointSpeedLimit(int joint) { return mpb.limitsJnt.maxVel.v[joint]; }

bool allFinite(const double* values, int count) {
    return std::all_of(values, values + count, [](double v) { return std::isfinite(v); });
}

bool hasLimits() {
    for (int i = 0; i < 6; i++)
        if (!(jointSpeedLimit(i) > 0.0 && mpb.defaultJointAccel.v[i] > 0.0)) return false;
    return true;
}

void start(PlannedMove* move, const double from[6]) {
    move->profile = planProfile(1.0, profileShare(move->limits));
    move->ramp = {1.0, 0.0};
    move->time = 0.0;
    std::copy_n(from, 6, move->joints[0]);
    std::copy_n(from, 6, move->joints[1]);
}

// Flange pose of a line at a share of its way.
TRSF lineAt(const PlannedMove& move, double share) {
    const double angle = move.turn * share, c = std::cos(angle), s = std::sin(angle);
    const VECT& u = move.turnAxis;
    const auto turned = [&](const VECT& v) -> VECT {  // Rodrigues
        const double along = (u.x * v.x + u.y * v.y + u.z * v.z) * (1.0 - c);
        return {v.x * c + (u.y * v.z - u.z * v.y) * s + u.x * along,
                v.y * c + (u.z * v.x - u.x * v.z) * s + u.y * along,
                v.z * c + (u.x * v.y - u.y * v.x) * s + u.z * along};
    };
    TRSF pose;
    pose.n = turned(move.start.n);
    pose.o = turned(move.start.o);
    pose.a = turned(move.start.a);
    pose.p = {move.start.p.x + share * move.shift.x, move.start.p.y + share * move.shift.y,
              move.start.p.z + share * move.shift.z};
    return pose;
}

bool leaps(const double a[6], const double b[6], double most) {
    for (int i = 0; i < 6; i++)
        if (std::fabs(a[i] - b[i]) > most) return true;
    return false;
}

// The joints at a share of a line.
struct Look {
    double share;
    double q[6];
};

// Follows the line in thought and slows it down where a joint would pass its limits: with q(s) the joints
// along the way, q' s' is the joint's velocity and q' s'' + q'' s'^2 its acceleration. Where the joints bend
// away from what the last two looks let expect, as near a singularity, the looks come closer. False: it
// cannot be followed.
bool fitToJoints(PlannedMove* move) {
    MotionLimits& limits = move->limits;
    Look before = {}, last = {}, now = {};
    if (inverseFlangePose(mcb.robotType, move->start, move->from, last.q) != 0) return false;
    double step = kFirstLook;
    while (last.share < 1.0) {
        now.share = std::min(1.0, last.share + step);
        const double ahead = now.share - last.share, behind = last.share - before.share;
        double expected[6];
        for (int i = 0; i < 6; i++)
            expected[i] = behind > 0.0 ? last.q[i] + (last.q[i] - before.q[i]) * ahead / behind : last.q[i];
        if (inverseFlangePose(mcb.robotType, lineAt(*move, now.share), expected, now.q) != 0) return false;
        if (leaps(now.q, expected, kUnexpected)) {
            step *= 0.5;
            if (step < kLeastLook) return false;
            continue;
        }
        for (int i = 0; i < 6; i++) {
            const double slope = std::fabs(now.q[i] - last.q[i]) / ahead;
            const double bend =
                behind > 0.0 ? 2.0 * std::fabs(now.q[i] - expected[i]) / (ahead * (ahead + behind)) : 0.0;
            const double speed = jointSpeedLimit(i), acceleration = mpb.defaultJointAccel.v[i];
            if (slope > 0.0) {
                limits.velocity = std::min(limits.velocity, speed / slope);
                limits.acceleration = std::min(limits.acceleration, acceleration / (2.0 * slope));
            }
            if (bend > 0.0)
                limits.velocity = std::min(limits.velocity, std::sqrt(acceleration / (2.0 * bend)));
        }
        before = last;
        last = now;
        step = std::min(2.0 * step, kMostLook);
    }
    return true;
}

}  // namespace

bool planJointMove(PlannedMove* move, const double from[6], const double goal[6], double speed) {
    if (!allFinite(from, 6) || !allFinite(goal, 6) || !(speed > 0.0 && speed <= 1.0) || !hasLimits())
        return false;
    PlannedMove plan = {};
    plan.interMode = JOINT;
    plan.limits = {1e3, 1e4, 1e5};  // of no way at all
    for (int i = 0; i < 6; i++) {
        plan.from[i] = from[i];
        plan.goal[i] = goal[i];
        const double way = std::fabs(goal[i] - from[i]);
        if (way == 0.0) continue;
        const double acceleration = mpb.defaultJointAccel.v[i];
        plan.limits.velocity = std::min(plan.limits.velocity, speed * jointSpeedLimit(i) / way);
        plan.limits.acceleration = std::min(plan.limits.acceleration, acceleration / way);
        plan.limits.jerk = std::min(plan.limits.jerk, acceleration / kJerkTime / way);
    }
    if (!(plan.limits.velocity > 0.0 && plan.limits.acceleration > 0.0)) return false;
    start(&plan, from);
    *move = plan;
    return true;
}

bool planLineMove(PlannedMove* move, const double from[6], const TRSF& goal, double speed) {
    if (!allFinite(from, 6) || !allFinite(&goal.n.x, 12) ||
        !(speed > 0.0 && speed <= mpb.limitsGoto.maxVel) || !hasLimits())
        return false;
    PlannedMove plan = {};
    plan.interMode = CARTESIANLIN;
    std::copy_n(from, 6, plan.from);
    if (!flangePose(mcb.robotType, from, &plan.start)) return false;
    plan.shift = {goal.p.x - plan.start.p.x, goal.p.y - plan.start.p.y, goal.p.z - plan.start.p.z};

    ROTRSF back, turn;
    trsposeRotrsf(&back, &plan.start);
    multRotrsf(&turn, &goal, &back);
    TRSF turnPose = {};
    turnPose.n = turn.n;
    turnPose.o = turn.o;
    turnPose.a = turn.a;
    QTRN quaternion;
    trsfToQtrn(&quaternion, &turnPose);
    VECT rotation;
    qtrnToDspl(&rotation, &quaternion);
    plan.turn = normVect(&rotation);
    if (plan.turn > 0.0) scaleVect(&plan.turnAxis, &rotation, 1.0 / plan.turn);

    const TRSF end = lineAt(plan, 1.0);
    for (int k = 0; k < 9; k++)
        if (!(std::fabs((&end.n.x)[k] - (&goal.n.x)[k]) <= kNoRotation)) return false;

    const double way = std::max({normVect(&plan.shift), plan.turn / kRadian, kLeastWay});
    const double pathSpeed = std::min(speed / way, 1e3);
    plan.limits = {pathSpeed, mpb.limitsGoto.maxVel / kLineSpeedUp / way, 0.0};
    if (!fitToJoints(&plan) || plan.limits.velocity < kSlowest * pathSpeed) return false;
    plan.limits.jerk = plan.limits.acceleration / kJerkTime;
    start(&plan, from);
    *move = plan;
    return true;
}

Progress advance(PlannedMove& move, double rate, SetPoint* setPoint) {
    advance(move.ramp, rate, rampShare(move.limits, std::max(move.profile.velocity, 1e-9)), kCycle);
    move.time += move.ramp.rate * kCycle;
    const bool arrived = move.time >= duration(move.profile);
    const MotionState s = at(move.profile, move.time);

    SetPoint next = {};
    if (move.interMode == JOINT) {
        const double velocity = s.velocity * move.ramp.rate;
        const double acceleration =
            s.acceleration * move.ramp.rate * move.ramp.rate + s.velocity * move.ramp.slope;
        for (int i = 0; i < 6; i++) {
            const double way = move.goal[i] - move.from[i];
            next.position[i] = std::lerp(move.from[i], move.goal[i], s.position);  // exact at both ends
            next.velocity[i] = way * velocity * kCycle;
            next.acceleration[i] = way * acceleration * kCycle * kCycle;
        }
    } else {
        const double* last = move.joints[0];
        double reference[6];
        for (int i = 0; i < 6; i++) reference[i] = 2.0 * last[i] - move.joints[1][i];
        if (inverseFlangePose(mcb.robotType, lineAt(move, s.position), reference, next.position) != 0 ||
            leaps(next.position, last, kLeapInACycle))
            return Progress::Lost;
        for (int i = 0; i < 6; i++) {
            next.velocity[i] = next.position[i] - last[i];
            next.acceleration[i] = next.velocity[i] - (last[i] - move.joints[1][i]);
        }
        std::copy_n(move.joints[0], 6, move.joints[1]);
        std::copy_n(next.position, 6, move.joints[0]);
    }
    *setPoint = next;
    if (arrived) return Progress::Arrived;
    return rate == 0.0 && move.ramp.rate == 0.0 ? Progress::Standing : Progress::Moving;
}

}  // namespace tarn::host
