// The form of a settings file: sections, keys, comments.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::host {

std::vector<std::string> linesOf(const std::string& text);
std::string textOf(const std::vector<std::string>& lines);

// What a line is. kBinary holds control characters, kStray is text of no use.
enum class LineKind { kBlank, kSection, kEntry, kStray, kBinary };
LineKind kindOf(std::string_view line);

// A name that would break the form is refused. Free of allocation.
bool isName(std::string_view name);

// Where a key stands, or where it belongs.
struct Place {
    bool hasSection, hasKey;
    std::size_t line;         // of the key; else the line that a new key of the section goes before
    std::size_t start, size;  // of the key's value in its line, without blanks around it and a comment
};

Place find(const std::vector<std::string>& lines, std::string_view section, std::string_view key);

// The number at a place that has its key; none when the text is no number.
std::optional<float> numberAt(const std::vector<std::string>& lines, const Place& place);

// The text with the key set.
std::string withEntry(const std::string& text, std::string_view section, std::string_view key, float value);

}  // namespace tarn::host
