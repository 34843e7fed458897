#include "model/parameter_sets.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/reference.h"

namespace {

// Names the first list of numbers that differs from the set of that name; an empty name is no set.
std::string difference(const tarn::ParameterSet* set, std::string_view name) {
    if (!set || name.empty()) return !set && name.empty() ? "" : "presence";
    const ref::Arm& arm = ref::arm(name);
    if (!std::ranges::equal(set->paramSDH, arm.sdh)) return "lengths";
    if (!std::ranges::equal(set->inparaIj, arm.rotor)) return "rotor inertias";
    if (name == "HN1") return "";  // the rest of this arm is not a set
    if (!std::ranges::equal(set->inparaM, arm.mass)) return "masses";
    if (!std::ranges::equal(set->inparaC, arm.center)) return "centers of mass";
    return "";
}

TEST(ParameterSets, EveryTypeHasItsSetForGravityAndForTheFullModel) {
    for (int type : ref::types()) {
        ASSERT_EQ(difference(tarn::dynamicsSet(type), ref::dynamicsArm(type)), "")
            << "full model, type " << type;
        ASSERT_EQ(difference(tarn::gravitySet(type), ref::gravityArm(type)), "") << "gravity, type " << type;
    }
}

}  // namespace
