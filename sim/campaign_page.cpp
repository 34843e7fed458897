#include "sim/campaign_page.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "sim/replace_file.h"
#include "sim/report_page.h"
#include "sim/report_range.h"
#include "sim/report_text.h"

namespace tarn::sim {
namespace {

constexpr const char* kCampaignStyle = R"css(
.plots { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 420px), 1fr)); gap: 1em;
  align-items: start; }
.plots svg { width: 100%; height: auto; display: block; }
code { font-size: 0.9em; overflow-wrap: anywhere; } .count { white-space: nowrap; }
.some { color: var(--warn); font-weight: 600; }
)css";

using Rows = std::vector<TableRow>;

bool isRun(const TableRow& row) { return row.kind == "run"; }

// In the order in which they first come.
std::vector<std::string> distinct(const Rows& rows, const std::function<std::string(const TableRow&)>& key) {
    std::vector<std::string> all;
    for (const TableRow& row : rows) {
        std::string value = key(row);
        if (isRun(row) && std::find(all.begin(), all.end(), value) == all.end())
            all.push_back(std::move(value));
    }
    return all;
}

// By their lowest type codes.
std::vector<std::string> familiesOf(const Rows& rows) {
    std::map<std::string, int> lowest;
    for (const TableRow& row : rows) {
        const auto [found, added] = lowest.try_emplace(row.family, row.robotType);
        if (!added) found->second = std::min(found->second, row.robotType);
    }
    std::vector<std::pair<int, std::string>> order;
    for (const auto& [family, type] : lowest) order.emplace_back(type, family);
    std::sort(order.begin(), order.end());
    std::vector<std::string> families;
    for (auto& [_, family] : order) families.push_back(std::move(family));
    return families;
}

// ---- tables

struct Count {
    std::size_t passed = 0, all = 0;
};

using Key = std::function<std::string(const TableRow&)>;

void putShares(Text& text, const Rows& rows, const char* title, const Key& column,
               const std::vector<std::string>& columns) {
    std::map<std::pair<std::string, std::string>, Count> counts;
    for (const TableRow& row : rows) {
        if (!isRun(row)) continue;
        Count& count = counts[{row.scenario, column(row)}];
        count.all++;
        count.passed += row.pass ? 1 : 0;
    }
    put(text, "<h3>{}</h3>\n<div class=\"table\">\n<table>\n<tr><th></th>", title);
    for (const std::string& name : columns) put(text, "<th class=\"n\">{}</th>", escaped(name));
    put(text, "</tr>\n");
    for (const std::string& scenario : distinct(rows, [](const TableRow& row) { return row.scenario; })) {
        put(text, "<tr><th>{}</th>", escaped(scenario));
        for (const std::string& name : columns) {
            const auto found = counts.find({scenario, name});
            if (found == counts.end()) {
                put(text, "<td class=\"n\">\u2013</td>");
                continue;
            }
            const auto& [passed, all] = found->second;
            put(text, "<td class=\"n {}\"><span class=\"count\">{} / {}</span></td>",
                passed == all ? "good"
                : passed == 0 ? "bad"
                              : "some",
                passed, all);
        }
        put(text, "</tr>\n");
    }
    put(text, "</table>\n</div>\n");
}

void putAllShares(Text& text, const Rows& rows) {
    put(text, "<h2>Runs that pass</h2>\n");
    putShares(
        text, rows, "By family", [](const TableRow& row) { return row.family; }, familiesOf(rows));
    const std::pair<const char*, Key> varied[] = {
        {"By robot type", [](const TableRow& row) { return fmt::format("{}", row.robotType); }},
        {"By mount", [](const TableRow& row) { return row.mount; }},
        {"By load", [](const TableRow& row) { return fmt::format("{:g} kg", row.load); }},
        {"By load that the library does not know of",
         [](const TableRow& row) { return fmt::format("{:+g} kg", row.loadError); }},
        {"By friction", [](const TableRow& row) { return fmt::format("\u00d7 {:g}", row.friction); }},
    };
    for (const auto& [title, key] : varied) {
        const std::vector<std::string> values = distinct(rows, key);
        if (values.size() > 1) putShares(text, rows, title, key, values);
    }
}

