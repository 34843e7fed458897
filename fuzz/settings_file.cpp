// A settings file of any bytes: what the form makes of it, setting a key in it, and loading it at start. The
// first two lines of an input name the section and the key that is set.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#include "settings_text.h"
#include "tarnhost/defaults.h"
#include "tarnhost/settings.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tarntools/tools_config.h"
#include "tarntools/tools_log.h"

void Write_Log(int, const char*, ...) {}

namespace {

using namespace tarn::host;
using Lines = std::vector<std::string>;

void check(bool holds) {
    if (!holds) std::abort();
}

// A folder of the process, under the one for temporary files, with the settings in it.
struct Root {
    std::string path = std::filesystem::temp_directory_path() / "settings.XXXXXX";
    Root() {
        check(mkdtemp(path.data()) != nullptr);
        std::filesystem::create_directories(std::filesystem::path(path + USER_CONFIG_FILE).parent_path());
        openSettings(path);
    }
    ~Root() {
        openSettings("");
        std::filesystem::remove_all(path);
    }
    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;
};

// A key that was set reads back, and nothing else has moved.
void setKey(const std::string& text, const std::string& section, const std::string& key, float value) {
    if (!isName(section) || !isName(key)) return;
    const Lines before = linesOf(text), after = linesOf(withEntry(text, section, key, value));
    const Place old = find(before, section, key), place = find(after, section, key);
    check(place.hasKey);
    const std::optional<float> read = numberAt(after, place);
    check(read && (std::isnan(value) ? std::isnan(*read) : *read == value));

    check(after.size() >= before.size() && after.size() <= before.size() + 3);
    std::size_t same = 0;
    while (same < before.size() && before[same] == after[same]) same++;
    const std::size_t behind = before.size() - same;  // lines from the first difference on
    if (old.hasKey)
        check(after.size() == before.size() && (behind == 0 || same == old.line));
    else
        check(after[place.line].starts_with(key));
    for (std::size_t i = old.hasKey ? 1 : 0; i < behind; i++)
        check(before[before.size() - behind + i] == after[after.size() - behind + i]);
}

void load(const std::string& text) {
    static const Root root;
    const std::string path = root.path + USER_CONFIG_FILE;
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    setDefaults(ROB_ZVB_V1_000);
    loadSettings();
    for (int i = 0; i < 6; i++) {
        check(mpb.friction_Free[i] >= 0 && mpb.friction_Free[i] <= 1);
        check(mpb.collisionLevel[i] >= 0 && mpb.collisionLevel[i] <= MAXCOLLISIONLEVELNUM);
        check(mcb.dragLockP[i] >= 0 && mcb.dragLockP[i] <= 10);
        check(std::isfinite(mcb.newTeachGain[i]) && mcb.forceControl.endforcedrag.B[i] >= 0);
    }
    check(mcb.collisionPauseFlag <= 5 && mcb.robotInstallPos <= 3 && mcb.newTeachEnable <= 2);
    check(mpb.loadNum < MAXLOADNUM && mcb.fricCompensationFlag <= 1);
    check(std::filesystem::exists(path) || mcb.fileError != zvCtlFileOK);
}

std::string takeLine(std::string& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string line = text.substr(0, end);
    text.erase(0, end + 1);
    return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    const std::string section = takeLine(text), key = takeLine(text);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < text.size() && i < 4; i++) bits = bits << 8 | std::uint8_t(text[i]);
    for (const std::string& line : linesOf(text)) kindOf(line);
    setKey(text, section, key, std::bit_cast<float>(bits));
    load(text);
    return 0;
}
