#include "tools/check/text.h"

#include <algorithm>

namespace check {

namespace {

unsigned byteAt(std::string_view text, std::size_t at) {
  return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

// The number of bytes of the character that begins here; 0 if it is not UTF-8.
std::size_t characterSize(std::string_view text, std::size_t at) {
  unsigned const first = byteAt(text, at);
  if (first < 0x80) {
    return 1;
  }
  const std::size_t size = first < 0xC2   ? 0
                           : first < 0xE0 ? 2
                           : first < 0xF0 ? 3
                           : first < 0xF5 ? 4
                                          : 0;
  for (std::size_t i = 1; i < size; ++i) {
    if ((byteAt(text, at + i) & 0xC0U) != 0x80) {
      return 0;
    }
  }
  unsigned const second = byteAt(text, at + 1);
  bool const isOverlong =
      (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
  bool const isBeyond =
      (first == 0xED && second >= 0xA0) || (first == 0xF4 && second >= 0x90);
  return isOverlong || isBeyond ? 0 : size;
}

}  // namespace

std::string printable(std::string_view text) {
  constexpr char const* digits = "0123456789abcdef";
  std::string result;
  for (char const c : text) {
    auto const byte = static_cast<unsigned char>(c);
    if (c == '\\') {
      result += "\\\\";
    } else if (byte < 0x20 || byte > 0x7E) {
      result += {'\\', 'x', digits[byte / 16], digits[byte % 16]};
    } else {
      result += c;
    }
  }
  return result;
}

std::string decimal(Int128 number) {
  bool const isNegative = number < 0;
  std::string digits;
  do {
    int const digit = static_cast<int>(number % 10);
    digits += static_cast<char>('0' + (digit < 0 ? -digit : digit));
    number /= 10;
  } while (number != 0);
  if (isNegative) {
    digits += '-';
  }
  return {digits.rbegin(), digits.rend()};
}

bool hasHighByte(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) >= 0x80;
  });
}

bool isUtf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t size = characterSize(text, at);
    if (size == 0) {
      return false;
    }
    at += size;
  }
  return true;
}

bool isUtf16(std::string_view text) {
  const std::string_view mark = text.substr(0, 2);
  if (mark == "\xFF\xFE" || mark == "\xFE\xFF") {
    return true;
  }
  constexpr std::size_t sample = 1000;
  const std::string_view start = text.substr(0, sample);
  return start.size() > 3 &&
         static_cast<std::size_t>(std::count(start.begin(), start.end(),
                                             '\0')) >= start.size() / 2 - 1;
}

std::string_view takeUpTo(char separator, std::string_view& text) {
  const std::size_t size = std::min(text.find(separator), text.size());
  const std::string_view part = text.substr(0, size);
  text.remove_prefix(std::min(size + 1, text.size()));
  return part;
}

Place PlaceFinder::find(std::size_t position) {
  for (std::size_t newline = text.find('\n', place.lineStart);
       newline < position; newline = text.find('\n', newline + 1)) {
    ++place.line;
    place.lineStart = newline + 1;
  }
  place.column = position - place.lineStart + 1;
  return place;
}

}  // namespace check
