// The services of the host's motion controller: motion requests, kinematics, planner and model values,
// spline fit, scalar Kalman filter, safety board.
//
// All of them are provided by the host. "Cycle" marks a service that the library calls within the
// real-time cycle: it must neither block nor allocate. "Command" marks one that it calls from a command
// handler only. Where a result is told to be ignored, the library goes on whatever it is.
//
// Frames: B robot base, E end (flange), T tool, W workpiece. "E in B" is the pose that takes E coordinates
// to B.
#pragma once

#include <stdint.h>

#include "tarnmath/tarnmath.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

extern "C" {

// ---- motion requests

// Has the host process its pending configuration and commands, right after a collision stop. Called with
// (1, 1). Cycle; result ignored.
int doConfigHandle(int a, int b);

// Request a stop of the running program and motion. Cycle; result ignored.
int tmcStop(void);

// Request a pause of the running program and motion. Cycle; result ignored.
int tmcPause(void);

// Request to enter (flag 1) or leave (flag 0) the hand-guiding state TGEN_DRAG. Harmless when it is
// repeated: some callers do so every cycle while a condition lasts. Cycle; result ignored.
int tmcDragSwitch(int flag);

// Resets the host's welding state after a collision. Cycle; result ignored.
int resetWeldControlPara(void);

// Tells the planner that the library has moved the commanded position (mpb.jC and mpb.tC), so that the
// next motion starts from there. Cycle; result ignored.
int tmcUpdateJointCartGoalPos(void);

// ---- kinematics: joints in degrees, poses in mm and degrees

// The robot's present pose in B: pos->a1 to a3 the position, mm, a4 to a6 the angles about x, y, z,
// degrees; and the external axes' positions. Command; result ignored.
int tmcGetRobotPos(ROBPOS* pos, EXAXISPOS* exAxisPos);

// Joints that reach the tool pose `pose`, T in B, into joints->j1 to j6. pose.config -1 takes the branch
// nearest to mpb.jC. The library passes flag 0. Returns 0; -1 or -2 when there is no solution, joints
// then being without meaning. Cycle.
int tmcGetInverseKinematicNoLine(int flag, ROBCARTPOS pose, ROBPOS* joints);

// Flange pose of given joints: E in B. Returns 0. Cycle.
int newFwdKinematics(JNTS* joints, TRSF* pose);

// Flange pose (E in B) of six joints. flag is 1 for the joints that the torque cycle was given, 0
// for others; equal joints give equal poses. Returns 0. Cycle.
int jointTrsfToEndCartTCF_RT(int flag, double* joints, ROBCARTPOS* pose);

// Tool pose (T in B) of six joints; flag as above. Returns 0. Cycle.
int jointTrsfToToolCartTCF_RT(int flag, double* joints, ROBCARTPOS* pose);

// Pose given in B, expressed in workpiece frame number workPieceNum: W <- B. Returns 0. Cycle and command.
int baseTrsfToWorkPiece(int workPieceNum, TRSF pose, TRSF* out);

// Pose given in B, expressed relative to the external axis: para holds the axis' geometry,
// externalAxisInBase its present pose in B. Returns 0. Cycle and command.
int toolInBaseTrsfToToolInExAxis_RealTime(TRSF pose, EXAXIS_DHPARA para, TRSF externalAxisInBase, TRSF* out);

// Transform of one link in standard Denavit-Hartenberg form: Rz(theta) Tz(d) Tx(a) Rx(alpha). Angles in
// radians; out->p in the unit of a and d. Called for the display of link poses.
void TransMatSDHTR(SDHV link, TRSF* out);

// ---- planner and model values

// The host's own gravity torque of the arm with its load, for floor, wall and ceiling mounts. q in
// degrees, exload in kg and mm (E), gtorque->v[0..5] in N m at the joint: the torque that holds the arm
// still. model is the robot type code that picks the host's table. Returns 0. Cycle.
int tmcDynComGravityExload(JNTS* q, EX_LOAD* exload, JNTS* gtorque, int model);
int tmcDynComGravityExloadWall(JNTS* q, EX_LOAD* exload, JNTS* gtorque, int model);
int tmcDynComGravityExloadCeiling(JNTS* q, EX_LOAD* exload, JNTS* gtorque, int model);

// Velocity feed-forward currents of the six joints, thousandths of the rated motor torque. Returns 0.
// Cycle.
int newJointVelFFTorque(float* vAdd);

// Scale of the collision thresholds of the six joints, 1 for none. Returns 0. Cycle.
int newCollisionRatio(float* jRatio);

// ---- spline fit of the torque record

// One Bsplinep a joint, in mcb.torqueRecordCtl.torqueBSpline. It is the host's own: the library hands it
// back and never looks inside. All zero is an empty fit. A cubic segment is fixed by four samples, so a fit
// keeps the newest four of a record, however long, and stays small enough to be passed by value in the cycle.

// Empties a fit. Returns 0. Cycle and command.
int zvmcinitBtraj(Bsplinep* fit);

// Adds a sample, at the start of each interval of 50 cycles; a full fit drops its oldest. flag is 1, or 0
// for the last sample of the record. Returns 0. Cycle.
int zvmcaddpointBfitting(Bsplinep* fit, int flag, double value);

// Evaluates a fit into *result, in the unit of the samples. time holds the instants of `count` samples,
// seconds, oldest first (the library passes 4: 0, 0.05, 0.1, 0.15); position is the number of cycles
// since the newest one was added, 0 to 49; work is a matrix of the caller that the fit may use. A fit of
// fewer than four samples must still give a finite value: one is asked for from the second sample on.
// Returns 0. Cycle.
int zvmccomBfitting(Bsplinep fit, int count, double* time, int position, double* result, dmat work);

// ---- scalar Kalman filter

// Prepares a filter: variances of process and measurement noise in the squared unit of the samples, and
// the value to start from. Cycle.
void Init_KalmanInfo(KALMANINFO* info, double processNoise, double measurementNoise, double start);

// Takes one sample in and returns the filtered value, same unit. Cycle.
double KalmanFilter(KALMANINFO* info, double sample);

// ---- safety board: the settings that it supervises with
// Called only while mcb.safetyPara.safetyStopEnable is 2. Command; results ignored.

// Friction compensation on (1) or off (0).
int tfsSetRobotJointFrictionCmpstOnOff(uint8_t flag);

// Share of the friction compensation of the six joints, 0 to 1.
int tfsSetRobotJointFrictionLevel(float* level);

// Supervision of momentum and power on (1) or off (0).
int tfsSetMomentumPowerOnOff(uint8_t flag);

// Limits of that supervision, as mcb.momentumLimit and mcb.powerLimit hold them, in the board's units.
int tfsSetMomentumPowerParam(float momentumLimit, float powerLimit);

}  // extern "C"
