// Inverse dynamics blocks: the common shape in single precision, the offset shape and the built-in arm in
// double.
#include "dynamics/rigid_body.h"
#include "tmcHNzvCdynamicblock.h"
#include "tmczvPQdynamicblock.h"
#include "tmczvdynamicblock.h"

using namespace tarn;

namespace {

// Joint torque alone; degrees, degrees/s, degrees/s^2.
template <const ArmShapeTable& shape>
void torqueBlock(const ArmParameters<double>& parameters, const double* angle, const double* velocity,
                 const double* accel, double* torque) {
    double q[6], qd[6], qdd[6];
    for (int i = 0; i < 6; i++) {
        q[i] = radians(angle[i]);
        qd[i] = radians(velocity[i]);
        qdd[i] = radians(accel[i]);
    }
    jointTorque<shape>(armModel<shape>(parameters), q, qd, qdd, torque);
}

}  // namespace

void tmczvdynamicblock(const float* paramDH, const float* joint_post, const float* joint_velocity,
                       const float* joint_accel, const float* extload, const float* inparaM,
                       const float* inparaC, const float* inparaI, const float* inparaIj,
                       const float* gravity, float* TorqJoint, float* TorqGravity, float* MassMatrix,
                       float* CoriolMatrix) {
    const ArmParameters<float> parameters = {paramDH, inparaM, inparaC, inparaI, inparaIj, extload, gravity};
    float q[6], qd[6], qdd[6];
    for (int i = 0; i < 6; i++) {
        q[i] = radians(joint_post[i]);
        qd[i] = radians(joint_velocity[i]);
        qdd[i] = radians(joint_accel[i]);
    }
    dynamicsTerms<kStandardShape>(armModel<kStandardShape>(parameters), q, qd,
                                  {MassMatrix, CoriolMatrix, TorqGravity});

    for (int i = 0; i < 6; i++) {
        float torque = TorqGravity[i];
        for (int j = 0; j < 6; j++)
            torque += MassMatrix[i + 6 * j] * qdd[j] + CoriolMatrix[i + 6 * j] * qd[j];
        TorqJoint[i] = torque;
    }
}

void tmczvPQdynamicblock(const double* paramSDH, const double* joint_angle, const double* joint_velocity,
                         const double* joint_accel, const double* external_load, const double* inparaM,
                         const double* inparaC, const double* inparaI, const double* inparaIj,
                         const double* dirction_g, double* joint_torque) {
    torqueBlock<kOffsetShape>({paramSDH, inparaM, inparaC, inparaI, inparaIj, external_load, dirction_g},
                              joint_angle, joint_velocity, joint_accel, joint_torque);
}

void tmcHNzvCdynamicblock(const double* paramSDH, const double* joint_angle, const double* joint_velocity,
                          const double* joint_accel, const double* external_load, const double* inparaIj,
                          const double* dirction_g, double* tjoint) {
    const ParameterSet& builtIn = kSetHN1;
    torqueBlock<kStandardShape>(
        {paramSDH, builtIn.inparaM, builtIn.inparaC, builtIn.inparaI, inparaIj, external_load, dirction_g},
        joint_angle, joint_velocity, joint_accel, tjoint);
}
