// From the filtered reading to the force that force-controlled functions act on: zero and load taken off,
// then turned into the frame of the user's choice.
#include <array>

#include "dynamics/mounting.h"
#include "sensor/base_frame_snapshot.h"
#include "tarnmath/tarnmath.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "zvmcforcesensorblock.h"

namespace tarn {

BaseFrameSnapshot baseFrameSnapshot;

}  // namespace tarn

using namespace tarn;

namespace {

enum ReferenceFrame { EndFrame = 0, BaseFrame = 1, ToolFrame = 2 };  // mcb.forceControl.forceSensorRcs

VECT force(const FORCESENSOR_DATA& w) { return {w.fx, w.fy, w.fz}; }
VECT moment(const FORCESENSOR_DATA& w) { return {w.mx, w.my, w.mz}; }

FORCESENSOR_DATA wrench(const VECT& f, const VECT& m) { return {f.x, f.y, f.z, m.x, m.y, m.z}; }

FORCESENSOR_DATA less(const FORCESENSOR_DATA& a, const FORCESENSOR_DATA& b) {
    return {a.fx - b.fx, a.fy - b.fy, a.fz - b.fz, a.mx - b.mx, a.my - b.my, a.mz - b.mz};
}

VECT turned(const ROTRSF& rotation, const VECT& v) {
    VECT out;
    multRotrsfVect(&out, &rotation, &v);
    return out;
}

VECT cross(const VECT& a, const VECT& b) {
    VECT out;
    crossVect(&out, &a, &b);
    return out;
}

VECT meters(const VECT& mm) { return {mm.x / 1000, mm.y / 1000, mm.z / 1000}; }

TRSF pose(const VECT& mm, double a, double b, double c) {
    TRSF out;
    rpyToTrsf(&out, c, b, a);
    out.p = mm;
    return out;
}

TRSF sensorInEnd() {
    const FORCESENSOR_COORD& s = mcb.forceControl.forceSensorCoord;
    return pose({s.x, s.y, s.z}, s.a, s.b, s.c);
}

FORCESENSOR_DATA inEndFrame(const FORCESENSOR_DATA& w) {
    const TRSF sensor = sensorInEnd();
    const VECT f = turned(sensor, force(w));
    const VECT lever = cross(meters(sensor.p), f);
    const VECT m = turned(sensor, moment(w));
    return wrench(f, {lever.x + m.x, lever.y + m.y, lever.z + m.z});
}

// Turned only: the moment keeps the sensor's origin as its point, on purpose.
FORCESENSOR_DATA inBaseFrame(const FORCESENSOR_DATA& w) {
    BaseFrameSnapshot& snapshot = baseFrameSnapshot;
    if (snapshot.DragToCartFlag == 0) {
        snapshot.DragToCartFlag = 1;
        snapshot.t06Last = mpb.tC;
    }
    const TRSF sensor = sensorInEnd();
    TRSF sensorInBase;
    multTrsf(&sensorInBase, &snapshot.t06Last, &sensor);
    return wrench(turned(sensorInBase, force(w)), turned(sensorInBase, moment(w)));
}

// The moment is about the tool point under constant force control; else it stays about the flange, on
// purpose.
FORCESENSOR_DATA inToolFrame(const FORCESENSOR_DATA& w) {
    const FORCESENSOR_DATA end = inEndFrame(w);
    ROTRSF endInTool;
    invRotrsf(&endInTool, &mpb.TOOL);
    const VECT f = turned(endInTool, force(end));
    VECT m = turned(endInTool, moment(end));
    if (mcb.forceControl.constForceFlag == 1) {
        const VECT lever = turned(endInTool, cross(meters(mpb.TOOL.p), force(end)));
        m = {m.x - lever.x, m.y - lever.y, m.z - lever.z};
    }
    return wrench(f, m);
}

}  // namespace

int forceSensorDataGravityCompensation(FORCESENSOR_DATA* result) {
    const double mass = mpb.forceSensorLoadWeight;
    const std::array<double, 3> gravity = gravityInBase();
    const VECT weight = {mass * gravity[0], mass * gravity[1], mass * gravity[2]};
    // The moment takes that of an upright arm whatever the mounting, on purpose.
    const VECT uprightWeight = {0, 0, -mass * 9.8};

    // The end frame serves as the sensor's: forceSensorCoord has no part in it.
    ROTRSF baseInSensor;
    invRotrsf(&baseInSensor, &mpb.tC);
    const VECT center = meters(mpb.forceSensorLoadCoord);
    const ROTRSF leverOfBase = {cross(center, baseInSensor.n), cross(center, baseInSensor.o),
                                cross(center, baseInSensor.a)};
    *result = wrench(turned(baseInSensor, weight), turned(leverOfBase, uprightWeight));
    return 0;
}

int trsfToRCS_force(FORCESENSOR_DATA* result) {
    FORCE_CONTROL& control = mcb.forceControl;
    FORCESENSOR_DATA w = mpb.forceOrigin;
    if (control.forceSensorZeroFlag == 1) w = less(w, control.zeroValue);
    if (mcb.loadIdentifyDyn.loadIdentifyDynCtl == 0) {
        FORCESENSOR_DATA load;
        forceSensorDataGravityCompensation(&load);
        w = less(less(w, load), control.zeroOffset);
    }
    control.forceOriginEnd = w;

    switch (control.forceSensorRcs) {
        case EndFrame:
            *result = inEndFrame(w);
            break;
        case BaseFrame:
            *result = inBaseFrame(w);
            break;
        case ToolFrame:
            *result = inToolFrame(w);
            break;
        default:
            *result = w;
            break;
    }
    return 0;
}

int tmcPosAddTrsfToRCS(CARTPOS_FORCE posAdd, CARTPOS_FORCE* posGoal) {
    ROBPOS robot = {};
    EXAXISPOS axes = {};
    tmcGetRobotPos(&robot, &axes);
    const float given[6] = {posAdd.x, posAdd.y, posAdd.z, posAdd.a, posAdd.b, posAdd.c};
    double add[6];
    for (int i = 0; i < 6; i++) add[i] = static_cast<double>(given[i]);

    double goal[6] = {robot.a1, robot.a2, robot.a3, robot.a4, robot.a5, robot.a6};
    if (mcb.forceControl.forceSensorRcs == EndFrame) {
        const TRSF present = pose({goal[0], goal[1], goal[2]}, goal[3], goal[4], goal[5]);
        const TRSF offset = pose({add[0], add[1], add[2]}, add[3], add[4], add[5]);
        TRSF moved;
        multTrsf(&moved, &present, &offset);
        goal[0] = moved.p.x;
        goal[1] = moved.p.y;
        goal[2] = moved.p.z;
        trsfToRpyRt(&goal[5], &goal[4], &goal[3], &moved, &mpb.rpyRef);
    } else {
        for (int i = 0; i < 6; i++) goal[i] += add[i];
    }
    *posGoal = {static_cast<float>(goal[0]), static_cast<float>(goal[1]), static_cast<float>(goal[2]),
                static_cast<float>(goal[3]), static_cast<float>(goal[4]), static_cast<float>(goal[5])};
    return 0;
}
