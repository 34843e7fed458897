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
// name, so that power loss leaves the old file or the new one. The calls wait for the disk, which suits
// command handlers. The dynamic load identification writes from the cycle, and this host still waits there: a
// queue is to come. A real controller batches the keys of one command and writes from a thread of its own.
#pragma once

#include <optional>
#include <string>

namespace tarn::host {

// Puts the files under the folder root: the absolute path that a key names is appended to it. An empty root
// keeps them in memory only, which is how the process starts. Forgets what memory held.
void openSettings(const std::string& root);

// Value of a key; none when file, section or key is missing or the text is no number.
std::optional<float> readSetting(const std::string& file, const std::string& section, const std::string& key);

}  // namespace tarn::host
