// One function for each kind of warning. Lists of values are compared once for
// the whole model, so that a long list in many constraints costs nothing.

#include "tools/check/warnings.h"

#include <algorithm>
#include <map>
#include <optional>

#include "tools/check/evaluate.h"
#include "tools/check/lexer.h"
#include "tools/check/output.h"
#include "tools/check/text.h"

namespace check {

namespace {

std::string quoted(const std::string& name) {
  return "'" + name + "'";
}

std::string title(const Constraint& constraint) {
  return "constraint " + quoted(constraint.name);
}

// The line of the first token with a byte beyond ASCII: comments are free.
std::optional<std::size_t> firstHighLine(std::string_view text) {
  Lexer lexer(text);
  for (Token token = lexer.next(); token.kind != Token::end;
       token = lexer.next()) {
    if (hasHighByte(token.text)) {
      return token.line;
    }
  }
  return std::nullopt;
}

class Warner {
 public:
  explicit Warner(const Model& subject) : model(subject) {}

  std::vector<Warning> run();

 private:
  void warn(const char* kind, std::size_t line, std::string message) {
    warnings.push_back({kind, line, std::move(message)});
  }
  std::string show(const Label& label) const;
  void findLists();
  void checkLists(const Constraint& constraint);
  void checkRepeatedTerms(const Constraint& constraint);
  void checkRepeatedVariables(const Constraint& constraint);
  void checkRange(const Constraint& constraint, const Range& range);
  void checkFeedback(std::string_view name, std::size_t line);
  void checkFeedbackWords();
  void checkSoftTotal(Int128 total, bool hasHard);
  void checkNames();
  void checkUnused();

  const Model& model;
  std::vector<std::size_t> lists;  // equal for variables with equal values
  std::vector<Warning> warnings;
};

std::string Warner::show(const Label& label) const {
  return "(" + model.variables[label.variable] + ", " +
         model.values[label.variable][label.value] + ")";
}

bool isListBefore(const Names* a, const Names* b) {
  for (unsigned i = 0; i < std::min(a->size(), b->size()); ++i) {
    if (const int order = (*a)[i].compare((*b)[i]); order != 0) {
      return order < 0;
    }
  }
  return a->size() < b->size();
}

void Warner::findLists() {
  std::map<const Names*, std::size_t, decltype(&isListBefore)> known(
      &isListBefore);
  for (const Names& values : model.values) {
    lists.push_back(known.try_emplace(&values, known.size()).first->second);
  }
}

void Warner::checkLists(const Constraint& constraint) {
  for (const unsigned variable : constraint.variables) {
    const unsigned first = constraint.variables[0];
    if (lists[variable] != lists[first]) {
      warn("different-values", constraint.line,
           title(constraint) + " compares value numbers, but " +
               quoted(model.variables[first]) + " and " +
               quoted(model.variables[variable]) +
               " have different lists of values");
      return;
    }
  }
}

void Warner::checkRepeatedTerms(const Constraint& constraint) {
  const std::vector<Term> terms = sortedTerms(constraint);
  const auto repeat =
      std::adjacent_find(terms.begin(), terms.end(), hasSameLabels);
  if (repeat != terms.end()) {
    const bool isLinear = constraint.kind == Constraint::linear;
    warn("repeated-term", constraint.line,
         title(constraint) + " repeats " + show(repeat->label1) +
             (isLinear ? "" : show(repeat->label2)) +
             "; the coefficients add up");
  }
}

void Warner::checkRepeatedVariables(const Constraint& constraint) {
  std::vector<unsigned> variables = constraint.variables;
  std::sort(variables.begin(), variables.end());
  const auto repeat = std::adjacent_find(variables.begin(), variables.end());
  if (repeat != variables.end()) {
    warn("repeated-variable", constraint.line,
         title(constraint) + " repeats " + quoted(model.variables[*repeat]) +
             ", which counts once");
  }
}

void Warner::checkRange(const Constraint& constraint, const Range& range) {
  if (range.least > 0) {
    warn("never-satisfied", constraint.line,
         "no assignment satisfies " + title(constraint));
  } else if (range.greatest == 0) {
    warn("never-violated", constraint.line,
         "no assignment violates " + title(constraint));
  }
}

// A count that a report can print behind a name.
bool isPrintable(const std::string& text, int least) {
  const Token token{Token::number, text, 0};
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= '0' && c <= '9'; }) &&
         token.value().value_or(-1) >= least;
}

bool hasPrintable(const Names& values, int least) {
  for (unsigned i = 0; i < values.size(); ++i) {
    if (isPrintable(values[i], least)) {
      return true;
    }
  }
  return false;
}

