#include "tools/check/layout.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string_view>
#include <unordered_map>

#include "tools/check/evaluate.h"

namespace check {

namespace {

std::vector<std::string> textsOf(Names const& names) {
  std::vector<std::string> texts;
  for (std::string const* const name : names.all()) {
    texts.push_back(*name);
  }
  return texts;
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

Grids gridsOf(std::vector<std::string> const& texts,
              NameParts const& parts = {}) {
  return findGrids(texts.size(), splitsOf(texts, parts, ""));
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

// The value of all terms if the constraint limits how many variables take it,
// or nothing.
std::string const* limitedValue(Model const& model,
                                Constraint const& constraint) {
  if (constraint.kind != Constraint::linear || constraint.weight == 0 ||
      !hasUpper(constraint) || constraint.terms.empty()) {
    return nullptr;
  }
  auto const valueOf = [&](Term const& term) -> std::string const& {
    return model.values[term.label1.variable][term.label1.value];
  };
  std::string const& value = valueOf(constraint.terms[0]);
  bool const isCount = std::all_of(
      constraint.terms.begin(), constraint.terms.end(), [&](Term const& term) {
        return term.coefficient == 1 && valueOf(term) == value;
      });
  return isCount ? &value : nullptr;
}

// The limits that hold for all variables which can take the value.
std::vector<Places> placesOf(Model const& model) {
  std::unordered_map<std::string_view, std::size_t> numTakers;
  for (Names const& values : model.values) {
    for (std::string const* const value : values.all()) {
      ++numTakers[*value];
    }
  }
  std::map<std::string, int> limits;
  for (Constraint const& constraint : model.constraints) {
    std::string const* const value = limitedValue(model, constraint);
    if (value == nullptr) {
      continue;
    }
    const std::size_t numCounted = scopeOf(constraint).size();
    if (numCounted == constraint.terms.size() &&
        numCounted == numTakers[*value]) {
      auto const limit = limits.emplace(*value, constraint.upper).first;
      limit->second = std::min(limit->second, constraint.upper);
    }
  }
  std::vector<Places> places;
  places.reserve(limits.size());
  for (auto const& [value, limit] : limits) {
    places.push_back({value, limit});
  }
  return places;
}

}  // namespace

Layout layOut(Model const& model, ShownNames const& shown,
              LayoutWishes const& wishes) {
  Layout layout;
  const std::vector<std::string> names = textsOf(model.variables);
  std::vector<Names const*> domains;
  for (unsigned v = 0; v < model.values.size(); ++v) {
    Names const& values = model.values[v];
    if (domains.empty() || !(values == *domains.back())) {
      layout.values.push_back(
          gridsOf(textsOf(values), shown.domains.empty()
                                       ? NameParts()
                                       : shown.domains[shown.domainOf[v]]));
    }
    domains.push_back(&values);
  }
  layout.variables = findGrids(
      names.size(), splitsOf(names, shown.variables, wishes.split), domains);
  std::vector<Grid> const& grids = layout.variables.grids;
  if (!wishes.split.empty() && grids.empty()) {
    throw std::runtime_error("--split makes no grid of the variables");
  }
  requireHeads(grids, &Grid::rows, "--rows", wishes.rows);
  requireHeads(grids, &Grid::columns, "--columns", wishes.columns);
  limitGrids(layout.variables, wishes.rows, wishes.columns);
  layout.families = familiesOf(model);
  layout.places = placesOf(model);
  return layout;
}

}  // namespace check
