#include "tools/check/layout.h"

#include <algorithm>
#include <stdexcept>

namespace check {

namespace {

std::vector<std::string> textsOf(Names const& names) {
  std::vector<std::string> texts;
  for (std::string const* const name : names.all()) {
    texts.push_back(*name);
  }
  return texts;
}

Grids gridsOf(std::vector<std::string> const& texts) {
  return findGrids(texts.size(), usualSplits(texts));
}

// The headings are all parts but the last, and the last part.
Split splitByParts(NameParts const& parts) {
  return
      [&parts](
          std::size_t i) -> std::optional<std::pair<std::string, std::string>> {
        if (parts[i].size() < 2) {
          return std::nullopt;
        }
        return std::pair(joined({parts[i].begin(), parts[i].end() - 1}),
                         parts[i].back());
      };
}

std::vector<Split> splitsOf(std::vector<std::string> const& names,
                            NameParts const& parts, std::string const& split) {
  if (!split.empty()) {
    return {splitBy(names, split)};
  }
  bool const areSplit =
      std::any_of(parts.begin(), parts.end(),
                  [](auto const& name) { return name.size() > 1; });
  return areSplit ? std::vector{splitByParts(parts)} : usualSplits(names);
}

void requireHeads(std::vector<Grid> const& grids,
                  std::vector<std::string> Grid::*heads, char const* option,
                  std::vector<std::string> const& wanted) {
  for (std::string const& head : wanted) {
    if (std::none_of(grids.begin(), grids.end(), [&](Grid const& grid) {
          const auto& all = grid.*heads;
          return std::find(all.begin(), all.end(), head) != all.end();
        })) {
      throw std::runtime_error(std::string(option) + ": there is no '" + head +
                               "'");
    }
  }
}

// Rows of the grids that all values of the model make.
std::vector<std::vector<std::string>> familiesOf(Model const& model) {
  Names all;
  for (unsigned v = 0; v < model.values.size(); ++v) {
    if (v == 0 || !(model.values[v] == model.values[v - 1])) {
      for (std::string const* const value : model.values[v].all()) {
        all.add(*value);
      }
    }
  }
  const std::vector<std::string> texts = textsOf(all);
  std::vector<std::vector<std::string>> families;
  for (Grid const& grid : gridsOf(texts).grids) {
    for (auto const& row : grid.cells) {
      families.emplace_back();
      for (const std::size_t cell : row) {
        if (cell != Grid::none) {
          families.back().push_back(texts[cell]);
        }
      }
    }
  }
  return families;
}

}  // namespace

Layout layOut(Model const& model, NameParts const& parts,
              LayoutWishes const& wishes) {
  Layout layout;
  const std::vector<std::string> names = textsOf(model.variables);
  std::vector<Names const*> domains;
  for (Names const& values : model.values) {
    if (domains.empty() || !(values == *domains.back())) {
      layout.values.push_back(gridsOf(textsOf(values)));
    }
    domains.push_back(&values);
  }
  layout.variables =
      findGrids(names.size(), splitsOf(names, parts, wishes.split), domains);
  std::vector<Grid> const& grids = layout.variables.grids;
  if (!wishes.split.empty() && grids.empty()) {
    throw std::runtime_error("--split makes no grid of the variables");
  }
  requireHeads(grids, &Grid::rows, "--rows", wishes.rows);
  requireHeads(grids, &Grid::columns, "--columns", wishes.columns);
  limitGrids(layout.variables, wishes.rows, wishes.columns);
  layout.families = familiesOf(model);
  return layout;
}

}  // namespace check
