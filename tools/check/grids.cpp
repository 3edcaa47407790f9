#include "tools/check/grids.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <numeric>
#include <queue>
#include <set>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "tools/check/pattern.h"

namespace check {

namespace {

constexpr std::string_view digits = "0123456789";
constexpr auto npos = std::string_view::npos;

using Heads = std::optional<std::pair<std::string, std::string>>;

// The two parts around `numDropped` bytes at the position; neither is empty.
Heads cut(std::string_view name, std::size_t at, std::size_t numDropped) {
  if (at == npos || at == 0 || at + numDropped >= name.size()) {
    return std::nullopt;
  }
  return std::pair(std::string(name.substr(0, at)),
                   std::string(name.substr(at + numDropped)));
}

// Ann_w1Mon, Ann_Lee_Mon
Heads atLastMark(std::string_view name) {
  return cut(name, name.find_last_of("_@"), 1);
}

// Ann_week_1
Heads atFirstMark(std::string_view name) {
  return cut(name, name.find_first_of("_@"), 1);
}

// x[Ann,Mon]
Heads atComma(std::string_view name) {
  if (name.size() < 2 || name.back() != ']') {
    return std::nullopt;
  }
  const std::size_t comma = name.find_last_of("[],", name.size() - 2);
  if (comma == npos || comma == 0 || name[comma] != ',' ||
      comma + 2 == name.size()) {
    return std::nullopt;
  }
  const std::size_t open = name.find_last_of("[],", comma - 1);
  return open != npos && name[open] == '[' && open + 1 < comma
             ? cut(name, comma, 1)
             : std::nullopt;
}

// x[Ann][Mon]
Heads beforeBrackets(std::string_view name) {
  const std::size_t open = name.rfind('[');
  return !name.empty() && name.back() == ']' && open != npos &&
                 name.find(']', open) == name.size() - 1
             ? cut(name, open, 0)
             : std::nullopt;
}

// r1c2, Mon1am
Heads afterDigit(std::string_view name) {
  const std::size_t letter = name.find_last_not_of(digits);
  const std::size_t digit = name.find_last_of(digits, letter);
  return letter == npos || digit == npos ? std::nullopt
                                         : cut(name, digit + 1, 0);
}

// A1
Heads beforeNumber(std::string_view name) {
  return cut(name, name.find_last_not_of(digits) + 1, 0);
}

// Numbers for texts, in the order in which they come.
class Numbering {
 public:
  unsigned numberOf(const std::string& text) {
    const auto [entry, isNew] =
        numbers.try_emplace(text, static_cast<unsigned>(texts.size()));
    if (isNew) {
      texts.push_back(text);
    }
    return entry->second;
  }

  std::vector<std::string> texts;

 private:
  std::unordered_map<std::string, unsigned> numbers;
};

struct Cell {
  unsigned column;
  std::size_t name;
};

using Row = std::vector<Cell>;

// Rows that share columns and values.
struct Family {
  std::vector<unsigned> rows;
  std::vector<unsigned> columns;  // in the order in which they come
};

class Finder {
 public:
  Finder(std::size_t numNames, const Split& split,
         const std::vector<const Names*>& itsDomains)
      : domains(itsDomains) {
    std::set<std::pair<unsigned, unsigned>> taken;
    for (std::size_t i = 0; i < numNames; ++i) {
      if (const Heads heads = split(i)) {
        const unsigned row = rowHeads.numberOf(heads->first);
        const unsigned column = columnHeads.numberOf(heads->second);
        rows.resize(rowHeads.texts.size());
        if (taken.emplace(row, column).second) {
          rows[row].push_back({column, i});
        }
      }
    }
    for (unsigned row = 0; row < rows.size(); ++row) {
      join(row);
    }
  }

