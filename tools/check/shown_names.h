// Replaces the words of a model by the names of the user.

#pragma once

#include <string>
#include <vector>

#include "tools/check/model.h"

namespace check {

// The parts of the name of each variable.
using NameParts = std::vector<std::vector<std::string>>;

// The parts with blanks between them; there is at least one.
std::string joined(std::vector<std::string> const& parts);

// Renames the items of a model by JSON from the Python package: {"variables":
// {word: [text or parts, number of domain]}, "domains": [[text, ...], ...],
// "constraints": {word: text}}. Parts are joined by blanks; if names are equal,
// the word is appended to the later ones. Returns the parts. Throws
// std::runtime_error and changes nothing if the text is invalid or lacks a
// variable or a value of the model.
NameParts rename(Model& model, std::string const& names);

}  // namespace check
