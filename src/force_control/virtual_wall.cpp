// The wall that a dragged tool feels before the interference zones: damping while it nears the box, and joint
// drag once a joint is in its zone.
#include <cmath>

#include "force_control/drag_state.h"
#include "support/log_lines.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "zvmcforcesensorblock.h"

using namespace tarn;

namespace {

constexpr double BufferWidth = 100.0;                         // mm, band before the wall
constexpr double lamda_B[6] = {800, 800, 800, 80, 80, 80};    // N s/m, N m s/rad
constexpr double ksai = 0.001;                                // mm, keeps the hyperbola finite at the wall
constexpr float Bmax[6] = {1500, 1500, 1500, 150, 150, 150};  // on and beyond the wall of a keep-in box
constexpr float kCeiling[6] = {15000, 15000, 15000, 1000, 1000, 1000};

enum Mode { KeepOut = 0, KeepIn = 1 };              // of box and joint ranges
enum BoxPoints { Corners = 0, CenterSize = 1 };     // mcb.interfereCube.calibMethod_cube
enum InterfereDrag { NoReaction = 0, Resist = 1 };  // mcb.interfereDrag, of hand guiding

struct Box {
    double min[3], max[3];  // mm
};

Box zoneBox(const INTERFERE_CUBE& cube) {
    const INTERFERE_POINT &min = cube.min_cube, &max = cube.max_cube;
    const INTERFERE_POINT &center = cube.center_cube, &length = cube.length_cube;
    switch (cube.calibMethod_cube) {
        case Corners:
            return {{min.x, min.y, min.z}, {max.x, max.y, max.z}};
        case CenterSize:
            return {{center.x - length.x / 2, center.y - length.y / 2, center.z - length.z / 2},
                    {center.x + length.x / 2, center.y + length.y / 2, center.z + length.z / 2}};
        default:
            return {};
    }
}

Box grown(Box box, double width) {
    for (int i = 0; i < 3; i++) {
        box.min[i] -= width;
        box.max[i] += width;
    }
    return box;
}

bool holds(const Box& box, const float* point) {
    for (int i = 0; i < 3; i++) {
        const double x = static_cast<double>(point[i]);
        if (!(x >= box.min[i] && x <= box.max[i])) return false;
    }
    return true;
}

// How far off a box the tool point is, and whether it moves away. In the box itself both are 0.
struct Approach {
    float distance;  // mm
    float away;      // way off the box times velocity
};

Approach approach(const Box& box, const float* tcp, const float* velocity) {
    float vn[3] = {};  // um, from the nearest point of the box
    for (int i = 0; i < 3; i++) {
        const double x = static_cast<double>(tcp[i]);
        if (x <= box.min[i])
            vn[i] = static_cast<float>((x - box.min[i]) * 1000);
        else if (x >= box.max[i])
            vn[i] = static_cast<float>((x - box.max[i]) * 1000);
    }
    const float squares = vn[0] * vn[0] + vn[1] * vn[1] + vn[2] * vn[2];
    return {static_cast<float>(static_cast<double>(std::sqrt(squares)) * 0.001),
            vn[0] * velocity[0] + vn[1] * velocity[1] + vn[2] * velocity[2]};
}

// 0 where the band begins, and a hyperbola towards the wall.
float damping(int axis, float distance) {
    const double d = static_cast<double>(distance);
    return static_cast<float>(lamda_B[axis] * ((BufferWidth + ksai) / (d + ksai) - 1));
}

float underCeiling(int axis, float b) { return b >= kCeiling[axis] ? kCeiling[axis] : b; }

void keepOut(const Box& zone, const float* tcp, const float* velocity, float* B) {
    const bool inBuffer = holds(grown(zone, BufferWidth), tcp);
    Approach to = {};
    if (inBuffer && !holds(zone, tcp)) to = approach(zone, tcp, velocity);
    const bool nearing = inBuffer && to.away <= 0.0F && static_cast<double>(to.distance) <= BufferWidth;
    for (int i = 0; i < 6; i++) B[i] = nearing ? underCeiling(i, damping(i, to.distance)) : 0.0F;
}

// The free space is the box less its band. On the wall the damping falls from its ceiling to Bmax, on
// purpose; going back to the free space leaves B as it was handed in.
void keepIn(const Box& zone, const float* tcp, const float* velocity, float* B) {
    const Box free = grown(zone, -BufferWidth);
    const bool isFree = holds(free, tcp), inBand = holds(zone, tcp) && !isFree;
    Approach off = {};
    if (inBand) off = approach(free, tcp, velocity);
    const float left = static_cast<float>(BufferWidth - static_cast<double>(off.distance));  // to the wall
    for (int i = 0; i < 6; i++) {
        if (isFree)
            B[i] = 0.0F;
        else if (!inBand)
            B[i] = Bmax[i];
        else if (off.away >= 0.0F)
            B[i] = left > 0.0F ? damping(i, left) : Bmax[i];
        B[i] = underCeiling(i, B[i]);
    }
}

void watchJointZones(const INTERFERE_JOINT& zones) {
    ForceDrag& s = forceDrag;
    bool entered = false;
    for (int i = 0; i < 6; i++) {
        const double j = mpb.j6.v[i], min = zones.min_joint[i], max = zones.max_joint[i];
        const bool inZone = (zones.mode_joint == KeepOut && min < j && j < max) ||
                            (zones.mode_joint == KeepIn && (j > max || j < min));
        if (zones.enable_joint[i] == 1 && s.jointInterFlag[i] == 0 && inZone) s.jointInterFlag[i] = 1;
        entered = entered || s.jointInterFlag[i] == 1;
    }
    if (!entered) return;
    // again in each call, until the drag's process releases the flags
    s.jointModeChangeFlag = 1;
    tmcDragSwitch(1);
    logDragPlace(8);
}

}  // namespace

int zvmcForceSensorVirtualWall(float* temp_vel, float* B) {
    TRSF tool;
    multTrsf(&tool, &mpb.t6, &mpb.TOOL);
    const float tcp[3] = {static_cast<float>(tool.p.x), static_cast<float>(tool.p.y),
                          static_cast<float>(tool.p.z)};
    VECT v = {static_cast<double>(temp_vel[0]), static_cast<double>(temp_vel[1]),
              static_cast<double>(temp_vel[2])};
    multRotrsfVect(&v, &mpb.t6, &v);
    temp_vel[0] = static_cast<float>(v.x);
    temp_vel[1] = static_cast<float>(v.y);
    temp_vel[2] = static_cast<float>(v.z);

    const INTERFERE_CUBE& cube = mcb.interfereCube;
    if (cube.setFlag_cube == 1 && cube.refCoord_cube == 0 && mcb.interfereDrag == NoReaction) {
        if (cube.mode_cube == KeepOut) keepOut(zoneBox(cube), tcp, temp_vel, B);
        if (cube.mode_cube == KeepIn) keepIn(zoneBox(cube), tcp, temp_vel, B);
    }
    if (mcb.interfereJoint.setFlag_joint == 1 && mcb.interfereDrag == Resist)
        watchJointZones(mcb.interfereJoint);
    return 0;
}
