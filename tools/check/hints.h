// Guesses the meaning of misspelt words.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tools/check/model.h"

namespace check {

// The number of letters to insert, drop, replace or swap with their neighbour
// that turns one word into the other, upper and lower case alike. More than
// `limit` counts as limit + 1.
std::size_t editDistance(std::string_view a, std::string_view b,
                         std::size_t limit);

// Whether one word can be a misspelling of the other: similar, and with the
// same digits, because x12 is not a typo for x11.
bool isNear(std::string_view a, std::string_view b);

// ", did you mean 'name'?" with the nearest of the names, or nothing.
std::string didYouMean(std::string_view word, Names const& names);

}  // namespace check
