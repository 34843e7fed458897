#include "model/parameter_sets.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/reference.h"

namespace {

// Names the first list of numbers that differs, for the failing message.
std::string difference(const tarn::ParameterSet& set, const ref::Arm& arm) {
    if (!std::ranges::equal(set.paramSDH, arm.sdh)) return "lengths";
    if (!std::ranges::equal(set.inparaIj, arm.rotor)) return "rotor inertias";
    if (arm.name == "HN1") return "";  // the rest of this arm is not a set
    if (!std::ranges::equal(set.inparaM, arm.mass)) return "masses";
    if (!std::ranges::equal(set.inparaC, arm.center)) return "centers of mass";
    return "";
}

void expectSet(const tarn::ParameterSet* set, std::string_view name) {
    if (name.empty()) {
        EXPECT_EQ(set, nullptr);
        return;
    }
    ASSERT_NE(set, nullptr) << "expected set " << name;
    EXPECT_EQ(difference(*set, ref::arm(name)), "") << "of " << set->name << " against set " << name;
}

TEST(ParameterSets, EveryTypeHasItsSetForGravityAndForTheFullModel) {
    for (int type = ref::kFirstType; type <= ref::kLastType && !HasFailure(); type++) {
        SCOPED_TRACE(type);
        expectSet(tarn::dynamicsSet(type), ref::dynamicsArm(type));
        expectSet(tarn::gravitySet(type), ref::gravityArm(type));
    }
}

}  // namespace
