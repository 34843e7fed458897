// The arm in the page of a run. Without the script it is a stick figure from two sides, in a few poses; the
// script draws it as it stands at any time of the run, from the link lengths and the recorded joint angles.
#pragma once

#include "sim/report_plot.h"
#include "sim/report_text.h"
#include "sim/scenario.h"

namespace tarn::sim {

void putArm(Text& text, const Run& run, const PlotTime& time);

// armPicture(element, run) makes the picture; the page's script calls it.
extern const char* const kArmScript;

}  // namespace tarn::sim
