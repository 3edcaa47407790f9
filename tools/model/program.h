// A linear program over 0/1 and continuous columns, to be minimised.

#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "tools/check/model.h"

namespace lp {

// What a column stands for.
struct Meaning {
  enum Kind {
    label,    // the value of a variable
    product,  // both labels are on
    above,    // how far the sum of a constraint is above its upper bound
    below,    // the same below its lower one
    used      // an all-different has a variable with that value number
  };

  Kind kind = label;
  std::size_t constraint = 0;  // for the last three
  check::Label label1;         // `used` has its value number here
  check::Label label2;
};

// From 0 to `upper`. Columns that are not binary take whole numbers by
// themselves once the labels do.
struct Column {
  check::Int128 cost = 0;
  std::int64_t upper = 1;
  bool isBinary = false;
  Meaning meaning;
};

struct Entry {
  unsigned column = 0;
  std::int64_t coefficient = 0;
};

struct Row {
  std::size_t past = 0;  // one past its last entry; they follow each other
  std::optional<std::int64_t> lower;
  std::optional<std::int64_t> upper;
};

// The first columns are the labels, by variable and value.
struct Program {
  std::vector<Column> columns;
  std::vector<Row> rows;
  std::vector<Entry> entries;
  check::Int128 constant = 0;  // to be added to the objective

  std::size_t firstOf(std::size_t row) const {
    return row == 0 ? 0 : rows[row - 1].past;
  }
};

}  // namespace lp
