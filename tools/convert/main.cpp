// wcsp-convert: writes models in the formats of other programs, and turns
// their solutions into start files.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "tools/check/command.h"
#include "tools/check/files.h"
#include "tools/check/output_file.h"
#include "tools/convert/format.h"

namespace {

using check::failed;
using check::Failure;

struct Options {
  std::string model;
  std::string solution;
  std::string format;
  bool isBack = false;
  std::string output;
};

std::string converted(Options const& options) {
  const check::Model model = check::readModel(options.model);
  const convert::Format format = convert::lpFormat();
  std::ostringstream out;
  if (!options.isBack) {
    format.write(out, model);
    return out.str();
  }
  const std::string solution = check::readFileOrInput(options.solution);
  const check::Assignment assignment = format.readBack(model, solution);
  for (unsigned v = 0; v < model.variables.size(); ++v) {
    out << model.variables[v] << ": " << model.values[v][assignment[v]] << "\n";
  }
  return out.str();
}

void run(Options const& options) {
  for (std::string const& input : {options.model, options.solution}) {
    std::error_code error;
    if (std::filesystem::equivalent(options.output, input, error)) {
      throw Failure(failed, "--output names an input");
    }
  }
  std::optional<check::OutputFile> file;
  if (!options.output.empty()) {
    file.emplace(options.output);
  }
  const std::string text = converted(options);
  if (file) {
    file->finish(text);
  } else {
    std::cout << text;
  }
}

Options parse(int argc, char** argv) {
  Options options;
  CLI::App app(
      "Writes a model in the format of other programs (--to), or turns a "
      "solution that\nthey found into a start file of wcsp (--back).\n"
      "Status: 0 done; 2 something cannot be read, written, understood or "
      "converted;\n3 SOLUTION is none.",
      "wcsp-convert");
  app.add_option("MODEL", options.model, "The model")->required();
  CLI::Option* const solution =
      app.add_option("SOLUTION", options.solution,
                     "With --back: a solution file; - for standard input");
  CLI::Option* const to =
      app.add_option("--to", options.format,
                     "Write the model in this format: lp")
          ->type_name("FORMAT")
          ->check(CLI::IsMember(std::vector{convert::lpFormat().name})
                      .description(""));
  app.add_flag("--back", options.isBack,
               "Write the assignment of SOLUTION as a start file")
      ->disable_flag_override()
      ->needs(solution)
      ->excludes(to);
  app.add_option("-o,--output", options.output, "Write to this file")
      ->type_name("FILE")
      ->check([](std::string const& name) {
        return std::string(name.empty() ? "names no file" : "");
      });
  app.set_version_flag("--version", "wcsp-convert " WCSP_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      app.exit(error);
      std::exit(std::cout.flush() ? 0 : failed);
    }
    throw Failure(failed, error.what());
  }
  if (!options.isBack && options.format.empty()) {
    throw Failure(failed, "give --to FORMAT or --back");
  }
  if (!options.isBack && !options.solution.empty()) {
    throw Failure(failed, "SOLUTION needs --back");
  }
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  return check::runCommand("wcsp-convert", [=] { run(parse(argc, argv)); });
}