void putVerdicts(Text& text, const Rows& rows) {
    struct Seen {
        std::string scenario;
        const TableRow* worst;
        std::vector<double> values;
        std::size_t failed = 0, all = 0;
    };
    std::vector<std::string> order;
    std::map<std::string, Seen> seen;
    const auto excess = [](const TableRow& row) {
        return std::isnan(row.value) ? HUGE_VAL : row.value - row.limit;
    };
    for (const TableRow& row : rows) {
        if (row.kind != "verdict") continue;
        const std::string key = row.scenario + '\n' + row.name;
        const auto [found, added] = seen.try_emplace(key, Seen{row.scenario, &row, {}});
        Seen& all = found->second;
        if (added) order.push_back(key);
        if (excess(row) > excess(*all.worst)) all.worst = &row;
        all.values.push_back(row.value);
        all.failed += row.pass ? 0 : 1;
        all.all++;
    }
    put(text,
        "<h2>Verdicts</h2>\n<div class=\"table\">\n<table>\n<tr><th>Scenario</th><th>What</th><th "
        "class=\"n\">Fails</th><th class=\"n\">Middle</th><th class=\"n\">Worst</th><th class=\"n\">At "
        "most</th><th>Unit</th><th>Worst on</th></tr>\n");
    for (const std::string& key : order) {
        const Seen& all = seen.at(key);
        const TableRow& worst = *all.worst;
        put(text, "<tr><td>{}</td><td>{}</td><td class=\"n {}\">{} / {}</td>", escaped(all.scenario),
            escaped(worst.name), all.failed == 0 ? "good" : "bad", all.failed, all.all);
        put(text,
            "<td class=\"n\">{:.4g}</td><td class=\"n\">{:.4g}</td><td class=\"n\">{:.6g}</td><td>{}</td>"
            "<td>type {}, seed {}</td></tr>\n",
            rangeOf(all.values).middle, worst.value, worst.limit, escaped(worst.unit), worst.robotType,
            escaped(worst.seed));
    }
    put(text, "</table>\n</div>\n");
}

std::string commandOf(const TableRow& row, const GridText& grid) {
    std::string text =
        fmt::format("tarnsim run {} --robot-type {} --seed {}", row.scenario, row.robotType, row.seed);
    if (row.mount != "floor") text += " --mount " + row.mount;
    if (row.load != 0.0) text += fmt::format(" --load {}", row.load);
    if (row.loadError != 0.0) text += fmt::format(" --load-error {}", row.loadError);
    if (row.friction != 1.0) text += fmt::format(" --friction {}", row.friction);
    if (!grid.seconds.empty()) text += " --seconds " + grid.seconds;
    return text;
}

void putPageLinks(Text& text, const Rows& rows, const GridText& grid, const std::filesystem::path& folder) {
    constexpr std::size_t kMost = 200;
    std::size_t failed = 0, paged = 0;
    Text failing, pages;
    for (const TableRow& row : rows) {
        if (!isRun(row)) continue;
        const std::filesystem::path page = pageOf(row.cell, row.scenario);
        std::string link;
        if (std::filesystem::exists(folder / page)) {
            link = fmt::format("<a href=\"{}\">page</a>", escaped(page.generic_string()));
            if (paged++ < kMost)
                put(pages, "{}<a href=\"{}\">{}</a>", paged == 1 ? "" : ", ", escaped(page.generic_string()),
                    row.cell);
        }
        if (!row.pass && failed++ < kMost) {
            put(failing, "<tr><td class=\"n\">{}</td><td><code>{}</code></td><td>{}</td></tr>\n", row.cell,
                escaped(commandOf(row, grid)), row.name == "crash" ? "crash: " + escaped(row.text) : link);
        }
    }
    if (failed > 0) {
        put(text, "<h2>Cells that fail</h2>\n");
        if (failed > kMost) put(text, "<p>The first {} of {}.</p>\n", kMost, failed);
        put(text,
            "<div class=\"table\">\n<table>\n<tr><th class=\"n\">Cell</th><th>Repeats "
            "it</th><th></th></tr>\n");
        text.append(failing);
        put(text, "</table>\n</div>\n");
    }
    if (paged > 0) {
        put(text, "<h2>Pages of cells</h2>\n<p>");
        text.append(pages);
        put(text, "{}</p>\n", paged > kMost ? fmt::format(" and {} more", paged - kMost) : "");
    }
}

// ---- plots

// A figure of a scenario over the families: a mark for each place on its curve, or one for all.
struct FigurePlot {
    const char* file;
    const char* scenario;
    const char* figure;  // how its name begins
    const char* title;
    const char* unit;
    std::vector<std::pair<double, const char*>> marks;  // place and word
    double limit = std::nan("");
};

