// One function for each kind of warning. Lists of values are compared once for
// the whole model, so that a long list in many constraints is cheap.

#include "tools/check/warnings.h"

#include <algorithm>
#include <map>
#include <optional>

#include "tools/check/conflicts.h"
#include "tools/check/evaluate.h"
#include "tools/check/lexer.h"
#include "tools/check/text.h"

namespace check {

namespace {

using enum WarningKind;

// Kinds with the same name are suppressed together.
struct KindCase {
  WarningKind kind;
  char const* name;
  char const* text;
};

constexpr KindCase kindCases[] = {
    {carriageReturn, "carriage-return",
     "a carriage return without a newline does not end a line: a comment may "
     "swallow the text after it"},
    {conflict, "conflict", "cannot be satisfied together: %0: %1"},
    {hardNumber, "hard-number",
     "constraint '%0' is hard: a weight of 2147483647 means inf"},
    {noConstraint, "no-constraint",
     "the model has no constraints: all assignments are equally good"},
    {noVariable, "no-variable", "the model has no variables"},
    {secondTarget, "target",
     "a second target is ignored: the first is on line %0"},
    {negativeTarget, "target", "a negative target counts as 0: remove it"},
    {weightZero, "weight-zero",
     "constraint '%0' costs nothing: its weight is %1"},
    {closingSign, "closing-sign", "'%0' closes the list of %1: write '%2'"},
    {differentValues, "different-values",
     "constraint '%0' compares value numbers, but '%1' and '%2' have different "
     "lists of values"},
    {duplicateName, "duplicate-name",
     "%0 constraints are named '%1', the first on line %2"},
    {neverSatisfied, "never-satisfied",
     "no assignment satisfies constraint '%0'%1"},
    {neverViolated, "never-violated",
     "no assignment violates constraint '%0'%1"},
    {repeatedTerm, "repeated-term",
     "constraint '%0' repeats %1; the coefficients add up"},
    {repeatedVariable, "repeated-variable",
     "constraint '%0' repeats '%1', which counts once"},
    {softTotal, "soft-total",
     "the largest soft penalties add up to %0: totals above 2147483647 are "
     "printed as that%1"},
    {startLost, "start-lost",
     "variable 'solution]' is also a word of a report's heading: read as a "
     "start, the report loses the value of '%0'"},
    {startOverwritten, "start-overwritten",
     "constraint '%0': its line in a report, read as a start, can overwrite "
     "the variable of that name"},
    {penaltyOverwritten, "start-overwritten",
     "variable 'penalty' can be overwritten by the penalty line of a report "
     "that is read as a start"},
    {symbolValue, "symbol-value", "the symbol '%0' is a value of '%1'"},
    {unusedVariable, "unused-variable", "%0 in no constraint:%1"},
    {utf8, "utf-8",
     "the text is UTF-8, but its bytes are read as Shift_JIS double-byte "
     "characters"},
};

std::string quoted(std::string const& name) {
  return "'" + name + "'";
}

// The line of the first token with a byte beyond ASCII; comments do not matter.
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

std::optional<std::size_t> firstBareReturn(std::string_view text) {
  for (std::size_t at = text.find('\r'); at < text.size();
       at = text.find('\r', at + 1)) {
    if (text.substr(at + 1, 1) != "\n" && at + 1 < text.size()) {
      return PlaceFinder(text).find(at).line;
    }
  }
  return std::nullopt;
}

class Warner {
 public:
  explicit Warner(Model const& subject) : model(subject) {}

  Warnings run();

 private:
  std::string show(Label const& label) const;
  void findLists();
  void checkLists(Constraint const& constraint);
  void checkRepeatedTerms(Constraint const& constraint);
  void checkRepeatedVariables(Constraint const& constraint);
  std::string showSum(Constraint const& constraint) const;
  void checkConflicts();
  void checkSize();
  void checkRange(Constraint const& constraint, Range const& range);
  void checkFeedback(std::string_view name, std::size_t line);
  void checkFeedbackWords();
  void checkSoftTotal(Int128 total, bool hasHard);
  void checkNames();
  void checkUnused();

