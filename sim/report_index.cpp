#include "sim/report_index.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "sim/json.h"
#include "sim/replace_file.h"
#include "sim/report.h"
#include "sim/report_page.h"
#include "sim/report_text.h"
#include "sim/report_thumbnail.h"

namespace tarn::sim {
namespace {

constexpr const char* kFormat = "tarnsim run 1";

template <typename Rows, typename Use>
void putList(Text& text, const char* name, const Rows& rows, const Use& use) {
    put(text, "\"{}\": [", name);
    bool first = true;
    for (const auto& row : rows) {
        put(text, "{}", first ? "" : ", ");
        use(row);
        first = false;
    }
    put(text, "]");
}

void putOptions(Text& text, const RunOptions& options) {
    const auto number = [&](double value) { put(text, "{}", jsonNumber(value)); };
    put(text, "\"options\": {{\"robotType\": {}, \"seed\": {}, \"mount\": {}", options.robotType,
        options.seed, quotedJson(options.mount.name));
    put(text, ", \"yAngle\": {}, \"zAngle\": {}, \"load\": {}, ", jsonNumber(options.mount.yAngle),
        jsonNumber(options.mount.zAngle), jsonNumber(options.load));
    putList(text, "loadCenter", options.loadCenter, number);
    put(text, ", \"loadError\": {}, \"friction\": {}", jsonNumber(options.loadError),
        jsonNumber(options.frictionScale));
    if (options.pose) {
        put(text, ", ");
        putList(text, "pose", *options.pose, number);
    }
    if (options.seconds) put(text, ", \"seconds\": {}", jsonNumber(*options.seconds));
    put(text, "}}");
}

struct Summary {
    std::string stem;
    Json json;
    bool passed() const { return json["pass"].is(true); }
};

std::vector<Summary> summariesOf(const std::filesystem::path& folder) {
    std::vector<Summary> all;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".json" || !entry.is_regular_file()) continue;
        std::ostringstream text;
        text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        std::optional<Json> json = parsedJson(text.str());
        if (!json || (*json)["format"].text != kFormat) continue;
        all.push_back({entry.path().stem().string(), std::move(*json)});
    }
    // as 'tarnsim list' has them
    const auto place = [](const Summary& summary) {
        const auto known = scenarios();
        return std::find(known.begin(), known.end(), findScenario(summary.json["name"].text)) - known.begin();
    };
    std::sort(all.begin(), all.end(), [&](const Summary& a, const Summary& b) {
        return std::pair(place(a), a.stem) < std::pair(place(b), b.stem);
    });
    return all;
}

// ---- the cards

void putVerdict(Text& text, const Json& verdict) {
    const double value = verdict["value"].number(), limit = verdict["limit"].number();
    put(text, "<li class=\"{}\">{} <b>{:.3g}</b> of {:.4g} {}</li>", verdict["pass"].is(true) ? "" : "bad",
        escaped(verdict["name"].text), value, limit, escaped(verdict["unit"].text));
}

// The verdicts that fail; else the first that measures something, which is what the scenario is about.
void putVerdicts(Text& text, const Json& verdicts) {
    constexpr std::size_t kMost = 3;
    std::vector<const Json*> told;
    for (const auto& [_, verdict] : verdicts.rows) {
        if (!verdict["pass"].is(true)) told.push_back(&verdict);
    }
    const auto measures = [](const auto& row) { return row.value["limit"].number() > 0.0; };
    const auto first = std::find_if(verdicts.rows.begin(), verdicts.rows.end(), measures);
    if (told.empty() && first != verdicts.rows.end()) told.push_back(&first->value);
    put(text, "<ul>");
    for (std::size_t n = 0; n < std::min(told.size(), kMost); n++) putVerdict(text, *told[n]);
    if (told.size() > kMost) put(text, "<li class=\"bad\">and {} more</li>", told.size() - kMost);
    put(text, "</ul>\n");
}

