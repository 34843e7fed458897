// What the library and the blocks know of the arm at this moment. No lock: a reading may mix two cycles.
#include <algorithm>

#include "tarnhal/thalintf.h"
#include "tmcforceblock.h"

int zvmcGetJointStatus(double* targetVel, double* realVel, double* targetAcc, double* realAcc,
                       double* targetTorque, double* realTorque, double* tcpRealForce) {
    for (int i = 0; i < 6; i++) {
        targetVel[i] = mpb.jCvel.v[i] * 1000;
        realVel[i] = mpb.j6vel.v[i] * 1000;
        targetAcc[i] = mpb.jCacc.v[i] * 1000 * 1000;
        realAcc[i] = mpb.j6acc.v[i] * 1000 * 1000;
        targetTorque[i] = static_cast<double>(mpb.jTorqueTheory[i]);
        realTorque[i] = static_cast<double>(mpb.jActualTheory[i]);
        tcpRealForce[i] = static_cast<double>(mcb.collisionDetection.tcpRealForce[i]);
    }
    return 0;
}

int zvmcGetJointCurrent(double* currentFeedback) {
    std::copy_n(how.currentFeedback, 6, currentFeedback);
    return 0;
}

int zvmcOutTorqueMeoAndReal(double* MeoTorque, double* RealTorque) {
    float JointTorque[6];
    zvmcJointDefaultTorque(JointTorque);
    for (int i = 0; i < 6; i++) {
        const double rated = static_cast<double>(JointTorque[i]);
        MeoTorque[i] = how.currentSet[i] * 0.001 * rated;
        RealTorque[i] = how.currentFeedback[i] * 0.001 * rated;
    }
    return 0;
}

int zvmcGetInterfereStatus(uint8_t* entryInterfere, uint8_t* entry_cube_interference,
                           uint8_t* entry_safety_planes) {
    const INTERFERE_JOINT& zone = mcb.interfereJoint;
    for (int i = 0; i < 6; i++) {
        entryInterfere[i] = 0;
        if (zone.setFlag_joint != 1 || zone.enable_joint[i] != 1) continue;
        const double position = mpb.j6.v[i], low = zone.min_joint[i], high = zone.max_joint[i];
        if (zone.mode_joint == 0) entryInterfere[i] = low < position && position < high;
        if (zone.mode_joint == 1) entryInterfere[i] = position > high || position < low;
    }
    entry_cube_interference[0] = mcb.interfereCube.setFlag_cube == 1 && mpb.interfereJointCubeFlag == 2;
    std::copy_n(mcb.safetyPlaneEnterFlag, SAFETYPLANEMAXNUM, entry_safety_planes);
    return 0;
}
