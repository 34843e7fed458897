#include "sim/report_thumbnail.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "sim/report_data.h"
#include "sim/report_text.h"

namespace tarn::sim {
namespace {

// Units of the picture: the arm in a square, the plot beside it, its title below.
constexpr double kHeight = 240, kArm = 240, kPlotFrom = 264, kPlotTo = 640, kPlotTop = 12, kPlotFoot = 196;

struct Point {
    long x, y;
    bool operator==(const Point&) const = default;
};

// Relative to the point before, which is short.
void putPath(Text& text, const char* style, const std::vector<Point>& points) {
    if (points.empty()) return;
    put(text, "<path class=\"{}\" d=\"M{} {}", style, points[0].x, points[0].y);
    if (points.size() == 1) put(text, "h0");
    for (std::size_t n = 1; n < points.size(); n++) {
        if (points[n] != points[n - 1])
            put(text, "l{} {}", points[n].x - points[n - 1].x, points[n].y - points[n - 1].y);
    }
    put(text, "\"/>");
}

// The arm at the start, pale, and at the end, in the room with the base in the middle.
void putArm(Text& text, const Run& run) {
    const std::vector<Joints>& angles = run.recording.values[kMeasured];
    constexpr std::size_t kPlaces = 120;  // of the flange's way
    const ViewPoint view = viewPointOf(run);
    // after a blow-up of the engine nothing is left of a pose but the base
    const auto seen = [&](std::size_t k) {
        std::vector<ViewPoint::Seen> points = {view({})};
        const bool lost =
            !std::all_of(angles[k].begin(), angles[k].end(), [](double q) { return std::isfinite(q); });
        if (lost) return points;
        for (const Vec3& p : run.simulation->plant().frameOrigins(angles[k]))
            points.push_back(view(baseToRoom(run.simulation->options().mount, p)));
        return points;
    };
    const auto first = seen(0), last = seen(angles.size() - 1);
    std::vector<ViewPoint::Seen> way;
    for (std::size_t n = 0; n <= kPlaces; n++) way.push_back(seen((angles.size() - 1) * n / kPlaces).back());

    double left = 0.0, right = 0.0, low = 0.0, high = 0.0;
    for (const std::vector<ViewPoint::Seen>* points : {&first, &last, &std::as_const(way)}) {
        for (const ViewPoint::Seen& p : *points) {
            left = std::min(left, p.across);
            right = std::max(right, p.across);
            low = std::min(low, p.up);
            high = std::max(high, p.up);
        }
    }
    const double scale = (kArm - 32.0) / std::max({0.2, right - left, high - low});
    const auto placed = [&](const std::vector<ViewPoint::Seen>& points) {
        std::vector<Point> all;
        for (const ViewPoint::Seen& p : points) {
            all.push_back({std::lround(kArm / 2 + scale * (p.across - (left + right) / 2)),
                           std::lround(kHeight / 2 - scale * (p.up - (low + high) / 2))});
        }
        return all;
    };
    putPath(text, "arm pale", placed(first));
    putPath(text, "way", placed(way));
    putPath(text, "arm", placed(last));
    const Point foot = placed({view({})})[0], flange = placed({last.back()})[0];
    put(text,
        "<circle class=\"base\" cx=\"{}\" cy=\"{}\" r=\"8\"/><circle class=\"flange\" cx=\"{}\" cy=\"{}\" "
        "r=\"8\"/>",
        foot.x, foot.y, flange.x, flange.y);
}

// What the scenario plots on top of the usual, the first of it; else how far the arm went.
std::size_t mostTelling(const Recording& recording) {
    return recording.more.empty() ? static_cast<std::size_t>(kDrift) : groups().size();
}

void putPlot(Text& text, const Recording& recording) {
    const std::size_t which = mostTelling(recording);
    const Group group = recording.allGroups()[which];
    const std::vector<Joints>& values = recording.values[which];
    constexpr std::size_t kColumns = 94;  // four units each
    double low = HUGE_VAL, high = -HUGE_VAL;
    std::vector<std::vector<double>> lines(lineCount(group));
    for (std::size_t line = 0; line < lines.size(); line++) {
        for (const Joints& row : values) {
            lines[line].push_back(row[line]);
            if (!std::isfinite(row[line])) continue;
            low = std::min(low, row[line]);
            high = std::max(high, row[line]);
        }
    }
    if (!(high - low > 1e-12)) high = low + 1.0;
    const auto y = [&](double value) {
        return std::lround(kPlotFoot - (kPlotFoot - kPlotTop) * (value - low) / (high - low));
    };
    if (low < 0.0 && high > 0.0)
        put(text, "<path class=\"zero\" d=\"M{} {}H{}\"/>", kPlotFrom, y(0.0), kPlotTo);
    for (std::size_t line = 0; line < lines.size(); line++) {
        std::vector<Point> points;
        for (std::size_t column = 0; column < kColumns; column++) {
            const std::size_t from = values.size() * column / kColumns;
            const std::size_t until = std::max(from + 1, values.size() * (column + 1) / kColumns);
            const Extremes extremes = extremesOf(lines[line], from, until - from);
            if (!std::isfinite(lines[line][extremes.one])) continue;
            const long x = std::lround(kPlotFrom + (kPlotTo - kPlotFrom) * static_cast<double>(column) /
                                                       (kColumns - 1.0));
            points.push_back({x, y(lines[line][extremes.one])});
            points.push_back({x, y(lines[line][extremes.two])});
        }
        putPath(text, fmt::format("line j{}", line + 1).c_str(), points);
    }
    put(text, "<text x=\"{}\" y=\"{}\" text-anchor=\"end\">{}, {}</text>", kPlotTo, kHeight - 12,
        escaped(group.title), escaped(group.unit));
}

}  // namespace

ViewPoint::Seen ViewPoint::operator()(const Vec3& p) const {
    const double ahead = std::cos(azimuth) * p[0] + std::sin(azimuth) * p[1];  // towards the eye, level
    return {-std::sin(azimuth) * p[0] + std::cos(azimuth) * p[1],
            std::cos(elevation) * p[2] - std::sin(elevation) * ahead,
            std::cos(elevation) * ahead + std::sin(elevation) * p[2]};
}

ViewPoint viewPointOf(const Run& run) {
    constexpr double kAside = 60.0 * std::numbers::pi / 180.0, kAbove = 18.0 * std::numbers::pi / 180.0;
    const std::vector<Joints>& angles = run.recording.values[kMeasured];
    double x = 0.0, y = 0.0;
    for (std::size_t n = 0; n < 20; n++) {
        const Vec3 flange = run.simulation->plant().frameOrigins(angles[(angles.size() - 1) * n / 19])[6];
        const Vec3 place = baseToRoom(run.simulation->options().mount, flange);
        if (!std::isfinite(place[0]) || !std::isfinite(place[1])) continue;
        x += place[0];
        y += place[1];
    }
    return {std::atan2(y, x) + kAside, kAbove};
}

std::string thumbnail(const Scenario& scenario, const Run& run) {
    Text text;
    put(text, "<svg viewBox=\"0 0 {} {}\" role=\"img\" aria-label=\"{}: arm and plot\">", kPlotTo, kHeight,
        escaped(scenario.name));
    if (run.simulation != nullptr && run.recording.size() > 0) {
        putArm(text, run);
        putPlot(text, run.recording);
    }
    put(text, "</svg>");
    return fmt::to_string(text);
}

}  // namespace tarn::sim
