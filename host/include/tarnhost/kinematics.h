// Kinematics of the arm in its true shape, and the frames that it works in.
#pragma once

#include <array>

#include "tarnmath/tarnmath.h"

namespace tarn::host {

inline constexpr TRSF kIdentityPose = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0}};

// Flange pose (E in B, mm) of an arm of the given type at joint angles in degrees. false: the type has no
// geometry (704 to 800), and the flange is put into the base frame.
bool flangePose(int robotType, const double jointsDeg[6], TRSF* pose);

// The way back, over all branches of the arm: the joints nearest to a reference, each in the turn nearest to
// it, degrees. 0; -1: the pose is out of reach, or the type has no geometry; -2: the nearest solution is
// singular (wrist aligned, elbow stretched or folded, wrist over the shoulder), where joints run away from
// pose to pose. jointsDeg is written with 0 alone; it may be the reference.
int inverseFlangePose(int robotType, const TRSF& flange, const double referenceDeg[6], double jointsDeg[6]);

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
// tmcGetInverseKinematicNoLine: inverseFlangePose with mpb.jC for reference, whatever pose.config says; on a
// failure the joints are those of mpb.jC. The record is in single precision, which a speed taken from two
// solutions shows: the host's own planner keeps its poses in double.

}  // namespace tarn::host
