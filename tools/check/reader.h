// Reads a whole model and records every error, with what to write instead.
//
// An error is recorded exactly where the solver refuses the model. If the
// meaning is clear, reading goes on with it, so that one error is recorded
// once. Otherwise the rest of the statement is skipped.

#pragma once

#include <cstddef>
#include <deque>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/check/errors.h"
#include "tools/check/lexer.h"
#include "tools/check/model.h"
#include "tools/check/warnings.h"

namespace check {

struct Error {
  std::size_t begin = 0;  // the position of its first byte in the text
  std::size_t past = 0;   // one past its last byte; may equal `begin`
  std::string message;    // may hold any bytes of the text
};

struct Reading {
  // The number of errors kept with their messages; others are only counted.
  static constexpr std::size_t maxErrors = 100;

  Model model;                // whole if there is no error
  std::vector<Error> errors;  // ascending; the first of them, if many
  std::size_t numErrors = 0;
  Warnings warnings;
};

// The text must exist only during the call.
Reading readWhole(std::string_view text);

// The tokens of a text with arbitrary look-ahead.
class Tokens {
 public:
  explicit Tokens(std::string_view source, std::size_t start)
      : lexer(source, start) {}

  Token const& peek(std::size_t n);
  Token const& previous() const { return last; }
  void advance();

 private:
  Lexer lexer;
  std::deque<Token> ahead;
  Token last;  // the token before peek(0)
};

// reader.cpp has one function per statement; diagnose.cpp guesses the meaning
// of wrong statements.
class Reader {
 public:
  explicit Reader(std::string_view source);

  Reading read();

 private:
  // Thrown to skip the rest of a statement.
  struct Abandoned {};

  // Tokens.
  Token const& at(std::size_t n = 0) { return tokens.peek(n); }
  void advance() { tokens.advance(); }
  bool atSign(char c, std::size_t n = 0);
  bool atSymbol(std::size_t n = 0) { return at(n).kind == Token::symbol; }
  bool atWord(std::size_t n = 0) { return at(n).kind == Token::identifier; }
  bool atWord(std::string_view word, std::size_t n = 0);
  bool isTouching(std::size_t n = 0);
  bool isFirstOnLine(std::size_t n = 0);
  bool atStatement(std::size_t n = 0);
  std::string found(std::size_t n = 0);

  // Errors.
  void add(std::size_t begin, std::size_t past, std::string message);
  void note(std::size_t begin, std::size_t past, std::string message);
  void note(std::string message);
  void noteBehind(std::string message);
  [[noreturn]] void fail(std::string message);
  [[noreturn]] void failBehind(std::string message);
  void recover(std::size_t start);

  // Statements.
  void readStatement();
  void readTarget();
  void readVariable();
  void readValues(Names& values, unsigned variable);
  void readConstraint();
  Constraint::Kind readKind();
  void readHeader(Constraint& constraint);
  void readTerms(Constraint& constraint);
  void readRelation(Constraint& constraint);
  void readAlldiff(Constraint& constraint);
  bool readLabel(Label& label);
  int readNumber(std::string_view what);
  void readWord(std::string_view word, Spot spot);
  void readEquals(std::string_view word, Spot spot);

  // What was meant, in diagnose.cpp.
  bool isJoined(std::size_t n = 0);
  bool matches(std::string_view pattern);
  std::pair<std::size_t, std::size_t> bytesOf(Extent extent);
  std::string weakRelation();
  std::string placeholder(char name, std::string_view word,
                          std::string_view wanted);
  void goOn(Next next);
  // Records the error of the first matching case and continues after it; false
  // if no case matches.
  bool diagnose(Spot spot, std::string_view wanted = "");
  void checkMark();
  void checkEncoding();
  void checkListEnd(bool isAlldiff);
  void checkRelationCharacter();
  void checkAlldiffGoesOn();
  bool isNews(std::string const& name);
  void noteUnknownVariable();
  void noteUnknownValue(unsigned variable);
  Constraint::Kind guessKind();

  std::string_view text;
  Tokens tokens;
  Reading reading;
  Model& model;
  bool const isUtf8Text;
  bool isDeclaring = true;          // no constraint has been met
  std::size_t targetLine = 0;       // of the first target
  std::size_t firstConstraint = 0;  // the line of the first one
  std::vector<std::size_t> lines;   // of the variables
  std::set<unsigned> broken;        // variables whose statement has errors
  std::set<std::string> unknown;    // names already noted as unknown
};

}  // namespace check
