// The two state blocks that controller and library share: mcb, what the arm is set to do (modes, settings,
// faults, records), and mpb, what it is doing (states, motion, loads, model and force values).
//
// The host defines both, zeroes them at load and fills the persisted fields from its settings before the
// first cycle. There is no lock: a field is written by one aligned store, and the host runs its command
// handlers so that a setting written by halves does no harm.
//
// Columns of the records: unit, writer, meaning.
//   unit    deg/ms and deg/ms2 are per cycle; times 1000 (times 1000 * 1000) they are degrees per second
//           (squared). "cycles" are cycles of 1 ms. "-" is a number, a code or a switch (0 off, 1 on).
//   frame   B robot base, E end (flange), T tool, S force sensor, R the frame that forceSensorRcs chooses.
//           Six-axis values stand in the order x, y, z and then the rotations about them: a, b, c or
//           rx, ry, rz.
//   writer  host: the controller. lib: the library. both: a setter of the library, and the host, which
//           restores the value from its settings at start.
#pragma once

#include <stdint.h>

#include "tarnmath/tarnmath.h"
#include "tarnmotioncontrol/tmcfaultblock.h"

// clang-format off

// ---- sizes and limits

#define NUM_JNTS              6        // joints of the arm
#define MAXSYSJNTS            6        // upper bound of mpb.sysJntsNo
#define SM_SAMPLING_TIME      0.001    // s        cycle time, built into all filters and difference quotients
#define MAXLOADNUM            20       //          load records
#define MINLOADCOORD          -1000    // mm       bounds of the center of mass of a load
#define MAXLOADCOORD          1000     // mm
#define SAFETYPLANEMAXNUM     8        //          safety planes
#define MAXCOLLISIONLEVELNUM  100      // -        highest collision level
#define MAXCOLLISIONERRORTIME 100      // cycles   bound of mpb.collisionErrorTime
#define MAXCOLLISIONVALUE     1        // N m      bound of mpb.j1CollisionValue to mpb.j6CollisionValue
#define MAXTORQUERECORDNUM    12000    //          samples of one joint in the torque record: 600 s
#define TORQUERECORDINTERVAL  50       // cycles   from one of them to the next
#define LOADIDENTIFYINTERVAL  1000     // cycles   one chunk of the load identification
#define LOADIDENTIFYBUFNUM    1000     //          chunks that it can hold
#define LOADIDENTIFYRECORDNUM 5        //          samples that make one result of the sensor

// ---- robot types: mcb.robotType
//
// A family is a band of 100 codes, both ends included. Code 0 lies outside every band and counts as family B,
// and so does a code that a table does not know. Codes 901 to 903 belong to no band: compare for equality.

#define MAXROBOTTYPENUM       1500     // highest code

#define ZVALEFTRANGE      1            // family A
#define ZVARIGHTRANGE     100
#define ZVBLEFTRANGE      101          // family B
#define ZVBRIGHTRANGE     200
#define ZVCLEFTRANGE      201          // family C
#define ZVCRIGHTRANGE     300
#define ZVDLEFTRANGE      301          // family D
#define ZVDRIGHTRANGE     400
#define ZVELEFTRANGE      401          // family E
#define ZVERIGHTRANGE     500
#define ORBALEFTRANGE     501          // ORBA and ORBB: no arm model of their own
#define ORBARIGHTRANGE    600
#define ORBBLEFTRANGE     601
#define ORBBRIGHTRANGE    700
#define ZVAPQLEFTRANGE    701          // family A, variant PQ
#define ZVAPQRIGHTRANGE   800
#define ZVBPQLEFTRANGE    801          // family B, variant PQ
#define ZVBPQRIGHTRANGE   900
#define ZVFLEFTRANGE      1001         // family F
#define ZVFRIGHTRANGE     1100

