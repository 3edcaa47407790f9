// Each violated constraint is explained by what is on under the assignment, in
// the order of the model: the terms that make up its sum, or the variables
// that share a value.

#include "tools/check/output.h"

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <tuple>

namespace check {

namespace {

constexpr const char* kindNames[] = {"linear", "quadratic", "alldiff"};

// The text of one label of a model, its value named.
struct Namer {
  const Model& model;

  std::string variable(unsigned v) const {
    return printable(model.variables[v]);
  }
  std::string value(const Label& label) const {
    return printable(model.values[label.variable][label.value]);
  }
  std::string label(const Label& label) const {
    return "(" + variable(label.variable) + ", " + value(label) + ")";
  }
};

// "sum 3 is above 2"
std::string sumText(const Constraint& constraint, Int128 sum) {
  const bool isAbove = hasUpper(constraint) && sum > constraint.upper;
  return "sum " + decimal(sum) + (isAbove ? " is above " : " is below ") +
         std::to_string(isAbove ? constraint.upper : constraint.lower);
}

void writeTerm(std::ostream& out, const Namer& namer,
               const Constraint& constraint, const Term& term) {
  out << term.coefficient << " " << namer.label(term.label1);
  if (constraint.kind == Constraint::quadratic) {
    out << namer.label(term.label2);
  }
}

// Below its bound a sum lacks terms that would raise it: the first of them.
void writeLacking(std::ostream& out, const Namer& namer,
                  const Constraint& constraint, const Assignment& assignment) {
  constexpr std::size_t maxShown = 5;
  if (!hasLower(constraint) ||
      sumOf(constraint, assignment) >= constraint.lower) {
    return;
  }
  std::size_t count = 0;
  for (const Term& term : constraint.terms) {
    if (term.coefficient > 0 && !isOn(term, assignment) &&
        ++count <= maxShown) {
      out << (count == 1 ? "  lacks " : ", ");
      writeTerm(out, namer, constraint, term);
    }
  }
  out << (count > maxShown ? ", ...\n" : count > 0 ? "\n" : "");
}

void writeTerms(std::ostream& out, const Namer& namer,
                const Constraint& constraint, const Assignment& assignment) {
  bool isAnyOn = false;
  out << "  " << sumText(constraint, sumOf(constraint, assignment));
  for (const Term& term : constraint.terms) {
    if (isOn(term, assignment)) {
      out << (isAnyOn ? "" : " with") << "\n    ";
      writeTerm(out, namer, constraint, term);
      isAnyOn = true;
    }
  }
  out << (isAnyOn ? "\n" : ", no term is on\n");
  writeLacking(out, namer, constraint, assignment);
}

void writeShared(std::ostream& out, const Namer& namer,
                 const Constraint& constraint, const Assignment& assignment) {
  for (const auto& variables : sharedValues(constraint, assignment)) {
    out << "  value number " << assignment[variables[0]] << " is shared by";
    for (const unsigned v : variables) {
      out << " " << namer.label({v, assignment[v]});
    }
    out << "\n";
  }
}

void writeViolated(std::ostream& out, const Namer& namer,
                   const Constraint& constraint, int violation,
                   const Assignment& assignment) {
  out << "violated: " << printable(constraint.name) << " (line "
      << constraint.line << ", " << kindNames[constraint.kind] << ", weight "
      << (constraint.weight == inf ? "inf" : std::to_string(constraint.weight))
      << ") by " << violation;
  if (constraint.weight != inf) {
    out << ", costs " << decimal(costOf(constraint, violation));
  }
  out << "\n";
  if (constraint.kind == Constraint::alldiff) {
    writeShared(out, namer, constraint, assignment);
  } else {
    writeTerms(out, namer, constraint, assignment);
  }
}

// "soft by group: over 408, idle 360"
void writeGroups(std::ostream& out, const char* kind,
                 const std::vector<Group>& groups, Int128 Group::*sum) {
  constexpr std::size_t maxShown = 20;
  std::size_t count = 0;
  for (const Group& group : groups) {
    if (group.*sum > 0 && ++count <= maxShown) {
      out << (count == 1 ? std::string(kind) + " by group: "
                         : std::string(", "))
          << printable(group.name) << " " << decimal(group.*sum);
    }
  }
  out << (count > maxShown ? ", ...\n" : count > 0 ? "\n" : "");
}

// "no change of one variable is better: the best, x from a to b, gives 0/3, and
// 's' rises most"
void writeMove(std::ostream& out, const Model& model, const Result& result,
               const std::optional<Move>& move, const char* what) {
  const Namer namer{model};
  if (!move) {
    out << "no " << what << " is possible\n";
    return;
  }
  const Evaluation& now = result.evaluation;
  const bool isBetter =
      std::tie(move->hard, move->soft) < std::tie(now.hard, now.soft);
  out << (isBetter ? "a " : "no ") << what
      << (isBetter ? " is better: " : " is better: the best, ");
  for (std::size_t i = 0; i < move->labels.size(); ++i) {
    const Label& label = move->labels[i];
    const unsigned v = label.variable;
    out << (i > 0 ? " and " : "") << namer.variable(v) << " from "
        << namer.value({v, result.assignment[v]}) << " to "
        << namer.value(label);
  }
  out << (isBetter ? " gives " : ", gives ") << decimal(move->hard) << "/"
      << decimal(move->soft) << " (hard/soft)";
  const auto holder =
      isBetter ? std::nullopt : heldBy(model, result.assignment, now, *move);
  if (holder) {
    out << ", held by " << printable(model.constraints[*holder].name);
  }
  out << "\n";
}

void writeNeighbours(std::ostream& out, const Model& model,
                     const Result& result) {
  writeMove(out, model, result, result.neighbours->change, "change");
  writeMove(out, model, result, result.neighbours->swap, "swap");
  if (!result.neighbours->areSwapsAll) {
    out << "not all swaps were tried: they are too many\n";
  }
}

// A string of JSON; only a string is made, whose end needs no memory.
std::string jsonText(std::string_view text) {
  return nlohmann::json(std::string(text)).dump();
}

// Calls act for each index, with a comma between two calls.
void writeList(std::ostream& out, std::size_t size, auto act) {
  out << '[';
  for (std::size_t i = 0; i < size; ++i) {
    out << (i > 0 ? "," : "");
    act(i);
  }
  out << ']';
}

// [variable, value]
void writeJsonLabel(std::ostream& out, const Namer& namer, const Label& label) {
  out << '[' << jsonText(namer.variable(label.variable)) << ','
      << jsonText(namer.value(label)) << ']';
}

void writeJsonTerms(std::ostream& out, const Namer& namer,
                    const Constraint& constraint,
                    const Assignment& assignment) {
  const char* separator = "";
  out << '[';
  for (const Term& term : constraint.terms) {
    if (isOn(term, assignment)) {
      out << separator << R"({"coefficient":)" << term.coefficient
          << R"(,"labels":[)";
      writeJsonLabel(out, namer, term.label1);
      if (constraint.kind == Constraint::quadratic) {
        out << ',';
        writeJsonLabel(out, namer, term.label2);
      }
      out << "]}";
      separator = ",";
    }
  }
  out << ']';
}

void writeJsonShared(std::ostream& out, const Namer& namer,
                     const Constraint& constraint,
                     const Assignment& assignment) {
  const auto shared = sharedValues(constraint, assignment);
  writeList(out, shared.size(), [&](std::size_t i) {
    const std::vector<unsigned>& variables = shared[i];
    out << R"({"number":)" << assignment[variables[0]] << R"(,"labels":)";
    writeList(out, variables.size(), [&](std::size_t k) {
      writeJsonLabel(out, namer, {variables[k], assignment[variables[k]]});
    });
    out << '}';
  });
}

// What a constraint is about: [variable, [values]], each variable once and in
// the order of the model. The values are those in its terms; an all-different
// is about all of them and names none.
void writeJsonScope(std::ostream& out, const Namer& namer,
                    const Constraint& constraint) {
  std::vector<Label> labels;
  for (const Term& term : constraint.terms) {
    labels.push_back(term.label1);
    labels.push_back(term.label2);
  }
  for (const unsigned variable : constraint.variables) {
    labels.push_back({variable, 0});
  }
  const auto key = [](const Label& label) {
    return std::tie(label.variable, label.value);
  };
  std::sort(labels.begin(), labels.end(),
            [&](const Label& a, const Label& b) { return key(a) < key(b); });
  labels.erase(std::unique(labels.begin(), labels.end(),
                           [&](const Label& a, const Label& b) {
                             return key(a) == key(b);
                           }),
               labels.end());
  const char* separator = "";
  out << '[';
  for (auto first = labels.begin(); first != labels.end();) {
    const auto last = std::find_if(first, labels.end(), [&](const Label& l) {
      return l.variable != first->variable;
    });
    out << separator << '[' << jsonText(namer.variable(first->variable)) << ',';
    const std::size_t numValues = constraint.kind == Constraint::alldiff
                                      ? 0
                                      : static_cast<std::size_t>(last - first);
    writeList(out, numValues, [&](std::size_t i) {
      out << jsonText(namer.value(first[static_cast<std::ptrdiff_t>(i)]));
    });
    out << ']';
    separator = ",";
    first = last;
  }
  out << ']';
}

// Exact numbers that may pass 64 bits are strings.
void writeJsonViolated(std::ostream& out, const Namer& namer,
                       const Constraint& constraint, int violation,
                       const Assignment& assignment) {
  out << R"({"name":)" << jsonText(printable(constraint.name)) << R"(,"line":)"
      << constraint.line << R"(,"kind":")" << kindNames[constraint.kind]
      << R"(","weight":)" << constraint.weight << R"(,"hard":)"
      << (constraint.weight == inf ? "true" : "false") << R"(,"violation":)"
      << violation;
  if (constraint.kind == Constraint::alldiff) {
    out << R"(,"shared":)";
    writeJsonShared(out, namer, constraint, assignment);
  } else {
    const auto bound = [](bool isThere, int number) {
      return isThere ? std::to_string(number) : std::string("null");
    };
    out << R"(,"sum":")" << decimal(sumOf(constraint, assignment))
        << R"(","lower":)" << bound(hasLower(constraint), constraint.lower)
        << R"(,"upper":)" << bound(hasUpper(constraint), constraint.upper)
        << R"(,"terms":)";
    writeJsonTerms(out, namer, constraint, assignment);
  }
  out << R"(,"scope":)";
  writeJsonScope(out, namer, constraint);
  out << '}';
}

