#include "tools/check/advice.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "tools/check/evaluate.h"
#include "tools/check/text.h"

namespace check {

namespace {

// Tabs would move the caret.
std::string shown(std::string_view text) {
  std::string spaced(text);
  std::replace(spaced.begin(), spaced.end(), '\t', ' ');
  return printable(spaced);
}

// A window of the line, which may be very long.
void fillExcerpt(LocatedError& error, std::string_view line, std::size_t at) {
  constexpr std::size_t reach = 60;
  const std::size_t from = at > reach ? at - reach : 0;
  const std::string before = shown(line.substr(from, at - from));
  const std::string marked =
      shown(line.substr(std::min(at, line.size()), error.length));
  const std::size_t rest = std::min(at + error.length, line.size());
  error.excerpt = before + marked + shown(line.substr(rest, reach));
  error.indent = before.size();
  error.width = std::max<std::size_t>(marked.size(), 1);
}

std::string count(Int128 number, char const* one) {
  return decimal(number) + " " + one + (number == 1 ? "" : "s");
}

// Exact as long as it can be read at a glance.
std::string searchSpace(Model const& model) {
  constexpr Int128 limit = 1000000000;
  Int128 exact = 1;
  double logarithm = 0;
  for (Names const& values : model.values) {
    exact = std::min(exact * values.size(), limit);
    logarithm += std::log10(static_cast<double>(values.size()));
  }
  return exact < limit ? count(exact, "assignment")
                       : "about 10^" + decimal(static_cast<Int128>(logarithm)) +
                             " assignments";
}

}  // namespace

std::vector<LocatedError> locate(std::string_view text,
                                 std::vector<Error> const& errors) {
  constexpr std::size_t maxLength = 60;
  PlaceFinder finder(text);
  std::vector<LocatedError> result;
  for (Error const& error : errors) {
    const Place place = finder.find(error.begin);
    std::string_view line = text.substr(place.lineStart);
    line = line.substr(0, line.find_first_of("\r\n", place.column - 1));
    LocatedError& located = result.emplace_back();
    located.line = place.line;
    located.column = place.column;
    located.length = std::min({error.past - error.begin, maxLength,
                               line.size() - (place.column - 1)});
    located.message = error.message;
    fillExcerpt(located, line, place.column - 1);
  }
  return result;
}

void writeErrors(std::ostream& out, std::string const& fileName,
                 std::vector<LocatedError> const& errors,
                 Manner const& manner) {
  auto const coloured = [&manner](char const* colour, std::string const& word) {
    return manner.isColoured ? colour + word + "\x1b[0m" : word;
  };
  for (LocatedError const& error : errors) {
    out << printable(fileName) << ":" << error.line << ":" << error.column
        << ": " << coloured("\x1b[1;31m", "error:") << " "
        << printable(error.message) << "\n";
    if (manner.hasExcerpts) {
      const std::string mark = "^" + std::string(error.width - 1, '~');
      out << "  " << error.excerpt << "\n  " << std::string(error.indent, ' ')
          << coloured("\x1b[1;32m", mark) << "\n";
    }
  }
}

std::string summary(Model const& model) {
  std::array<Int128, 3> kinds{};
  Int128 numValues = 0;
  Int128 numTerms = 0;
  Int128 numHard = 0;
  for (Names const& values : model.values) {
    numValues += values.size();
  }
  for (Constraint const& constraint : model.constraints) {
    ++kinds[static_cast<std::size_t>(constraint.kind)];
    numTerms += static_cast<Int128>(constraint.terms.size());
    numHard += constraint.weight == inf ? 1 : 0;
  }
  auto const numConstraints = static_cast<Int128>(model.constraints.size());
  return count(model.variables.size(), "variable") + ", " +
         count(numValues, "value") + ", " + searchSpace(model) + "; " +
         count(numConstraints, "constraint") + ": " + decimal(kinds[0]) +
         " linear, " + decimal(kinds[1]) + " quadratic, " + decimal(kinds[2]) +
         " alldiff, " + decimal(numHard) + " hard, " +
         decimal(numConstraints - numHard) + " soft; " +
         count(numTerms, "term");
}

}  // namespace check
