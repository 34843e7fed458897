#include "tarnhost/settings.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <string_view>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "record_call.h"
#include "tarntools/tools_config.h"

namespace tarn::host {
namespace {

namespace fs = std::filesystem;

std::mutex settingsMutex;
std::string settingsRoot;
std::map<std::string, std::string> filesInMemory;  // text by path, while there is no root

// ---- text

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlank = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlank);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
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

// Where a key stands, or where it belongs.
struct Place {
    bool hasSection, hasKey;
    std::size_t line;         // of the key; else the line that a new key of the section goes before
    std::size_t start, size;  // of the key's value in its line, without blanks around it and a comment
};

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

std::string withEntry(const std::string& text, std::string_view section, const std::string& key,
                      float value) {
    char digits[32];
    const std::string number(digits, std::to_chars(std::begin(digits), std::end(digits), value).ptr);
    const std::string entry = key + " = " + number;

    std::vector<std::string> lines = linesOf(text);
    const Place place = find(lines, section, key);
    const auto at = lines.begin() + static_cast<std::ptrdiff_t>(place.line);
    if (place.hasKey) {
        at->replace(place.start, place.size, number);
    } else if (place.hasSection) {
        lines.insert(at, entry);
    } else {
        if (!lines.empty()) lines.emplace_back();
        lines.push_back("[" + std::string(section) + "]");
        lines.push_back(entry);
    }

    std::string result;
    for (const std::string& line : lines) result += line + "\n";
    return result;
}

// A name that would break the file's form is refused.
bool isName(const std::string& name) {
    return !name.empty() && trimmed(name) == name && name.find_first_of("[]=#;\n\r") == std::string::npos;
}

// ---- files

// Appending a path must not lead out of the root.
bool isSettingsPath(const fs::path& file) {
    if (!file.is_absolute() || !file.has_filename()) return false;
    for (const fs::path& part : file)
        if (part == "..") return false;
    return true;
}

std::string pathUnderRoot(const std::string& file) { return settingsRoot + file; }

// A file that is not there is an empty one; false when it is there and cannot be read.
bool readFile(const std::string& path, std::string* text) {
    text->clear();
    std::error_code error;
    if (!fs::exists(path, error)) return !error;
    std::ifstream in(path, std::ios::binary);
    if (!in || !fs::is_regular_file(path, error)) return false;
    text->assign(std::istreambuf_iterator<char>(in), {});
    return !in.bad();
}

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool flushFolder(const fs::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool flushed = ::fsync(descriptor) == 0;
    ::close(descriptor);
    return flushed;
}

bool replaceFile(const fs::path& path, std::string_view text) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    if (error) return false;

    mode_t mode = 0644;
    struct stat old;
    if (::stat(path.c_str(), &old) == 0) mode = old.st_mode & 07777;

    const std::string beside = path.string() + ".new";
    const int descriptor = ::open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    if (descriptor < 0) return false;
    bool written = writeAll(descriptor, text) && ::fchmod(descriptor, mode) == 0 && ::fsync(descriptor) == 0;
    written = ::close(descriptor) == 0 && written;
    if (!written || ::rename(beside.c_str(), path.c_str()) != 0) {
        ::unlink(beside.c_str());
        return false;
    }
    return flushFolder(path.parent_path());
}

bool load(const std::string& file, std::string* text) {
    if (!settingsRoot.empty()) return readFile(pathUnderRoot(file), text);
    *text = filesInMemory[file];
    return true;
}

bool store(const std::string& file, const std::string& text) {
    if (!settingsRoot.empty()) return replaceFile(pathUnderRoot(file), text);
    filesInMemory[file] = text;
    return true;
}

bool writeEntry(const std::string& file, const std::string& section, const std::string& key, float value) {
    if (!isSettingsPath(file) || !isName(section) || !isName(key)) return false;
    const std::lock_guard lock(settingsMutex);
    std::string text;
    return load(file, &text) && store(file, withEntry(text, section, key, value));
}

}  // namespace

void openSettings(const std::string& root) {
    const std::lock_guard lock(settingsMutex);
    settingsRoot = root;
    filesInMemory.clear();
}

std::optional<float> readSetting(const std::string& file, const std::string& section,
                                 const std::string& key) {
    if (!isSettingsPath(file)) return std::nullopt;
    const std::lock_guard lock(settingsMutex);
    std::string text;
    if (!load(file, &text)) return std::nullopt;
    const std::vector<std::string> lines = linesOf(text);
    const Place place = find(lines, section, key);
    if (!place.hasKey) return std::nullopt;

    const char* first = lines[place.line].data() + place.start;
    const char* end = first + place.size;
    if (place.size >= 2 && first[0] == '+' && first[1] != '-') first++;
    float value;
    const std::from_chars_result result = std::from_chars(first, end, value);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return value;
}

}  // namespace tarn::host

using namespace tarn::host;

int ConfigWriteEntry(const char* file, const char* section, const char* key, float value) {
    recordCall("ConfigWriteEntry", file, section, key, value);
    if (file == nullptr || section == nullptr || key == nullptr) return -1;
    try {
        return writeEntry(file, section, key, value) ? 0 : -1;
    } catch (const std::exception&) {  // out of memory: callers are C functions
        return -1;
    }
}