// [first variable, [values]] for each run of variables with the same values.
void writeJsonDomains(std::ostream& out, const Model& model,
                      const Namer& namer) {
  const char* separator = "";
  out << '[';
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    if (v > 0 && model.values[v] == model.values[v - 1]) {
      continue;
    }
    out << separator << '[' << jsonText(namer.variable(v)) << ',';
    writeList(out, model.values[v].size(), [&](std::size_t a) {
      out << jsonText(namer.value({v, static_cast<unsigned>(a)}));
    });
    out << ']';
    separator = ",";
  }
  out << ']';
}

void writeJsonMove(std::ostream& out, const Namer& namer,
                   const std::optional<Move>& move) {
  if (!move) {
    out << "null";
    return;
  }
  out << R"({"hard":")" << decimal(move->hard) << R"(","soft":")"
      << decimal(move->soft) << R"(","labels":)";
  writeList(out, move->labels.size(), [&](std::size_t i) {
    writeJsonLabel(out, namer, move->labels[i]);
  });
  out << '}';
}

void writeJsonEvaluation(std::ostream& out, const Model& model,
                         const Result& result) {
  const Namer namer{model};
  out << R"(,"penalty":{"capped":")" << penaltyText(result.evaluation)
      << R"(","hard":")" << decimal(result.evaluation.hard) << R"(","soft":")"
      << decimal(result.evaluation.soft) << R"("},"assignment":)";
  writeList(out, model.variables.size(), [&](std::size_t i) {
    const auto v = static_cast<unsigned>(i);
    writeJsonLabel(out, namer, {v, result.assignment[v]});
  });
  out << R"(,"domains":)";
  writeJsonDomains(out, model, namer);
  const std::vector<std::size_t> violated =
      violatedByCost(model, result.evaluation);
  out << R"(,"groups":)";
  writeList(out, result.groups.size(), [&](std::size_t i) {
    const Group& group = result.groups[i];
    out << R"({"name":)" << jsonText(printable(group.name)) << R"(,"hard":")"
        << decimal(group.hard) << R"(","soft":")" << decimal(group.soft)
        << R"("})";
  });
  if (result.neighbours) {
    out << R"(,"improve":{"change":)";
    writeJsonMove(out, namer, result.neighbours->change);
    out << R"(,"swap":)";
    writeJsonMove(out, namer, result.neighbours->swap);
    out << R"(,"all":)" << (result.neighbours->areSwapsAll ? "true" : "false")
        << '}';
  }
  out << R"(,"violated":)";
  writeList(out, violated.size(), [&](std::size_t i) {
    const std::size_t c = violated[i];
    writeJsonViolated(out, namer, model.constraints[c],
                      result.evaluation.violations[c], result.assignment);
  });
}

}  // namespace

