#include "cycle/cold_start.h"

#include "collision/after_collision.h"
#include "collision/custom_thresholds.h"
#include "collision/momentum_observer.h"
#include "collision/power_limit.h"
#include "collision/supervisor.h"
#include "collision/torque_record.h"
#include "collision/trace.h"
#include "cycle/full_dynamics.h"
#include "force_control/torque_drag.h"
#include "guiding/stages.h"
#include "identification/joint_friction.h"
#include "identification/scripted_run.h"

namespace tarn {

// The list is what a power trip clears, whole; state that is not in it goes on.
void coldStart() {
    coldStartPowerLimit();        // the window of power samples
    coldStartMomentumObserver();  // the estimated momentum
    coldStartAfterCollision();    // the torques at the collision
    coldStartSupervisor();        // the grace after a pause, the fault already logged
    coldStartTorqueRecord();      // delayed currents, excess of the band
    coldStartCustomThresholds();  // the debounce counters
    coldStartTrace();             // the number of rows, the flag of the printout
    coldStartTorqueDrag();        // the count of its speed watch
    coldStartScriptedRun();       // the chunk in hand of the scripted load identification
    coldStartJointFriction();     // bins and stage of the friction run
    restartFullDynamics();        // the next cycle in that mode resets its filters
    coldStartGuiding();           // gains and regulators under the hand, and likewise for their filters
}

}  // namespace tarn
