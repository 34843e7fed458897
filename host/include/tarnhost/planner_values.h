// What the planner tells the collision supervision: velocity feed-forward and threshold scale.
#pragma once

namespace tarn::host {

struct PlannerValues {
    // Velocity feed-forward of the drives, thousandths of rated torque per degree per second. Zero: friction
    // is left to the library's compensation. A real controller takes it from the drives' settings.
    double velocityGain[6] = {};
    // Scale of the collision thresholds by joint. A real controller lowers it with load and speed. To joint 2
    // newCollisionRatio adds what its commanded current has changed by in the delay of the expected one.
    float collisionRatio[6] = {1, 1, 1, 1, 1, 1};
};

extern PlannerValues plannerValues;

}  // namespace tarn::host
