// The arm stands on its own currents, and does not where something is wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "sim/report.h"
#include "sim/scenario.h"

#pragma GCC diagnostic ignored "-Wmissing-field-initializers"  // options left out have defaults

using namespace tarn::sim;

namespace {

Run hold(const RunOptions& options) {
    Run run;
    run.options = options;
    play(*findScenario("hold"), run);
    return run;
}

// The verdicts that fail, with their numbers.
std::string failures(const Run& run) {
    std::ostringstream text;
    for (const Verdict& v : run.verdicts)
        if (!v.pass) text << v.name << " " << v.value << " over " << v.limit << " " << v.unit << "; ";
    return text.str();
}

bool fails(const Run& run, const std::string& name) { return failures(run).find(name) != std::string::npos; }

std::string contents(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

struct Family : testing::TestWithParam<int> {};

}  // namespace

TEST_P(Family, HoldsOnEveryMountWithAndWithoutLoad) {
    const int type = GetParam();
    RunOptions options{.robotType = type, .seed = static_cast<std::uint64_t>(type)};
    for (const Mount& mount : kMounts) {
        // on other mounts these two are served with another arm's gravity
        if ((type == 901 || type == 903) && mount.code != 3) continue;
        options.mount = mount;
        if (mount.code == 3) {
            options.mount.yAngle = 35.0 + type % 7 * 20.0;
            options.mount.zAngle = -160.0 + type % 5 * 70.0;
        }
        for (options.load = 0.0; options.load <= 3.0; options.load += 3.0, options.seed++) {
            const auto run = hold(options);
            EXPECT_TRUE(run.passed()) << mount.name << ", " << options.load << " kg, seed " << options.seed
                                      << ": " << failures(run);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Hold, Family,
                         testing::Values(1, 3, 101, 103, 201, 301, 401, 702, 703, 901, 903, 1001),
                         testing::PrintToStringParamName());

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

TEST(Report, KeepsASpikeOfOneSampleAndEscapesText) {
    auto run = hold({.seconds = 5.0});
    run.recording.values[kCurrent][2345][2] = 12345.0;
    run.log.push_back("a < b & c");
    const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "tarnsim_report";
    std::filesystem::create_directories(folder);
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
    std::filesystem::remove_all(folder);
}
