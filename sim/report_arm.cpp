#include "sim/report_arm.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "model/arm_shape.h"
#include "sim/report_data.h"
#include "sim/report_thumbnail.h"

namespace tarn::sim {
namespace {

// Arm as seen in the room, from the side (x to the right, z up) and from above (x to the right, y up).
struct View {
    const char* title;
    std::size_t across, up;  // room axes
};
constexpr View kViews[] = {{"From the side", 0, 2}, {"From above", 0, 1}};
constexpr double kViewWidth = 480, kViewHeight = 430;
constexpr double kMiddleX = 240, kMiddleY = 225;  // of the base
constexpr double kFigureReach = 175;              // pixels from the base to the edge of a view

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

    const double bar = tickStep(0.0, reach, 3);

    put(text, "<div class=\"views\">\n");
    for (const View& view : kViews) {
        const auto x = [&](const Vec3& p) { return kMiddleX + scale * p[view.across]; };
        const auto y = [&](const Vec3& p) { return kMiddleY - scale * p[view.up]; };
        put(text, "<svg viewBox=\"0 0 {} {}\" role=\"img\" aria-label=\"Arm seen {}\">\n", kViewWidth,
            kViewHeight, view.title);
        put(text, "<text x=\"{}\" y=\"22\" text-anchor=\"middle\">{}</text>\n", kMiddleX, view.title);
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
                kMiddleX, kMiddleY);
            for (const Vec3& p : poses[n]) put(text, " {:.1f},{:.1f}", x(p), y(p));
            put(text, "\"/>");
            for (const Vec3& p : poses[n]) {
                put(text, "<circle class=\"joint\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"4\"/>", x(p), y(p));
            }
            put(text, "<circle class=\"flange\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"5\"/></g>\n", x(poses[n][6]),
                y(poses[n][6]));
        }
        // a bar of round length
        put(text,
            "<line class=\"arm\" style=\"stroke-width: 2\" x1=\"20\" x2=\"{:.1f}\" y1=\"412\" y2=\"412\"/>",
            20.0 + bar * scale);
        put(text, "<text x=\"20\" y=\"404\">{:g} m</text>\n</svg>\n", bar);
    }
    put(text,
        "<p>The red dot is the flange. Earlier poses are paler; gravity points down in the side "
        "view.</p>\n</div>\n");
}

// ---- what the script draws from

std::string numbers(std::initializer_list<double> values) {
    std::string text;
    for (const double value : values) text += fmt::format("{}{:.9g}", text.empty() ? "" : " ", value);
    return text;
}

// Rows of the arm's distal table: length along x (m), turn about x (deg), length along z (m), and what the
// joint angle is less by when it turns the link (deg).
std::string linksOf(const Plant& plant) {
    std::string text;
    const std::array<DhLink, 6> links = dhLinks(plant.options().set);
    for (std::size_t i = 0; i < 6; i++) {
        text += text.empty() ? "" : ";";
        text +=
            numbers({1e-3 * links[i].a, links[i].alphaDeg, 1e-3 * links[i].d, plant.options().zeroShift[i]});
    }
    return text;
}

// The base's axes x, y, z in the room.
std::string baseOf(const Mount& mount) {
    std::string text;
    for (const Vec3& axis : {Vec3{1, 0, 0}, Vec3{0, 1, 0}, Vec3{0, 0, 1}}) {
        const Vec3 v = baseToRoom(mount, axis);
        text += text.empty() ? "" : ";";
        text += numbers({v[0], v[1], v[2]});
    }
    return text;
}

// From each time on the surfaces, each a point (m) and the direction out of it, base frame.
std::string sceneryOf(const std::vector<Scenery>& scenery) {
    std::string text;
    for (const Scenery& scene : scenery) {
        text += fmt::format("{}{:.9g}", text.empty() ? "" : ";", scene.time);
        for (const Surface& s : scene.surfaces) {
            text +=
                "," + numbers({s.point[0], s.point[1], s.point[2], s.normal[0], s.normal[1], s.normal[2]});
        }
    }
    return text;
}

// x, y and z of the force on the tool: quantum and samples, as the lines of the plots have them.
std::string forceOf(const Recording& recording, const PlotTime& time) {
    if (recording.toolForce.size() != recording.size()) return {};
    std::string text;
    bool any = false;
    for (std::size_t axis = 0; axis < 3; axis++) {
        std::vector<double> line;
        for (const Vec3& force : recording.toolForce) line.push_back(force[axis]);
        any |= std::any_of(line.begin(), line.end(), [](double f) { return f != 0.0; });
        const CodedLine samples = codedWithin(kLineCharacters / 3, time.kept(line));
        text += fmt::format("{}{:.12g} {}", axis == 0 ? "" : ";", samples.quantum, samples.text);
    }
    return any ? text : std::string();
}

}  // namespace

void putArm(Text& text, const Run& run, const PlotTime& time) {
    const Simulation& simulation = *run.simulation;
    const ViewPoint view = viewPointOf(run);
    const Vec3& load = simulation.options().loadCenter;
    put(text, "<aside id=\"arm\" data-links=\"{}\" data-base=\"{}\"", linksOf(simulation.plant()),
        baseOf(simulation.options().mount));
    put(text, " data-view=\"{:.4f} {:.4f}\" data-load=\"{}\"", view.azimuth, view.elevation,
        numbers({simulation.plant().options().loadMass, 1e-3 * load[0], 1e-3 * load[1], 1e-3 * load[2]}));
    put(text, " data-scenery=\"{}\" data-force=\"{}\">\n", sceneryOf(run.recording.scenery),
        forceOf(run.recording, time));
    put(text, "<canvas hidden=\"hidden\" role=\"img\" aria-label=\"The arm, as recorded\"></canvas>\n");
    putFigure(text, run);
    put(text, "</aside>\n");
}

}  // namespace tarn::sim
