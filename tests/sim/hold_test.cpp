// The arm stands on its own currents, and does not where something is wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>

#include "runs.h"
#include "sim/report.h"
#include "sim/scenarios/scenarios.h"
#include "support/scratch_folder.h"

#pragma GCC diagnostic ignored "-Wmissing-field-initializers"  // options left out have defaults

using namespace tarn::sim;

namespace {

Run hold(const RunOptions& options) { return runOf("hold", options); }

// Scenarios of one step each.
void fine(Run& run, double) { run.atMost("mean", 0.0, 1.0, ""); }
void noNumber(Run& run, double) { run.atMost("mean", std::nan(""), 1.0, ""); }
void blowUp(Run&, double) { throw PlantError("far out"); }

struct Family : testing::TestWithParam<std::tuple<const char*, int>> {};

}  // namespace

TEST_P(Family, HoldsOnEveryMountWithAndWithoutLoad) {
    const auto [scenario, type] = GetParam();
    RunOptions options{.robotType = type, .seed = static_cast<std::uint64_t>(type)};
    if (scenario != kHold.name) options.seconds = 5.0;  // a creep shows in one
    for (const Mount& mount : kMounts) {
        // on other mounts the gravity model serves these two with another arm's
        if (scenario == kHold.name && (type == 901 || type == 903) && mount.code != 3) continue;
        options.mount = mount;
        if (mount.code == 3) {
            options.mount.yAngle = 35.0 + type % 7 * 20.0;
            options.mount.zAngle = -160.0 + type % 5 * 70.0;
        }
        for (options.load = 0.0; options.load <= 3.0; options.load += 3.0, options.seed++) {
            const auto run = runOf(scenario, options);
            EXPECT_TRUE(run.passed()) << mount.name << ", " << options.load << " kg, seed " << options.seed
                                      << ": " << failures(run);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Hold, Family,
                         testing::Combine(testing::Values(kHold.name),
                                          testing::Values(1, 3, 101, 103, 201, 301, 401, 702, 703, 901, 903,
                                                          1001)));
INSTANTIATE_TEST_SUITE_P(HoldDynamics, Family,
                         testing::Combine(testing::Values(kHoldDynamics.name),
                                          testing::Values(2, 3, 101, 201, 302, 401, 501, 701, 703, 801, 901,
                                                          902, 903, 1001)));

TEST(Hold, TypicalCaseHoldsForTheFullTime) {
    const auto run = hold({.load = 5.0});
    EXPECT_TRUE(run.passed()) << failures(run);
    EXPECT_EQ(run.recording.size(), 20000U);
    // creep, not a frozen plant
    EXPECT_NE(run.recording.values[kMeasured].front(), run.recording.values[kMeasured].back());
}

TEST(Hold, AKilogramTooMuchFails) {
    for (const Mount& mount : kMounts) {
        // stretched ahead: on every mount but the wall the error pulls at joint 2, there at joint 1
        const auto run = hold({.mount = mount,
                               .load = 2.0,
                               .loadError = 1.0,
                               .pose = Joints{90.0, -20.0, 20.0, -90.0, -90.0, 0.0},
                               .seconds = 3.0});
        EXPECT_TRUE(fails(run, "Creep")) << mount.name;
        EXPECT_TRUE(fails(run, "Command off")) << mount.name;
        EXPECT_FALSE(fails(run, "Blow-ups")) << mount.name;
    }
}

// Without friction nothing takes up the part of the current that was cut off.
TEST(Hold, FallsWithoutFriction) {
    EXPECT_TRUE(fails(hold({.frictionScale = 0.0, .seconds = 5.0}), "Creep"));
}

TEST(Hold, RepeatsBitByBitAndBySeed) {
    const auto measured = [](std::uint64_t seed) {
        return hold({.seed = seed, .load = 3.0, .seconds = 1.0}).recording.values;
    };
    const auto first = measured(7);
    EXPECT_EQ(first, measured(7));
    EXPECT_NE(first[kMeasured], measured(8)[kMeasured]);
}

// A scenario that measures nothing, or that the engine gave up on, has not passed.
TEST(Scenario, FailsByWhatIsNoNumberAndByABlowUp) {
    EXPECT_TRUE(runOf(Scenario{"fine", "", 1.0, fine}, {}).passed());
    EXPECT_EQ(failures(runOf(Scenario{"mean", "", 1.0, noNumber}, {})), "mean nan over 1 ; ");
    const auto run = runOf(Scenario{"far", "", 1.0, blowUp}, {});
    EXPECT_TRUE(fails(run, "Blow-ups")) << failures(run);
    EXPECT_EQ(run.log.back().severity + " " + run.log.back().text, "fatal far out");
}

TEST(Report, KeepsASpikeOfOneSampleAndEscapesText) {
    auto run = hold({.seconds = 5.0});
    run.recording.values[kCurrent][2345][2] = 12345.0;
    run.log.push_back("a < b & c");
    const fixture::ScratchFolder scratch;
    const std::filesystem::path& folder = scratch.path;
    writeReport(*findScenario("hold"), run, folder / "page.html");
    writeCsv(run.recording, folder / "data.csv");

    const std::string page = contents(folder / "page.html");
    EXPECT_NE(page.find("a &lt; b &amp; c"), std::string::npos);
    EXPECT_EQ(page.find("nan"), std::string::npos);
    // the line of joint 3 rises above half the height of its plot, pixels counted from the top
    std::size_t at = page.find("Commanded motor current");
    for (int joint = 0; joint < 3; joint++) at = page.find("<polyline", at + 1);
    std::istringstream points(page.substr(page.find("points=\"", at) + 8));
    double x = 0.0, y = 0.0, top = 1e9;
    for (char comma = 0; points >> x >> comma >> y;) top = std::min(top, y);
    EXPECT_LT(top, 120.0);

    std::istringstream data(contents(folder / "data.csv"));
    std::size_t lines = 0;
    for (std::string line; std::getline(data, line); lines++)
        ASSERT_EQ(std::count(line.begin(), line.end(), ','), 6 * std::ssize(groups())) << line;
    EXPECT_EQ(lines, run.recording.size() + 1);
}
