// Between the simulator's plain arrays and Eigen; for sources, not for headers.
#pragma once

#include <Eigen/Dense>

#include "sim/tool_force.h"

namespace tarn::sim {

inline Eigen::Vector3d vector(const Vec3& v) { return {v[0], v[1], v[2]}; }

inline Vec3 array(const Eigen::Vector3d& v) { return {v.x(), v.y(), v.z()}; }

// Takes coordinates of the frame to its parent's.
inline Eigen::Matrix3d rotation(const Pose& frame) {
    Eigen::Matrix3d columns;
    columns << vector(frame.axes[0]), vector(frame.axes[1]), vector(frame.axes[2]);
    return columns;
}

}  // namespace tarn::sim