#define ROB_ZVB             0          // family B without a version
#define ROB_ZVA_V1_000      1
#define ROB_ZVA_V1_001      2
#define ROB_ZVA_V1_002      3
#define ROB_ZVB_V1_000      101
#define ROB_ZVB_V1_001      102
#define ROB_ZVB_V1_002      103
#define ROB_ZVC_V1_000      201
#define ROB_ZVC_V1_001      202
#define ROB_ZVD_V1_000      301
#define ROB_ZVD_V1_001      302
#define ROB_ZVE_V1_000      401
#define ROB_ZVE_V1_001      402
#define ROB_ZVAPQ_V1_000    701
#define ROB_ZVAPQ_V1_001    702
#define ROB_ZVAPQ_V1_002    703
#define ROB_ZVBPQ_V1_001    802
#define ROB_ZVAGL_V1_001    901        // family A, variant GL
#define ROB_ZVCHN_V1_001    902        // family C, variant HN
#define ROB_ZVAPQGL_V1_001  903        // family A, variants PQ and GL
#define ROB_ZVF_V1_000      1001

// Heaviest load by family, kg.
#define MAXLOADWEIGHTZVA    3.0
#define MAXLOADWEIGHTZVB    5.0
#define MAXLOADWEIGHTZVC    10.0
#define MAXLOADWEIGHTZVD    16.0
#define MAXLOADWEIGHTZVE    20.0
#define MAXLOADWEIGHTORBA   3.0
#define MAXLOADWEIGHTORBB   5.0
#define MAXLOADWEIGHTZVAPQ  3.0
#define MAXLOADWEIGHTZVBPQ  3.0        // less than plain B, on purpose
#define MAXLOADWEIGHTZVF    30.0

