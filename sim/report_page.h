// How the page of a run looks, and its script: drag over a plot, or give two times, to see a part of the run
// in all plots; the legend switches lines off. #zoom=2,4&off=3 after the page's name asks for such a view.
#pragma once

namespace tarn::sim {

extern const char* const kPageStyle;
extern const char* const kPageScript;
extern const char* const kIndexStyle;  // on top, of the index over the runs

}  // namespace tarn::sim