  Grids grids(std::size_t numNames) const {
    Grids found;
    std::vector<bool> isFitted(numNames, false);
    for (const Family& family : families) {
      std::size_t numCells = 0;
      for (const unsigned row : family.rows) {
        numCells += rows[row].size();
      }
      const std::size_t numRows = family.rows.size();
      const std::size_t numColumns = family.columns.size();
      if (numRows < 2 || numColumns < 2 ||
          2 * numCells < numRows * numColumns) {
        continue;
      }
      found.grids.push_back(gridOf(family));
      for (const unsigned row : family.rows) {
        for (const Cell& cell : rows[row]) {
          isFitted[cell.name] = true;
        }
      }
    }
    for (std::size_t i = 0; i < numNames; ++i) {
      if (!isFitted[i]) {
        found.rest.push_back(i);
      }
    }
    return found;
  }

 private:
  const std::vector<const Names*>& domains;
  Numbering rowHeads;
  Numbering columnHeads;
  std::vector<Row> rows;
  std::vector<Family> families;
  // The families with a column or a value, each ascending.
  std::unordered_map<unsigned, std::vector<std::size_t>> byColumn;
  std::unordered_map<std::string_view, std::vector<std::size_t>> byValue;

  std::unordered_set<std::string_view> valuesOf(const Row& row) const {
    std::unordered_set<std::string_view> values;
    const Names* previous = nullptr;
    for (const Cell& cell : row) {
      const Names* const domain = domains[cell.name];
      if (previous == nullptr || !(*domain == *previous)) {
        for (unsigned a = 0; a < domain->size(); ++a) {
          values.insert((*domain)[a]);
        }
        previous = domain;
      }
    }
    return values;
  }

  static void addTo(std::set<std::size_t>& all, const auto& lists, auto key) {
    if (const auto list = lists.find(key); list != lists.end()) {
      all.insert(list->second.begin(), list->second.end());
    }
  }

  void join(unsigned row) {
    std::set<std::size_t> sharing;
    for (const Cell& cell : rows[row]) {
      addTo(sharing, byColumn, cell.column);
    }
    std::unordered_set<std::string_view> values;
    if (!domains.empty()) {
      values = valuesOf(rows[row]);
      std::set<std::size_t> sharingValue;
      for (const std::string_view value : values) {
        addTo(sharingValue, byValue, value);
      }
      std::erase_if(sharing, [&](std::size_t family) {
        return !sharingValue.contains(family);
      });
    }
    const std::size_t number =
        sharing.empty() ? families.size() : *sharing.begin();
    if (number == families.size()) {
      families.emplace_back();
    }
    Family& family = families[number];
    family.rows.push_back(row);
    for (const Cell& cell : rows[row]) {
      if (note(byColumn[cell.column], number)) {
        family.columns.push_back(cell.column);
      }
    }
    for (const std::string_view value : values) {
      note(byValue[value], number);
    }
  }

  // Whether the family is new to the list.
  static bool note(std::vector<std::size_t>& list, std::size_t family) {
    const auto place = std::lower_bound(list.begin(), list.end(), family);
    if (place != list.end() && *place == family) {
      return false;
    }
    list.insert(place, family);
    return true;
  }

  Grid gridOf(const Family& family) const {
    Grid grid;
    std::unordered_map<unsigned, std::size_t> positions;
    for (const unsigned column : ordered(family)) {
      positions[column] = grid.columns.size();
      grid.columns.push_back(columnHeads.texts[column]);
    }
    for (const unsigned row : family.rows) {
      grid.rows.push_back(rowHeads.texts[row]);
      grid.cells.emplace_back(grid.columns.size(), Grid::none);
      for (const Cell& cell : rows[row]) {
        grid.cells.back()[positions[cell.column]] = cell.name;
      }
    }
    return grid;
  }

