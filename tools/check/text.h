// Escapes texts for output, detects the encoding of a text, and finds the line
// and column of a byte.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tools/check/model.h"

namespace check {

// Plain ASCII: "\x1b" for the byte 27, the same for bytes beyond ASCII, and
// "\\" for a backslash, so that different texts stay different.
std::string printable(std::string_view text);

std::string decimal(Int128 number);

bool hasHighByte(std::string_view text);

// Whether the text is ASCII or UTF-8.
bool isUtf8(std::string_view text);

// Whether the text begins with the UTF-16 mark or has the zero bytes of ASCII
// in UTF-16.
bool isUtf16(std::string_view text);

// Splits the text at its first separator, which is dropped.
std::string_view takeUpTo(char separator, std::string_view& text);

// The pattern with valueOf(c) in place of each "%c".
std::string filledIn(std::string_view pattern, auto const& valueOf) {
  std::string result;
  while (!pattern.empty()) {
    result += takeUpTo('%', pattern);
    if (!pattern.empty()) {
      result += valueOf(pattern[0]);
      pattern.remove_prefix(1);
    }
  }
  return result;
}

struct Place {
  std::size_t line = 1;
  std::size_t column = 1;     // counted in bytes
  std::size_t lineStart = 0;  // the position of the line's first byte
};

// Finds the places of ascending positions in one pass over the text.
class PlaceFinder {
 public:
  explicit PlaceFinder(std::string_view source) : text(source) {}

  Place find(std::size_t position);

 private:
  std::string_view text;
  Place place;  // of the last position asked for
};

}  // namespace check
