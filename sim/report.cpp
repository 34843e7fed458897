#include "sim/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace tarn::sim {
namespace {

using Text = fmt::memory_buffer;

template <typename... Args>
void put(Text& text, fmt::format_string<Args...> format, Args&&... args) {
    fmt::format_to(std::back_inserter(text), format, std::forward<Args>(args)...);
}

std::string escaped(std::string_view raw) {
    std::string text;
    for (const char c : raw) {
        switch (c) {
            case '&':
                text += "&amp;";
                break;
            case '<':
                text += "&lt;";
                break;
            case '>':
                text += "&gt;";
                break;
            case '"':
                text += "&quot;";
                break;
            // of the control characters a page may hold only these
            default:
                text += static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t' ? '?' : c;
        }
    }
    return text;
}

constexpr const char* kStyle = R"(
:root { color-scheme: light dark; --ink: #1c2733; --soft: #5d6b7a; --rule: #d5dbe2; --page: #ffffff;
  --panel: #f5f7f9; --good: #1a7f45; --bad: #c62828;
  --j1: #1f6fb4; --j2: #d9730d; --j3: #2a8f4a; --j4: #c2334d; --j5: #7a52b3; --j6: #87642f; }
@media (prefers-color-scheme: dark) { :root { --ink: #e3e8ee; --soft: #9aa7b5; --rule: #3a4550;
  --page: #14191f; --panel: #1c232b; --good: #5ecb8a; --bad: #ff7b72;
  --j1: #6cb2f0; --j2: #f5a356; --j3: #6fcf8b; --j4: #f2788d; --j5: #b794f0; --j6: #c9a36a; } }
body { font: 15px/1.5 system-ui, sans-serif; color: var(--ink); background: var(--page);
  max-width: 1000px; margin: 2em auto; padding: 0 1em; }
h1 { font-size: 1.7em; margin-bottom: 0; } h2 { font-size: 1.15em; margin: 1.8em 0 0.5em; }
table { border-collapse: collapse; } td, th { padding: 0.25em 1em 0.25em 0; text-align: left;
  border-bottom: 1px solid var(--rule); vertical-align: top; } th { color: var(--soft); font-weight: 600; }
td.n { text-align: right; font-variant-numeric: tabular-nums; }
.good { color: var(--good); font-weight: 600; } .bad { color: var(--bad); font-weight: 600; }
pre { background: var(--panel); padding: 0.8em; overflow-x: auto; }
svg { width: 100%; height: auto; background: var(--panel); border-radius: 4px; }
svg text { fill: var(--ink); font: 12px system-ui, sans-serif; } svg text.soft { fill: var(--soft); }
svg .grid { stroke: var(--rule); stroke-width: 1; } svg .mark { stroke: var(--soft); stroke-dasharray: 4 3; }
svg .line { fill: none; stroke-width: 1.4; stroke-linejoin: round; }
svg .arm { fill: none; stroke: var(--ink); stroke-width: 5; stroke-linecap: round; stroke-linejoin: round; }
svg .joint { fill: var(--page); stroke: var(--ink); stroke-width: 2; } svg .flange { fill: var(--j4); }
svg .base { stroke: var(--soft); stroke-width: 8; }
)";

// ---- plots

// plot area within the picture, pixels
constexpr double kWidth = 960, kHeight = 260, kLeft = 70, kRight = 860, kTop = 30, kBottom = 225;

struct Axis {
    double low, high, step;
    double fraction(double value) const { return (value - low) / (high - low); }
};

// About `count` ticks at 1, 2 or 5 times a power of ten.
Axis axisOver(double low, double high, int count) {
    if (!(high > low)) {
        const double pad = low == 0.0 ? 1.0 : 0.1 * std::fabs(low);
        low -= pad;
        high += pad;
    }
    const double raw = (high - low) / count;
    const double decade = std::pow(10.0, std::floor(std::log10(raw)));
    const double lead = raw / decade;
    const double step = decade * (lead <= 1.0 ? 1.0 : lead <= 2.0 ? 2.0 : lead <= 5.0 ? 5.0 : 10.0);
    return {std::floor(low / step + 1e-9) * step, std::ceil(high / step - 1e-9) * step, step};
}

double pixelX(const Axis& time, double t) { return kLeft + time.fraction(t) * (kRight - kLeft); }
double pixelY(const Axis& axis, double value) { return kBottom - axis.fraction(value) * (kBottom - kTop); }

// Points of a line, thinned without losing anything that the eye could see: of each pixel column the lowest
// and the highest sample in their order of time, and of a level stretch only its ends.
void putPoints(Text& text, const Recording& recording, const std::vector<Joints>& values, std::size_t joint,
               const Axis& time, const Axis& axis) {
    struct Point {
        double x, y;
    };
    std::vector<Point> points;
    const auto add = [&](std::size_t k) {
        const Point point{pixelX(time, recording.time[k]),
                          std::round(10.0 * pixelY(axis, values[k][joint])) / 10.0};
        const std::size_t n = points.size();
        if (n >= 2 && points[n - 1].y == point.y && points[n - 2].y == point.y) {
            points[n - 1] = point;
        } else {
            points.push_back(point);
        }
    };
    for (std::size_t k = 0; k < recording.size();) {
        const double column = std::floor(pixelX(time, recording.time[k]));
        std::size_t low = k, high = k;
        for (; k < recording.size() && std::floor(pixelX(time, recording.time[k])) == column; k++) {
            if (values[k][joint] < values[low][joint]) low = k;
            if (values[k][joint] > values[high][joint]) high = k;
        }
        add(std::min(low, high));
        if (low != high) add(std::max(low, high));
    }
    for (const Point& point : points) put(text, "{:.1f},{:.1f} ", point.x, point.y);
}

void putPlot(Text& text, const Run& run, const Group& group, const std::vector<Joints>& values) {
    const Recording& recording = run.recording;
    double low = values[0][0], high = values[0][0];
    for (const Joints& row : values) {
        low = std::min(low, *std::min_element(row.begin(), row.end()));
        high = std::max(high, *std::max_element(row.begin(), row.end()));
    }
    const Axis axis = axisOver(low, high, 5);
    const Axis time = {recording.time.front(), std::max(recording.time.back(), recording.time.front() + 1e-3),
                       axisOver(recording.time.front(), recording.time.back(), 10).step};

    put(text, "<h2>{}</h2>\n<svg viewBox=\"0 0 {} {}\" role=\"img\">\n", escaped(group.title), kWidth,
        kHeight);
    put(text, "<text class=\"soft\" x=\"{}\" y=\"18\">{}</text>\n", kLeft, escaped(group.unit));
    const long ticks = std::lround((axis.high - axis.low) / axis.step);
    for (long n = 0; n <= ticks; n++) {
        // a rounded multiple of the step, so that zero reads 0
        const double value = (std::round(axis.low / axis.step) + static_cast<double>(n)) * axis.step;
        const double y = pixelY(axis, value);
        put(text, "<line class=\"grid\" x1=\"{}\" x2=\"{}\" y1=\"{:.1f}\" y2=\"{:.1f}\"/>", kLeft, kRight, y,
            y);
        put(text, "<text class=\"soft\" x=\"{}\" y=\"{:.1f}\" text-anchor=\"end\">{:.6g}</text>\n", kLeft - 6,
            y + 4, value);
    }
    for (double t = std::ceil(time.low / time.step) * time.step; t <= time.high * (1.0 + 1e-9);
         t += time.step) {
        put(text, "<text class=\"soft\" x=\"{:.1f}\" y=\"{}\" text-anchor=\"middle\">{:.6g}</text>\n",
            pixelX(time, t), kBottom + 18, t);
    }
    put(text, "<text class=\"soft\" x=\"{}\" y=\"{}\">s</text>\n", kRight + 16, kBottom + 18);
    for (const Event& event : run.events) {
        const double x = pixelX(time, event.time);
        put(text, "<line class=\"mark\" x1=\"{0:.1f}\" x2=\"{0:.1f}\" y1=\"{1}\" y2=\"{2}\"/>", x, kTop,
            kBottom);
        put(text, "<text class=\"soft\" x=\"{:.1f}\" y=\"{}\">{}</text>\n", x + 4, kTop + 12,
            escaped(event.word));
    }
    for (std::size_t joint = 0; joint < 6; joint++) {
        put(text, "<polyline class=\"line\" style=\"stroke: var(--j{})\" points=\"", joint + 1);
        putPoints(text, recording, values, joint, time, axis);
        put(text, "\"/>\n");
        const double y = kTop + 14 + 20.0 * static_cast<double>(joint);
        put(text,
            "<line class=\"line\" style=\"stroke: var(--j{0})\" x1=\"{1}\" x2=\"{2}\" y1=\"{3}\" "
            "y2=\"{3}\"/>",
            joint + 1, kRight + 14, kRight + 34, y - 4);
        put(text, "<text x=\"{}\" y=\"{}\">joint {}</text>\n", kRight + 40, y, joint + 1);
    }
    put(text, "</svg>\n");
}

// ---- stick figure

// Arm as seen in the room, from the side (x to the right, z up) and from above (x to the right, y up).
struct View {
    const char* title;
    std::size_t across, up;  // room axes
    double middle;           // pixel of the base
};
constexpr View kViews[] = {{"From the side", 0, 2, 240}, {"From above", 0, 1, 720}};
constexpr double kFigureHeight = 430;
constexpr double kFigureMiddle = 225;
constexpr double kFigureReach = 175;  // pixels from the base to the edge of a view

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

    put(text, "<h2>Arm in the room</h2>\n<svg viewBox=\"0 0 {} {}\" role=\"img\">\n", kWidth, kFigureHeight);
    for (const View& view : kViews) {
        const auto x = [&](const Vec3& p) { return view.middle + scale * p[view.across]; };
        const auto y = [&](const Vec3& p) { return kFigureMiddle - scale * p[view.up]; };
        put(text, "<text x=\"{}\" y=\"22\" text-anchor=\"middle\">{}</text>\n", view.middle, view.title);
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
                view.middle, kFigureMiddle);
            for (const Vec3& p : poses[n]) put(text, " {:.1f},{:.1f}", x(p), y(p));
            put(text, "\"/>");
            for (const Vec3& p : poses[n]) {
                put(text, "<circle class=\"joint\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"4\"/>", x(p), y(p));
            }
            put(text, "<circle class=\"flange\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"5\"/></g>\n", x(poses[n][6]),
                y(poses[n][6]));
        }
    }
    // a bar of round length
    const double bar = axisOver(0.0, reach, 3).step;
    put(text, "<line class=\"arm\" style=\"stroke-width: 2\" x1=\"30\" x2=\"{:.1f}\" y1=\"412\" y2=\"412\"/>",
        30.0 + bar * scale);
    put(text, "<text x=\"30\" y=\"404\">{:g} m</text>\n</svg>\n", bar);
    put(text,
        "<p>The red dot is the flange. Earlier poses are paler; gravity points down in the side view.</p>\n");
}

