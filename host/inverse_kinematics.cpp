#include "inverse_kinematics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace tarn::host {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kTurn = 2.0 * kPi;

constexpr double kReachSlack =
    1e-9;                           // share of a length by which a pose may lie out of reach and still count
constexpr double kSingular = 1e-7;  // rad, or share of a length; rounding alone leaves 1e-8

VECT plus(const VECT& a, const VECT& b, double scale) {
    return {a.x + scale * b.x, a.y + scale * b.y, a.z + scale * b.z};
}
double dot(const VECT& a, const VECT& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

double wrapped(double angle) { return std::remainder(angle, kTurn); }

// Root of a product of a sum and a difference, held at zero within the slack; negative when there is none.
double rootOfProduct(double sum, double difference, double scale) {
    if (difference < -kReachSlack * scale) return -1.0;
    return std::sqrt(std::max(0.0, sum * difference));
}

// Upright plane that holds the upper arm, turned about the base axis so that `point` lies `offset` beside it.
struct ArmPlane {
    bool reached, singular;
    double q1;
    VECT ahead;  // horizontal, in the plane
    VECT aside;  // the plane's normal, which is the axis of joints 2 and 3
};

ArmPlane armPlane(const VECT& point, double offset, int shoulder) {
    const double radius = std::sqrt(point.x * point.x + point.y * point.y);
    const double reach = rootOfProduct(radius + offset, radius - offset, std::fabs(offset));
    if (!(reach >= 0.0)) return {};
    const double q1 =
        wrapped(std::atan2(point.y, point.x) + std::atan2(offset, shoulder == 0 ? reach : -reach));
    const double c = std::cos(q1), s = std::sin(q1);
    return {true, reach <= kSingular * std::fabs(offset), q1, {c, s, 0.0}, {s, -c, 0.0}};
}

// Two links in a plane, first * e(q2) + second * e(q2 + q3) = (x, y); lengths with their signs.
struct TwoLinks {
    bool reached, singular;
    double q2, q3;
};

TwoLinks twoLinks(double x, double y, double first, double second, int elbow) {
    const double distance = std::sqrt(x * x + y * y);
    const double sum = std::fabs(first) + std::fabs(second);
    const double difference = std::fabs(std::fabs(first) - std::fabs(second));
    const double outer = rootOfProduct(sum + distance, sum - distance, sum);
    const double inner = rootOfProduct(distance + difference, distance - difference, sum);
    if (!(outer >= 0.0 && inner >= 0.0)) return {};
    const double twice = 2.0 * first * second;
    const double sine = outer * inner / std::fabs(twice) * (elbow == 0 ? 1.0 : -1.0);
    const double cosine = (distance * distance - first * first - second * second) / twice;
    const double q3 = std::atan2(sine, cosine);
    const double q2 = std::atan2(y, x) - std::atan2(second * std::sin(q3), first + second * std::cos(q3));
    return {true, std::fabs(sine) <= kSingular, wrapped(q2), q3};
}

void add(JointSolutions& all, const JointSolution& one) {
    for (const double angle : one.q)
        if (!std::isfinite(angle)) return;
    if (all.count < kMaxSolutions) all.solution[all.count++] = one;
}

struct Lengths {
    double d1, a2, a3, d4, d5, d6;
};

Lengths lengthsOf(const ParameterSet& set) {
    const double* l = set.paramSDH;
    return {l[0], -std::fabs(l[1]), std::fabs(l[2]), l[3], l[4], l[5]};
}

// ---- standard shape: joints 2, 3 and 4 turn about one direction

void solveStandard(const Lengths& l, const TRSF& pose, const double reference[6], JointSolutions& all) {
    const VECT p5 = plus(pose.p, pose.a, -l.d6);
    for (int shoulder = 0; shoulder < 2; shoulder++) {
        const ArmPlane plane = armPlane(p5, l.d4, shoulder);
        if (!plane.reached) return;

        // joint 5 turns the flange axis away from the arm plane's normal
        const double cosine = dot(pose.a, plane.aside);
        const double inPlane = dot(pose.a, plane.ahead);
        const double sine = std::sqrt(inPlane * inPlane + pose.a.z * pose.a.z);
        for (int wrist = 0; wrist < 2; wrist++) {
            const double s5 = wrist == 0 ? sine : -sine;
            const double q5 = std::atan2(s5, cosine);
            const bool free6 = sine <= kSingular;
            // the plane's normal, seen in the flange frame, is (c6 s5, -s6 s5, c5)
            const double sign = wrist == 0 ? 1.0 : -1.0;
            const double q6 =
                free6 ? wrapped(reference[5])
                      : std::atan2(-sign * dot(pose.o, plane.aside), sign * dot(pose.n, plane.aside));
            const VECT z4 = plus(plus({}, pose.n, -std::sin(q6)), pose.o, -std::cos(q6));
            const double q234 = std::atan2(dot(z4, plane.ahead), -z4.z);

            const VECT o3 = plus(plus(p5, z4, -l.d5), plane.aside, -l.d4);
            for (int elbow = 0; elbow < 2; elbow++) {
                const TwoLinks arm = twoLinks(dot(o3, plane.ahead), o3.z - l.d1, l.a2, -l.a3, elbow);
                if (!arm.reached) break;
                add(all, {{plane.q1, arm.q2, arm.q3, wrapped(q234 - arm.q2 - arm.q3), q5, q6},
                          shoulder,
                          elbow,
                          wrist,
                          free6 || plane.singular || arm.singular});
            }
            if (free6) break;  // both signs of joint 5 are the same pose
        }
    }
}

// ---- offset shape: the forearm lies along joint 4, whose axis meets that of joint 5 at a right angle

// The arm for a given joint 6: everything but that right angle.
struct OffsetArm {
    bool reached, singular;
    double q[6];
    double square;  // cosine between the axes of joints 4 and 5: zero where the arm closes
};

OffsetArm offsetArm(const Lengths& l, const TRSF& pose, double q6, int shoulder, int elbow) {
    const VECT z4 = plus(plus({}, pose.n, -std::sin(q6)), pose.o, -std::cos(q6));
    const VECT o4 = plus(plus(pose.p, pose.a, -l.d6), z4, -l.d5);
    const ArmPlane plane = armPlane(o4, l.a3, shoulder);
    if (!plane.reached) return {};
    const TwoLinks arm = twoLinks(dot(o4, plane.ahead), o4.z - l.d1, l.a2, -l.d4, elbow);
    if (!arm.reached) return {};

    const double q23 = arm.q2 + arm.q3;
    const VECT up = {0.0, 0.0, 1.0};
    const VECT z3 = plus(plus({}, plane.ahead, -std::cos(q23)), up, -std::sin(q23));
    const VECT x3 = plus(plus({}, plane.ahead, std::sin(q23)), up, -std::cos(q23));
    const double q4 = std::atan2(dot(z4, plane.aside), dot(z4, x3));
    const VECT x4 = plus(plus({}, x3, std::sin(q4)), plane.aside, -std::cos(q4));
    const double q5 = std::atan2(dot(pose.a, z3), -dot(pose.a, x4));
    return {true, plane.singular || arm.singular, {plane.q1, arm.q2, arm.q3, q4, q5, q6}, dot(z4, z3)};
}

class OffsetRoots {
  public:
    static constexpr int kHalfTurn = 60;  // steps
    static constexpr int kNearby = 2;     // steps

    OffsetRoots(const Lengths& l, const TRSF& pose, int shoulder, int elbow, JointSolutions& all)
        : l_(l), pose_(pose), shoulder_(shoulder), elbow_(elbow), all_(all) {}

    // Looks at joint 6 in steps to both sides of the reference; a sign change holds a root, and so may a dip
    // toward zero. One step ends at the reference, so that its own root is found also where two lie close
    // together.
    void find(double reference, int stepsAside) {
        const double start = reference - stepsAside * kStep;
        Sample before = at(start - kStep), middle = at(start);
        for (int i = 1; i <= 2 * stepsAside; i++) {
            const Sample after = at(start + i * kStep);
            between(middle, after);
            if (middle.ok) {
                dip(before.ok ? before : edge(middle, before), middle,
                    after.ok ? after : edge(middle, after));
            }
            before = middle;
            middle = after;
        }
    }

  private:
    static constexpr double kStep = kPi / kHalfTurn;
    static constexpr int kBisections = 60;
    static constexpr double kClosed = 1e-16;  // of the cosine that has to vanish: rounding

    struct Sample {
        double q6, value;
        bool ok;
    };

    Sample at(double q6) const {
        const OffsetArm arm = offsetArm(l_, pose_, q6, shoulder_, elbow_);
        return {q6, arm.square, arm.reached};
    }

    void keep(double q6) {
        const OffsetArm arm = offsetArm(l_, pose_, q6, shoulder_, elbow_);
        if (!arm.reached) return;
        JointSolution one = {{}, shoulder_, elbow_, 0, arm.singular};
        for (int i = 0; i < 6; i++) one.q[i] = wrapped(arm.q[i]);
        one.wrist = std::sin(one.q[4]) < 0.0;
        add(all_, one);
    }

    // The reachable end of an interval whose other end is out of reach.
    Sample edge(Sample inside, Sample outside) const {
        for (int i = 0; i < kBisections; i++) {
            const Sample half = at(0.5 * (inside.q6 + outside.q6));
            (half.ok ? inside : outside) = half;
        }
        return inside;
    }

    void between(Sample low, Sample high) {
        if (!low.ok && !high.ok) return;
        if (!low.ok) low = edge(high, low);
        if (!high.ok) high = edge(low, high);
        if (low.value == 0.0) {
            keep(low.q6);
            return;
        }
        if (!(low.value * high.value < 0.0)) return;
        // false position; an end that stays twice counts half (Illinois)
        double lowWeight = low.value, highWeight = high.value;
        Sample best = std::fabs(low.value) < std::fabs(high.value) ? low : high;
        for (int i = 0; i < kBisections && best.value != 0.0; i++) {
            const Sample next = at((low.q6 * highWeight - high.q6 * lowWeight) / (highWeight - lowWeight));
            if (!next.ok) return;
            if (std::fabs(next.value) < std::fabs(best.value)) best = next;
            if (std::fabs(best.value) < kClosed) break;
            if ((next.value < 0.0) == (low.value < 0.0)) {
                low = next;
                lowWeight = next.value;
                highWeight *= 0.5;
            } else {
                high = next;
                highWeight = next.value;
                lowWeight *= 0.5;
            }
        }
        keep(best.q6);
    }

    // Three samples of one sign with the middle nearest to zero: two roots may hide beside it.
    void dip(const Sample& before, const Sample& middle, const Sample& after) {
        const double sign = middle.value < 0.0 ? -1.0 : 1.0;
        if (!(sign * before.value > sign * middle.value && sign * middle.value < sign * after.value)) return;
        Sample low = before, high = after, best = middle;
        for (int i = 0; i < kBisections && sign * best.value > 0.0; i++) {
            const Sample left = at(0.5 * (low.q6 + best.q6)), right = at(0.5 * (best.q6 + high.q6));
            if (!left.ok || !right.ok) return;
            if (sign * left.value < sign * best.value) {
                high = best;
                best = left;
            } else if (sign * right.value < sign * best.value) {
                low = best;
                best = right;
            } else {
                low = left;
                high = right;
            }
        }
        if (!(sign * best.value < 0.0)) return;
        between(before, best);
        between(best, after);
    }

    const Lengths& l_;
    const TRSF& pose_;
    int shoulder_, elbow_;
    JointSolutions& all_;
};

}  // namespace

