// Start values of the blocks.
#pragma once

namespace tarn::host {

// Comes first: until then the blocks are all zero, mpb.TOOL is no pose, and the services have nothing to
// answer from.
//
// Zeroes mcb, mpb and how and fills in what a host without any settings starts from: an idle arm of the given
// type with all joints at zero, on the floor, without tool and load, faults clear, friction compensation on.
// Also drops pending requests, forgets what the drives and the safety board were told, and empties the frames
// of the work pieces and the planner's values. Log, settings and service record stay. Not for the cycle.
//
// A real controller reads most of these numbers from its configuration and from the drives.
void setDefaults(int robotType);

}  // namespace tarn::host
