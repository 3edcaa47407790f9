// The tokens of the modelling language, read from a text held in memory.
//
// Bytes are classified as in the C locale. A lead byte of Shift_JIS forms a
// double-byte character with the next byte, whatever that is. Every byte
// belongs to a token, to white space or to a comment, so the lexer never fails.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace check {

// Whether the byte opens a double-byte character.
bool isLeadByte(char c);

struct Token {
  enum Kind { end, number, identifier, symbol };

  Kind kind = end;
  std::string text;       // numbers lose their leading zeros; "EOF" at the end
  std::size_t line = 0;   // the line on which the token ends, from 1
  std::size_t begin = 0;  // the position of its first byte
  std::size_t past = 0;   // one past its last byte

  // The value of a number token; empty for other tokens and for numbers that do
  // not fit an int.
  std::optional<int> value() const;
};

class Lexer {
 public:
  // The text must outlive the lexer.
  explicit Lexer(std::string_view source, std::size_t start = 0)
      : text(source), position(start) {}

  // The next token; at the end of the text, always the end token.
  Token next();

 private:
  void skipBlanks();
  void take(std::string& into);
  void takeDigits(std::string& into);
  bool takeWord(std::string& into);
  bool atDigit() const;

  std::string_view text;
  std::size_t position;  // of the first byte not yet read
  std::size_t line = 1;  // 1 + the newlines read
};

}  // namespace check