  Model const& model;
  std::vector<std::size_t> lists;  // equal for variables with equal values
  Warnings warnings;
};

std::string Warner::show(Label const& label) const {
  return "(" + model.variables[label.variable] + ", " +
         model.values[label.variable][label.value] + ")";
}

bool isListBefore(Names const* a, Names const* b) {
  for (unsigned i = 0; i < std::min(a->size(), b->size()); ++i) {
    if (int const order = (*a)[i].compare((*b)[i]); order != 0) {
      return order < 0;
    }
  }
  return a->size() < b->size();
}

void Warner::findLists() {
  std::map<Names const*, std::size_t, decltype(&isListBefore)> known(
      &isListBefore);
  for (Names const& values : model.values) {
    lists.push_back(known.try_emplace(&values, known.size()).first->second);
  }
}

void Warner::checkLists(Constraint const& constraint) {
  for (unsigned const variable : constraint.variables) {
    unsigned const first = constraint.variables[0];
    if (lists[variable] != lists[first]) {
      warnings.add(
          differentValues, constraint.line,
          {constraint.name, model.variables[first], model.variables[variable]});
      return;
    }
  }
}

void Warner::checkRepeatedTerms(Constraint const& constraint) {
  const std::vector<Term> terms = sortedTerms(constraint);
  auto const repeat =
      std::adjacent_find(terms.begin(), terms.end(), hasSameLabels);
  if (repeat != terms.end()) {
    bool const isLinear = constraint.kind == Constraint::linear;
    warnings.add(repeatedTerm, constraint.line,
                 {constraint.name, show(repeat->label1) +
                                       (isLinear ? "" : show(repeat->label2))});
  }
}

void Warner::checkRepeatedVariables(Constraint const& constraint) {
  std::vector<unsigned> variables = constraint.variables;
  std::sort(variables.begin(), variables.end());
  auto const repeat = std::adjacent_find(variables.begin(), variables.end());
  if (repeat != variables.end()) {
    warnings.add(repeatedVariable, constraint.line,
                 {constraint.name, model.variables[*repeat]});
  }
}

// ": its sum is from 0 to 3"
std::string Warner::showSum(Constraint const& constraint) const {
  if (constraint.kind == Constraint::alldiff) {
    return "";
  }
  const Range sum = sumRange(model, constraint);
  return sum.least == sum.greatest ? ": its sum is always " + decimal(sum.least)
                                   : ": its sum is from " + decimal(sum.least) +
                                         " to " + decimal(sum.greatest);
}

void Warner::checkRange(Constraint const& constraint, Range const& range) {
  if (range.least > 0) {
    warnings.add(neverSatisfied, constraint.line,
                 {constraint.name, showSum(constraint)});
  } else if (range.greatest == 0) {
    warnings.add(neverViolated, constraint.line,
                 {constraint.name, showSum(constraint)});
  }
}

void Warner::checkConflicts() {
  constexpr std::size_t maxNamed = 10;
  for (Conflict const& found : findConflicts(model)) {
    Constraint const& last = model.constraints[found.last];
    if (found.constraints.size() == 1) {
      if (violationRange(model, last).least == 0) {
        warnings.add(neverSatisfied, last.line, {last.name, ""});
      }
      continue;
    }
    std::string names;
    std::size_t count = 0;
    for (const std::size_t c : found.constraints) {
      if (++count <= maxNamed) {
        names += count > 1 ? ", " : "";
        names += quoted(model.constraints[c].name) + " (line " +
                 std::to_string(model.constraints[c].line) + ")";
      }
    }
    if (count > maxNamed) {
      names += " and " + std::to_string(count - maxNamed) + " more";
    }
    warnings.add(conflict, last.line, {names, found.chain});
  }
}

void Warner::checkSize() {
  if (model.variables.size() == 0) {
    warnings.add(noVariable, 0);
  }
  if (model.constraints.empty()) {
    warnings.add(noConstraint, 0);
  }
}

// A number that a report can print after a name.
bool isPrintable(std::string const& text, int least) {
  const Token token{Token::number, text, 0};
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= '0' && c <= '9'; }) &&
         token.value().value_or(-1) >= least;
}

bool hasPrintable(Names const& values, int least) {
  return std::ranges::any_of(values.all(), [least](std::string const* value) {
    return isPrintable(*value, least);
  });
}

// The line of a violated constraint is read as a pair of the variable with the
// same name.
void Warner::checkFeedback(std::string_view name, std::size_t line) {
  unsigned const v = model.variables.find(name);
  if (v < model.variables.size() && hasPrintable(model.values[v], 1)) {
    warnings.add(startOverwritten, line, {name});
  }
}

