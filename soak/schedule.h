// What happens when, all drawn from a seed. A shift is one arm in one mounting: what a restart of the host
// would bring, while the library's state goes on. Within it tasks follow each other, each a kind of motion
// and a set of functions switched on; between the cycles commands come in, things fail, and the host clears
// faults.
#pragma once

#include <string>

#include "soak/arm.h"

namespace soak {

class Schedule {
  public:
    Schedule(std::uint64_t seed, Arm& arm) : random_(seed), arm_(arm) {}

    // All that a host does between two cycles.
    void betweenCycles();
    // The planner's cycle, after the supervisors.
    void plan();

    // Ends the task in hand, so that nothing of it is left.
    void finish() { endTask(); }

    // Why a current beyond 16 bits is to be expected at present; nullptr: it is not.
    [[nodiscard]] const char* knownExcess() const;
    [[nodiscard]] std::string place() const;  // robot type, task, functions, for a report
    [[nodiscard]] bool excitationRuns() const { return task_ == Excitation; }
    [[nodiscard]] bool loadIdentified() const { return dynamicLoad_ && time_ % 5 == 0; }
    [[nodiscard]] bool observed() const { return observer_; }
    [[nodiscard]] long shifts() const { return shifts_; }
    [[nodiscard]] long tasks(int task) const { return tasks_[task]; }
    static const char* taskName(int task);

    enum Task {
        Rest,
        JointMoves,
        LineMoves,
        Jogging,
        Guiding,
        ForceDrag,
        Pressing,
        Streaming,
        FrictionSweep,
        LoadRun,
        Excitation,
        kTasks
    };

  private:
    void startShift();
    void endTask();
    void startTask();
    void setFunctions();
    void startGuiding();
    void startPressing();
    void startRecord(int status);
    void drive();
    void sweep();
    void leaveSweep();
    void spoil();
    void command();
    void clearFaults();
    [[nodiscard]] bool momentsSure() const;
    static bool momentsNeeded();

    Random random_;
    Arm& arm_;
    Task task_ = Rest;
    bool observer_ = false, calm_ = false, dynamicLoad_ = false, endurance_ = false;
    long time_ = 0;  // cycles in the task
    long taskLeft_ = 0, shiftLeft_ = 0;
    int lastModel_ = 0;
    bool reactionChanged_ = false;  // while one was running
    int faultLeft_ = 0;             // cycles that what fails goes on failing
    int clearIn_ = 0;               // cycles until the host clears the faults, 0: none seen
    int sweptJoint_ = 0;
    double sweepSpeed_ = 0;         // degrees/s
    double sweepVelocity_[6] = {};  // degrees/ms
    long shifts_ = 0, tasks_[kTasks] = {};
};

}  // namespace soak
