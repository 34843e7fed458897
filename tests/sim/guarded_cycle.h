// Every call that the simulator makes to a function of the cycle goes through the cycle guard: the library's,
// by whichever scenario, and the host's planner. A finding fails the test in which it appears. Linked into
// all tests of the simulator, by the linker's wrapping of the calls (see CMakeLists.txt).
#pragma once

namespace tarn::sim {

// Torque cycles that have run under the guard.
long guardedCycles();

}  // namespace tarn::sim
