#include "tools/check/pattern.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace check {

namespace {

[[noreturn]] void refuse(std::string const& expression, char const* reason) {
  throw std::runtime_error("not a regular expression: '" + expression +
                           "': " + reason);
}

// The C library takes exponential time for back-references, and it copies what
// is repeated with a count.
void refuseCostly(std::string const& expression) {
  constexpr unsigned long maxCopies = 255;
  std::vector<unsigned long> copies = {1};  // the most in each open group
  unsigned long last = 1;                   // of what stands before
  for (std::size_t i = 0; i < expression.size(); ++i) {
    char const c = expression[i];
    if (c == '\\') {
      char const next = expression.c_str()[++i];
      if (next >= '1' && next <= '9') {
        refuse(expression, "back-references are not supported");
      }
      last = 1;
    } else if (c == '(') {
      copies.push_back(1);
      last = 1;
    } else if (c == ')' && copies.size() > 1) {
      last = copies.back();
      copies.pop_back();
    } else if (c == '{') {
      unsigned long count = 1;
      for (char const* at = &expression[i]; *at != '}' && *at != '\0';) {
        char* end = nullptr;
        count = std::max(count, std::strtoul(++at, &end, 10));
        at = std::max<char const*>(at, end);
      }
      last *= std::min(count, maxCopies + 1);
      if (last > maxCopies) {
        refuse(expression, "more than 255 repeats");
      }
    } else if (c != '*' && c != '+' && c != '?') {
      last = 1;
    }
    copies.back() = std::max(copies.back(), last);
  }
}

}  // namespace

Pattern::Pattern(std::string const& expression) {
  refuseCostly(expression);
  int const error = regcomp(&compiled, expression.c_str(), REG_EXTENDED);
  if (error != 0) {
    std::array<char, 200> reason{};
    regerror(error, &compiled, reason.data(), reason.size());
    refuse(expression, reason.data());
  }
}

std::optional<Pattern::Match> Pattern::find(std::string const& text) const {
  std::array<regmatch_t, 3> places{};
  if (regexec(&compiled, text.c_str(), places.size(), places.data(), 0) != 0) {
    return std::nullopt;
  }
  Match match;
  for (std::size_t i = 0; i < match.size(); ++i) {
    if (places[i].rm_so >= 0) {
      match[i] = std::string_view(text).substr(
          static_cast<std::size_t>(places[i].rm_so),
          static_cast<std::size_t>(places[i].rm_eo - places[i].rm_so));
    }
  }
  return match;
}

}  // namespace check
