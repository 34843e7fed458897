// A whole cycle of a host in any setting: switches that may be combined in every way, the commands that bring
// them about, and an arm whose sensors move. What the library costs in a mode, and in which it costs most, is
// asked with it.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "soak/arm.h"
#include "soak/random.h"

namespace tarn::bench {

// What can be switched, with the values that it takes; the first is that of a setting that does not name it.
enum Switch {
    Type,         // robot type
    Mount,        // mcb.robotInstallPos
    Model,        // torque model
    Motion,       // see MotionKind
    Pose,         // 0 bent, 1 anywhere, 2 next to where the wrist is singular
    Friction,     // compensated
    Lock,         // drag lock
    Zone,         // 1 resists, 2 ends the guiding, and the tool is in it
    Tool,         // a load and a tool frame
    Record,       // torque record: 1 writes, 2 replays by lines, 3 by splines
    Custom,       // thresholds: 1 joints, 2 tool, 3 both
    Detector,     // mpb.collisionMode
    Reaction,     // mcb.collisionPauseFlag
    Standstill,   // collision check at rest
    Sensor,       // in use, frame of its force: 1 sensor, 2 base, 3 tool
    Guard,        // on the force
    Drag,         // by the sensor
    Adaptive,     // damping of the drag
    Wall,         // around the drag: 1 before a box, 2 in one
    Singular,     // what the drag does there
    TorqueDrag,   // by force and torque, 2 with damping
    Press,        // constant force: 1 along z, 2 on all axes
    Learn,        // while pressing: learning store, gain tuner, compliance and the contact's direction
    Power,        // limit of torque servo
    Script,       // scripted load identification
    DynamicLoad,  // load identification by the sensor
    Excitation,   // sampling of the parameter run
    Observer,     // of the momentum, with the matrices that it asks for
    Shock,        // collisions of joints and tool, slipping encoders
    kSwitches
};

enum MotionKind { Hold, JointMoves, LineMoves, Guiding, TorqueServo, FrictionRun };

using Settings = std::array<int, kSwitches>;

// "type=103 model=2 drag=1"; what is not named is as it is first in the list. Throws on an unknown word.
Settings settingsOf(const std::string& text);
std::string textOf(const Settings& settings);

// Any setting, and one that differs in a few switches.
Settings draw(soak::Random& random);
Settings altered(Settings settings, soak::Random& random);

// One arm in one setting, from a seed. There is one at a time, since blocks and library are the process's.
class Host {
  public:
    Host(const Settings& settings, std::uint64_t seed);

    // Everything of the next cycle that is not the library's: sensors, planner, a user who starts what has
    // ended.
    void before();
    // The functions that a host calls in each cycle.
    void cycle();

  private:
    int is(Switch which) const { return settings_[which]; }
    void start();
    void keepGoing();
    void shake();

    Settings settings_;
    soak::Random random_;
    soak::Arm arm_;
    double start_[6] = {};  // degrees
    long time_ = 0;         // cycles
    std::int32_t words_[6] = {};
    double torque_[6] = {};
    JNTS q_ = {};
    TRSF planned_ = {}, corrected_ = {};
};

}  // namespace tarn::bench
