// What the stages of one torque cycle hand on to each other.
#pragma once

#include "tarnmath/tarnmath.h"

namespace tarn {

struct CycleFrame {
    JNTS* q;               // joint position that the models take, degrees
    EX_LOAD exLoad;        // active tool load: kg, mm in the flange frame
    float JointTorque[6];  // rated motor torque of each joint, N·m
    JNTS servor_torque;    // running torque, N·m at the joint
    double value[6];       // friction torque, N·m at the joint
};

}  // namespace tarn
