// A folder of a test's own: tests run side by side, each in its own process.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <cstdlib>

namespace fixture {

struct ScratchFolder {
    ScratchFolder() {
        std::string name = testing::TempDir() + "tarn.XXXXXX";
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder " + name);
        path = name;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::filesystem::path path;
};

}  // namespace fixture
