// A small picture of a run: the arm, the way of its flange, and the plot that tells most.
#pragma once

#include <string>

#include "sim/scenario.h"

namespace tarn::sim {

// How the arm is looked at: orthographic, from a direction in the room.
struct ViewPoint {
    double azimuth;    // rad, about the vertical
    double elevation;  // rad, above the horizon

    struct Seen {
        double across, up, near;  // m: to the right, up, towards the eye
    };
    Seen operator()(const Vec3& inRoom) const;
};

// Aside of where the flange mostly is, so that the arm does not reach straight at the eye.
ViewPoint viewPointOf(const Run& run);

// Inline SVG that takes its colors from the page.
std::string thumbnail(const Scenario& scenario, const Run& run);

}  // namespace tarn::sim
