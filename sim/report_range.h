// A plot of how far values reach over many runs: a row for each kind of arm, in it up to six marks from the
// lowest over the middle to the highest value. One self-contained SVG, in a page or as a file.
#pragma once

#include <string>
#include <vector>

namespace tarn::sim {

struct Range {
    double low, middle, high;
};
Range rangeOf(std::vector<double> values);  // middle: the median; not numbers if there are none

struct RangePlot {
    std::string title, unit;
    std::vector<std::string> rows;
    std::vector<std::string> marks;          // what stands in each row, for the legend
    std::vector<std::vector<Range>> ranges;  // by row, then by mark; one that is no number is left out
    double limit;                            // drawn across all rows; not a number: none
};

std::string svgOf(const RangePlot& plot);

}  // namespace tarn::sim
