// Files that others may read while they are written, or that a run may be killed over.
#pragma once

#include <filesystem>
#include <string_view>

namespace tarn::sim {

// Puts the text in place of the file in one go. Several processes may write into one folder. Throws
// std::runtime_error when the file cannot be written.
void replaceFile(const std::filesystem::path& file, std::string_view text);

}  // namespace tarn::sim
