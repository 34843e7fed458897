// The arm as the physics engine sees it: six links in a row, geared motors with friction, a tool load.
// It is driven by motor currents alone and knows nothing of the library.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "model/parameter_sets.h"
#include "sim/tool_force.h"

struct mjModel_;
struct mjData_;

namespace tarn::sim {

using Joints = std::array<double, 6>;
using Currents = std::array<std::int16_t, 6>;  // thousandths of the motor's rated torque

// Joint-side friction torque in N·m that opposes a velocity in degrees per millisecond.
using FrictionCurve = double (*)(double velocity);

struct PlantOptions {
    ParameterSet set;
    Joints zeroShift{};                   // deg, reported joint angle minus the model's
    Vec3 gravity{0.0, 0.0, -9.8};         // m/s^2, base frame: this is how a mount enters
    double loadMass = 0.0;                // kg
    Vec3 loadCenter{};                    // mm, flange frame
    std::array<double, 6> loadInertia{};  // kg mm^2 about its center, flange axes: xx, xy, xz, yy, yz, zz
    Pose sensorInEnd{};                   // mm, of the force sensor in the flange frame; the load is behind
    Joints ratedTorque{};                 // N·m, at the motor
    Joints gearRatio{};                   // joint torque over motor torque
    std::array<FrictionCurve, 6> friction{};  // nullptr: the joint has none
    double frictionScale = 1.0;
    double massScale = 1.0;     // of the links' masses in the set
    double inertiaScale = 1.0;  // of the links' tensors about their centers in the set
    int substeps = 4;           // engine steps in a cycle of 1 ms
};

// The engine reported a state it cannot go on from, or did not take the model.
struct PlantError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Plant {
  public:
    explicit Plant(const PlantOptions& options);

    // Puts the arm at rest at a pose, degrees.
    void reset(const Joints& pose);

    // What acts on the tool from now on, on top of the surfaces. Each is asked in every engine step.
    void setToolForces(std::vector<ToolForce> forces) { toolForces_ = std::move(forces); }

    // What the tool can touch from now on.
    void setSurfaces(const ToolSphere& sphere, std::vector<Surface> surfaces) {
        sphere_ = sphere;
        surfaces_ = std::move(surfaces);
    }

    // What a tool force stands for: seen in the picture of the arm, and nothing else.
    void showSurfaces(std::vector<Surface> surfaces) { shown_ = std::move(surfaces); }
    std::vector<Surface> scenery() const;  // these and those that can be touched

    // Advances by one cycle of 1 ms under constant currents. Throws PlantError when the motion blows up, and
    // ever after: the engine would start over from its reference pose, which must not pass for a result.
    void step(const Currents& current);

    Joints position() const;       // deg
    Joints velocity() const;       // deg/ms
    double kineticEnergy() const;  // J, rotors included
    bool failed() const { return !failure_.empty(); }

    // What the last engine step started with or had. After a reset the brakes hold the arm.
    const ToolState& tool() const { return tool_; }
    const Joints& gearTorque() const { return gearTorque_; }    // N·m, on the link behind rotor and friction
    const Vec3& contactForce() const { return contactForce_; }  // N, of the surfaces on the tool, base frame
    const Wrench& toolWrench() const { return toolWrench_; }  // all on the tool, about the flange, base frame
    // What the tool puts on the force sensor, weight and inertial forces included: in the sensor's frame,
    // about its origin, a hanging weight points down.
    Wrench sensorWrench() const;

    // What follows asks about any pose (degrees) and leaves the motion alone.
    Joints gravityTorque(const Joints& pose) const;              // N·m, the torque that holds the arm
    std::array<Joints, 6> massMatrix(const Joints& pose) const;  // kg m^2, rotors included
    // N·m, the torque of a motion without friction, rotors included; deg, deg/s, deg/s^2.
    Joints motionTorque(const Joints& pose, const Joints& velocity, const Joints& acceleration) const;
    std::array<Vec3, 7> frameOrigins(const Joints& pose) const;  // m, base to flange, base frame
    Joints jointTorque(const Currents& current) const;           // N·m, before friction
    double currentOf(double torque, int joint) const;            // thousandths of rated, not rounded
    const PlantOptions& options() const { return options_; }

  private:
    void setPose(mjData_* data, const Joints& pose) const;
    void mapKinematics(const Joints& pose) const;
    ToolState readTool() const;
    void applyToolForces();
    void raiseEngineTrouble();

    PlantOptions options_;
    std::unique_ptr<mjModel_, void (*)(mjModel_*)> model_;
    std::unique_ptr<mjData_, void (*)(mjData_*)> motion_;
    std::unique_ptr<mjData_, void (*)(mjData_*)> scratch_;  // for questions about other poses
    std::string failure_;

    std::vector<ToolForce> toolForces_;
    ToolSphere sphere_;
    std::vector<Surface> surfaces_;
    std::vector<Surface> shown_;
    ToolState tool_{};
    Joints gearTorque_{};
    Vec3 contactForce_{};
    Wrench toolWrench_{};
};

}  // namespace tarn::sim
