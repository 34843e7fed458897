#include "collision/trace.h"

#include <cstring>
#include <iterator>

#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"

using namespace tarn;

// clang-format off
double collisionJointTarpos[SAVEMSGSIZE][6],  collisionJointTarvel[SAVEMSGSIZE][6];
double collisionJointTaracc[SAVEMSGSIZE][6],  collisionJointTartor[SAVEMSGSIZE][6];
double collisionJointRealpos[SAVEMSGSIZE][6], collisionJointRealvel[SAVEMSGSIZE][6];
double collisionJointRealacc[SAVEMSGSIZE][6], collisionJointRealtor[SAVEMSGSIZE][6];
int saveMsgPrintfCount;

namespace tarn {

TraceState trace;

void coldStartTrace() { trace = {}; }

}  // namespace tarn

namespace {

using Rows = double[SAVEMSGSIZE][6];

// What is printed side by side, in the order of the printout.
struct Pair {
    Rows& target;
    const char* targetFormat;
    Rows& real;
    const char* realFormat;
};
constexpr Pair kPairs[] = {
    { collisionJointTarpos, "%d tarpos %lf %lf %lf %lf %lf %lf", collisionJointRealpos, "realpos %lf %lf %lf %lf %lf %lf" },
    { collisionJointTarvel, "%d tarvel %lf %lf %lf %lf %lf %lf", collisionJointRealvel, "realvel %lf %lf %lf %lf %lf %lf" },
    { collisionJointTaracc, "%d taracc %lf %lf %lf %lf %lf %lf", collisionJointRealacc, "realacc %lf %lf %lf %lf %lf %lf" },
    { collisionJointTartor, "%d tartor %lf %lf %lf %lf %lf %lf", collisionJointRealtor, "realtor %lf %lf %lf %lf %lf %lf" },
};
constexpr int kPairsEnd = std::size(kPairs);
// clang-format on

}  // namespace

void collisionMessageSave(JNTS* gtorque, double* servor_current_feedback) {
    trace.saveMsgflag = 0;
    if (trace.saveMsgCount >= SAVEMSGSIZE) {
        // copied down rather than a ring, so that the host finds the oldest row at 0
        for (const Pair& pair : kPairs)
            for (Rows* rows : {&pair.target, &pair.real})
                std::memmove(*rows, *rows + 1, sizeof(Rows) - sizeof **rows);
        trace.saveMsgCount--;
    }
    const int row = trace.saveMsgCount;
    for (int i = 0; i < 6; i++) {
        collisionJointTarpos[row][i] = mpb.jC.v[i];
        collisionJointTarvel[row][i] = mpb.jCvel.v[i] * 1000;
        collisionJointTaracc[row][i] = mpb.jCacc.v[i] * 1000 * 1000;
        collisionJointTartor[row][i] = gtorque->v[i] / 100;
        collisionJointRealpos[row][i] = mpb.j6.v[i];
        collisionJointRealvel[row][i] = mpb.j6vel.v[i] * 1000;
        collisionJointRealacc[row][i] = mpb.j6acc.v[i] * 1000 * 1000;
        collisionJointRealtor[row][i] = servor_current_feedback[i];
    }
    trace.saveMsgCount++;
}

void collisionMessagePrintf(int i) {
    trace.saveMsgCount = 0;
    // the host advances the position: it may name no row
    const int j = saveMsgPrintfCount / SAVEMSGSIZE;
    if (j >= 0 && j < kPairsEnd && i >= j * SAVEMSGSIZE && i < (j + 1) * SAVEMSGSIZE) {
        const Pair& pair = kPairs[j];
        const int row = i - j * SAVEMSGSIZE;
        const double* v = pair.target[row];
        Write_Log(LOG_INFO, pair.targetFormat, row, v[0], v[1], v[2], v[3], v[4], v[5]);
        v = pair.real[row];
        Write_Log(LOG_INFO, pair.realFormat, v[0], v[1], v[2], v[3], v[4], v[5]);
    }
    if (saveMsgPrintfCount == kPairsEnd * SAVEMSGSIZE - 1) {
        trace.saveMsgflag = 1;
        saveMsgPrintfCount = 0;
    }
}
