// What is measured: single calls of the library on states that change from call to call, and the same
// results from KDL where it has them. Shared by the benchmark and the instruction counter.
#pragma once

#include <string>
#include <vector>

namespace tarn::bench {

inline constexpr int kStates = 1024;  // poses and speeds, of a fixed seed; more than the first cache holds

struct Workload {
    std::string name;
    std::string reference;  // workload of KDL or Eigen with the same result; empty: none
    int robotType;
    void (*prepare)(int robotType);  // sets the blocks; not measured
    void (*call)(int state);         // one call; state from 0 to kStates - 1
};

const std::vector<Workload>& workloads();

// Its parts, each from the file of that name.
std::vector<Workload> kinematicsWorkloads();
std::vector<Workload> cycleWorkloads();
std::vector<Workload> forceWorkloads();
std::vector<Workload> dynamicsWorkloads();

// Largest difference between our gravity torque and KDL's over all states, N m.
double gravityDisagreement(int robotType);

// The same for the Jacobian, m and radians.
double jacobianDisagreement(int robotType);

// Largest difference of the full joint torque, the block's and the plain recursion's, from KDL's over all
// states, relative to the largest torque of the state. Type 103 has the block in single precision.
double torqueDisagreement(int robotType);

}  // namespace tarn::bench
