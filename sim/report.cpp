#include "sim/report.h"

#include <mujoco/mujoco.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>

#include "sim/report_arm.h"
#include "sim/report_data.h"
#include "sim/report_page.h"
#include "sim/report_plot.h"
#include "sim/report_text.h"

namespace tarn::sim {
namespace {

// ---- tables

void putVerdicts(Text& text, const Run& run) {
    put(text,
        "<h2 id=\"verdicts\">Verdicts</h2>\n<div class=\"table\">\n<table>\n<tr><th></th><th>What</th><th "
        "class=\"n\">Measured</th><th "
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

void putPairs(Text& text, const Pairs& pairs) {
    put(text, "<table class=\"settings\">\n");
    for (const auto& [name, value] : pairs) {
        put(text, "<tr><th>{}</th><td>{}</td></tr>\n", escaped(name), escaped(value));
    }
    put(text, "</table>\n");
}

// A long list is folded up, so that the plots do not stand pages below.
void putFindings(Text& text, const Pairs& findings) {
    constexpr std::size_t kMost = 12;
    put(text, "<h2 id=\"measured\">Measured</h2>\n");
    if (findings.size() > kMost)
        put(text, "<details>\n<summary>{} values without a limit</summary>\n", findings.size());
    putPairs(text, findings);
    if (findings.size() > kMost) put(text, "</details>\n");
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
    put(text, "<h2 id=\"lines\">Events and log</h2>\n");
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

void putPlots(Text& text, const Recording& recording, const PlotTime& time, const std::vector<Row>& rows) {
    put(text,
        "<h2 id=\"time\">Over time</h2>\n<div id=\"plots\" data-low=\"{:.6g}\" data-high=\"{:.6g}\" "
        "data-digits=\"{}\"",
        time.low(), time.high(), kDigits);
    put(text, " data-quantum=\"{}\" data-times=\"{}\">\n", kTimeQuantum, time.codedTimes());
    put(text, "<p class=\"hint\">Each plot shows the whole run.</p>\n");
    if (time.bunch() > 1) {
        put(text, "<p>The run is long: of every {} cycles each line keeps the lowest and the highest.</p>\n",
            time.bunch());
    }
    const std::vector<Group> all = recording.allGroups();
    // what the scenario plots on top of the usual is what it is about
    for (std::size_t n = 0; n < all.size(); n++) {
        const std::size_t g = (groups().size() + n) % all.size();
        putPlot(text, time, marksOf(rows), all[g], recording.values[g]);
    }
    put(text, "</div>\n");
}

void putHead(Text& text, const Scenario& scenario, const Run& run, const std::string& stem) {
    const auto passed =
        std::count_if(run.verdicts.begin(), run.verdicts.end(), [](const Verdict& v) { return v.pass; });
    put(text, "<header>\n<nav><a href=\"index.html\">All runs</a> <span><a href=\"#verdicts\">Verdicts</a>");
    if (!run.findings.empty()) put(text, " <a href=\"#measured\">Measured</a>");
    if (run.recording.size() > 0) put(text, " <a href=\"#time\">Plots</a>");
    put(text, " <a href=\"#lines\">Log</a> <a href=\"#settings\">Settings</a>");
    put(text, " <a href=\"{}.csv\">Data</a></span></nav>\n", escaped(stem));
    put(text, "<h1>{} <span class=\"badge {}\">{} {}: {} of {} verdicts pass.</span></h1>\n",
        escaped(scenario.name), run.passed() ? "good" : "bad", run.passed() ? kPassSign : kFailSign,
        run.passed() ? "pass" : "FAIL", passed, run.verdicts.size());
    put(text, "<p>{}</p>\n<p class=\"soft\">{}</p>\n</header>\n", escaped(scenario.sentence),
        escaped(settingsLine(run)));
}

}  // namespace

std::string settingsLine(const Run& run) {
    const RunOptions& options = run.options;
    std::string text = fmt::format("type {}, {}", options.robotType, options.mount.name);
    if (options.mount.code == kMounts[3].code)
        text += fmt::format(" {:g}\u00b0 {:g}\u00b0", options.mount.yAngle, options.mount.zAngle);
    text += options.load == 0.0 ? ", no load" : fmt::format(", load {:g} kg", options.load);
    if (options.loadError != 0.0) text += fmt::format(" and {:g} kg unknown", options.loadError);
    if (options.frictionScale != 1.0) text += fmt::format(", friction \u00d7 {:g}", options.frictionScale);
    if (options.pose) text += ", own pose";
    text += fmt::format(", seed {}", options.seed);
    return text + fmt::format(", {:.4g} s", run.simulation == nullptr ? 0.0 : run.simulation->time());
}

void writeReport(const Scenario& scenario, const Run& run, const std::filesystem::path& file) {
    const bool recorded = run.recording.size() > 0;
    Text text;
    put(text,
        "<!DOCTYPE html>\n<html lang=\"en\" xmlns=\"http://www.w3.org/1999/xhtml\">\n<head>\n"
        "<meta charset=\"utf-8\"/>\n<meta name=\"viewport\" content=\"width=device-width, "
        "initial-scale=1\"/>\n"
        "<title>{0}</title>\n<style>{1}</style>\n</head>\n<body class=\"{2}\">\n",
        escaped(scenario.name), kPageStyle, recorded ? "run" : "");
    putHead(text, scenario, run, file.stem().string());
    const PlotTime time(run.recording);
    if (recorded) putArm(text, run, time);
    put(text, "<main>\n");
    putVerdicts(text, run);
    if (!run.findings.empty()) putFindings(text, run.findings);
    const std::vector<Row> rows = rowsInTime(run);
    if (recorded) putPlots(text, run.recording, time, rows);
    putRows(text, rows);
    put(text, "<h2 id=\"settings\">Settings</h2>\n");
    putPairs(text, run.settings);
    put(text, "<h2>Versions</h2>\n");
    putPairs(text, versions());
    put(text, "</main>\n<script>//<![CDATA[{}{}//]]></script>\n</body>\n</html>\n", kArmScript, kPageScript);

    std::ofstream stream(file, std::ios::binary);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.close();
    if (!stream) throw std::runtime_error(fmt::format("cannot write {}", file.string()));
}

}  // namespace tarn::sim
