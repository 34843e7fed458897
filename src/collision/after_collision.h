// What a collision hands on to the torque cycle: the time that the arm then stays under the hand, and the
// torques that the cycle adds meanwhile.
#pragma once

#include <cstdint>

#include "support/cycle_frame.h"
#include "tarnmath/tarnmath.h"

namespace tarn {

struct AfterCollision {
    int CollisionAfterTime;           // cycles left of the reaction, or of the drag after a static collision
    std::uint8_t CollisionStartFlag;  // 1 until the reaction has latched its reference, or while the damper
                                      // of a static collision runs
    double lastJointPos[6];           // degrees; commanded joints in the first cycle of the reaction
    TRSF lastTcpPos;                  // mm, E in B; likewise, position alone
    double forceCollisionError[6];    // N m, motor side; measured less expected torque at the collision
    double ftCollisionData[6];        // N m, joint side; torque of the sensed force at a force collision
};
extern AfterCollision afterCollision;

// The stages of the cycle.
void afterCollisionStage(CycleFrame& frame);
void staticCollisionStage(CycleFrame& frame);

// Forgets the torques at the collision, for the cold start after a power trip. The time and the reference
// stay.
void coldStartAfterCollision();

}  // namespace tarn