const std::vector<FigurePlot>& figurePlots() {
    static const std::vector<std::pair<double, const char*>> speeds = {
        {10.0, "10 % of the speed"}, {25.0, "25 %"}, {50.0, "50 %"}};
    static const std::vector<std::pair<double, const char*>> reactions = {
        {0.0, "pause"},     {1.0, "alarm alone"},      {2.0, "stop"},
        {3.0, "free drag"}, {4.0, "drag on a spring"}, {5.0, "push-back"}};
    static const std::vector<std::pair<double, const char*>> levels = {
        {1.0, "level 1"}, {3.0, "3"}, {5.0, "5"}, {7.0, "7"}, {10.0, "10"}};
    static const std::vector<FigurePlot> all = {
        {"false-alarm-share",
         "false-alarm",
         "Lasting deviation",
         "Share of the threshold reached",
         "of the band",
         {{1.0, "joint 1"}, {2.0, "2"}, {3.0, "3"}, {4.0, "4"}, {5.0, "5"}, {6.0, "6"}},
         1.0},
        {"detection-time", "collide", "Wall: time to the detection", "Wall: from the touch to the detection",
         "ms", speeds},
        {"detection-force", "collide", "Wall: force at the detection", "Wall: force at the detection", "N",
         speeds},
        {"largest-force", "collide", "Wall: largest force at 25 %",
         "Wall: largest force, at 25 % of the speed", "N", reactions},
        {"hand-time", "collide", "Hand: time to the detection", "Hand: from the touch to the detection", "ms",
         speeds},
        {"smallest-push", "collide", "Smallest push found", "Smallest push found in motion", "N", levels},
        {"static-push",
         "static-collide",
         "Push that is found",
         "Push at which a standing arm gives way",
         "N",
         {{std::nan(""), "push"}}},
    };
    return all;
}

bool samePlace(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

// No rows, where the campaign has not measured it.
RangePlot plotOf(const FigurePlot& wanted, const Rows& rows) {
    RangePlot plot{wanted.title, wanted.unit, {}, {}, {}, wanted.limit};
    for (const auto& [_, word] : wanted.marks) plot.marks.emplace_back(word);
    for (const std::string& family : familiesOf(rows)) {
        std::vector<std::vector<double>> values(wanted.marks.size());
        bool any = false;
        for (const TableRow& row : rows) {
            if (row.kind != "figure" || row.scenario != wanted.scenario || row.family != family) continue;
            if (!row.name.starts_with(wanted.figure)) continue;
            for (std::size_t n = 0; n < values.size(); n++) {
                if (samePlace(row.at, wanted.marks[n].first)) values[n].push_back(row.value);
            }
            any = true;
        }
        if (!any) continue;
        plot.rows.push_back(family);
        std::vector<Range>& ranges = plot.ranges.emplace_back();
        for (std::vector<double>& of : values) ranges.push_back(rangeOf(std::move(of)));
    }
    return plot;
}

// Of a rate: what as few events as were seen leave possible with a confidence of 95 %, in events.
double mostLikelyEvents(double seen) {
    double low = 0.0, high = 10.0 + 3.0 * seen;
    for (int n = 0; n < 60; n++) {
        const double mean = 0.5 * (low + high);
        double term = std::exp(-mean), sum = term;
        for (double k = 1.0; k <= seen; k++) sum += term *= mean / k;
        (sum > 0.05 ? low : high) = mean;
    }
    return high;
}

struct AlarmCount {
    std::string family;
    double hours = 0.0, alarms = 0.0, moves = 0.0;
};

std::vector<AlarmCount> alarmsOf(const Rows& rows) {
    std::vector<AlarmCount> all;
    for (const std::string& family : familiesOf(rows)) {
        AlarmCount count{family};
        for (const TableRow& row : rows) {
            if (row.scenario != "false-alarm" || row.family != family) continue;
            if (isRun(row) && std::isfinite(row.value)) count.hours += row.value / 3600.0;
            if (row.kind == "verdict" && row.name.starts_with("False alarms")) count.alarms += row.value;
            if (row.kind == "figure" && row.name.starts_with("Moves")) count.moves += row.value;
        }
        if (count.hours > 0.0) all.push_back(count);
    }
    return all;
}

void putPlot(Text& text, const RangePlot& plot, const char* file, const std::filesystem::path& folder) {
    const std::string svg = svgOf(plot);
    std::filesystem::create_directories(folder / "plots");
    replaceFile(folder / "plots" / fmt::format("{}.svg", file), svg);
    put(text, "{}", svg);
}

void putAlarms(Text& text, const Rows& rows, const std::filesystem::path& folder) {
    const std::vector<AlarmCount> counts = alarmsOf(rows);
    if (counts.empty()) return;
    put(text,
        "<h2>False alarms</h2>\n<div class=\"table\">\n<table>\n<tr><th>Family</th><th class=\"n\">Simulated "
        "hours</th><th class=\"n\">Moves</th><th class=\"n\">Alarms</th><th class=\"n\">Alarms per hour</th>"
        "<th class=\"n\">At most, 95 %</th></tr>\n");
    RangePlot plot{"False alarms", "per simulated hour; the line ends at the 95 % bound", {}, {"rate"}, {},
                   std::nan("")};
    for (const AlarmCount& count : counts) {
        const double rate = count.alarms / count.hours;
        const double most = mostLikelyEvents(count.alarms) / count.hours;
        plot.rows.push_back(count.family);
        plot.ranges.push_back({{rate, rate, most}});
        put(text,
            "<tr><td>{}</td><td class=\"n\">{:.2f}</td><td class=\"n\">{:.0f}</td><td "
            "class=\"n\">{:.0f}</td><td "
            "class=\"n\">{:.2f}</td><td class=\"n\">{:.2f}</td></tr>\n",
            escaped(count.family), count.hours, count.moves, count.alarms, rate, most);
    }
    put(text,
        "</table>\n</div>\n<p>The bound holds for alarms that come independently of each other. A case "
        "repeats "
        "the moves of the one before with another load or friction.</p>\n<div class=\"plots\">\n");
    putPlot(text, plot, "false-alarms", folder);
    put(text, "</div>\n");
}

void putFigurePlots(Text& text, const Rows& rows, const std::filesystem::path& folder) {
    bool any = false;
    for (const FigurePlot& wanted : figurePlots()) {
        const RangePlot plot = plotOf(wanted, rows);
        if (plot.rows.empty()) continue;
        if (!any)
            put(text,
                "<h2>Over the families</h2>\n<p>A dot is the median of the cells, its line reaches from the "
                "lowest to the highest.</p>\n<div class=\"plots\">\n");
        any = true;
        putPlot(text, plot, wanted.file, folder);
    }
    if (any) put(text, "</div>\n");
}

void putGrid(Text& text, const Grid& grid, const Shard& shard) {
    put(text, "<h2>Grid</h2>\n<table class=\"settings\">\n");
    for (const GridField& field : kGridFields) {
        const std::string& value = grid.text.*field.text;
        std::string shown = escaped(value.empty() ? "each scenario's own" : value);
        for (std::size_t at = 0; (at = shown.find(',', at)) != std::string::npos; at += 2)
            shown.insert(at + 1, " ");
        put(text, "<tr><th>--{}</th><td>{}</td></tr>\n", field.name, shown);
    }
    if (shard.count > 1) put(text, "<tr><th>--shard</th><td>{}/{}</td></tr>\n", shard.index, shard.count);
    put(text, "<tr><th>Program</th><td>tarnforce " TARN_VERSION ", " TARN_COMPILER "</td></tr>\n</table>\n");
}

}  // namespace

