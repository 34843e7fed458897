// An arm that presses a tool on a workpiece by constant force control, for the scenarios that do.
#pragma once

#include <functional>
#include <vector>

#include "sim/scenario.h"

namespace tarn::sim {

// What the tool is pressed on: a plane across the tool's axis with something on it. The way runs along the
// line of the tool's motion, mm from where the tool stands at the start.
struct Workpiece {
    double stiffness;                            // N/mm
    std::function<double(double way)> height{};  // mm above the plane; none: flat
};

inline constexpr double kPressForce = 20.0;        // N
inline constexpr double kRecommendedGain = 0.001;  // mm a cycle for a newton

enum Learning { NoLearning = 0, Learns = 1, Replays = 2 };

// One setting of the control.
struct Press {
    double gain = kRecommendedGain;  // proportional, mm a cycle for a newton
    Learning learning = NoLearning;
    double most = 10.0;  // mm, of the correction
    double integral = 0.0, derivative = 0.0;
    bool tuned = false;     // the gain along z
    bool filtered = false;  // the error along z
};

inline constexpr double kGap = 0.5;  // mm, from the tool to the plane at the start

// Full dynamics as feed-forward, position loops in the drives, a sensor with noise under a tool of 1 kg if no
// other load is asked for. It starts a motion where the others do.
SimulationOptions pressingArm(const RunOptions& options);

// Starts an arm over a workpiece, which it will touch with the tip of its tool, along z of the flange, or
// with its side, along x; with its sensor on and knowing the tool.
void startOver(Run& run, const Workpiece& workpiece, bool side);

// What the commands answer.
int startPressing(const Press& press);
int stopPressing();

// Starts a straight line to a place along the workpiece; mm, mm/s. False: it was not planned.
bool startLine(const Run& run, double way, double speed);

double pressed(const Simulation& simulation);     // N, true force on the tool across the workpiece
double correction(const Simulation& simulation);  // mm, into the workpiece

// What a stretch under force was like.
struct Pressed {
    double n = 0.0, sum = 0.0, squares = 0.0;  // N, over the target
    double least = 1e9, most = -1e9;           // N
    double moved = 0.0;                        // mm, all ways of the correction

    double mean() const { return sum / n; }            // N, over the target
    double deviation() const;                          // N, standard
    double error() const;                              // N, root of the mean square
    double unrest() const { return 1e3 * moved / n; }  // mm/s, mean speed of the correction
};

// Lets time pass under force; recorded or not.
Pressed press(Run& run, double seconds, bool record = true);

extern const std::vector<Group> kPressGroups;

}  // namespace tarn::sim
