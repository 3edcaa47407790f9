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

// Whether the text begins with a date: 2026-11-02 or 2026_11_02, alone or with
// a time of day.
bool beginsWithDate(std::string_view text) {
  constexpr std::string_view form = "dddd-dd-dd";
  auto const fits = [](char sign, char c) {
    return sign == 'd' ? digits.find(c) != npos : c == '-' || c == '_';
  };
  return text.size() >= form.size() &&
         std::equal(form.begin(), form.end(), text.begin(), fits) &&
         (text.size() == form.size() || digits.find(text[form.size()]) == npos);
}

// Ann_Lee_2026_11_02
Heads atDate(std::string_view name) {
  constexpr std::size_t size = std::string_view("_2026_11_02").size();
  const std::size_t at = name.size() < size ? npos : name.size() - size;
  return at != npos && name[at] == '_' && beginsWithDate(name.substr(at + 1))
             ? cut(name, at, 1)
             : std::nullopt;
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

// Sorts headings if all are dates.
template <class Heading>
void sortDates(std::vector<Heading>& heads, auto const& textOf) {
  if (std::all_of(heads.begin(), heads.end(), [&](Heading const& head) {
        return beginsWithDate(textOf(head));
      })) {
    std::sort(heads.begin(), heads.end(),
              [&](Heading const& a, Heading const& b) {
                return textOf(a) < textOf(b);
              });
  }
}

// Numbers for texts, in the order in which they come.
class Numbering {
 public:
  unsigned numberOf(std::string const& text) {
    auto const [entry, isNew] =
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
  Finder(std::size_t numNames, Split const& split,
         std::vector<Names const*> const& itsDomains)
      : domains(itsDomains) {
    std::set<std::pair<unsigned, unsigned>> taken;
    for (std::size_t i = 0; i < numNames; ++i) {
      if (const Heads heads = split(i)) {
        unsigned const row = rowHeads.numberOf(heads->first);
        unsigned const column = columnHeads.numberOf(heads->second);
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
    for (Family const& family : families) {
      std::size_t numCells = 0;
      for (unsigned const row : family.rows) {
        numCells += rows[row].size();
      }
      const std::size_t numRows = family.rows.size();
      const std::size_t numColumns = family.columns.size();
      if (numRows < 2 || numColumns < 2 ||
          2 * numCells < numRows * numColumns) {
        continue;
      }
      found.grids.push_back(gridOf(family));
      for (unsigned const row : family.rows) {
        for (Cell const& cell : rows[row]) {
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
  std::vector<Names const*> const& domains;
  Numbering rowHeads;
  Numbering columnHeads;
  std::vector<Row> rows;
  std::vector<Family> families;
  // The families with a column or a value, each ascending.
  std::unordered_map<unsigned, std::vector<std::size_t>> byColumn;
  std::unordered_map<std::string_view, std::vector<std::size_t>> byValue;

  std::unordered_set<std::string_view> valuesOf(Row const& row) const {
    std::unordered_set<std::string_view> values;
    Names const* previous = nullptr;
    for (Cell const& cell : row) {
      Names const* const domain = domains[cell.name];
      if (previous == nullptr || !(*domain == *previous)) {
        for (std::string const* const value : domain->all()) {
          values.insert(*value);
        }
        previous = domain;
      }
    }
    return values;
  }

  static void addTo(std::set<std::size_t>& all, auto const& lists, auto key) {
    if (auto const list = lists.find(key); list != lists.end()) {
      all.insert(list->second.begin(), list->second.end());
    }
  }

  void join(unsigned row) {
    std::set<std::size_t> sharing;
    for (Cell const& cell : rows[row]) {
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
    for (Cell const& cell : rows[row]) {
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
    auto const place = std::lower_bound(list.begin(), list.end(), family);
    if (place != list.end() && *place == family) {
      return false;
    }
    list.insert(place, family);
    return true;
  }

  Grid gridOf(Family const& family) const {
    Grid grid;
    std::unordered_map<unsigned, std::size_t> positions;
    std::vector<unsigned> columns = ordered(family);
    sortDates(
        columns, [&](unsigned c) -> auto const& {
          return columnHeads.texts[c];
        });
    std::vector<unsigned> ownRows = family.rows;
    sortDates(
        ownRows, [&](unsigned row) -> auto const& {
          return rowHeads.texts[row];
        });
    for (unsigned const column : columns) {
      positions[column] = grid.columns.size();
      grid.columns.push_back(columnHeads.texts[column]);
    }
    for (unsigned const row : ownRows) {
      grid.rows.push_back(rowHeads.texts[row]);
      grid.cells.emplace_back(grid.columns.size(), Grid::none);
      for (Cell const& cell : rows[row]) {
        grid.cells.back()[positions[cell.column]] = cell.name;
      }
    }
    return grid;
  }

  // The columns in an order that agrees with each row, where there is one: a
  // row that begins in the middle does not move its columns to the end.
  std::vector<unsigned> ordered(Family const& family) const {
    std::unordered_map<unsigned, std::size_t> ranks;
    for (unsigned const column : family.columns) {
      ranks.emplace(column, ranks.size());
    }
    std::vector<std::vector<std::size_t>> followers(ranks.size());
    std::vector<std::size_t> numBefore(ranks.size(), 0);
    Row const* longest = nullptr;
    for (unsigned const number : family.rows) {
      Row const& row = rows[number];
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
      for (Cell const& cell : *longest) {
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
std::vector<std::size_t> chosen(std::vector<std::string> const& heads,
                                std::vector<std::string> const& wanted) {
  std::vector<std::size_t> places;
  if (wanted.empty()) {
    places.resize(heads.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
  }
  for (std::string const& head : wanted) {
    auto const place = std::find(heads.begin(), heads.end(), head);
    if (place != heads.end()) {
      places.push_back(static_cast<std::size_t>(place - heads.begin()));
    }
  }
  return places;
}

Grid limited(Grid const& grid, std::vector<std::string> const& rows,
             std::vector<std::string> const& columns) {
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

std::vector<Split> usualSplits(std::vector<std::string> const& names) {
  std::vector<Split> splits;
  for (auto const way : {atDate, atLastMark, atFirstMark, atComma,
                         beforeBrackets, afterDigit, beforeNumber}) {
    splits.emplace_back([way, &names](std::size_t i) { return way(names[i]); });
  }
  return splits;
}

Split splitBy(std::vector<std::string> const& names,
              std::string const& expression) {
  auto const pattern = std::make_shared<const Pattern>(expression);
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

Grids findGrids(std::size_t numNames, std::vector<Split> const& splits,
                std::vector<Names const*> const& domains) {
  Grids best;
  best.rest.resize(numNames);
  std::iota(best.rest.begin(), best.rest.end(), std::size_t{0});
  for (Split const& split : splits) {
    Grids found = Finder(numNames, split, domains).grids(numNames);
    if (found.rest.size() < best.rest.size()) {
      best = std::move(found);
    }
  }
  return best;
}

void limitGrids(Grids& grids, std::vector<std::string> const& rows,
                std::vector<std::string> const& columns) {
  for (Grid& grid : grids.grids) {
    grid = limited(grid, rows, columns);
  }
  std::erase_if(grids.grids, [](Grid const& grid) {
    return grid.rows.empty() || grid.columns.empty();
  });
}

}  // namespace check
