// Guesses what a wrong text was meant to be: the cases of errors.h, and those
// that need more than the tokens at one place. A guess decides the message and
// where reading goes on, never whether there is an error.

#include <algorithm>
#include <array>
#include <cstring>

#include "tools/check/errors.h"
#include "tools/check/hints.h"
#include "tools/check/reader.h"
#include "tools/check/text.h"

namespace check {

namespace {

constexpr std::size_t maxShown = 60;  // bytes of the text in a message
constexpr std::size_t maxUnknown = 1000;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isPartOfWord(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         std::strchr("_[]@", c) != nullptr;
}

// Whether the token before this position touches a word.
bool isBehindWord(std::string_view text, std::size_t position) {
  return position > 0 && (isPartOfWord(text[position - 1]) ||
                          hasHighByte(text.substr(position - 1, 1)));
}

std::size_t wordStart(std::string_view text, std::size_t position) {
  std::size_t start = position;
  while (isBehindWord(text, start) && position - start < maxShown) {
    --start;
  }
  return start;
}

// The bytes from `begin` up to a blank or a sign of the language.
std::string_view wordAt(std::string_view text, std::size_t begin) {
  const std::size_t past = text.find_first_of(" \t\r\n\v\f,(){};#=<>", begin);
  std::string_view word = text.substr(begin, std::min(past - begin, maxShown));
  while (!word.empty() && (word.back() == ':' || word.back() == '.')) {
    word.remove_suffix(1);
  }
  return word;
}

std::string joinedWord(std::string_view word) {
  std::string joined;
  for (char const c : word) {
    if (isPartOfWord(c)) {
      joined += c;
    } else if (joined.empty() || joined.back() != '_') {
      joined += '_';
    }
  }
  return joined;
}

bool isInfinity(std::string_view word) {
  constexpr std::array<std::string_view, 6> words = {
      "inf", "infinity", "infinite", "infty", "hard", "max"};
  return std::any_of(words.begin(), words.end(), [&](std::string_view known) {
    return editDistance(word, known, 1) == 0;
  });
}

bool takePrefix(std::string_view prefix, std::string_view& text) {
  bool const isThere = text.substr(0, prefix.size()) == prefix;
  text.remove_prefix(isThere ? prefix.size() : 0);
  return isThere;
}

bool isOfClass(char name, Token const& token) {
  bool const isWord = token.kind == Token::identifier;
  switch (name) {
    case 'W':
      return isWord;
    case 'N':
      return token.kind == Token::number;
    case 'S':
      return token.kind == Token::symbol;
    case 'D':
      return isWord && isDigit(token.text[0]);
    case 'I':
      return isWord && isInfinity(token.text);
    case '$':
      return token.kind == Token::end;
    default:
      return name == '?';
  }
}

// Whether the token matches an alternative of a pattern.
bool isLike(std::string_view alternative, Token const& token) {
  char const first = alternative[0];
  if (first >= 'a' && first <= 'z') {
    return token.kind != Token::symbol && token.text == alternative;
  }
  if (first == '~' && isPartOfWord(alternative[1])) {
    return token.kind == Token::identifier &&
           isNear(token.text, alternative.substr(1));
  }
  if (alternative.size() == 1 && std::strchr("WNSDI$?", first) != nullptr) {
    return isOfClass(first, token);
  }
  return token.kind == Token::symbol &&
         alternative.find(token.text[0]) != alternative.npos;
}

}  // namespace

// Whether the token continues the one before it, as in night-shift or 9:30.
bool Reader::isJoined(std::size_t n) {
  Token const& token = at(n);
  return isTouching(n) &&
         (token.kind == Token::number
              ? token.text[0] == '-' || token.text[0] == '+'
              : token.kind == Token::symbol &&
                    (std::strchr("-.:/'&!?%~*", token.text[0]) != nullptr ||
                     hasHighByte(token.text)));
}

bool Reader::matches(std::string_view pattern) {
  for (std::size_t n = 0; !pattern.empty();) {
    std::string_view element = takeUpTo(' ', pattern);
    bool const isWanted = !takePrefix("not:", element);
    bool const isBeside = takePrefix("beside:", element);
    bool const isBefore = isBeside || takePrefix("after:", element);
    bool isMatch = (!takePrefix("touching:", element) || isTouching(n)) &&
                   !(isBeside && isFirstOnLine());
    Token const& token = isBefore ? tokens.previous() : at(n);
    bool isAny = false;
    while (!element.empty()) {
      const std::string_view alternative = takeUpTo('/', element);
      isAny = isAny || (alternative == "^"   ? atStatement(n)
                        : alternative == "J" ? isJoined(n)
                        : alternative == "K" ? isBehindWord(text, token.begin)
                                             : isLike(alternative, token));
    }
    isMatch = isMatch && isAny;
    if (isMatch != isWanted) {
      return false;
    }
    n += isBefore ? 0 : 1;
  }
  return true;
}

std::pair<std::size_t, std::size_t> Reader::bytesOf(Extent extent) {
  Token const& previous = tokens.previous();
  auto const word = [this](std::size_t begin) {
    return std::pair(begin, begin + wordAt(text, begin).size());
  };
  switch (extent) {
    case Extent::twoTokens:
      return {at().begin, at(1).past};
    case Extent::previous:
      return {previous.begin, previous.past};
    case Extent::behind:
      return {previous.past, previous.past};
    case Extent::behindToken:
      return {at().past, at().past};
    case Extent::word:
      return word(at().begin);
    case Extent::previousWord:
      return word(previous.begin);
    case Extent::wordAround:
      return word(wordStart(text, previous.begin));
    default:
      return {at().begin, at().past};
  }
}

// At '<' or '>': "'<= 2'" for "< 3".
std::string Reader::weakRelation() {
  auto const bound = at(1).value();
  bool const isNumber =
      bound && at(1).text != "inf" && *bound<inf&& * bound> - inf;
  return "'" + at().text + "=" +
         (isNumber ? " " + std::to_string(*bound + (atSign('<') ? -1 : 1))
                   : "") +
         "'";
}

std::string Reader::placeholder(char name, std::string_view word,
                                std::string_view wanted) {
  switch (name) {
    case '0':
      return at().text;
    case '1':
      return at(1).text;
    case 'p':
      return tokens.previous().text;
    case 'f':
      return found();
    case 'g':
      return found(1);
    case 'n':
      return at().text.substr(0, maxShown);
    case 'j':
      return joinedWord(at().text);
    case 'm':
      return std::string(word);
    case 'r':
      return word.find("..") != word.npos ? "every value, as in {1, 2, 3}"
                                          : "'" + joinedWord(word) + "'";
    case 'l':
      return std::to_string(firstConstraint);
    case 'b':
      return weakRelation();
    default:
      return std::string(wanted);
  }
}

void Reader::goOn(Next next) {
  switch (next) {
    case Next::skipTwo:
      advance();
      [[fallthrough]];
    case Next::skip:
    case Next::lookOn:
      return advance();
    case Next::skipAndReadVariable:
      advance();
      [[fallthrough]];
    case Next::readVariable:
      return readVariable();
    case Next::readTarget:
      return readTarget();
    case Next::skipAndAbandon:
      advance();
      [[fallthrough]];
    case Next::abandon:
      throw Abandoned();
    case Next::resume:
      return;
  }
}

bool Reader::diagnose(Spot spot, std::string_view wanted) {
  for (ErrorCase const& known : errorCases()) {
    if (!known.spots.has(spot) || !matches(known.pattern)) {
      continue;
    }
    auto const [begin, past] = bytesOf(known.extent);
    const std::string_view marked = text.substr(begin, past - begin);
    note(begin, past, filledIn(known.message, [&](char name) {
           return placeholder(name, marked, wanted);
         }));
    goOn(known.next);
    if (known.next != Next::lookOn) {
      return true;
    }
  }
  return false;
}

void Reader::checkMark() {
  if (text.substr(0, 3) == "\xEF\xBB\xBF") {
    add(0, 3,
        "the model starts with a byte-order mark: save it without one, for "
        "example with 'tail -c +4'");
  }
}

// If every byte is wrong, no other error is worth reporting.
void Reader::checkEncoding() {
  if (reading.numErrors > 0 && isUtf16(text)) {
    reading.errors = {
        {0, 0,
         "the model is in UTF-16: convert it with 'iconv -f UTF-16 -t ASCII'"}};
    reading.numErrors = 1;
    reading.warnings = Warnings();
  }
}

// After the sign that closed a list. The text is a model only if a statement
// follows.
void Reader::checkListEnd(bool isAlldiff) {
  Token const& sign = tokens.previous();
  bool const isDeclared = atWord("variable") || atWord("target");
  if (isAlldiff ? sign.text == ";" || sign.text == "." : sign.text == "}") {
    return;
  }
  if (at().kind == Token::end || atSign(':', 1) || (!isAlldiff && isDeclared)) {
    reading.warnings.add(WarningKind::closingSign, sign.line,
                         {sign.text, isAlldiff ? "an alldiff" : "values",
                          isAlldiff ? ";" : "}"});
  } else if (!isDeclared || !isAlldiff) {
    diagnose(isAlldiff ? Spot::alldiffEnd : Spot::valuesEnd);
  }
}

// For a relation that is a single UTF-8 character.
void Reader::checkRelationCharacter() {
  const std::string_view sign = text.substr(at().begin, 3);
  if (sign == "\xE2\x89\xA4" || sign == "\xE2\x89\xA5") {
    add(at().begin, at().begin + 3,
        sign == "\xE2\x89\xA4" ? "write '<='" : "write '>='");
    throw Abandoned();
  }
}

// Whether an unknown name must be reported; each is reported once.
bool Reader::isNews(std::string const& name) {
  if (reading.errors.size() >= Reading::maxErrors) {
    ++reading.numErrors;
    return false;
  }
  return unknown.size() >= maxUnknown || unknown.insert(name).second;
}

void Reader::noteUnknownVariable() {
  if (!isNews(at().text)) {
    return;
  }
  std::string hint = didYouMean(at().text, model.variables);
  if (atSign(',', 1) && atSign(')', 3) &&
      model.variables.find(at(2).text) < model.variables.size()) {
    hint = ": the variable comes first, write '(" + at(2).text + ", " +
           at().text + ")'";
  }
  note("unknown variable '" + at().text + "'" + hint);
}

void Reader::noteUnknownValue(unsigned variable) {
  std::string const& name = model.variables[variable];
  Names const& values = model.values[variable];
  if (broken.count(variable) > 0) {
    return;
  }
  if (atSign(')') && !atSign(')', 1)) {
    fail("a label is a variable and a value: write '(" + name + ", VALUE)'");
  }
  if (!isNews(name + "," + at().text)) {
    return;
  }
  std::string hint = didYouMean(at().text, values);
  if (hint.empty()) {
    constexpr unsigned maxListed = 5;
    for (unsigned a = 0; a < std::min(values.size(), maxListed); ++a) {
      hint += (a == 0 ? ": it has " : ", ") + values[a];
    }
    hint += values.size() > maxListed ? ", ..." : "";
  }
  note("'" + name + "' has no value '" + at().text + "'" + hint);
}

Constraint::Kind Reader::guessKind() {
  constexpr std::array<char const*, 3> kinds = {"linear", "quadratic",
                                                "alldiff"};
  std::string_view word = at().text;
  std::size_t kind = 0;
  while (kind < kinds.size() && !(atWord() && isNear(word, kinds[kind]))) {
    ++kind;
  }
  if (kind == kinds.size()) {
    const std::string_view start = word.substr(0, 3);
    if (!atWord() || (start != "all" && start != "All")) {
      diagnose(Spot::kind);
    }
    kind = Constraint::alldiff;
    if (isJoined(1)) {
      fail("unknown type '" + std::string(wordAt(text, at().begin)) +
           "': write 'alldiff'");
    }
  }
  note("unknown type '" + std::string(word) + "': write '" + kinds[kind] + "'");
  return static_cast<Constraint::Kind>(kind);
}

// In the list of an alldiff, at a token that is not a sign.
void Reader::checkAlldiffGoesOn() {
  bool const isKnown = model.variables.find(at().text) < model.variables.size();
  bool const isName =
      atSign(':', 1) && (!isKnown || (atWord(2) && atSign('=', 3)));
  if (at().kind == Token::end || isName || (!isKnown && atStatement())) {
    failBehind("';' is missing after the variables of an alldiff");
  }
  if (!isKnown) {
    diagnose(Spot::joinedNext);
  }
}

}  // namespace check