void putCard(Text& text, const Summary& summary) {
    const Json& json = summary.json;
    const auto& verdicts = json["verdicts"].rows;
    const auto passed = std::count_if(verdicts.begin(), verdicts.end(),
                                      [](const auto& row) { return row.value["pass"].is(true); });
    put(text, "<article class=\"{}\">\n<a href=\"{}\">{}<h2>{}</h2></a>\n",
        summary.passed() ? "passes" : "fails", escaped(json["page"].text), json["thumbnail"].text,
        escaped(summary.stem));
    put(text, "<p class=\"{}\">{} {} of {}</p>\n<p>{}</p>\n", summary.passed() ? "good" : "bad",
        summary.passed() ? "\u2713 pass," : "\u2717 FAIL,", passed, verdicts.size(),
        escaped(json["sentence"].text));
    putVerdicts(text, json["verdicts"]);
    put(text, "<p class=\"soft\">{}</p>\n</article>\n", escaped(json["settings"].text));
}

}  // namespace

void writeSummary(const Scenario& scenario, const Run& run, const std::filesystem::path& file) {
    const std::string stem = file.stem().string();
    Text text;
    put(text, "{{\"format\": \"{}\",\n\"name\": {},\n\"sentence\": {},\n\"pass\": {},\n\"seconds\": {},\n",
        kFormat, quotedJson(scenario.name), quotedJson(scenario.sentence), run.passed(),
        jsonNumber(run.simulation == nullptr ? 0.0 : run.simulation->time()));
    put(text, "\"settings\": {},\n", quotedJson(settingsLine(run)));
    putOptions(text, run.options);
    put(text, ",\n");
    putList(text, "verdicts", run.verdicts, [&](const Verdict& v) {
        put(text, "\n  {{\"name\": {}, \"value\": {}, \"limit\": {}, \"unit\": {}, \"pass\": {}}}",
            quotedJson(v.name), jsonNumber(v.value), jsonNumber(v.limit), quotedJson(v.unit), v.pass);
    });
    put(text, ",\n");
    putList(text, "findings", run.findings, [&](const auto& finding) {
        put(text, "\n  {{\"name\": {}, \"value\": {}}}", quotedJson(finding.first),
            quotedJson(finding.second));
    });
    put(text, ",\n\"page\": {},\n\"data\": {},\n\"thumbnail\": {}}}\n", quotedJson(stem + ".html"),
        quotedJson(stem + ".csv"), quotedJson(thumbnail(scenario, run)));
    replaceFile(file, {text.data(), text.size()});
}

void writeIndex(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    const std::vector<Summary> all = summariesOf(folder);
    const auto passed = std::count_if(all.begin(), all.end(), [](const Summary& s) { return s.passed(); });
    const bool good = static_cast<std::size_t>(passed) == all.size();
    Text text;
    put(text,
        "<!DOCTYPE html>\n<html lang=\"en\" xmlns=\"http://www.w3.org/1999/xhtml\">\n<head>\n"
        "<meta charset=\"utf-8\"/>\n<meta name=\"viewport\" content=\"width=device-width, "
        "initial-scale=1\"/>\n<title>Runs of tarnsim</title>\n<style>{}{}</style>\n</head>\n<body "
        "class=\"index\">\n",
        kPageStyle, kIndexStyle);
    put(text, "<h1>Runs</h1>\n<p class=\"{}\">", good ? "good" : "bad");
    if (good) put(text, "{} all {} pass</p>\n", kPassSign, all.size());
    // without a script: the style sheet looks at the box
    if (!good)
        put(text,
            "{} {} of {} fail</p>\n<input type=\"checkbox\" id=\"only\"/> <label for=\"only\">Show only "
            "these</label>\n",
            kFailSign, all.size() - static_cast<std::size_t>(passed), all.size());
    put(text, "<div class=\"cards\">\n");
    for (const Summary& summary : all) putCard(text, summary);
    put(text, "</div>\n</body>\n</html>\n");
    replaceFile(folder / "index.html", {text.data(), text.size()});
}

}  // namespace tarn::sim
