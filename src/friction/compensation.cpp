#include "friction/compensation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "friction/friction_curve.h"
#include "model/type_table.h"
#include "support/joints.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

using PerJoint = std::array<double, 6>;

// clang-format off

// Velocity beyond which the curves are held, degrees per second.
constexpr TypeRow<PerJoint> kVelocityClamp[] = {
    // first, last,   J1   J2   J3   J4   J5   J6
    {  201,  300, { 120, 120, 120, 180, 180, 180 } },
};
// 40 on joints 4 to 6 is meant, and holds for all these types.
constexpr PerJoint kVelocityClampOther = { 180, 180, 180, 40, 40, 40 };

// Share of the curve that hand guiding compensates.
struct GuidingShare {
    PerJoint share;
    bool joint3Always;  // joint 3 is written even where the arm has fewer joints
};
constexpr TypeRow<GuidingShare> kGuidingShare[] = {
    // first, last,     J1   J2   J3   J4   J5   J6    joint 3 always
    {  201,  300, { { 0.4, 0.4, 0.4, 0.4, 0.4, 0.4 }, false } },
};
constexpr GuidingShare kGuidingShareOther =
                  { { 0.4, 0.4, 0.5, 0.6, 0.6, 0.6 }, true };

// Drive size of each joint, and whether hand guiding has its own curve.
struct Drives {
    DriveSize size[6];
    bool guidingCurve;
};

constexpr DriveSize k14 = DriveSize::Size14, k17 = DriveSize::Size17, k25 = DriveSize::Size25,
                    k32 = DriveSize::Size32, k40 = DriveSize::Size40;

constexpr TypeRow<Drives> kDrives[] = {
    // first, last,   J1   J2   J3   J4   J5   J6    guiding curve
    {    0,    0, { { k25, k25, k25, k14, k14, k14 }, true  } },
    {    1,  100, { { k17, k17, k17, k14, k14, k14 }, true  } },
    {  101,  200, { { k25, k25, k25, k14, k14, k14 }, true  } },
    {  201,  400, { { k32, k32, k25, k17, k17, k17 }, true  } },
    {  401,  500, { { k40, k40, k32, k25, k25, k25 }, true  } },
    {  701,  701, { { k17, k17, k14, k14, k14, k14 }, true  } },
    {  702,  703, { { k17, k17, k17, k14, k14, k14 }, true  } },
    {  704,  800, { {},                               false } },
    {  801,  900, { { k17, k17, k14, k14, k14, k14 }, false } },
    {  901,  901, { { k17, k17, k17, k14, k14, k14 }, false } },
    {  902,  902, { { k32, k32, k25, k17, k17, k17 }, false } },
    { 1001, 1001, { { k40, k40, k32, k25, k25, k25 }, true  } },
};
constexpr Drives kDrivesOther =
                  { { k25, k25, k25, k14, k14, k14 }, false };
// clang-format on

// Faster than this many times the nominal joint speed, a velocity is a bad measurement.
constexpr double kPlausibleSpeeds = 4;

void logOverspeed(int joint, double degPerSecond) {
    const auto logJoints = [](const char* format, const JNTS& j) {
        Write_Log(LOG_DEBUG, format, j.v[0], j.v[1], j.v[2], j.v[3], j.v[4], j.v[5]);
    };
    Write_Log(LOG_DEBUG, "jointVel%d %f", joint, degPerSecond);
    logJoints("jC %f %f %f %f %f %f", mpb.jC);
    logJoints("j6 %f %f %f %f %f %f", mpb.j6);
    logJoints("oldJ6 %f %f %f %f %f %f", mpb.oldJ6);
}

}  // namespace

int frictionCompensation(JNTS* jvel, double* value) {
    const int joints = armJoints();

    const PerJoint& velmax = byType(kVelocityClamp, kVelocityClampOther, mcb.robotType);
    double jointv[6] = {};
    for (int i = 0; i < joints; i++) {
        const double degPerSecond = jvel->v[i] * 1000;
        if (std::fabs(jvel->v[i]) * 1000 > mpb.defaultJointVel.v[i] * kPlausibleSpeeds) {
            logOverspeed(i, degPerSecond);
            std::fill_n(value, joints, 0.0);
            return 0;
        }
        const double limit = velmax[static_cast<std::size_t>(i)];
        if (degPerSecond > limit)
            jointv[i] = limit / 1000;
        else if (degPerSecond < -limit)
            jointv[i] = -limit / 1000;
        else
            jointv[i] = jvel->v[i];
    }

    const bool guiding = mpb.state == TGEN_DRAG;
    const Drives& drives = byType(kDrives, kDrivesOther, mcb.robotType);
    double friction[6];
    for (int i = 0; i < 6; i++) {
        friction[i] = guiding && drives.guidingCurve
                          ? guidingFrictionCurve(drives.size[i], jointv[i],
                                                 {mpb.ForDeadGain[i], mpb.RevDeadGain[i], mpb.ForFastGain[i],
                                                  mpb.RevFastGain[i]})
                          : frictionCurve(drives.size[i], jointv[i]);
    }

    if (!guiding) {
        std::copy_n(friction, joints, value);
        return 0;
    }
    const GuidingShare& guidingShare = byType(kGuidingShare, kGuidingShareOther, mcb.robotType);
    for (int i = 0; i < joints; i++) value[i] = friction[i] * guidingShare.share[static_cast<std::size_t>(i)];
    if (guidingShare.joint3Always) value[2] = friction[2] * guidingShare.share[2];
    return 0;
}

namespace tarn {

void frictionStage(CycleFrame& frame) {
    std::fill_n(frame.value, 6, 0.0);
    if (mcb.fricCompensationFlag != 1) return;
    if (mpb.state != TGEN_DRAG)
        frictionCompensation(&mpb.jCvel, frame.value);
    else if (mcb.forceControl.forceandtorquedrag.status != 1)
        frictionCompensation(&mpb.j6vel, frame.value);
}

}  // namespace tarn