namespace {

JointSolutions solveOffset(const Lengths& l, const TRSF& pose, double reference, int stepsAside) {
    JointSolutions all = {};
    for (int shoulder = 0; shoulder < 2; shoulder++)
        for (int elbow = 0; elbow < 2; elbow++)
            OffsetRoots(l, pose, shoulder, elbow, all).find(wrapped(reference), stepsAside);
    return all;
}

// The solution with the smallest way from the reference, and that of its joint that has most to go.
const JointSolution* nearest(const JointSolutions& all, const double reference[6], double* largest) {
    const JointSolution* best = nullptr;
    double shortest = std::numeric_limits<double>::infinity();
    for (int k = 0; k < all.count; k++) {
        double way = 0.0, joint = 0.0;
        for (int i = 0; i < 6; i++) {
            const double step = wrapped(all.solution[k].q[i] - reference[i]);
            way += step * step;
            joint = std::max(joint, std::fabs(step));
        }
        if (!(way < shortest)) continue;
        best = &all.solution[k];
        shortest = way;
        *largest = joint;
    }
    return best;
}

}  // namespace

JointSolutions solveFlangePose(const ParameterSet& set, const TRSF& pose, const double reference[6]) {
    const Lengths l = lengthsOf(set);
    if (set.shape == ArmShape::Offset) return solveOffset(l, pose, reference[5], OffsetRoots::kHalfTurn);
    JointSolutions all = {};
    solveStandard(l, pose, reference, all);
    return all;
}

int nearestJoints(const ParameterSet& set, const TRSF& pose, const double reference[6], double joints[6]) {
    constexpr double kStepsOn = 0.1;  // rad; from cycle to cycle a joint moves far less
    JointSolutions all = {};
    const JointSolution* best = nullptr;
    double largest = 0.0;
    if (set.shape == ArmShape::Offset) {
        all = solveOffset(lengthsOf(set), pose, reference[5], OffsetRoots::kNearby);
        best = nearest(all, reference, &largest);
    }
    if (best == nullptr || largest > kStepsOn) {
        all = solveFlangePose(set, pose, reference);
        best = nearest(all, reference, &largest);
    }
    if (best == nullptr) return -1;
    if (best->singular) return -2;
    for (int i = 0; i < 6; i++) joints[i] = reference[i] + wrapped(best->q[i] - reference[i]);
    return 0;
}

}  // namespace tarn::host