  // The columns in an order that agrees with each row, where there is one: a
  // row that begins in the middle does not move its columns to the end.
  std::vector<unsigned> ordered(const Family& family) const {
    std::unordered_map<unsigned, std::size_t> ranks;
    for (const unsigned column : family.columns) {
      ranks.emplace(column, ranks.size());
    }
    std::vector<std::vector<std::size_t>> followers(ranks.size());
    std::vector<std::size_t> numBefore(ranks.size(), 0);
    const Row* longest = nullptr;
    for (const unsigned number : family.rows) {
      const Row& row = rows[number];
      for (std::size_t i = 1; i < row.size(); ++i) {
        const std::size_t rank = ranks[row[i].column];
        followers[ranks[row[i - 1].column]].push_back(rank);
        ++numBefore[rank];
      }
      if (longest == nullptr || row.size() > longest->size()) {
        longest = &row;
      }
    }
    std::vector<unsigned> order;
    if (longest != nullptr && longest->size() == ranks.size()) {
      for (const Cell& cell : *longest) {
        order.push_back(cell.column);
      }
      return order;
    }
    // A topological sort by Kahn's algorithm; of several free columns the
    // first comes first.
    std::priority_queue<std::size_t, std::vector<std::size_t>, std::greater<>>
        free;
    for (std::size_t rank = 0; rank < numBefore.size(); ++rank) {
      if (numBefore[rank] == 0) {
        free.push(rank);
      }
    }
    while (!free.empty()) {
      const std::size_t rank = free.top();
      free.pop();
      order.push_back(family.columns[rank]);
      for (const std::size_t follower : followers[rank]) {
        if (--numBefore[follower] == 0) {
          free.push(follower);
        }
      }
    }
    return order.size() == ranks.size() ? order : family.columns;
  }
};

// The positions of the wanted heads, or all; unknown ones are left out.
std::vector<std::size_t> chosen(const std::vector<std::string>& heads,
                                const std::vector<std::string>& wanted) {
  std::vector<std::size_t> places;
  if (wanted.empty()) {
    places.resize(heads.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
  }
  for (const std::string& head : wanted) {
    const auto place = std::find(heads.begin(), heads.end(), head);
    if (place != heads.end()) {
      places.push_back(static_cast<std::size_t>(place - heads.begin()));
    }
  }
  return places;
}

Grid limited(const Grid& grid, const std::vector<std::string>& rows,
             const std::vector<std::string>& columns) {
  Grid result;
  const std::vector<std::size_t> places = chosen(grid.columns, columns);
  for (const std::size_t c : places) {
    result.columns.push_back(grid.columns[c]);
  }
  for (const std::size_t r : chosen(grid.rows, rows)) {
    result.rows.push_back(grid.rows[r]);
    result.cells.emplace_back();
    for (const std::size_t c : places) {
      result.cells.back().push_back(grid.cells[r][c]);
    }
  }
  return result;
}

}  // namespace

std::vector<Split> usualSplits(const std::vector<std::string>& names) {
  std::vector<Split> splits;
  for (const auto way : {atLastMark, atFirstMark, atComma, beforeBrackets,
                         afterDigit, beforeNumber}) {
    splits.emplace_back([way, &names](std::size_t i) { return way(names[i]); });
  }
  return splits;
}

Split splitBy(const std::vector<std::string>& names,
              const std::string& expression) {
  const auto pattern = std::make_shared<const Pattern>(expression);
  if (pattern->numGroups() != 2) {
    throw std::runtime_error("--split needs two groups");
  }
  return [pattern, &names](std::size_t i) -> Heads {
    const auto match = pattern->find(names[i]);
    if (!match || (*match)[0].size() != names[i].size()) {
      return std::nullopt;
    }
    return std::pair(std::string((*match)[1]), std::string((*match)[2]));
  };
}

Grids findGrids(std::size_t numNames, const std::vector<Split>& splits,
                const std::vector<const Names*>& domains) {
  Grids best;
  best.rest.resize(numNames);
  std::iota(best.rest.begin(), best.rest.end(), std::size_t{0});
  for (const Split& split : splits) {
    Grids found = Finder(numNames, split, domains).grids(numNames);
    if (found.rest.size() < best.rest.size()) {
      best = std::move(found);
    }
  }
  return best;
}

void limitGrids(Grids& grids, const std::vector<std::string>& rows,
                const std::vector<std::string>& columns) {
  for (Grid& grid : grids.grids) {
    grid = limited(grid, rows, columns);
  }
  std::erase_if(grids.grids, [](const Grid& grid) {
    return grid.rows.empty() || grid.columns.empty();
  });
}

}  // namespace check
