#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tools/check/files.h"
#include "tools/check/text.h"
#include "tools/engines/child.h"
#include "tools/engines/engine.h"
#include "tools/model/lp_file.h"

namespace engines {

namespace {

// Where a shell finds the program.
bool isThere(std::string const& program) {
  char const* const path = std::getenv("PATH");
  std::string_view folders = path == nullptr ? "/usr/bin:/bin" : path;
  while (!folders.empty()) {
    std::string file(check::takeUpTo(':', folders));
    file.append("/").append(program);
    if (access(file.c_str(), X_OK) == 0) {
      return true;
    }
  }
  return false;
}

// The number behind the last such text.
std::optional<double> numberAfter(std::string const& text,
                                  std::string const& label) {
  const std::size_t at = text.rfind(label);
  if (at == std::string::npos) {
    return std::nullopt;
  }
  std::istringstream rest(text.substr(at + label.size()));
  double number = 0.0;
  return rest >> number ? std::optional(number) : std::nullopt;
}

class Cbc : public Engine {
 public:
  std::string name() const override { return "cbc"; }

  Answer solve(lp::Program const& program, Request const& request) override {
    const Time end = after(request.seconds);
    const Folder folder;
    std::vector<std::string> command = {"cbc", folder.file("m.lp"), "timeMode",
                                        "elapsed"};
    if (!writeFiles(program, request, folder)) {
      return {Answer::nothing, {}, std::nullopt, "cannot write for cbc"};
    }
    if (!request.start.empty()) {
      command.insert(command.end(), {"mips", folder.file("start")});
    }
    double const left =
        std::chrono::duration<double>(end - std::chrono::steady_clock::now())
            .count();
    command.insert(command.end(),
                   {"sec", std::to_string(std::max(left * 0.9, 0.1)), "solve",
                    "solu", folder.file("solution")});
    Child child(command);
    const std::string log = child.readAll(end);
    std::string solution;
    try {
      solution = check::readFile(folder.file("solution"));
    } catch (std::runtime_error const&) {
      return {Answer::nothing, {}, std::nullopt, "cbc did not end in time"};
    }
    return answerOf(log, solution, program.columns.size());
  }

 private:
  // A start has lines of a number, a name and a value; without the number they
  // are ignored, and one without all columns is not used.
  static bool writeFiles(lp::Program const& program, Request const& request,
                         Folder const& folder) {
    std::ofstream model(folder.file("m.lp"));
    writeProgram(model, program);
    if (request.start.empty()) {
      return static_cast<bool>(model.flush());
    }
    std::ofstream start(folder.file("start"));
    for (std::size_t j = 0; j < request.start.size(); ++j) {
      if (request.start[j] != 0) {
        start << j << " x" << j + 1 << " " << request.start[j] << "\n";
      }
    }
    return model.flush() && start.flush();
  }

  static Answer answerOf(std::string const& log, std::string const& solution,
                         std::size_t numColumns) {
    const std::string heading = solution.substr(0, solution.find('\n'));
    Answer answer;
    if (heading.find("nfeasible") != std::string::npos) {
      answer.kind = Answer::infeasible;
      return answer;
    }
    bool const isOptimal = heading.substr(0, 7) == "Optimal";
    answer.bound = isOptimal ? numberAfter(heading, "objective value")
                             : numberAfter(log, "\nLower bound:");
    try {
      answer.values = lp::readSolution(solution, numColumns);
      answer.kind = isOptimal ? Answer::optimal : Answer::found;
    } catch (lp::NoSolution const&) {
      answer.kind = Answer::nothing;
    }
    return answer;
  }
};

}  // namespace

std::unique_ptr<Engine> makeCbc() {
  if (!isThere("cbc")) {
    throw std::runtime_error(
        "the engine cbc is missing; install the package coinor-cbc");
  }
  return std::make_unique<Cbc>();
}

}  // namespace engines
