// A recursive-descent reader with one token of look-ahead, one function for
// each statement.

#include "tools/check/model.h"

#include <algorithm>
#include <utility>

#include "tools/check/lexer.h"

namespace check {

namespace {

class Reader {
 public:
  explicit Reader(std::string_view text) : lexer(text) { advance(); }

  Model read();

 private:
  void advance() { token = lexer.next(); }
  [[noreturn]] void fail(const std::string& what) const;
  [[noreturn]] void failUnknown(const char* kind) const;
  bool atSymbol(char c) const;
  void expect(char c);
  void expect(const char* word);
  std::string takeText();
  std::string takeIdentifier(const char* what);
  int takeNumber(const char* what);
  unsigned takeVariable();
  Label takeLabel();

  void readTarget();
  void readVariable();
  void readConstraint();
  void readKind(Constraint& constraint);
  void readTerms(Constraint& constraint);
  void readRelation(Constraint& constraint);
  void readAlldiff(Constraint& constraint);

  Lexer lexer;
  Token token;  // the first one not yet used
  Model model;
};

bool isWord(const Token& token, const char* word) {
  return token.kind == Token::identifier && token.text == word;
}

void Reader::fail(const std::string& what) const {
  throw ModelError(token.line,
                   what + ", found " +
                       (token.kind == Token::end ? "the end of the model"
                                                 : "'" + token.text + "'"));
}

void Reader::failUnknown(const char* kind) const {
  throw ModelError(token.line,
                   std::string("unknown ") + kind + " '" + token.text + "'");
}

bool Reader::atSymbol(char c) const {
  return token.kind == Token::symbol && token.text[0] == c;
}

void Reader::expect(char c) {
  if (!atSymbol(c)) {
    fail(std::string("expected '") + c + "'");
  }
  advance();
}

void Reader::expect(const char* word) {
  if (!isWord(token, word)) {
    fail(std::string("expected '") + word + "'");
  }
  advance();
}

std::string Reader::takeText() {
  std::string text = std::move(token.text);
  advance();
  return text;
}

std::string Reader::takeIdentifier(const char* what) {
  if (token.kind != Token::identifier) {
    fail(std::string("expected ") + what);
  }
  return takeText();
}

int Reader::takeNumber(const char* what) {
  const std::optional<int> value = token.value();
  if (!value) {
    fail(std::string("expected ") + what + " that fits 32 bits");
  }
  advance();
  return *value;
}

unsigned Reader::takeVariable() {
  const unsigned variable = model.variables.find(token.text);
  if (variable == model.variables.size()) {
    failUnknown("variable");
  }
  advance();
  return variable;
}

Label Reader::takeLabel() {
  Label label;
  expect('(');
  if (token.kind != Token::identifier) {
    fail("expected a variable");
  }
  label.variable = takeVariable();
  expect(',');
  const Names& values = model.values[label.variable];
  label.value = values.find(token.text);
  if (label.value == values.size()) {
    failUnknown("value");
  }
  advance();
  expect(')');
  return label;
}

// The value is checked also where the statement has no further effect.
void Reader::readTarget() {
  advance();
  expect('=');
  takeNumber("a target");
}

// Any symbol but a comma closes the list of values.
void Reader::readVariable() {
  advance();
  const std::size_t line = token.line;
  const std::string name = takeIdentifier("the name of a variable");
  if (!model.variables.add(name)) {
    throw ModelError(line, "variable '" + name + "' is defined twice");
  }
  Names& values = model.values.emplace_back();
  expect("in");
  expect('{');
  for (bool more = true; more; advance()) {
    if (!values.add(token.text)) {
      throw ModelError(token.line,
                       "value '" + token.text + "' is defined twice");
    }
    advance();
    if (token.kind != Token::symbol) {
      fail("expected ',' or '}'");
    }
    more = atSymbol(',');
  }
}

void Reader::readTerms(Constraint& constraint) {
  while (token.kind == Token::number) {
    Term term;
    term.coefficient = takeNumber("a coefficient");
    term.label1 = takeLabel();
    term.label2 =
        constraint.kind == Constraint::quadratic ? takeLabel() : term.label1;
    constraint.terms.push_back(term);
  }
}

void Reader::readRelation(Constraint& constraint) {
  const bool isLess = atSymbol('<');
  const bool isGreater = atSymbol('>');
  if (isLess || isGreater) {
    advance();
  } else if (!atSymbol('=')) {
    fail("expected a term or a relation");
  }
  expect('=');
  const int bound = takeNumber("a bound");
  if (!isGreater) {
    constraint.upper = bound;
  }
  if (!isLess) {
    constraint.lower = bound;
  }
}

// Stops at the end of the text even where a variable bears the end's name.
void Reader::readAlldiff(Constraint& constraint) {
  while (token.kind != Token::symbol) {
    if (token.kind == Token::end) {
      fail("expected a variable or the symbol that closes the list");
    }
    constraint.variables.push_back(takeVariable());
  }
  advance();
}

void Reader::readKind(Constraint& constraint) {
  if (isWord(token, "linear")) {
    constraint.kind = Constraint::linear;
  } else if (isWord(token, "quadratic")) {
    constraint.kind = Constraint::quadratic;
  } else if (isWord(token, "alldiff")) {
    constraint.kind = Constraint::alldiff;
  } else {
    fail("expected 'linear', 'quadratic' or 'alldiff'");
  }
  advance();
}

void Reader::readConstraint() {
  Constraint constraint;
  constraint.line = token.line;
  constraint.name = takeText();
  expect(':');
  expect("weight");
  expect('=');
  constraint.weight = std::max(0, takeNumber("a weight"));
  expect("type");
  expect('=');
  readKind(constraint);
  if (model.variables.size() == 0) {
    throw ModelError(constraint.line, "a constraint, but no variable");
  }
  if (constraint.kind == Constraint::alldiff) {
    readAlldiff(constraint);
  } else {
    readTerms(constraint);
    readRelation(constraint);
  }
  model.constraints.push_back(std::move(constraint));
}

Model Reader::read() {
  for (;;) {
    if (isWord(token, "target")) {
      readTarget();
    } else if (isWord(token, "variable")) {
      readVariable();
    } else {
      break;
    }
  }
  while (token.kind != Token::end) {
    readConstraint();
  }
  return std::move(model);
}

}  // namespace

bool Names::add(const std::string& name) {
  const auto [node, isNew] = numbers.try_emplace(name, size());
  if (isNew) {
    names.push_back(&node->first);
  }
  return isNew;
}

unsigned Names::find(std::string_view name) const {
  const auto node = numbers.find(name);
  return node == numbers.end() ? size() : node->second;
}

Model readModel(std::string_view text) {
  return Reader(text).read();
}

}  // namespace check