std::filesystem::path pageOf(std::size_t cell, const std::string& scenario) {
    return std::filesystem::path(kPagesName) / fmt::format("{}-{}.html", cell, scenario);
}

void writeCampaignPage(const Grid& grid, const Shard& shard, const Table& table,
                       const std::filesystem::path& folder) {
    const Rows rows = table.rows();
    std::size_t cells = 0, passed = 0, crashed = 0;
    double seconds = 0.0;
    for (const TableRow& row : rows) {
        if (!isRun(row)) continue;
        cells++;
        passed += row.pass ? 1 : 0;
        crashed += row.name == "crash" ? 1 : 0;
        if (std::isfinite(row.value)) seconds += row.value;
    }
    Text text;
    put(text,
        "<!DOCTYPE html>\n<html lang=\"en\" xmlns=\"http://www.w3.org/1999/xhtml\">\n<head>\n"
        "<meta charset=\"utf-8\"/>\n<meta name=\"viewport\" content=\"width=device-width, "
        "initial-scale=1\"/>\n<title>Campaign of tarnsim</title>\n<style>{}{}</style>\n</head>\n<body>\n",
        kPageStyle, kCampaignStyle);
    put(text, "<h1>Campaign</h1>\n<p class=\"{}\">{} {} of {} runs pass.</p>\n",
        passed == cells ? "good" : "bad", passed == cells ? "\u2713" : "\u2717", passed, cells);
    put(text, "<p>{:.2g} simulated hours.", seconds / 3600.0);
    if (crashed > 0) put(text, " {} runs crashed and have no figures.", crashed);
    if (grid.unknownArms > 0)
        put(text, " {} cells are left out: the scenario's torque model has no arm of the type.",
            grid.unknownArms);
    if (grid.negativeLoads > 0)
        put(text, " {} cells are left out: load and load error would be negative.", grid.negativeLoads);
    put(text, " All figures are in <a href=\"results.csv\">results.csv</a>.</p>\n");
    putAllShares(text, rows);
    putAlarms(text, rows, folder);
    putFigurePlots(text, rows, folder);
    putVerdicts(text, rows);
    putPageLinks(text, rows, grid.text, folder);
    putGrid(text, grid, shard);
    put(text, "</body>\n</html>\n");
    replaceFile(folder / "index.html", {text.data(), text.size()});
}

}  // namespace tarn::sim
