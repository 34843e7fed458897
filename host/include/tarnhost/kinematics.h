// Kinematics of the arm in its true shape, and the frames that it works in.
#pragma once

#include "tarnmath/tarnmath.h"

namespace tarn::host {

// Flange pose (E in B, mm) of an arm of the given type at joint angles in degrees. false: the type has no
// geometry, and the pose is left alone.
bool flangePose(int robotType, const double jointsDeg[6], TRSF* pose);

// Workpiece frames, W in B, by number; setDefaults makes them the base frame. A real controller keeps them in
// its settings.
inline constexpr int kWorkPieces = 16;
extern TRSF workPieceInBase[kWorkPieces];

// The kinematics services as this host has them:
// - jointTrsfTo...: `flag` makes no difference. A real controller may apply another set of calibrated
// lengths.
// - tmcGetRobotPos: from the measured joints; external axes at zero.
// - toolInBaseTrsfToToolInExAxis_RealTime: the pose of the external axis says all, its geometry is not used.
// - tmcGetInverseKinematicNoLine: damped Newton steps from mpb.jC, so always the branch of the present
// joints,
//   whatever pose.config says. -1: the pose is out of reach or the steps did not converge; -2: they did not
//   converge and mpb.jC is singular. A real controller solves in closed form and offers all branches.

}  // namespace tarn::host
