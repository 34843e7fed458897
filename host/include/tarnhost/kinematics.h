// Kinematics of the arm in its true shape, and the frames that it works in.
#pragma once

#include <array>

#include "tarnmath/tarnmath.h"

namespace tarn::host {

inline constexpr TRSF kIdentityPose = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0}};

// Flange pose (E in B, mm) of an arm of the given type at joint angles in degrees. false: the type has no
// geometry (704 to 800), and the flange is put into the base frame.
bool flangePose(int robotType, const double jointsDeg[6], TRSF* pose);

// Workpiece frames, W in B, by number; at start and by setDefaults the base frame. A real controller keeps
// them in its settings.
inline constexpr int kWorkPieces = 16;
extern std::array<TRSF, kWorkPieces> workPieceInBase;

// The kinematics services as this host has them.
//
// All: for a type without geometry the result is -1, with the flange in the base frame as above.
//
// jointTrsfTo...: flag makes no difference. A real controller may apply another set of calibrated lengths.
//
// tmcGetRobotPos: from the measured joints; external axes at zero.
//
// baseTrsfToWorkPiece: -1 and the identity for a number outside the table.
//
// toolInBaseTrsfToToolInExAxis_RealTime: the pose of the external axis says all, its geometry is not used.
//
// tmcGetInverseKinematicNoLine: damped Newton steps from mpb.jC, whatever pose.config says. The branch is the
// one that the steps lead to: the present one for targets nearby, perhaps another for those far away. -1: the
// pose is out of reach or the steps did not converge; -2: they did not converge and mpb.jC is singular. The
// joints are then those of mpb.jC. A real controller solves in closed form and offers all branches.

}  // namespace tarn::host
