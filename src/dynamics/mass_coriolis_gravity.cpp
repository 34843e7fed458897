// The separate terms of the arm's dynamics for the host.
#include "dynamics/rigid_body.h"
#include "tmczvoutputmcg.h"

using namespace tarn;

namespace {

struct Matrices {
    double mass[36], coriolis[36], gravity[6];
};

// The arm of family B, bare: no load, no rotors, upright on the floor. Radians and radians/s.
Matrices familyB(const double* q, const double* dq) {
    constexpr double none[10] = {}, down[3] = {0.0, 0.0, -9.8};
    const ArmParameters<double> parameters = {kSetB.paramSDH, kSetB.inparaM, kSetB.inparaC, kSetB.inparaI,
                                              none,           none,          down};
    Matrices result;
    dynamicsTerms<kStandardShape>(armModel<kStandardShape>(parameters), q, dq,
                                  {result.mass, result.coriolis, result.gravity});
    return result;
}

constexpr double kAtRest[6] = {};

void writeOut(const double* byColumns, const dmat& out) {
    for (int i = 0; i < 6; i++)
        for (int j = 0; j < 6; j++) out.el[i][j] = byColumns[i + 6 * j];
}

}  // namespace

void output_MCG(const double* paramSDH, const double* joint_angle, const double* joint_velocity,
                const double* /*joint_accel*/, const double* inparaM, const double* inparaC,
                const double* inparaI, const double* inparaIj, const double* extload,
                const double* direction_g, double* M, double* C, double* G) {
    const ArmParameters<double> parameters = {paramSDH, inparaM, inparaC,    inparaI,
                                              inparaIj, extload, direction_g};
    double q[6], qd[6];
    for (int i = 0; i < 6; i++) {
        q[i] = radians(joint_angle[i]);
        qd[i] = radians(joint_velocity[i]);
    }
    dynamicsTerms<kStandardShape>(armModel<kStandardShape>(parameters), q, qd, {M, C, G});
}

int com_M_matrix(double* q, dmat M) {
    writeOut(familyB(q, kAtRest).mass, M);
    return 0;
}

int com_C_matrix(double* q, double* dq, dmat C) {
    writeOut(familyB(q, dq).coriolis, C);
    return 0;
}

int com_G_matrix(double* q, dmat G) {
    const Matrices result = familyB(q, kAtRest);
    G.el[0][0] = 0.0;  // the first axis is upright
    for (int i = 1; i < 6; i++) G.el[i][0] = result.gravity[i];
    return 0;
}
