// The distance is computed row by row over the shorter word. Words that are too
// long to be typed are never compared.

#include "tools/check/hints.h"

#include <algorithm>
#include <vector>

namespace check {

namespace {

constexpr std::size_t maxLength = 64;

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::string digitsOf(std::string_view word) {
  std::string digits;
  std::copy_if(word.begin(), word.end(), std::back_inserter(digits), isDigit);
  return digits;
}

// The number of wrong letters allowed in a word of this length.
std::size_t tolerance(std::size_t length) {
  constexpr std::size_t shortest = 3;
  constexpr std::size_t longer = 6;
  return length < shortest ? 0 : length < longer ? 1 : 2;
}

std::size_t nearness(std::string_view a, std::string_view b) {
  const std::size_t limit = tolerance(std::max(a.size(), b.size()));
  return digitsOf(a) == digitsOf(b) ? editDistance(a, b, limit) : limit + 1;
}

}  // namespace

std::size_t editDistance(std::string_view a, std::string_view b,
                         std::size_t limit) {
  const std::size_t difference =
      std::max(a.size(), b.size()) - std::min(a.size(), b.size());
  if (difference > limit || std::max(a.size(), b.size()) > maxLength) {
    return limit + 1;
  }
  std::vector<std::size_t> before;  // the row before the last one
  std::vector<std::size_t> last(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) {
    last[j] = j;
  }
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::vector<std::size_t> row(b.size() + 1, i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      bool const isSame = lower(a[i - 1]) == lower(b[j - 1]);
      row[j] = std::min(
          {last[j] + 1, row[j - 1] + 1, last[j - 1] + (isSame ? 0U : 1U)});
      if (i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) &&
          lower(a[i - 2]) == lower(b[j - 1])) {
        row[j] = std::min(row[j], before[j - 2] + 1);
      }
    }
    before.swap(last);
    last.swap(row);
  }
  return std::min(last[b.size()], limit + 1);
}

bool isNear(std::string_view a, std::string_view b) {
  return nearness(a, b) <= tolerance(std::max(a.size(), b.size()));
}

std::string didYouMean(std::string_view word, Names const& names) {
  unsigned best = names.size();
  std::size_t least = 0;
  for (unsigned i = 0; i < names.size(); ++i) {
    const std::size_t distance =
        isNear(word, names[i]) ? nearness(word, names[i]) : maxLength;
    if (distance < maxLength && (best == names.size() || distance < least)) {
      best = i;
      least = distance;
    }
  }
  return best == names.size() ? "" : ", did you mean '" + names[best] + "'?";
}

}  // namespace check
