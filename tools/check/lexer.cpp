// One function for each class of bytes. Newlines are counted only in `take`,
// including those that are the second byte of a double-byte character.

#include "tools/check/lexer.h"

#include <charconv>

#include "tools/check/model.h"

namespace check {

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isWordByte(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         c == '_' || c == '[' || c == ']' || c == '@' || isLeadByte(c);
}

}  // namespace

bool isLeadByte(char c) {
  auto const byte = static_cast<unsigned char>(c);
  return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

std::optional<int> Token::value() const {
  if (kind != number) {
    return std::nullopt;
  }
  if (text == "inf") {
    return inf;
  }
  char const* const last = text.data() + text.size();
  char const* const first = text.data() + (text[0] == '+' ? 1 : 0);
  int result = 0;
  if (std::from_chars(first, last, result).ec != std::errc()) {
    return std::nullopt;
  }
  return result;
}

void Lexer::take(std::string& into) {
  if (text[position] == '\n') {
    ++line;
  }
  into += text[position++];
}

void Lexer::skipBlanks() {
  std::string skipped;
  while (position < text.size()) {
    if (text[position] == '#') {
      position = text.find('\n', position);
      if (position == text.npos) {
        position = text.size();
      }
    } else if (isBlank(text[position])) {
      skipped.clear();
      take(skipped);
    } else {
      return;
    }
  }
}

bool Lexer::atDigit() const {
  return position < text.size() && isDigit(text[position]);
}

void Lexer::takeDigits(std::string& into) {
  while (atDigit() && text[position] == '0') {
    ++position;
  }
  if (!atDigit()) {
    into += '0';
  }
  while (atDigit()) {
    into += text[position++];
  }
}

bool Lexer::takeWord(std::string& into) {
  const std::size_t start = position;
  while (position < text.size() && isWordByte(text[position])) {
    bool const isDouble = isLeadByte(text[position]);
    take(into);
    if (isDouble && position < text.size()) {
      take(into);
    }
  }
  return position != start;
}

// A sign belongs only to digits that it touches. A number without a sign
// followed by word bytes is a word, which also loses leading zeros.
Token Lexer::next() {
  skipBlanks();
  Token token;
  token.begin = position;
  if (position == text.size()) {
    token.text = "EOF";
  } else if (atDigit()) {
    takeDigits(token.text);
    token.kind = takeWord(token.text) ? Token::identifier : Token::number;
  } else if (takeWord(token.text)) {
    token.kind = token.text == "inf" ? Token::number : Token::identifier;
  } else {
    bool const isSign = text[position] == '+' || text[position] == '-';
    take(token.text);
    token.kind = Token::symbol;
    if (isSign && atDigit()) {
      takeDigits(token.text);
      token.kind = Token::number;
    }
  }
  token.line = line;
  token.past = position;
  return token;
}

}  // namespace check
