// Histories of the digital filters. Whoever filters a signal owns the record it stands in; the filter
// sections only read them. All are zero at load.
#pragma once

#include "tarnmath/tarnmath.h"
#include "zvmctoolblock.h"

namespace tarn {

// Of the joint torque side: dynamics, guiding, collision, identification.
struct ArmFilters {
    filter filt;                  // buttord: guiding
    filter filt1;                 // filter_data: excitation run
    filter filt2;                 // Fivebuttord
    filter filt3;                 // no section; only cleared
    filter filt4;                 // TualEncoderbuttord: the dual-encoder detector
    filter filt5;                 // Loadbuttord, LoadPosbuttord: measured torque and position
    filter filt6;                 // ForceCollisionbuttord
    LOWPASSFILTER lowpassfilter;  // joint accelerations of the vibration abatement
};
extern ArmFilters armFilters;

// Of the force sensor side. filt5 and filt6 are not the arm's.
struct ForceFilters {
    filter filt5;  // SensorDragbuttord: sensor force
    filter filt6;  // TwoForceAndTorqueDragbuttord: joint torques of the sensor force
    filter filt7;  // buttordFTControl: force error, column 0
    filter filt8;  // buttordFTControlThetaf: angle of the normal, column 0
    BUTTERWORTHFILTER EndForceDragfilter[6];  // pose increments of force control, by Cartesian axis
    MOVINGAVERAGEFILTER MovingAverageFilter;  // set up by constant force, without a user
    BIQUAD notchFilter;                       // likewise
};
extern ForceFilters forceFilters;

}  // namespace tarn
