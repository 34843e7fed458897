// As much of JSON as the summaries of runs need: written by hand, read back into a tree.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::sim {

struct Json {
    enum Kind { Null, Bool, Number, String, List, Object } kind = Null;
    std::string text;  // of a string; of a number or a truth value as written
    struct Row;
    std::vector<Row> rows;  // of an object; of a list without names

    const Json& operator[](std::string_view name) const;  // Null: there is none
    double number() const;                                // of anything else: not a number
    bool is(bool value) const { return kind == Bool && text == (value ? "true" : "false"); }
};

struct Json::Row {
    std::string name;
    Json value;
};

// Nothing when the text is no JSON, or nested more deeply than any summary.
std::optional<Json> parsedJson(std::string_view text);

std::string quotedJson(std::string_view text);
std::string jsonNumber(double value);  // null when it is none

}  // namespace tarn::sim
