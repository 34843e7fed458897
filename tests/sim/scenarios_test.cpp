// The arm in motion: guided by a hand, and moved by the planner on drives with position loops.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "guarded_cycle.h"
#include "runs.h"
#include "sim/hand.h"
#include "sim/report.h"
#include "support/cycle_guard.h"
#include "support/scratch_folder.h"
#include "tarnhal/thalintf.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

#pragma GCC diagnostic ignored "-Wmissing-field-initializers"  // options left out have defaults

using namespace tarn::sim;

namespace {

double valueOf(const Run& run, const std::string& name) {
    for (const Verdict& v : run.verdicts)
        if (v.name == name) return v.value;
    ADD_FAILURE() << "no verdict " << name;
    return NAN;
}

// A second arm took the place of the first half-way: same start, and no step in the clock.
void expectTwoPasses(const Run& run) {
    const std::size_t half = run.recording.size() / 2;
    ASSERT_EQ(2 * half, run.recording.size());
    EXPECT_EQ(run.recording.values[kMeasured][0], run.recording.values[kMeasured][half]);
    for (std::size_t k = 0; k < run.recording.size(); k++)
        ASSERT_NEAR(run.recording.time[k], static_cast<double>(k) * 0.001, 1e-9);
}

const RunOptions kCases[] = {
    {},
    {.robotType = 3, .mount = kMounts[3], .load = 2.0},
    {.robotType = 301, .seed = 4, .mount = kMounts[1]},
    {.robotType = 703, .seed = 9, .mount = kMounts[2], .load = 1.0},
};

// Both shapes and the built-in arm; gravity alone has no torque for the last two.
const RunOptions kDynamicsCases[] = {
    {.mount = kMounts[3], .load = 2.0},
    {.robotType = 302, .seed = 4, .mount = kMounts[1]},
    {.robotType = 701, .mount = kMounts[2], .load = 1.0},
    {.robotType = 801, .seed = 3, .mount = kMounts[3], .load = 2.0},
    {.robotType = 902, .seed = 5, .mount = kMounts[1], .load = 3.0},
};

std::vector<std::pair<const char*, RunOptions>> guidings() {
    std::vector<std::pair<const char*, RunOptions>> all;
    for (const RunOptions& options : kCases) all.emplace_back("guide", options);
    for (const RunOptions& options : kDynamicsCases) all.emplace_back("guide-dynamics", options);
    return all;
}

}  // namespace

TEST(Guide, CompensationEasesTheHand) {
    for (const auto& [name, options] : guidings()) {
        const auto run = runOf(name, options);
        EXPECT_TRUE(run.passed()) << name << " " << options.robotType << ": " << failures(run);
        expectTwoPasses(run);

        // the hand's mean force from what was recorded of it
        const std::vector<Joints>& force = run.recording.values.back();
        double mean[2] = {};
        for (std::size_t k = 0; k < force.size(); k++) {
            const double magnitude = std::hypot(force[k][0], force[k][1], force[k][2]);
            ASSERT_NEAR(magnitude, force[k][3], 1e-9);
            mean[k < force.size() / 2 ? 0 : 1] += magnitude;
        }
        EXPECT_NEAR(valueOf(run, "Hand's mean force, with over without"), 100.0 * mean[1] / mean[0], 0.1);
        EXPECT_GT(mean[1], 0.0);
    }
}

// The library takes the weights of the regressor once, so there is one arm in a process.
TEST(Guide, WorksOnTheFittedRegressor) {
    const auto run = runOf("guide-regressor", {.robotType = 1, .mount = kMounts[3], .load = 2.0});
    EXPECT_TRUE(run.passed()) << failures(run);
}

TEST(Resistance, IsWhatTheGainsAskForOnTheArmsWithARegulator) {
    for (const char* name : {"drag-lock", "interference"}) {
        for (const RunOptions& options : {RunOptions{.robotType = 1, .load = 1.0}, kCases[2]}) {
            const auto run = runOf(name, options);
            EXPECT_TRUE(run.passed()) << name << " " << options.robotType << ": " << failures(run);
        }
        // another arm's Jacobian, and none
        for (int type : {703, 401})
            EXPECT_TRUE(fails(runOf(name, {.robotType = type}), "off that of the gain"));
    }
}

TEST(Guide, FailsWhereThereIsLessFrictionThanCompensated) {
    const auto run = runOf("guide", {.frictionScale = 0.3});
    EXPECT_NE(failures(run).find("Coasting with compensation"), std::string::npos) << failures(run);
}

