#include "sim/report.h"

#include <mujoco/mujoco.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>

#include "sim/report_data.h"
#include "sim/report_page.h"
#include "sim/report_plot.h"
#include "sim/report_text.h"

namespace tarn::sim {
namespace {

// ---- stick figure

// Arm as seen in the room, from the side (x to the right, z up) and from above (x to the right, y up).
struct View {
    const char* title;
    std::size_t across, up;  // room axes
};
constexpr View kViews[] = {{"From the side", 0, 2}, {"From above", 0, 1}};
constexpr double kViewWidth = 480, kViewHeight = 430;
constexpr double kMiddleX = 240, kMiddleY = 225;  // of the base
constexpr double kFigureReach = 175;              // pixels from the base to the edge of a view

void putFigure(Text& text, const Run& run) {
    const Simulation& simulation = *run.simulation;
    const Mount& mount = simulation.options().mount;
    const std::vector<Joints>& angles = run.recording.values[kMeasured];
    const std::size_t last = angles.size() - 1;
    constexpr std::size_t kPoses = 5;

    // earlier poses paler; the last one on top
    std::array<std::array<Vec3, 7>, kPoses> poses;
    double reach = 0.1;  // m
    for (std::size_t n = 0; n < kPoses; n++) {
        poses[n] = simulation.plant().frameOrigins(angles[last * n / (kPoses - 1)]);
        for (Vec3& point : poses[n]) {
            point = baseToRoom(mount, point);
            for (const double x : point) reach = std::max(reach, std::fabs(x));
        }
    }
    const double scale = kFigureReach / reach;  // pixels per m

    const double bar = tickStep(0.0, reach, 3);

    put(text, "<h2>Arm in the room</h2>\n<div class=\"views\">\n");
    for (const View& view : kViews) {
        const auto x = [&](const Vec3& p) { return kMiddleX + scale * p[view.across]; };
        const auto y = [&](const Vec3& p) { return kMiddleY - scale * p[view.up]; };
        put(text, "<svg viewBox=\"0 0 {} {}\" role=\"img\" aria-label=\"Arm seen {}\">\n", kViewWidth,
            kViewHeight, view.title);
        put(text, "<text x=\"{}\" y=\"22\" text-anchor=\"middle\">{}</text>\n", kMiddleX, view.title);
        // the base plate, across the first joint's axis
        const Vec3 foot[] = {
            baseToRoom(mount, {-0.12 * reach, 0, 0}), baseToRoom(mount, {0.12 * reach, 0, 0}),
            baseToRoom(mount, {0, -0.12 * reach, 0}), baseToRoom(mount, {0, 0.12 * reach, 0})};
        for (std::size_t n = 0; n < 4; n += 2) {
            put(text, "<line class=\"base\" x1=\"{:.1f}\" y1=\"{:.1f}\" x2=\"{:.1f}\" y2=\"{:.1f}\"/>\n",
                x(foot[n]), y(foot[n]), x(foot[n + 1]), y(foot[n + 1]));
        }
        for (std::size_t n = 0; n < kPoses; n++) {
            const double opacity = n + 1 == kPoses ? 1.0 : 0.12 + 0.08 * static_cast<double>(n);
            put(text, "<g opacity=\"{:.2f}\"><polyline class=\"arm\" points=\"{:.1f},{:.1f}", opacity,
                kMiddleX, kMiddleY);
            for (const Vec3& p : poses[n]) put(text, " {:.1f},{:.1f}", x(p), y(p));
            put(text, "\"/>");
            for (const Vec3& p : poses[n]) {
                put(text, "<circle class=\"joint\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"4\"/>", x(p), y(p));
            }
            put(text, "<circle class=\"flange\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"5\"/></g>\n", x(poses[n][6]),
                y(poses[n][6]));
        }
        // a bar of round length
        put(text,
            "<line class=\"arm\" style=\"stroke-width: 2\" x1=\"20\" x2=\"{:.1f}\" y1=\"412\" y2=\"412\"/>",
            20.0 + bar * scale);
        put(text, "<text x=\"20\" y=\"404\">{:g} m</text>\n</svg>\n", bar);
    }
    put(text,
        "</div>\n<p>The red dot is the flange. Earlier poses are paler; gravity points down in the side "
        "view.</p>\n");
}

// ---- tables

// U+2713 and U+2717: the verdict also where colors do not show
constexpr const char* kPassSign = "\u2713";
constexpr const char* kFailSign = "\u2717";

void putVerdicts(Text& text, const Run& run) {
    const auto passed =
        std::count_if(run.verdicts.begin(), run.verdicts.end(), [](const Verdict& v) { return v.pass; });
    put(text, "<h2>Verdicts</h2>\n<p class=\"{}\">{} {}: {} of {} verdicts pass.</p>\n",
        run.passed() ? "good" : "bad", run.passed() ? kPassSign : kFailSign, run.passed() ? "pass" : "FAIL",
        passed, run.verdicts.size());
    put(text,
        "<div class=\"table\">\n<table>\n<tr><th></th><th>What</th><th class=\"n\">Measured</th><th "
        "class=\"n\">At most</th>"
        "<th>Unit</th></tr>\n");
    for (const Verdict& verdict : run.verdicts) {
        put(text,
            "<tr><td class=\"word {}\">{} {}</td><td>{}</td><td class=\"n\">{:.4g}</td>"
            "<td class=\"n\">{:.6g}</td><td>{}</td></tr>\n",
            verdict.pass ? "good" : "bad", verdict.pass ? kPassSign : kFailSign,
            verdict.pass ? "pass" : "FAIL", escaped(verdict.name), verdict.value, verdict.limit,
            escaped(verdict.unit));
    }
    put(text, "</table>\n</div>\n");
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

void putPairs(Text& text, const char* title, const Pairs& pairs) {
    put(text, "<h2>{}</h2>\n<table class=\"settings\">\n", title);
    for (const auto& [name, value] : pairs) {
        put(text, "<tr><th>{}</th><td>{}</td></tr>\n", escaped(name), escaped(value));
    }
    put(text, "</table>\n");
}

Pairs versions() {
    return {{"Library", "tarnforce " TARN_VERSION},
            {"Physics engine", fmt::format("MuJoCo {}", mj_versionString())},
            {"Compiler", TARN_COMPILER},
            {"Compiler options", TARN_COMPILER_OPTIONS}};
}

// ---- what happened when

// Events and log lines, as rows in time.
struct Row {
    double time;  // s
    std::string kind, text;
    bool event;
};

std::vector<Row> rowsInTime(const Run& run) {
    std::vector<Row> rows;
    for (const Event& event : run.events) rows.push_back({event.time, "event", event.word, true});
    for (const LogLine& line : run.log) rows.push_back({line.time, line.severity, line.text, false});
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.time < b.time; });
    return rows;
}

std::vector<TimeMark> marksOf(const std::vector<Row>& rows) {
    std::vector<TimeMark> marks;
    for (const Row& row : rows) marks.push_back({row.time, row.kind, row.event ? row.text : ""});
    return marks;
}

// The time of a row is a link: it zooms the plots to the time around it.
void putRow(Text& text, const Row& row) {
    constexpr double kAround = 0.1;  // s
    put(text, "<tr class=\"{0}\" data-time=\"{1:.4f}\" data-kind=\"{0}\"", escaped(row.kind), row.time);
    if (row.event) put(text, " data-word=\"{}\"", escaped(row.text));
    put(text, "><td class=\"n\"><a href=\"#zoom={:.3f},{:.3f}\">{:.3f}</a></td>", row.time - kAround,
        row.time + kAround, row.time);
    put(text, "<td class=\"kind\">{}</td><td>{}</td></tr>\n", escaped(row.kind), escaped(row.text));
}

void putRows(Text& text, const std::vector<Row>& rows) {
    put(text, "<h2>Events and log</h2>\n");
    if (rows.empty()) {
        put(text, "<p>No lines.</p>\n");
        return;
    }
    constexpr std::size_t kEnd = 1000;  // rows kept at either end of a log too long for a page
    put(text, "<div id=\"log\">\n<table>\n<tr><th class=\"n\">Time, s</th><th>Kind</th><th>Text</th></tr>\n");
    for (std::size_t n = 0; n < rows.size(); n++) {
        if (n == kEnd && rows.size() > 2 * kEnd) {
            const std::size_t left = rows.size() - 2 * kEnd;
            put(text, "<tr><td></td><td></td><td>{} lines are left out here.</td></tr>\n", left);
            n += left;
        }
        putRow(text, rows[n]);
    }
    put(text, "</table>\n</div>\n");
}

void putPlots(Text& text, const Recording& recording, const std::vector<Row>& rows) {
    const PlotTime time(recording);
    put(text,
        "<h2>Over time</h2>\n<div id=\"plots\" data-low=\"{:.6g}\" data-high=\"{:.6g}\" data-digits=\"{}\"",
        time.low(), time.high(), kDigits);
    put(text, " data-quantum=\"{}\" data-times=\"{}\">\n", kTimeQuantum, time.codedTimes());
    put(text, "<p class=\"hint\">Each plot shows the whole run.</p>\n");
    if (time.bunch() > 1) {
        put(text, "<p>The run is long: of every {} cycles each line keeps the lowest and the highest.</p>\n",
            time.bunch());
    }
    const std::vector<Group> all = recording.allGroups();
    for (std::size_t g = 0; g < all.size(); g++) {
        putPlot(text, time, marksOf(rows), all[g], recording.values[g]);
    }
    put(text, "</div>\n");
}

}  // namespace

