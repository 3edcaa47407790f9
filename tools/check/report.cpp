// The lines of a report are compared as whole texts with the expected lines.
// Names may contain newlines as second bytes of double-byte characters, which
// do not end a line.

#include "tools/check/report.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "tools/check/lexer.h"

namespace check {

namespace {

constexpr std::size_t none = std::string_view::npos;

// The position of the last line that equals this heading. No name can contain
// such a line, because its blank does not follow a lead byte.
std::size_t findHeading(std::string_view text, std::string_view heading) {
  std::size_t at = text.rfind(heading);
  while (at != none) {
    const std::string_view rest = text.substr(at + heading.size());
    bool const isWhole =
        rest.empty() || rest[0] == '\n' || rest.substr(0, 2) == "\r\n";
    if (isWhole && (at == 0 || text[at - 1] == '\n')) {
      return at;
    }
    at = at == 0 ? none : text.rfind(heading, at - 1);
  }
  return none;
}

constexpr std::string_view bestHeading = "[best solution]";
constexpr std::string_view incumbentHeading = "[incumbent solution]";

// The position of the heading of the last report.
std::size_t findReport(std::string_view text) {
  const std::size_t best = findHeading(text, bestHeading);
  const std::size_t incumbent = findHeading(text, incumbentHeading);
  return best == none || incumbent == none ? std::min(best, incumbent)
                                           : std::max(best, incumbent);
}

// One past the last byte of the line that begins at `start`.
std::size_t endOfLine(std::string_view text, std::size_t start, bool& hasCr) {
  std::size_t at = start;
  hasCr = false;
  while (at < text.size() && text[at] != '\n') {
    hasCr = text[at] == '\r';
    at += isLeadByte(text[at]) && at + 1 < text.size() ? 2U : 1U;
  }
  return at;
}

// The lines of the text without their ends; a last line may lack its end.
std::vector<std::string_view> cutLines(std::string_view text) {
  std::vector<std::string_view> lines;
  for (std::size_t start = 0; start < text.size();) {
    bool hasCr = false;
    const std::size_t end = endOfLine(text, start, hasCr);
    lines.push_back(text.substr(start, end - start - (hasCr ? 1 : 0)));
    start = end + 1;
  }
  return lines;
}

std::size_t countNewlines(std::string_view text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// A run that ran out of memory before its first assignment shows both penalties
// at their maximum and no violated constraint; its variables have no meaning.
bool isUnrecorded(Model const& model,
                  std::vector<std::string_view> const& lines) {
  Evaluation nothing;
  nothing.hard = nothing.soft = inf;
  auto const tail = linesAfterAssignment(Model(), nothing);
  const std::size_t size = lines.size();
  const std::size_t numTail = tail.size();
  return (size == numTail || size == numTail + model.variables.size()) &&
         std::equal(tail.rbegin(), tail.rend(), lines.rbegin());
}

// The value that the line gives variable v, or the size of v's list.
unsigned readValue(Model const& model, unsigned v, std::string_view line) {
  const std::string prefix = model.variables[v] + ": ";
  if (line.substr(0, prefix.size()) != prefix) {
    return model.values[v].size();
  }
  return model.values[v].find(line.substr(prefix.size()));
}

Report readLines(Model const& model, std::vector<std::string_view> lines,
                 std::size_t line) {
  Report result;
  result.kind = Report::report;
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    unsigned const value = v < lines.size() ? readValue(model, v, lines[v]) : 0;
    if (v >= lines.size() || value == model.values[v].size()) {
      result.kind = Report::broken;
      result.error = "line " + std::to_string(line) +
                     ": no value for variable '" + model.variables[v] + "'";
      return result;
    }
    result.assignment.push_back(value);
    line += 1 + countNewlines(lines[v]);
  }
  lines.erase(lines.begin(), lines.begin() + model.variables.size());
  result.lines = std::move(lines);
  result.line = line;
  return result;
}

// The two parts of a line "name: value", or nothing.
std::optional<std::pair<std::string, std::string>> pairIn(
    std::string_view line) {
  const std::size_t colon = line.rfind(": ");
  if (colon == none) {
    return std::nullopt;
  }
  return std::pair(std::string(line.substr(0, colon)),
                   std::string(line.substr(colon + 2)));
}

bool areDigits(std::string_view text) {
  return !text.empty() &&
         text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool hasLine(std::string_view text, std::string_view beginning) {
  std::size_t at = text.find(beginning);
  while (at != none && at != 0 && text[at - 1] != '\n') {
    at = text.find(beginning, at + 1);
  }
  return at != none;
}

// The reason why a text without a heading cannot be checked.
std::string errorWithoutHeading(std::string_view text) {
  if (text.empty()) {
    return "it is empty";
  }
  if (hasLine(text, "penalty: ") || hasLine(text, "[Violated constraints]")) {
    return "it has no line '[best solution]' or '[incumbent solution]'";
  }
  if (text.substr(0, 18) == "# reading data ...") {
    return "the run ended without one";
  }
  return "";
}

Report missing(std::string error) {
  Report result;
  result.kind = Report::missing;
  result.error = std::move(error);
  return result;
}

}  // namespace

std::vector<std::string> linesAfterAssignment(Model const& model,
                                              Evaluation const& evaluation) {
  std::vector<std::string> lines = {
      "", "penalty: " + penaltyText(evaluation) + " (hard/soft)", "",
      "[Violated constraints]"};
  for (std::size_t c = 0; c < model.constraints.size(); ++c) {
    if (evaluation.violations[c] > 0) {
      lines.push_back(model.constraints[c].name + ": " +
                      std::to_string(evaluation.violations[c]));
    }
  }
  return lines;
}

Report readReport(Model const& model, std::string_view text) {
  const std::size_t heading = findReport(text);
  if (heading == none) {
    const std::string error = errorWithoutHeading(text);
    return missing(error.empty()
                       ? "it has no line '[best solution]' or '[incumbent "
                         "solution]'; for a start file use --start"
                       : error);
  }
  std::vector<std::string_view> lines = cutLines(text.substr(heading));
  bool const isIncumbent = lines.front() == incumbentHeading;
  lines.erase(lines.begin());
  if (isIncumbent && isUnrecorded(model, lines)) {
    Report result;
    result.kind = Report::unrecorded;
    return result;
  }
  return readLines(model, std::move(lines),
                   countNewlines(text.substr(0, heading)) + 2);
}

// Reads a start file like the solver: a later pair wins, other text is skipped,
// and a missing variable takes its first value.
Report readStart(Model const& model, std::string_view text) {
  if (const std::string error = errorWithoutHeading(text);
      findReport(text) == none && !error.empty()) {
    return missing(error);
  }
  Report result;
  result.assignment.resize(model.variables.size());
  std::vector<bool> isSet(model.variables.size());
  Lexer lexer(text);
  for (Token token = lexer.next(); token.kind != Token::end;
       token = lexer.next()) {
    unsigned const v = token.kind == Token::identifier
                           ? model.variables.find(token.text)
                           : model.variables.size();
    if (v == model.variables.size() || lexer.next().text != ":") {
      continue;
    }
    unsigned const value = model.values[v].find(lexer.next().text);
    if (value < model.values[v].size()) {
      result.assignment[v] = value;
      isSet[v] = true;
    }
  }
  result.numSet =
      static_cast<std::size_t>(std::count(isSet.begin(), isSet.end(), true));
  if (result.numSet == 0 && model.variables.size() > 0) {
    return missing("it sets no variable");
  }
  return result;
}

std::optional<Earlier> readEarlier(Model const& model, std::string_view text) {
  const std::size_t heading = findReport(text);
  if (heading == none) {
    return std::nullopt;
  }
  auto const lines = cutLines(text.substr(heading));
  auto line = lines.begin() + 1;
  Earlier earlier;
  for (; line != lines.end(); ++line) {
    auto pair = pairIn(*line);
    if (!pair) {
      break;
    }
    Label label;
    label.variable = model.variables.find(pair->first);
    label.value = label.variable < model.variables.size()
                      ? model.values[label.variable].find(pair->second)
                      : 0;
    earlier.assignment.push_back(
        {std::move(pair->first), std::move(pair->second), label});
  }
  const std::vector<std::string_view> rest(line, lines.end());
  auto const penalty = rest.size() < 4 ? std::nullopt : pairIn(rest[1]);
  constexpr std::string_view unit = " (hard/soft)";
  if (!penalty || !rest[0].empty() || penalty->first != "penalty" ||
      !penalty->second.ends_with(unit) || rest[3] != "[Violated constraints]") {
    return std::nullopt;
  }
  const std::size_t slash = penalty->second.find('/');
  const std::size_t end = penalty->second.size() - unit.size();
  earlier.hard = penalty->second.substr(0, slash);
  earlier.soft = slash < end
                     ? penalty->second.substr(slash + 1, end - slash - 1)
                     : std::string();
  bool isComplete = areDigits(earlier.hard) && areDigits(earlier.soft);
  std::unordered_map<std::string_view, std::size_t> numbers;
  for (std::size_t c = 0; c < model.constraints.size(); ++c) {
    numbers.emplace(model.constraints[c].name, c);
  }
  for (std::size_t i = 4; i < rest.size() && isComplete; ++i) {
    auto pair = pairIn(rest[i]);
    if (!pair) {
      break;
    }
    isComplete = areDigits(pair->second);
    auto const number = numbers.find(pair->first);
    const std::size_t c =
        number == numbers.end() ? model.constraints.size() : number->second;
    earlier.violated.push_back(
        {std::move(pair->first), std::move(pair->second), c});
  }
  return isComplete ? std::optional(std::move(earlier)) : std::nullopt;
}

std::string penaltyText(Evaluation const& evaluation) {
  auto const capped = [](Int128 total) {
    return std::to_string(static_cast<int>(std::min<Int128>(total, inf)));
  };
  return capped(evaluation.hard) + "/" + capped(evaluation.soft);
}

std::vector<std::string> findDifferences(Model const& model,
                                         Evaluation const& evaluation,
                                         Report const& report) {
  std::vector<std::string> differences;
  auto const expected = linesAfterAssignment(model, evaluation);
  auto const& lines = report.lines;
  std::size_t line = report.line;
  for (std::size_t i = 0; i < std::max(lines.size(), expected.size()); ++i) {
    auto const show = [i](auto const& texts) {
      return i < texts.size() ? "'" + std::string(texts[i]) + "'"
                              : std::string("the end");
    };
    if (show(lines) != show(expected)) {
      differences.push_back("line " + std::to_string(line) + ": printed " +
                            show(lines) + ", computed " + show(expected));
      if (i != 1 || i >= lines.size()) {
        break;
      }
    }
    line += i < lines.size() ? 1 + countNewlines(lines[i]) : 0;
  }
  return differences;
}

}  // namespace check