// The name of a variable consumes the next token unless that is a colon, and
// the last word of a report's heading precedes the first variable.
void Warner::checkFeedbackWords() {
  unsigned const size = model.variables.size();
  unsigned const penalty = model.variables.find("penalty");
  if (penalty < size && hasPrintable(model.values[penalty], 0)) {
    warnings.add(penaltyOverwritten, 0);
  }
  if (model.variables.find("solution]") < size) {
    warnings.add(startLost, 0, {model.variables[0]});
  }
}

void Warner::checkSoftTotal(Int128 total, bool hasHard) {
  if (total > inf) {
    warnings.add(
        softTotal, 0,
        {decimal(total), hasHard ? ", and soft penalties can outweigh a hard "
                                   "constraint's weight in the search"
                                 : ""});
  }
}

void Warner::checkNames() {
  std::map<std::string_view, std::vector<std::size_t>> lines;
  for (Constraint const& constraint : model.constraints) {
    lines[constraint.name].push_back(constraint.line);
  }
  for (auto const& [name, uses] : lines) {
    checkFeedback(name, uses[0]);
    if (uses.size() > 1) {
      warnings.add(
          duplicateName, uses[1],
          {std::to_string(uses.size()), name, std::to_string(uses[0])});
    }
  }
}

void Warner::checkUnused() {
  std::vector<bool> isUsed(model.variables.size());
  for (Constraint const& constraint : model.constraints) {
    for (unsigned const variable : namedVariables(constraint)) {
      isUsed[variable] = true;
    }
  }
  std::string names;
  unsigned count = 0;
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    if (!isUsed[v] && ++count <= 10) {
      names += (count == 1 ? " " : ", ") + quoted(model.variables[v]);
    }
  }
  if (count > 0 && !model.constraints.empty()) {
    warnings.add(unusedVariable, 0,
                 {std::to_string(count), names + (count > 10 ? ", ..." : "")});
  }
}

Warnings Warner::run() {
  findLists();
  Int128 softTotal = 0;
  bool hasHard = false;
  for (Constraint const& constraint : model.constraints) {
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
  checkSize();
  checkConflicts();
  checkSoftTotal(softTotal, hasHard);
  checkNames();
  checkFeedbackWords();
  checkUnused();
  return std::move(warnings);
}

}  // namespace

void Warnings::add(WarningKind kind, std::size_t line,
                   std::initializer_list<std::string_view> details) {
  constexpr std::size_t maxOfName = 20;
  auto const& [_, name, text] = *std::find_if(
      std::begin(kindCases), std::end(kindCases),
      [kind](KindCase const& known) { return known.kind == kind; });
  if (++counts[name] <= maxOfName) {
    list.push_back({name, line, filledIn(text, [&](char digit) {
                      return std::string(details.begin()[digit - '0']);
                    })});
  }
}

void Warnings::append(Warnings const& more) {
  list.insert(list.end(), more.list.begin(), more.list.end());
  for (auto const& [name, count] : more.counts) {
    counts[name] += count;
  }
}

std::vector<Warning> Warnings::take(std::vector<std::string> const& unwanted) {
  auto const isUnwanted = [&](Warning const& warning) {
    return std::find(unwanted.begin(), unwanted.end(), warning.name) !=
           unwanted.end();
  };
  for (Warning const& warning : list) {
    --counts[warning.name];
  }
  std::stable_sort(
      list.begin(), list.end(),
      [](Warning const& a, Warning const& b) { return a.line < b.line; });
  for (auto const& [name, count] : counts) {
    if (count > 0) {
      list.push_back({name, 0, std::to_string(count) + " more like these"});
    }
  }
  list.erase(std::remove_if(list.begin(), list.end(), isUnwanted), list.end());
  return std::move(list);
}

std::vector<std::string> warningNames() {
  std::vector<std::string> names;
  for (KindCase const& known : kindCases) {
    names.emplace_back(known.name);
  }
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

Warnings textWarnings(std::string_view text) {
  Warnings warnings;
  if (hasHighByte(text) && isUtf8(text)) {
    if (auto const line = firstHighLine(text)) {
      warnings.add(utf8, *line);
    }
  }
  if (auto const line = firstBareReturn(text)) {
    warnings.add(carriageReturn, *line);
  }
  return warnings;
}

Warnings modelWarnings(Model const& model) {
  return Warner(model).run();
}

}  // namespace check
