// The lexer reads from the buffer of its stream: `peek` looks at the next
// character and `take` consumes it. Lines are counted only in `take` and at the
// end of a comment. So a character that ends a token is not consumed with it,
// and a newline counts when the token after it is read.

#include "front/lexer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <streambuf>
#include <system_error>

namespace {

constexpr int endOfInput = std::char_traits<char>::eof();

enum : unsigned char { blank = 1, digit = 2, word = 4, lead = 8 };

constexpr std::array<unsigned char, 256> classify() {
  std::array<unsigned char, 256> classes{};
  for (char const* c = " \t\n\v\f\r"; *c != '\0'; ++c) {
    classes[static_cast<unsigned char>(*c)] = blank;
  }
  for (unsigned c = '0'; c <= '9'; ++c) {
    classes[c] = digit | word;
  }
  for (unsigned c = 'a'; c <= 'z'; ++c) {
    classes[c] = classes[c - 'a' + 'A'] = word;
  }
  classes['_'] = classes['['] = classes[']'] = classes['@'] = word;
  for (unsigned c = 0x81; c <= 0xFC; ++c) {
    if (c <= 0x9F || c >= 0xE0) {
      classes[c] = word | lead;
    }
  }
  return classes;
}

constexpr std::array<unsigned char, 256> classes = classify();

// `c` as peek() returns it.
bool is(unsigned char wanted, int c) {
  return c != endOfInput && (classes[static_cast<unsigned>(c)] & wanted) != 0;
}

/// The characters available in the buffer of a stream. Whole words are taken
/// from there at once; at the end of the buffer, words are read by character.
struct Window : std::streambuf {
  static char const* begin(std::streambuf const& buffer) {
    return (buffer.*(&Window::gptr))();
  }
  static char const* end(std::streambuf const& buffer) {
    constexpr std::ptrdiff_t maxSize = 1 << 30;  // an advance is an int
    char const* const first = begin(buffer);
    return first + std::min((buffer.*(&Window::egptr))() - first, maxSize);
  }
  static void advance(std::streambuf& buffer, std::ptrdiff_t count) {
    (buffer.*(&Window::gbump))(static_cast<int>(count));
  }
};

}  // namespace

Lexer::Lexer(std::istream& input, int firstLine, int infinity)
    : stream(input),
      line(firstLine),
      inf(infinity),
      buffer(input.rdbuf()),
      state(input) {
  // Larger than a string's internal storage, so that a swap moves no
  // characters.
  constexpr std::size_t usualLength = 64;
  text.reserve(usualLength);
  previousText.reserve(usualLength);
}

void Lexer::getnext() {
  if (pushedBack) {
    pushedBack = false;
    kind = pushedKind;
    text = pushedText;
    tokenLine = pushedLine;
    return;
  }
  previousKind = kind;
  previousText.swap(text);  // both strings keep their storage
  previousLine = tokenLine;
  text.clear();
  skipBlanks();
  readToken();
  tokenLine = line;
}

Lexer::token Lexer::next(char c, std::string const& message) {
  getnext();
  if (kind != symbol || text[0] != c) {
    error(message);
  }
  return symbol;
}

Lexer::token Lexer::next(token k, std::string const& message) {
  getnext();
  if (k != eof && kind != k) {
    error(message);
  }
  return kind;
}

void Lexer::error(std::string const& message) const {
  throw std::runtime_error("parse error befor/at `" + text + "'" + message);
}

int Lexer::i() const {
  if (text == "inf") {
    return inf;
  }
  int const value = static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
  return value > inf ? inf : value;
}

bool Lexer::fitsInt() const {
  if (text == "inf") {
    return true;
  }
  char const* first = text.data() + (text.starts_with('+') ? 1 : 0);
  int value = 0;
  return std::from_chars(first, text.data() + text.size(), value).ec ==
         std::errc();
}

void Lexer::unget() {
  if (pushedBack) {
    throw std::runtime_error("buffer is full.");
  }
  pushedBack = true;
  pushedKind = kind;
  pushedText = text;
  pushedLine = tokenLine;
  kind = previousKind;
  text = previousText;
  tokenLine = previousLine;
}

// The next character, 0 to 255, or endOfInput. The end is recorded in the
// stream because a terminal could deliver more after it.
inline int Lexer::peek() {
  if (!state.good()) {
    return endOfInput;
  }
  int const c = buffer->sgetc();
  if (c == endOfInput) {
    state.setstate(std::ios_base::eofbit);
  }
  return c;
}

// Consumes the character that peek() has returned.
inline char Lexer::take() {
  int const c = buffer->sbumpc();
  if (c == '\n') {
    countLine();
  }
  return static_cast<char>(c);
}

void Lexer::countLine() {
  if (line < std::numeric_limits<int>::max()) {
    ++line;
  }
}

void Lexer::skipBlanks() {
  for (int c = peek(); c == '#' || is(blank, c); c = peek()) {
    if (c == '#') {
      skipComment();
    } else {
      take();
    }
  }
}

// A comment ends a line even at the end of the input.
void Lexer::skipComment() {
  while (peek() != endOfInput) {
    if (take() == '\n') {
      return;
    }
  }
  countLine();
}

void Lexer::readToken() {
  int const c = peek();
  if (c == endOfInput) {
    readEnd();
  } else if (is(digit, c)) {
    readDigitsOrWord();
  } else if (is(word, c)) {
    readWord();
  } else if (c == '+' || c == '-') {
    readSign();
  } else {
    readSymbol();
  }
}

void Lexer::readEnd() {
  kind = eof;
  text = "EOF";
}

// A sign belongs to the digits that it touches and otherwise stands alone.
void Lexer::readSign() {
  readSymbol();
  if (is(digit, peek())) {
    readDigits();
    kind = number;
  }
}

// Appends a run of digits without its leading zeros.
void Lexer::readDigits() {
  const std::size_t first = text.size();
  for (int c = peek(); is(digit, c); c = peek()) {
    if (text.size() == first + 1 && text[first] == '0') {
      text.pop_back();
    }
    text.push_back(take());
  }
}

void Lexer::readDigitsOrWord() {
  readDigits();
  const std::size_t numDigits = text.size();
  appendWord();
  kind = text.size() == numDigits ? number : identifier;
}

void Lexer::readWord() {
  appendWord();
  kind = text == "inf" ? number : identifier;
}

// The plain part of a word: no double-byte characters.
void Lexer::appendPlainWord() {
  char const* const first = Window::begin(*buffer);
  char const* const end = Window::end(*buffer);
  char const* last = first;
  while (last != end &&
         (classes[static_cast<unsigned char>(*last)] & (word | lead)) == word) {
    ++last;
  }
  text.append(first, last);
  Window::advance(*buffer, last - first);
}

void Lexer::appendWord() {
  appendPlainWord();
  for (int c = peek(); is(word, c); c = peek()) {
    text.push_back(take());
    if (is(lead, c) && peek() != endOfInput) {
      text.push_back(take());
    }
  }
}

void Lexer::readSymbol() {
  text.push_back(take());
  kind = symbol;
}
