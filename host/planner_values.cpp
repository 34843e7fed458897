#include "tarnhost/planner_values.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "recent_current.h"
#include "support/to_integer.h"
#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcforceblock.h"

namespace tarn::host {

PlannerValues plannerValues;

namespace {

// The supervisor expects the current of joint 2 with a delay of as many cycles as the speed limit has
// percents of the nominal speed. The drives of this host have none, so what this current has changed by in
// that time is no deviation.
constexpr int kJoint2 = 1;
constexpr int kLongestDelay = 100;  // cycles

struct RecentCurrent {
    int cycles;  // kept, up to all
    int next;
    std::int16_t value[kLongestDelay + 1];  // thousandths of rated torque
};
RecentCurrent recent;

int delay() {
    const double share = mpb.interMode == JOINT ? mpb.limitsJnt.maxVel.v[0] / mpb.defaultJointVel.v[0]
                                                : mpb.limitsGoto.maxVel / mpb.defaultTransVel;
    return std::clamp(toInt(share * 100.0), 0, kLongestDelay);
}

double changeInDelay() {
    constexpr int kKept = static_cast<int>(std::size(recent.value));
    const int cycles = std::min(recent.cycles, delay() + 1);
    double low = 0.0, high = 0.0;
    for (int n = 1; n <= cycles; n++) {
        const double value = recent.value[(recent.next - n + kKept) % kKept];
        low = n == 1 ? value : std::min(low, value);
        high = n == 1 ? value : std::max(high, value);
    }
    return high - low;
}

}  // namespace

void keepCurrent() {
    recent.value[recent.next] = how.currentSet[kJoint2];
    recent.next = (recent.next + 1) % static_cast<int>(std::size(recent.value));
    recent.cycles = std::min(recent.cycles + 1, static_cast<int>(std::size(recent.value)));
}

void forgetCurrents() { recent = {}; }

}  // namespace tarn::host

using namespace tarn::host;

int newJointVelFFTorque(float* vAdd) {
    for (int i = 0; i < NUM_JNTS; i++)
        vAdd[i] = static_cast<float>(plannerValues.velocityGain[i] * mpb.jCvel.v[i] * 1000.0);
    return 0;
}

int newCollisionRatio(float* jRatio) {
    std::copy_n(plannerValues.collisionRatio, NUM_JNTS, jRatio);
    const double level = (static_cast<double>(mpb.collisionLevel[kJoint2]) - 1.0) / 3.0 + 1.0;
    const double band = static_cast<double>(mpb.j2CollisionValue) * level;  // N m, motor side
    if (!(band > 0.0)) return 0;
    float rated[NUM_JNTS];
    zvmcJointDefaultTorque(rated);
    jRatio[kJoint2] +=
        static_cast<float>(changeInDelay() * 0.001 * static_cast<double>(rated[kJoint2]) / band);
    return 0;
}
