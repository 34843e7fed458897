// A collision observer on the generalized momentum: the residual of an integrated estimate grows with the
// torque that neither motors, model nor friction explain.
#include "collision/momentum_observer.h"

#include <cstring>

#include "collision/level_table.h"
#include "collision/reactions.h"
#include "collision/speed_scale.h"
#include "tarnhal/thalintf.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

namespace tarn {

MomentumObserver momentumObserver;

void coldStartMomentumObserver() { momentumObserver = {}; }

}  // namespace tarn

using namespace tarn;

namespace {

constexpr double kGain = 0.01;
constexpr double kStep = 1.0;  // a call
constexpr double kTorqueScale = 1.6;
constexpr double kMargin = 5.0;  // beyond the limit

// clang-format off
// The same for every type.
constexpr LevelTable oneTothreelevel = {  25,    40,    60,  100,     130,   180,   220,   250,    280,    310 };
constexpr LevelTable fourAndsixlevel = { 9.5f, 14.3f, 20.9f, 28.9f, 36.8f,    46, 54.5f, 62.5f,  70.5f,  79.8f };
constexpr LevelTable fivelevel       = {  10,  19.5f,    32,    48, 65.3f, 84.3f,   103, 119.5f, 136.5f, 152.5f };

struct JointRow {
    const LevelTable& limit;
    ZvCollisionError code;
};
constexpr JointRow kJoints[] = {
    { oneTothreelevel, zvCtlJ1CollisionError },
    { oneTothreelevel, zvCtlJ2CollisionError },
    { oneTothreelevel, zvCtlJ3CollisionError },
    { fourAndsixlevel, zvCtlJ4CollisionError },
    { fivelevel,       zvCtlJ4CollisionError },  // joint 5 has no code of its own here: on purpose
    { fourAndsixlevel, zvCtlJ6CollisionError },
};

using namespace step;

constexpr ReactionTable kReaction = {
    /* 0     */ {{raiseFault, ifNotJogging, ifInMotion, pauseMotion}},
    /* 1     */ {{raiseFault}},
    /* 2     */ {{raiseFault, ifNotJogging, ifInMotion, stopMotion}},
    /* 3     */ {},
    /* 4     */ {},
    /* 5     */ {},
    /* other */ {},
};
// clang-format on

// One step of the estimate; r[6] is the residual after it.
void observe(double* M, double* C, const double* G, double (&r)[6]) {
    float JointTorque1[6];
    zvmcJointDefaultTorque(JointTorque1);
    double joint_velocity[6];  // degrees/s
    for (int i = 0; i < 6; i++) joint_velocity[i] = mpb.j6vel.v[i] * 1000;

    double MM[6][6], CC[6][6], p[6], p1[6];
    std::memcpy(MM, M, sizeof MM);
    std::memcpy(CC, C, sizeof CC);
    MatrixMul6and1(MM, joint_velocity, p);
    MatrixMul6and1(CC, joint_velocity, p1);
    double value[6] = {};
    frictionCompensation(&mpb.j6vel, value);

    for (int i = 0; i < 6; i++) {
        double& p_hat = momentumObserver.p_hat[i];
        const double rated = static_cast<double>(JointTorque1[i] * 100);  // joint side
        const double torque1 = how.currentFeedback[i] * 0.001 * rated * kTorqueScale;
        const double p_hat_dot = torque1 + p1[i] - G[i] - value[i] + kGain * (p[i] - p_hat);
        p_hat = p_hat + p_hat_dot * kStep;
        r[i] = -kGain * (p[i] - p_hat);
        mpb.momentumObserverValue[i] = r[i];
    }
}

bool outside(double r, double limit) {
    return (r >= 0 && r - limit > kMargin) || (r < 0 && r + limit < -kMargin);
}

}  // namespace

int zvmcMomentumObserver(int i_joint, double* /*q*/, double* M, double* C, double* G,
                         double* /*external_load*/, double* rr) {
    double r[6];
    observe(M, C, G, r);
    if (i_joint < 0 || i_joint >= 6) return 0;

    const auto& [table, code] = kJoints[i_joint];
    const float level = mpb.collisionLevel[i_joint];
    // in a mode that is none there is no room but the margin, unlike in the widened limit: on purpose
    const double limit = atLevel(table, level) * speedScale(static_cast<double>(level), 0.0);
    mpb.jointCollisionMode[i_joint] = 1;
    mpb.dualEncCollisionValue[i_joint] = limit;
    if (outside(r[i_joint], limit)) {
        momentumObserver = {};  // for every reaction; the residual stays on display
        react(kReaction, code);
    }
    rr[i_joint] = limit;
    return 0;
}
