// What the loader needs of the settings files.
#pragma once

#include <string>

namespace tarn::host {

enum class FileState { kMissing, kUnreadable, kRead };

// Text of a file, with what is not yet written to it.
FileState readSettingsFile(const std::string& file, std::string* text);

// Puts a file aside as NAME.bad. With text that is still good, that takes its place, and at no moment is
// there no file. False when the disk refuses.
bool putSettingsFileAside(const std::string& file, const std::string& goodText);

}  // namespace tarn::host
