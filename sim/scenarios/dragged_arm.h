// What the scenarios of the drag by the force sensor share: an arm with a sensor on its flange, the operator
// who pulls at it, and what is watched in every cycle.
#pragma once

#include <Eigen/Dense>
#include <array>
#include <functional>
#include <span>
#include <string>

#include "sim/hand.h"
#include "sim/scenario.h"

namespace tarn::sim {

enum DragFrame { kEndFrame = 0, kBaseFrame = 1, kToolFrame = 2 };  // mcb.forceControl.forceSensorRcs

struct DragSettings {
    DragFrame frame = kEndFrame;
    double inertia = 5.0;       // kg
    double damping = 200.0;     // N s/m
    double turnInertia = 0.5;   // kg m^2
    double turnDamping = 20.0;  // N m s/rad
    double deadForce = 3.0;     // N
    double deadMoment = 0.3;    // N m
    double forceLimit = 50.0;   // N, and N m
    double speedLimit = 100.0;  // deg/s
    bool adaptive = false;      // damping
    bool wall = false;
    bool leaveSingular = false;  // for the joint drag; false: soft forces push away
};

// Position loops, and noise and counts of a real sensor; with the load that is asked for.
SimulationOptions sensorArm(const RunOptions& options, const Joints& pose);

// Sets a drag up and starts it as a command does, in manual mode, after some cycles without a drag: they take
// the arm where it stands as the reference. The tool, mm, is not turned.
void startDrag(Run& run, const DragSettings& settings, const Vec3& tool = {});

std::span<const Group> dragGroups();  // plots: the hand, the sensed force, offset, speed and measures

Eigen::Matrix3d turnedBy(const Eigen::Vector3d& turn);  // rad, about its own axis

Eigen::Vector3d flangeOf(const Simulation& simulation);  // m, measured
Eigen::Vector3d toolSpeed(const Simulation& simulation,
                          const Vec3& point);  // mm/s at a point, mm, of the flange

// An operator at a point of the flange frame: springs to a place, and to a direction, that are led along.
struct Operator {
    double stiffness = 1000.0;   // N/m
    double damping = 20.0;       // N s/m
    double turnStiffness = 0.0;  // N m/rad; 0: the tool turns in the hand
    double turnDamping = 0.0;    // N m s/rad
};

struct Twist {
    Eigen::Vector3d velocity = Eigen::Vector3d::Zero();  // m/s, base frame
    Eigen::Vector3d spin = Eigen::Vector3d::Zero();      // rad/s
};

class DragRun {
  public:
    DragRun(Run& run, const Vec3& grip, const Operator& hand = {});
    ~DragRun();  // lets go
    DragRun(const DragRun&) = delete;
    DragRun& operator=(const DragRun&) = delete;

    // Takes the tool where it is, without force.
    void grip();
    void letGo();
    // Leads the hand along, or turns the tool by a moment, N m, base frame; each cycle calls `each`.
    void lead(const Twist& twist, double seconds, const std::function<void()>& each = {});
    void turn(const Eigen::Vector3d& moment, double seconds, const std::function<void()>& each = {});
    void wait(double seconds, const std::function<void()>& each = {});

    // Waits until what was left of the motion has run out, and then watches the flange for a second: its
    // largest distance in any direction over that time, mm/s.
    void rest();

    Eigen::Vector3d force() const;  // N, of the hand, base frame
    Eigen::Vector3d gripPoint() const;

    bool recorded = true;

    // Of all cycles so far.
    double fastest = 0.0;     // %, measured joint speed of the limit
    double commanded = 0.0;   // %, of the commanded joints
    double drift = 0.0;       // mm/s, the largest of all rests
    double coast = 0.0;       // mm, largest way of the flange after the hand let go
    double notNumbers = 0.0;  // cycles with a commanded joint that is none
    double alarms = 0.0;      // cycles that raised one
    double stops = 0.0;       // cycles in which a drag ended by itself

  private:
    void cycle();
    double clock() const;  // s, of the plant
    PointWrench hold(const ToolState& tool) const;

    Run& run_;
    Vec3 grip_;
    Operator hand_;
    Eigen::Vector3d point_, moment_;
    Eigen::Matrix3d direction_;
    Twist twist_;
    double since_ = 0.0;
    Hand spring_, wrench_;
    Eigen::Vector3d leftAt_;
    Joints before_{};
    bool dragged_ = false;  // the drag was open in the last cycle, too
};

// Events of the log since the last call that hold a text.
double logged(const Run& run, const std::string& text);

}  // namespace tarn::sim
