// The names of the user in place of the words of a model.

#pragma once

#include <string>
#include <vector>

#include "tools/check/model.h"

namespace check {

// The parts of the name of each variable.
using NameParts = std::vector<std::vector<std::string>>;

// The parts with blanks between them; there is at least one.
std::string joined(std::vector<std::string> const& parts);

// Renames what stands in a model by JSON as the Python package writes it:
// {"variables": {word: [text or parts, number of domain]}, "domains": [[text,
// ...], ...], "constraints": {word: text}}. Parts are joined by blanks; of
// equal names the later ones get their word behind them. Returns the parts.
// Throws std::runtime_error, changing nothing, if the text is not that or
// lacks a variable or a value of the model.
NameParts rename(Model& model, std::string const& names);

}  // namespace check
