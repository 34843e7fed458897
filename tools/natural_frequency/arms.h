// The arms that the networks are fitted to, and what is known of them.
#pragma once

#include <span>

#include "flexible_arm.h"
#include "model/frequency_ranges.h"
#include "model/parameter_sets.h"

namespace tarn::tools {

struct Arm {
    const char* name;         // of the family, as the data files have it
    int firstType, lastType;  // robot types
    const ParameterSet& set;
    const FrequencyRanges& ranges;
};

std::span<const Arm> arms();

// An arm with the stiffness that comes closest to its ranges.
//
// What is left between model and range is one factor a network: the reported frequency is
// outputMax - gain * (outputMax - frequency of the model).
struct FlexibleArm {
    JointStiffness stiffness;
    double gain[2];  // bare, loaded
};
FlexibleArm flexibleArm(const Arm& arm);

// The model's frequency, Hz, at inputs of a network as the library takes them.
double modelFrequency(const Arm& arm, const JointStiffness& stiffness, bool loaded, const double* inputs);

}  // namespace tarn::tools
