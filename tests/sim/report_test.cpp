// The page of a run carries what was recorded, whole and unbent.
#include "sim/report.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "sim/report_index.h"
#include "sim/scenario.h"
#include "support/scratch_folder.h"
#include "tarntools/tools_log.h"

using namespace tarn::sim;

namespace {

void playBriefly(Run& run, double) {
    run.start(simulationOptions(run.options));
    run.advance(0.01);
}
const Scenario kBrief{"brief", "A run with <little> in it.", 0.01, playBriefly};

Run talk() {
    const Scenario scenario{"talk", "Talks, and blows up.", 1.0, [](Run& run, double) {
                                run.start(simulationOptions(run.options));
                                Write_Log(LOG_INFO, "first\n");
                                run.advance(0.123);
                                Write_Log(LOG_ERR, "second %d\n", 7);
                                run.advance(0.2);
                                throw PlantError("third");
                            }};
    Run run;
    play(scenario, run);
    return run;
}

std::string page(const Run& run) {
    const fixture::ScratchFolder folder;
    const auto file = folder.path / "page.html";
    writeReport(kBrief, run, file);
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

// A run of which every line is value(line, cycle), lines counted over all plots.
Run runOf(std::size_t cycles, const std::function<double(std::size_t line, std::size_t cycle)>& value) {
    Run run;
    play(kBrief, run);
    run.recording = {};
    run.recording.values.resize(groups().size());
    for (std::size_t k = 0; k < cycles; k++) {
        run.recording.time.push_back(static_cast<double>(k) * 0.001);
        for (std::size_t g = 0; g < groups().size(); g++) {
            Joints row;
            for (std::size_t joint = 0; joint < 6; joint++) row[joint] = value(6 * g + joint, k);
            run.recording.values[g].push_back(row);
        }
    }
    return run;
}

// Reads the samples as the page's script does: "!" no number, "*" and a count the last step again, else a
// step of five bits a digit, the sixth saying that more follow; odd ones are negative.
std::vector<double> decoded(const std::string& text, const std::string& digits, double quantum) {
    std::vector<double> values;
    std::size_t at = 0;
    const auto number = [&] {
        for (long result = 0, weight = 1;; weight *= 32) {
            const auto digit = static_cast<long>(digits.find(text.at(at++)));
            result += digit % 32 * weight;
            if (digit < 32) return result;
        }
    };
    long sum = 0, step = 0;
    bool gap = false;
    while (at < text.size()) {
        long times = 1;
        if (text[at] == '*') {
            at++;
            times = number();
        } else if (text[at] == '!') {
            at++;
            gap = true;
        } else {
            gap = false;
            const long coded = number();
            step = coded % 2 == 0 ? coded / 2 : -(coded + 1) / 2;
        }
        for (; times > 0; times--) {
            if (!gap) sum += step;
            values.push_back(gap ? NAN : static_cast<double>(sum) * quantum);
        }
    }
    return values;
}

// What stands between `name="` and the next quote, each time.
std::vector<std::string> attributes(const std::string& text, const std::string& name) {
    std::vector<std::string> all;
    const std::string start = " " + name + "=\"";
    for (std::size_t at = text.find(start); at != std::string::npos; at = text.find(start, at + 1)) {
        const std::size_t from = at + start.size();
        all.push_back(text.substr(from, text.find('"', from) - from));
    }
    return all;
}

struct Lines {
    std::vector<double> time, quanta;
    std::vector<std::vector<double>> values;
};

Lines linesOf(const std::string& text) {
    Lines lines;
    const std::string digits = attributes(text, "data-digits").at(0);
    const auto quanta = attributes(text, "data-quantum");  // the first is the time's
    lines.time = decoded(attributes(text, "data-times").at(0), digits, std::stod(quanta.at(0)));
    for (const std::string& samples : attributes(text, "data-samples")) {
        lines.quanta.push_back(std::stod(quanta.at(lines.values.size() + 1)));
        lines.values.push_back(decoded(samples, digits, lines.quanta.back()));
    }
    return lines;
}

// Elements are closed in the order in which they were opened.
testing::AssertionResult wellFormed(const std::string& text) {
    std::vector<std::string> open;
    for (std::size_t at = text.find("<html"); at != std::string::npos; at = text.find('<', at)) {
        if (text.compare(at, 8, "<script>") == 0) at = text.find("</script>", at);
        const std::size_t end = text.find('>', at);
        if (end == std::string::npos)
            return testing::AssertionFailure() << "no end of " << text.substr(at, 80);
        const std::string tag = text.substr(at + 1, end - at - 1);
        if (tag.find('<') != std::string::npos) return testing::AssertionFailure() << "< within " << tag;
        const std::string name = tag.substr(0, tag.find_first_of(" \n"));
        if (tag == "/script") {
        } else if (tag.starts_with('/')) {
            if (open.empty() || "/" + open.back() != name) return testing::AssertionFailure() << name;
            open.pop_back();
        } else if (!tag.ends_with('/')) {
            open.push_back(name);
        }
        at = end;
    }
    if (!open.empty()) return testing::AssertionFailure() << open.back() << " stays open";
    return testing::AssertionSuccess();
}

}  // namespace

TEST(ReportData, CarriesEverySampleFinely) {
    std::mt19937 generator(3);
    const auto noise = [&] { return static_cast<double>(generator()) * 0x1p-31 - 1.0; };
    struct Case {
        const char* name;
        std::function<double(double t)> value;
        double finest;  // what the page may be off by at most
    };
    const Case cases[] = {
        {"zero", [](double) { return 0.0; }, 1e-12},
        {"constant", [](double) { return -110.123456; }, 1e-6},
        {"slow", [](double t) { return 30.0 + 0.02 * t / 20.0; }, 1e-6},
        {"swing", [](double t) { return 170.0 * std::sin(6.0 * t); }, 0.02},
        {"whole numbers", [&](double) { return std::round(300.0 + 5.0 * noise()); }, 1e-9},
        {"noise", [&](double) { return noise(); }, 5e-3},
        {"small beside a spike", [](double t) { return t == 2.5 ? 1e4 : 1e-2 * std::sin(t); }, 1e-4},
        {"tiny", [](double t) { return 1e-9 * std::cos(t); }, 1e-13},
        {"huge", [](double t) { return 1e300 * std::cos(t); }, 1e296},
        {"gaps", [](double t) { return std::fmod(t, 0.1) < 0.04 ? NAN : t; }, 1e-3},
        {"no number", [](double) { return NAN; }, 0.0},
        {"infinite once", [](double t) { return t == 1.0 ? HUGE_VAL : t; }, 1e-3},
    };
    const std::size_t kinds = std::size(cases);
    const auto run = runOf(20000, [&](std::size_t line, std::size_t cycle) {
        return cases[line % kinds].value(static_cast<double>(cycle) * 0.001);
    });
    const Lines lines = linesOf(page(run));
    ASSERT_EQ(lines.values.size(), 6 * groups().size());
    ASSERT_EQ(lines.time.size(), 20000U);
    for (std::size_t k = 0; k < 20000; k++) ASSERT_NEAR(lines.time[k], static_cast<double>(k) * 0.001, 1e-9);
    for (std::size_t line = 0; line < lines.values.size(); line++) {
        SCOPED_TRACE(cases[line % kinds].name);
        ASSERT_EQ(lines.values[line].size(), 20000U);
        double off = 0.0;
        for (std::size_t k = 0; k < 20000; k++) {
            const double truth = run.recording.values[line / 6][k][line % 6];
            ASSERT_EQ(std::isfinite(lines.values[line][k]), std::isfinite(truth)) << "cycle " << k;
            if (std::isfinite(truth)) off = std::max(off, std::fabs(lines.values[line][k] - truth));
        }
        EXPECT_LE(off, cases[line % kinds].finest);
        EXPECT_LE(off, 0.5001 * lines.quanta[line]);
    }
}

TEST(ReportData, StaysSmallWithNoiseInEveryLine) {
    std::mt19937 generator(5);
    const auto run = runOf(20000, [&](std::size_t, std::size_t) { return static_cast<double>(generator()); });
    // 2 MB for thirty lines
    EXPECT_LE(page(run).size(), 6 * groups().size() * 2'000'000 / 30);
}

TEST(ReportData, ALongRunLosesNoSpike) {
    const std::size_t cycles = 100003;
    // a spike of one sample in each line, upward and downward in turn, the last one in the last cycle
    const auto at = [&](std::size_t line) { return cycles - 1 - 1999 * line % cycles; };
    const auto run = runOf(cycles, [&](std::size_t line, std::size_t cycle) {
        const double swing = std::sin(static_cast<double>(cycle) * 1e-3);
        return cycle == at(line) ? (line % 2 == 0 ? 50.0 : -50.0) : swing;
    });
    const std::string text = page(run);
    EXPECT_LE(text.size(), 6 * groups().size() * 2'000'000 / 30);
    const Lines lines = linesOf(text);
    const auto overviews = attributes(text.substr(text.find("id=\"plots\"")), "points");
    ASSERT_EQ(overviews.size(), lines.values.size());
    for (std::size_t line = 0; line < lines.values.size(); line++) {
        SCOPED_TRACE(line);
        const std::vector<double>& values = lines.values[line];
        ASSERT_EQ(values.size(), lines.time.size());
        const auto spike = std::max_element(values.begin(), values.end(),
                                            [](double a, double b) { return std::fabs(a) < std::fabs(b); });
        EXPECT_NEAR(*spike, line % 2 == 0 ? 50.0 : -50.0, 0.01);
        const double when = lines.time[static_cast<std::size_t>(spike - values.begin())];
        EXPECT_NEAR(when, static_cast<double>(at(line)) * 0.001, 0.01);
        // the plot is 400 high; the swing takes its middle, the spikes reach into its rims
        std::istringstream points(overviews[line]);
        bool seen = false;
        double x = 0.0, y = 0.0;
        for (char comma = 0; points >> x >> comma >> y;) seen |= line % 2 == 0 ? y < 40.0 : y > 360.0;
        EXPECT_TRUE(seen);
    }
}

TEST(ReportPage, StandsAloneAndIsWellFormed) {
    for (const std::size_t cycles : {0, 1, 2, 3000}) {
        SCOPED_TRACE(cycles);
        auto run = runOf(cycles, [](std::size_t line, std::size_t cycle) {
            return line == 0                    ? NAN
                   : line == 1 && cycle % 7 < 3 ? HUGE_VAL
                                                : static_cast<double>(line * cycle);
        });
        run.events = {{0.0, "a<b>&\"c\""}, {1.0, "later"}};
        run.log.emplace_back(0.5, "error", "]]></script><script>\x01");
        run.settings.emplace_back("<name>", "\"value\"");
        const std::string text = page(run);
        EXPECT_TRUE(wellFormed(text));
        EXPECT_EQ(text.find("nan"), std::string::npos);
        EXPECT_EQ(text.find('\x01'), std::string::npos);
        // in the plots' boxes, whatever is no number in them
        if (const std::size_t plots = text.find("id=\"plots\""); plots != std::string::npos) {
            for (const std::string& line : attributes(text.substr(plots), "points")) {
                std::istringstream points(line);
                double x = 0.0, y = 0.0;
                for (char comma = 0; points >> x >> comma >> y;) {
                    ASSERT_TRUE(0.0 <= x && x <= 800.0 && 0.0 <= y && y <= 400.0) << line.substr(0, 200);
                }
            }
        }
        for (const char* fetched : {"src=", "@import", "url(", "fetch(", "<link", "XMLHttpRequest"}) {
            EXPECT_EQ(text.find(fetched), std::string::npos) << fetched;
        }
        for (const std::string& link : attributes(text, "href")) {
            EXPECT_TRUE(link.starts_with('#') || link == "index.html" || link == "page.csv") << link;
        }
        EXPECT_EQ(text.find("<canvas") != std::string::npos, cycles > 0);
        for (const char* told : {"MuJoCo 2.", "tarnforce 0.", "-ffp-contract=off", "&lt;little&gt;"}) {
            EXPECT_NE(text.find(told), std::string::npos) << told;
        }
    }
}

TEST(ReportPage, TellsVerdictsInWords) {
    auto run = runOf(2, [](std::size_t, std::size_t) { return 0.0; });
    run.verdicts.clear();
    run.atMost("fine", 1.0, 2.0, "N");
    run.atMost("worse", 3.0, 2.0, "N");
    run.atMost("no number", NAN, 2.0, "N");
    std::string text;
    bool tag = false;
    for (const char c : page(run)) {
        if (c == '<') tag = true;
        if (!tag) text += c;
        if (c == '>') tag = false;
    }
    for (const char* row :
         {"✓ passfine12N", "✗ FAILworse32N", "✗ FAILno numbernan2N", "✗ FAIL: 1 of 3 verdicts pass."}) {
        EXPECT_NE(text.find(row), std::string::npos) << row;
    }
}

TEST(ReportPage, PutsEventsAndLogInOneOrderOfTime) {
    auto run = runOf(3000, [](std::size_t, std::size_t) { return 0.0; });
    run.events = {{2.1, "push"}, {0.25, "start"}};
    run.log.clear();
    for (int n = 0; n < 5000; n++) run.log.emplace_back(n * 0.0005, "info", "line " + std::to_string(n));
    const std::string text = page(run);
    const auto times = attributes(text, "data-time");
    ASSERT_EQ(times.size(), 2000U);
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end(),
                               [](const auto& a, const auto& b) { return std::stod(a) < std::stod(b); }));
    // 5002 rows; the two ends stay, and the page says what does not
    EXPECT_NE(text.find("<td>3002 lines are left out here.</td>"), std::string::npos);
    EXPECT_NE(text.find("<td>line 0</td>"), std::string::npos);
    EXPECT_NE(text.find("<td>line 4999</td>"), std::string::npos);
    EXPECT_EQ(text.find("<td>line 2000</td>"), std::string::npos);
    EXPECT_NE(text.find("href=\"#zoom=2.000,2.200\">2.100</a>"), std::string::npos);
    // at their places above every plot
    for (const char* place : {"left: 70.02%", "left: 8.34%"}) {
        std::size_t words = 0;
        for (std::size_t at = 0; (at = text.find(place, at)) != std::string::npos; at++) words++;
        EXPECT_EQ(words, groups().size()) << place;
    }
}