// The line of a violated constraint reads as one of the variable of its name.
void Warner::checkFeedback(std::string_view name, std::size_t line) {
  const unsigned v = model.variables.find(name);
  if (v < model.variables.size() && hasPrintable(model.values[v], 1)) {
    warn("start-overwritten", line,
         "constraint " + quoted(model.variables[v]) +
             ": its line in a report, read as a start, can overwrite the "
             "variable of that name");
  }
}

// A variable's name drops the token after it unless that is a colon, and the
// last word of a report's heading stands before the first variable.
void Warner::checkFeedbackWords() {
  const unsigned size = model.variables.size();
  const unsigned penalty = model.variables.find("penalty");
  if (penalty < size && hasPrintable(model.values[penalty], 0)) {
    warn("start-overwritten", 0,
         "variable 'penalty' can be overwritten by the penalty line of a "
         "report that is read as a start");
  }
  if (model.variables.find("solution]") < size) {
    warn("start-lost", 0,
         "variable 'solution]' is also a word of a report's heading: read as "
         "a start, the report loses the value of " +
             quoted(model.variables[0]));
  }
}

void Warner::checkSoftTotal(Int128 total, bool hasHard) {
  if (total > inf) {
    warn("soft-total", 0,
         "the largest soft penalties add up to " + decimal(total) +
             ": totals above 2147483647 are printed as that" +
             (hasHard ? ", and soft penalties can outweigh a hard constraint's "
                        "weight in the search"
                      : ""));
  }
}

void Warner::checkNames() {
  std::map<std::string_view, std::vector<std::size_t>> lines;
  for (const Constraint& constraint : model.constraints) {
    lines[constraint.name].push_back(constraint.line);
  }
  for (const auto& [name, uses] : lines) {
    checkFeedback(name, uses[0]);
    if (uses.size() > 1) {
      warn("duplicate-name", uses[1],
           std::to_string(uses.size()) + " constraints are named " +
               quoted(std::string(name)) + ", the first on line " +
               std::to_string(uses[0]));
    }
  }
}

void Warner::checkUnused() {
  std::vector<bool> isUsed(model.variables.size());
  for (const Constraint& constraint : model.constraints) {
    for (const unsigned variable : constraint.variables) {
      isUsed[variable] = true;
    }
    for (const Term& term : constraint.terms) {
      isUsed[term.label1.variable] = isUsed[term.label2.variable] = true;
    }
  }
  std::string names;
  unsigned count = 0;
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    if (!isUsed[v] && ++count <= 10) {
      names += (count == 1 ? " " : ", ") + quoted(model.variables[v]);
    }
  }
  if (count > 0) {
    warn("unused-variable", 0,
         std::to_string(count) + " in no constraint:" + names +
             (count > 10 ? ", ..." : ""));
  }
}

std::vector<Warning> Warner::run() {
  findLists();
  Int128 softTotal = 0;
  bool hasHard = false;
  for (const Constraint& constraint : model.constraints) {
    const Range range = violationRange(model, constraint);
    checkRepeatedTerms(constraint);
    checkRepeatedVariables(constraint);
    checkLists(constraint);
    checkRange(constraint, range);
    if (constraint.weight == inf) {
      hasHard = true;
    } else {
      softTotal += constraint.weight * std::min<Int128>(range.greatest, inf);
    }
  }
  checkSoftTotal(softTotal, hasHard);
  checkNames();
  checkFeedbackWords();
  checkUnused();
  std::stable_sort(
      warnings.begin(), warnings.end(),
      [](const Warning& a, const Warning& b) { return a.line < b.line; });
  return std::move(warnings);
}

}  // namespace

const std::vector<std::string>& warningKinds() {
  static const std::vector<std::string> kinds = {"closing-sign",
                                                 "different-values",
                                                 "duplicate-name",
                                                 "never-satisfied",
                                                 "never-violated",
                                                 "repeated-term",
                                                 "repeated-variable",
                                                 "soft-total",
                                                 "start-lost",
                                                 "start-overwritten",
                                                 "symbol-value",
                                                 "unused-variable",
                                                 "utf-8"};
  return kinds;
}

std::vector<Warning> textWarnings(std::string_view text) {
  std::vector<Warning> warnings;
  if (hasHighByte(text) && isUtf8(text)) {
    if (const auto line = firstHighLine(text)) {
      warnings.push_back({"utf-8", *line,
                          "the text is UTF-8, but its bytes are read as "
                          "Shift_JIS double-byte characters"});
    }
  }
  return warnings;
}

std::vector<Warning> modelWarnings(const Model& model) {
  return Warner(model).run();
}

}  // namespace check
