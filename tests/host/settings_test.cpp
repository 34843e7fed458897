#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

#include "support/fixture.h"
#include "tarnhost/settings.h"
#include "tarntools/tools_config.h"
#include "tmcforceblock.h"

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

    bool tells(const std::vector<std::string>& problems, const std::string& part) const {
        return std::any_of(problems.begin(), problems.end(), [&](const std::string& problem) {
            return problem.find(part) != std::string::npos;
        });
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
        alignas(inotify_event) char events[4096];
        int count = 0;
        for (ssize_t size; (size = read(watch_, events, sizeof events)) > 0;)
            for (ssize_t at = 0; at < size;) {
                inotify_event event;
                std::memcpy(&event, events + at, sizeof event);
                count += (event.mask & IN_MOVED_TO) != 0;
                at += static_cast<ssize_t>(sizeof event + event.len);
            }
        return count;
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
        {
            const SettingsBatch inner;
            write("A", 1.0F);
            ConfigWriteEntry(LOAD_CONFIG_FILE, "LOAD_PARAM", "LOAD0_WEIGHT", 2.0F);
        }
        write("A", 3.0F);
        EXPECT_EQ(readSetting(USER_CONFIG_FILE, kSection, "A"), 3.0F);
        EXPECT_EQ(replaces.sinceLast(), 0);
    }
    EXPECT_EQ(replaces.sinceLast(), 2);
    openSettings(root);  // only the disk remembers
    EXPECT_EQ(readSetting(USER_CONFIG_FILE, kSection, "A"), 3.0F);
    EXPECT_EQ(readSetting(LOAD_CONFIG_FILE, "LOAD_PARAM", "LOAD0_WEIGHT"), 2.0F);

    fs::create_directory(path.string() + ".new");  // the disk refuses
    beginSettings();
    EXPECT_EQ(write("A", 4.0F), 0);
    EXPECT_FALSE(commitSettings());
    fs::remove(path.string() + ".new");
    EXPECT_EQ(write("B", 1.0F), 0);  // takes along what was refused
    openSettings(root);
    EXPECT_EQ(readSetting(USER_CONFIG_FILE, kSection, "A"), 4.0F);
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
                EXPECT_EQ(readSetting(USER_CONFIG_FILE, kSection, key), static_cast<float>(n));
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
    for (const char* key : {"T0", "T1", "T2"})
        EXPECT_EQ(readSetting(USER_CONFIG_FILE, kSection, key), static_cast<float>(kWrites));
    for (const char* key : {"A", "B", "LAST"}) EXPECT_EQ(readSetting(USER_CONFIG_FILE, kSection, key), 1.0F);
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
                {
                    const SettingsBatch batch;
                    for (const char* key : {"BOTH", "OF THEM", keys[n % 4].c_str()})
                        write(key, static_cast<float>(n));
                }
                std::atomic_ref(*done).store(n);
            }
        const int enough = last + static_cast<int>(engine() % 25);
        while (std::atomic_ref(*done).load() < enough) usleep(50);
        usleep(static_cast<useconds_t>(engine() % 3000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        kills++;

        const std::string now = text();
        openSettings(root);
        const float found = readSetting(USER_CONFIG_FILE, kSection, "BOTH").value_or(0.0F);
        last = static_cast<int>(found);
        ASSERT_GE(last, *done) << now;
        ASSERT_LE(last, *done + 1) << now;
        std::string want = last > 0 ? "[USER_PARAM]\n" : "";
        for (const char* key : {"BOTH", "OF THEM"})
            if (last > 0) want += std::string(key) + " = " + std::to_string(last) + "\n";
        for (int n = 1; n <= std::min(last, 4); n++)
            want += keys[n % 4] + " = " + std::to_string(last - (last - n) % 4) + "\n";
        ASSERT_EQ(now, want);
    }
    munmap(done, sizeof(int));
    EXPECT_GT(kills, 10);
}

// ---- loading

namespace {

// Keys of one field or array: the values start at `first` and grow by `step`.
struct Group {
    const char *section, *keys;  // {A B C} stands for each of its words, {#} for the numbers of the loads
    double first, step;
    std::function<double(int)> field;
};

std::vector<std::string> keysOf(std::string keys) {
    const std::size_t open = keys.find('{'), close = keys.find('}');
    if (open == std::string::npos) return {keys};
    std::string words = keys.substr(open + 1, close - open - 1), word;
    if (words == "#") words = "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19";
    std::vector<std::string> all;
    for (std::istringstream in(words); in >> word;)
        all.push_back(keys.substr(0, open) + word + keys.substr(close + 1));
    return all;
}

}  // namespace

