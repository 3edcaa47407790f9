// Each violated constraint is explained by what is on under the assignment, in
// the order of the model: the terms that make up its sum, or the variables
// that share a value.

#include "tools/check/output.h"

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>

namespace check {

namespace {

using Json = nlohmann::ordered_json;

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

void writeTerms(std::ostream& out, const Namer& namer,
                const Constraint& constraint, const Assignment& assignment) {
  bool isAnyOn = false;
  out << "  " << sumText(constraint, sumOf(constraint, assignment));
  for (const Term& term : constraint.terms) {
    if (isOn(term, assignment)) {
      out << (isAnyOn ? "" : " with") << "\n    " << term.coefficient << " "
          << namer.label(term.label1);
      if (constraint.kind == Constraint::quadratic) {
        out << namer.label(term.label2);
      }
      isAnyOn = true;
    }
  }
  out << (isAnyOn ? "\n" : ", no term is on\n");
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
      << ") by " << violation << "\n";
  if (constraint.kind == Constraint::alldiff) {
    writeShared(out, namer, constraint, assignment);
  } else {
    writeTerms(out, namer, constraint, assignment);
  }
}

// [variable, value]
Json jsonLabel(const Namer& namer, const Label& label) {
  return Json::array({namer.variable(label.variable), namer.value(label)});
}

Json jsonTerms(const Namer& namer, const Constraint& constraint,
               const Assignment& assignment) {
  Json terms = Json::array();
  for (const Term& term : constraint.terms) {
    if (isOn(term, assignment)) {
      Json labels = Json::array({jsonLabel(namer, term.label1)});
      if (constraint.kind == Constraint::quadratic) {
        labels.push_back(jsonLabel(namer, term.label2));
      }
      terms.push_back({{"coefficient", term.coefficient}, {"labels", labels}});
    }
  }
  return terms;
}

Json jsonShared(const Namer& namer, const Constraint& constraint,
                const Assignment& assignment) {
  Json shared = Json::array();
  for (const auto& variables : sharedValues(constraint, assignment)) {
    Json labels = Json::array();
    for (const unsigned v : variables) {
      labels.push_back(jsonLabel(namer, {v, assignment[v]}));
    }
    shared.push_back(
        {{"number", assignment[variables[0]]}, {"labels", std::move(labels)}});
  }
  return shared;
}

// Exact numbers that may pass 64 bits are strings.
Json jsonViolated(const Namer& namer, const Constraint& constraint,
                  int violation, const Assignment& assignment) {
  Json json = {
      {"name", printable(constraint.name)}, {"line", constraint.line},
      {"kind", kindNames[constraint.kind]}, {"weight", constraint.weight},
      {"hard", constraint.weight == inf},   {"violation", violation}};
  if (constraint.kind == Constraint::alldiff) {
    json["shared"] = jsonShared(namer, constraint, assignment);
  } else {
    json["sum"] = decimal(sumOf(constraint, assignment));
    json["lower"] = hasLower(constraint) ? Json(constraint.lower) : Json();
    json["upper"] = hasUpper(constraint) ? Json(constraint.upper) : Json();
    json["terms"] = jsonTerms(namer, constraint, assignment);
  }
  return json;
}

void addEvaluation(Json& json, const Model& model, const Result& result) {
  const Namer namer{model};
  json["penalty"] = {{"capped", penaltyText(result.evaluation)},
                     {"hard", decimal(result.evaluation.hard)},
                     {"soft", decimal(result.evaluation.soft)}};
  Json assignment = Json::array();
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    assignment.push_back(jsonLabel(namer, {v, result.assignment[v]}));
  }
  json["assignment"] = std::move(assignment);
  Json violated = Json::array();
  for (std::size_t c = 0; c < model.constraints.size(); ++c) {
    if (const int violation = result.evaluation.violations[c]; violation > 0) {
      violated.push_back(jsonViolated(namer, model.constraints[c], violation,
                                      result.assignment));
    }
  }
  json["violated"] = std::move(violated);
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
    for (std::size_t c = 0; c < model.constraints.size(); ++c) {
      if (const int violation = result.evaluation.violations[c];
          violation > 0) {
        writeViolated(out, {model}, model.constraints[c], violation,
                      result.assignment);
      }
    }
  }
  for (const std::string& difference : result.differences) {
    out << "differs: " << printable(difference) << "\n";
  }
  out << result.verdict << "\n";
}

void writeJson(std::ostream& out, const Model& model, const Result& result) {
  Json json = {{"status", static_cast<int>(result.status)},
               {"verdict", printable(result.verdict)}};
  json["differences"] = Json::array();
  for (const std::string& difference : result.differences) {
    json["differences"].push_back(printable(difference));
  }
  json["warnings"] = Json::array();
  for (const Warning& warning : result.warnings) {
    json["warnings"].push_back({{"kind", warning.kind},
                                {"line", warning.line},
                                {"message", printable(warning.message)}});
  }
  if (result.isEvaluated) {
    addEvaluation(json, model, result);
  }
  out << json.dump() << "\n";
}

void writeWarnings(std::ostream& out, const std::string& fileName,
                   const std::vector<Warning>& warnings) {
  for (const Warning& warning : warnings) {
    out << printable(fileName) << ":";
    if (warning.line > 0) {
      out << warning.line << ":";
    }
    out << " warning: " << printable(warning.message) << "\n";
  }
}

}  // namespace check
