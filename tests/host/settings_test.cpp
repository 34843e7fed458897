#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

#include "support/fixture.h"
#include "support/scratch_folder.h"
#include "tarnhost/settings.h"
#include "tarntools/tools_config.h"
#include "tmcforceblock.h"
#include "zvmcforcesensorblock.h"

using namespace tarn::host;
namespace fs = std::filesystem;

namespace {

constexpr const char* kSection = USER_PARAM_SECTION;

class Settings : public testing::Test {
  protected:
    void SetUp() override {
        openSettings(root);
        fs::create_directories(path.parent_path());
    }

    std::string text() const {
        std::ifstream in(path);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    void setText(const std::string& content) const { std::ofstream(path) << content; }
    long filesInFolder() const { return std::distance(fs::directory_iterator(path.parent_path()), {}); }
    static int write(const char* key, float value) {
        return ConfigWriteEntry(USER_CONFIG_FILE, kSection, key, value);
    }

    static std::optional<float> read(const std::string& key) {
        return readSetting(USER_CONFIG_FILE, kSection, key);
    }
    bool tells(const std::vector<std::string>& problems, const std::string& part) const {
        return std::any_of(problems.begin(), problems.end(), [&](const std::string& problem) {
            return problem.find(part) != std::string::npos;
        });
    }

    const fixture::ScratchFolder scratch;
    const std::string root = scratch.path;
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
        EXPECT_EQ(read("K"), value) << bits;
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
    EXPECT_EQ(read("name"), std::nullopt);  // no number
    EXPECT_EQ(read("A"), std::nullopt);     // of another section
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
    beginSettings();
    EXPECT_EQ(write("KEPT", 6.0F), 0);
    EXPECT_FALSE(commitSettings());
    setrlimit(RLIMIT_FSIZE, &unlimited);
    EXPECT_EQ(text(), before);
    EXPECT_EQ(filesInFolder(), 1);

    EXPECT_EQ(write("B", 1.0F), 0);  // takes along what was refused
    openSettings(root);
    EXPECT_EQ(read("KEPT"), 6.0F);
}

TEST_F(Settings, NamesThatWouldBreakTheFormAreRefused) {
    for (const char* key : {"", " A", "A=B", "A\nB", "#A", "[A]"}) EXPECT_EQ(write(key, 1.0F), -1) << key;
    EXPECT_EQ(ConfigWriteEntry("relative.config", kSection, "A", 1.0F), -1);
    EXPECT_EQ(ConfigWriteEntry("/../outside.config", kSection, "A", 1.0F), -1);
    EXPECT_EQ(ConfigWriteEntry(nullptr, kSection, "A", 1.0F), -1);
    EXPECT_FALSE(fs::exists(path));
}

// ---- batches, the writer, sudden death

namespace {

// Counts how often a file of the folder is replaced.
class Replaces {
  public:
    // both ends of a rename: the kernel merges equal events that follow each other
    explicit Replaces(const fs::path& folder) {
        inotify_add_watch(watch_, folder.c_str(), IN_MOVED_FROM | IN_MOVED_TO);
    }
    ~Replaces() { close(watch_); }
    int sinceLast() {
        char events[sizeof(inotify_event) + NAME_MAX + 1];
        int ends = 0;
        for (ssize_t size, at; (size = ::read(watch_, events, sizeof events)) > 0;)
            for (at = 0; at < size; ends++) {
                inotify_event event;
                std::memcpy(&event, events + at, sizeof event);
                at += static_cast<ssize_t>(sizeof event + event.len);
            }
        return ends / 2;
    }

