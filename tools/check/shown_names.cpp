#include "tools/check/shown_names.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace check {

namespace {

using nlohmann::json;

// A text or a list of texts, which is not empty.
std::vector<std::string> partsOf(json const& name) {
  auto parts = name.is_array() ? name.get<std::vector<std::string>>()
                               : std::vector{name.get<std::string>()};
  if (parts.empty()) {
    throw std::runtime_error("--names: not a file of names");
  }
  return parts;
}

void addName(Names& names, std::string const& name, std::string const& word) {
  std::string text = name;
  while (!names.add(text)) {
    text += " (" + word + ")";
  }
}

Names renamedValues(Names const& words, NameParts const& parts) {
  if (parts.size() < words.size()) {
    throw std::runtime_error("--names: the names are of another model");
  }
  Names names;
  for (unsigned a = 0; a < words.size(); ++a) {
    addName(names, joined(parts[a]), words[a]);
  }
  return names;
}

}  // namespace

std::string joined(std::vector<std::string> const& parts) {
  std::string text = parts[0];
  for (std::size_t i = 1; i < parts.size(); ++i) {
    text += " " + parts[i];
  }
  return text;
}

ShownNames rename(Model& model, std::string const& names) {
  ShownNames shownNames;
  Names variables;
  std::vector<Names> values;
  std::unordered_map<std::string, std::vector<std::string>> constraints;
  std::unordered_map<std::string, std::int64_t> constants;
  try {
    const json shown = json::parse(names);
    for (json const& domain : shown.at("domains")) {
      NameParts& parts = shownNames.domains.emplace_back();
      std::transform(domain.begin(), domain.end(), std::back_inserter(parts),
                     partsOf);
    }
    for (auto const& [word, name] : shown.at("constraints").items()) {
      constraints.emplace(word, partsOf(name));
    }
    if (shown.contains("constants")) {
      shown["constants"].get_to(constants);
    }
    json const& entries = shown.at("variables");
    for (unsigned v = 0; v < model.variables.size(); ++v) {
      std::string const& word = model.variables[v];
      if (!entries.contains(word)) {
        throw std::runtime_error("--names: the names are of another model");
      }
      json const& entry = entries[word];
      NameParts& parts = shownNames.variables;
      parts.push_back(partsOf(entry.at(0)));
      addName(variables, joined(parts.back()), word);
      shownNames.domainOf.push_back(entry.at(1).get<std::size_t>());
      values.push_back(renamedValues(
          model.values[v], shownNames.domains.at(shownNames.domainOf.back())));
    }
  } catch (json::exception const&) {
    throw std::runtime_error("--names: not a file of names");
  } catch (std::out_of_range const&) {
    throw std::runtime_error("--names: not a file of names");
  }
  model.variables = std::move(variables);
  model.values = std::move(values);
  for (Constraint& constraint : model.constraints) {
    if (auto const constant = constants.find(constraint.name);
        constant != constants.end()) {
      constraint.constant = constant->second;
    }
    if (auto const name = constraints.find(constraint.name);
        name != constraints.end()) {
      std::vector<std::string> const& parts = name->second;
      constraint.name = joined(parts);
      if (parts.size() > 1) {
        shownNames.groups.emplace(constraint.name, parts.front());
      }
    }
  }
  return shownNames;
}

}  // namespace check
