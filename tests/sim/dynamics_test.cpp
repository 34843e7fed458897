// The inverse dynamics blocks against the physics engine: two forms of the same laws by different hands.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "sim/plant.h"
#include "support/rigid_body.h"
#include "tarnhost/defaults.h"

using namespace tarn::sim;
using tarn::ParameterSet;

namespace {

Joints joints(const double* v) {
    Joints result;
    std::copy_n(v, 6, result.begin());
    return result;
}

// Twenty states to a mounting and load.
template <typename Block>
void compare(const ParameterSet& set, int plants, double tolerance, const Block& block) {
    ref::StateDraw draw;
    for (int n = 0; n < plants; n++) {
        const ref::ArmState carried = draw();
        PlantOptions options;
        options.set = set;
        std::copy_n(carried.gravity, 3, options.gravity.begin());
        options.loadMass = carried.load[0];
        std::copy_n(carried.load + 1, 3, options.loadCenter.begin());
        std::copy_n(carried.load + 4, 6, options.loadInertia.begin());
        const Plant plant(options);
        for (int k = 0; k < 20; k++) {
            ref::ArmState at = draw();
            std::copy_n(carried.gravity, 3, at.gravity);
            std::copy_n(carried.load, 10, at.load);
            const Joints want = plant.motionTorque(joints(at.q), joints(at.qd), joints(at.qdd));
            const auto got = block(set, at);
            double largest = 0.0;
            for (const double x : want) largest = std::max(largest, std::fabs(x));
            for (std::size_t i = 0; i < 6; i++)
                ASSERT_NEAR(got[static_cast<int>(i)], want[i], tolerance * largest)
                    << set.name << ", plant " << n << ", state " << k << ", joint " << i + 1;
        }
    }
}

}  // namespace

TEST(Dynamics, BlocksAgreeWithTheEngine) {
    tarn::host::setDefaults(103);  // nothing here depends on the host, but the library needs one to load
    const auto single = [](const ParameterSet& set, const ref::ArmState& at) {
        return ref::singleTerms(set, at).tau.cast<double>().eval();
    };
    for (const ParameterSet* set : ref::kStandardSets) compare(*set, 7, 2e-5, single);
    compare(tarn::kSetPQ1, 100, 1e-9, ref::torque);
    compare(ref::builtInArm(), 100, 1e-9, ref::torque);
}
