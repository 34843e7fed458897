// The table of a campaign, results.csv: a row for each verdict, figure and finding of each cell, and a last
// row of kind "run" that completes the cell. While a campaign runs, cells are appended as they end; a tail
// without its last row is what a killed campaign leaves, and is dropped.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "sim/campaign.h"
#include "sim/report_text.h"

namespace tarn::sim {

// Rows of a cell in the order in which it was measured. The options stand in every row.
struct TableRow {
    std::size_t cell = 0;
    std::string scenario;
    int robotType = 0;
    std::string family, mount;
    double load = 0.0, loadError = 0.0, friction = 0.0;
    std::string seed;
    std::string kind;    // verdict, figure, finding, run
    std::string name;    // of a run: pass, fail, crash
    double at = 0.0;     // place on a curve; not a number where there is none
    double value = 0.0;  // of a run: simulated seconds
    double limit = 0.0;  // of a verdict
    std::string unit;
    bool pass = false;  // of a verdict and a run
    std::string text;   // of a finding, and why a run crashed
};

std::string rowsOf(const Cell& cell, const Run& run);
std::string rowsOfCrash(const Cell& cell, const std::string& reason);

class Table {
  public:
    // Whole cells of the file, if there is one. A later one takes the place of an earlier one.
    static Table read(const std::filesystem::path& file);

    bool has(std::size_t cell) const { return cells_.contains(cell); }
    bool passed(std::size_t cell) const;
    bool crashed(std::size_t cell) const;
    void add(std::size_t cell, std::string rows) { cells_[cell] = std::move(rows); }
    const std::map<std::size_t, std::string>& cells() const { return cells_; }
    std::vector<TableRow> rows() const;

    // By cell, whatever the order in which they came; the file is replaced in one go.
    void write(const std::filesystem::path& file) const;

  private:
    bool ended(std::size_t cell, const char* how) const;

    std::map<std::size_t, std::string> cells_;  // rows by number
};

}  // namespace tarn::sim
