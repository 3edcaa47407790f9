// A recursive-descent reader, one function for each statement.

#include "tools/check/reader.h"

#include <algorithm>
#include <utility>

#include "tools/check/hints.h"
#include "tools/check/text.h"

namespace check {

Token const& Tokens::peek(std::size_t n) {
  while (ahead.size() <= n) {
    ahead.push_back(lexer.next());
  }
  return ahead[n];
}

void Tokens::advance() {
  peek(0);
  last = std::move(ahead.front());
  ahead.pop_front();
}

Reader::Reader(std::string_view source)
    : text(source),
      tokens(source, source.substr(0, 3) == "\xEF\xBB\xBF" ? 3 : 0),
      model(reading.model),
      isUtf8Text(isUtf8(source)) {}

bool Reader::atSign(char c, std::size_t n) {
  return at(n).kind == Token::symbol && at(n).text[0] == c;
}

bool Reader::atWord(std::string_view word, std::size_t n) {
  return at(n).kind == Token::identifier && at(n).text == word;
}

// Whether the token follows the one before it without a blank.
bool Reader::isTouching(std::size_t n) {
  const std::size_t past = n == 0 ? tokens.previous().past : at(n - 1).past;
  return past > 0 && at(n).begin == past && at(n).kind != Token::end;
}

bool Reader::isFirstOnLine(std::size_t n) {
  return (n == 0 ? tokens.previous().line : at(n - 1).line) < at(n).line;
}

// Whether a statement is likely to begin here.
bool Reader::atStatement(std::size_t n) {
  if (at(n).kind == Token::end) {
    return true;
  }
  if (atSign(':', n + 1)) {
    return isFirstOnLine(n) ||
           (atWord(n + 2) && isNear(at(n + 2).text, "weight"));
  }
  if (atWord("variable", n)) {
    return isFirstOnLine(n) || (atWord(n + 1) && atWord("in", n + 2));
  }
  return atWord("target", n) && atSign('=', n + 1);
}

std::string Reader::found(std::size_t n) {
  return ", found " + (at(n).kind == Token::end ? "the end of the model"
                                                : "'" + at(n).text + "'");
}

void Reader::add(std::size_t begin, std::size_t past, std::string message) {
  ++reading.numErrors;
  if (reading.errors.size() < Reading::maxErrors) {
    reading.errors.push_back({begin, past, std::move(message)});
  }
}

// If there are names in UTF-8, they are the only error to report.
void Reader::note(std::size_t begin, std::size_t past, std::string message) {
  const std::size_t first = std::min(begin, tokens.previous().begin);
  const std::size_t last = std::max(past, at().past);
  if (isUtf8Text && begin > 0 &&
      hasHighByte(text.substr(first, last - first))) {
    message =
        "the name is in UTF-8, but models are read as Shift_JIS: use ASCII, or "
        "convert the model with 'iconv -f UTF-8 -t SHIFT_JIS'";
  }
  add(begin, past, std::move(message));
}

void Reader::note(std::string message) {
  note(at().begin, at().past, std::move(message));
}

void Reader::noteBehind(std::string message) {
  const std::size_t past = tokens.previous().past;
  note(past, past, std::move(message));
}

void Reader::fail(std::string message) {
  note(std::move(message));
  throw Abandoned();
}

void Reader::failBehind(std::string message) {
  noteBehind(std::move(message));
  throw Abandoned();
}

void Reader::recover(std::size_t start) {
  if (at().begin == start) {
    advance();
  }
  while (!atStatement()) {
    advance();
  }
}

int Reader::readNumber(std::string_view what) {
  if (const std::optional<int> value = at().value()) {
    advance();
    return *value;
  }
  int const meant = atWord() ? inf : 0;
  diagnose(Spot::number, what);
  return meant;
}

void Reader::readWord(std::string_view word, Spot spot) {
  if (!atWord(word)) {
    diagnose(Spot::fraction);
    diagnose(spot == Spot::inWord ? Spot::beforeIn : Spot::beforeWord, word);
  }
  if (atWord(word)) {
    advance();
  } else {
    diagnose(spot, word);
  }
}

void Reader::readEquals(std::string_view word, Spot spot) {
  if (atSign('=')) {
    advance();
    diagnose(Spot::secondEquals);
  } else {
    diagnose(spot, word);
  }
}

// The value is checked even if the statement has no other effect.
void Reader::readTarget() {
  const std::size_t line = at().line;
  advance();
  readEquals("target", Spot::targetEquals);
  int const target = readNumber("a target");
  if (targetLine > 0) {
    reading.warnings.add(WarningKind::secondTarget, line,
                         {std::to_string(targetLine)});
  } else if (target < 0) {
    reading.warnings.add(WarningKind::negativeTarget, line);
  }
  if (targetLine == 0 && target != -1) {  // which stands for none
    targetLine = line;
    model.target = std::max(target, 0);
  }
}

// Any symbol but a comma closes the list of values.
void Reader::readValues(Names& values, unsigned variable) {
  for (bool isFirst = true;; isFirst = false) {
    // A sign is a value if another sign follows.
    if (!atWord() && at().kind != Token::number &&
        (at().kind == Token::end || !atSymbol(1))) {
      diagnose(isFirst ? Spot::firstValue : Spot::value);
      return;
    }
    if (!values.add(at().text)) {
      note("value '" + at().text + "' is defined twice in '" +
           model.variables[variable] + "'");
    }
    if (atSymbol()) {
      reading.warnings.add(WarningKind::symbolValue, at().line,
                           {at().text, model.variables[variable]});
    }
    advance();
    if (atSign(',')) {
      advance();
    } else if (atSymbol()) {
      break;
    } else {
      diagnose(Spot::separator);
      if (atStatement()) {
        return;
      }
    }
  }
  advance();
  checkListEnd(false);
}

void Reader::readVariable() {
  if (!atWord()) {
    diagnose(Spot::variableName);
  }
  const std::string name = at().text;
  bool const isNew = model.variables.add(name);
  unsigned const v = model.variables.find(name);
  Names scratch;
  if (isNew) {
    lines.push_back(at().line);
    model.values.emplace_back();
  } else {
    note("variable '" + name + "' is defined twice, first on line " +
         std::to_string(lines[v]));
  }
  advance();
  const std::size_t before = reading.numErrors;
  try {
    diagnose(Spot::joined);
    readWord("in", Spot::inWord);
    if (!atSign('{')) {
      fail("expected '{'" + found() + ": write 'variable " + name +
           " in {a, b}'");
    }
    advance();
    readValues(isNew ? model.values[v] : scratch, v);
  } catch (Abandoned const&) {
    broken.insert(v);
    throw;
  }
  if (reading.numErrors != before) {
    broken.insert(v);
  }
}

// Whether the label is one of the model.
bool Reader::readLabel(Label& label) {
  bool isKnown = true;
  if (!atSign('(')) {
    diagnose(Spot::fraction);
    diagnose(Spot::firstLabel);
  }
  advance();
  if (!atWord()) {
    fail("expected a variable" + found() + ": write (VARIABLE, VALUE)");
  }
  if (isJoined(1)) {
    diagnose(Spot::joinedNext);
  }
  label.variable = model.variables.find(at().text);
  if (label.variable == model.variables.size()) {
    noteUnknownVariable();
    isKnown = false;
  }
  advance();
  if (atSign(',')) {
    advance();
  } else {
    diagnose(Spot::comma);
  }
  if (isJoined(1) && !atSign(')')) {
    diagnose(Spot::joinedNext);
  }
  if (isKnown) {
    Names const& values = model.values[label.variable];
    label.value = values.find(at().text);
    if (label.value == values.size()) {
      noteUnknownValue(label.variable);
      isKnown = false;
    }
  }
  advance();
  if (atSign(')')) {
    advance();
  } else {
    diagnose(Spot::labelEnd);
  }
  return isKnown;
}

void Reader::readTerms(Constraint& constraint) {
  bool const isQuadratic = constraint.kind == Constraint::quadratic;
  for (;;) {
    while (at().kind != Token::number && diagnose(Spot::termSign)) {
    }
    if (at().kind != Token::number &&
        !diagnose(isQuadratic ? Spot::quadraticTerm : Spot::linearTerm)) {
      return;
    }
    Term term;
    if (at().kind == Token::number) {
      term.coefficient = readNumber("a coefficient");
    }
    bool isKnown = readLabel(term.label1);
    term.label2 = term.label1;
    if (isQuadratic) {
      if (!atSign('(')) {
        diagnose(Spot::secondLabel);
      }
      isKnown = readLabel(term.label2) && isKnown;
    }
    if (isKnown) {
      constraint.terms.push_back(term);
    }
  }
}

void Reader::readRelation(Constraint& constraint) {
  bool const isLess = atSign('<');
  bool const isGreater = atSign('>');
  checkRelationCharacter();
  if (!diagnose(Spot::relation)) {
    if (isLess || isGreater) {
      advance();
    } else if (!atSign('=')) {
      diagnose(Spot::noRelation);
    }
    advance();
  }
  int const bound = readNumber("a bound");
  if (!isGreater) {
    constraint.upper = bound;
  }
  if (!isLess) {
    constraint.lower = bound;
  }
}

// Stops at the end of the text even if a variable has the name of the end
// token.
void Reader::readAlldiff(Constraint& constraint) {
  while (!atSymbol()) {
    checkAlldiffGoesOn();
    unsigned const variable = model.variables.find(at().text);
    if (variable == model.variables.size()) {
      noteUnknownVariable();
    } else {
      constraint.variables.push_back(variable);
    }
    advance();
  }
  advance();
  checkListEnd(true);
}

Constraint::Kind Reader::readKind() {
  Constraint::Kind kind = Constraint::linear;
  if (atWord("quadratic")) {
    kind = Constraint::quadratic;
  } else if (atWord("alldiff")) {
    kind = Constraint::alldiff;
  } else if (!atWord("linear")) {
    kind = guessKind();
  }
  advance();
  return kind;
}

void Reader::readHeader(Constraint& constraint) {
  constraint.line = at().line;
  constraint.name = at().text;
  advance();
  if (atSign(':')) {
    advance();
  }
  readWord("weight", Spot::weightWord);
  readEquals("weight", Spot::weightEquals);
  bool const isDigits = at().text != "inf";
  int const weight = readNumber("a weight");
  constraint.weight = std::max(0, weight);
  if (weight <= 0) {
    reading.warnings.add(WarningKind::weightZero, constraint.line,
                         {constraint.name, std::to_string(weight)});
  } else if (weight == inf && isDigits) {
    reading.warnings.add(WarningKind::hardNumber, constraint.line,
                         {constraint.name});
  }
  readWord("type", Spot::typeWord);
  readEquals("type", Spot::typeEquals);
  constraint.kind = readKind();
}

void Reader::readConstraint() {
  Constraint constraint;
  readHeader(constraint);
  if (model.variables.size() == 0 && reading.numErrors == 0) {
    note(0, 0,
         "the model has no variables: write 'variable x in {a, b}' before the "
         "first constraint");
  }
  if (constraint.kind == Constraint::alldiff) {
    readAlldiff(constraint);
  } else {
    readTerms(constraint);
    readRelation(constraint);
  }
  model.constraints.push_back(std::move(constraint));
}

void Reader::readStatement() {
  if (isDeclaring && atWord("target")) {
    readTarget();
  } else if (isDeclaring && atWord("variable")) {
    advance();
    readVariable();
  } else if (!atSign(':', 1) && at(1).kind != Token::end &&
             diagnose(Spot::declaration)) {
    return;
  } else {
    if (!atSign(':', 1)) {
      if (diagnose(Spot::fraction)) {
        throw Abandoned();
      }
      diagnose(Spot::statement);
    }
    if (isDeclaring) {
      isDeclaring = false;
      firstConstraint = at().line;
    }
    readConstraint();
  }
}

Reading Reader::read() {
  checkMark();
  while (at().kind != Token::end) {
    const std::size_t start = at().begin;
    try {
      readStatement();
    } catch (Abandoned const&) {
      recover(start);
    }
  }
  checkEncoding();
  std::stable_sort(
      reading.errors.begin(), reading.errors.end(),
      [](Error const& a, Error const& b) { return a.begin < b.begin; });
  return std::move(reading);
}

Reading readWhole(std::string_view text) {
  return Reader(text).read();
}

}  // namespace check
