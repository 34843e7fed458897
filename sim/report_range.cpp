#include "sim/report_range.h"

#include <algorithm>
#include <cmath>

#include "sim/report_plot.h"
#include "sim/report_text.h"

namespace tarn::sim {
namespace {

// Pixels. Narrow enough to be read on a phone, where it shrinks by a quarter.
constexpr double kWidth = 480, kLeft = 78, kRight = 462;
constexpr double kLine = 18, kMarkStep = 7, kRowRim = 9;
constexpr double kLetter = 7.2;  // about, of the legend

// Colors as on the pages of the runs; the names are its own, since a page may hold several.
constexpr const char* kStyle = R"css(
.range { --ink: #1c2733; --soft: #586675; --rule: #d5dbe2; --panel: #f5f7f9; --limit: #c62828;
  font: 13px system-ui, sans-serif; }
.range .m0 { --c: #1f6fb4; } .range .m1 { --c: #d9730d; } .range .m2 { --c: #2a8f4a; }
.range .m3 { --c: #c2334d; } .range .m4 { --c: #7a52b3; } .range .m5 { --c: #87642f; }
@media (prefers-color-scheme: dark) {
.range { --ink: #e3e8ee; --soft: #9aa7b5; --rule: #3a4550; --panel: #1c232b; --limit: #ff7b72; }
.range .m0 { --c: #6cb2f0; } .range .m1 { --c: #f5a356; } .range .m2 { --c: #6fcf8b; }
.range .m3 { --c: #f2788d; } .range .m4 { --c: #b794f0; } .range .m5 { --c: #c9a36a; } }
.range .panel { fill: var(--panel); } .range text { fill: var(--ink); } .range .soft { fill: var(--soft); }
.range .title { font-weight: 600; } .range path { fill: none; stroke: var(--rule); }
.range .reach { stroke: var(--c); stroke-width: 2.5; stroke-linecap: round; } .range .mark { fill: var(--c); }
.range .limit { stroke: var(--limit); stroke-width: 1.5; stroke-dasharray: 5 3; }
)css";

}  // namespace

Range rangeOf(std::vector<double> values) {
    std::erase_if(values, [](double value) { return !std::isfinite(value); });
    if (values.empty()) return {std::nan(""), std::nan(""), std::nan("")};
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    const double middle = values.size() % 2 == 1 ? values[half] : 0.5 * (values[half - 1] + values[half]);
    return {values.front(), middle, values.back()};
}

std::string svgOf(const RangePlot& plot) {
    double high = std::isfinite(plot.limit) ? plot.limit : 0.0, low = 0.0;
    for (const std::vector<Range>& row : plot.ranges) {
        for (const Range& range : row) {
            if (std::isfinite(range.high)) high = std::max(high, range.high);
            if (std::isfinite(range.low)) low = std::min(low, range.low);
        }
    }
    if (!(high > low)) high = low + 1.0;
    high += 0.04 * (high - low);
    const auto x = [&](double value) { return kLeft + (kRight - kLeft) * (value - low) / (high - low); };

    Text body;
    double y = 22;
    put(body, "<text class=\"title\" x=\"10\" y=\"{}\">{} <tspan class=\"soft\">{}</tspan></text>\n", y,
        escaped(plot.title), escaped(plot.unit));
    if (plot.marks.size() > 1) {
        double at = 10;
        y += kLine;
        for (std::size_t n = 0; n < plot.marks.size(); n++) {
            const double wide = 24 + kLetter * static_cast<double>(plot.marks[n].size());
            if (at > 10 && at + wide > kWidth) {
                at = 10;
                y += kLine;
            }
            put(body, "<circle class=\"mark m{}\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"4\"/>", n, at + 5, y - 4);
            put(body, "<text x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", at + 14, y, escaped(plot.marks[n]));
            at += wide;
        }
    }
    const double top = y + 10;
    const double height = kMarkStep * static_cast<double>(plot.marks.size() - 1) + 2 * kRowRim;
    const double foot = top + height * static_cast<double>(plot.rows.size());
    const double step = tickStep(low, high, 6);
    put(body, "<path d=\"");
    for (double n = std::ceil(low / step - 1e-9); n * step <= high; n++)
        put(body, "M{:.1f},{:.1f}V{:.1f}", x(n * step), top, foot);
    for (std::size_t row = 0; row <= plot.rows.size(); row++)
        put(body, "M10,{:.1f}H{}", top + height * static_cast<double>(row), kRight);
    put(body, "\"/>\n");
    for (double n = std::ceil(low / step - 1e-9); n * step <= high; n++) {
        put(body, "<text class=\"soft\" text-anchor=\"middle\" x=\"{:.1f}\" y=\"{:.1f}\">{:.6g}</text>\n",
            x(n * step), foot + 16, n * step + 0.0);
    }
    for (std::size_t row = 0; row < plot.rows.size(); row++) {
        const double from = top + height * static_cast<double>(row);
        put(body, "<text x=\"10\" y=\"{:.1f}\">{}</text>\n", from + 0.5 * height + 4.5,
            escaped(plot.rows[row]));
        for (std::size_t n = 0; n < plot.marks.size(); n++) {
            const Range& range = plot.ranges[row][n];
            if (!std::isfinite(range.middle)) continue;
            const double at = from + kRowRim + kMarkStep * static_cast<double>(n);
            put(body,
                "<g class=\"m{0}\"><line class=\"reach\" x1=\"{1:.1f}\" x2=\"{2:.1f}\" y1=\"{3:.1f}\" "
                "y2=\"{3:.1f}\"/><circle class=\"mark\" cx=\"{4:.1f}\" cy=\"{3:.1f}\" r=\"3.5\"/></g>\n",
                n, x(range.low), x(range.high), at, x(range.middle));
        }
    }
    if (std::isfinite(plot.limit)) {
        put(body, "<line class=\"limit\" x1=\"{0:.1f}\" x2=\"{0:.1f}\" y1=\"{1:.1f}\" y2=\"{2:.1f}\"/>\n",
            x(plot.limit), top, foot);
    }
    Text text;
    put(text,
        "<svg class=\"range\" xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1:.0f}\" role=\"img\" "
        "aria-label=\"{2}\">\n<style>{3}</style>\n<rect class=\"panel\" width=\"{0}\" height=\"{1:.0f}\" "
        "rx=\"4\"/>\n",
        kWidth, foot + 26, escaped(plot.title), kStyle);
    text.append(body);
    put(text, "</svg>\n");
    return fmt::to_string(text);
}

}  // namespace tarn::sim
