// Measured against expected torque of the joints: the quantity of all torque checks.
#pragma once

#include "tarnmath/tarnmath.h"

namespace tarn {

// Joints from mpb.sysJntsNo on are zero, but for JointTorque.
struct JointTorques {
    float JointTorque[6];               // N m, motor side; rated
    JNTS gtorque;                       // N m, joint side; expected from the commanded current
    double servor_current_feedback[6];  // N m, motor side; measured
    double precent[6];                  // N m, motor side; measured less expected
};

// Of this cycle. Moves the record's reader on.
JointTorques jointTorques();

}  // namespace tarn
