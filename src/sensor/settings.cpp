// Settings of the force sensor: checked, stored, persisted, in that order.
#include "support/persist.h"
#include "zvmcforcesensorblock.h"

using namespace tarn;

namespace {

// clang-format off
struct Coordinate { const char* key; double FORCESENSOR_COORD::* field; };
constexpr Coordinate kCoordinates[] = {
    { "FORCESENSOR_COORD_X", &FORCESENSOR_COORD::x },
    { "FORCESENSOR_COORD_Y", &FORCESENSOR_COORD::y },
    { "FORCESENSOR_COORD_Z", &FORCESENSOR_COORD::z },
    { "FORCESENSOR_COORD_A", &FORCESENSOR_COORD::a },
    { "FORCESENSOR_COORD_B", &FORCESENSOR_COORD::b },
    { "FORCESENSOR_COORD_C", &FORCESENSOR_COORD::c },
};
// clang-format on

}  // namespace

int tmcSetForceSensorAct(uint8_t actFlag, int curLine) {
    if (actFlag > 1) {
        mcb.ioError = zvCtlIOVALUEError;
        return -1;  // on purpose without the program line, which every other refusal tells
    }
    mcb.forceControl.forceSensorAct = actFlag;
    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_SETFLAG", mcb.forceControl.forceSensorAct);
    mpb.currentLine = curLine;
    return 0;
}

int tmcGetForceSensorAct(uint8_t* actFlag) {
    *actFlag = mcb.forceControl.forceSensorAct;
    return 0;
}

int tmcSetForceSensorRcs(uint8_t rcs, float* Coord, int curLine) {
    if (rcs > 2) {
        mcb.ioError = zvCtlIOVALUEError;
        mpb.currentLine = curLine;
        return -1;
    }
    mcb.forceControl.forceSensorRcs = rcs;
    FORCESENSOR_COORD& place = mcb.forceControl.forceSensorCoord;
    for (const Coordinate& coordinate : kCoordinates) place.*coordinate.field = static_cast<double>(*Coord++);
    for (const Coordinate& coordinate : kCoordinates)
        persist(FORCE_SENSOR_SECTION, coordinate.key, place.*coordinate.field);
    persist(FORCE_SENSOR_SECTION, "FORCESENSOR_REFCOORD", mcb.forceControl.forceSensorRcs);
    mpb.currentLine = curLine;
    return 0;
}

int zvmcGetForceSensorState(uint8_t* forcesensorState) {
    *forcesensorState = mcb.forceControl.forceSensorState;
    return 0;
}
