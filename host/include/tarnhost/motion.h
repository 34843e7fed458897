// The motion state machine: idle, service, pause, drag, moved by requests.
//
// Requests may come from the cycle and from command handlers; each is a flag, and serveRequests takes them
// all once a cycle. There is no planner yet: a stop or a pause freezes the command at once, where a real
// controller decelerates first; a service only changes the state.
#pragma once

namespace tarn::host {

// Asks for SERVICE_NEXT_REQUEST, ENTER_IDLE_STATE, ENTER_PAUSE_STATE, LEAVE_PAUSE_STATE or ENTER_DRAG_STATE;
// false for any other number. Lock-free.
bool requestState(int request);

// Serves what was asked since the last call; a request that does not fit the state is dropped. The host calls
// it once per cycle, after the library's supervisors and before gravityTorqueControl. In TGEN_DRAG the
// commanded joints follow the measured ones. When the arm becomes idle, mpb.jointPos and mpb.goalPos take the
// commanded position: what was left of the motion is forgotten.
void serveRequests();

// What the requests without a state asked for, counted as they were served.
struct MotionRecord {
    int configHandled;  // doConfigHandle: pending configuration and commands
    int weldResets;     // resetWeldControlPara
    int goalUpdates;    // tmcUpdateJointCartGoalPos
};
extern MotionRecord motionRecord;

}  // namespace tarn::host
