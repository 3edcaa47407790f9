// The violations of a quadratic constraint on two variables by their values:
// its violation stands in one entry, all its diffs in one row and one column.
//
// Many constraints of a model have the same table, all edges of a colouring for
// example; they share one, which then stays in the fastest cache.

#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <vector>

#include "constraints/bounds.h"

namespace detail {

class PairTable {
 public:
  /// A term: the coefficient of a value of the first and one of the second
  /// variable.
  struct Term {
    unsigned value1;
    unsigned value2;
    std::int64_t coefficient;
  };

  /// Whether a table of these terms takes no more memory than a small multiple
  /// of theirs.
  static bool suits(std::span<Term const> terms);

  /// `terms` ascend by value1, then value2, and are not empty.
  PairTable(std::span<Term const> terms, Bounds const& bounds);

  /// The violation at two values, which may be any.
  int violation(unsigned value1, unsigned value2) const;

  /// Calls act(value, before, after), ascending, for the values of one
  /// variable, 0 being the first and 1 the second: `before` and `after` are the
  /// violations there while the other variable has the value `otherBefore` and
  /// `otherAfter`. Unless `isAll`, values may be left out at which the two are
  /// the same.
  template <class Act>
  void forEachValue(unsigned side, unsigned numValues, unsigned otherBefore,
                    unsigned otherAfter, bool isAll, Act act) const;

  /// Any order serves: it finds the equal ones.
  auto operator<=>(PairTable const&) const = default;

 private:
  /// An entry of a row: the value of the variable across.
  struct Entry {
    unsigned value;
    int violation;

    auto operator<=>(Entry const&) const = default;
  };

  /// The rows by value of one variable; a last one holds what is outside.
  struct Side {
    unsigned first = 0;  ///< the least value in the terms
    unsigned span = 0;   ///< the greatest - first + 1
    /// A dense table: by value of this variable and, within the span of the
    /// other, of that one.
    std::vector<int> dense;
    std::vector<unsigned> offsets;  ///< by value, where its entries begin
    std::vector<Entry> entries;     ///< those that are not `outside`

    unsigned row(unsigned value) const { return std::min(value - first, span); }
    std::span<Entry const> entriesAt(unsigned value) const {
      unsigned const r = row(value);
      return {entries.data() + offsets[r], entries.data() + offsets[r + 1]};
    }

    auto operator<=>(Side const&) const = default;
  };

  int outside;   ///< the violation where there is no term
  bool isDense;  ///< else sparse, and the other members of the sides in use
  std::array<Side, 2> sides;

  static std::array<Side, 2> spansOf(std::span<Term const> terms);
  void fillDense(std::span<Term const> terms, Bounds const& bounds);
  void fillSparse(std::span<Term const> terms, Bounds const& bounds);
};

/// The tables of one solver.
struct PairTableOrder {
  bool operator()(std::shared_ptr<PairTable const> const& a,
                  std::shared_ptr<PairTable const> const& b) const {
    return *a < *b;
  }
};
using PairTables = std::set<std::shared_ptr<PairTable const>, PairTableOrder>;

template <class Act>
void PairTable::forEachValue(unsigned side, unsigned numValues,
                             unsigned otherBefore, unsigned otherAfter,
                             bool isAll, Act act) const {
  Side const& own = sides[side];
  Side const& other = sides[1 - side];
  if (isDense) {
    int const* before =
        other.dense.data() + std::size_t{other.row(otherBefore)} * own.span;
    int const* after =
        other.dense.data() + std::size_t{other.row(otherAfter)} * own.span;
    for (unsigned value = 0; isAll && value < own.first; ++value) {
      act(value, outside, outside);
    }
    for (unsigned i = 0; i < own.span; ++i) {
      act(own.first + i, before[i], after[i]);
    }
    for (unsigned value = own.first + own.span; isAll && value < numValues;
         ++value) {
      act(value, outside, outside);
    }
    return;
  }
  auto const rowBefore = other.entriesAt(otherBefore);
  auto const rowAfter = other.entriesAt(otherAfter);
  auto before = rowBefore.begin();
  auto after = rowAfter.begin();
  auto const take = [&](auto& entry, auto end, unsigned value) {
    return entry != end && entry->value == value ? (entry++)->violation
                                                 : outside;
  };
  if (isAll) {
    for (unsigned value = 0; value < numValues; ++value) {
      int const violationBefore = take(before, rowBefore.end(), value);
      act(value, violationBefore, take(after, rowAfter.end(), value));
    }
    return;
  }
  while (before != rowBefore.end() || after != rowAfter.end()) {
    unsigned const value =
        after == rowAfter.end() ||
                (before != rowBefore.end() && before->value < after->value)
            ? before->value
            : after->value;
    int const violationBefore = take(before, rowBefore.end(), value);
    act(value, violationBefore, take(after, rowAfter.end(), value));
  }
}

inline int PairTable::violation(unsigned value1, unsigned value2) const {
  if (isDense) {
    unsigned const row1 = sides[0].row(value1);
    unsigned const row2 = sides[1].row(value2);
    return row2 == sides[1].span
               ? outside
               : sides[0].dense[std::size_t{row1} * sides[1].span + row2];
  }
  for (Entry const& entry : sides[0].entriesAt(value1)) {
    if (entry.value >= value2) {
      return entry.value == value2 ? entry.violation : outside;
    }
  }
  return outside;
}

}  // namespace detail
