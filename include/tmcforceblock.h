// Joint torque of the arm: the torque cycle, gravity and friction, hand guiding, collision supervision,
// identification, status.
//
// Joint arrays have six elements, joint 1 at index 0. Joint torques are N m on the joint's side of the gear;
// rated motor torques are N m on the motor's side. Frames: B robot base, E end (flange).
//
// "Cycle" marks a function of the host's real-time cycle, "command" one of its command handlers. Commands
// check everything first, store and persist after that, and a refused one leaves blocks and settings as they
// were unless its comment says otherwise.
#pragma once

#include <stdint.h>

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

extern "C" {

// ==== the torque cycle

// Turns the state of the arm into the motor currents how.currentSet, thousandths of the rated motor torque:
// joint torque model by mcb.newTeachEnable, drag lock and zones in hand guiding, friction compensation, gear
// ratio, torque-servo override.
//
// q: joint positions that the torque model takes, degrees.
//
// Cycle, exactly once: after the sensor intake and after the host has refreshed how.currentFeedback, the
// joint and Cartesian state in mpb and, with torque servo on, mpb.jTorque; before how.currentSet goes to the
// drives. Runs in every mpb.state.
//
// Writes how.currentSet[i] for i below mpb.sysJntsNo, truncated toward zero; a value beyond 16 bits wraps.
// With a mcb.robotInstallPos above 3 they keep their last values, but for the commands of torque servo. Also
// writes the selected load record to mpb.frictionValue[0..3] (weight, kg, then center of mass, mm, E; nothing
// for a mpb.loadNum past the records), and on mounts 0 to 3 0.5 to a mpb.friction_Free[i] below -1e-6 or
// above 1. Full dynamics (mcb.newTeachEnable 2) may raise mcb.cmdPointError, as the wrappers below tell, and
// runs the dual-encoder detector. In torque servo, with mcb.collisionDetection.powerFlag 1, a mean power
// above powerLimit sets mcb.cmdPointError to zvCtlCurrentCmdOver and leaves drag mode; the library's
// histories then start cold. Cannot fail.
TARN_API void gravityTorqueControl(JNTS* q);

// ==== gravity torque and rated torque

// Joint torque that holds the arm and its load still, as mounting and robot type ask for it: mounts 0 floor,
// 1 wall, 2 ceiling of mcb.robotInstallPos take the host's gravity service on most types, mount 3 and the
// other types zvmcGravityTorque.
//
// q: joint positions, degrees. exload: load in E, kg and mm. gtorque->v: six torques, N m; left alone on a
// mount above 3, and on mounts 0 to 2 with types 501 to 700 and 801 to 900. Returns 0. Cycle.
TARN_API int zvmcNewGravityTorque(JNTS* q, EX_LOAD* exload, JNTS* gtorque);

// The library's own gravity torque, for any mounting: gravity in B follows mcb.robotInstallYangle and
// robotInstallZangle, the arm mcb.robotType.
//
// q: joint positions, degrees, not changed. exload: load in E, kg and mm. gtorque->v: all six torques, N m;
// zero for types 704 to 900 and 902, which have no parameter set here. Returns 0. Cycle.
TARN_API int zvmcGravityTorque(JNTS* q, EX_LOAD* exload, JNTS* gtorque);

// The same in closed form, for given parameters. The arm's shape is fixed: an upright first axis, three
// parallel ones (joints 2 to 4), two of the wrist.
//
// paramSDH[6]: lengths d1, a2, a3, d4, d5, d6, mm; the signs of a2 and a3 do not matter. paramM[6]: link
// masses, kg. paramC[18]: centers of mass, three numbers a link in its own Denavit-Hartenberg frame, mm.
// Extload[10]: load, mass in kg, center of mass in E in mm, six more that are not read. Gravity[3]: m/s^2,
// in B. joint_position[6]: degrees. torq[6]: output, N m. A sixth link without mass and load gives non-finite
// torques. Holds no state, reads no block; from anywhere.
TARN_API void zvmcInvGravity(const double* paramSDH, const double* paramM, const double* paramC,
                             const double* Extload, const double* Gravity, const double* joint_position,
                             double* torq);

// Rated motor torque of each joint for mcb.robotType, out of mpb.moterRatedTorque_60 to _130L.
// jTorque[6]: output, N m, motor side. Returns 0. Cycle and command.
TARN_API int zvmcJointDefaultTorque(float* jTorque);

// ==== full dynamics

// Joint torque of the arm and its load in the commanded motion: inertia, velocity and gravity terms, with
// velocity mpb.jCvel, gravity in B by mcb.robotInstallYangle and robotInstallZangle, and the load as a point
// mass. One wrapper a block; which type takes which is the cycle's choice.
//
// joint_pos[6]: joint positions, degrees, not changed. exLoad: load in E, kg and mm. tau_res[6]: output, N m.
// paramSDH[6]: lengths, mm. inparaM[6]: link masses, kg. inparaC[18]: centers of mass, mm, each in its link's
// frame. inparaI[36]: Ixx, Ixy, Ixz, Iyy, Iyz, Izz by link about its center of mass, kg mm^2. inparaIj[6]:
// rotor inertias at the joints, kg mm^2. They return 0 and cannot fail. Cycle, not reentrant.

// The standard shape in single precision, with the acceleration as planned, mpb.jCaccRaw. Type 3 has its
// joint zeros turned. gain: not read, may be null. MM: output, the diagonal of the mass matrix, kg m^2, zeros
// beside it. Exactly once per cycle, since it also samples measured torque and position for the
// identification of loads. With the safety board in charge (mcb.safetyPara.safetyStopEnable 2,
// mcb.momentumPowerEnableFlag 1) its verdicts 27, 28 and 29 to 34 become mcb.cmdPointError. Runs the
// dual-encoder detector where mpb.collisionMode asks for it.
TARN_API int zvtmczvdynamicblock(double* joint_pos, EX_LOAD exLoad, double* tau_res, float* paramSDH,
                                 float* inparaM, float* inparaC, float* inparaI, float* inparaIj, float* gain,
                                 double MM[6][6]);

// The offset shape in double precision, with the smoothed acceleration, mpb.jCacc.
TARN_API int zvPQtmczvdynamicblock(double* joint_pos, EX_LOAD exLoad, double* tau_res, double* paramSDH,
                                   double* inparaM, double* inparaC, double* inparaI, double* inparaIj);

// The standard shape in double precision with built-in masses, centers and tensors, and mpb.jCacc.
TARN_API int zvHNtmczvdynamicblock(double* joint_pos, EX_LOAD exLoad, double* tau_res, double* paramSDH,
                                   double* inparaIj);

// ==== friction

// Friction torque of the joints at given velocities, by mcb.robotType. In mpb.state 4 (hand guiding) a
// fixed share of the torque is taken, and the gains mpb.ForDeadGain, RevDeadGain, ForFastGain, RevFastGain
// act on types 0 to 500, 701 to 703 and 1001.
//
// jvel->v: joint velocities, degrees/ms; the curves see them held within limits. value[6]: output,
// N m, written for joints below mpb.sysJntsNo, and in hand guiding, but on types 201 to 300, always for joint
// 3; zero for types 704 to 800, which have no curves. A velocity beyond four times mpb.defaultJointVel.v[i]
// (degrees/s) is taken for a bad measurement: it is logged, and all torques are zero. Returns 0. Cycle and
// command. Does not look at mcb.fricCompensationFlag: that is the caller's.
TARN_API int frictionCompensation(JNTS* jvel, double* value);

// Friction curves of the five drive sizes: torque, N m, at jointVel, degrees/ms. One fit holds below
// 10 degrees/s, another from there on. Size 25 follows mcb.jointStiffnessType. Size 32 alone has a true dead
// zone, zero below 1 degree/s. Cycle and command.
TARN_API double joint14FrictionCalculate_deadzone(double jointVel);
TARN_API double joint17FrictionCalculate_deadzone(double jointVel);
TARN_API double joint25FrictionCalculate_deadzone(double jointVel);
TARN_API double joint32FrictionCalculate_deadzone(double jointVel);
TARN_API double joint40FrictionCalculate_deadzone(double jointVel);

// The same curves for hand guiding: none has a dead zone, and the torque is scaled by one gain. The "Dead"
// gains act below 10 degrees/s, the "Fast" ones from there on; the "For" gains at positive velocity, the
// "Rev" ones otherwise. Cycle and command.
TARN_API double joint14FrictionCalculate_deadzone_DRAG(double jointVel, double ForDeadGain,
                                                       double RevDeadGain, double ForFastGain,
                                                       double RevFastGain);
TARN_API double joint17FrictionCalculate_deadzone_DRAG(double jointVel, double ForDeadGain,
                                                       double RevDeadGain, double ForFastGain,
                                                       double RevFastGain);
TARN_API double joint25FrictionCalculate_deadzone_DRAG(double jointVel, double ForDeadGain,
                                                       double RevDeadGain, double ForFastGain,
                                                       double RevFastGain);
TARN_API double joint32FrictionCalculate_deadzone_DRAG(double jointVel, double ForDeadGain,
                                                       double RevDeadGain, double ForFastGain,
                                                       double RevFastGain);
TARN_API double joint40FrictionCalculate_deadzone_DRAG(double jointVel, double ForDeadGain,
                                                       double RevDeadGain, double ForFastGain,
                                                       double RevFastGain);

// Chooses the fit of the size 25 curve, 0 or 1. Stores mcb.jointStiffnessType and persists
// FRIC_JOINTSTIFFNESSTYPE. Returns 0, or -1 for any other Type. Command.
TARN_API int tmcSetJointStiffnessType(int Type);

// Sets the gains of the hand-guiding curves, four arrays of six, each value 0.5 to 1.5. Stores
// mpb.ForDeadGain, RevDeadGain, ForFastGain, RevFastGain and persists FORDEAD_GAIN1 to 6, REVDEAD_GAIN1 to 6,
// FORFAST_GAIN1 to 6, REVFAST_GAIN1 to 6. Returns 0, or -1 for a value out of range. The first call since
// load sets all gains in mpb to 1 before it checks, so they are sane even when it is refused. Command.
TARN_API int tmcSetJointFrictionGain(double* ForDeadGain, double* RevDeadGain, double* ForFastGain,
                                     double* RevFastGain);

// Switches friction compensation off (0) or on (1). Stores mcb.fricCompensationFlag, tells the safety board
// where it is in charge, and persists FRIC_COMPENSATION. Returns 0, or -1 for a status above 1. Command.
TARN_API int tmcFrictionCompensationOnOff(uint8_t status);

// Sets the share of the friction torque that the cycle compensates, freet[6], 0 to 1. Stores
// mpb.friction_Free for joints below mpb.sysJntsNo, tells the safety board where it is in charge, and
// persists FRIC_VALUE_FREE_J1 to J6. Returns 0, or -1 for a value below -1e-6 or above 1. Command.
TARN_API int tmcSetFrictionValue_free(float* freet);

// ==== collision settings

// Chooses the detector and the thresholds. mode: 0, 1 or 2, of which 1 and 2 run the dual-encoder detector;
// thresholdMode: 0 standard, 1 custom. Stores mpb.collisionMode, collisionThresholdMode and persists
// COLLISION_MODE, COLLISION_THRESHOLDMODE. Returns 0, or -1 for a value out of range. Command.
TARN_API int tmcSetCollisionMode(uint8_t mode, uint8_t thresholdMode);

// Sets how sensitive each joint is: level[6], 0 to 100, higher is less sensitive, for the joints below
// mpb.sysJntsNo. The torque check takes all levels, and 100 switches a joint off there; the dual-encoder
// detector and the momentum observer know 1 to 10. type: 0 or 1, only persisted.
//
// Stores mpb.collisionLevel and clears mpb.collisionErrorCount. With configFlag 1 also persists
// COLLISION_LEVEL_TYPE, J1_COLLISION_LEVEL to J6_COLLISION_LEVEL and stores mpb.configCollisionLevel; with
// any other the level is a temporary one. Stores curLine in mpb.currentLine. Returns 0. Returns -1 for a type
// above 1 with nothing stored; and -1 with mcb.paraError zvCtlCollisionLevelNumError and curLine stored for a
// level out of range: the joints before it then have their new level. Command.
TARN_API int tmcSetCollisionLevel(uint8_t type, float* level, uint8_t configFlag, int curLine);

// Ends a temporary level: mpb.collisionLevel takes mpb.configCollisionLevel again. Returns 0. Command.
TARN_API int tmcCollisionLevelResume();

// Sets the reaction to a collision: 0 pause, 1 alarm only, 2 stop; then hand guiding: 3 free for 1000 cycles,
// 4 on a spring for 5000 cycles, 5 with a decaying push-back. Reaction 5 reads safeTime, 0 to 2000 cycles in
// hand guiding; safeDistance, 0 to 500 mm of the tool that end it; safeSpeed, cap of the tool speed, mm/s,
// not checked (with 0 the torque of a tool that stands is no number); safetyMargin[6], decay rate by joint, 1
// to 10.
//
// Stores mcb.collisionPauseFlag and the four values in mcb.collisionDetection, and persists COLLISION_PAUSE,
// COLLISION_SAFETIME, COLLISION_SAFEDISTANCE, COLLISION_SAFESPEED, COLLISION_SAFEMARGIN1 to 6. Returns 0, or
// -1 for a reaction above 5 or, with reaction 5 alone, a value out of range: the other reactions store
// whatever they are given. Command.
TARN_API int tmcSetCollisionPause(uint8_t pause, int safeTime, int safeDistance, int safeSpeed,
                                  int* safetyMargin);

// 1 from a joint collision until the hand guiding after it has ended, or until the host clears it; else 0.
// Returns 0. Command.
TARN_API int tmcGetCollisionState(uint8_t* collisionState);

// Sets the custom thresholds. flag: 0 off, 1 joints, 2 tool, 3 both. jointDetectionThreshold[6]: deviation of
// the joint torque, N m, motor side. tcpDetectionThreshold[6]: force and torque at the end, N and N m, B.
// Stores them in mcb.collisionDetection; nothing is persisted. Returns 0, or -1 for a flag above 3. Command.
TARN_API int zvmcSetCustomCollisionDetection(uint8_t flag, float* jointDetectionThreshold,
                                             float* tcpDetectionThreshold);

// Switches the check at standstill on (1) or off. Stores any status in
// mcb.collisionDetection.staticCollisionFlag and persists COLLISION_STATIC. Returns 0. Command.
TARN_API int tmcSetStaticCollisionOnOff(uint8_t status);

// Switches the power supervision of torque servo off (0) or on (1), with its limit Power, W. Stores
// mcb.collisionDetection.powerFlag, powerLimit and persists POWER_FLAG, POWER_LIMIT. Returns 0, or -1 for a
// status above 1. Command.
TARN_API int tmcSetPowerLimit(uint8_t status, double Power);

// Switches the safety board's supervision of momentum and power off (0) or on (1), with limits in the board's
// units. Stores mcb.momentumPowerEnableFlag, momentumLimit, powerLimit, tells the safety board where it is in
// charge, and persists MOMENTUMPOWER_ENABLEFLAG, MOMENTUMPOWER_MOMENTUMLIMIT, MOMENTUMPOWER_POWERLIMIT.
// Returns 0, or -1 for an enableFlag above 1. Command.
TARN_API int tmcMomentumAndPowerOnOff(uint8_t enableFlag, float MomentumLimit, float PowerLimit);

// ==== collision supervisor

// Compares the measured torque of the joints, out of how.currentFeedback, with the expected one, and reacts
// to a collision as mcb.collisionPauseFlag says. Cycle, once, before or after gravityTorqueControl; cannot
// fail.
//
// A joint collides when it stays outside its band for mpb.collisionErrorTime cycles. The band is
// mpb.j1CollisionValue to j6CollisionValue (N m, motor side) times the host's ratio and the level; a step of
// the commanded acceleration widens it for joints 1 to 3 for a while. Of several joints outside, the first
// one counts; a joint at level 100 does not, and hides the joints behind it. Custom thresholds count beside
// or instead of the band, a replayed torque record replaces it.
//
// With mcb.safetyPara.safetyStopEnable 0 it watches only motion, position streaming and jogging; above 2,
// nothing. It always rests in the first 200 cycles after a pause and, streaming (mpb.interMode 9), jogging
// and replay aside, in the first and last 100 cycles of a motion segment.
//
// Always writes mpb.jTorqueTheory and jActualTheory (expected and measured, N m, motor side). A collision
// sets mcb.collisionStateback, and one of:
//   flag 0    mcb.collisionError, pause
//   flag 2    mcb.collisionError, stop, custom thresholds off; with safetyStopEnable 2 hand guiding, friction
//             compensation off
//   flag 3-5  as 2 with a board, and the cycle ends the guiding: 3 free, after 1000 cycles; 4 on a spring,
//             after 5000; 5 with push-back, after safeTime cycles or safeDistance
//   others    mcb.motionAlarm alone
// mcb.collisionError is that of the joint, zvCtlFSCollisionError for an axis of the end force. After 0 to 2
// the host clears mcb.collisionStateback, and always the faults.
TARN_API void zvmcCheckForCollisionError();

// How far the bands are widened `time` cycles after a step of the commanded acceleration: limit[6], output,
// N m, motor side. Follows mpb.defaultJointAccel.v[1], the speed in force, the levels and the host's ratios.
// Returns 0. Cycle; the supervisor calls it.
TARN_API int dynamicCurrentCollisionLimit(int time, double* limit);

// The collision check at standstill: a joint pushed by more than a share of its rated torque brings the arm
// under the hand for 1000 cycles, with no fault and no counting. On types above 200 each call does. Moves the
// torque record on by one more step in its cycle. Returns 0. Cycle; gravityTorqueControl calls it while
// mcb.collisionDetection.staticCollisionFlag is 1, no motion runs, no collision stands and the tool is slower
// than 2 mm/s.
TARN_API int tmcCheckTorqueError();

// ==== dual-encoder detector
//
// Full dynamics runs it while mpb.collisionMode is 1 or 2 on a motion, mpb.state 2, on the types of the
// single-precision block; otherwise it starts anew with the next motion.

// One step of the detector: filters the twist of all gears, how.HSEnc less how.enc, as degrees at the joint,
// and holds each new peak or valley against the mean of the four before it. A jump beyond the torque of
// mpb.collisionLevel over the stiffness under the load fires for joints 1 to 3; a verdict 7 to 12 of the
// safety board in mcb.safetyPara.safetyIslandErrorCode for its joint 1 to 6, with any jump. Levels below 1
// and no numbers count as 1, those above 10 as 10. Nothing fires in the first 100 calls after a start.
//
// i_joint: joint that is put on display, mpb.jointCollisionMode 0 and dualEncCollisionValue, the allowed
// jump, degrees. vel[6]: in spite of the name the joint torques of the model, N m. thf, thg, err: not read,
// may be null. Returns 0. Cycle; cannot fail. What a firing does, by mcb.collisionPauseFlag:
//   0         mcb.collisionError; in a motion the detector starts anew, pause
//   1         mcb.collisionError
//   2         mcb.collisionError; in a motion the detector starts anew, stop, and with safetyStopEnable 2
//             hand guiding, friction compensation off
//   3, 4, 5   stop, friction compensation off, hand guiding; no fault, and the library does not end the
//             guiding, as mcb.collisionStateback is not set
//   others    nothing
TARN_API int zvmcCollisionDetection(int i_joint, float* vel, double* thf, double* thg, double* err);

// Forgets the detector's histories; the next 100 calls only fill them. Returns 0. Cycle.
TARN_API int initCollisionDetection();

// Local extremes of a series: peaks and valleys take their values in order, numPeaks and numValleys their
// numbers. A flat top or bottom counts at its first sample; the ends do not. arr[size] is not changed; each
// output has room for size / 2 values. Holds no state; from anywhere.
TARN_API void findPeaksAndValleys(double* arr, int size, double* peaks, double* valleys, int* numPeaks,
                                  int* numValleys);

// ==== momentum and power

// One step of the momentum observer: advances the estimate of all joints from how.currentFeedback and
// mpb.j6vel, shows the residuals in mpb.momentumObserverValue, and holds that of joint i_joint, counted from
// 0, against its limit: by mpb.collisionLevel (held to 1 to 10), less in a slow motion (mcb.speedScaleAuto,
// speedScaleManual), and a fixed 5 beyond it. A step is a call, so the host's calls a cycle set how fast the
// estimate follows.
//
// M, C: 6 x 6 by rows, G[6]: as from com_M_matrix, com_C_matrix and com_G_matrix. q, external_load: not read,
// may be null. rr[i_joint]: output, the limit, also in mpb.dualEncCollisionValue, with mpb.jointCollisionMode
// 1. A joint that is none is not tested. In a mcb.mode above 1 the limit is 0. Returns 0. Cycle, where the
// host wants it; cannot fail.
//
// A firing starts the estimate anew and sets, with mcb.collisionPauseFlag 0 to 2, mcb.collisionError, joint 5
// with the code of joint 4; 0 also pauses and 2 stops a motion that is no jogging.
TARN_API int zvmcMomentumObserver(int i_joint, double* q, double* M, double* C, double* G,
                                  double* external_load, double* rr);

// Mean mechanical power of the joints over the latest 100 calls, from how.currentFeedback and mpb.j6vel, the
// newest aside and the one before it twice; 0 in the first 100. power[0]: output, W. torque: not read, may be
// null. Returns 0. Cycle; gravityTorqueControl calls it with torque servo and power supervision on, and a
// host that does so, too, takes samples out of that window.
TARN_API int tmcPowerReal(double* torque, double* power);

// ==== torque record
//
// The first run of a program with tmcTorqueRecordStartEnd(1, ...) at its start and (0, ...) at its end
// records the motor currents; each later one is checked against the record, until tmcTorqueRecordReset. The
// record is mcb.torqueRecordCtl, and it is not persisted.

// Drops record, bands and times of the joints below mpb.sysJntsNo, and all flags. Stores curLine in
// mpb.currentLine. Returns 0. Command.
TARN_API int tmcTorqueRecordReset(int curLine);

// Start (status 1) or end (0) of a run: records when there is no record yet, replays a complete one; the end
// completes a record. smooth: 0 straight lines between the samples, 1 the host's spline fit.
// negativeValue[6], positiveValue[6]: band of each joint, N m, motor side, below -1e-6 and above 1e-6, not
// checked at the end of a run; four times the band counts at once. collisionTime[6]: what a smaller excess
// may last, cycles; 0 or less: 500.
//
// A replay starts at the beginning of the record once a cycle of the supervisor has passed since the last one
// ended; a pause that mpb.state tells keeps its place.
//
// Stores all of them, and curLine in mpb.currentLine. Returns 0, or -1 for a status or smooth above 1 or, at
// a start, a band of a joint below mpb.sysJntsNo out of range; nothing is stored then. Command.
TARN_API int tmcTorqueRecordStartEnd(uint8_t status, uint8_t smooth, float* negativeValue,
                                     float* positiveValue, int* collisionTime, int curLine);

// Ends record or replay without completing the record; for the host's reset of a program. Returns 0. Command.
TARN_API int zvmcResetTorqueRecordPara();

// Writes the record: how.currentFeedback of every 50th cycle, also of a pause. Returns 0. A sample past the
// 12000th is not stored, and from its cycle on each one returns -1 with mcb.cmdPointError
// zvCtlMaxTorqueRecordOver and adds 1 to torqueRecordNum; the record stays. Cycle; the supervisor calls it.
TARN_API int zvmcTorqueRecordProcess();

// Current to expect of each joint. currentSet[6]: output, thousandths of the rated torque, joints below
// mpb.sysJntsNo, and always joint 2 where no record is replayed. In a replay the record, which holds its last
// sample past its 12000th and does not end at torqueRecordNum: the host ends the replay with the program.
// Otherwise, and in a pause, 0.7 * mpb.jointDynFFRatio of how.currentSet, joint 2 delayed by
// findHistoryCurrentSet. Advances the replay by a cycle, or takes it back to the start while there is none.
// Returns 0. Cycle; the supervisor calls it.
TARN_API int zvmcTorqueRecordCollision(short int* currentSet);

// Delays a current, one value a call: history[0] is currentSet of d - 1 calls ago, d being the speed in force
// in percent of the nominal one, at most 100; 0 for d = 0, which is also that of a kind of motion without
// delay (mpb.interMode other than 1, 2, 3, 11, 12 and 14 to 21). The first 101 calls since load give
// currentSet itself. Returns 0. Cycle.
TARN_API int findHistoryCurrentSet(short int currentSet, short int* history);

// ==== custom thresholds, collision trace

// Compares with the custom thresholds, as mcb.collisionDetection.CustomCollisionFlag asks for, and counts how
// long the first joint and the first axis outside have been there. precent[6]: measured less expected torque,
// servor_current_feedback[6]: measured torque, both N m, motor side. With tool thresholds on also writes
// tcpRealForce: the force and torque at the end that the measured torques stand for, B, N and N m. Returns 0,
// or -1 where a singular pose, logged, or a type without an arm (704 to 800) leaves force, joint thresholds
// and counters aside. Cycle; the supervisor calls it.
TARN_API int zvmcCustomCollisionDetectionMain(double* precent, double* servor_current_feedback);

// Appends a row to the collision trace; a full one drops its oldest. gtorque: expected torque, N m, 100 times
// the motor's. servor_current_feedback[6]: measured torque, N m, motor side. Cycle; the supervisor calls it.
TARN_API void collisionMessageSave(JNTS* gtorque, double* servor_current_feedback);

// Prints two lines of the trace to the log: the host calls it with i = saveMsgPrintfCount and adds 1 to
// saveMsgPrintfCount, 800 times: positions, velocities, accelerations, torques, 200 rows each. The last call
// sets saveMsgPrintfCount to 0, so the host adds nothing after it. The first call lets the trace start anew;
// its rows stay until the supervisor writes over them. A number past the trace prints nothing. Cycle or
// command.
TARN_API void collisionMessagePrintf(int i);

// ==== hand-guiding settings

// Chooses the torque model of the cycle: 0 gravity only, 1 fitted regressor, 2 full dynamics. Stores
// mcb.newTeachEnable and, with any model, sets mcb.newTeachGain from mcb.newTeachGainGAdj and all of
// mcb.newTeachGainKf to 1; persists NEW_TEACH_ENABLE, NEW_TEACH_GAIN1 to 6, NEW_TEACH_GAIN_KF1 to 6. Returns
// 0; -1 for a status above 2; and -1 for a model that the robot type has not, 1 on type 3 and above 400, 0 on
// 501 to 700 and 801 to 900: then model 2 runs until the next start, with nothing persisted. Command.
TARN_API int tmcgravityTeachVersionOnOff(uint8_t status);

// Switches the Cartesian axis lock of guiding off (0) or on (1). Stores mcb.dragLockEnable and persists
// DRAGLOCK_ENABLE. Returns 0; -1 for a status above 1; -2 for 1 while mcb.interfereDrag is 1. Command.
TARN_API int tmcDragLockEnableDisable(uint8_t status);

// Sets the gains of the axis lock and of the resistance at zones, three arrays of six (axes x, y, z, a, b,
// c), each value 0 to 10. Stores mcb.dragLockP, dragLockI, dragLockD and persists DRAGLOCK_P_X, DRAGLOCK_I_X,
// DRAGLOCK_D_X, then those of Y, Z, A, B, C. Returns 0; -1 for a value out of range: 10 is then written over
// it in the caller's array, the values before it, axis by axis, are in force, and nothing is persisted.
// Command.
TARN_API int tmcSetDragLockPara(double* pPara, double* iPara, double* dPara);

// Sets what happens at an interference zone while guiding: 0 nothing, 1 resistance, 2 guiding ends. Stores
// mcb.interfereDrag and persists INTERFERE_DRAG. Returns 0; -1 for a status above 2; -2 for 1 while
// mcb.dragLockEnable is 1. Command.
TARN_API int tmcSetInterfereDrag(uint8_t status);

// Sets the mounting code: 0 floor, 1 wall, 2 ceiling, 3 free angle. Stores mcb.robotInstallPos and persists
// INSTALL_POS. Returns 0, or -1 for a code above 3. Command; takes effect in the next cycle.
TARN_API int tmcSetRobotInstallPos(uint8_t installPos);

// Sets the mounting angles about y and z, degrees, -360 to 360. Stores mcb.robotInstallYangle,
// robotInstallZangle and persists INSTALL_YANGLE, INSTALL_ZANGLE. With zangle 0 a yangle of exactly 0, 90 or
// 180 also sets mounting code 0, 1 or 2; any other pair leaves the code. Returns 0, or -1 for an angle out of
// range. Command; takes effect in the next cycle.
TARN_API int tmcSetRobotInstallAngle(double yangle, double zangle);

// The mounting angles about y and z, degrees. Returns 0. Command.
TARN_API int tmcGetRobotInstallAngle(double* yangle, double* zangle);

// ==== torque model and regulators of hand guiding
//
// gravityTorqueControl runs them; they share histories with each other and are not reentrant. What they
// remember goes with zvmcdynfiltresert. All return 0, check nothing and belong to the cycle.

// clang-format off
struct Interfere {                    // interference zones as the guiding regulators take them
    int     flag;                     // -        0 outside, 1 in a joint zone, other: in a Cartesian one
    int     flag1;                    // -        arm family: 0 A, 1 B, 2 C, 3 D, 4 E
    uint8_t entryInterfere[6];        // -        joint zone entered, by joint; carried along
    uint8_t entry_cube_interference;  // -        Cartesian zone entered; carried along
    uint8_t entry_safety_planes[8];   // -        safety plane crossed; carried along
};

struct Compedence {                   // reference that a guiding regulator pulls back to
    int  compedence_index;            // cycles   since the reference was latched; latches at 0 or less
    TRSF initpos;                     // m        reference pose in B; meters, unlike other poses
};
// clang-format on

// Joint torque of the mounted arm from identified parameters and its regressor: kp times that at rest, plus
// kf times what the motion adds. One function a family; robot_model: 1 for A, 102 or 101 for B, 201 for C,
// 301 for D. With any other the torque is zero, but on B that of the rotors.
//
// q2, q3: mounting angles, -mcb.robotInstallYangle and robotInstallZangle, degrees. curpos: not read.
// joint_pos[6]: degrees. tau[6]: output, N m. The first call after a reset takes the parameters, on B with
// the load mpb.loadWeight at the flange built in. A, C and D take the pose through a low-pass, and the motion
// out of it from call 502 on; B takes the pose as it is and the motion mpb.jCvel, jCaccRaw.
TARN_API int zvmcteachcontrolA_gravitytest(double q2, double q3, Gain gain, TRSF curpos, double* joint_pos,
                                           double* tau, int robot_model);
TARN_API int zvmcteachcontrolB_gravitytest(double q2, double q3, Gain gain, TRSF curpos, double* joint_pos,
                                           double* tau, int robot_model);
TARN_API int zvmcteachcontrolC_gravitytest(double q2, double q3, Gain gain, TRSF curpos, double* joint_pos,
                                           double* tau, int robot_model);
TARN_API int zvmcteachcontrolD_gravitytest(double q2, double q3, Gain gain, TRSF curpos, double* joint_pos,
                                           double* tau, int robot_model);

// Joint torque that holds a load, for a model of the bare arm: its weight through the Jacobian of the arm
// robot_model, a robot type code. 1 to 400 take zvA_jacob to zvD_jacob, 401 to 500, 701 to 900, 1001 and,
// with mcb.robotType 3, 1 to 100 tables of their own, all others zvB_jacob. The tables take the joints for
// degrees a second time, so that their Jacobian is that of another pose; from mode 1 only type 3 gets there.
// 701 to 800 have one for mcb.robotType 701 to 703 alone, otherwise the torque is zero.
//
// q1, q2: mounting angles, degrees, as above. joint_pos[6]: degrees. exLoad: load in E, kg and mm.
// tau_load[6]: output, N m.
TARN_API int zvmcendload(double q1, double q2, double* joint_pos, EX_LOAD exLoad, double* tau_load,
                         int robot_model);

// Adds to a model torque the pull back to the pose of the first call after a reset: a regulator a Cartesian
// axis, on the way in m (x, y, z, B) and on a tenth of the rotation in radians, and the transposed Jacobian
// of the family; 100 N or N m at the flange for 1 out of a regulator.
//
// pid[6]: regulators by axis. curpos: E in B, mm. joint_pos[6]: degrees. input[6]: model torque, N m. tau[6]:
// output, N m.
TARN_API int teachcontrolA(PID* pid, TRSF curpos, double* joint_pos, double* input, double* tau);
TARN_API int teachcontrolB(PID* pid, TRSF curpos, double* joint_pos, double* input, double* tau);
TARN_API int teachcontrolC(PID* pid, TRSF curpos, double* joint_pos, double* input, double* tau);
TARN_API int teachcontrolD(PID* pid, TRSF curpos, double* joint_pos, double* input, double* tau);

// The pull alone, a hundredth of it, towards a reference that a teachcontrol has latched. joint_pos[6]:
// radians. J: output, the Jacobian, 6 by 6, allocated by the caller. tau[6]: output. Force[6]: output, what
// the regulators give, by axis.
TARN_API int zvA_pretau(PID* pid, TRSF curpos, double* joint_pos, dmat J, double* tau);
TARN_API int zvB_pretau(PID* pid, TRSF curpos, double* joint_pos, dmat J, double* tau, double* Force);
TARN_API int zvC_pretau(PID* pid, TRSF curpos, double* joint_pos, dmat J, double* tau);
TARN_API int zvD_pretau(PID* pid, TRSF curpos, double* joint_pos, dmat J, double* tau);

// The same by joint: the pull back to the joint positions of the first call, 100 N m for 1 out of a
// regulator, whose error is in radians. It counts its calls with the others, so only a reset lets one follow
// the other with a reference of its own.
TARN_API int zvmcimpedencejoint(PID* pid, double* joint_pos, double* input, double* tau);

// Resistance at a zone by interfere.flag: outside (0) tau is input, and zvmcdynfiltresert runs; in a joint
// zone (1) zvmcimpedencejoint; in any other teachcontrol of the family interfere.flag1, 0 A to 3 D, none for
// 4, where tau is left alone; for others tau is input. Arguments as for teachcontrol.
TARN_API int zvmcteachcontrolinterfere(PID* pid, Interfere interfere, TRSF curpos, double* joint_pos,
                                       double* input, double* tau);

// ==== identification of the tool load, without a force sensor
//
// Scripted: the host runs a program of fixed lines, with mpb.currentLine on the line and mpb.state 2
// (TGEN_SERVICE) while a segment runs. Lines 3 and 4 hold the load by joint 5, lines 6 and 7 by joint 3; they
// give one estimate of the mass for each 1001 cycles. Lines 9 and 10 turn it by joint 6; mpb.state 1
// (TGEN_IDLE) there ends the run. The levers are fixed for all arms, 0.102 m from joint 5 and 0.232 m from
// joint 3: a pose that does not hold the load's center there gives a wrong mass.

// Starts (1) or ends (0) the run; both forget all of mcb.loadIdentify. Returns 0, or -1 for another status,
// with nothing changed. What a run that ends within a chunk has summed counts in the next run. Command.
TARN_API int tmcLoadIdentifyStartEnd(uint8_t status);

// One cycle of the run; does nothing without one. Compares how.currentFeedback with the gravity torque of the
// bare arm at mpb.j6, plus friction at mpb.jCvel where mcb.fricCompensationFlag is 1. A mass below 2.5 kg is
// corrected by -0.5 kg. Chunks beyond LOADIDENTIFYBUFNUM are dropped. Returns 0. Cycle, once.
TARN_API int zvmcLoadIdentifyControl();

// *identify: 1 once the run has ended. *weight: mass, kg; *loadCoord: center of mass, mm, E. All 0 before;
// no number where no chunk has been closed, the center also with a mass of 0. Returns 0. Command.
TARN_API int tmcGetLoadWeightCoord(uint8_t* identify, double* weight, VECT* loadCoord);

// Nine points: the same nine poses with the bare arm (loadFlag 0) and again with the load (1), the arm at
// rest in each. Needs full dynamics, mcb.newTeachEnable 2, whose block samples the torques. They all return 0
// but where told, and are commands.

// Tells which of the two is being recorded. With any other flag nothing is.
TARN_API int zvmcSetCurrentLoadIdentifyFlag(uint8_t loadFlag);

// Records pose RecordCount, 1 to 9; another number records nothing. The Jacobian takes the joint angles, in
// degrees, for radians: it is that of the pose only where the two are the same angle, every
// 360 / (180 / 3.14159 - 1) = 6.39 degrees. Types 303 to 400 have none, and record no numbers.
TARN_API int zvmcSaveLoadIdentifyPoint(int RecordCount);

// Evaluates the records: means over poses 1, 2, 4, 6 and 8. *m: kg. xyz[0], xyz[1]: what the load's moment is
// about y and x of B, over its weight, m; xyz[2]: distance of its center from the vertical through the
// flange, mm. Poses that are averaged have the flange's axis vertical, pointing down; the others tilt it, or
// the poses tell nothing: that is -1, with m and xyz untouched and the sums in the log. The sums grow from
// call to call.
TARN_API int zvmcComEndLoadMain(double* m, double* xyz);

// Sets the load in use, kg and mm in E, and keeps it as record loadNum. Stores mpb.loadNum, loadWeight,
// loadCoord and the lists, and persists LOAD_NUM, LOAD_WEIGHT, LOAD_Coord_X to Z and, among the loads,
// LOAD0_WEIGHT, LOAD0_Coord_X to Z of the record. Returns 0; -3 for a record above 19; -1 for a weight below
// -1e-06 or above what the robot type carries, with zvCtlLoadWeightError; -2 for a component beyond +-1000,
// with zvCtlLoadCoordXError, ...YError or ...ZError for the first one. But for -3, stores curLine in
// mpb.currentLine. Command.
TARN_API int tmcSetLoadPara(uint8_t loadNum, double weight, VECT loadCoord, int curLine);

// ==== identification of inertial parameters
//
// A run moves all joints through the excitation, compares the torques of joints 4 to 6 with a fixed arm's
// regressor and solves for 27 wrist parameters: nine a joint, Ixx, Ixy, Ixz, Iyy, Iyz, mx, mz (joint 6:
// Ixx, Ixy, Ixz, Iyz, Izz, mx, my), viscous and Coulomb friction, in the link's frame about its origin.
// mcb.robotType plays no part. In order: setup (zvmcdynstoreresert), one sample a cycle until the time is
// over (zvmcloadidentifymain), result. The time counts from the last zvmcdynfiltresert outside a run, so
// call that before each setup. No function here checks what it is given or reports a failure, and all
// return 0.

// Sets up a run: baseline to that of the bare arm, an empty store out of __wrap_malloc. A store that is
// still there is lost. Command.
TARN_API int zvmcdynstoreresert();

// Gives the store back through __wrap_free, after zvmcdynfiltresert, which spares the samples of a run
// that is on. The run calls it itself at its end; with no store there it frees nothing. In the middle of a
// run it drops what has been summed and all that still comes: the run then ends in its time without a
// solution. Command, and the last cycle of a run.
TARN_API int Store_free();

// Takes parameters found before: 1 the baseline of the bare arm, 0 and 2 also one of two sets as the
// parameters in force; any other flag nothing. Command.
TARN_API int zvmcselectvalue(int flag);

// Timing of the excitation. limitsGoto.maxVel: mm/s, 1000 for the natural speed at points 8 ms apart.
// tTraj->tNgt: output, the period, 12 s; tTraj->tCrs: output, the period at that speed, s. Command.
TARN_API int zvmcComputefourierMotion(TMC_LIMITS_CART limitsGoto, TMC_TIMES* tTraj);

// Point numPoint of the excitation, from 0. qPoint[6]: output, joint positions, degrees. Its first point
// is not zero. Cycle and command.
TARN_API int zvmcComputefourierAccVelPos(TMC_TIMES tTraj, unsigned long numPoint, double* qPoint);

// One sample of a run, at 1 ms; does nothing while none is on. tau[6]: measured joint torques, of which
// those of joints 4 to 6 count, in the unit that the parameters are to have. joint_pos[6]: degrees, goes
// through the low-pass. T: duration of the run, s. The sample past it also solves and calls __wrap_free; with
// a T of 0 each sample is past it, which ends a run that is given up. Cycle.
TARN_API int zvmcloadidentifymain(double* tau, double* joint_pos, double T);

// The two steps of a run: adding the sample whose differences are centered on row index, 1 to 4, of the
// histories, and solving. X[27]: output; no solution where the host's matinvert finds the sums singular.
// Without a store, or for any other row, they do nothing. Cycle, not reentrant.
TARN_API int tmcComIdentifySum(int index);
TARN_API int tmcComIdentifyInv(double* X);

// The regressor: torques of joints 4 to 6 by the 27 parameters, row by row times 0.8151, 0.8407 and 1.
// q[6], dq[6], ddq[6]: radians, by s and s^2. Hb: output, 3 by 27, allocated by the caller. Cycle and
// command.
TARN_API int solve_Hb5(double* q, double* dq, double* ddq, dmat Hb);

// Makes the solution the baseline, with flag 1, number for number: the solution starts at joint 4, the
// baseline at joint 1. Any other flag does nothing. Command, after a run.
TARN_API int zvmcloadidentifyvalue(int flag);

// The load that the solution has beyond the baseline. gain.kp[4]: scale of the parameter that the mass is
// taken from. m: output, kg if tau was a hundredth of the joint torque. r: output, center of mass, mm, E.
// With no mass at all the center is no number. Command, after a run.
TARN_API int zvmcgetloadidentifyresult(Gain gain, double* m, VECT* r);

// ==== identification of a joint's friction
//
// A run measures one joint while the host moves it at constant speeds, in mpb.state 2, and judges it by what
// left the factory. In order: on, one status call to start the bins over, the sweep, off, one status call for
// the result. The sweep rises in each direction, first by 0.9 degrees/s from 0.45 to 17.55, at least eleven
// cycles a speed, then by 3.6 degrees/s from 19.8 to 124.2, at least four cycles a speed; a bin that is left
// out ends its direction. Once 18 degrees/s are reached no slow bin is filled any more.

// Switches the sampling on (1) or off (0), for joint joint_num, from 1. Stores whatever it is given: with a
// joint that the arm does not have nothing is sampled, and the result compares with zeros. Returns 0.
// Command.
TARN_API int zvmcSingleJointFrictionOnlineOnOff(uint8_t joint_num, uint16_t flag);

// One sample: measured torque, out of how.currentFeedback, beyond that of the model, N m on the motor's side,
// at the commanded speed mpb.jCvel. torqueGravity->v: model torque, N m at the joint. Cycle;
// gravityTorqueControl calls it while the flag is 1.
TARN_API void zvmcSingleJointFrictionSaveData(JNTS* torqueGravity);

// With the flag on: starts the bins over; *status and the first element of each array become 0.
//
// With the flag off: fits the friction curve to the bins and compares it with the factory's. Ten values an
// array: fc, fs, qs, yita, sita (see frictionCalculate) of the slow range, then of the fast one.
// realFriction: found, torques N m on the motor's side; MeoFriction: the factory's, on the joint's;
// ErrFriction: their difference. *status: 1 where a factory number, cut to a whole one, is over twice the
// found one, so cut, else 0. So are frictionCompensation and the found curve compared at twenty numbers from
// -90 to 90 that both take for degrees/ms: the former is 0 there, with its four lines of log each, but for a
// mpb.defaultJointVel of 900 degrees/s and more. The result is that of the whole store: bins
// that no sweep has filled since load are points at rest, and a second call for the same sweep takes its
// speeds for smaller than they are. Returns 0. Command, takes milliseconds; not while sampling.
TARN_API int zvmcGetJointFrictionStatus(uint16_t* status, float* realFriction, float* MeoFriction,
                                        float* ErrFriction);

// The friction curve (fc + (fs - fc) exp(-(v / qs)^2)) (1 - e) / (1 + e) + sita v with e = exp(-yita v), v in
// rad/s. param[10]: five parameters up to 0.018 rad/s, then five above. jointVel: degrees/ms. Result in the
// torque unit of param; no number where the exponential overflows. From anywhere.
TARN_API float frictionCalculate(float* param, float jointVel);

// ==== model check of one joint
//
// The drives identify a joint's stiffness and inertias by themselves; these switch that on and compare. A
// joint number counts from 1 and is not checked: outside the arm all values are zero but those of the drive.
// All return 0; the drives' services are called without a look at their result. Commands.

// Chooses the joint and switches its drive's identification on (1) or off (0).
TARN_API int zvmcSingleJointModelOnlineOnOff(uint8_t joint_num, uint16_t flag);

// What the drives identify, in the codes of their firmware.
TARN_API int zvmcSetJointModelType(uint16_t type);

// The running value of the chosen joint, in drive units with type 1, else times 1e-6. The first call of all
// chooses joint 1 by itself.
TARN_API int zvmcGetJointModelDataOnline(float* jointModelData);

// The chosen joint's stiffness, inertia of the driven link and inertia of the motor, in drive units, three
// values an array: the drive's, the factory's (known for types 1 to 100, else zero), and the factory's less
// the drive's. status: 1 if one of the drive's is more than twice the factory's, else 0.
TARN_API int zvmcGetJointModelStatus(uint16_t* status, float* realJointModel, float* MeoJointModel,
                                     float* ErrJointModel);

// ==== vibration

// Estimate of the arm's first natural frequency at a pose, for the load of mpb.loadWeight and
// mpb.loadCoord.z; exactly no weight selects the estimate for a bare arm. How it was found, where it holds
// and how far it is off stands in docs/natural-frequency.md. Types outside the families A to F take the bare
// arm of family B, with a load, too, where the result means nothing.
//
// JointPos[6]: degrees. NaturalFreq: output, Hz; beyond the poses and loads that it was made for, it is a
// smooth continuation. Returns 0, or -1 if the result is not above 0 and at most 200; it is written all the
// same. Any thread.
TARN_API int zvmcCalculateNaturalFreq(double* JointPos, double* NaturalFreq);

// Variable gain of the drives, from the planned joint accelerations mpb.jCaccRaw behind a low-pass: one call
// of zvHalSetVarGainFactor with six of 0 and 1. A drive takes 1 where the filtered acceleration is exactly
// zero, or, in either direction, at least a thousandth of the joint's limit (JointMaxAcc) times
// mcb.speedScaleAuto. Zero is so before the first motion only: what fades in the low-pass never ends there.
//
// VibrateAbatementGain[6]: output, 1000 where the filtered acceleration is exactly zero, else the
// acceleration in thousandths of that limit, at most 1 and with no bound below. Returns 0. Cycle, exactly
// once; gravityTorqueControl calls it.
TARN_API int zvmcVibrateAbateControl(float* VibrateAbatementGain);

// ==== status
//
// Readings of the blocks without a lock: one may mix the values of two cycles. Arrays are outputs, of six
// joints unless told. From anywhere, unless a function names its callers; none can fail.

// Motion and torque of the joints. targetVel, realVel: commanded and measured velocity, degrees/s. targetAcc,
// realAcc: the same of the acceleration, degrees/s^2. targetTorque, realTorque: expected and measured torque
// as the supervisor shows them, N m, motor side. tcpRealForce: force and torque at the end as the custom
// thresholds see it, N and N m, B. Returns 0.
TARN_API int zvmcGetJointStatus(double* targetVel, double* realVel, double* targetAcc, double* realAcc,
                                double* targetTorque, double* realTorque, double* tcpRealForce);

// Measured motor currents, thousandths of the rated torque. Returns 0.
TARN_API int zvmcGetJointCurrent(double* currentFeedback);

// Motor torque as commanded (MeoTorque) and as measured (RealTorque), N m, motor side, from the currents and
// the rated torques. Returns 0.
TARN_API int zvmcOutTorqueMeoAndReal(double* MeoTorque, double* RealTorque);

// Where the arm stands in the zones that mcb.interfereJoint, interfereCube and safetyPlaneEnterFlag tell, at
// this moment. entryInterfere: 1 for a joint with its measured position strictly inside its range (mode 0) or
// strictly outside (mode 1), 0 for all others, a joint without a zone among them. entry_cube_interference[0]:
// 1 in the box. entry_safety_planes[8]: 1 for a plane that is crossed. Returns 0.
TARN_API int zvmcGetInterfereStatus(uint8_t* entryInterfere, uint8_t* entry_cube_interference,
                                    uint8_t* entry_safety_planes);

// Poses of the six links in B at the commanded joints mpb.jC, for a display: each where its own joint's
// housing sits on the axis, z along it. descarj1 to 6: turning with the joint; desring1 to 6: turned back by
// it. Each is seven numbers: quaternion, scalar part first, then position, m. All six poses have their origin
// in B's on types 101 to 400 that are none of 101 to 103, 201, 202, 301, 302. Logs the first six poses at
// LOG_DEBUG. Returns 0. Command.
TARN_API int zvmcGetDesJointsPos(double* descarj1, double* descarj2, double* descarj3, double* descarj4,
                                 double* descarj5, double* descarj6, double* desring1, double* desring2,
                                 double* desring3, double* desring4, double* desring5, double* desring6);

// Highest joint speeds of the arm, velMax[6], degrees/s. In hand guiding, mpb.state 4, the first joint whose
// measured velocity is above its own sets mcb.motionAlarm, zvCtlJ1SpeedOver to zvCtlJ6SpeedOver; only speed
// in the positive direction does. Returns 0. Cycle and command.
TARN_API int MaxJointVel(double* velMax);

// Highest joint accelerations of the arm, AccMax[6], degrees/s^2. Cycle and command.
TARN_API void JointMaxAcc(float* AccMax);

// ==== records and constants
// clang-format off

// ---- collision supervision

#define RESUMECOLLISIONTIME 200       // cycles   that supervision rests after a pause has ended
#define SAVEMSGSIZE 200               // cycles   that the collision trace holds

// The collision trace: the latest supervised cycles, oldest in row 0; a column a joint. Rows are written from
// 0 on; how many count is known only to the printout.
TARN_API extern double collisionJointTarpos[SAVEMSGSIZE][6];   // degrees      commanded position
TARN_API extern double collisionJointTarvel[SAVEMSGSIZE][6];   // degrees/s    commanded velocity
TARN_API extern double collisionJointTaracc[SAVEMSGSIZE][6];   // degrees/s^2  commanded acceleration
TARN_API extern double collisionJointTartor[SAVEMSGSIZE][6];   // N m          expected torque, motor side
TARN_API extern double collisionJointRealpos[SAVEMSGSIZE][6];  // degrees      measured position
TARN_API extern double collisionJointRealvel[SAVEMSGSIZE][6];  // degrees/s    measured velocity
TARN_API extern double collisionJointRealacc[SAVEMSGSIZE][6];  // degrees/s^2  measured acceleration
TARN_API extern double collisionJointRealtor[SAVEMSGSIZE][6];  // N m          measured torque, motor side

TARN_API extern int saveMsgPrintfCount;  // position of the printout, 0 to 799; the host advances it

// ---- identification of the tool load

struct SIMPLE_LOADIDENTIFY {          // load from nine poses, taken without and with it
    uint8_t flag;                     // -        0: the bare arm is being recorded, 1: the arm with its load
    float   f_non[9][6];              // N, N m   end wrench by pose, bare arm
    float   f_load[9][6];             // N, N m   end wrench by pose, with load
    TRSF    POS[9];                   // mm       pose by record, E in B, from the bare arm's pass
    double  left_sum[4][4];           //          summed normal matrix
    double  right_sum[4];             //          summed right side
};

// ---- identification of inertial parameters

struct Store {                        // normal equations of the base parameters, over the samples of a run
    dmat left_sum;                    // 27 x 27  summed normal matrix, inverted in place at the end
    dmat left;                        // 27 x 27  the sample's Hb' Hb
    dmat right;                       // 27 x 1   the sample's Hb' joint
    dmat right_sum;                   // 27 x 1   summed right side, then the solution
    dmat joint;                       // 3 x 1    the sample's measured torques of joints 4 to 6
    dmat Hb;                          // 3 x 27   the sample's regressor
    dmat Hb_tr;                       // 27 x 3   its transpose
    int  index;                       // -        0 at setup and release
};

struct Minimum_Inertial_Set {         // result of a run
    double X[48];                     //          base parameters; the first 27 are written
    int    flag;                      // -        1 while identification runs
    int    flag1;                     // -        1 from setup on; nothing reads it
};

// What the forward regressors of zvmcidentifydynamicblock.h multiply with: nine parameters a joint, as in the
// identification; joints 1, 4 and 5 have mz and Iyy, joints 2, 3 and 6 my and Izz. Guiding writes it.
TARN_API extern double gtau[54];

// ---- identification of one joint: friction, drive-side model

struct SINGLEJOINTIDENTIFY {
    uint8_t  jointNum;                // -            joint of the friction run, counted from 0
    uint16_t jointFrictionOnlineFlag; // -            1 while friction samples are taken
    uint8_t  jointModelNum;           // -            joint of the model check, counted from 1
    uint16_t jointModelOnlineFlag;    // -            1 while the drive identifies
    uint16_t JointModelType;          // -            what the drive identifies, its code
    float    jointAccFilter[6];       // -            nothing reads or writes it
    double   slowJointVel[40];        // degrees/s    slow bins, 20 up then 20 down; rad/s after the fit
    double   slowJointTorque[40];     // N m          their mean excess torque, motor side
    double   highJointVel[60];        // degrees/s    fast bins, 30 up then 30 down; rad/s after the fit
    double   highJointTorque[60];     // N m          their mean excess torque, motor side
    float    tempJointVel[10];        // degrees/s    samples of the bin being filled
    float    tempJointTorque[10];     // N m          likewise
    float    sumJointVel;             // degrees/s    sum over the bin
    float    sumJointToruqe;          // N m          sum over the bin
    int      count;                   // -            samples in the bin
};

// clang-format on

}  // extern "C"
