// Which key holds which field, and the loading of them.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "settings_file.h"
#include "settings_text.h"
#include "tarnhost/settings.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tarntools/tools_config.h"
#include "tarntools/tools_log.h"

namespace tarn::host {
namespace {

// ---- fields

enum class Width { kNone, kByte, kInt, kFloat, kDouble };

// A field, or the first of several.
struct Field {
    void* address = nullptr;
    Width width = Width::kNone;
    std::size_t stride = 0;  // bytes

    constexpr Field() = default;
    constexpr Field(std::uint8_t* f) : address(f), width(Width::kByte), stride(sizeof *f) {}
    constexpr Field(int* f) : address(f), width(Width::kInt), stride(sizeof *f) {}
    constexpr Field(float* f) : address(f), width(Width::kFloat), stride(sizeof *f) {}
    constexpr Field(double* f, std::size_t s = sizeof(double))
        : address(f), width(Width::kDouble), stride(s) {}
};

// A key that the library writes and nobody needs: only its range is checked.
constexpr Field kNoField;

template <typename T>
void put(void* address, float value) {
    *static_cast<T*>(address) = static_cast<T>(value);
}

void store(const Field& field, std::size_t index, float value) {
    void* const address = static_cast<char*>(field.address) + index * field.stride;
    switch (field.width) {
        case Width::kNone:
            break;
        case Width::kByte:
            put<std::uint8_t>(address, value);
            break;
        case Width::kInt:
            put<int>(address, value);
            break;
        case Width::kFloat:
            put<float>(address, value);
            break;
        case Width::kDouble:
            put<double>(address, value);
            break;
    }
}

// ---- ranges, both ends included

struct Range {
    double least, most;
    bool (*counts)() = nullptr;  // when not, any value that the field can hold is taken
};

constexpr double kLargest = static_cast<double>(FLT_MAX);
constexpr double kSmallest = static_cast<double>(FLT_TRUE_MIN);  // above zero
constexpr Range kFinite = {-kLargest, kLargest};
constexpr Range kAnyInt = {INT32_MIN, 2147483520};  // the largest float within
constexpr Range kSwitch = {0, 1};
constexpr Range kUpTo2 = {0, 2};

// A load whatever the type of the arm: its setter knows each arm's limit and allows for rounding below zero.
constexpr Range kLoadWeight = {-1e-6, 100};
constexpr Range kLoadCoord = {MINLOADCOORD, MAXLOADCOORD};

// Checked by the setter for reaction 5 only, and stored with any.
bool pushesBack() { return mcb.collisionPauseFlag == 5; }

bool fits(const Range& range, Width width, float value) {
    const bool whole = width == Width::kByte || width == Width::kInt;
    if (whole && std::trunc(value) != value) return false;
    const Range& bounds = range.counts == nullptr || range.counts() ? range : whole ? kAnyInt : kFinite;
    const double wide = static_cast<double>(value);
    return bounds.least <= wide && wide <= bounds.most;  // false for what is no number
}

// ---- the table

enum FileIndex { kUser, kLoad };

struct SettingsFile {
    const char* path;
    ZvFileError error;
};

constexpr SettingsFile kFiles[] = {
    {USER_CONFIG_FILE, zvCtlUserConfigLoadError},
    {LOAD_CONFIG_FILE, zvCtlLoadConfigLoadError},
};

// What '#' in a key stands for, element by element.
using Names = std::span<const char* const>;
constexpr const char* kNumbers[] = {"1", "2", "3", "4", "5", "6"};
constexpr const char* kSlots[MAXLOADNUM] = {"0",  "1",  "2",  "3",  "4",  "5",  "6",  "7",  "8",  "9",
                                            "10", "11", "12", "13", "14", "15", "16", "17", "18", "19"};
constexpr const char* kPose[] = {"X", "Y", "Z", "A", "B", "C"};
constexpr const char* kWrench[] = {"FX", "FY", "FZ", "MX", "MY", "MZ"};
constexpr const char* kAxes[] = {"X", "Y", "Z", "MX", "MY", "MZ"};
constexpr const char* kOne[] = {""};
constexpr Names kXyz = Names(kAxes).first(3), kMoments = Names(kAxes).last(3);

struct Row {
    FileIndex file;
    const char* section;
    const char* key;
    Names names;
    Field field;
    Range range;
};

// Members that stand for an array.
static_assert(sizeof(VECT) == 3 * sizeof(double) && sizeof(FORCESENSOR_DATA) == 6 * sizeof(double) &&
              sizeof(FORCESENSOR_COORD) == 6 * sizeof(double));

constexpr FORCE_CONTROL& force = mcb.forceControl;
constexpr EndForceDrag& forceDrag = force.endforcedrag;
constexpr ForceAndTorqueDrag& torqueDrag = force.forceandtorquedrag;
constexpr COLLISION_DETECTION& collision = mcb.collisionDetection;

// clang-format off
constexpr Row kRows[] = {
    // file, section,         key,                             names,    field,                                 range
    // load
    {kUser, "USER_PARAM",      "LOAD_NUM",                     kOne,     &mpb.loadNum,                          {0, MAXLOADNUM - 1}},
    {kUser, "USER_PARAM",      "LOAD_WEIGHT",                  kOne,     &mpb.loadWeight,                       kLoadWeight},
    {kUser, "USER_PARAM",      "LOAD_Coord_#",                 kXyz,     &mpb.loadCoord.x,                      kLoadCoord},
    {kUser, "USER_PARAM",      "LOAD_IDENTIFY_DYN",            kOne,     &mcb.loadIdentifyDyn.loadIdentifyDynCtl, kSwitch},
    {kUser, "USER_PARAM",      "LOAD_IDENTIFY_TIME",           kOne,     &mcb.loadIdentifyDyn.loadIdentifyDynTime, {0, 1000}},
    {kLoad, "LOAD_PARAM",      "LOAD#_WEIGHT",                 kSlots,   mpb.loadWeightList,                    kLoadWeight},
    {kLoad, "LOAD_PARAM",      "LOAD#_Coord_X",                kSlots,   {&mpb.loadCoordList[0].x, sizeof(VECT)}, kLoadCoord},
    {kLoad, "LOAD_PARAM",      "LOAD#_Coord_Y",                kSlots,   {&mpb.loadCoordList[0].y, sizeof(VECT)}, kLoadCoord},
    {kLoad, "LOAD_PARAM",      "LOAD#_Coord_Z",                kSlots,   {&mpb.loadCoordList[0].z, sizeof(VECT)}, kLoadCoord},
    // friction
    {kUser, "USER_PARAM",      "FRIC_COMPENSATION",            kOne,     &mcb.fricCompensationFlag,             kSwitch},
    {kUser, "USER_PARAM",      "FRIC_JOINTSTIFFNESSTYPE",      kOne,     &mcb.jointStiffnessType,               kSwitch},
    {kUser, "USER_PARAM",      "FRIC_VALUE_FREE_J#",           kNumbers, mpb.friction_Free,                     {-1e-6, 1}},
    {kUser, "USER_PARAM",      "FORDEAD_GAIN#",                kNumbers, mpb.ForDeadGain,                       {0.5, 1.5}},
    {kUser, "USER_PARAM",      "REVDEAD_GAIN#",                kNumbers, mpb.RevDeadGain,                       {0.5, 1.5}},
    {kUser, "USER_PARAM",      "FORFAST_GAIN#",                kNumbers, mpb.ForFastGain,                       {0.5, 1.5}},
    {kUser, "USER_PARAM",      "REVFAST_GAIN#",                kNumbers, mpb.RevFastGain,                       {0.5, 1.5}},
    // collision; the reaction comes before the ranges that hang on it
    {kUser, "USER_PARAM",      "COLLISION_MODE",               kOne,     &mpb.collisionMode,                    kUpTo2},
    {kUser, "USER_PARAM",      "COLLISION_THRESHOLDMODE",      kOne,     &mpb.collisionThresholdMode,           kSwitch},
    {kUser, "USER_PARAM",      "COLLISION_LEVEL_TYPE",         kOne,     kNoField,                              kSwitch},
    {kUser, "USER_PARAM",      "J#_COLLISION_LEVEL",           kNumbers, mpb.collisionLevel,                    {0, MAXCOLLISIONLEVELNUM}},
    {kUser, "USER_PARAM",      "J#_COLLISION_LEVEL",           kNumbers, mpb.configCollisionLevel,              {0, MAXCOLLISIONLEVELNUM}},
    {kUser, "USER_PARAM",      "COLLISION_PAUSE",              kOne,     &mcb.collisionPauseFlag,               {0, 5}},
    {kUser, "USER_PARAM",      "COLLISION_SAFETIME",           kOne,     &collision.safeTime,                   {0, 2000, pushesBack}},
    {kUser, "USER_PARAM",      "COLLISION_SAFEDISTANCE",       kOne,     &collision.safeDistance,               {0, 500, pushesBack}},
    {kUser, "USER_PARAM",      "COLLISION_SAFESPEED",          kOne,     &collision.safeSpeed,                  kAnyInt},
    {kUser, "USER_PARAM",      "COLLISION_SAFEMARGIN#",        kNumbers, collision.safetyMargin,                {1, 10, pushesBack}},
    {kUser, "USER_PARAM",      "COLLISION_STATIC",             kOne,     &collision.staticCollisionFlag,        {0, UINT8_MAX}},
    {kUser, "USER_PARAM",      "POWER_FLAG",                   kOne,     &collision.powerFlag,                  kSwitch},
    {kUser, "USER_PARAM",      "POWER_LIMIT",                  kOne,     &collision.powerLimit,                 kFinite},
    {kUser, "SAFETY_PARAM",    "MOMENTUMPOWER_ENABLEFLAG",     kOne,     &mcb.momentumPowerEnableFlag,          kSwitch},
    {kUser, "SAFETY_PARAM",    "MOMENTUMPOWER_MOMENTUMLIMIT",  kOne,     &mcb.momentumLimit,                    kFinite},
    {kUser, "SAFETY_PARAM",    "MOMENTUMPOWER_POWERLIMIT",     kOne,     &mcb.powerLimit,                       kFinite},
    // mounting and hand guiding
    {kUser, "USER_PARAM",      "INSTALL_POS",                  kOne,     &mcb.robotInstallPos,                  {0, 3}},
    {kUser, "USER_PARAM",      "INSTALL_YANGLE",               kOne,     &mcb.robotInstallYangle,               {-360, 360}},
    {kUser, "USER_PARAM",      "INSTALL_ZANGLE",               kOne,     &mcb.robotInstallZangle,               {-360, 360}},
    {kUser, "TEST_PARAM",      "NEW_TEACH_ENABLE",             kOne,     &mcb.newTeachEnable,                   kUpTo2},
    {kUser, "TEST_PARAM",      "NEW_TEACH_GAIN#",              kNumbers, mcb.newTeachGain,                      kFinite},
    {kUser, "TEST_PARAM",      "NEW_TEACH_GAIN_KF#",           kNumbers, mcb.newTeachGainKf,                    kFinite},
    {kUser, "DRAGLOCK_PARAM",  "DRAGLOCK_ENABLE",              kOne,     &mcb.dragLockEnable,                   kSwitch},
    {kUser, "DRAGLOCK_PARAM",  "DRAGLOCK_P_#",                 kPose,    mcb.dragLockP,                         {0, 10}},
    {kUser, "DRAGLOCK_PARAM",  "DRAGLOCK_I_#",                 kPose,    mcb.dragLockI,                         {0, 10}},
    {kUser, "DRAGLOCK_PARAM",  "DRAGLOCK_D_#",                 kPose,    mcb.dragLockD,                         {0, 10}},
    {kUser, "INTERFERE_PARAM", "INTERFERE_DRAG",               kOne,     &mcb.interfereDrag,                    kUpTo2},
    // force-and-torque drag
    {kUser, "TEST_PARAM",      "IMPEDANCE_SIGN",               kOne,     &torqueDrag.impedance_sign,            kSwitch},
    {kUser, "TEST_PARAM",      "LAMDAGAIN#",                   kNumbers, torqueDrag.LamdaGain,                  {0, 5}},
    {kUser, "TEST_PARAM",      "KGAIN#",                       kNumbers, torqueDrag.KGain,                      {0, kLargest}},
    {kUser, "TEST_PARAM",      "BGAIN#",                       kNumbers, torqueDrag.BGain,                      {0, 1}},
    {kUser, "TEST_PARAM",      "DRAGMAXTCPVEL",                kOne,     &torqueDrag.DragMaxTcpVel,             kFinite},
    {kUser, "TEST_PARAM",      "DRAGMAXTCPORIVEL",             kOne,     &torqueDrag.DragMaxTcpOriVel,          kFinite},
    // force sensor
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_SETFLAG",          kOne,     &force.forceSensorAct,                 kSwitch},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_COORD_#",          kPose,    &force.forceSensorCoord.x,             kFinite},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_REFCOORD",         kOne,     &force.forceSensorRcs,                 kUpTo2},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_ZEROFLAG",         kOne,     &force.forceSensorZeroFlag,            kSwitch},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_ZERO_#",           kWrench,  &force.zeroValue.fx,                   kFinite},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_ZEROOFFSET_#",     kWrench,  &force.zeroOffset.fx,                  kFinite},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_LOADWEIGHT",       kOne,     &mpb.forceSensorLoadWeight,            kLoadWeight},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_LOADCOORD#",       kXyz,     &mpb.forceSensorLoadCoord.x,           kLoadCoord},
    // end-force drag
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_ENDDRAG#",         kWrench,  forceDrag.F,                           kFinite},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_INERTIA_#",        kXyz,     forceDrag.M,                           {5, 30}},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_INERTIA_#",        kMoments, forceDrag.M + 3,                       {0.1, 10}},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_DAMP_#",           kAxes,    forceDrag.B,                           {kSmallest, kLargest}},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_STIFFNESS_#",      kAxes,    forceDrag.K,                           kFinite},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_ADAPTIVE_SIGN",    kOne,     &forceDrag.adaptive_sign,              kAnyInt},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_INTERFERE_SIGN",   kOne,     &forceDrag.interfere_drag_sign,        kAnyInt},
    {kUser, "FORCE_SENSOR",    "SINGULARITYCONSTRAINTSFLAG",   kOne,     &forceDrag.singularityConstraintsFlag, kAnyInt},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_ENDDRAGFMAX",      kOne,     &forceDrag.Fmax,                       kFinite},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_ENDDRAGVMAX",      kOne,     &forceDrag.Vmax,                       kFinite},
    {kUser, "FORCE_SENSOR",    "FORCESENSOR_ENDDRAGAUTOFLAG",  kOne,     &mcb.forceSensorDragAutoFlag,          kSwitch},
};
// clang-format on

