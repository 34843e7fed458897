// Lines that several places of the library write alike.
#pragma once

#include "tarntools/tools_log.h"

namespace tarn {

// The number tells the place that switched the drag, and is neither the flag nor a speed that the text names:
// on purpose.
inline void logDragPlace(int place) {
    Write_Log(LOG_INFO, "zvCtlTCPSpeedOver After to DragMode mcb.collisionPauseFlag = : %d", place);
}

// A matrix that has no inverse, row by row: "JJ1", "JJ2" ... for the name JJ.
inline void logSingular(const char* name, double determinant, const double rows[6][6]) {
    Write_Log(LOG_ERR, "detValue = %f", determinant);
    for (int i = 0; i < 6; i++) {
        const double* row = rows[i];
        Write_Log(LOG_ERR, "%s%d: = %f,%f,%f,%f,%f,%f", name, i + 1, row[0], row[1], row[2], row[3], row[4],
                  row[5]);
    }
}

}  // namespace tarn