// The script draws the arm from these numbers: a distal table, and the base in the room.
TEST(ReportArm, NumbersOfThePagePutTheFlangeWhereThePlantHasIt) {
    struct Case {
        int type;
        TorqueModel model;
        const char* mount;
    };
    // the common shape, joints with turned zeros, the other shape
    for (const Case& c :
         {Case{101, GravityOnly, "floor"}, {3, GravityOnly, "wall"}, {701, FullDynamics, "tilted"}}) {
        SCOPED_TRACE(c.type);
        tarn::sim::Run run;
        run.options.robotType = c.type;
        run.options.torqueModel = c.model;
        run.options.mount = *findMount(c.mount);
        run.start(simulationOptions(run.options));
        run.recording.values.resize(groups().size());
        std::mt19937 generator(11);
        for (int k = 0; k < 20; k++) {
            run.recording.time.push_back(k * 0.001);
            for (auto& group : run.recording.values) {
                for (double& angle : group.emplace_back())
                    angle = static_cast<double>(generator()) * 0x1p-31 * 180.0;
            }
        }
        const std::string text = page(run);
        const auto rows = [&](const char* name) {
            std::string list = attributes(text, name).at(0);
            std::replace(list.begin(), list.end(), ';', ' ');
            std::istringstream in(list);
            return std::vector<double>(std::istream_iterator<double>(in), {});
        };
        const std::vector<double> links = rows("data-links"), base = rows("data-base");
        ASSERT_EQ(links.size(), 24U);
        ASSERT_EQ(base.size(), 9U);
        const Eigen::Matrix3d room = Eigen::Map<const Eigen::Matrix3d>(base.data());
        const Lines lines = linesOf(text);
        for (std::size_t k = 0; k < 20; k++) {
            Eigen::Isometry3d frame = Eigen::Isometry3d::Identity();
            for (std::size_t i = 0; i < 6; i++) {
                const double* link = &links[4 * i];
                const auto turn = [](double degrees, const Eigen::Vector3d& axis) {
                    return Eigen::AngleAxisd(degrees * 0.017453292519943295, axis);
                };
                frame = frame * turn(lines.values[6 * kMeasured + i][k] - link[3], Eigen::Vector3d::UnitZ()) *
                        Eigen::Translation3d(link[0], 0.0, link[2]) * turn(link[1], Eigen::Vector3d::UnitX());
            }
            const Vec3 flange = run.simulation->plant().frameOrigins(run.recording.values[kMeasured][k])[6];
            const Vec3 truth = baseToRoom(run.options.mount, flange);
            const Eigen::Vector3d drawn = room * frame.translation();
            for (int axis = 0; axis < 3; axis++)
                EXPECT_NEAR(drawn[axis], truth[static_cast<std::size_t>(axis)], 1e-3);
        }
    }
}

