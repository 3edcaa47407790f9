// The grids formed by the names of variables and values of a model.

#pragma once

#include <string>
#include <vector>

#include "tools/check/grids.h"
#include "tools/check/model.h"
#include "tools/check/shown_names.h"

namespace check {

// How many variables may take a value.
struct Places {
  std::string value;
  int limit;
};

struct Layout {
  Grids variables;
  std::vector<Grids> values;  // of each run of variables with equal domains
  std::vector<std::vector<std::string>> families;  // values that share a row
  std::vector<Places> places;                      // of the values with a limit
};

// The options for a layout.
struct LayoutWishes {
  std::string split;                 // as splitBy() takes it; empty for none
  std::vector<std::string> rows;     // as limitGrids() takes them
  std::vector<std::string> columns;  // the same
};

// `shown` may be empty. Where some name has several parts, these names alone
// are split, before the last part. Throws std::runtime_error for a split that
// makes no grid and for rows and columns that are in none.
Layout layOut(Model const& model, ShownNames const& shown,
              LayoutWishes const& wishes);

}  // namespace check
