// Reads whole files.

#pragma once

#include <string>

namespace check {

// Throws std::runtime_error, with the name, if that is not possible.
std::string readFile(std::string const& name);

// The same, with standard input for "-".
std::string readFileOrInput(std::string const& name);

}  // namespace check
