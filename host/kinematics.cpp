#include "tarnhost/kinematics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "inverse_kinematics.h"
#include "model/arm_shape.h"
#include "model/parameter_sets.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn::host {

constinit std::array<TRSF, kWorkPieces> workPieceInBase = [] {
    std::array<TRSF, kWorkPieces> frames = {};
    frames.fill(kIdentityPose);
    return frames;
}();

namespace {

using std::numbers::pi;

const ParameterSet* geometry(int robotType) {
    const ParameterSet* set = dynamicsSet(robotType);
    return set != nullptr ? set : gravitySet(robotType);
}

// Frames of the base (index 0) and of links 1 to 6, in B.
struct Chain {
    TRSF frame[7];
};

bool chain(int robotType, const double jointsDeg[6], Chain* out) {
    const ParameterSet* set = geometry(robotType);
    if (set == nullptr) return false;
    const std::array<DhLink, 6> links = dhLinks(*set);
    const std::array<double, 6>& zero = jointZeroOffsetDeg(robotType);

    out->frame[0] = kIdentityPose;
    for (std::size_t i = 0; i < 6; i++) {
        const DhLink& link = links[i];
        const double theta = jointsDeg[i] - zero[i] + link.thetaOffsetDeg;
        TRSF step;
        dhClassic(&step, link.a, link.alphaDeg / 180.0 * pi, link.d, theta / 180.0 * pi);
        multTrsf(&out->frame[i + 1], &out->frame[i], &step);
    }
    return true;
}

ROBCARTPOS toRobCartPos(const TRSF& t) {
    double rz, ry, rx;
    trsfToRpy(&rz, &ry, &rx, &t);
    return {static_cast<float>(t.p.x),
            static_cast<float>(t.p.y),
            static_cast<float>(t.p.z),
            static_cast<float>(rx),
            static_cast<float>(ry),
            static_cast<float>(rz),
            -1};
}

TRSF fromRobCartPos(const ROBCARTPOS& pose) {
    TRSF t;
    rpyToTrsf(&t, static_cast<double>(pose.c), static_cast<double>(pose.b), static_cast<double>(pose.a));
    t.p = {static_cast<double>(pose.x), static_cast<double>(pose.y), static_cast<double>(pose.z)};
    return t;
}

}  // namespace

bool flangePose(int robotType, const double jointsDeg[6], TRSF* pose) {
    Chain arm;
    const bool known = chain(robotType, jointsDeg, &arm);
    *pose = known ? arm.frame[6] : kIdentityPose;
    return known;
}

int inverseFlangePose(int robotType, const TRSF& flange, const double referenceDeg[6], double jointsDeg[6]) {
    const ParameterSet* set = geometry(robotType);
    if (set == nullptr) return -1;
    const std::array<double, 6>& zero = jointZeroOffsetDeg(robotType);
    double reference[6], joints[6];
    for (std::size_t i = 0; i < 6; i++) reference[i] = (referenceDeg[i] - zero[i]) / 180.0 * pi;
    const int result = nearestJoints(*set, flange, reference, joints);
    if (result != 0) return result;
    for (std::size_t i = 0; i < 6; i++) jointsDeg[i] = joints[i] / pi * 180.0 + zero[i];
    return 0;
}

}  // namespace tarn::host

using namespace tarn::host;

int newFwdKinematics(JNTS* joints, TRSF* pose) { return flangePose(mcb.robotType, joints->v, pose) ? 0 : -1; }

int jointTrsfToEndCartTCF_RT(int, double* joints, ROBCARTPOS* pose) {
    TRSF flange;
    const bool known = flangePose(mcb.robotType, joints, &flange);
    *pose = toRobCartPos(flange);
    return known ? 0 : -1;
}

int jointTrsfToToolCartTCF_RT(int, double* joints, ROBCARTPOS* pose) {
    TRSF tool;
    const bool known = flangePose(mcb.robotType, joints, &tool);
    multTrsf(&tool, &tool, &mpb.TOOL);
    *pose = toRobCartPos(tool);
    return known ? 0 : -1;
}

int tmcGetRobotPos(ROBPOS* pos, EXAXISPOS* exAxisPos) {
    TRSF tool;
    const bool known = flangePose(mcb.robotType, mpb.j6.v, &tool);
    multTrsf(&tool, &tool, &mpb.TOOL);
    pos->a1 = tool.p.x;
    pos->a2 = tool.p.y;
    pos->a3 = tool.p.z;
    trsfToRpy(&pos->a6, &pos->a5, &pos->a4, &tool);
    const double* j = mpb.j6.v;
    pos->j1 = j[0];
    pos->j2 = j[1];
    pos->j3 = j[2];
    pos->j4 = j[3];
    pos->j5 = j[4];
    pos->j6 = j[5];
    *exAxisPos = {};
    return known ? 0 : -1;
}

int tmcGetInverseKinematicNoLine(int, ROBCARTPOS pose, ROBPOS* joints) {
    TRSF endInTool;
    invertTrsf(&endInTool, &mpb.TOOL);
    const TRSF tool = fromRobCartPos(pose);
    TRSF flange;
    multTrsf(&flange, &tool, &endInTool);

    double q[6];
    std::copy_n(mpb.jC.v, 6, q);
    const int result = inverseFlangePose(mcb.robotType, flange, mpb.jC.v, q);
    *joints = {.a1 = tool.p.x,
               .a2 = tool.p.y,
               .a3 = tool.p.z,
               .a4 = static_cast<double>(pose.a),
               .a5 = static_cast<double>(pose.b),
               .a6 = static_cast<double>(pose.c),
               .j1 = q[0],
               .j2 = q[1],
               .j3 = q[2],
               .j4 = q[3],
               .j5 = q[4],
               .j6 = q[5]};
    return result;
}

int baseTrsfToWorkPiece(int workPieceNum, TRSF pose, TRSF* out) {
    if (workPieceNum < 0 || workPieceNum >= kWorkPieces) {
        *out = kIdentityPose;
        return -1;
    }
    TRSF baseInWorkPiece;
    invertTrsf(&baseInWorkPiece, &workPieceInBase[static_cast<std::size_t>(workPieceNum)]);
    multTrsf(out, &baseInWorkPiece, &pose);
    return 0;
}

int toolInBaseTrsfToToolInExAxis_RealTime(TRSF pose, EXAXIS_DHPARA, TRSF externalAxisInBase, TRSF* out) {
    TRSF baseInAxis;
    invertTrsf(&baseInAxis, &externalAxisInBase);
    multTrsf(out, &baseInAxis, &pose);
    return 0;
}

void TransMatSDHTR(SDHV link, TRSF* out) { dhClassic(out, link.a, link.alpha, link.d, link.theta); }
