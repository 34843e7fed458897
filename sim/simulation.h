// One arm in a closed loop: the reference host's blocks, the library's torque cycle and the plant, 1 ms a
// cycle. The blocks and the library's state are the process's own, so one simulation runs at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sim/encoders.h"
#include "sim/force_sensor.h"
#include "sim/plant.h"

namespace tarn::sim {

// How the arm is fixed. The base is turned by RY(yAngle) * RZ(zAngle) against the room, whose z points up.
struct Mount {
    const char* name;
    std::uint8_t code;  // mcb.robotInstallPos
    double yAngle;      // deg
    double zAngle;      // deg
};

inline constexpr Mount kMounts[] = {
    {"floor", 0, 0.0, 0.0},
    {"wall", 1, 90.0, 0.0},
    {"ceiling", 2, 180.0, 0.0},
    {"tilted", 3, 30.0, 45.0},  // the angles are only a default
};

const Mount* findMount(const std::string& name);  // nullptr: no such mount

Vec3 gravityInBase(const Mount& mount);  // m/s^2
Vec3 baseToRoom(const Mount& mount, const Vec3& v);

// Of the library's cycle, mcb.newTeachEnable.
enum TorqueModel : std::uint8_t { GravityOnly = 0, FittedRegressor = 1, FullDynamics = 2 };

// The arm of a robot type as a torque model knows it; nullptr: it has no torque for this type.
const ParameterSet* armOf(int robotType, TorqueModel model);

Joints gearRatios(int robotType);

struct SimulationOptions {
    int robotType = 101;
    TorqueModel torqueModel = GravityOnly;  // what the library is told
    TorqueModel plantModel = GravityOnly;   // whose arm is the truth
    Mount mount = kMounts[0];
    Joints startPose{};                   // deg
    double load = 0.0;                    // kg, what the library is told
    Vec3 loadCenter{};                    // mm, flange frame
    double loadError = 0.0;               // kg the plant carries more than the library is told
    double frictionScale = 1.0;           // of the plant's joint friction
    double massScale = 1.0;               // of the plant's links
    double inertiaScale = 1.0;            // of the tensors of the plant's links
    std::array<double, 6> loadInertia{};  // kg mm^2 about its center, flange axes: xx, xy, xz, yy, yz, zz

    // Its words go to the library's intake in every cycle; it is in use once it is announced or switched on.
    ForceSensorOptions forceSensor;
    Vec3 sensorPlace{};  // mm, of the sensor in the flange frame
    Vec3 sensorTurn{};   // deg: a, b, c, the sensor's axes are turned by Rz(c) * Ry(b) * Rx(a)

    // Joint state in the blocks: what the drives make of their motor encoders, or exact.
    bool driveState = false;
    double velocityCorner = EncoderOptions{}.velocityCorner;          // Hz
    double accelerationCorner = EncoderOptions{}.accelerationCorner;  // Hz
    double stiffnessScale = 1.0;                                      // of the gears

    // Position loops of the drives: critically damped at this frequency (Hz) for the inertia at the start
    // pose. They stand by in hand guiding. 0: the drives follow their current alone.
    double positionLoop = 0.0;
    bool frictionCompensation = true;  // what the library is told

    bool supervised = false;  // the host runs the collision supervisor in every cycle

    double startTime = 0.0;  // s, where the clock starts
};

// Largest current of a drive with a position loop: three times the rated one.
inline constexpr double kDriveLimit = 3000.0;  // 1/1000 of rated

class Simulation {
  public:
    explicit Simulation(const SimulationOptions& options);

    // One cycle: measure, command, let the host serve its requests, move. Throws PlantError on a blow-up.
    void cycle();

    double time() const { return cycles_ * 0.001; }  // s
    const SimulationOptions& options() const { return options_; }
    const Plant& plant() const { return plant_; }
    Plant& plant() { return plant_; }  // to put hands and surfaces to it

    // What the drives saw at the start of the last cycle and did in it.
    double cycleStart() const { return (cycles_ - 1) * 0.001; }             // s
    const Joints& measured() const { return measured_; }                    // deg
    const Joints& velocity() const { return velocity_; }                    // deg/ms
    const Joints& commanded() const { return commanded_; }                  // deg
    const Joints& commandedVelocity() const { return commandedVelocity_; }  // deg/ms
    const Currents& current() const { return current_; }
    const Currents& currentSet() const { return currentSet_; }  // of it, what the library asked for
    const EncoderCounts& encoders() const { return encoders_; }
    const SensorWords& sensorWords() const { return sensorWords_; }

  private:
    void measure();
    void identify(const std::array<Joints, 6>& inertia);
    void drive();

    SimulationOptions options_;
    Plant plant_;
    ForceSensor forceSensor_;
    EncoderOptions encoderOptions_;
    DriveState drives_;
    Joints loopStiffness_{};  // N m/rad
    Joints loopDamping_{};    // N m s/rad
    int cycles_ = 0;
    Joints measured_{};
    Joints velocity_{};
    Joints commanded_{};
    Joints commandedVelocity_{};
    Currents currentSet_{};
    Currents current_{};
    EncoderCounts encoders_;
    SensorWords sensorWords_{};
};

}  // namespace tarn::sim
