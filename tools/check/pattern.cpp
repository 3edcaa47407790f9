#include "tools/check/pattern.h"

#include <stdexcept>

namespace check {

Pattern::Pattern(std::string const& expression) {
  int const error = regcomp(&compiled, expression.c_str(), REG_EXTENDED);
  if (error != 0) {
    std::array<char, 200> reason{};
    regerror(error, &compiled, reason.data(), reason.size());
    throw std::runtime_error("not a regular expression: '" + expression +
                             "': " + reason.data());
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
