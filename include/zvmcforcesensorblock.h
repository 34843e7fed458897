// Force sensor and force-controlled motion: intake, compensation and calibration of the sensor, the guard on
// its force, dragging the arm by the sensor, pressing with a constant force, dynamic load identification.
#pragma once

#include <stdint.h>

#include "tarnexport.h"
#include "tarnmath/tarnmath.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

extern "C" {

// clang-format off

// ---- telegrams of the axle bus

struct AXLESENSOR_DATA {             // one raw telegram
    uint32_t axleSensorData[2];      // raw
};

// Queue of telegrams. Empty when head == tail, full when one more would make it so: it holds up to 255.
struct AXLESENSOR_BUFF {
    AXLESENSOR_DATA asd[256];        // raw     slots
    int             size;            // -       never used
    int             head;            // -       slot of the oldest telegram
    int             tail;            // -       slot to write next
    int             spaceReserved;   // -       never used
};

// ---- poses of force control

struct CARTPOS_FORCE {               // pose or offset; rotation Rz(c) * Ry(b) * Rx(a)
    float x, y, z;                   // mm
    float a, b, c;                   // degrees
};

// clang-format on

// ==== force sensor: intake
//
// Raw word, signed 16 bits, to N or N m, through a scalar Kalman filter, to mpb.forceOrigin in S; without
// zero and load, in the frame R that forceSensorRcs chooses, to mpb.forceRCS. Results are 0 unless told.

// Switches the sensor on (1) or off (0) and persists it. -1 for another value, with mcb.ioError set and
// mpb.currentLine as it was. Off, mpb.forceOrigin and mpb.forceRCS are held at zero; on, the filters start
// from the first sample. Command.
TARN_API int tmcSetForceSensorAct(uint8_t actFlag, int curLine);

// Whether the sensor is in use. Command.
TARN_API int tmcGetForceSensorAct(uint8_t* actFlag);

// Frame R of mpb.forceRCS: 0 E, 1 B, 2 T; and the pose of S in E, Coord[6]: x, y, z in mm, a, b, c in
// degrees. Persists both. -1 for another frame, with mcb.ioError and mpb.currentLine set and nothing stored.
// Command.
TARN_API int tmcSetForceSensorRcs(uint8_t rcs, float* Coord, int curLine);

// Announces the device types on the axle bus, a bit each. A change of bit 0, the force sensor, from one call
// to the next switches the sensor on or off as tmcSetForceSensorAct does, for program line 0; what that
// setter did by itself is not seen here. Command.
TARN_API int zvmcSetAxleDeviceType(uint8_t value);

// Ends what acts on the force: both drags, constant force control and the force guard. The sensor stays in
// use. Cycle and command.
TARN_API int zvmcCloseForceSensor(void);

// Alarm state of the cycle before: bit 0 the first line (input 6 of the axle bus), bit 1 the second (input
// 7); 0 also while the sensor is not in use. It falls with the lines and raises no fault. Command.
TARN_API int zvmcGetForceSensorState(uint8_t* forcesensorState);

// Takes in the six raw words of the sensor: fx, fy, fz, mx, my, mz, of which the low 16 bits count. Calls
// zvmcCloseForceSensor in every cycle with an alarm line high. Words of a sensor whose maker and model
// (mcb.fsCompanyID, mcb.fsDeviceID) are unknown leave the reading as it is. The words are not checked for
// age. Once a cycle, before anything that reads the force.
TARN_API int forceSensorDataProcess(int32_t* forcedata);

// ==== telegrams of the axle bus
//
// A queue takes them from the cycle to a command. Its functions take no lock: the writer moves the tail, the
// reader the head, and clearing moves both.

TARN_API extern AXLESENSOR_BUFF asq;

// Empty the queue. Return 1. Command.
TARN_API int tmcAsqInit(void);
TARN_API int tmcAsqClear(void);

// Telegrams in the queue, 0 to 255. Cycle and command.
TARN_API int tmcAsqLength(void);

// 1 or 0. Cycle and command.
TARN_API int tmcAsqIsEmpty(void);
TARN_API int tmcAsqIsFull(void);

// Appends a telegram. -1 when the queue is full: the telegram is dropped, and a line printed through
// __wrap_puts. Cycle.
TARN_API int tmcAsqAddToTail(AXLESENSOR_DATA asd);

// Takes the oldest telegram out. -1 when the queue is empty, *asd then being left alone. Command.
TARN_API int tmcAsqGetAtHead(AXLESENSOR_DATA* asd);

// While the queue collects (buffFlag 1) appends the telegram of two words, else empties the queue. 0 also
// when the queue is full, which prints the line of tmcAsqAddToTail. Cycle.
TARN_API int axleSensorDataAddToBuff(uint32_t* sensor_data);

// Lets the queue collect: 1; any other value ends that. Command.
TARN_API int tmcAxleSensorDataBuffFlag(uint8_t status);

// Takes the oldest telegram out. -1 when the queue is full: telegrams are lost, and it is read again only
// after it was cleared; -2 when it is empty. Command.
TARN_API int tmcGetAxleSensorData(AXLESENSOR_DATA* data);

// Switches the display of an axle sensor on (1) or off (0): mpb.junkongEnable. -1 for another value, without
// a fault. Command.
TARN_API int tmcAxleSensorEnable(uint8_t status);

// Decodes a telegram for display, from its first word: mpb.junkongTest[0] the kind, bits 24 to 27; [1] the
// value, bits 16 to 23, of a kind 7 and [2] that of a kind 8, 0 for any other. Cycle.
TARN_API int axleSensorDataMonitor(uint32_t* sensor_data);

// Writes registers of the axle sensor at dev_addr: all six as zvHalSetAxleSensorData takes them. Command.
TARN_API int tmcAxleSensorRegWrite(uint8_t dev_addr, uint8_t reg_h_addr, uint8_t reg_l_addr, uint8_t reg_num,
                                   uint16_t data1, uint16_t data2);

// ==== force sensor: zero, load, reference frame
//
// mpb.forceOrigin (S, filtered) less zero, weight of the load and residual offset is
// mcb.forceControl.forceOriginEnd (S); turned into the frame of forceSensorRcs it is mpb.forceRCS.

// Zeroes the sensor on its present reading (status 1, one sample, no mean) or takes the zero off (0); clears
// the residual offset either way, and persists all of it. Returns 0; -1 for another status, with
// zvCtlIOVALUEError and mpb.currentLine set; -2 with the force in the base frame; -3 while a load of the
// sensor is set, also for status 0. With -2 and -3 nothing changes. Command.
TARN_API int tmcSetForceSensorZero(uint8_t status, int curLine);

// *result = wrench of mpb.forceSensorLoadWeight at mpb.forceSensorLoadCoord, N and N m, about the sensor's
// origin, with mpb.tC for the sensor's rotation: its axes have to be those of the flange. The mounting angles
// turn the force; the moment is that of an upright arm. Returns 0. Cycle.
TARN_API int forceSensorDataGravityCompensation(FORCESENSOR_DATA* result);

// Writes mcb.forceControl.forceOriginEnd, and to *result the same wrench in the frame of forceSensorRcs:
//   0  E, about the flange
//   1  B, about the sensor's origin; turned with the snapshot of mpb.tC that the first call takes after
//      zvmcForceSensorDragProcess has reset the force drag
//   2  T, about the flange, under constant force control about the tool point
// Load and residual offset stay in while the dynamic load identification is on. Returns 0. Cycle, once.
TARN_API int trsfToRCS_force(FORCESENSOR_DATA* result);

// *posGoal = the robot's present pose moved by posAdd. With forceSensorRcs 0 posAdd is a pose in the present
// frame, and the angles are the set nearest to mpb.rpyRef; else it is added component by component, angles
// included. Returns 0. Command.
TARN_API int tmcPosAddTrsfToRCS(CARTPOS_FORCE posAdd, CARTPOS_FORCE* posGoal);

// ==== calibration of the sensor's load
//
// What hangs on the sensor, by hand or found from three poses: no two of them a turn about the vertical
// apart, and for the full method not all three turns about one axis apart. Readings are mpb.forceRCS: with
// forceSensorRcs 0, and with forceSensorCoord zero so that they are those of the sensor, about its own
// origin, as the compensation takes the load. All of it: commands. Both methods refuse to read while a load
// is set.

// Sets mpb.forceSensorLoadWeight, kg, and persists it. Returns 0; -1 below -1e-06 or above what the robot
// type carries, with zvCtlLoadWeightError, mpb.currentLine as it was.
TARN_API int tmcSetForceSensorLoadWeight(double weight, int curLine);

// Sets mpb.forceSensorLoadCoord, mm in S, and persists it. Returns 0; -1 for a component beyond +-1000, with
// zvCtlLoadCoordXError, ...YError or ...ZError for the first one and mpb.currentLine set.
TARN_API int tmcSetForceSensorLoadCoord(VECT loadCoord, int curLine);

// Takes sensor sensorNum of mpb.posSensorCtlList (0 to 255; 256 keeps the one in use), waits 10 ms and reads
// it. Returns 0; -1 another number; -2 not zeroed; -3 forceSensorRcs is not 0; -4 a load is set. Blocks.
TARN_API int tmcGetForceSensorData_loadIdentify(int sensorNum, FORCESENSOR_DATA* data);

// *loadWeight = mass, kg, from a zeroed reading with the sensor's z axis vertical. Stores nothing. Returns 0.
TARN_API int tmcForceSensor_loadWeightIdentify(FORCESENSOR_DATA onePoint, double* loadWeight);

// *loadCoord = center of mass, mm, from three zeroed readings. Stores nothing. Returns 0; -1 when they do not
// tell it, with the readings in the log.
TARN_API int tmcForceSensor_loadCoordIdentify(FORCESENSOR_DATA* threePoint, VECT* loadCoord);

// Keeps reading RecordCount (1, 2, 3) of the full method with the pose of mpb.tC, at rest, and clears
// mcb.forceControl.zeroOffset; another number keeps nothing. Returns 0; -1 when the first reading is below
// 1 N and 0.1 N m on all axes; -2 while a load is set.
TARN_API int zvmcSaveSensorDataFlag(int RecordCount);

// Load and residual offset from the three kept readings, into mpb.forceSensorLoadWeight, forceSensorLoadCoord
// and mcb.forceControl.zeroOffset; *m kg, xyz[3] mm. Returns 0; -1, with the readings in the log, when they
// do not tell the center of mass, or when the poses do not tell the weight: then the center alone is stored.
TARN_API int zvmcSensorComload(double* m, double* xyz);

// Persists weight, center of mass and residual offset.
TARN_API void forceSensorSaveLoadCoord(void);

// ==== identification of the tool load in hand guiding
//
// While it is on and the arm is guided (mpb.state 4), mpb.forceRCS is the wrench of the load alone plus the
// operator's: load and residual offset are left in. Windows of five samples tell the mass, which becomes the
// load in use at once.

// Switches it off (0) or on (1). Stores mcb.loadIdentifyDyn.loadIdentifyDynCtl and persists
// LOAD_IDENTIFY_DYN. Returns 0, or -1 for another status. Command.
TARN_API int tmcLoadIdentifyDynOnOff(uint8_t status);

// Sets the time from sample to sample, 0 to 1000 ms, for a step each 5 ms; below 5 no sample is taken. Stores
// mcb.loadIdentifyDyn.loadIdentifyDynTime and persists LOAD_IDENTIFY_TIME. Returns 0, or -1 for a time out of
// range. A new time within a guiding may lie behind the count of steps: then no more samples are taken in it.
// Command.
TARN_API int tmcSetLoadIdentifyDynPara(int sampleTime);

// One step. From the fifth sample of a guiding on, each one sets mpb.loadWeight, held to 0 and to what the
// robot type carries; mpb.loadCoord stays as it is. The step that finds the guiding over persists both.
// Returns 0; -1 with a line in the log and nothing stored when mass or center is no number, as with five
// forces in one direction. Cycle, every 5 ms.
TARN_API int zvmcLoadIdentifyDynControl();

// Evaluates five wrenches of a load, fivePoint[5], N and N m about the frame's origin, and the orientations
// R[5], E in B. xyz[3]: output, its center, mm, by least squares; no number or a wild one when the forces are
// parallel. *m: output, kg, the length of the mean of R' F over 9.8: too little by as much as the
// orientations differ. Returns 0. Cycle and command.
TARN_API int zvmcComloaddymIdentify(FORCESENSOR_DATA* fivePoint, ROTRSF* R, double* m, double* xyz);

// ==== force collision guard
//
// Holds mpb.forceRCS against a band and reacts as mcb.collisionPauseFlag says; a hit ends in a fault, a pause
// or stop, or a drag for a time, which gravityTorqueControl serves in mpb.state 4.

// Arms (status 1) or disarms (0) the guard, and takes its settings either way: select[6], 1 for an axis that
// is watched; the band from collision_Cur - collision_Min to collision_Cur + collision_Max, N and N m in R,
// its limits inside. Arming takes sensor sensorNum of mpb.posSensorCtlList (0 to 255; 256 keeps the one in
// use). Persists nothing; mpb.currentLine is set in any case. Returns 0; -1 for another status, with
// zvCtlIOVALUEError in mcb.ioError, or without a fault for another sensorNum or a select above 1; -2 while
// the sensor is not in use. Command.
TARN_API int tmcCollisionStartStop(uint8_t status, int sensorNum, uint8_t* select,
                                   FORCESENSOR_DATA collision_Cur, FORCESENSOR_DATA collision_Max,
                                   FORCESENSOR_DATA collision_Min, int curLine);

// The check of one cycle. With mcb.collisionPauseFlag 0, 1 and 5 the guard stays armed and reacts in each
// cycle outside the band, else the first one disarms it; 5 raises no fault. Returns 0. Cycle, once, after
// forceSensorDataProcess.
TARN_API int collisionControl(void);

// ==== force-and-torque drag
//
// In hand guiding under full dynamics (mpb.state 4, mcb.newTeachEnable 2) the sensor's force acts on the
// joints as torque.

// Starts (status 1) or stops (0) the drag, takes its settings and persists them all but status.
// impedance_sign: 1 with damping of the joints, 0 without. LamdaGain[6]: by how much the arm feels the hand
// on a joint, 1 for the hand alone; more than 5 becomes 5, in the array, too. BGain[6]: damping of the
// joints, N m s/degree; more than 1 becomes 1, likewise. KGain[6]: kept, without effect. DragMaxTcpVel, mm/s,
// DragMaxTcpOriVel, degrees/s: more of mpb.tcpvel or mpb.tcpOriVel for six cycles ends the drag, with
// zvCtlTCPSpeedOver in mcb.motionAlarm. Returns 0; -1 for another status or impedance_sign or a negative
// gain, with zvCtlIOVALUEError in mcb.ioError; -2 while the sensor is not in use. Command.
TARN_API int zvmcForceAndTorqueDragStartStop(int status, int impedance_sign, double* LamdaGain, double* KGain,
                                             double* BGain, double DragMaxTcpVel, double DragMaxTcpOriVel);

// *dragStatus = flag of the end-force drag, *status = that of the force-and-torque drag. Returns 0. Command.
TARN_API int zvmcGetForceAndTorqueDragState(int* dragStatus, int* status);

// torque[6] = joint torques, N m, of mcb.forceControl.forceOriginEnd at the pose joint_pos[6], degrees, and
// mpb.tC, with the damping of the drag where it is on; through a filter of 0.4 Hz that takes a sample a call.
// A force up to 1 N and a moment up to 0.05 N m become zero in forceOriginEnd. Moments stay about the
// sensor's origin. Types without a row of lengths take those of 101 to 200. Returns 0. Cycle.
TARN_API int zvmcForceDataToTorque(double* joint_pos, double* torque);

// ==== singularity of the arm under the sensor

// Jacobian of the arm in single precision: vx, vy, vz, wx, wy, wz of the flange in the base frame, m and
// radians, by columns, element r of joint c at Jacob[r + 6 * c].
//
// paramDH[6]: d1, a2, a3, d4, d5, d6, mm; the signs of a2 and a3 do not matter. joint_post[6]: radians.
// Jacob[36]: output. Reads and writes no state; cycle and command.
TARN_API void velocityJacob(const float* paramDH, const float* joint_post, float* Jacob);

// What is left of the arm's mobility: of translation (m^3) with the end's rotation held, and of rotation with
// the end's place held; 0 at a singularity. J[36] as velocityJacob has it; one whose held rows have no volume
// gives no number. Read and write no state; cycle and command.
TARN_API float testOutTrans(const float* J);
TARN_API float testOutRot(const float* J);

// The same in double precision of a Jacobian by rows.
TARN_API double zvmcInputJJOutTrans(double (*J)[6]);
TARN_API double zvmcInputJJOutROT(double (*J)[6]);

// Fv[6] = force and moment (N, N m, in E) that push the arm of mcb.robotType, at the commanded pose
// mpb.jC and mpb.tC, to where more mobility is left. Zero while both measures are above the thresholds of the
// robot type, at most 100 N and 6 N m on an axis. compliance has no effect. Returns 0; -1 at a singular pose,
// with the Jacobian in the log and Fv as it was. Fv is no number where the Jacobian's inverse, which swaps no
// rows, meets a zero, such as with joint 1 at exactly 0. Runs in each step of zvmcEndForceDragToCart. Cycle.
TARN_API int zvmcConstraintsAdmittance(double* Fv, double compliance);

// *determinant of a 3 by 3 matrix by rows. Returns 0. Cycle and command.
TARN_API int det3(double (*matrix)[3], double* determinant);

// inverse of a 3 by 3 matrix, both by rows; they must not overlap. Returns 0; -1 for a determinant of exactly
// 0, with a line in the log and inverse as it was. Cycle and command.
TARN_API int inverseMatrix3(double (*matrix)[3], double (*inverse)[3]);

// ==== virtual wall

// Turns temp_vel[0..2], the predicted velocity of the tool (m/s) in E, into B, in place, and writes to B[6]
// (handed in as zeros) the damping that the box mcb.interfereCube adds to the drag, N s/m and N m s/rad: 0
// from 100 mm off the wall, more the nearer the tool point of the measured pose is while it moves towards the
// wall. For a box in B while mcb.interfereDrag is 0. While it is 1, a joint that enters its range of
// mcb.interfereJoint requests tmcDragSwitch(1), in each call until zvmcForceSensorDragProcess has released
// it. Returns 0. Runs in each step of zvmcEndForceDragToCart with endforcedrag.interfere_drag_sign 1. Cycle.
TARN_API int zvmcForceSensorVirtualWall(float* temp_vel, float* B);

// ==== drag by the force sensor
//
// The operator pushes the tool: the force mpb.forceRCS drives an admittance M a + B v + K x = F per axis,
// and the motion is commanded as a joint position in the same cycle. mcb.forceControl.endforcedrag holds its
// settings. The arm stands idle under the host meanwhile. Results are 0 unless told.

// Force that drove the last step, filtered, in the frame of forceSensorRcs: N and N m. For display.
TARN_API extern double AdmittanceF[6];

// Restarts the filters of the pose increments and ends the force-and-torque drag. Command, at start-up.
TARN_API int zvmcInitEndForceDragParam(void);

// Sets the drag up, persists that, and starts (status 1) or stops it; a larger status is stored and starts
// nothing. The arguments are those of the record, by axis x, y, z, rx, ry, rz; F[6] the dead zone. M[0..2]
// is held to 5 to 30 kg and M[3..5] to 0.1 to 10 kg m^2, also in the caller's array. -1, with
// zvCtlIOVALUEError in mcb.ioError and nothing stored, when status is negative or an M or B is not positive;
// nothing else is checked. Command.
TARN_API int zvmcEndForceDragstartstop(int status, int adaptive_sign, int interfere_drag_sign,
                                       int singularityConstraintsFlag, double* M, double* B, double* K,
                                       double* F, double Fmax, double Vmax);

// Starts (1) or stops (0) the drag as it is set up. -1 with zvCtlIOVALUEError in mcb.ioError for another
// status, or while the sensor is not in use; that fault then keeps the drag off until the host clears it.
// Command.
TARN_API int zvmcEndForceDragStartStopControl(int status);

// *status = the status of the last start or stop; 0 also after an alarm has ended the drag. Command.
TARN_API int zvmcGetEndForceDragStartStopState(int* status);

// Forgets the drag in hand: offset, velocity, held damping, and the base frame of the force. Cycle and
// command.
TARN_API int zvmcEndForceDragParamReset(void);

// Stores mcb.forceSensorDragAutoFlag, 0 or 1, for the host and persists it. -1 for another value, without a
// fault. Command.
TARN_API int tmcSetForceSensorDragAutoFlag(uint8_t status);

// The drag of one cycle. Call it in every cycle, also without a drag: where it may not run, the reference of
// the next one is taken and its state cleared, and with it the filters that constant force control shares.
//
// It runs in TGEN_IDLE, in manual mode, without jogging, with the sensor in use, endforcedrag.flag 1, and
// without fault or alarm in mcb.cmdPointError, collisionError, ioError, alarm and interfereAlarm. It writes
// mpb.jC and mpb.tC, and calls tmcUpdateJointCartGoalPos. A step that would be too fast (zvCtlJ1SpeedOver to
// zvCtlJ6SpeedOver in mcb.motionAlarm), singular or out of reach (zvCtlStrangPosAlarm) moves nothing and
// clears the flag. Switches to the host's joint drag and back by tmcDragSwitch. Cycle, once.
TARN_API int zvmcForceSensorDragProcess(void);

// One step: *cpoint = pose that the tool takes now, from the fixed tool pose curpos at which the drag began
// and the offset accumulated since, T in B. Returns 0, or the negative result of zvmcIsOverJntvel: *cpoint
// is curpos then, and the offset keeps the refused step until the reset. Cycle.
TARN_API int zvmcEndForceDragToCart(TRSF curpos, TRSF* cpoint);

// Admittance of axis i, 0 to 5, over delta_t, s: cur_vel[i], m/s or rad/s, and the way delt_pos[i], m or
// rad. m, b, k, realF by axis in SI units; cur_pos in mm or degrees, left for the caller to advance. The
// speed is held to 0.2 m/s or 0.349 rad/s, and beyond a damping of 10000 or 50 to less, by its square.
// Another i does nothing. Cycle.
TARN_API int zvmcAdmittanceControl(int i, double* m, double* b, double* k, double* realF, double delta_t,
                                   double* cur_pos, double* cur_vel, double* delt_pos);

// Whether the way from mpb.jC to the tool pose afterpos in one cycle keeps every joint below
// endforcedrag.Vmax. Returns 0; -1 to -6, with a log line, the first joint that does not; -7 when there is
// no way, or mpb.jC is in or next to a singularity. Cycle.
TARN_API int zvmcIsOverJntvel(TRSF afterpos);

// One sample of the estimate of what the tool touches: y = speed (m/s) and force (N), Q[3] and R[2] the
// variances of state and measurement, x_eval[3] = place (m), stiffness (N/m, also negative) and force (N).
// Eleven draws of rand(). The estimate is never reset. Cycle.
TARN_API int zvmcKalmanEnvironmenModelEvaluate(double* Q, double* R, double* y, double* x_eval);

// ==== regulators of force control
//
// One call a cycle and axis, from a force error (N, or N m) to a step of the pose (mm, or degrees). None
// refuses a non-number: it runs through to the result.

// Sets the gains of a regulator and clears its errors. Returns 0. Cycle and command.
TARN_API int PIDInit(PID* pid, double p, double i, double d);

// *result = P * error + I * (sum of errors) + D * (change of the error), held within +-0.05, and moves the
// errors on. The sum has no bound: a regulator winds up while its result is held. Returns 0. Cycle.
TARN_API int PIDCalc(PID* pid, double error, double* result);

// The same without the bound on the result; in the caller's units. Returns 0. Cycle.
TARN_API int PID_increase_Calc(PID* pid, double error, double* result);

// Tunes pid->P while the axis z presses: it falls when its step jumps, rises while the mean magnitude of
// mpb.forceRCS.fz is off that of mcb.forceControl.constForceValue.fz and falls within 0.1 N of it, every 50
// calls.
//
// sign: 21 to 29 tunes, every other value does not. initflag: exactly 1.0 takes the larger of pid->P and
// 0.005 mm/N as upper bound, for any sign; all regulators share that bound, the window and the last step.
// The lower bound is 0.0001. Returns 0. Cycle.
TARN_API int zvmcPIDAdjust(uint8_t sign, double initflag, PID* pid);

// Rewinds a learning store. flag: 0 off, 1 learn, 2 replay. The learned corrections stay; learning goes on
// from them. p and d have no effect: both gains are 5e-6. Returns 0. Command.
TARN_API int zvmcILCinit(ILC* ilc, double p, double d, int flag);

// Rewinds the six stores of mcb.forceControl. Returns 0. Command.
TARN_API int zvmcILCreset(void);

// *C = learned correction of this step, mm or degrees; learns from the force error dF, or replays, or gives 0
// when the store is off. Returns 0; -1 with zvCtlIOVALUEError in mcb.ioError while it is on and ilc->index is
// outside the store, *C then as it was. Cycle.
TARN_API int zvmcILCcontrol(ILC* ilc, double dF, double* C);

// Sets how a correction decays when contact is lost: p, share that goes each cycle; Fd, force below which it
// does, N; flag, 0 off. Stores mcb.forceControl.compliance and persists nothing. Returns 0; -1 with
// zvCtlIOVALUEError in mcb.ioError and curline in mpb.currentLine for a negative argument. Command.
TARN_API int zvmcCompliancestartstop(double p, double Fd, int flag, int curline);

// *remain_Xe = Xe - p * Xe while the force F is smaller than Fd, in magnitude, and flag is not 0; otherwise
// it stays. Returns 0. Cycle.
TARN_API int Compliancecontrol(double p, double Fd, double F, int flag, double Xe, double* remain_Xe);

// One step of the law  m dv/dt = F - b v - k x  on axis i, 0 to 5, with no limit on the velocity. m, b, k,
// realF: by axis, in SI units. delta_t: s. delt_pos[i]: output, the way of the step, m or rad; x itself is
// advanced by constant force control. Another i does nothing. Returns 0. Cycle.
TARN_API int zvmcFTControl_Admittance(int i, double* m, double* b, double* k, double* realF, double delta_t,
                                      double* delt_pos);

// Contact of a rotating tool of radius mcb.forceControl.grindingToolR at the tool point mpb.TOOL, from
// mcb.forceControl.forceOriginEnd: *thetaF, angle of the normal in the tool's plane, degrees, filtered at
// 3.9 Hz with a gain of 1.034; *Fc, tangential force, N. A zero radius makes *Fc non-finite; no moment about
// x and y makes *thetaF no number, which stays in the filter. Returns 0. Cycle.
TARN_API int zvmcFTNormal_estimation(double* thetaF, double* Fc);

// ==== constant force control
//
// Holds chosen components of mpb.forceRCS at a target while the arm follows a planned path. The correction
// adds up in mcb.forceControl, dxSum to dcSum, in mm and degrees.

// Starts (status 1) or stops (0). Command.
//
// sensorNum: 0 to 256, of mpb.posSensorCtlList; mpb.posSensorCtl takes it only while the force guard is armed
// (mcb.forceControl.collisionFlag 1), and keeps what it has for 256. select[6]: axes of the force's frame, 0
// or 1. constforce: target, N, N m. p_f, i_f, d_f and p_m, i_m, d_m: regulators of the forces, mm/N, and of
// the moments, degrees/(N m), a cycle. adj_sign: 1 tunes the gain of z. ILCsign: learning store, 0 off, 1
// learn, 2 replay; it has gains of its own. maxDis, maxAng: largest correction of an axis, mm, degrees. r:
// radius of the rotating tool, mm. filter_Sign: 1 filters the force error of z at 100 Hz. posAdapt_sign: 1
// lets the tool yield to the moments while z presses.
//
// A start keeps the correction that there is. A stop takes the other arguments all the same, turns the target
// in the plane round by the last normal, and makes the commanded pose the goal, mpb.goalPos in the workpiece
// frame and mpb.jointPos.
//
// Returns 0; -1 for another status, with zvCtlIOVALUEError in mcb.ioError; -1 for another argument out of
// range, without a fault; -2 with the sensor off. A refusal stores nothing but mpb.currentLine, which is
// always set.
TARN_API int tmcConstForceStartStop(uint8_t status, int sensorNum, uint8_t* select,
                                    FORCESENSOR_DATA constforce, double p_f, double i_f, double d_f,
                                    double p_m, double i_m, double d_m, uint8_t adj_sign, uint8_t ILCsign,
                                    double maxDis, double maxAng, double r, uint8_t filter_Sign,
                                    uint8_t posAdapt_sign, int curLine);

// *posAfter = the planned pose posBefore, of E in B, with the correction; while the control or the sensor is
// off the same pose, and the correction is cleared.
//
// The correction moves by forceSensorRcs: 0 in the sensor's frame mpb.posSensorCtl.posSensorInEnd; 2 along
// the axes of E, turned by the yielding alone; else it is added to position and angles in B.
//
// Returns 0; -1 when an axis is beyond its limit: mcb.cmdPointError has zvCtlConstForceXOver to
// zvCtlConstForceRZOver, *posAfter the pose beyond, and the control has stopped as by command. Feed posBefore
// no further then: go on from mpb.goalPos. Cycle, on each planned pose.
TARN_API int constForceControl(TRSF posBefore, TRSF* posAfter);

// Ends constant force control, without a new goal, and disarms the force guard. Returns 0. Cycle and command.
TARN_API int resetForceControlPara(void);

}  // extern "C"
