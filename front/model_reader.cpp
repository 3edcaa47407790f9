// A recursive-descent reader: one function per statement and per constraint
// body. A function that reads the rest of a statement starts after the token
// that selected it.

#include "front/model_reader.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "constraints/wcsp_alldiff.h"
#include "constraints/wcsp_linear.h"
#include "constraints/wcsp_quadratic.h"

namespace {

/// Creating a string for each of millions of tokens would cost time.
const std::string noMessage;

struct ModelReader {
  Lexer& lexer;
  Wcsp& solver;
  Dictionary& variables;
  std::vector<Dictionary*>& values;
  std::vector<std::string>& constraintName;
  int& target;
  std::vector<unsigned> numValues;  // domain sizes of the variables so far

  struct Label {
    unsigned variable;
    unsigned value;
  };

  void read();
  void readDeclarations();
  void readTarget();
  void readVariable();
  void readDomain();
  void readConstraint();
  void readLinear(int weight);
  void readQuadratic(int weight);
  void readAlldiff(int weight);
  void readRelation(int& lower, int& upper);
  Label readLabel();
  void expect(char const* word);
  int readNumber();
  int currentNumber() const;
};

void ModelReader::read() {
  readDeclarations();
  solver.initialize(static_cast<unsigned>(variables.size()), numValues);
  for (lexer.getnext(); lexer.kind != Lexer::eof; lexer.getnext()) {
    readConstraint();
  }
}

void ModelReader::readDeclarations() {
  for (lexer.getnext(); lexer.kind != Lexer::eof; lexer.getnext()) {
    if (lexer.text == "target") {
      readTarget();
    } else if (lexer.text == "variable") {
      readVariable();
    } else {
      lexer.unget();
      return;
    }
  }
}

void ModelReader::readTarget() {
  lexer.next('=', noMessage);
  int const value = readNumber();
  if (target == -1) {
    target = value;
  }
}

void ModelReader::readVariable() {
  lexer.next(Lexer::identifier, noMessage);
  variables.add(lexer.text);
  expect("in");
  lexer.next('{', noMessage);
  readDomain();
  numValues.push_back(static_cast<unsigned>(values.back()->size()));
}

// Consecutive variables often have equal domains. These share a dictionary, and
// each name is compared instead of looked up.
void ModelReader::readDomain() {
  const std::size_t lastSize = values.empty() ? 0 : values.back()->size();
  std::size_t numShared = 0;  // names that equal the last domain's
  std::unique_ptr<Dictionary> names;
  auto const makeNames = [&] {
    names = std::make_unique<Dictionary>();
    for (std::size_t a = 0; a < numShared; ++a) {
      names->add(*values.back()->names[a]);
    }
  };
  do {
    lexer.next(Lexer::eof, noMessage);
    if (!names && numShared < lastSize &&
        *values.back()->names[numShared] == lexer.text) {
      ++numShared;
    } else {
      if (!names) {
        makeNames();
      }
      names->add(lexer.text);
    }
    lexer.next(Lexer::symbol, noMessage);
  } while (lexer.text == ",");
  if (!names && numShared < lastSize) {
    makeNames();
  }
  values.push_back(names ? names.get() : values.back());
  names.release();
}

void ModelReader::readConstraint() {
  constraintName.push_back(lexer.text);
  lexer.next(':', noMessage);
  expect("weight");
  lexer.next('=', noMessage);
  int const weight = std::max(readNumber(), 0);
  expect("type");
  lexer.next('=', noMessage);
  lexer.next(Lexer::identifier, noMessage);
  if (lexer.text == "linear") {
    readLinear(weight);
  } else if (lexer.text == "quadratic") {
    readQuadratic(weight);
  } else if (lexer.text == "alldiff") {
    readAlldiff(weight);
  } else {
    throw std::runtime_error(lexer.text + ": unknown constraint type\n");
  }
}

void ModelReader::readLinear(int weight) {
  auto* linear = new WcspLinear(&solver, weight);
  for (lexer.getnext(); lexer.kind == Lexer::number; lexer.getnext()) {
    int const coefficient = currentNumber();
    const Label label = readLabel();
    linear->terms.push_back({coefficient, label.variable, label.value});
  }
  readRelation(linear->lower, linear->upper);
}

void ModelReader::readQuadratic(int weight) {
  auto* quadratic = new WcspQuadratic(&solver, weight);
  for (lexer.getnext(); lexer.kind == Lexer::number; lexer.getnext()) {
    int const coefficient = currentNumber();
    auto const [x, a] = readLabel();
    auto const [y, b] = readLabel();
    quadratic->terms.push_back({coefficient, x, a, y, b});
  }
  readRelation(quadratic->lower, quadratic->upper);
}

void ModelReader::readAlldiff(int weight) {
  auto* alldiff = new WcspAlldiff(&solver, weight);
  for (lexer.getnext(); lexer.kind != Lexer::symbol; lexer.getnext()) {
    unsigned const v = variables.getId(lexer.text, false);
    if (lexer.kind == Lexer::eof) {  // and a variable has the name "EOF"
      lexer.error(noMessage);
    }
    alldiff->variables.push_back(v);
    alldiff->maxValue = std::max(alldiff->maxValue, solver.getNumValues(v) - 1);
  }
}

// Starts at the current token.
void ModelReader::readRelation(int& lower, int& upper) {
  char const relation = lexer.text[0];
  if (relation == '=') {
    lower = upper = readNumber();
  } else if (relation == '>') {
    lexer.next('=', noMessage);
    lower = readNumber();
  } else if (relation == '<') {
    lexer.next('=', noMessage);
    upper = readNumber();
  } else {
    lexer.error(noMessage);
  }
}

ModelReader::Label ModelReader::readLabel() {
  lexer.next('(', noMessage);
  lexer.next(Lexer::identifier, noMessage);
  unsigned const v = variables.getId(lexer.text, false);
  lexer.next(',', noMessage);
  lexer.next(Lexer::eof, noMessage);
  unsigned const a = values[v]->getId(lexer.text, false);
  lexer.next(')', noMessage);
  return {v, a};
}

void ModelReader::expect(char const* word) {
  lexer.next(Lexer::identifier, noMessage);
  if (lexer.text != word) {
    lexer.error(noMessage);
  }
}

int ModelReader::readNumber() {
  lexer.next(Lexer::number, noMessage);
  return currentNumber();
}

int ModelReader::currentNumber() const {
  if (!lexer.fitsInt()) {
    lexer.error(noMessage);
  }
  return lexer.i();
}

}  // namespace

void readModel(Lexer& lexer, Wcsp& solver, Dictionary& variables,
               std::vector<Dictionary*>& values,
               std::vector<std::string>& constraintName, int& target) {
  ModelReader{lexer, solver, variables, values, constraintName, target, {}}
      .read();
}
