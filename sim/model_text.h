// The arm as MJCF and URDF text.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sim/arm_model.h"
#include "sim/plant.h"
#include "sim/simulation.h"

namespace tarn::sim {

// Attributes pos and quat of the frame at a link's far end; digits as significant ones.
std::string endPlace(const ArmLink& link, int digits);

// The nested bodies link1 to link6 of MJCF with their joints and rotors. inside(k) is what else stands in the
// body of link k, from 0; onFlange stands in the last one.
std::string mjcfBodies(const ArmLinks& links, int digits,
                       const std::function<std::string(std::size_t)>& inside, const std::string& onFlange);

// An arm to hand to other programs.
struct ExportedArm {
    int robotType;
    TorqueModel torqueModel;
    std::string setName;
    ArmLinks links;                  // bodies that can exist; at joint angles as the library takes them
    std::vector<std::string> notes;  // on what was done to them, a sentence or more each
    Joints speed;                    // rad/s, highest
    Joints torque;                   // N m, of the joint under the motor's rated torque
};

// Fills the blocks for this type. Throws std::invalid_argument where the torque model has no arm of it.
ExportedArm exportedArm(int robotType, TorqueModel torqueModel);

std::string mjcfText(const ExportedArm& arm);
std::string urdfText(const ExportedArm& arm);

}  // namespace tarn::sim
