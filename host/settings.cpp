#include "tarnhost/settings.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "periodic.h"
#include "record_call.h"
#include "ring.h"
#include "settings_file.h"
#include "settings_text.h"
#include "tarntools/tools_config.h"
#include "tarntools/tools_log.h"
#include "write_all.h"

namespace tarn::host {
namespace {

namespace fs = std::filesystem;

struct Change {
    std::string section, key;
    float value;
};

// One write on its way to the writer.
struct QueuedWrite {
    char file[128], section[48], key[48];
    float value;
};

// Longest burst between two wakings of the writer; the largest command writes 29 keys.
constexpr std::size_t kQueueLength = 1024;

// Guards all down to the queue. Who writes while the writer runs does not take it.
std::mutex settingsMutex;
std::string settingsRoot;
std::map<std::string, std::string> filesInMemory;      // text by path, while there is no root
std::map<std::string, std::vector<Change>> unwritten;  // by file, in the order of their first write
int batchDepth;
bool writesFail;  // told once, until it gets better

Ring<QueuedWrite, kQueueLength> queue;
std::atomic<bool> queueing;  // the writer runs
std::atomic<int> writesLost;

// ---- files

// Appending a path must not lead out of the root. Free of allocation.
bool isSettingsPath(std::string_view file) {
    if (!file.starts_with('/') || file.ends_with('/')) return false;
    for (std::size_t at = 0; at < file.size();) {
        const std::size_t end = std::min(file.find('/', at), file.size());
        if (file.substr(at, end - at) == "..") return false;
        at = end + 1;
    }
    return true;
}

std::string pathUnderRoot(const std::string& file) { return settingsRoot + file; }

FileState readFile(const std::string& path, std::string* text) {
    std::error_code error;
    if (!fs::exists(path, error)) return error ? FileState::kUnreadable : FileState::kMissing;
    std::ifstream in(path, std::ios::binary);
    if (!in || !fs::is_regular_file(path, error)) return FileState::kUnreadable;
    text->assign(std::istreambuf_iterator<char>(in), {});
    return in.bad() ? FileState::kUnreadable : FileState::kRead;
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

FileState load(const std::string& file, std::string* text) {
    text->clear();
    if (!settingsRoot.empty()) return readFile(pathUnderRoot(file), text);
    const auto found = filesInMemory.find(file);
    if (found == filesInMemory.end()) return FileState::kMissing;
    *text = found->second;
    return FileState::kRead;
}

bool store(const std::string& file, const std::string& text) {
    if (!settingsRoot.empty()) return replaceFile(pathUnderRoot(file), text);
    filesInMemory[file] = text;
    return true;
}

// ---- changes: queue to memory, memory to file. The caller holds the lock.

void change(const std::string& file, std::string_view section, std::string_view key, float value) {
    std::vector<Change>& changes = unwritten[file];
    const auto isKey = [&](const Change& c) { return c.section == section && c.key == key; };
    const auto old = std::find_if(changes.begin(), changes.end(), isKey);
    if (old != changes.end())
        old->value = value;
    else
        changes.push_back({std::string(section), std::string(key), value});
}

// Waits for writes in the middle of their way, so that a write that has returned is seen.
void takeQueued() {
    const std::uint64_t end = queue.writePosition.load();
    while (queue.readPosition < end) {
        const bool taken =
            queue.read([](const QueuedWrite& w) { change(w.file, w.section, w.key, w.value); });
        if (!taken) std::this_thread::yield();
    }
}

std::string withChanges(const std::string& file, std::string text) {
    const auto changes = unwritten.find(file);
    if (changes == unwritten.end()) return text;
    for (const Change& c : changes->second) text = withEntry(text, c.section, c.key, c.value);
    return text;
}

bool flushFile(const std::string& file) {
    if (!unwritten.contains(file)) return true;
    std::string text;
    const bool readable = load(file, &text) != FileState::kUnreadable;
    const bool written = readable && store(file, withChanges(file, text));
    if (written)
        unwritten.erase(file);
    else if (!writesFail)
        Write_Log(LOG_ERR, "settings: %s cannot be %s", file.c_str(), readable ? "written" : "read");
    writesFail = !written;
    return written;
}

bool flushAll() {
    std::vector<std::string> files;
    files.reserve(unwritten.size());
    for (const auto& [file, changes] : unwritten) files.push_back(file);
    return std::count_if(files.begin(), files.end(), flushFile) == std::ssize(files);
}

bool flushNow() {
    try {
        takeQueued();
        return flushAll();
    } catch (const std::exception&) {  // out of memory
        return false;
    }
}

// ---- the two ways of a write

bool writeNow(const std::string& file, std::string_view section, std::string_view key, float value) {
    const std::lock_guard lock(settingsMutex);
    takeQueued();
    change(file, section, key, value);
    return batchDepth > 0 || flushFile(file);
}

template <std::size_t N>
void copyText(char (&to)[N], std::string_view from) {
    to[from.copy(to, N - 1)] = '\0';
}

bool enqueue(std::string_view file, std::string_view section, std::string_view key, float value) {
    if (file.size() >= sizeof QueuedWrite::file || section.size() >= sizeof QueuedWrite::section ||
        key.size() >= sizeof QueuedWrite::key)
        return false;
    const bool queued = queue.write([&](QueuedWrite& w) {
        copyText(w.file, file);
        copyText(w.section, section);
        copyText(w.key, key);
        w.value = value;
    });
    if (!queued) writesLost.fetch_add(1, std::memory_order_relaxed);
    return queued;
}

void serveQueue() {
    const std::lock_guard lock(settingsMutex);
    takeQueued();
    if (batchDepth == 0) flushAll();
    if (const int lost = writesLost.exchange(0); lost > 0)
        Write_Log(LOG_ERR, "settings: %d writes lost, too many at once", lost);
}

std::jthread writer;  // last here: it stops before what it uses is gone

}  // namespace

// ---- for the loader

FileState readSettingsFile(const std::string& file, std::string* text) {
    const std::lock_guard lock(settingsMutex);
    takeQueued();
    const FileState state = load(file, text);
    *text = withChanges(file, *text);
    return state == FileState::kMissing && !text->empty() ? FileState::kRead : state;
}

bool putSettingsFileAside(const std::string& file, const std::string& goodText) {
    const std::lock_guard lock(settingsMutex);
    const std::string aside = file + ".bad";
    std::string text;
    if (!goodText.empty())
        return load(file, &text) == FileState::kRead && store(aside, text) && store(file, goodText);
    if (settingsRoot.empty()) {
        filesInMemory[aside] = filesInMemory[file];
        filesInMemory.erase(file);
        return true;
    }
    const fs::path path = pathUnderRoot(file);
    return ::rename(path.c_str(), pathUnderRoot(aside).c_str()) == 0 && flushFolder(path.parent_path());
}

// ---- public

void openSettings(const std::string& root) {
    const std::lock_guard lock(settingsMutex);
    takeQueued();
    flushAll();
    unwritten.clear();
    filesInMemory.clear();
    settingsRoot = root;
}

std::optional<float> readSetting(const std::string& file, const std::string& section,
                                 const std::string& key) {
    if (!isSettingsPath(file)) return std::nullopt;
    std::string text;
    readSettingsFile(file, &text);
    const std::vector<std::string> lines = linesOf(text);
    const Place place = find(lines, section, key);
    return place.hasKey ? numberAt(lines, place) : std::nullopt;
}

void beginSettings() {
    const std::lock_guard lock(settingsMutex);
    batchDepth++;
}

bool commitSettings() {
    const std::lock_guard lock(settingsMutex);
    if (batchDepth > 0 && --batchDepth > 0) return true;
    return flushNow();
}

bool flushSettings() {
    const std::lock_guard lock(settingsMutex);
    return flushNow();
}

void startSettingsWriter(std::chrono::milliseconds period) {
    if (writer.joinable()) return;
    writer = startPeriodic(period, serveQueue);
    queueing = true;
}

void stopSettingsWriter() {
    queueing = false;
    writer.request_stop();
    if (writer.joinable()) writer.join();
    writer = {};
}

}  // namespace tarn::host

using namespace tarn::host;

int ConfigWriteEntry(const char* file, const char* section, const char* key, float value) {
    recordCall("ConfigWriteEntry", file, section, key, value);
    if (file == nullptr || section == nullptr || key == nullptr) return -1;
    if (!isSettingsPath(file) || !isName(section) || !isName(key)) return -1;
    if (queueing) return enqueue(file, section, key, value) ? 0 : -1;
    try {
        return writeNow(file, section, key, value) ? 0 : -1;
    } catch (const std::exception&) {  // out of memory: callers are C functions
        return -1;
    }
}
