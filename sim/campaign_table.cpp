#include "sim/campaign_table.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "sim/replace_file.h"

namespace tarn::sim {
namespace {

constexpr std::string_view kHeading =
    "cell,scenario,robot_type,family,mount,load_kg,load_error_kg,friction,seed,kind,name,at,value,limit,unit,"
    "pass,text\n";
constexpr std::size_t kColumns = 17;

std::string csvField(std::string_view raw) {
    if (raw.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(raw);
    std::string text = "\"";
    for (const char c : raw) {
        if (c == '"') text += c;
        text += c == '\n' || c == '\r' ? ' ' : c;  // a row is a line
    }
    return text + '"';
}

// With all digits: what is read again is the same number.
std::string number(double value) { return std::isnan(value) ? "nan" : fmt::format("{}", value); }
std::string numberIfAny(double value) { return std::isnan(value) ? "" : number(value); }

std::string optionsOf(const Cell& cell) {
    const RunOptions& options = cell.options;
    return fmt::format("{},{},{},{},{},{},{},{},{}", cell.number, cell.scenario->name, options.robotType,
                       familyOf(options.robotType), options.mount.name, number(options.load),
                       number(options.loadError), number(options.frictionScale), options.seed);
}

std::vector<std::string> fieldsOf(std::string_view line) {
    std::vector<std::string> fields(1);
    bool inside = false;
    for (std::size_t k = 0; k < line.size(); k++) {
        const char c = line[k];
        if (inside && c == '"' && k + 1 < line.size() && line[k + 1] == '"') {
            fields.back() += line[++k];
        } else if (c == '"') {
            inside = !inside;
        } else if (c == ',' && !inside) {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    return fields;
}

double valueOf(const std::string& field) {
    return field.empty() ? std::nan("") : std::strtod(field.c_str(), nullptr);
}

TableRow rowOf(std::string_view line) {
    const std::vector<std::string> fields = fieldsOf(line);
    if (fields.size() != kColumns) throw CampaignError(fmt::format("not a row of results: {}", line));
    TableRow row;
    auto field = fields.begin();
    row.cell = std::strtoull((field++)->c_str(), nullptr, 10);
    row.scenario = *field++;
    row.robotType = std::atoi((field++)->c_str());
    row.family = *field++;
    row.mount = *field++;
    row.load = valueOf(*field++);
    row.loadError = valueOf(*field++);
    row.friction = valueOf(*field++);
    row.seed = *field++;
    row.kind = *field++;
    row.name = *field++;
    row.at = valueOf(*field++);
    row.value = valueOf(*field++);
    row.limit = valueOf(*field++);
    row.unit = *field++;
    row.pass = *field++ == "1";
    row.text = *field++;
    return row;
}

template <typename Use>
void forLines(std::string_view text, const Use& use) {
    for (std::size_t from = 0, to; (to = text.find('\n', from)) != std::string_view::npos; from = to + 1)
        use(text.substr(from, to - from));  // a last one without its end is none
}

}  // namespace

std::string rowsOf(const Cell& cell, const Run& run) {
    const std::string options = optionsOf(cell);
    Text text;
    for (const Verdict& v : run.verdicts) {
        put(text, "{},verdict,{},,{},{},{},{:d},\n", options, csvField(v.name), number(v.value),
            number(v.limit), csvField(v.unit), v.pass);
    }
    for (const Figure& f : run.figures) {
        put(text, "{},figure,{},{},{},,{},,\n", options, csvField(f.name), numberIfAny(f.at), number(f.value),
            csvField(f.unit));
    }
    for (const auto& [name, words] : run.findings) {
        const auto same = [&, &what = name](const Figure& f) { return f.name == what; };
        if (std::none_of(run.figures.begin(), run.figures.end(), same))
            put(text, "{},finding,{},,,,,,{}\n", options, csvField(name), csvField(words));
    }
    const double seconds = run.simulation == nullptr ? 0.0 : run.simulation->time();
    put(text, "{},run,{},,{},,s,{:d},\n", options, run.passed() ? "pass" : "fail", number(seconds),
        run.passed());
    return fmt::to_string(text);
}

std::string rowsOfCrash(const Cell& cell, const std::string& reason) {
    return fmt::format("{},run,crash,,,,s,0,{}\n", optionsOf(cell), csvField(reason));
}

Table Table::read(const std::filesystem::path& file) {
    Table table;
    std::ifstream stream(file, std::ios::binary);
    if (!stream) return table;
    std::ostringstream buffer;
    buffer << stream.rdbuf();
    const std::string all = std::move(buffer).str();
    std::string_view text = all;
    if (!text.starts_with(kHeading)) {
        // not even the heading was whole
        if (kHeading.starts_with(text)) return table;
        throw CampaignError(fmt::format("{} is not a table of this program", file.string()));
    }
    text.remove_prefix(kHeading.size());
    std::string rows;
    std::size_t cell = 0;
    forLines(text, [&](std::string_view line) {
        const std::vector<std::string> fields = fieldsOf(line);
        if (fields.size() != kColumns) {
            rows.clear();  // a torn tail that a later campaign wrote behind
            return;
        }
        const std::size_t number = std::strtoull(fields[0].c_str(), nullptr, 10);
        if (number != cell) rows.clear();
        cell = number;
        rows.append(line).append("\n");
        if (fields[9] == "run") table.add(cell, std::exchange(rows, {}));
    });
    return table;
}

bool Table::passed(std::size_t cell) const { return ended(cell, ",run,pass,"); }
bool Table::crashed(std::size_t cell) const { return ended(cell, ",run,crash,"); }

bool Table::ended(std::size_t cell, const char* how) const {
    const auto found = cells_.find(cell);
    if (found == cells_.end()) return false;
    const std::string_view rows = found->second;
    const std::size_t last = rows.rfind('\n', rows.size() - 2);
    return rows.find(how, last == std::string_view::npos ? 0 : last) != std::string_view::npos;
}

std::vector<TableRow> Table::rows() const {
    std::vector<TableRow> rows;
    for (const auto& [_, text] : cells_)
        forLines(text, [&](std::string_view line) { rows.push_back(rowOf(line)); });
    return rows;
}

void Table::write(const std::filesystem::path& file) const {
    std::string text(kHeading);
    for (const auto& [_, rows] : cells_) text += rows;
    replaceFile(file, text);
}

}  // namespace tarn::sim