void writeReport(const Scenario& scenario, const Run& run, const std::filesystem::path& file) {
    Text text;
    put(text,
        "<!DOCTYPE html>\n<html lang=\"en\" xmlns=\"http://www.w3.org/1999/xhtml\">\n<head>\n"
        "<meta charset=\"utf-8\"/>\n<meta name=\"viewport\" content=\"width=device-width, "
        "initial-scale=1\"/>\n"
        "<title>{0}</title>\n<style>{1}</style>\n</head>\n<body>\n<h1>{0}</h1>\n<p>{2}</p>\n",
        escaped(scenario.name), kPageStyle, escaped(scenario.sentence));
    putVerdicts(text, run);
    if (!run.findings.empty()) putPairs(text, "Measured", run.findings);
    const std::vector<Row> rows = rowsInTime(run);
    if (run.recording.size() > 0) {
        putFigure(text, run);
        putPlots(text, run.recording, rows);
    }
    putRows(text, rows);
    putPairs(text, "Settings", run.settings);
    putPairs(text, "Versions", versions());
    put(text, "<script>//<![CDATA[{}//]]></script>\n</body>\n</html>\n", kPageScript);

    std::ofstream stream(file, std::ios::binary);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.close();
    if (!stream) throw std::runtime_error(fmt::format("cannot write {}", file.string()));
}

}  // namespace tarn::sim
