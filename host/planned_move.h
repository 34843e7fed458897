// One planned move from rest to rest, along joints or along a straight line of the flange, that can be slowed
// to a stand and released again at any time without leaving its path. Internal to the host's motion.
#pragma once

#include "tarnmath/tarnmath.h"
#include "trajectory.h"

namespace tarn::host {

struct PlannedMove {
    int interMode;   // JOINT or CARTESIANLIN
    int line;        // program line that the move came from
    double from[6];  // deg
    double goal[6];  // deg, of a joint move
    TRSF start;      // E in B, of a line
    VECT shift;      // mm
    VECT turnAxis;   // unit vector in B
    double turn;     // rad

    MotionLimits limits;  // of the path from 0 to 1
    Profile profile;
    Ramp ramp;            // rate of time along the profile: 1 runs, 0 stands
    double time;          // s along the profile
    double joints[2][6];  // deg, last and last but one set-point of a line
};

// A joint reaches its acceleration in this time, which fixes its jerk.
inline constexpr double kJerkTime = 0.04;  // s

struct SetPoint {
    double position[6];      // deg
    double velocity[6];      // deg/ms
    double acceleration[6];  // deg/ms^2
};

// Plans a move from joints at rest; speed is a share of the joint limits, 0 to 1. False: nothing planned,
// since a number is out of range.
bool planJointMove(PlannedMove* move, const double from[6], const double goal[6], double speed);

// Plans a straight line of the flange to a pose in B, mm; speed in mm/s (a turn on the spot takes as many
// degrees per second). The orientation turns about one axis. False: nothing planned, since a number is out of
// range, or the arm cannot follow the line: out of reach, through or close by a singularity, its ends
// included.
bool planLineMove(PlannedMove* move, const double from[6], const TRSF& goal, double speed);

enum class Progress { Moving, Standing, Arrived, Lost };

// One cycle. rate: 1 to run, 0 to come to a stand on the path. Lost: a line's next point has no joints near
// the last ones; the set-point is then left as it was.
Progress advance(PlannedMove& move, double rate, SetPoint* setPoint);

}  // namespace tarn::host