std::string keyOf(const Row& row, std::size_t index) {
    std::string key = row.key;
    const std::size_t at = key.find('#');
    return at == std::string::npos ? key : key.replace(at, 1, row.names[index]);
}

// ---- loading

using Problems = std::vector<std::string>;

void tell(Problems& problems, std::string problem) {
    if (std::find(problems.begin(), problems.end(), problem) != problems.end()) return;
    Write_Log(LOG_WARN, "settings: %s", problem.c_str());
    problems.push_back(std::move(problem));
}

void loadRow(const Row& row, const std::vector<std::string>& lines, Problems& problems) {
    for (std::size_t i = 0; i < row.names.size(); i++) {
        const std::string key = keyOf(row, i);
        const Place place = find(lines, row.section, key);
        if (!place.hasKey) continue;
        const std::optional<float> value = numberAt(lines, place);
        if (value && fits(row.range, row.field.width, *value)) {
            store(row.field, i, *value);
            continue;
        }
        tell(problems, std::string(kFiles[row.file].path) + ": [" + row.section + "] " + key + " = " +
                           lines[place.line].substr(place.start, place.size) +
                           (value ? " is out of range" : " is no number") + ", the default stays");
    }
}

// Drops lines of binary junk, and all lines when there is no section among them. True when all were good.
bool clean(const char* path, std::vector<std::string>& lines, Problems& problems) {
    std::vector<std::string> good;
    Problems strays;
    bool inSection = false;
    for (std::size_t i = 0; i < lines.size(); i++) {
        const LineKind kind = kindOf(lines[i]);
        inSection |= kind == LineKind::kSection;
        if (kind != LineKind::kBinary) good.push_back(lines[i]);
        if (kind == LineKind::kStray || (kind == LineKind::kEntry && !inSection))
            strays.push_back(std::string(path) + ": line " + std::to_string(i + 1) + " is no setting");
    }
    const bool binary = good.size() != lines.size();
    if (!inSection && (binary || !strays.empty())) good.clear();
    const bool allGood = good.size() == lines.size();
    lines = std::move(good);
    if (!lines.empty())
        for (std::string& stray : strays) tell(problems, std::move(stray));
    return allGood;
}

