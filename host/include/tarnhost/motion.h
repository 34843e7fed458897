// Motion: the state machine of idle, service, pause and drag, moved by requests, and the planner that feeds
// the commanded state of the arm.
//
// Requests may come from the cycle and from command handlers; each is a flag, and serveRequests takes them
// all once a cycle. Moves and jogs are started by command handlers.
#pragma once

#include "tarnmath/tarnmath.h"

namespace tarn::host {

// Asks for SERVICE_NEXT_REQUEST (start the planned move), ENTER_IDLE_STATE (stop), ENTER_PAUSE_STATE,
// LEAVE_PAUSE_STATE or ENTER_DRAG_STATE; false for any other number. Lock-free.
bool requestState(int request);

// Plans a move from the commanded position and asks for it; the arm is at rest at its end. Acceleration and
// jerk are bounded, by mpb.defaultJointAccel and by mpb.limitsGoto. False, with nothing started: the arm is
// not idle, a number is out of range, or a line cannot be followed (out of reach, through or close by a
// singularity). line: program line, which mpb.currentLine takes at the start. A start is dropped when
// something else moves or stops the arm first. Commands.
//
// speed: share of mpb.limitsJnt.maxVel, above 0 to 1; all joints arrive together.
bool startJointMove(const double goalDeg[6], double speed, int line = 0);
// flangeGoal: E in B, mm. The flange runs on a straight line and turns about one axis, at up to mmPerSecond
// (a turn on the spot at as many degrees per second), slower where a joint would pass its limits.
bool startLineMove(const TRSF& flangeGoal, double mmPerSecond, int line = 0);

// Moves one joint (from 0) at a speed within its limit, in idle, until stopJog, a stop or a pause; more
// joints may join. Commands.
bool startJog(int joint, double degPerSecond);
void stopJog();

// Serves what was asked since the last call, and moves the commanded state on by a cycle: mpb.jC, jCvel,
// jCacc, jCaccRaw, tC, and of a move ci (cycles run, cycles in all), interMode and currentLine. A request
// that does not fit the state is dropped. The host calls it once per cycle, after the library's supervisors
// and before gravityTorqueControl.
//
// A pause or stop lets the move come to a stand on its path, within the limits; then mpb.state says so. A
// stop with a drag request behind it, as after a collision, hands the arm over at once. In TGEN_DRAG the
// commanded joints follow the measured ones. When the arm becomes idle, mpb.jointPos and mpb.goalPos take the
// commanded position: what was left of the motion is forgotten.
//
// correction: moves the planned flange pose on its way to the joints, as constForceControl does; it is called
// in every cycle, on or off. Other than 0: it has ended at a limit. While constant force control is on in
// mcb.forceControl, moves and jogs are planned from where the plan is, and not from where the correction has
// led the arm; a corrected pose that the arm cannot reach leaves the commanded joints as they are. However it
// ends, the arm stays where it is commanded at that time, and what was left of the move is forgotten. Hand
// guiding ends it.
using PoseCorrection = int (*)(TRSF planned, TRSF* corrected);
void serveRequests(PoseCorrection correction = nullptr);

// What the requests without a state asked for, counted as they were served.
struct MotionRecord {
    int configHandled;  // doConfigHandle: pending configuration and commands
    int weldResets;     // resetWeldControlPara
    int goalUpdates;    // tmcUpdateJointCartGoalPos
};
extern MotionRecord motionRecord;

}  // namespace tarn::host
