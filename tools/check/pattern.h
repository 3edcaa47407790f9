// An extended regular expression of the user.

#pragma once

#include <regex.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace check {

class Pattern {
 public:
  // The whole match and the first two groups. A group that takes no part in
  // the match is empty and has no data.
  using Match = std::array<std::string_view, 3>;

  // Throws std::runtime_error if the text is not a regular expression.
  explicit Pattern(std::string const& expression);
  ~Pattern() { regfree(&compiled); }
  Pattern(Pattern const&) = delete;
  Pattern& operator=(Pattern const&) = delete;

  std::size_t numGroups() const { return compiled.re_nsub; }

  // The leftmost and then longest match, as views of the text.
  std::optional<Match> find(std::string const& text) const;

 private:
  regex_t compiled{};
};

}  // namespace check