void putAside(const SettingsFile& file, const char* what, const std::string& goodText, Problems& problems) {
    mcb.fileError = file.error;
    const bool done = putSettingsFileAside(file.path, goodText);
    tell(problems, std::string(file.path) + ": " + what +
                       (done ? ", put aside with .bad behind its name" : ", and it cannot be put aside"));
}

std::vector<std::string> goodLines(const SettingsFile& file, Problems& problems) {
    std::string text;
    const FileState state = readSettingsFile(file.path, &text);
    if (state == FileState::kMissing) tell(problems, std::string(file.path) + ": no such file");
    if (state == FileState::kUnreadable) {
        putAside(file, "cannot be read", "", problems);
        return {};
    }
    std::vector<std::string> lines = linesOf(text);
    if (!clean(file.path, lines, problems))
        putAside(file, lines.empty() ? "is no settings file" : "holds binary junk", textOf(lines), problems);
    return lines;
}

}  // namespace

std::vector<std::string> loadSettings() {
    Problems problems;
    for (std::size_t f = 0; f < std::size(kFiles); f++) {
        const std::vector<std::string> lines = goodLines(kFiles[f], problems);
        for (const Row& row : kRows)
            if (row.file == static_cast<FileIndex>(f)) loadRow(row, lines, problems);
    }
    return problems;
}

}  // namespace tarn::host