TEST_F(Settings, EveryKeyReachesItsField) {
    openSettings("");
    setDefaults(101);
    const auto& sensor = mcb.forceControl;
    const auto& drag = sensor.endforcedrag;
    const auto& both = sensor.forceandtorquedrag;
    const auto& hit = mcb.collisionDetection;
    const auto at = [](const auto* field) {
        return [field](int i) { return static_cast<double>(field[i]); };
    };
    // clang-format off
    const Group groups[] = {
        {"USER_PARAM", "LOAD_NUM", 7, 0, at(&mpb.loadNum)},
        {"USER_PARAM", "LOAD_WEIGHT", 30, 0, at(&mpb.loadWeight)},
        {"USER_PARAM", "LOAD_Coord_{X Y Z}", -1000, 1000, at(&mpb.loadCoord.x)},
        {"USER_PARAM", "LOAD_IDENTIFY_DYN", 1, 0, at(&mcb.loadIdentifyDyn.loadIdentifyDynCtl)},
        {"USER_PARAM", "LOAD_IDENTIFY_TIME", 1000, 0, at(&mcb.loadIdentifyDyn.loadIdentifyDynTime)},
        {"USER_PARAM", "FRIC_COMPENSATION", 0, 0, at(&mcb.fricCompensationFlag)},
        {"USER_PARAM", "FRIC_JOINTSTIFFNESSTYPE", 1, 0, at(&mcb.jointStiffnessType)},
        {"USER_PARAM", "FRIC_VALUE_FREE_J{1 2 3 4 5 6}", 0, 0.125, at(mpb.friction_Free)},
        {"USER_PARAM", "FORDEAD_GAIN{1 2 3 4 5 6}", 0.5, 0.125, at(mpb.ForDeadGain)},
        {"USER_PARAM", "REVDEAD_GAIN{1 2 3 4 5 6}", 0.75, 0.125, at(mpb.RevDeadGain)},
        {"USER_PARAM", "FORFAST_GAIN{1 2 3 4 5 6}", 0.875, 0.125, at(mpb.ForFastGain)},
        {"USER_PARAM", "REVFAST_GAIN{1 2 3 4 5 6}", 1.5, -0.125, at(mpb.RevFastGain)},
        {"USER_PARAM", "COLLISION_MODE", 2, 0, at(&mpb.collisionMode)},
        {"USER_PARAM", "COLLISION_THRESHOLDMODE", 1, 0, at(&mpb.collisionThresholdMode)},
        {"USER_PARAM", "J{1 2 3 4 5 6}_COLLISION_LEVEL", 95, 1, at(mpb.collisionLevel)},
        {"USER_PARAM", "J{1 2 3 4 5 6}_COLLISION_LEVEL", 95, 1, at(mpb.configCollisionLevel)},
        {"USER_PARAM", "COLLISION_PAUSE", 5, 0, at(&mcb.collisionPauseFlag)},
        {"USER_PARAM", "COLLISION_SAFETIME", 2000, 0, at(&hit.safeTime)},
        {"USER_PARAM", "COLLISION_SAFEDISTANCE", 500, 0, at(&hit.safeDistance)},
        {"USER_PARAM", "COLLISION_SAFESPEED", -3, 0, at(&hit.safeSpeed)},
        {"USER_PARAM", "COLLISION_SAFEMARGIN{1 2 3 4 5 6}", 1, 1, at(hit.safetyMargin)},
        {"USER_PARAM", "COLLISION_STATIC", 255, 0, at(&hit.staticCollisionFlag)},
        {"USER_PARAM", "POWER_FLAG", 1, 0, at(&hit.powerFlag)},
        {"USER_PARAM", "POWER_LIMIT", 321, 0, at(&hit.powerLimit)},
        {"SAFETY_PARAM", "MOMENTUMPOWER_ENABLEFLAG", 1, 0, at(&mcb.momentumPowerEnableFlag)},
        {"SAFETY_PARAM", "MOMENTUMPOWER_MOMENTUMLIMIT", 25.5, 0, at(&mcb.momentumLimit)},
        {"SAFETY_PARAM", "MOMENTUMPOWER_POWERLIMIT", 300, 0, at(&mcb.powerLimit)},
        {"USER_PARAM", "INSTALL_POS", 3, 0, at(&mcb.robotInstallPos)},
        {"USER_PARAM", "INSTALL_YANGLE", -360, 0, at(&mcb.robotInstallYangle)},
        {"USER_PARAM", "INSTALL_ZANGLE", 0.1F, 0, at(&mcb.robotInstallZangle)},
        {"TEST_PARAM", "NEW_TEACH_ENABLE", 2, 0, at(&mcb.newTeachEnable)},
        {"TEST_PARAM", "NEW_TEACH_GAIN{1 2 3 4 5 6}", 2, 1, at(mcb.newTeachGain)},
        {"TEST_PARAM", "NEW_TEACH_GAIN_KF{1 2 3 4 5 6}", 3, 1, at(mcb.newTeachGainKf)},
        {"TEST_PARAM", "IMPEDANCE_SIGN", 1, 0, at(&both.impedance_sign)},
        {"TEST_PARAM", "LAMDAGAIN{1 2 3 4 5 6}", 0, 1, at(both.LamdaGain)},
        {"TEST_PARAM", "KGAIN{1 2 3 4 5 6}", 40, 1, at(both.KGain)},
        {"TEST_PARAM", "BGAIN{1 2 3 4 5 6}", 0.25, 0.125, at(both.BGain)},
        {"TEST_PARAM", "DRAGMAXTCPVEL", 251, 0, at(&both.DragMaxTcpVel)},
        {"TEST_PARAM", "DRAGMAXTCPORIVEL", 31, 0, at(&both.DragMaxTcpOriVel)},
        {"DRAGLOCK_PARAM", "DRAGLOCK_ENABLE", 1, 0, at(&mcb.dragLockEnable)},
        {"DRAGLOCK_PARAM", "DRAGLOCK_P_{X Y Z A B C}", 1, 1, at(mcb.dragLockP)},
        {"DRAGLOCK_PARAM", "DRAGLOCK_I_{X Y Z A B C}", 5, 1, at(mcb.dragLockI)},
        {"DRAGLOCK_PARAM", "DRAGLOCK_D_{X Y Z A B C}", 0.5, 1, at(mcb.dragLockD)},
        {"INTERFERE_PARAM", "INTERFERE_DRAG", 2, 0, at(&mcb.interfereDrag)},
        {"FORCE_SENSOR", "FORCESENSOR_SETFLAG", 1, 0, at(&sensor.forceSensorAct)},
        {"FORCE_SENSOR", "FORCESENSOR_COORD_{X Y Z A B C}", 60, 1, at(&sensor.forceSensorCoord.x)},
        {"FORCE_SENSOR", "FORCESENSOR_REFCOORD", 2, 0, at(&sensor.forceSensorRcs)},
        {"FORCE_SENSOR", "FORCESENSOR_ZEROFLAG", 1, 0, at(&sensor.forceSensorZeroFlag)},
        {"FORCE_SENSOR", "FORCESENSOR_ZERO_{FX FY FZ MX MY MZ}", 70, 1, at(&sensor.zeroValue.fx)},
        {"FORCE_SENSOR", "FORCESENSOR_ZEROOFFSET_{FX FY FZ MX MY MZ}", 80, 1, at(&sensor.zeroOffset.fx)},
        {"FORCE_SENSOR", "FORCESENSOR_LOADWEIGHT", 1.5, 0, at(&mpb.forceSensorLoadWeight)},
        {"FORCE_SENSOR", "FORCESENSOR_LOADCOORD{X Y Z}", 11, 1, at(&mpb.forceSensorLoadCoord.x)},
        {"FORCE_SENSOR", "FORCESENSOR_ENDDRAG{FX FY FZ MX MY MZ}", 90, 1, at(drag.F)},
        {"FORCE_SENSOR", "FORCESENSOR_INERTIA_{X Y Z MX MY MZ}", 7.5, 0.5, at(drag.M)},
        {"FORCE_SENSOR", "FORCESENSOR_DAMP_{X Y Z MX MY MZ}", 110, 1, at(drag.B)},
        {"FORCE_SENSOR", "FORCESENSOR_STIFFNESS_{X Y Z MX MY MZ}", 120, 1, at(drag.K)},
        {"FORCE_SENSOR", "FORCESENSOR_ADAPTIVE_SIGN", 21, 0, at(&drag.adaptive_sign)},
        {"FORCE_SENSOR", "FORCESENSOR_INTERFERE_SIGN", 22, 0, at(&drag.interfere_drag_sign)},
        {"FORCE_SENSOR", "SINGULARITYCONSTRAINTSFLAG", 23, 0, at(&drag.singularityConstraintsFlag)},
        {"FORCE_SENSOR", "FORCESENSOR_ENDDRAGFMAX", 51, 0, at(&drag.Fmax)},
        {"FORCE_SENSOR", "FORCESENSOR_ENDDRAGVMAX", 99, 0, at(&drag.Vmax)},
        {"FORCE_SENSOR", "FORCESENSOR_ENDDRAGAUTOFLAG", 1, 0, at(&mcb.forceSensorDragAutoFlag)},
        {"LOAD_PARAM", "LOAD{#}_WEIGHT", 1, 1.5, at(mpb.loadWeightList)},
        {"LOAD_PARAM", "LOAD{#}_Coord_X", 10, 1, [](int i) { return mpb.loadCoordList[i].x; }},
        {"LOAD_PARAM", "LOAD{#}_Coord_Y", 40, 1, [](int i) { return mpb.loadCoordList[i].y; }},
        {"LOAD_PARAM", "LOAD{#}_Coord_Z", -90, 1, [](int i) { return mpb.loadCoordList[i].z; }},
    };
    // clang-format on
    const SettingsBatch inMemory;
    for (const Group& group : groups) {
        const bool load = group.section == std::string("LOAD_PARAM");
        double value = group.first;
        for (const std::string& key : keysOf(group.keys)) {
            ConfigWriteEntry(load ? LOAD_CONFIG_FILE : USER_CONFIG_FILE, group.section, key.c_str(),
                             static_cast<float>(value));
            value += group.step;
        }
    }
    EXPECT_EQ(loadSettings(), std::vector<std::string>());
    for (const Group& group : groups) {
        const std::vector<std::string> keys = keysOf(group.keys);
        for (int i = 0; i < std::ssize(keys); i++)
            EXPECT_EQ(group.field(i), group.first + i * group.step)
                << group.section << ' ' << keys[static_cast<size_t>(i)];
    }
}