std::string printable(std::string_view text) {
  constexpr const char* digits = "0123456789abcdef";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\\') {
      result += "\\\\";
    } else if (byte < 0x20 || byte > 0x7E) {
      result += {'\\', 'x', digits[byte / 16], digits[byte % 16]};
    } else {
      result += c;
    }
  }
  return result;
}

std::string decimal(Int128 number) {
  const bool isNegative = number < 0;
  std::string digits;
  do {
    const int digit = static_cast<int>(number % 10);
    digits += static_cast<char>('0' + (digit < 0 ? -digit : digit));
    number /= 10;
  } while (number != 0);
  if (isNegative) {
    digits += '-';
  }
  return {digits.rbegin(), digits.rend()};
}

void writeText(std::ostream& out, const Model& model, const Result& result) {
  if (result.isEvaluated) {
    out << "penalty: " << decimal(result.evaluation.hard) << "/"
        << decimal(result.evaluation.soft) << " (hard/soft)\n";
    writeGroups(out, "hard", result.groups, &Group::hard);
    writeGroups(out, "soft", result.groups, &Group::soft);
    for (const std::size_t c : violatedByCost(model, result.evaluation)) {
      writeViolated(out, {model}, model.constraints[c],
                    result.evaluation.violations[c], result.assignment);
    }
    if (result.neighbours) {
      writeNeighbours(out, model, result);
    }
  }
  for (const std::string& difference : result.differences) {
    out << "differs: " << printable(difference) << "\n";
  }
  out << result.verdict << "\n";
}

