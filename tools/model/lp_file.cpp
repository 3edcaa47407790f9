#include "tools/model/lp_file.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <utility>

#include "tools/check/text.h"

namespace lp {

namespace {

using check::Int128;
using check::Label;

// Breaks lines, since some readers cut long ones.
class Terms {
 public:
  explicit Terms(std::ostream& itsOut) : out(itsOut) {}

  void add(Int128 coefficient, std::size_t column) {
    if (++count % 8 == 0) {
      out << "\n ";
    }
    bool const isNegative = coefficient < 0;
    out << (isNegative ? " - " : " + ")
        << check::decimal(isNegative ? -coefficient : coefficient) << " x"
        << column + 1;
  }

 private:
  std::ostream& out;
  unsigned count = 0;
};

void writeObjective(std::ostream& out, Program const& program) {
  out << "Minimize\n obj:";
  Terms terms(out);
  for (std::size_t j = 0; j < program.columns.size(); ++j) {
    terms.add(program.columns[j].cost, j);
  }
  out << "\n";
}

// A row with two different bounds is two rows.
void writeRows(std::ostream& out, Program const& program) {
  out << "Subject To\n";
  for (std::size_t i = 0; i < program.rows.size(); ++i) {
    Row const& row = program.rows[i];
    auto const write = [&](char const* relation, std::int64_t bound) {
      Terms terms(out);
      for (std::size_t k = program.firstOf(i); k < row.past; ++k) {
        terms.add(program.entries[k].coefficient, program.entries[k].column);
      }
      if (row.past == program.firstOf(i)) {
        terms.add(0, 0);  // a row needs a column
      }
      out << " " << relation << " " << bound << "\n";
    };
    if (row.lower && row.upper && *row.lower == *row.upper) {
      write("=", *row.lower);
      continue;
    }
    if (row.lower) {
      write(">=", *row.lower);
    }
    if (row.upper) {
      write("<=", *row.upper);
    }
  }
}

void writeColumns(std::ostream& out, Program const& program) {
  out << "Bounds\n";
  for (std::size_t j = 0; j < program.columns.size(); ++j) {
    if (!program.columns[j].isBinary) {
      out << " 0 <= x" << j + 1 << " <= " << program.columns[j].upper << "\n";
    }
  }
  out << "Binaries\n";
  for (std::size_t j = 0; j < program.columns.size(); ++j) {
    if (program.columns[j].isBinary) {
      out << " x" << j + 1 << (j % 8 == 7 ? "\n" : "");
    }
  }
  out << "\nEnd\n";
}

std::string textOf(check::Model const& model, Label const& label) {
  return "(" + model.variables[label.variable] + "," +
         model.values[label.variable][label.value] + ")";
}

std::string textOf(check::Model const& model, Meaning const& meaning) {
  switch (meaning.kind) {
    case Meaning::label:
      return textOf(model, meaning.label1);
    case Meaning::product:
      return textOf(model, meaning.label1) + textOf(model, meaning.label2);
    case Meaning::above:
      return "above the bound of " + model.constraints[meaning.constraint].name;
    case Meaning::below:
      return "below the bound of " + model.constraints[meaning.constraint].name;
    case Meaning::used:
      break;
  }
  return "value " + std::to_string(meaning.label1.value + 1) + " in use in " +
         model.constraints[meaning.constraint].name;
}

// Names may hold any byte, also the end of a line; some readers cut long ones.
void writeComment(std::ostream& out, std::string const& text) {
  constexpr std::size_t width = 200;
  const std::string shown = check::printable(text);
  for (std::size_t at = 0; at < shown.size(); at += width) {
    out << "\\ " << shown.substr(at, width) << "\n";
  }
}

std::vector<std::string_view> wordsOf(std::string_view line) {
  std::vector<std::string_view> words;
  constexpr std::string_view blanks = " \t\r\v\f";
  for (std::size_t at = line.find_first_not_of(blanks);
       at != std::string_view::npos; at = line.find_first_not_of(blanks, at)) {
    const std::size_t past =
        std::min(line.find_first_of(blanks, at), line.size());
    words.push_back(line.substr(at, past - at));
    at = past;
  }
  return words;
}

std::optional<double> numberOf(std::string_view word) {
  const std::string text(word);
  char* past = nullptr;
  double const number = std::strtod(text.c_str(), &past);
  bool const isWhole =
      !text.empty() && *past == '\0' &&
      static_cast<std::size_t>(past - text.c_str()) == text.size();
  return isWhole && std::isfinite(number) ? std::optional(number)
                                          : std::nullopt;
}

// From 0, of a number from 1; nothing for another word.
std::optional<std::size_t> indexOf(std::string_view digits) {
  constexpr std::size_t longest = 18;
  if (digits.empty() || digits.size() > longest ||
      digits.find_first_not_of("0123456789") != std::string_view::npos ||
      digits[0] == '0') {
    return std::nullopt;
  }
  return std::stoull(std::string(digits)) - 1;
}

// "x7 1", "6 x7 1 0" or, where a bound is missed, "** 6 x7 1 0".
std::optional<std::pair<std::size_t, double>> namedValue(
    std::vector<std::string_view> const& words) {
  for (std::size_t i = 0; i + 1 < words.size() && i < 3; ++i) {
    if (words[i][0] == 'x') {
      auto const index = indexOf(words[i].substr(1));
      auto const value = numberOf(words[i + 1]);
      if (index && value) {
        return std::pair(*index, *value);
      }
    }
  }
  return std::nullopt;
}

// "j 7 1", of a file that begins with the comments of GLPK.
std::optional<std::pair<std::size_t, double>> numberedValue(
    std::vector<std::string_view> const& words) {
  if (words.size() == 3 && words[0] == "j") {
    auto const index = indexOf(words[1]);
    auto const value = numberOf(words[2]);
    if (index && value) {
      return std::pair(*index, *value);
    }
  }
  return std::nullopt;
}

std::string lowered(std::string_view text) {
  std::string result;
  std::transform(
      text.begin(), text.end(), std::back_inserter(result), [](char c) {
        return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
      });
  return result;
}

// What the lines beside the values say when there is no solution.
void refuseHeading(std::string_view line) {
  const std::string text = lowered(line);
  for (char const* const sign :
       {"infeasible", "continuous used", "unbounded", "integer empty",
        "undefined", "no solution", "no feasible"}) {
    if (text.find(sign) != std::string::npos) {
      throw NoSolution("it is no solution: '" +
                       std::string(line.substr(0, 100)) + "'");
    }
  }
}

}  // namespace

void writeProgram(std::ostream& out, Program const& program) {
  writeObjective(out, program);
  writeRows(out, program);
  writeColumns(out, program);
}

void writeProgram(std::ostream& out, Program const& program,
                  check::Model const& model) {
  out << "\\ soft penalty = objective + (" << check::decimal(program.constant)
      << ")\n";
  for (std::size_t j = 0; j < program.columns.size(); ++j) {
    writeComment(out, "x" + std::to_string(j + 1) + ": " +
                          textOf(model, program.columns[j].meaning));
  }
  writeProgram(out, program);
}

std::vector<double> readSolution(std::string_view text,
                                 std::size_t numColumns) {
  std::vector<double> values(numColumns);
  bool hasValue = false;
  bool const isNumbered = text.substr(0, 2) == "c ";
  bool isPrimal = true;
  while (!text.empty()) {
    const std::string_view line = check::takeUpTo('\n', text);
    auto const words = wordsOf(line);
    auto const found = isNumbered ? numberedValue(words) : namedValue(words);
    if (!found) {
      refuseHeading(line);
      // What follows these headings are other numbers of the columns.
      isPrimal =
          isPrimal && words.size() > 1 && words[0] == "#"
              ? lowered(words[1]) != "rows" && lowered(words[1]) != "dual"
              : isPrimal;
    } else if (isPrimal && found->first < numColumns) {
      values[found->first] = found->second;
      hasValue = true;
    }
  }
  if (!hasValue) {
    throw NoSolution("it has no value of a column such as x1");
  }
  return values;
}

check::Assignment assignmentOf(check::Model const& model,
                               std::vector<double> const& labels) {
  constexpr double tolerance = 0.001;
  check::Assignment assignment;
  std::size_t column = 0;
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    unsigned const size = model.values[v].size();
    unsigned value = size;
    for (unsigned a = 0; a < size; ++a, ++column) {
      double const rounded = std::round(labels[column]);
      if (std::abs(labels[column] - rounded) > tolerance || rounded < 0.0 ||
          rounded > 1.0) {
        throw NoSolution("x" + std::to_string(column + 1) + " is " +
                         std::to_string(labels[column]) + ", neither 0 nor 1");
      }
      if (rounded == 1.0) {
        if (value != size) {
          throw NoSolution("variable '" + model.variables[v] +
                           "' has two values");
        }
        value = a;
      }
    }
    if (value == size) {
      throw NoSolution("variable '" + model.variables[v] + "' has no value");
    }
    assignment.push_back(value);
  }
  return assignment;
}

}  // namespace lp
