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

// Digests of the tensors' data sheets, taken without the library: the sum of each set's 36 numbers, each
// times its place from 1.
TEST(ParameterSets, HaveTheTensorsOfTheirDataSheets) {
    const struct {
        const tarn::ParameterSet& set;
        double digest;
    } rows[] = {
        {tarn::kSetB, 12580032.22},    {tarn::kSetA1, 3277706.79},  {tarn::kSetA2, 3084956.61},
        {tarn::kSetA3, 3170828.75},    {tarn::kSetA4, 3084956.61},  {tarn::kSetC1, 47447553.04},
        {tarn::kSetC2, 47855551.1805}, {tarn::kSetD1, 26077186.96}, {tarn::kSetD2, 25480486.7505},
        {tarn::kSetE, 217773100.66},   {tarn::kSetPQ1, 4700969.88}, {tarn::kSetPQ2, 5480464.27},
        {tarn::kSetPQ3, 2395183.08},   {tarn::kSetGL1, 2281214.76}, {tarn::kSetGL2, 2095724.43},
        {tarn::kSetF, 101491587.64},
    };
    for (const auto& [set, digest] : rows) {
        double sum = 0;
        for (int i = 0; i < 36; i++) sum += (i + 1) * set.inparaI[i];
        EXPECT_NEAR(sum, digest, 1e-4) << set.name;
    }
}

}  // namespace
