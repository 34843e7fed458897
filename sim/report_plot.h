// A plot of the page: up to six lines over time, readable as it is; the page's script redraws it for a part
// of the run from the samples that it carries.
#pragma once

#include <vector>

#include "sim/report_text.h"
#include "sim/scenario.h"

namespace tarn::sim {

// Which cycles the page carries: all of a short run; of each few cycles of a long one two, which for every
// line are the lowest and the highest.
class PlotTime {
  public:
    explicit PlotTime(const Recording& recording);

    std::string codedTimes() const;
    std::vector<double> kept(const std::vector<double>& samples) const;  // of one line
    std::size_t bunch() const { return bunch_; }                         // cycles; 1: all are kept
    double low() const { return time_.front(); }                         // s
    double high() const;
    const std::vector<double>& samples() const { return time_; }

  private:
    const std::vector<double>& time_;
    std::size_t bunch_;
};

// A line may take 50 kB: 2.5 characters a sample over 20 s, more than most need.
inline constexpr std::size_t kLineCharacters = 50000;

inline constexpr double kTimeQuantum = 1e-3;  // s, one cycle

// What stands at a time: a word above every plot, or a tick on its time axis for a line of the log.
struct TimeMark {
    double time;  // s
    std::string kind;
    std::string word;  // empty: a tick
};

void putPlot(Text& text, const PlotTime& time, const std::vector<TimeMark>& marks, const Group& group,
             const std::vector<Joints>& values);

// Distance of ticks, 1, 2 or 5 times a power of ten, of which at most `count` fit.
double tickStep(double low, double high, int count);

}  // namespace tarn::sim