// ---- tables

void putVerdicts(Text& text, const Run& run) {
    put(text,
        "<h2>Verdicts</h2>\n<table>\n<tr><th></th><th>What</th><th>Measured</th><th>At most</th><th>Unit</th>"
        "</tr>\n");
    for (const Verdict& verdict : run.verdicts) {
        put(text,
            "<tr><td class=\"{}\">{}</td><td>{}</td><td class=\"n\">{:.4g}</td><td class=\"n\">{:.6g}</td>"
            "<td>{}</td></tr>\n",
            verdict.pass ? "good" : "bad", verdict.pass ? "pass" : "FAIL", escaped(verdict.name),
            verdict.value, verdict.limit, escaped(verdict.unit));
    }
    put(text, "</table>\n");
}

}  // namespace

void writeReport(const Scenario& scenario, const Run& run, const std::filesystem::path& file) {
    Text text;
    put(text,
        "<!DOCTYPE html>\n<html lang=\"en\" xmlns=\"http://www.w3.org/1999/xhtml\">\n<head>\n"
        "<meta charset=\"utf-8\"/>\n<meta name=\"viewport\" content=\"width=device-width, "
        "initial-scale=1\"/>\n"
        "<title>{0}</title>\n<style>{1}</style>\n</head>\n<body>\n<h1>{0}</h1>\n<p>{2}</p>\n",
        escaped(scenario.name), kStyle, escaped(scenario.sentence));
    const bool passed = run.passed();
    put(text, "<p class=\"{}\">{}</p>\n", passed ? "good" : "bad",
        passed ? "All verdicts pass." : "A verdict fails.");
    putVerdicts(text, run);
    if (run.recording.size() > 0) {
        putFigure(text, run);
        for (std::size_t g = 0; g < groups().size(); g++) {
            putPlot(text, run, groups()[g], run.recording.values[g]);
        }
    }
    put(text, "<h2>Settings</h2>\n<table>\n");
    for (const auto& [name, value] : run.settings) {
        put(text, "<tr><th>{}</th><td>{}</td></tr>\n", escaped(name), escaped(value));
    }
    put(text, "</table>\n<h2>Log</h2>\n");
    if (run.log.empty()) {
        put(text, "<p>No lines.</p>\n");
    } else {
        put(text, "<pre>");
        for (const std::string& line : run.log) put(text, "{}\n", escaped(line));
        put(text, "</pre>\n");
    }
    put(text, "</body>\n</html>\n");

    std::ofstream stream(file, std::ios::binary);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.close();
    if (!stream) throw std::runtime_error(fmt::format("cannot write {}", file.string()));
}

}  // namespace tarn::sim
