// The first natural frequency of an arm whose joints are springs.
#pragma once

#include "model/parameter_sets.h"

namespace tarn::tools {

// What a joint gives way with, drive and gear together, N m/rad at the joint.
struct JointStiffness {
    double arm;    // joints 1 to 3
    double wrist;  // joints 4 to 6
};

struct ToolLoad {
    double mass;    // kg
    double center;  // mm along the flange's z
};

// The lowest w of K x = w^2 M x, Hz, for an arm of the standard shape: M the mass matrix at the pose
// (degrees), load and rotors included, K the stiffness on its diagonal.
double firstFrequency(const ParameterSet& set, const JointStiffness& stiffness, const double* pose,
                      const ToolLoad& load);

}  // namespace tarn::tools