TEST(Guide, FailsWithALoadThatNobodyTold) {
    const auto run = runOf("guide", {.load = 1.0, .loadError = 2.0});
    EXPECT_NE(failures(run).find("Command off"), std::string::npos) << failures(run);
    EXPECT_NE(failures(run).find("Hand's mean force"), std::string::npos) << failures(run);
}

TEST(Guide, ShowsTheHandAsFourLines) {
    const auto run = runOf("guide", {});
    const fixture::ScratchFolder scratch;
    const std::filesystem::path& folder = scratch.path;
    writeCsv(run.recording, folder / "data.csv");
    writeReport(*findScenario("guide"), run, folder / "page.html");

    std::istringstream data(contents(folder / "data.csv"));
    std::string heading, row;
    std::getline(data, heading);
    EXPECT_TRUE(heading.ends_with(",gravity_Nm_6,hand_N_x,hand_N_y,hand_N_z,hand_N_magnitude")) << heading;
    for (std::getline(data, row); std::getline(data, row);)
        ASSERT_EQ(std::count(row.begin(), row.end(), ','), std::count(heading.begin(), heading.end(), ','));
    const std::string page = contents(folder / "page.html");
    const std::size_t plot = page.find("Force of the hand, base frame");
    ASSERT_NE(plot, std::string::npos);
    EXPECT_NE(page.find(">magnitude</span>", plot), std::string::npos);
    EXPECT_EQ(page.substr(plot, page.find("</section>", plot) - plot).find("joint"), std::string::npos);
    for (const auto& [name, value] : run.findings) EXPECT_NE(page.find(value), std::string::npos) << name;
}

