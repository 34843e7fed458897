// Settings files: what ConfigWriteEntry writes and what a host reads back.
//
// A file is text in sections and keys,
//     [USER_PARAM]
//     FRIC_COMPENSATION = 1
// with comments from '#' or ';' to the end of the line. Whatever is not the value in hand keeps its place and
// its bytes; a missing last newline is added. A value is written with the fewest digits that read back as the
// same float.
//
// Files are replaced, not edited: the new text goes beside the old one, is flushed to the disk and takes its
// name, so that power loss leaves the old file or the new one.
//
// When a write is durable:
//     writer runs  in a batch  ConfigWriteEntry
//     no           no          waits for the disk; durable when it returns 0
//     no           yes         memory; durable when the batch ends
//     yes          either      a queue, free of locks, allocation and kernel, as the cycle must have it;
//     durable
//                              when the writer comes round or the batch ends. A full queue refuses with -1,
//                              and so it does names beyond 127 (file) and 47 characters.
// Reading sees a write at once in all cases. What a disk refuses stays in memory and goes along with the next
// write to that file. A host starts the writer before its first cycle.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tarn::host {

// Puts the files under the folder root: the absolute path that a key names is appended to it. An empty root
// keeps them in memory only, which is how the process starts. Writes what is unwritten to the old root and
// forgets what memory held.
void openSettings(const std::string& root);

// Value of a key; none when file, section or key is missing or the text is no number.
std::optional<float> readSetting(const std::string& file, const std::string& section, const std::string& key);

// ---- batches: the keys of one command cost one replace a file and reach it together

// From begin to the commit that belongs to it nothing is written, by no thread. Batches nest; the outermost
// commit waits for the disk. False when it refused something.
void beginSettings();
bool commitSettings();

// All that is in memory goes to the disk now, also within a batch. False when it refused something.
bool flushSettings();

struct SettingsBatch {
    SettingsBatch() { beginSettings(); }
    ~SettingsBatch() { commitSettings(); }
    SettingsBatch(const SettingsBatch&) = delete;
    SettingsBatch& operator=(const SettingsBatch&) = delete;
};

// ---- the writer: a thread of ordinary priority

void startSettingsWriter(std::chrono::milliseconds period = std::chrono::milliseconds(20));

// Writes what is left. The end of the process does it, too.
void stopSettingsWriter();

// ---- start

// Fills the blocks from the files, for every key that the library writes. Comes after setDefaults, whose
// value stays where a key is missing, its text is no number, or the number is out of range: the ranges are
// those of the setters, but for limits that depend on the robot type. Unknown keys stay in the file and are
// not told.
//
// A file with binary junk goes aside as NAME.bad; its clean lines are taken and stay. One that cannot be
// read, or is no settings file at all, goes aside as a whole. Either raises mcb.fileError.
//
// Returns what was wrong, a line each, a missing file included, and logs the same. Not for the cycle.
std::vector<std::string> loadSettings();

}  // namespace tarn::host
