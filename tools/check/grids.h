// Finds grids in names. A name splits into a row heading and a column heading
// ("Ann_Mon" into "Ann" and "Mon"). The split that puts the most names into
// grids is used.

#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/check/model.h"

namespace check {

struct Grid {
  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  // Heads in the order of the names; dates are sorted.
  std::vector<std::string> rows;
  // Heads in an order that suits each row; dates are sorted.
  std::vector<std::string> columns;
  // By row and column: the index of the name, or none.
  std::vector<std::vector<std::size_t>> cells;
};

struct Grids {
  std::vector<Grid> grids;
  std::vector<std::size_t> rest;  // indices of the names in no grid, ascending
};

// The row and column headings of the name with this index, if it splits.
using Split = std::function<std::optional<std::pair<std::string, std::string>>(
    std::size_t)>;

// The built-in ways to split these names, which outlive them: before a date at
// the end (2026_11_02), at the last or first '_' or '@', at a comma or before
// brackets, after a digit, before the digits at the end.
std::vector<Split> usualSplits(std::vector<std::string> const& names);

// Splits by the two groups of an extended regular expression that matches a
// whole name. Throws std::runtime_error if it is invalid or does not have two
// groups.
Split splitBy(std::vector<std::string> const& names,
              std::string const& expression);

// A row joins the first grid with which it shares a column and, where domains
// are given (one for each name), a value. A grid needs two rows, two columns,
// and names in at least half of its cells. Where two names split alike, the
// second is in no grid.
Grids findGrids(std::size_t numNames, std::vector<Split> const& splits,
                std::vector<Names const*> const& domains = {});

// Only these rows and columns, in this order; an empty list keeps all. Grids
// that lose all rows or columns go; `rest` stays.
void limitGrids(Grids& grids, std::vector<std::string> const& rows,
                std::vector<std::string> const& columns);

}  // namespace check
