// The options of a command line that choose the grids of a layout.

#pragma once

#include <CLI/CLI.hpp>
#include <array>

#include "tools/check/layout.h"

namespace check {

// Adds --split, --rows and --columns, which fill `wishes`.
inline std::array<CLI::Option*, 3> addLayoutOptions(CLI::App& app,
                                                    LayoutWishes& wishes) {
  auto const addHeads = [&app](char const* name,
                               std::vector<std::string>& heads,
                               char const* help) {
    return app.add_option(name, heads, help)
        ->type_name("NAME,...")
        ->delimiter(',')
        ->expected(1)
        ->allow_extra_args(false)
        ->take_all();
  };
  return {app.add_option("--split", wishes.split,
                         "Row and column of a variable's name, as two groups")
              ->type_name("REGEX"),
          addHeads("--rows", wishes.rows,
                   "Use only these grid rows, in this order"),
          addHeads("--columns", wishes.columns,
                   "Use only these grid columns, in this order")};
}

}  // namespace check