// Every setter of the library: call, restart, load. A key that the loader does not know would be no problem
// to it, so each is also spoiled.
TEST_F(Settings, WhatASetterStoredComesBack) {
    openSettings("");
    fixture::start(101);
    double gains[4][6] = {
        {0.5, 0.6, 0.7, 0.8, 0.9, 1}, {1.5, 1, 1, 1, 1, 1}, {1, 1.25, 1, 1, 1, 1}, {1, 1, 1.1, 1, 1, 1}};
    for (auto& kind : gains)
        for (double& gain : kind) gain = static_cast<float>(gain);  // what a file can hold
    float share[6] = {0, 0.1F, -1e-6F, 1, 0.5F, 0.25F};
    ASSERT_EQ(tmcSetJointFrictionGain(gains[0], gains[1], gains[2], gains[3]), 0);
    ASSERT_EQ(tmcSetFrictionValue_free(share), 0);
    ASSERT_EQ(tmcFrictionCompensationOnOff(0), 0);
    ASSERT_EQ(tmcSetJointStiffnessType(1), 0);
    const auto written = fixture::calls();
    ASSERT_EQ(written.size(), 32u);
    serviceRecord.on = false;

    const fixture::Blocks before;
    setDefaults(101);
    ASSERT_FALSE(before.unchanged());
    EXPECT_EQ(loadSettings().size(), 1u);  // no loads yet
    EXPECT_TRUE(before.unchanged());

    for (const std::string& call : written) {
        std::istringstream words(call);
        std::string name, file, section, key;
        words >> name >> file >> section >> key;
        ConfigWriteEntry(file.c_str(), section.c_str(), key.c_str(), std::numeric_limits<float>::quiet_NaN());
        EXPECT_TRUE(tells(loadSettings(), "[" + section + "] " + key + " = nan is out of range")) << call;
    }
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
        {good + "LOAD_WEIGHT = inf\n", "LOAD_WEIGHT = inf is out of range", 1, kKept},
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