TEST(Move, DrivesFollowThePlanner) {
    for (const RunOptions& options : kCases) {
        const auto run = runOf("move", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
        expectTwoPasses(run);

        // each joint went somewhere and rests in the end
        const std::vector<Joints>& angle = run.recording.values[kMeasured];
        for (std::size_t i = 0; i < 6; i++) {
            double most = 0.0;
            for (const Joints& row : angle) most = std::max(most, std::fabs(row[i] - angle[0][i]));
            EXPECT_GT(most, 15.0) << "joint " << i + 1;
            EXPECT_NEAR(run.recording.values[kVelocity].back()[i], 0.0, 0.05) << "joint " << i + 1;
        }
    }
}

TEST(Move, FailsWithFeedForwardOfFrictionThatIsNotThere) {
    const auto run = runOf("move", {.frictionScale = 0.0});
    EXPECT_NE(failures(run).find("Tracking error, with over without"), std::string::npos) << failures(run);
}

TEST(MoveDynamics, FeedForwardAloneTakesTheArmAlong) {
    for (const RunOptions& options : kDynamicsCases) {
        const auto run = runOf("move-dynamics", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
        const bool compared = options.robotType < 800;
        ASSERT_EQ(run.recording.size(), compared ? 24000U : 12000U);
        // the currents are the feed-forward in the first six seconds, and tell how far the arm was off
        double error = 0.0;
        for (std::size_t k = 0; k < 6000; k++)
            for (std::size_t i = 0; i < 6; i++)
                error = std::max(error, std::fabs(run.recording.values[kCommanded][k][i] -
                                                  run.recording.values[kMeasured][k][i]));
        EXPECT_NEAR(valueOf(run, "Tracking error of the feed-forward alone"), error, 1e-9);
        EXPECT_EQ(compared, std::any_of(run.verdicts.begin(), run.verdicts.end(), [](const Verdict& v) {
                      return v.name == "Feed-forward alone, full over gravity" && v.value > 0.0;
                  }));
    }
    for (const RunOptions& wrong : {RunOptions{.frictionScale = 0.7}, RunOptions{.loadError = 1.0}}) {
        const auto run = runOf("move-dynamics", wrong);
        EXPECT_TRUE(fails(run, "Tracking error of the feed-forward alone")) << failures(run);
        EXPECT_TRUE(fails(run, "Feed-forward alone, full over gravity")) << failures(run);
    }
}

TEST(SensorAlarm, ClosesTheDragsAndTheForceGoesOn) {
    for (const RunOptions& options : kCases) {
        const auto run = runOf("sensor-alarm", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
    }
    const auto heavy = runOf("sensor-alarm", {.load = 1.0, .loadError = 0.3});
    EXPECT_NE(failures(heavy).find("Compensated force"), std::string::npos) << failures(heavy);
}

// The law from what was recorded of the first pull: 0.03 m/s along x of the base, 200 N s/m.
TEST(Drag, FollowsTheHandByItsDamping) {
    for (const RunOptions& options : {kCases[2], RunOptions{.robotType = 1, .load = 2.0}}) {
        const auto run = runOf("drag", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
        double force = 0.0, speed = 0.0;
        for (std::size_t k = 1450; k < 1700; k++) {
            force += run.recording.values[groups().size()][k][0];
            speed += 1e3 * (run.recording.values[groups().size() + 3][k][0] -
                            run.recording.values[groups().size() + 3][k - 1][0]);
        }
        EXPECT_NEAR(force / (1e-3 * speed), 200.0, 8.0);
        EXPECT_NEAR(speed / 250.0, 30.0, 1.0);
    }
    // the load's moment is that of an upright arm
    EXPECT_TRUE(fails(runOf("drag", {.mount = kMounts[2], .load = 2.0}), "Drift after the release"));
}

TEST(Wall, DampsOnTheWayThereAlone) {
    for (const RunOptions& options : {RunOptions{.robotType = 301, .seed = 2, .load = 3.0}}) {
        const auto run = runOf("wall", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
    }
}

// The library takes types 201 and 301 for arms with another shoulder.
TEST(Singular, GlidesOffOrHandsOver) {
    for (const RunOptions& options : {kCases[0], RunOptions{.robotType = 302, .seed = 3}}) {
        const auto run = runOf("singular", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
    }
    const auto run = runOf("singular", {.robotType = 201});
    EXPECT_TRUE(fails(run, "Way into the shoulder")) << failures(run);
    EXPECT_FALSE(fails(run, "Way into the wrist")) << failures(run);
}

TEST(Weigh, FindsTheToolAndTakesItOff) {
    for (const RunOptions& options : {kCases[1], kCases[2], RunOptions{.loadError = 1.0}}) {
        const auto run = runOf("weigh", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);

        // an offset and a tool of tens of newtons before the weighing, noise and counts at rest in the end
        const std::vector<Joints>& left = run.recording.values[groups().size() + 1];
        const auto norm = [](const Joints& f) { return std::hypot(f[0], f[1], f[2]); };
        double most = 0.0;
        for (const Joints& f : left) most = std::max(most, norm(f));
        EXPECT_GT(most, 20.0);
        EXPECT_LT(norm(left.back()), 1.5);
    }
}

TEST(TorqueDrag, EasesTheHandWhereItReachesTheJoints) {
    for (const RunOptions& options : {RunOptions{}, {.robotType = 201, .seed = 2}, {.robotType = 703}}) {
        const auto run = runOf("torque-drag", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
        // the torque of the drag as recorded: in the passes without it there is none
        const std::vector<Joints>& drag = run.recording.values[groups().size() + 2];
        double without = 0.0, with = 0.0;
        for (std::size_t k = 0; k < 16000; k++)
            for (const double torque : drag[k])
                (k < 8000 ? without : with) = std::max(k < 8000 ? without : with, std::fabs(torque));
        EXPECT_LT(without, 0.5);
        EXPECT_EQ(with > 2.0, options.robotType != 703) << with;
    }
    // an arm with another zero than the drag's Jacobian, and a weight that counts as a hand
    EXPECT_TRUE(fails(runOf("torque-drag", {.robotType = 3}), "Hand's mean force"));
    EXPECT_TRUE(fails(runOf("torque-drag", {.loadError = 0.3}), "Coasting with the drag"));
}

TEST(ForceCollide, EveryReactionIsInForceAtOnceAndEndsAsTold) {
    for (const RunOptions& options : {RunOptions{}, {.robotType = 301, .seed = 4, .mount = kMounts[1]}}) {
        const auto run = runOf("force-collide", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
        EXPECT_GE(valueOf(run, "Longest time from the band to the reaction"), 1.0);
    }
    // the command is held against the plant's own torque
    EXPECT_TRUE(fails(runOf("force-collide", {.loadError = 1.0}), "Command off"));
}

// What hangs on the arm is found, told of or not; an arm on a ceiling is none that the identification knows.
TEST(Identify, FindsTheLoadOnTheFloor) {
    for (const RunOptions& options :
         {RunOptions{}, RunOptions{.load = 1.0, .loadCenter = {-40, 30, 20}, .loadError = 1.0},
          RunOptions{.robotType = 702, .load = 2.0, .frictionScale = 2.0}}) {
        const auto run = runOf("identify", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
        EXPECT_GT(valueOf(run, "Mass off"), 0.0);
    }
    EXPECT_EQ(runOf("identify", {.mount = kMounts[2]}).verdicts.size(), 2U);
}

TEST(IdentifyLoad, WeighsWhereItsLeversAreTrue) {
    for (const RunOptions& options : {RunOptions{.load = 3.0}, RunOptions{.robotType = 401, .load = 12.0}}) {
        const auto run = runOf("identify-load", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
        EXPECT_GT(valueOf(run, "Weight by nine poses off"), 0.5);  // the gear that is 101
    }
    const RunOptions other = {.robotType = 303, .load = 3.0};
    EXPECT_EQ(runOf("identify-load", other).verdicts.size(), 2U);
}

TEST(IdentifyLoadDynamic, WeighsWhileTheSamplesAreClose) {
    for (const RunOptions& options : kCases) {
        const auto run = runOf("identify-load-dynamic", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
    }
}

// The fit follows the plant's friction, scaled or not, and the drive's torque that the page shows does, too.
// On a wall the weight of a load that nobody told of changes on the way.
TEST(IdentifyFriction, FindsTheCurveOfEachArm) {
    for (const RunOptions& options : {kCases[0], kCases[2]}) {
        const auto run = runOf("identify-friction", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
        const std::vector<Joints>& lines = run.recording.values.back();
        const std::size_t arm = lines.size() / 3;
        double off[3] = {}, all[3] = {};
        for (std::size_t k = 0; k < 3 * arm; k++) {
            off[k / arm] += std::fabs(lines[k][2] - lines[k][1]);
            all[k / arm] += std::fabs(lines[k][1]);
        }
        for (int k = 0; k < 3; k++) EXPECT_LT(off[k], 0.05 * all[k]) << options.robotType << " " << k;
        EXPECT_NEAR(all[1] / all[0], 2.5, 1e-6);
    }
    EXPECT_TRUE(fails(runOf("identify-friction", {.mount = kMounts[1], .loadError = 3.0}), "curve off"));
}

// In hand guiding the drives follow their currents alone, and leaving it does not pull the arm back.
TEST(PositionLoop, StandsByInHandGuiding) {
    Simulation simulation({.startPose = {30.0, -60.0, 80.0, -110.0, -90.0, 30.0}, .positionLoop = 15.0});
    Hand hand(HandWrench{[](double) { return Wrench{{0.0, 40.0, 0.0}, {}}; }}, {}, 0.1, 0.4);
    simulation.plant().setToolForces({hand.force()});
    const auto stretch = [&](int cycles) {
        int most = 0;
        for (; cycles > 0; cycles--) {
            simulation.cycle();
            for (std::size_t i = 0; i < 6; i++)
                most = std::max(most, std::abs(simulation.current()[i] - simulation.currentSet()[i]));
        }
        return most;
    };
    tmcDragSwitch(1);
    EXPECT_EQ(stretch(2500), 0);
    EXPECT_EQ(mpb.state, TGEN_DRAG);
    const Joints guided = simulation.measured();
    EXPECT_GT(std::fabs(guided[0] - simulation.options().startPose[0]), 1.0);
    tmcDragSwitch(0);
    EXPECT_LE(stretch(500), 2);
    for (std::size_t i = 0; i < 6; i++) EXPECT_NEAR(simulation.measured()[i], guided[i], 0.01);
    // and a push is held off
    Hand push(HandWrench{[](double) { return Wrench{{0.0, 40.0, 0.0}, {}}; }});
    simulation.plant().setToolForces({push.force()});
    EXPECT_GT(stretch(500), 10);
    const Currents total = simulation.current();
    simulation.cycle();
    EXPECT_TRUE(std::equal(total.begin(), total.end(), how.currentFeedback));
    for (std::size_t i = 0; i < 6; i++) EXPECT_NEAR(simulation.measured()[i], guided[i], 0.2);
}

TEST(RecordReplay, TellsAHandFromTheProgramsOwnRuns) {
    for (const RunOptions& options : kCases) {
        const auto run = runOf("record-replay", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
    }
}

TEST(Collide, EveryReactionEndsAsTold) {
    for (const RunOptions& options : {kCases[0], kCases[2]}) {
        const auto run = runOf("collide", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
    }
    EXPECT_TRUE(fails(runOf("collide", {.loadError = 8.0}), "ahead of the touch"));
}

TEST(StaticCollide, GivesWayAndStandsAgain) {
    for (const RunOptions& options : kCases) {
        const auto run = runOf("static-collide", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
    }
}

TEST(FalseAlarm, SpeaksUpForAWrongLoadAlone) {
    for (RunOptions options : kCases) {
        options.seconds = 10.0;
        const auto run = runOf("false-alarm", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
    }
    EXPECT_TRUE(
        fails(runOf("false-alarm", {.loadError = 8.0, .seconds = 10.0}), "False alarms without load"));
}

TEST(NaturalFrequency, TheNetworkKnowsThePlant) {
    const char* const error = "Largest error of the network";
    for (const RunOptions& options : {RunOptions{},
                                      {.robotType = 1, .seed = 2, .load = 2.5},
                                      {.robotType = 101, .seed = 3, .mount = kMounts[1], .load = 4.0},
                                      {.robotType = 201, .seed = 4},
                                      {.robotType = 301, .load = 12.0},
                                      {.robotType = 450, .seed = 6},
                                      {.robotType = 1001, .load = 25.0}}) {
        const auto run = runOf("natural-frequency", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
        EXPECT_GT(valueOf(run, error), 0.0) << options.robotType;
        // the plot shows two lines that move from pose to pose
        const auto& frequency = run.recording.values.back();
        ASSERT_EQ(1000u, frequency.size());
        for (std::size_t line = 0; line < 2; line++)
            EXPECT_GT(std::fabs(frequency[10][line] - frequency[990][line]), 1e-3);
    }
    // it cannot know of a load that the library does not
    EXPECT_TRUE(fails(runOf("natural-frequency", {.loadError = 3.0}), error));
    // nor another arm than that it learned: told, without a verdict
    for (const int type : {3, 50, 302, 701, 902}) {
        const auto run = runOf("natural-frequency", {.robotType = type});
        EXPECT_TRUE(run.passed()) << type << ": " << failures(run);
        EXPECT_EQ("Largest error of the network, which learned another arm", run.findings.back().first);
    }
}

// z of the tool has a dead band, so on a wavy, hard workpiece the force is anywhere in it; x has
// none.
TEST(Press, HoldsTheForceAndStopsAtTheGoal) {
    for (const RunOptions& options : {kCases[0], kCases[2], kDynamicsCases[3]}) {
        const auto run = runOf("press", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
        EXPECT_GT(valueOf(run, "Deviation: tip, waves, hard"), 0.5);
        EXPECT_LT(valueOf(run, "Deviation: side, waves, hard"), 0.5);

        // it hung free over the groove, and the tool did go down with the correction
        double deepest = 0.0, least = 1e9;
        for (const Joints& row : run.recording.values[groups().size() + 2])
            deepest = std::max(deepest, row[1]);
        for (const Joints& row : run.recording.values[groups().size()]) least = std::min(least, row[0]);
        EXPECT_GT(deepest, 3.0);
        EXPECT_EQ(least, 0.0);
    }
    const auto heavy = runOf("press", {.load = 1.0, .loadError = 0.3});
    EXPECT_TRUE(fails(heavy, "Mean off the target: tip, flat, hard")) << failures(heavy);
}

TEST(Press, RestsWithTheRecommendedGains) {
    const auto run = runOf("press-gains", {});
    EXPECT_TRUE(run.passed()) << failures(run);
    EXPECT_EQ(run.findings.size(), 76U);
}

TEST(Polish, LearnsTheWaves) {
    for (const RunOptions& options : {kCases[0], kCases[2]}) {
        const auto run = runOf("polish", options);
        EXPECT_TRUE(run.passed()) << options.robotType << ": " << failures(run);
    }
}

class EachScenario : public testing::TestWithParam<std::string> {};

// The blocks and the library's state are the process's own: a run must not show in the next. And all of its
// cycles are under the guard, as those of the other tests here, in which each scenario plays to its end.
TEST_P(EachScenario, LeavesNothingBehindAndKeepsToRealTimeRules) {
    const auto stand = [] {
        return runOf("hold", {.seed = 7, .load = 3.0, .seconds = 1.0}).recording.values;
    };
    const auto first = stand();
    const long before = guardedCycles();
    const auto run = runOf(GetParam(), {.robotType = 301, .load = 2.0, .seconds = 2.0});
    const double cycles = static_cast<double>(guardedCycles() - before);
    EXPECT_GE(cycles, 1e3 * run.simulation->time() - 0.5);
    EXPECT_GT(cycles, 0.0);
    EXPECT_EQ(first, stand());
    if (!tarn::test::isToBeHad(tarn::test::SystemCallWatch::kDispatch))
        GTEST_SKIP() << tarn::test::systemCallWatchRefusal();
}

// The gains of pressing are the same as pressing, 70 times: they have a test of their own, under the guard,
// too.
std::vector<std::string> walked() {
    std::vector<std::string> all;
    for (const Scenario* scenario : scenarios()) all.emplace_back(scenario->name);
    std::erase(all, "press-gains");
    return all;
}

INSTANTIATE_TEST_SUITE_P(Scenarios, EachScenario, testing::ValuesIn(walked()), [](const auto& scenario) {
    std::string name = scenario.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});
