#include "settings_text.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <system_error>

namespace tarn::host {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlank = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlank);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

bool isComment(std::string_view text) { return text.starts_with('#') || text.starts_with(';'); }

// Name in a line of the form "[ name ]", with a comment behind it or not; none for any other line.
std::optional<std::string_view> sectionName(std::string_view line) {
    const std::size_t end = line.find(']');
    if (!line.starts_with('[') || end == std::string_view::npos) return std::nullopt;
    const std::string_view behind = trimmed(line.substr(end + 1));
    if (!behind.empty() && !isComment(behind)) return std::nullopt;
    return trimmed(line.substr(1, end - 1));
}

}  // namespace

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

std::string textOf(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) (text += line) += '\n';
    return text;
}

LineKind kindOf(std::string_view line) {
    const auto isControl = [](char c) {
        return (static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\r') || c == '\x7f';
    };
    if (std::any_of(line.begin(), line.end(), isControl)) return LineKind::kBinary;
    line = trimmed(line);
    if (line.empty() || isComment(line)) return LineKind::kBlank;
    if (sectionName(line)) return LineKind::kSection;
    return line.find('=') != std::string_view::npos ? LineKind::kEntry : LineKind::kStray;
}

bool isName(std::string_view name) {
    return !name.empty() && trimmed(name) == name && name.find_first_of("[]=#;\n\r") == std::string::npos;
}

Place find(const std::vector<std::string>& lines, std::string_view section, std::string_view key) {
    Place place = {false, false, lines.size(), 0, 0};
    bool inSection = false;
    for (std::size_t i = 0; i < lines.size(); i++) {
        const std::string_view line = trimmed(lines[i]);
        if (const auto name = sectionName(line)) {
            inSection = *name == section;
            place.hasSection |= inSection;
        }
        // a new key goes behind the last line of its section that is not blank
        if (inSection && !line.empty()) place.line = i + 1;
        const std::string_view whole = lines[i];
        const std::size_t equals = whole.find('=');
        if (!inSection || isComment(line) || equals == std::string_view::npos) continue;
        if (trimmed(whole.substr(0, equals)) != key) continue;
        const std::string_view behind = whole.substr(equals + 1);
        const std::string_view value = trimmed(behind.substr(0, behind.find_first_of("#;")));
        const std::size_t start = value.empty() ? equals + 1 : std::size_t(value.data() - whole.data());
        return {true, true, i, start, value.size()};
    }
    return place;
}

std::optional<float> numberAt(const std::vector<std::string>& lines, const Place& place) {
    const char* first = lines[place.line].data() + place.start;
    const char* end = first + place.size;
    if (place.size >= 2 && first[0] == '+' && first[1] != '-') first++;
    float value;
    const std::from_chars_result result = std::from_chars(first, end, value);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return value;
}

std::string withEntry(const std::string& text, std::string_view section, std::string_view key, float value) {
    char digits[32];
    const std::string number(digits, std::to_chars(std::begin(digits), std::end(digits), value).ptr);
    const std::string entry = std::string(key) + " = " + number;

    std::vector<std::string> lines = linesOf(text);
    const Place place = find(lines, section, key);
    const auto at = lines.begin() + static_cast<std::ptrdiff_t>(place.line);
    if (place.hasKey) {
        at->replace(place.start, place.size, number);
    } else if (place.hasSection) {
        lines.insert(at, entry);
    } else {
        if (!lines.empty()) lines.emplace_back();
        lines.push_back(std::string("[").append(section).append("]"));
        lines.push_back(entry);
    }

    return textOf(lines);
}

}  // namespace tarn::host
