// Replaces the words of a model by the names of the user.

#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/check/model.h"

namespace check {

// The parts of each name.
using NameParts = std::vector<std::vector<std::string>>;

// The parts with blanks between them; there is at least one.
std::string joined(std::vector<std::string> const& parts);

struct ShownNames {
  NameParts variables;
  std::vector<NameParts> domains;     // of values
  std::vector<std::size_t> domainOf;  // by variable
  // The first part of each name of several parts, by the name.
  std::unordered_map<std::string, std::string> groups;
};

// Renames the items of a model by JSON from the Python package: {"variables":
// {word: [name, number of domain]}, "domains": [[name, ...], ...],
// "constraints": {word: name}, "constants": {word: number}}, the last one
// optional. A name is a text or a list of parts, which are joined by blanks; if
// names of variables or values are equal, the word is appended to the later
// ones. Throws std::runtime_error and changes nothing if the text is invalid or
// lacks a variable or a value of the model.
ShownNames rename(Model& model, std::string const& names);

}  // namespace check
