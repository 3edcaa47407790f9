#include "tools/check/advice.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "tools/check/evaluate.h"
#include "tools/check/output.h"
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
void fillExcerpt(Problem& problem, std::string_view line, std::size_t at) {
  constexpr std::size_t reach = 60;
  const std::size_t from = at > reach ? at - reach : 0;
  const std::string before = shown(line.substr(from, at - from));
  const std::string marked =
      shown(line.substr(std::min(at, line.size()), problem.length));
  const std::size_t rest = std::min(at + problem.length, line.size());
  problem.excerpt = before + marked + shown(line.substr(rest, reach));
  problem.indent = before.size();
  problem.width = std::max<std::size_t>(marked.size(), 1);
}

std::string count(Int128 number, const char* one) {
  return decimal(number) + " " + one + (number == 1 ? "" : "s");
}

// Exact as long as it can be read at a glance.
std::string searchSpace(const Model& model) {
  constexpr Int128 limit = 1000000000;
  Int128 exact = 1;
  double logarithm = 0;
  for (const Names& values : model.values) {
    exact = std::min(exact * values.size(), limit);
    logarithm += std::log10(static_cast<double>(values.size()));
  }
  return exact < limit ? count(exact, "assignment")
                       : "about 10^" + decimal(static_cast<Int128>(logarithm)) +
                             " assignments";
}

}  // namespace

std::vector<Problem> locate(std::string_view text,
                            const std::vector<Fault>& faults) {
  constexpr std::size_t maxLength = 60;
  PlaceFinder finder(text);
  std::vector<Problem> problems;
  for (const Fault& fault : faults) {
    const Place place = finder.find(fault.begin);
    std::string_view line = text.substr(place.lineStart);
    line = line.substr(0, line.find_first_of("\r\n", place.column - 1));
    Problem problem;
    problem.line = place.line;
    problem.column = place.column;
    problem.length = std::min({fault.past - fault.begin, maxLength,
                               line.size() - (place.column - 1)});
    problem.message = fault.message;
    fillExcerpt(problem, line, place.column - 1);
    problems.push_back(std::move(problem));
  }
  return problems;
}

void writeProblems(std::ostream& out, const std::string& fileName,
                   const std::vector<Problem>& problems, const Manner& manner) {
  const auto coloured = [&manner](const char* colour, const std::string& word) {
    return manner.isColoured ? colour + word + "\x1b[0m" : word;
  };
  for (const Problem& problem : problems) {
    out << printable(fileName) << ":" << problem.line << ":" << problem.column
        << ": " << coloured("\x1b[1;31m", "error:") << " "
        << printable(problem.message) << "\n";
    if (manner.hasExcerpts) {
      const std::string mark = "^" + std::string(problem.width - 1, '~');
      out << "  " << problem.excerpt << "\n  "
          << std::string(problem.indent, ' ') << coloured("\x1b[1;32m", mark)
          << "\n";
    }
  }
}

std::string summary(const Model& model) {
  std::array<Int128, 3> kinds{};
  Int128 numValues = 0;
  Int128 numTerms = 0;
  Int128 numHard = 0;
  for (const Names& values : model.values) {
    numValues += values.size();
  }
  for (const Constraint& constraint : model.constraints) {
    ++kinds[static_cast<std::size_t>(constraint.kind)];
    numTerms += static_cast<Int128>(constraint.terms.size());
    numHard += constraint.weight == inf ? 1 : 0;
  }
  const auto numConstraints = static_cast<Int128>(model.constraints.size());
  return count(model.variables.size(), "variable") + ", " +
         count(numValues, "value") + ", " + searchSpace(model) + "; " +
         count(numConstraints, "constraint") + ": " + decimal(kinds[0]) +
         " linear, " + decimal(kinds[1]) + " quadratic, " + decimal(kinds[2]) +
         " alldiff, " + decimal(numHard) + " hard, " +
         decimal(numConstraints - numHard) + " soft; " +
         count(numTerms, "term");
}

}  // namespace check
