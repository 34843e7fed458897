#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <csignal>

#include "tarnhost/settings.h"
#include "tarntools/tools_config.h"

using tarn::host::openSettings;
using tarn::host::readSetting;
namespace fs = std::filesystem;

namespace {

constexpr const char* kSection = USER_PARAM_SECTION;

class Settings : public testing::Test {
  protected:
    void SetUp() override {
        openSettings(root);
        fs::create_directories(path.parent_path());
    }
    void TearDown() override { fs::remove_all(root); }

    std::string text() const {
        std::ifstream in(path);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    void setText(const std::string& content) const { std::ofstream(path) << content; }
    long filesInFolder() const { return std::distance(fs::directory_iterator(path.parent_path()), {}); }
    static int write(const char* key, float value) {
        return ConfigWriteEntry(USER_CONFIG_FILE, kSection, key, value);
    }

    const std::string root = testing::TempDir() + "settings." + std::to_string(getpid());
    const fs::path path = root + USER_CONFIG_FILE;
};

}  // namespace

TEST_F(Settings, EveryFloatComesBackAsItWas) {
    write("TENTH", 0.1F);
    EXPECT_EQ(text(), "[USER_PARAM]\nTENTH = 0.1\n");
    std::mt19937 engine(31);
    for (int n = 0; n < 300; n++) {
        const auto bits = std::uint32_t(n == 0 ? 1 : engine());  // 1: the smallest of all
        float value;
        std::memcpy(&value, &bits, sizeof value);
        if (value != value) continue;
        openSettings("");  // in memory: the same text without the disk
        ASSERT_EQ(write("K", value), 0);
        EXPECT_EQ(readSetting(USER_CONFIG_FILE, kSection, "K"), value) << bits;
    }
}

TEST_F(Settings, WhateverIsNotTheKeyKeepsItsPlace) {
    setText(
        "# by hand\n[OTHER]\nFRIC = +9 ; nine\n\n[ USER_PARAM ] # mine\n; FRIC = 2\n  FRIC=0.5 ; half\r\n"
        "name = arm 7\n\n[LAST]\nA = 1");
    ASSERT_EQ(write("FRIC", 1.0F), 0);
    ASSERT_EQ(write("ADDED", -2.5F), 0);
    ASSERT_EQ(ConfigWriteEntry(USER_CONFIG_FILE, "NEW", "B", 3.0F), 0);
    EXPECT_EQ(text(),
              "# by hand\n[OTHER]\nFRIC = +9 ; nine\n\n[ USER_PARAM ] # mine\n; FRIC = 2\n  FRIC=1 ; half\r\n"
              "name = arm 7\nADDED = -2.5\n\n[LAST]\nA = 1\n\n[NEW]\nB = 3\n");
    EXPECT_EQ(readSetting(USER_CONFIG_FILE, "OTHER", "FRIC"), 9.0F);
    EXPECT_EQ(readSetting(USER_CONFIG_FILE, kSection, "name"), std::nullopt);  // no number
    EXPECT_EQ(readSetting(USER_CONFIG_FILE, kSection, "A"), std::nullopt);     // of another section
    EXPECT_EQ(readSetting(LOAD_CONFIG_FILE, kSection, "A"), std::nullopt);
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(Settings, AFailedWriteLeavesTheOldFileAndNothingElse) {
    setText("[USER_PARAM]\nKEPT = 4\n" + std::string(5000, '#') + "\n");
    const std::string before = text();

    // a disk that is full half-way through
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited;
    getrlimit(RLIMIT_FSIZE, &unlimited);
    const rlimit small = {4096, unlimited.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_EQ(write("KEPT", 5.0F), -1);
    setrlimit(RLIMIT_FSIZE, &unlimited);
    EXPECT_EQ(text(), before);
    EXPECT_EQ(filesInFolder(), 1);

    // a folder that takes no new file under the name beside
    fs::create_directory(path.string() + ".new");
    EXPECT_EQ(write("KEPT", 5.0F), -1);
    EXPECT_EQ(text(), before);
    fs::remove(path.string() + ".new");
    EXPECT_EQ(write("KEPT", 5.0F), 0);
    EXPECT_EQ(readSetting(USER_CONFIG_FILE, kSection, "KEPT"), 5.0F);
}

TEST_F(Settings, NamesThatWouldBreakTheFormAreRefused) {
    for (const char* key : {"", " A", "A=B", "A\nB", "#A", "[A]"}) EXPECT_EQ(write(key, 1.0F), -1) << key;
    EXPECT_EQ(ConfigWriteEntry("relative.config", kSection, "A", 1.0F), -1);
    EXPECT_EQ(ConfigWriteEntry("/../outside.config", kSection, "A", 1.0F), -1);
    EXPECT_EQ(ConfigWriteEntry(nullptr, kSection, "A", 1.0F), -1);
    EXPECT_FALSE(fs::exists(path));
}
