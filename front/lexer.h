// Cuts a character stream into the tokens of the modelling language, which the
// model file and the initial solution file share.
//
// The lexer looks ahead by one character only, so a model can be typed at a
// terminal. Every byte belongs to a token, to white space or to a comment, so
// no text makes the lexer fail.

#pragma once

#include <istream>
#include <string>

/// The current token, the one before it, and one that was pushed back.
///
/// Words consist of ASCII letters and digits, '_', '[', ']', '@' and Shift_JIS
/// double-byte characters: a lead byte and any following byte. Comments extend
/// from '#' to the end of the line.
class Lexer {
 public:
  enum token {
    eof,         ///< end of input, text "EOF"; stays once reached
    number,      ///< an integer of any length in decimal form, or "inf"
    identifier,  ///< a word
    symbol       ///< any other single character
  };

  std::istream& stream;      ///< not owned
  int line;                  ///< the line of the next character
  int inf;                   ///< what "inf" stands for, and the ceiling of i()
  bool pushedBack = false;   ///< whether a pushed-back token waits
  token kind = eof;          ///< kind of the current token
  token previousKind = eof;  ///< kind of the token before it
  token pushedKind = eof;    ///< kind of the pushed-back token
  std::string text;          ///< the current token; its sign included
  std::string previousText;  ///< the token before it
  std::string pushedText;    ///< the pushed-back token
  int tokenLine = 0;         ///< line on which the current token ends
  int previousLine = 0;      ///< the same of the token before it
  int pushedLine = 0;        ///< the same of the pushed-back token

  /// Starts before the first token of `input`, at line `firstLine`.
  Lexer(std::istream& input, int firstLine, int infinity);

  /// Makes the next token current. If the input cannot be read, passes on the
  /// exception of its buffer, which is std::ios_base::failure for a file.
  void getnext();

  /// Reads the next token; calls error(message) unless it is the symbol `c`.
  token next(char c, std::string const& message);

  /// Reads the next token; calls error(message) unless it is of kind `k`.
  /// `eof` accepts any token. Returns the token's kind.
  token next(token k, std::string const& message);

  /// Throws the std::runtime_error that names the current token as misplaced.
  [[noreturn]] void error(std::string const& message) const;

  /// The value of the current number token, at most `inf`.
  int i() const;

  /// Whether the current number token is "inf" or, with its sign, fits an int.
  bool fitsInt() const;

  /// Pushes the current token back for the next getnext() and makes the
  /// previous one current. Throws std::runtime_error if a token is already
  /// pushed back.
  void unget();

 private:
  // Looked up once, because a stream reaches them through several pointers.
  std::streambuf* buffer;
  std::ios& state;

  int peek();
  char take();
  void countLine();
  void skipBlanks();
  void skipComment();
  void readToken();
  void readEnd();
  void readSign();
  void readDigits();
  void readDigitsOrWord();
  void readWord();
  void appendPlainWord();
  void appendWord();
  void readSymbol();
};
