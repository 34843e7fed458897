// The torque-deviation supervisor: what it keeps between cycles.
#pragma once

#include <cstdint>

namespace tarn {

struct Supervisor {
    double lastJointAccel[6];            // degrees/s^2; commanded acceleration of the call before
    int collisionTime1;                  // cycles since the acceleration step that opened the window
    std::uint8_t collisionKeepFlag = 1;  // 1: no window of widened limits is open
    std::uint8_t timeFlag;               // 1: a window is running
    std::uint8_t pauseResumeFlag;        // 1: the grace after a pause is running
    int pauseResumeCount;                // cycles of it that have passed
    std::uint8_t stateLast = 1;          // mpb.state of the call before
    std::uint8_t collisionRecordFlag;    // 1: the fault in mcb.collisionError is in the log
};
extern Supervisor supervisor;

// For the cold start after a power trip: ends the grace after a pause, and lets a standing fault be logged
// again. The window stays.
void coldStartSupervisor();

}  // namespace tarn