void writeJson(std::ostream& out, const Model& model, const Result& result) {
  out << R"({"status":)" << static_cast<int>(result.status) << R"(,"verdict":)"
      << jsonText(printable(result.verdict)) << R"(,"differences":)";
  writeList(out, result.differences.size(), [&](std::size_t i) {
    out << jsonText(printable(result.differences[i]));
  });
  out << R"(,"errors":)";
  writeList(out, result.problems.size(), [&](std::size_t i) {
    const Problem& problem = result.problems[i];
    out << R"({"line":)" << problem.line << R"(,"column":)" << problem.column
        << R"(,"length":)" << problem.length << R"(,"message":)"
        << jsonText(printable(problem.message)) << '}';
  });
  out << R"(,"warnings":)";
  writeList(out, result.warnings.size(), [&](std::size_t i) {
    const Warning& warning = result.warnings[i];
    out << R"({"kind":)" << jsonText(warning.kind) << R"(,"line":)"
        << warning.line << R"(,"message":)"
        << jsonText(printable(warning.message)) << '}';
  });
  if (result.isEvaluated) {
    writeJsonEvaluation(out, model, result);
  }
  out << "}\n";
}

void writeFailing(std::ostream& out, const Model& model, const Failing& failing,
                  std::size_t numReports, std::size_t numSatisfying) {
  constexpr std::size_t maxShown = 20;
  const auto title = [&model](std::size_t c) {
    return printable(model.constraints[c].name) + " (line " +
           std::to_string(model.constraints[c].line) + ")";
  };
  for (std::size_t i = 0; i < std::min(failing.all.size(), maxShown); ++i) {
    out << "violated in " << failing.all[i].count << " of " << numReports
        << " reports: " << title(failing.all[i].constraint) << "\n";
  }
  if (failing.all.size() > maxShown) {
    out << failing.all.size() - maxShown << " more are violated less often\n";
  }
  if (numSatisfying > 0) {
    out << "no conflict: " << numSatisfying << " of " << numReports
        << " reports satisfy all hard constraints\n";
    return;
  }
  out << (failing.isSmallest ? "a smallest set" : "a set")
      << " of which every report violates one: ";
  const auto writeTitles = [&](const std::vector<std::size_t>& constraints) {
    constexpr std::size_t maxTitles = 10;
    for (std::size_t i = 0; i < std::min(constraints.size(), maxTitles); ++i) {
      out << (i > 0 ? ", " : "") << title(constraints[i]);
    }
    out << (constraints.size() > maxTitles ? ", ...\n" : "\n");
  };
  writeTitles(failing.set);
  const auto neighbours = hardNeighbours(model, failing.set);
  if (!neighbours.empty()) {
    out << "hard constraints that share a variable with it: ";
    writeTitles(neighbours);
  }
  out << "this is evidence of a conflict around them, no proof\n";
}

void writeWarnings(std::ostream& out, const std::string& fileName,
                   const std::vector<Warning>& warnings) {
  for (const Warning& warning : warnings) {
    out << printable(fileName) << ":";
    if (warning.line > 0) {
      out << warning.line << ":";
    }
    out << " warning: " << printable(warning.message) << " [" << warning.kind
        << "]\n";
  }
}

}  // namespace check
