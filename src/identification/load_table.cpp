// The load in use and the twenty records that it is kept in.
#include "identification/load_in_use.h"
#include "model/payload.h"
#include "support/persist.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

void persistRecord(int number, double weight, const VECT& coord) {
    const auto entry = [number](const char* keyPattern, double value) {
        persistNumbered(LOAD_CONFIG_FILE, LOAD_PARAM_SECTION, keyPattern, number, value);
    };
    entry("LOAD#_WEIGHT", weight);
    entry("LOAD#_Coord_X", coord.x);
    entry("LOAD#_Coord_Y", coord.y);
    entry("LOAD#_Coord_Z", coord.z);
}

}  // namespace

int tmcSetLoadPara(uint8_t loadNum, double weight, VECT loadCoord, int curLine) {
    if (loadNum >= MAXLOADNUM) return -3;
    const ZvParaError coordFault = loadCoordFault(loadCoord);
    const bool weightRefused = loadWeightRefused(weight, mcb.robotType);
    if (weightRefused || coordFault != zvCtlParaOK) {
        mcb.paraError = weightRefused ? zvCtlLoadWeightError : coordFault;
        mpb.currentLine = curLine;
        return weightRefused ? -1 : -2;
    }
    mpb.loadNum = loadNum;
    mpb.loadWeight = mpb.loadWeightList[loadNum] = weight;
    mpb.loadCoord = mpb.loadCoordList[loadNum] = loadCoord;
    Write_Log(LOG_INFO, "loadNum:%u", static_cast<unsigned>(loadNum));
    Write_Log(LOG_INFO, "loadWeight:%f", weight);
    Write_Log(LOG_INFO, "loadCoord:%f %f %f", loadCoord.x, loadCoord.y, loadCoord.z);

    persist(USER_PARAM_SECTION, "LOAD_NUM", loadNum);
    persistLoadInUse();
    persistRecord(loadNum, weight, loadCoord);
    mpb.currentLine = curLine;
    return 0;
}
