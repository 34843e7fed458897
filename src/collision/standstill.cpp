// The collision check at standstill.
#include <climits>
#include <cmath>

#include "collision/after_collision.h"
#include "collision/deviation.h"
#include "model/type_table.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

constexpr float kScale[6] = {0.3f, 0.5f, 0.6f, 0.8f, 0.8f, 0.8f};  // share of the rated torque, by joint

// On these types every joint counts as pushed, whatever its torque; kept on purpose. With the check on, such
// an arm comes under the hand whenever it stands.
constexpr TypeRow<bool> kAlwaysPushed[] = {
    {201, INT_MAX, true},
};

constexpr int kStaticTime = 1000;  // cycles

}  // namespace

int tmcCheckTorqueError() {
    zvmcTorqueRecordProcess();
    const JointTorques torques = jointTorques();
    const bool always = byType(kAlwaysPushed, false, mcb.robotType);
    for (int i = 0; i < 6; i++) {
        const float scaled = kScale[i] * torques.JointTorque[i];
        if (!always && !(std::fabs(torques.precent[i]) > static_cast<double>(scaled))) continue;
        afterCollision.CollisionStartFlag = 1;
        tmcDragSwitch(1);
        Write_Log(LOG_INFO, "Static Collision After to DragMode");
        afterCollision.CollisionAfterTime = kStaticTime;
    }
    return 0;
}
