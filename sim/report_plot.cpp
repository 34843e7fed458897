#include "sim/report_plot.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <string>

#include "sim/report_data.h"

namespace tarn::sim {
namespace {

// Units of the picture. It is stretched to the place it gets; only strokes keep their width, and all text
// stands beside it.
constexpr int kColumns = 800, kHeight = 400;
constexpr std::size_t kMostLines = 6;

// A run too long for one and a half characters a sample is bunched.
constexpr std::size_t kMostSamples = kLineCharacters * 2 / 3;

struct Axis {
    double low, high;
    double fraction(double value) const { return (value - low) / (high - low); }
};

// Holds the values with a rim of a twentieth.
Axis axisAround(double low, double high) {
    double rim = 0.05 * (high - low);
    if (!(rim > 0.0)) rim = low == 0.0 ? 1.0 : 0.1 * std::fabs(low);
    return {low - rim, high + rim};
}

// Calls use(fraction of the axis, value) at each tick.
template <typename Use>
void forTicks(const Axis& axis, int count, const Use& use) {
    const double step = tickStep(axis.low, axis.high, count);
    // whole multiples, so that zero reads 0
    for (double n = std::ceil(axis.low / step - 1e-9); n * step <= axis.high + 1e-9 * step; n++) {
        use(axis.fraction(n * step), n * step + 0.0);
    }
}

// Of each pixel column the lowest and the highest sample: nothing that the eye could see is lost. Of a level
// stretch only the ends are put down. A column without a number interrupts the line.
void putOverview(Text& text, const std::vector<double>& times, const std::vector<double>& values,
                 const Axis& time, const Axis& axis) {
    struct Point {
        long x, y;
    };
    std::vector<Point> points;
    const auto putSegment = [&] {
        if (!points.empty()) put(text, "<polyline points=\"");
        for (const Point& point : points) put(text, "{},{} ", point.x, point.y);
        if (!points.empty()) put(text, "\"/>");
        points.clear();
    };
    const auto columnOf = [&](std::size_t k) { return std::lround(kColumns * time.fraction(times[k])); };
    const auto add = [&](std::size_t k) {
        const Point point{columnOf(k), std::lround(kHeight * (1.0 - axis.fraction(values[k])))};
        const std::size_t n = points.size();
        if (n >= 2 && points[n - 1].y == point.y && points[n - 2].y == point.y) {
            points[n - 1] = point;
        } else {
            points.push_back(point);
        }
    };
    for (std::size_t k = 0; k < values.size();) {
        const std::size_t first = k;
        while (k < values.size() && columnOf(k) == columnOf(first)) k++;
        const Extremes extremes = extremesOf(values, first, k - first);
        if (!std::isfinite(values[extremes.one])) {
            putSegment();
            continue;
        }
        add(extremes.one);
        if (extremes.two != extremes.one) add(extremes.two);
    }
    putSegment();
}

double percent(double fraction) { return 100.0 * fraction; }

void putMarks(Text& text, const std::vector<TimeMark>& marks, const Axis& time) {
    put(text, "<g class=\"marks\">");
    std::set<std::pair<long, std::string>> seen;  // the log may hold thousands of lines
    for (const TimeMark& mark : marks) {
        const long x = std::lround(kColumns * time.fraction(mark.time));
        if (!seen.insert({x, mark.kind}).second) continue;
        put(text, "<line class=\"{0}\" x1=\"{1}\" x2=\"{1}\" y1=\"{2}\" y2=\"{3}\"/>", mark.kind, x,
            mark.word.empty() ? kHeight - 16 : 0, kHeight);
    }
    put(text, "</g>\n");
}

// A word may reach to the next one's place and is cut there.
void putWords(Text& text, const std::vector<TimeMark>& marks, const Axis& time) {
    std::vector<const TimeMark*> words;
    for (const TimeMark& mark : marks) {
        if (!mark.word.empty()) words.push_back(&mark);
    }
    put(text, "<div class=\"words\">");
    for (std::size_t n = 0; n < words.size(); n++) {
        const double at = time.fraction(words[n]->time);
        const double next = n + 1 < words.size() ? time.fraction(words[n + 1]->time) : 1.0;
        put(text, "<span style=\"left: {:.2f}%; max-width: {:.2f}%\">{}</span>", percent(at),
            percent(next - at), escaped(words[n]->word));
    }
    put(text, "</div>\n");
}

}  // namespace

double tickStep(double low, double high, int count) {
    const double raw = (high - low) / count;
    const double decade = std::pow(10.0, std::floor(std::log10(raw)));
    const double lead = raw / decade;
    return decade * (lead <= 1.0 ? 1.0 : lead <= 2.0 ? 2.0 : lead <= 5.0 ? 5.0 : 10.0);
}

PlotTime::PlotTime(const Recording& recording) : time_(recording.time), bunch_(1) {
    if (time_.size() > kMostSamples) bunch_ = (2 * time_.size() + kMostSamples - 1) / kMostSamples;
}

double PlotTime::high() const { return std::max(time_.back(), time_.front() + kTimeQuantum); }

std::vector<double> PlotTime::kept(const std::vector<double>& samples) const {
    if (bunch_ == 1) return samples;
    std::vector<double> two;
    for (std::size_t k = 0; k < samples.size(); k += bunch_) {
        const Extremes extremes = extremesOf(samples, k, std::min(bunch_, samples.size() - k));
        two.push_back(samples[extremes.one]);
        two.push_back(samples[extremes.two]);
    }
    return two;
}

// The two of a bunch stand at its first and at its middle cycle.
std::string PlotTime::codedTimes() const {
    if (bunch_ == 1) return coded(time_, kTimeQuantum);
    std::vector<double> times;
    for (std::size_t k = 0; k < time_.size(); k += bunch_) {
        times.push_back(time_[k]);
        times.push_back(time_[std::min(k + bunch_ / 2, time_.size() - 1)]);
    }
    return coded(times, kTimeQuantum);
}

void putPlot(Text& text, const PlotTime& plotTime, const std::vector<TimeMark>& marks, const Group& group,
             const std::vector<Joints>& values) {
    const Axis time{plotTime.low(), plotTime.high()};
    const std::size_t count = lineCount(group);
    std::vector<double> lines[kMostLines];
    std::size_t missing[kMostLines] = {};
    double low = HUGE_VAL, high = -HUGE_VAL;
    for (std::size_t line = 0; line < count; line++) {
        for (const Joints& row : values) {
            lines[line].push_back(row[line]);
            if (std::isfinite(row[line])) {
                low = std::min(low, row[line]);
                high = std::max(high, row[line]);
            } else {
                missing[line]++;
            }
        }
    }
    const Axis axis = low <= high ? axisAround(low, high) : axisAround(0.0, 0.0);

    put(text, "<section class=\"plot\" data-key=\"{}\">\n<h3>{} <small>{}</small></h3>\n<p class=\"legend\">",
        group.key, escaped(group.title), escaped(group.unit));
    for (std::size_t line = 0; line < count; line++) {
        put(text, "<span class=\"key j{}\" data-line=\"{}\">{}</span> ", line + 1,
            lastWord(group.lines[line]), group.lines[line]);
    }
    put(text, "</p>\n");
    for (std::size_t line = 0; line < count; line++) {
        if (missing[line] == 0) continue;
        put(text, "<p class=\"bad\">Line {}: it has gaps where a sample is not a number, {} in all.</p>\n",
            group.lines[line], missing[line]);
    }
    put(text, "<div class=\"frame\">\n");
    putWords(text, marks, time);
    put(text, "<div class=\"ys\">");
    forTicks(axis, 6, [&](double fraction, double value) {
        put(text, "<span style=\"top: {:.2f}%\">{:.6g}</span>", percent(1.0 - fraction), value);
    });
    put(text,
        "</div>\n<svg viewBox=\"0 0 {} {}\" preserveAspectRatio=\"none\" role=\"img\" "
        "aria-label=\"{} over time\">\n<path class=\"grid\" d=\"",
        kColumns, kHeight, escaped(group.title));
    forTicks(axis, 6, [&](double fraction, double) {
        put(text, "M0,{:.1f}H{}", kHeight * (1.0 - fraction), kColumns);
    });
    put(text, "\"/>\n");
    putMarks(text, marks, time);
    for (std::size_t line = 0; line < count; line++) {
        const CodedLine samples = codedWithin(kLineCharacters, plotTime.kept(lines[line]));
        put(text, "<g class=\"line j{}\" data-line=\"{}\" data-quantum=\"{:.12g}\" data-samples=\"{}\">",
            line + 1, lastWord(group.lines[line]), samples.quantum, samples.text);
        putOverview(text, plotTime.samples(), lines[line], time, axis);
        put(text, "</g>\n");
    }
    put(text, "</svg>\n<div class=\"xs\">");
    forTicks(time, 8, [&](double fraction, double value) {
        put(text, "<span style=\"left: {:.2f}%\">{:.6g}</span>", percent(fraction), value);
    });
    put(text, "</div>\n</div>\n</section>\n");
}

}  // namespace tarn::sim