extern "C" {

// ---- states, requests, kinds of motion

enum TGEN_STATE : int {                // mpb.state: what the trajectory generator does
    TGEN_IDLE    = 1,                  // nothing
    TGEN_SERVICE = 2,                  // executes a motion
    TGEN_PAUSE   = 3,                  // holds a paused motion
    TGEN_DRAG    = 4,                  // the arm is guided by hand
};

enum TGEN_REQUEST : int {              // what may be asked of it
    SERVICE_NEXT_REQUEST = 1,
    ENTER_IDLE_STATE     = 2,
    ENTER_PAUSE_STATE    = 3,
    LEAVE_PAUSE_STATE    = 4,
    ENTER_DRAG_STATE     = 5,
};

enum MOTION_KIND : int {               // mpb.interMode: the motion in progress
    JOINT           = 1,
    CARTESIANLIN    = 2,
    CARTESIANARC    = 3,
    TOOLLIN         = 4,
    SPTP            = 6,
    SLIN            = 7,
    SARC            = 8,
    SERVOJOINT      = 9,
    WORKPIECELIN    = 10,
    CARTESIANCIRCLE = 11,
    CARTESIANSPIRAL = 12,
    NEWSPLINE       = 13,
    LASERRECORD     = 14,
    SPIRALSEARCH    = 15,
    ROTINSERT       = 16,
    LININSERT       = 17,
    FINDSURFACE     = 18,
    CARTESIANDMP    = 19,
    CARTSSCIRCLE    = 20,
    CARTDISCRETEP   = 21,
    JSPLINEPOINT    = 22,
    SERVOJTORQUE    = 23,
    CARTTRAJECTORY  = 24,
};

// ---- records of mpb

struct SEGMENT_COUNTER {               // mpb.ci: progress in the motion segment
    int c;                             // cycles     host  cycles done
    int sigma;                         // cycles     host  cycles of the whole segment
};

struct TMC_LIMITS_CART {               // mpb.limitsGoto: limits of Cartesian motion
    double maxVel;                     // mm/s       host  speed in force, the override included
};

struct TMC_LIMITS_JNT {                // mpb.limitsJnt: limits of joint motion
    JNTS maxVel;                       // deg/s      host  speeds in force, the override included
};

struct TMC_TIMES {                     // timing of an excitation trajectory
    double tNgt;                       // s                period
    double tCrs;                       // s                period at the speed in force
};

struct POS_SENSOR_CTL {                // mpb.posSensorCtl, mpb.posSensorCtlList: where a sensor sits
    TRSF    posSensorInEnd;            // mm         host  pose of S in E
    uint8_t posSensorInstall;          // -          host  way of installation, a code of the host
};

// ---- records of mcb: operation

struct JOG_CONTROL {                   // mcb.jogControl
    uint8_t modeCTL;                   // -          host  0 not jogging, else the kind of jog
    uint8_t jogCycleFlag;              // -          host  a jog cycle runs
};

struct SAFETY_PARA {                   // mcb.safetyPara
    uint8_t  safetyStopEnable;         // -          host  2: safety board in charge; 1: none, gate always open
    uint16_t safetyIslandErrorCode;    // -          host  its verdict: 7 to 12 collision of joint 1 to 6, 27 momentum,
                                       //                  28 power, 29 to 34 commanded current
};

// ---- records of mcb: interference zones

struct INTERFERE_POINT {
    double x, y, z;                    // mm
};

struct INTERFERE_CUBE {                // mcb.interfereCube: a box
    uint8_t         setFlag_cube;      // -          host  the box is defined
    uint8_t         refCoord_cube;     // -          host  frame of its points: 0 B; any other: no wall while dragging
    uint8_t         mode_cube;         // -          host  0 inside forbidden, 1 outside forbidden
    uint8_t         calibMethod_cube;  // -          host  0 by min and max corner, 1 by center and edge lengths
    INTERFERE_POINT min_cube;          // mm         host  corner
    INTERFERE_POINT max_cube;          // mm         host  corner
    INTERFERE_POINT center_cube;       // mm         host  center
    INTERFERE_POINT length_cube;       // mm         host  edge lengths
};

struct INTERFERE_JOINT {               // mcb.interfereJoint: a range per joint
    uint8_t setFlag_joint;             // -          host  the ranges are defined
    uint8_t mode_joint;                // -          host  0 inside forbidden, 1 outside forbidden
    uint8_t enable_joint[6];           // -          host  the joint's range counts
    double  max_joint[6];              // deg        host  upper end
    double  min_joint[6];              // deg        host  lower end
};

// ---- records of mcb: collision

struct COLLISION_DETECTION {           // mcb.collisionDetection
    uint8_t powerFlag;                 // -          both  power supervision in torque-servo mode
    double  powerLimit;                // W          both  its limit on the mean mechanical power
    uint8_t staticCollisionFlag;       // -          both  collision check at standstill
    int     safeTime;                  // cycles     both  reaction 5: time in drag, 0 to 2000
    int     safeDistance;              // mm         both  reaction 5: way of the tool that ends the drag, 0 to 500
    int     safetyMargin[6];           // -          both  reaction 5: decay rate of the push-back per joint, 1 to 10
    int     safeSpeed;                 // mm/s       both  reaction 5: cap of the tool speed
    uint8_t CustomCollisionFlag;       // -          lib   custom thresholds: 0 off, 1 joints, 2 tool, 3 both
    float   jointDetectionThreshold[6];// N m        lib   custom joint thresholds, motor torque
    float   tcpDetectionThreshold[6];  // N, N m     lib   custom tool thresholds
    float   tcpRealForce[6];           // N, N m     lib   estimated force and torque at the end
};

// Fit of one joint of the torque record: a cubic over the latest samples. The host's own; the library
// keeps it, copies it and hands it back to the spline services. Its size is part of the block's layout.
struct Bsplinep {
    int    num;                        // -          host  points in use, at most 4
    double point[4];                   // as given   host  latest points, newest last
};

struct TORQUE_RECORD {                 // mcb.torqueRecordCtl: motor currents of a known good run
    uint8_t  torqueRecordStatus;       // -          lib   a run with record or replay is commanded
    uint8_t  torqueRecordFlag;         // -          lib   0 none, 1 recording, 2 a record is complete
    uint8_t  torqueCollisionFlag;      // -          lib   replaying, checked against the record
    uint8_t  torqueSmoothFlag;         // -          lib   between samples: 0 straight line, 1 spline
    float    torqueNegativeValue[6];   // N m        lib   lower band, motor torque, below 0
    float    torquePositiveValue[6];   // N m        lib   upper band, motor torque, above 0
    int      torqueCollisionTime[6];   // cycles     lib   what an excess of the band may last; 0 or less: 500
    int      torqueRecordNum;          // -          lib   samples recorded
    short    torqueRecord[6][MAXTORQUERECORDNUM];
                                       // 0.001      lib   samples of how.currentFeedback
    Bsplinep torqueBSpline[6];         //            both  fit of each joint
    dmat     torqueBSplineMat;         //            both  work matrix that the library hands to the fit
};

// ---- records of mcb: load identification

struct LOAD_IDENTIFY {                 // mcb.loadIdentify: by scripted motion, without a force sensor
    uint8_t loadIdentifyControl;       // -          lib   the run is on
    int     count1000ms;               // cycles     lib   samples in the chunk in hand
    int     weightTotalNum;            // -          lib   chunks in weightTemp
    double  weightTemp[LOADIDENTIFYBUFNUM];
                                       // kg         lib   one estimate of the mass a chunk
    uint8_t weightIdentifyResult;      // -          lib   weightResult is final
    int     coordTotalNum;             // -          lib   chunks in coordTemp
    VECT    coordTemp[LOADIDENTIFYBUFNUM];
                                       // mm, E      lib   one estimate of the center of mass a chunk, z alone
    uint8_t coordIdentifyResult;       // -          lib   coordResult is final
    uint8_t identifyResult;            // -          lib   the whole run has ended
    double  weightResult;              // kg         lib   mass
    VECT    coordResult;               // mm, E      lib   center of mass
};

struct LOAD_IDENTIFY_DYN {             // mcb.loadIdentifyDyn: by the force sensor, under the operator's hand
    uint8_t loadIdentifyDynCtl;        // -          both  on; load and zeroOffset are then left in the sensed force
    int     loadIdentifyDynTime;       // ms         both  time from sample to sample, 0 to 1000; below 5: no sample
};

// ---- records of mcb: force sensor and force-controlled motion

struct FORCESENSOR_COORD {             // pose of S in E
    double x, y, z;                    // mm
    double a, b, c;                    // deg              rotation Rz(c) * Ry(b) * Rx(a)
};

struct ILC {                           // iterative learning of one axis; e_1 stays first
    double e_1;                        // N, N m     lib   error of the step before
    double u[12000];                   // mm, deg    lib   learned correction by cycle: twelve seconds
    double p;                          //            lib   proportional learning gain
    double d;                          //            lib   derivative learning gain
    int    index;                      // -          lib   step in the repetition
    int    flag;                       // -          lib   0 off, 1 learn, 2 replay
};

struct COMPLIANCE {                    // gives way when the force is small
    int    flag;                       // -          lib   on
    double Fd;                         // N          lib   force below which the correction decays
    double p;                          // -          lib   decay a cycle
};

struct EndForceDrag {                  // dragging the arm by the force sensor: M*a + B*v + K*x = F per axis
    double M[6];                       // kg, kg m2                 both  inertia
    double B[6];                       // N s/m, N m s/rad          both  damping
    double K[6];                       // N/m, N m/rad              both  stiffness
    int    flag;                       // -                         both  drag requested
    int    adaptive_sign;              // -                         both  damping adapts to force and environment
    int    interfere_drag_sign;        // -                         both  virtual wall in use
    int    singularityConstraintsFlag; // -                         both  near a singularity: 1 joint drag, else soft constraint
    double F[6];                       // N, N m                    both  dead zone: [0] for forces, [3] for moments
    double Vmax;                       // deg/s                     both  joint speed limit of a step
    double Fmax;                       // N, N m                    both  limit of each force and moment component
    double forcesensorKp[6];           // -                         host  reserved
    double forcesensorKd[6];           // -                         host  reserved
};

struct ForceAndTorqueDrag {            // sensor force mapped to joint torque in hand guiding
    int    status;                     // -                         lib   on
    int    impedance_sign;             // -                         both  joint damping on
    double LamdaGain[6];               // -                         both  the joint gets (1 - LamdaGain) of the torque; at most 5
    double KGain[6];                   // -                         both  kept for the host, not read
    double BGain[6];                   // N m s/deg                 both  joint damping, at most 1
    double DragMaxTcpVel;              // mm/s                      both  limit of the tool speed
    double DragMaxTcpOriVel;           // deg/s                     both  limit of the tool's rotation speed
};

struct FORCE_CONTROL {                 // mcb.forceControl
    uint8_t            forceSensorAct;          // -          both  the sensor is in use
    uint8_t            forceSensorState;        // -          lib   alarm lines: bit 0 first, bit 1 second
    uint8_t            forceSensorRcs;          // -          both  frame R: 0 E, 1 B, 2 T
    FORCESENSOR_COORD  forceSensorCoord;        // mm, deg    both  pose of S in E
    uint8_t            forceSensorZeroFlag;     // -          both  zeroValue is taken off
    FORCESENSOR_DATA   zeroValue;               // N, N m, S  both  reading at zeroing
    FORCESENSOR_DATA   zeroOffset;              // N, N m, S  both  residual offset that calibration found
    uint8_t            collisionFlag;           // -          lib   force guard armed
    uint8_t            collisionErrorState;     // -          lib   0 none, 1 raised, 2 served by the cycle
    uint8_t            collisionSelect[6];      // -          lib   axes of R that the guard watches
    float              collisionStateTime;      // cycles     lib   hold time after a force collision
    FORCESENSOR_DATA   collisionCur;            // N, N m, R  lib   force from which the guard's band is counted
    FORCESENSOR_DATA   collisionMax;            // N, N m, R  lib   width of the band upward
    FORCESENSOR_DATA   collisionMin;            // N, N m, R  lib   width of the band downward
    FORCESENSOR_DATA   forceOriginEnd;          // N, N m, S  lib   reading without zero and load
    uint8_t            constForceFlag;          // -          lib   constant force control runs
    uint8_t            constForceSelect[6];     // -          lib   axes of R that it controls
    FORCESENSOR_DATA   constForceValue;         // N, N m, R  lib   targets
    PID                constForceFx;            //            lib   regulators, force error to mm or deg a cycle
    PID                constForceFy;            //            lib
    PID                constForceFz;            //            lib
    PID                constForceMx;            //            lib
    PID                constForceMy;            //            lib
    PID                constForceMz;            //            lib
    ILC                ilcconstForceFx;         //            lib   learning stores
    ILC                ilcconstForceFy;         //            lib
    ILC                ilcconstForceFz;         //            lib
    ILC                ilcconstForceMx;         //            lib
    ILC                ilcconstForceMy;         //            lib
    ILC                ilcconstForceMz;         //            lib
    uint8_t            filter_Sign;             // -          lib   extra low-pass on the force error along z
    uint8_t            posAdapt_sign;           // -          lib   orientation adapts while pressing
    double             constForceMaxDis;        // mm         lib   limit of the correction
    double             constForceMaxAng;        // deg        lib   limit of the correction
    double             grindingToolR;           // mm         lib   tool radius
    uint8_t            buffFlag;                // -          lib   the queue of axle telegrams collects
    double             dxSum, dySum, dzSum;     // mm         lib   accumulated correction (frame of the control: S, B or R)
    double             daSum, dbSum, dcSum;     // deg        lib   accumulated correction, same frame
    uint8_t            forceadjustsign;         // -          lib   gains tune themselves
    COMPLIANCE         compliance;              //            lib
    EndForceDrag       endforcedrag;            //            both
    ForceAndTorqueDrag forceandtorquedrag;      //            both
};

// ---- the control block

struct MOTION_CONTROL_BLOCK {
    // arm and operation
    int          robotType;                     // -          host  type code, see above
    unsigned int mode;                          // -          host  0 automatic, 1 manual
    float        speedScaleAuto;                // -          host  speed override in automatic mode, 1: full speed
    float        speedScaleManual;              // -          host  speed override in manual mode
    uint8_t      servoJStatus;                  // -          host  joint positions are streamed
    uint8_t      servoJTStatus;                 // -          host  joint torques are streamed
    JOG_CONTROL  jogControl;                    //            host
    SAFETY_PARA  safetyPara;                    //            host

    // mounting: B against the direction of gravity
    uint8_t robotInstallPos;                    // -          both  0 floor, 1 wall, 2 ceiling, 3 free angle
    double  robotInstallYangle;                 // deg        both  rotation about y
    double  robotInstallZangle;                 // deg        both  rotation about z

    // torque model of the cycle and hand guiding
    uint8_t newTeachEnable;                     // -          both  0 gravity, 1 fitted regressor, 2 full dynamics
    double  newTeachGain[6];                    // -          both  mode 1: weight of the static torque
    double  newTeachGainKf[6];                  // -          both  mode 1: weight of the motion torque
    double  newTeachGainGAdj[6];                // -          host  adjusted weights, the source of newTeachGain
    double  newTeachGainKfAdj[6];               // -          host  mode 1 under the hand: weight of the motion torque
    uint8_t dragLockEnable;                     // -          both  Cartesian axes locked while guided
    double  dragLockP[6];                       // -          both  gains of the lock, axes x, y, z, a, b, c
    double  dragLockI[6];                       // -          both
    double  dragLockD[6];                       // -          both

    // friction
    uint8_t fricCompensationFlag;               // -          both  friction is compensated
    int     jointStiffnessType;                 // -          both  constants of the size-25 friction curve: 0 or 1

    // interference zones and safety planes
    uint8_t         interfereDrag;              // -          both  at a zone while guided: 0 none, 1 resist, 2 leave drag
    INTERFERE_JOINT interfereJoint;             //            host
    INTERFERE_CUBE  interfereCube;              //            host
    uint8_t         safetyPlaneEnterFlag[SAFETYPLANEMAXNUM];
                                                // -          host  the plane is crossed

    // collision
    uint8_t             collisionPauseFlag;     // -          both  reaction to a collision: 0 pause, 1 alarm only, 2 stop;
                                                //                  then hand guiding: 3 free for 1000 cycles, 4 on a spring
                                                //                  for 5000 cycles, 5 with push-back for safeTime cycles
    uint8_t             collisionStateback;     // -          both  joint collision, until the guiding after it ends or the host clears it
    COLLISION_DETECTION collisionDetection;     //            both
    TORQUE_RECORD       torqueRecordCtl;        //            lib
    uint8_t             momentumPowerEnableFlag;// -          both  the safety board watches momentum and power
    float               momentumLimit;          // as board   both  its limit, in the safety board's unit
    float               powerLimit;             // as board   both  its limit, in the safety board's unit

    // load identification
    LOAD_IDENTIFY     loadIdentify;             //            lib
    LOAD_IDENTIFY_DYN loadIdentifyDyn;          //            both

    // force sensor and force-controlled motion
    int            fsCompanyID;                 // -          host  maker of the sensor
    int            fsDeviceID;                  // -          host  its model
    FORCE_CONTROL  forceControl;                //            both
    uint8_t        forceSensorDragAutoFlag;     // -          both  kept for the host: automatic force drag
    int            forceSensorDragFlagLast;     // -          lib   kept for the host: request seen by the last force drag
    EXAXIS_DHPARA  exAxisDHPara;                //            host  external axes

    // faults and alarms; the library raises some, the host raises the others and clears all
    ZvCmdPointError        cmdPointError;       // -          both  commanded point, speed, current, process
    ZvServoError           servoError;          // -          host  drive
    ZvSoftLimitError       softLimitError;      // -          host  joint range
    ZvCollisionError       collisionError;      // -          both  collision
    ZvSlaveNumError        slaveNumError;       // -          host  number of bus devices
    ZvSlaveError           slaveError[8];       // -          host  each bus device
    ZvIoError              ioError;             // -          both  input, output, bad argument of a force function
    ZvGripperError         gripperError;        // -          host  gripper
    ZvFileError            fileError;           // -          host  settings file
    ZvParaError            paraError;           // -          both  parameter
    ZvExAxisSoftLimitError exAxisSoftLimitError;// -          host  range of an external axis
    ZvAlarm                alarm;               // -          host  general alarm
    ZvSafetyDoorAlarm      safetyDoorAlarm;     // -          host  safety door
    ZvMotionAlarm          motionAlarm;         // -          both  motion alarm
    ZvInterfereAlarm       interfereAlarm;      // -          host  interference zone entered
    ZvServoAlarm           servoAlarm;          // -          host  drive alarm
    ZvSafetyPlaneAlarm     safetyPlaneAlarm;    // -          host  safety plane crossed
};

// ---- the parameter block

struct MOTION_PARAMETER_BLOCK {
    // cycle and motion in progress
    float           sampleTime;                 // s          host  cycle time, SM_SAMPLING_TIME
    int             sysJntsNo;                  // -          host  joints of the arm, at most MAXSYSJNTS
    int             state;                      // -          host  trajectory generator, TGEN_...
    int             interMode;                  // -          host  kind of motion
    SEGMENT_COUNTER ci;                         // cycles     host  progress in the motion segment
    int             currentLine;                // -          both  program line of the command in hand

    // joint state: C commanded, 6 measured
    JNTS   jC;                                  // deg        host  position; lib in force drag
    JNTS   jCvel;                               // deg/ms     host  velocity
    JNTS   jCacc;                               // deg/ms2    host  acceleration, smoothed
    JNTS   jCaccRaw;                            // deg/ms2    host  acceleration as planned
    JNTS   j6;                                  // deg        host  position
    JNTS   oldJ6;                               // deg        host  position of the cycle before
    JNTS   j6vel;                               // deg/ms     host  velocity
    JNTS   j6acc;                               // deg/ms2    host  acceleration
    double jTorque[6];                          // N m        host  torque commanded in torque-servo mode, 0: no command

    // Cartesian state
    TRSF   tC;                                  // mm         host  commanded pose of E in B; lib in force drag
    TRSF   t6;                                  // mm         host  measured pose of E in B
    TRSF   TOOL;                                // mm         host  pose of T in E
    double tcpvel;                              // mm/s       host  speed of the tool point
    double tcpOriVel;                           // deg/s      host  rotation speed of the tool
    VECT   rpyRef;                              // deg        host  rx, ry, rz in x, y, z: reference of trsfToRpyRt

    // goal and frames of the planner
    TRSF   goalPos;                             // mm         both  goal pose; lib at the end of constant force
    JNTS   jointPos;                            // deg        both  goal joints; lib at the end of constant force
    int    workPieceNum;                        // -          host  workpiece frame in use
    TRSF   externalAxisInBase_RT;               // mm         host  pose of the external axes in B, at present

    // speeds and limits of the planner
    JNTS            defaultJointVel;            // deg/s      host  nominal joint speed
    JNTS            defaultJointAccel;          // deg/s2     host  nominal joint acceleration
    double          defaultTransVel;            // mm/s       host  nominal tool speed
    TMC_LIMITS_JNT  limitsJnt;                  //            host
    TMC_LIMITS_CART limitsGoto;                 //            host

    // motors, friction, feed-forward
    float  moterRatedTorque_60;                 // N m        host  rated torque by motor size
    float  moterRatedTorque_60L;                // N m        host
    float  moterRatedTorque_80;                 // N m        host
    float  moterRatedTorque_130;                // N m        host
    float  moterRatedTorque_130L;               // N m        host
    float  friction_Free[6];                    // -          both  share of the friction that is compensated, 0 to 1
    double ForDeadGain[6];                      // -          both  guiding gain, low speed, forward, 0.5 to 1.5
    double RevDeadGain[6];                      // -          both  guiding gain, low speed, backward
    double ForFastGain[6];                      // -          both  guiding gain, high speed, forward
    double RevFastGain[6];                      // -          both  guiding gain, high speed, backward
    float  frictionValue[6];                    // kg, mm, E  lib   no friction value: [0] mass and [1] to [3] center of mass
                                                //                  of the selected load record
    double jointDynFFRatio[6];                  // -          host  feed-forward ratio: commanded to expected current

    // load
    uint8_t loadNum;                            // -          both  selected record, 0 to MAXLOADNUM - 1
    double  loadWeight;                         // kg         both  load on the flange
    VECT    loadCoord;                          // mm, E      both  its center of mass
    double  loadWeightList[MAXLOADNUM];         // kg         both  records
    VECT    loadCoordList[MAXLOADNUM];          // mm, E      both  records
    double  forceSensorLoadWeight;              // kg         both  load behind the force sensor
    VECT    forceSensorLoadCoord;               // mm, S      both  its center of mass

    // collision
    uint8_t collisionMode;                      // -          both  0, 1 or 2; 1 and 2 run the dual-encoder detector
    uint8_t collisionThresholdMode;             // -          both  0 standard thresholds, 1 custom
    float   collisionLevel[6];                  // -          both  level in force, 0 to 100; higher is less sensitive
    float   configCollisionLevel[6];            // -          both  level as persisted, to which a temporary one returns
    int     collisionErrorTime;                 // cycles     host  what a torque deviation must last
    float   j1CollisionValue;                   // N m        host  threshold at level 1, motor torque
    float   j2CollisionValue;                   // N m        host
    float   j3CollisionValue;                   // N m        host
    float   j4CollisionValue;                   // N m        host
    float   j5CollisionValue;                   // N m        host
    float   j6CollisionValue;                   // N m        host
    int     collisionErrorCount[6];             // cycles     lib   how long the deviation has lasted
    float   jTorqueTheory[6];                   // N m        lib   expected motor torque, for display
    float   jActualTheory[6];                   // N m        lib   measured motor torque, for display
    uint8_t jointCollisionMode[6];              // -          lib   last detector: 0 dual encoder, 1 momentum observer
    double  momentumObserverValue[6];           // -          lib   residual of the observer, for display
    double  dualEncCollisionValue[6];           // deg, N m   lib   limit of that detector, for display
    uint8_t interfereJointCubeFlag;             // -          host  0 outside, 1 in a joint zone, 2 in the box

    // force sensor
    FORCESENSOR_DATA forceOrigin;               // N, N m, S  lib   filtered reading
    FORCESENSOR_DATA forceRCS;                  // N, N m, R  lib   reading without zero and load, in the chosen frame
    KALMANINFO       forceKalman[6];            // N, N m     lib   filters of fx, fy, fz, mx, my, mz
    POS_SENSOR_CTL   posSensorCtl;              //            both  in use; the library copies it from the list
    POS_SENSOR_CTL   posSensorCtlList[256];     //            host  by sensor number
    uint8_t          junkongEnable;             // -          lib   the axle sensor monitor is on
    uint8_t          junkongTest[6];            // -          lib   what it shows; [0] to [2] in use
};

// clang-format on

extern MOTION_CONTROL_BLOCK mcb;
extern MOTION_PARAMETER_BLOCK mpb;

}  // extern "C"
