#include "sim/campaign.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "model/type_table.h"
#include "sim/campaign_page.h"
#include "sim/campaign_table.h"
#include "sim/parallel.h"
#include "sim/replace_file.h"
#include "sim/report.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"

namespace tarn::sim {
namespace {

constexpr TypeRow<const char*> kFamilies[] = {
    {ZVALEFTRANGE, ZVARIGHTRANGE, "A"},           {ZVBLEFTRANGE, ZVBRIGHTRANGE, "B"},
    {ZVCLEFTRANGE, ZVCRIGHTRANGE, "C"},           {ZVDLEFTRANGE, ZVDRIGHTRANGE, "D"},
    {ZVELEFTRANGE, ZVERIGHTRANGE, "E"},           {ORBALEFTRANGE, ORBARIGHTRANGE, "ORBA"},
    {ORBBLEFTRANGE, ORBBRIGHTRANGE, "ORBB"},      {ZVAPQLEFTRANGE, ZVAPQRIGHTRANGE, "A PQ"},
    {ZVBPQLEFTRANGE, ZVBPQRIGHTRANGE, "B PQ"},    {ROB_ZVAGL_V1_001, ROB_ZVAGL_V1_001, "A GL"},
    {ROB_ZVCHN_V1_001, ROB_ZVCHN_V1_001, "C HN"}, {ROB_ZVAPQGL_V1_001, ROB_ZVAPQGL_V1_001, "A PQ GL"},
    {ZVFLEFTRANGE, ZVFRIGHTRANGE, "F"},
};
constexpr const char* kFamilyOther = "B";

constexpr const char* kTableName = "results.csv";
constexpr const char* kGridName = "campaign.txt";
constexpr std::size_t kMostCells = 1'000'000;

// ---- the grid

std::vector<std::string> wordsOf(const std::string& text, char separator) {
    std::vector<std::string> words;
    std::istringstream stream(text);
    for (std::string word; std::getline(stream, word, separator);) words.push_back(word);
    return words;
}

template <typename Value>
Value valueOf(const std::string& word, const char* option, Value low, Value high) {
    Value value{};
    const char* end = word.data() + word.size();
    const auto [rest, error] = std::from_chars(word.data(), end, value);
    if (word.empty() || error != std::errc() || rest != end || !(low <= value && value <= high))
        throw CampaignError(fmt::format("--{}: '{}' is not a number from {} to {}", option, word, low, high));
    return value;
}

template <typename Value>
std::vector<Value> wholeNumbers(const std::string& text, const char* option, Value low, Value high) {
    std::vector<Value> values;
    for (const std::string& word : wordsOf(text, ',')) {
        const std::size_t colon = word.find(':');
        const Value first = valueOf(word.substr(0, colon), option, low, high);
        const Value last =
            colon == std::string::npos ? first : valueOf(word.substr(colon + 1), option, low, high);
        if (last < first || static_cast<std::uint64_t>(last - first) >= kMostCells)
            throw CampaignError(fmt::format("--{}: '{}' is not a range", option, word));
        for (Value value = first;; value++) {
            values.push_back(value);
            if (value == last) break;
        }
    }
    return values;
}

std::vector<double> numbers(const std::string& text, const char* option, double low, double high) {
    std::vector<double> values;
    for (const std::string& word : wordsOf(text, ','))
        values.push_back(valueOf(word, option, low, high) + 0.0);  // no -0, which is the same cell
    return values;
}

// A list as it stands in the file of the grid.
template <typename Value>
std::string listed(const std::vector<Value>& values, const char* option) {
    if (values.empty()) throw CampaignError(fmt::format("--{}: no values", option));
    if (std::set<Value>(values.begin(), values.end()).size() != values.size())
        throw CampaignError(fmt::format("--{}: a value twice", option));
    return fmt::format("{}", fmt::join(values, ","));
}

// ---- the folder

// The folder for one campaign at a time, until this goes.
class Lock {
  public:
    explicit Lock(const std::filesystem::path& folder)
        : descriptor_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (descriptor_ < 0) throw CampaignError(fmt::format("cannot open {}", folder.string()));
        // the jobs of one that was killed hold it, too, until they have gone the same way
        for (int tries = 20; ::flock(descriptor_, LOCK_EX | LOCK_NB) != 0; tries--) {
            if (tries == 0) {
                ::close(descriptor_);
                throw CampaignError(fmt::format("another campaign runs in {}", folder.string()));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    ~Lock() { ::close(descriptor_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    int descriptor_;
};

// What the folder says of its campaign, by word.
using Identity = std::map<std::string, std::string>;

Identity identityOf(const GridText& text, const Shard& shard) {
    Identity identity;
    for (const GridField& field : kGridFields) identity[field.name] = text.*field.text;
    identity["program"] =
        fmt::format("tarnforce {}, {}, {}", TARN_VERSION, TARN_COMPILER, TARN_COMPILER_OPTIONS);
    identity["shard"] = fmt::format("{}/{}", shard.index, shard.count);
    return identity;
}

Identity readIdentity(const std::filesystem::path& folder) {
    Identity identity;
    std::ifstream stream(folder / kGridName);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t space = line.find(' ');
        if (space != std::string::npos) identity[line.substr(0, space)] = line.substr(space + 1);
    }
    return identity;
}

void writeIdentity(const Identity& identity, const std::filesystem::path& folder) {
    std::string text;
    for (const auto& [word, value] : identity) text += fmt::format("{} {}\n", word, value);
    replaceFile(folder / kGridName, text);
}

// Makes the folder and says in it whose it is.
void prepare(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw CampaignError(fmt::format("cannot make {}", folder.string()));
}

void claim(const Identity& identity, const std::filesystem::path& folder) {
    const Identity before = readIdentity(folder);
    if (before.empty()) {
        if (std::filesystem::exists(folder / kTableName))
            throw CampaignError(fmt::format("{} holds results of something else", folder.string()));
        writeIdentity(identity, folder);
        return;
    }
    for (const auto& [word, value] : identity) {
        const auto found = before.find(word);
        if (found == before.end() || found->second != value) {
            throw CampaignError(fmt::format("{} holds another campaign: its {} is '{}', not '{}'",
                                            folder.string(), word, found == before.end() ? "" : found->second,
                                            value));
        }
    }
}

// Appends whole cells.
class Journal {
  public:
    explicit Journal(const std::filesystem::path& file)
        : file_(file), descriptor_(::open(file.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC)) {
        if (descriptor_ < 0) throw std::runtime_error(fmt::format("cannot write {}", file.string()));
    }
    ~Journal() { ::close(descriptor_); }
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    void add(const std::string& rows) const {
        const char* from = rows.data();
        for (std::size_t left = rows.size(); left > 0;) {
            const ssize_t count = ::write(descriptor_, from, left);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) throw std::runtime_error(fmt::format("cannot write {}", file_.string()));
            from += count;
            left -= static_cast<std::size_t>(count);
        }
    }

  private:
    std::filesystem::path file_;
    int descriptor_;
};

// ---- the runs

// In a cell's own process: its rows.
std::string playCell(const Cell& cell, const CampaignOptions& options, const Progress& progress) {
    Run run;
    run.options = cell.options;
    run.progress = progress;
    play(*cell.scenario, run);
    if (options.pages == Pages::All || (options.pages == Pages::Failed && !run.passed())) {
        const std::filesystem::path page = options.out / pageOf(cell.number, cell.scenario->name);
        std::filesystem::create_directories(page.parent_path());
        std::filesystem::path aside = page;
        aside += ".part";
        writeReport(*cell.scenario, run, aside);
        std::filesystem::rename(aside, page);
    }
    return rowsOf(cell, run);
}

std::string shortName(const Cell& cell) {
    const RunOptions& o = cell.options;
    std::string text = fmt::format("{} type {} seed {}", cell.scenario->name, o.robotType, o.seed);
    if (std::string(o.mount.name) != "floor") text += fmt::format(" {}", o.mount.name);
    if (o.load != 0.0 || o.loadError != 0.0) text += fmt::format(" load {:g}{:+g} kg", o.load, o.loadError);
    if (o.frictionScale != 1.0) text += fmt::format(" friction {:g}", o.frictionScale);
    return text;
}

CampaignEnd countOf(const Table& table) {
    CampaignEnd end;
    for (const auto& [cell, _] : table.cells()) {
        if (table.crashed(cell))
            end.crashed++;
        else
            (table.passed(cell) ? end.passed : end.failed)++;
    }
    return end;
}

}  // namespace

const char* familyOf(int robotType) { return byType(kFamilies, kFamilyOther, robotType); }

Grid gridOf(const GridText& text) {
    const std::vector<std::string> names = wordsOf(text.scenarios, ',');
    for (const std::string& name : names) {
        if (findScenario(name) == nullptr)
            throw CampaignError(fmt::format("no scenario {}; 'tarnsim list' shows them", name));
    }
    const std::vector<int> types = wholeNumbers(text.robotTypes, "robot-types", 0, int{MAXROBOTTYPENUM});
    const std::vector<std::string> mounts = wordsOf(text.mounts, ',');
    for (const std::string& name : mounts) {
        if (findMount(name) == nullptr)
            throw CampaignError(name + " is none of floor, wall, ceiling, tilted");
    }
    const std::vector<double> loads = numbers(text.loads, "loads", 0.0, 100.0);
    const std::vector<double> errors = numbers(text.loadErrors, "load-errors", -100.0, 100.0);
    const std::vector<double> frictions = numbers(text.friction, "friction", 0.0, 10.0);
    const std::vector<std::uint64_t> seeds = wholeNumbers<std::uint64_t>(text.seeds, "seeds", 0, UINT64_MAX);
    std::optional<double> seconds;
    if (!text.seconds.empty()) seconds = valueOf(text.seconds, "seconds", 0.1, 3600.0);

    Grid grid;
    grid.text = {listed(names, "scenarios"),    listed(types, "robot-types"),
                 listed(seeds, "seeds"),        listed(mounts, "mounts"),
                 listed(loads, "loads"),        listed(errors, "load-errors"),
                 listed(frictions, "friction"), seconds ? fmt::format("{}", *seconds) : ""};
    double product = 1.0;
    for (const std::size_t count : {names.size(), types.size(), mounts.size(), loads.size(), errors.size(),
                                    frictions.size(), seeds.size()})
        product *= static_cast<double>(count);
    if (product > static_cast<double>(kMostCells))
        throw CampaignError(fmt::format("{} cells are more than {}", product, kMostCells));

    const auto add = [&](const Scenario& scenario, const RunOptions& options) {
        if (armOf(options.robotType, scenario.torqueModel) == nullptr) {
            grid.unknownArms++;
        } else if (options.load + options.loadError < 0.0) {
            grid.negativeLoads++;
        } else {
            grid.cells.push_back({grid.cells.size(), &scenario, options});
        }
    };
    RunOptions o;
    o.seconds = seconds;
    for (const std::string& name : names)
        for (const int type : types)
            for (const std::string& mount : mounts)
                for (const double load : loads)
                    for (const double error : errors)
                        for (const double friction : frictions)
                            for (const std::uint64_t seed : seeds) {
                                o.robotType = type;
                                o.mount = *findMount(mount);
                                o.load = load;
                                o.loadError = error;
                                o.frictionScale = friction;
                                o.seed = seed;
                                add(*findScenario(name), o);
                            }
    return grid;
}

Shard shardOf(const std::string& text) {
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos) throw CampaignError(fmt::format("--shard: '{}' is not like 2/5", text));
    Shard shard;
    shard.count = valueOf<std::size_t>(text.substr(slash + 1), "shard", 1, kMostCells);
    shard.index = valueOf<std::size_t>(text.substr(0, slash), "shard", 1, shard.count);
    return shard;
}

CampaignEnd runCampaign(const Grid& grid, const CampaignOptions& options) {
    prepare(options.out);
    const Lock lock(options.out);
    claim(identityOf(grid.text, options.shard), options.out);

    const std::filesystem::path file = options.out / kTableName;
    Table table = Table::read(file);
    std::size_t before = 0;
    std::vector<const Cell*> cells;
    std::vector<Job> jobs;
    for (const Cell& cell : grid.cells) {
        if (!options.shard.holds(cell.number)) continue;
        if (table.has(cell.number) && !table.crashed(cell.number)) {
            before++;
            continue;
        }
        cells.push_back(&cell);
        jobs.push_back({shortName(cell), cell.scenario->seconds, [&cell, &options](const Progress& progress) {
                            return playCell(cell, options, progress);
                        }});
    }
    table.write(file);  // without what a killed campaign left half
    int stopped = 0;
    {
        const Journal journal(file);
        stopped = runJobs(jobs, options.workers, [&](std::size_t job, const JobEnd& end) -> std::string {
            const Cell& cell = *cells[job];
            const std::string rows = end.finished ? end.result : rowsOfCrash(cell, end.reason);
            journal.add(rows);
            table.add(cell.number, rows);
            if (!end.finished) {
                fmt::print("{}: its process ended with {}\n{}", jobs[job].name, end.reason, end.printed);
                return "crash";
            }
            return table.passed(cell.number) ? "pass" : "FAIL";
        });
    }
    CampaignEnd end = countOf(table);
    end.before = before;
    end.signal = stopped;
    if (stopped != 0) return end;
    table.write(file);
    writeCampaignPage(grid, options.shard, table, options.out);
    return end;
}

CampaignEnd mergeCampaign(const std::vector<std::filesystem::path>& shards,
                          const std::filesystem::path& out) {
    if (shards.empty()) throw CampaignError("no shards to merge");
    Identity common;
    Grid grid;
    Table merged;
    for (const std::filesystem::path& folder : shards) {
        Identity identity = readIdentity(folder);
        if (identity.empty()) throw CampaignError(fmt::format("no campaign in {}", folder.string()));
        const Shard shard = shardOf(identity["shard"]);
        identity["shard"] = "1/1";
        if (common.empty()) {
            common = identity;
            GridText text;
            for (const GridField& field : kGridFields) text.*field.text = identity[field.name];
            grid = gridOf(text);
        }
        for (const auto& [word, value] : common) {
            if (identity[word] != value) {
                throw CampaignError(fmt::format("{} and {} are of two campaigns: {} is '{}' and '{}'",
                                                shards.front().string(), folder.string(), word, value,
                                                identity[word]));
            }
        }
        const Table table = Table::read(folder / kTableName);
        for (const auto& [cell, rows] : table.cells()) {
            if (merged.has(cell))
                throw CampaignError(
                    fmt::format("cell {} is there twice, again in {}", cell, folder.string()));
            if (cell >= grid.cells.size() || !shard.holds(cell))
                throw CampaignError(fmt::format("cell {} does not belong into {}", cell, folder.string()));
            merged.add(cell, rows);
        }
    }
    std::vector<std::size_t> missing;
    for (const Cell& cell : grid.cells)
        if (!merged.has(cell.number)) missing.push_back(cell.number);
    if (!missing.empty()) {
        const std::size_t count = missing.size();
        missing.resize(std::min<std::size_t>(count, 10));
        throw CampaignError(fmt::format("{} of {} cells are missing: {}{}", count, grid.cells.size(),
                                        fmt::join(missing, ", "), count > missing.size() ? ", ..." : ""));
    }
    prepare(out);
    const Lock lock(out);
    claim(common, out);
    for (const std::filesystem::path& folder : shards) {
        if (!std::filesystem::is_directory(folder / kPagesName) || std::filesystem::equivalent(folder, out))
            continue;
        std::filesystem::copy(
            folder / kPagesName, out / kPagesName,
            std::filesystem::copy_options::recursive | std::filesystem::copy_options::overwrite_existing);
    }
    merged.write(out / kTableName);
    writeCampaignPage(grid, {}, merged, out);
    return countOf(merged);
}

}  // namespace tarn::sim
