#include "sim/hand.h"

#include <algorithm>
#include <utility>

#include "sim/vectors.h"

namespace tarn::sim {
namespace {

// s, half the span of the difference that gives the velocity of a path
constexpr double kPathStep = 1e-4;

}  // namespace

Hand::Hand(HandWrench wrench, const Vec3& grip, double from, double until)
    : law_([wrench = std::move(wrench)](const ToolState& tool, const Vec3&) {
          return wrench.wrench(tool.time);
      }),
      grip_(grip),
      from_(from),
      until_(until) {}

Hand::Hand(HandSpring spring, const Vec3& grip, double from, double until)
    : law_([spring = std::move(spring)](const ToolState& tool, const Vec3& at) {
          const double t = tool.time;
          const Eigen::Vector3d ahead = vector(spring.path(t + kPathStep));
          const Eigen::Vector3d behind = vector(spring.path(t - kPathStep));
          const Eigen::Vector3d wanted = (ahead - behind) / (2.0 * kPathStep);
          const Eigen::Vector3d distance = vector(spring.path(t)) - vector(at);
          const Eigen::Vector3d slip = wanted - vector(velocityAt(tool, at));
          return Wrench{array(spring.stiffness * distance + spring.damping * slip), {}};
      }),
      grip_(grip),
      from_(from),
      until_(until) {}

ToolForce Hand::force() {
    return [this](const ToolState& tool) { return act(tool); };
}

PointWrench Hand::act(const ToolState& tool) {
    if (!(from_ <= tool.time && tool.time < until_)) return {};
    const Vec3 at = pointOf(tool, grip_);
    const Wrench wrench = law_(tool, at);
    const Eigen::Vector3d force = vector(wrench.force);
    const double power =
        force.dot(vector(velocityAt(tool, at))) + vector(wrench.moment).dot(vector(tool.spin));
    seconds_ += tool.step;
    impulse_ += force.norm() * tool.step;
    peak_ = std::max(peak_, force.norm());
    work_ += power * tool.step;
    return {wrench, at};
}

Effort Hand::effort() const { return {seconds_, seconds_ > 0.0 ? impulse_ / seconds_ : 0.0, peak_, work_}; }

}  // namespace tarn::sim