TEST(ReportIndex, ListsEachRunAndWhatFailedInIt) {
    const fixture::ScratchFolder folder;
    auto good =
        runOf(50, [](std::size_t line, std::size_t cycle) { return static_cast<double>(line * cycle); });
    good.verdicts.clear();
    good.atMost("held", 1.0, 2.0, "N");
    auto bad = runOf(50, [](std::size_t, std::size_t) { return NAN; });
    bad.options.load = 2.5;
    bad.options.seed = 18446744073709551615U;
    bad.atMost("too <far> \"out\"\t\\", 3.0, 2.0, "mm");
    bad.atMost("no number", NAN, 2.0, "mm");
    writeSummary(kBrief, good, folder.path / "good.json");
    writeSummary(kBrief, bad, folder.path / "bad.json");
    writeSummary(kBrief, tarn::sim::Run{}, folder.path / "empty.json");
    // not ours, or broken
    for (const char* other : {"[1, 2]", "{\"pass\": true}", "{\"format\": \"tarnsim run 1\"", ""})
        std::ofstream(folder.path / (std::to_string(std::string(other).size()) + ".json")) << other;
    writeIndex(folder.path);
    writeIndex(folder.path);  // over the one that is there

    std::ostringstream stream;
    stream << std::ifstream(folder.path / "index.html", std::ios::binary).rdbuf();
    const std::string text = stream.str();
    EXPECT_TRUE(wellFormed(text));
    EXPECT_EQ(text.find("src="), std::string::npos);
    EXPECT_EQ(attributes(text, "href"), (std::vector<std::string>{"bad.html", "empty.html", "good.html"}));
    for (const char* told : {"2 of 3 fail", "too &lt;far&gt; &quot;out&quot;\t\\ <b>3</b> of 2 mm",
                             "no number <b>nan</b> of 2 mm", "load 2.5 kg, seed 18446744073709551615",
                             "pass, 1 of 1", "held <b>1</b> of 2 N", "A run with &lt;little&gt; in it."}) {
        EXPECT_NE(text.find(told), std::string::npos) << told;
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder.path))
        EXPECT_NE(entry.path().extension(), ".part");
}

TEST(RunLog, LinesCarryTheTimeOfTheirCycle) {
    auto run = talk();
    std::erase_if(run.log, [](const LogLine& line) {
        return line.text != "first" && line.text != "second 7" && line.text != "third";
    });
    ASSERT_EQ(run.log.size(), 3U);
    const double times[] = {0.0, 0.123, 0.323};
    const char* severities[] = {"info", "error", "fatal"};
    for (std::size_t n = 0; n < 3; n++) {
        EXPECT_NEAR(run.log[n].time, times[n], 1e-9) << n;
        EXPECT_EQ(run.log[n].severity, severities[n]) << n;
    }
    EXPECT_FALSE(run.passed());
}
