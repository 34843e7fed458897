#include "sim/replace_file.h"

#include <fmt/format.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

namespace tarn::sim {

void replaceFile(const std::filesystem::path& file, std::string_view text) {
    std::filesystem::path aside = file;
    aside += fmt::format(".{}.part", getpid());
    std::ofstream stream(aside, std::ios::binary);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.close();
    std::error_code error;
    if (stream) std::filesystem::rename(aside, file, error);
    if (!stream || error) throw std::runtime_error(fmt::format("cannot write {}", file.string()));
}

}  // namespace tarn::sim
