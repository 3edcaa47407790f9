#include "tools/check/shown_names.h"

#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace check {

namespace {

using nlohmann::json;

void addName(Names& names, const std::string& name, const std::string& word) {
  std::string text = name;
  while (!names.add(text)) {
    text += " (" + word + ")";
  }
}

Names renamedValues(const Names& words, const std::vector<std::string>& texts) {
  if (texts.size() < words.size()) {
    throw std::runtime_error("--names: the names are of another model");
  }
  Names names;
  for (unsigned a = 0; a < words.size(); ++a) {
    addName(names, texts[a], words[a]);
  }
  return names;
}

}  // namespace

std::string joined(const std::vector<std::string>& parts) {
  std::string text = parts.at(0);
  for (std::size_t i = 1; i < parts.size(); ++i) {
    text += " " + parts[i];
  }
  return text;
}

NameParts rename(Model& model, const std::string& names) {
  NameParts allParts;
  Names variables;
  std::vector<Names> values;
  std::map<std::string, std::string> constraints;
  try {
    const json shown = json::parse(names);
    const auto domains =
        shown.at("domains").get<std::vector<std::vector<std::string>>>();
    shown.at("constraints").get_to(constraints);
    const json& entries = shown.at("variables");
    for (unsigned v = 0; v < model.variables.size(); ++v) {
      const std::string& word = model.variables[v];
      if (!entries.contains(word)) {
        throw std::runtime_error("--names: the names are of another model");
      }
      const json& entry = entries[word];
      const json& name = entry.at(0);
      allParts.push_back(name.is_array()
                             ? name.get<std::vector<std::string>>()
                             : std::vector{name.get<std::string>()});
      addName(variables, joined(allParts.back()), word);
      values.push_back(renamedValues(
          model.values[v], domains.at(entry.at(1).get<std::size_t>())));
    }
  } catch (const json::exception&) {
    throw std::runtime_error("--names: not a file of names");
  } catch (const std::out_of_range&) {
    throw std::runtime_error("--names: not a file of names");
  }
  model.variables = std::move(variables);
  model.values = std::move(values);
  for (Constraint& constraint : model.constraints) {
    if (const auto name = constraints.find(constraint.name);
        name != constraints.end()) {
      constraint.name = name->second;
    }
  }
  return allParts;
}

}  // namespace check
