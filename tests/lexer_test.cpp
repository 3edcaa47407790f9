// Text against its tokens: every rule of the lexer as a row of a table, and the
// operations that a table cannot show.

#include "front/lexer.h"

#include <gtest/gtest.h>

#include <ios>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>

namespace {

using namespace std::string_literals;

// Tokens as kind (n, i, s), text and, where it changes, the line; then the line
// of the end.
std::string tokens(std::string const& text) {
  std::istringstream stream(text);
  Lexer lexer(stream, 1, 2147483647);
  std::string result;
  int line = 1;
  for (lexer.getnext(); lexer.kind != Lexer::eof; lexer.getnext()) {
    result += " nis"[lexer.kind] + lexer.text;
    if (lexer.tokenLine != line) {
      line = lexer.tokenLine;
      result += "/" + std::to_string(line);
    }
    result += ' ';
  }
  EXPECT_EQ(lexer.text, "EOF");
  return result + std::to_string(lexer.tokenLine);
}

TEST(Lexer, CutsTextIntoTokens) {
  const struct {
    std::string text;
    std::string expected;
  } rows[] = {
      {"", "1"},
      {"x1,x2", "ix1 s, ix2 1"},
      {"x[3][4]a_b@", "ix[3][4]a_b@ 1"},
      {"<= \t\v\f\r>=", "s< s= s> s= 1"},
      {"inf inf2 Inf -inf", "ninf iinf2 iInf s- ninf 1"},
      {"- 5 -5x +5 -- +", "s- n5 n-5 ix n+5 s- s- s+ 1"},
      {"007 00 +007 -0 -00", "n7 n0 n+7 n-0 n-0 1"},
      {"007abc 2nd 0x 00_ 5inf", "i7abc i2nd i0x i0_ i5inf 1"},
      {"2147483648 000123456789012345678901",
       "n2147483648 n123456789012345678901 1"},
      {"-99999999999x", "n-99999999999 ix 1"},
      {"a\n\nb", "ia ib/3 3"},
      {"a\n", "ia 2"},
      {"3 # comment", "n3 2"},
      {"x#note\n#\n#\ny", "ix iy/4 4"},
      {"#", "2"},
      {"\x81,\x9F#\xE0 \xFC\n,", "i\x81,\x9F#\xE0 \xFC\n/2 s, 2"},
      {"7\x83\\ \x83", "i7\x83\\ i\x83 1"},
      {"+\x81\x30", "s+ i\x81\x30 1"},
      {"\x80 \xA0 \xDF \xFD \xFF", "s\x80 s\xA0 s\xDF s\xFD s\xFF 1"},
      {"\0\x1Az"s, "s\0 s\x1A iz 1"s},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(tokens(row.text), row.expected) << "text: " << row.text;
  }
}

TEST(Lexer, ValuesAreCappedAndTested) {
  const struct {
    char const* text;
    int inf;
    int value;
    bool fits;
  } rows[] = {
      {"inf", 50, 50, true},
      {"99", 50, 50, true},
      {"-99", 50, -99, true},
      {"+7", 50, 7, true},
      {"2147483647", 2147483647, 2147483647, true},
      {"+2147483648", 2147483647, -2147483647 - 1, false},
      {"-2147483648", 2147483647, -2147483647 - 1, true},
      {"-2147483649", 2147483647, 2147483647, false},
      {"4294967297", 2147483647, 1, false},
      {"99999999999999999999", 2147483647, -1, false},
  };
  for (auto const& row : rows) {
    std::istringstream stream(row.text);
    Lexer lexer(stream, 1, row.inf);
    lexer.getnext();
    EXPECT_EQ(lexer.i(), row.value) << row.text;
    EXPECT_EQ(lexer.fitsInt(), row.fits) << row.text;
  }
}

TEST(Lexer, PushesOneTokenBack) {
  std::istringstream stream("a\nb\nc");
  Lexer lexer(stream, 1, 9);
  lexer.getnext();
  lexer.unget();
  EXPECT_EQ(lexer.kind, Lexer::eof);
  EXPECT_EQ(lexer.text + std::to_string(lexer.tokenLine), "0");
  EXPECT_THROW(lexer.unget(), std::runtime_error);
  lexer.getnext();
  EXPECT_EQ(lexer.text + std::to_string(lexer.tokenLine), "a1");
  lexer.getnext();
  lexer.unget();
  EXPECT_EQ(lexer.text + std::to_string(lexer.tokenLine), "a1");
  lexer.getnext();
  EXPECT_EQ(lexer.text + std::to_string(lexer.tokenLine), "b2");
  EXPECT_EQ(lexer.next(Lexer::eof, ""), Lexer::identifier);
  EXPECT_EQ(lexer.text + lexer.previousText, "cb");
}

// Delivers one line and then, when asked again, either the end and after it
// more text, as a terminal may, or a failure.
struct Terminal : std::streambuf {
  std::string line = "x";
  bool broken = false;
  int numReads = 0;
  int_type underflow() override {
    if (++numReads == 2) {
      if (broken) {
        throw std::ios_base::failure("broken");
      }
      return traits_type::eof();
    }
    setg(line.data(), line.data(), line.data() + line.size());
    return traits_type::to_int_type(line[0]);
  }
};

TEST(Lexer, LooksOneCharacterAheadAndStaysAtTheEnd) {
  Terminal terminal;
  std::istream stream(&terminal);
  Lexer lexer(stream, 1, 9);
  terminal.line = "; ";
  lexer.next(';', "");
  EXPECT_EQ(stream.rdbuf()->in_avail(), 1);
  lexer.getnext();
  lexer.getnext();
  EXPECT_EQ(lexer.text, "EOF");
  EXPECT_EQ(terminal.numReads, 2);
}

TEST(Lexer, AFailingInputIsNoEndOfInput) {
  Terminal terminal;
  terminal.broken = true;
  std::istream stream(&terminal);
  Lexer lexer(stream, 1, 9);
  EXPECT_THROW(lexer.getnext(), std::ios_base::failure);
}

}  // namespace