  private:
    int watch_ = inotify_init1(IN_NONBLOCK);
};

}  // namespace

TEST_F(Settings, ABatchCostsOneReplaceAFile) {
    double gains[6] = {1, 1.25, 0.5, 1.5, 1, 0.75};
    Replaces replaces(path.parent_path());
    tmcSetJointFrictionGain(gains, gains, gains, gains);
    EXPECT_EQ(replaces.sinceLast(), 24);
    {
        const SettingsBatch command;
        tmcSetJointFrictionGain(gains, gains, gains, gains);
        beginSettings();
        write("A", 1.0F);
        ConfigWriteEntry(LOAD_CONFIG_FILE, "LOAD_PARAM", "LOAD0_WEIGHT", 2.0F);
        EXPECT_TRUE(commitSettings());
        write("A", 3.0F);
        EXPECT_EQ(read("A"), 3.0F);
        EXPECT_EQ(replaces.sinceLast(), 0);
    }
    EXPECT_EQ(replaces.sinceLast(), 2);
    openSettings(root);  // only the disk remembers
    EXPECT_EQ(read("A"), 3.0F);
    EXPECT_EQ(readSetting(LOAD_CONFIG_FILE, "LOAD_PARAM", "LOAD0_WEIGHT"), 2.0F);
}

TEST_F(Settings, TheWriterServesManyThreads) {
    constexpr int kThreads = 3, kWrites = 300;
    startSettingsWriter(std::chrono::milliseconds(1));
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back([t] {
            const std::string key = "T" + std::to_string(t);
            for (int n = 1; n <= kWrites; n++) {
                while (ConfigWriteEntry(USER_CONFIG_FILE, kSection, key.c_str(), static_cast<float>(n)) != 0)
                    std::this_thread::yield();  // the queue is full
                EXPECT_EQ(read(key), static_cast<float>(n));
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(flushSettings());
    EXPECT_EQ(write(std::string(48, 'K').c_str(), 1.0F), -1);  // too long for the queue

    // all of a batch or nothing, whenever the writer comes round
    Replaces replaces(path.parent_path());
    beginSettings();
    EXPECT_EQ(write("A", 1.0F), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(write("B", 1.0F), 0);
    EXPECT_EQ(replaces.sinceLast(), 0);
    EXPECT_TRUE(commitSettings());
    EXPECT_EQ(replaces.sinceLast(), 1);
    write("LAST", 1.0F);
    stopSettingsWriter();
    openSettings(root);
    for (const char* key : {"T0", "T1", "T2"}) EXPECT_EQ(read(key), static_cast<float>(kWrites));
    for (const char* key : {"A", "B", "LAST"}) EXPECT_EQ(read(key), 1.0F);
}

// A process that writes n = 1, 2, ... to two keys and to one of four others, as a batch, dies at any moment:
// the file is as after some whole batch, and none that had been reported done is missing.
TEST_F(Settings, AKilledWriterLeavesTheFileOfSomeMoment) {
    constexpr int kBatches = 334;
    const std::string keys[] = {"K0", "K1", "K2", "K3"};
    int* const done = static_cast<int*>(
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::mt19937 engine(7);
    int last = 0, kills = 0;
    while (last < kBatches) {
        const pid_t child = fork();
        if (child == 0)
            for (int n = last + 1;; n++) {
                beginSettings();
                for (const char* key : {"BOTH", "OF THEM", keys[n % 4].c_str()})
                    write(key, static_cast<float>(n));
                commitSettings();
                std::atomic_ref(*done).store(n);
            }
        const int enough = last + static_cast<int>(engine() % 25);
        while (std::atomic_ref(*done).load() < enough) usleep(50);
        usleep(static_cast<useconds_t>(engine() % 3000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        kills++;

        openSettings(root);
        last = static_cast<int>(read("BOTH").value_or(0.0F));
        ASSERT_TRUE(*done <= last && last <= *done + 1) << text();
        const std::string now = std::to_string(last);
        std::string want = last > 0 ? "[USER_PARAM]\nBOTH = " + now + "\nOF THEM = " + now + "\n" : "";
        for (int n = 1; n <= std::min(last, 4); n++)
            want += keys[n % 4] + " = " + std::to_string(last - (last - n) % 4) + "\n";
        ASSERT_EQ(text(), want);
    }
    munmap(done, sizeof(int));
    EXPECT_GT(kills, 10);
}

// ---- loading

// Every setter of the library, at the ends of its range where it has some: call, restart, load. The loader
// would pass over a key that it does not know, so all are also spoiled.
TEST_F(Settings, WhatASetterStoredComesBack) {
    openSettings("");
    fixture::start(101);
    const fixture::Blocks atStart;
    const SettingsBatch inMemory;
    double a[6] = {0.5, 0.625, 0.75, 0.875, 1, 1.25}, b[6] = {1.5, 1.375, 1.125, 1, 0.75, 0.5};
    double c[6] = {5, 10, 30, 0.5, 1, 10}, d[6] = {120, 121, 122, 123, 124, 125}, e[6] = {2, 4, 6, 8, 9, 10};
    float share[6] = {0, 0.1F, -1e-6F, 1, 0.5F, 0.25F}, levels[6] = {100, 99, 98, 97, 96, 95};
    float place[6] = {60, 61, 62, 63, 64, 0.1F};
    int margins[6] = {1, 2, 3, 4, 6, 10};
    double f[6] = {1.25, 1, 1, 0.5, 1, 1}, g[6] = {1, 1.125, 1, 1, 1, 1.5};
    mpb.forceOrigin = {70, 71, 72, 73, 74, 75};  // taken as the zero
    // clang-format off
    for (int result : {
            tmcSetJointFrictionGain(a, b, f, g), tmcSetFrictionValue_free(share),
            tmcFrictionCompensationOnOff(0), tmcSetJointStiffnessType(1),
            tmcSetCollisionMode(2, 1), tmcSetCollisionLevel(1, levels, 1, 0),
            tmcSetCollisionPause(5, 2000, 500, -3, margins), tmcSetStaticCollisionOnOff(255),
            tmcSetPowerLimit(1, 321), tmcMomentumAndPowerOnOff(1, 25.5F, 300), tmcgravityTeachVersionOnOff(2),
            tmcSetRobotInstallPos(3), tmcSetRobotInstallAngle(-360, 359.5), tmcDragLockEnableDisable(1),
            tmcSetInterfereDrag(2), tmcSetDragLockPara(a, b, e), tmcSetForceSensorAct(1, 0),
            tmcSetForceSensorRcs(2, place, 0), tmcSetForceSensorZero(1, 0),
            tmcSetForceSensorLoadWeight(1.5, 0), tmcSetForceSensorLoadCoord({-1000, 12, 1000}, 0),
            zvmcForceAndTorqueDragStartStop(0, 1, b, d, a, 251, 31),
            zvmcEndForceDragstartstop(0, 21, 22, 23, c, b, d, e, 51, 99), tmcSetForceSensorDragAutoFlag(1)})
        EXPECT_EQ(result, 0);
    // clang-format on
    mpb.forceOrigin = {};
    for (double& gain : mcb.newTeachGain) gain = static_cast<float>(gain);  // what a file can hold

    // keys without a setter, or whose setter clears them
    const auto own = [](const char* section, const std::string& key, auto& field, float value) {
        field = static_cast<std::remove_reference_t<decltype(field)>>(value);
        const bool listed = section == std::string("LOAD_PARAM");
        ConfigWriteEntry(listed ? LOAD_CONFIG_FILE : USER_CONFIG_FILE, section, key.c_str(), value);
    };
    own(kSection, "LOAD_NUM", mpb.loadNum, 7);
    own(kSection, "LOAD_WEIGHT", mpb.loadWeight, 30);
    own(kSection, "LOAD_IDENTIFY_DYN", mcb.loadIdentifyDyn.loadIdentifyDynCtl, 1);
    own(kSection, "LOAD_IDENTIFY_TIME", mcb.loadIdentifyDyn.loadIdentifyDynTime, 1000);
    own("TEST_PARAM", "NEW_TEACH_GAIN_KF3", mcb.newTeachGainKf[2], 1.25F);
    for (int i = 0; i < 6; i++)
        own("FORCE_SENSOR", std::string("FORCESENSOR_ZEROOFFSET_") + &"FX\0FY\0FZ\0MX\0MY\0MZ"[3 * i],
            (&mcb.forceControl.zeroOffset.fx)[i], 80.0F + static_cast<float>(i));
    for (int axis = 0; axis < 3; axis++) {
        const std::string coord = std::string("_Coord_") + "XYZ"[axis];
        own(kSection, "LOAD" + coord, (&mpb.loadCoord.x)[axis], 1000.0F * static_cast<float>(axis - 1));
        for (int n = 0; n < MAXLOADNUM; n++)
            own("LOAD_PARAM", "LOAD" + std::to_string(n) + coord, (&mpb.loadCoordList[n].x)[axis],
                static_cast<float>(100 * axis - n));
    }
    for (int n = 0; n < MAXLOADNUM; n++)
        own("LOAD_PARAM", "LOAD" + std::to_string(n) + "_WEIGHT", mpb.loadWeightList[n],
            1.5F * static_cast<float>(n + 1));

    const auto written = fixture::calls();
    serviceRecord.on = false;
    const fixture::Blocks before;
    setDefaults(101);
    ASSERT_TRUE(atStart.unchanged());
    EXPECT_EQ(loadSettings(), std::vector<std::string>());
    EXPECT_TRUE(before.unchanged());

    std::vector<std::string> told;
    for (const std::string& call : written) {
        std::istringstream words(call);
        std::string name, file, section, key;
        words >> name >> file >> section >> key;
        if (name != "ConfigWriteEntry") continue;
        ConfigWriteEntry(file.c_str(), section.c_str(), key.c_str(), std::numeric_limits<float>::quiet_NaN());
        told.push_back("[" + section + "] " + key + " = nan is out of range");
    }
    EXPECT_GT(told.size(), 200u);
    const auto problems = loadSettings();
    for (const std::string& problem : told) EXPECT_TRUE(tells(problems, problem)) << problem;
}

TEST_F(Settings, ALoadTakesWhatIsGoodAndTellsTheRest) {
    enum Fate { kKept, kCleaned, kAside, kMissing };
    struct Case {
        std::string text, problem;  // of the file; what is told, empty: nothing
        int stiffness;              // as loaded; default 0
        Fate fate;
    };
    const std::string good = "[USER_PARAM]\nFRIC_JOINTSTIFFNESSTYPE = 1\n";
    const std::string paused3 = good + "COLLISION_PAUSE = 3\nCOLLISION_SAFEMARGIN1 = 0\n";
    const Case cases[] = {
        {good + "[MINE]\nOWN = 5\nwords = a b\n", "", 1, kKept},
        {good + "J1_COLLISION_LEVEL = 100.5\n", "J1_COLLISION_LEVEL = 100.5 is out of range", 1, kKept},
        {good + "J1_COLLISION_LEVEL = ten\n", "J1_COLLISION_LEVEL = ten is no number", 1, kKept},
        {good + "COLLISION_MODE = 1.5\n", "COLLISION_MODE = 1.5 is out of range", 1, kKept},
        {good + "stray words\n", "line 3 is no setting", 1, kKept},
        {paused3, "", 1, kKept},  // only reaction 5 asks for margins
        {good + "COLLISION_PAUSE = 5\nCOLLISION_SAFEMARGIN1 = 0\n", "SAFEMARGIN1 = 0 is out of range", 1,
         kKept},
        {good + "LOAD_NUM\x01\x02 = 3\n", "holds binary junk", 1, kCleaned},
        {"stray words\n", "is no settings file", 0, kAside},
        {"\x7fZ\x01\n\x02\n", "is no settings file", 0, kAside},
        {"# empty\n", "", 0, kKept},
        {"", "no such file", 0, kMissing},
    };
    const fs::path aside = path.string() + ".bad";
    ConfigWriteEntry(LOAD_CONFIG_FILE, "LOAD_PARAM", "LOAD3_WEIGHT", 1.5F);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const bool bad = c.fate == kCleaned || c.fate == kAside;
        fs::remove(path);
        fs::remove(aside);
        if (c.fate != kMissing) setText(c.text);
        setDefaults(101);
        const auto problems = loadSettings();
        EXPECT_EQ(problems.size(), c.problem.empty() ? 0u : 1u);
        EXPECT_TRUE(c.problem.empty() || tells(problems, c.problem));
        EXPECT_EQ(mcb.jointStiffnessType, c.stiffness);
        EXPECT_EQ(mpb.collisionLevel[0], 5.0F);
        EXPECT_EQ(mcb.collisionDetection.safetyMargin[0], mcb.collisionPauseFlag == 3 ? 0 : 5);
        EXPECT_EQ(mpb.loadWeightList[3], 1.5);  // the other file
        EXPECT_EQ(mcb.fileError, bad ? zvCtlUserConfigLoadError : zvCtlFileOK);
        EXPECT_EQ(text(), c.fate == kKept ? c.text : c.fate == kCleaned ? good : "");
        EXPECT_EQ(fs::exists(path), c.fate == kKept || c.fate == kCleaned);
        EXPECT_EQ(fs::exists(aside), bad);
    }

    fs::create_directory(path);  // no file at all
    setDefaults(101);
    EXPECT_TRUE(tells(loadSettings(), "cannot be read, put aside"));
    EXPECT_EQ(mcb.fileError, zvCtlUserConfigLoadError);
    EXPECT_TRUE(fs::is_directory(aside));
    EXPECT_EQ(write("A", 1.0F), 0);
}
