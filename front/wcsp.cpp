// The program: reads the options, the model and a start file, runs the solver
// and prints its report. Every failure gives one message on standard output and
// one exit status; nothing is ever written to standard error. All exceptions
// are caught here.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "front/dictionary.h"
#include "front/initial_solution.h"
#include "front/lexer.h"
#include "front/model_reader.h"
#include "front/options.h"
#include "solver/cpu_time.h"
#include "solver/wcsp.h"

namespace {

// The runtime would print an uncaught exception to standard error, and creating
// the solver can already throw one.
const std::terminate_handler previousTerminate = std::set_terminate(std::abort);

Wcsp* wcsp = Wcsp::makeWcsp();
Dictionary variables;
std::vector<Dictionary*> values;
std::vector<std::string> constraintName;

enum Status {
  success = 0,
  interrupted = 1,
  unreadableModel = 2,
  unreadableStart = 3,
  unwritableLog = 4,
  wrongModel = 5,
  outOfMemory = 6,
  failure = -1
};

// The next opened file would take the place of a closed standard descriptor and
// be read or written by mistake. A directory can be neither read nor written,
// so input and output fail as they should.
void occupyClosedDescriptors() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) == -1 && open("/", O_RDONLY) != descriptor) {
      std::_Exit(failure);
    }
  }
}

// A directory opens like a file and fails only when it is read.
bool openFile(std::ifstream& stream, std::string const& name) {
  std::error_code unknown;
  if (!std::filesystem::is_directory(name, unknown)) {
    stream.open(name);
  }
  return stream.is_open();
}

bool isSameRegularFile(struct stat const& a, struct stat const& b) {
  return S_ISREG(a.st_mode) && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Whether the log would overwrite what the run has read.
bool isInput(std::string const& logFile, Options const& options) {
  struct stat log = {};
  struct stat input = {};
  if (stat(logFile.c_str(), &log) != 0) {
    return false;
  }
  bool const isModel = options.inputFile.empty()
                           ? fstat(STDIN_FILENO, &input) == 0
                           : stat(options.inputFile.c_str(), &input) == 0;
  if (isModel && isSameRegularFile(log, input)) {
    return true;
  }
  return !options.initialSolutionFile.empty() &&
         stat(options.initialSolutionFile.c_str(), &input) == 0 &&
         isSameRegularFile(log, input);
}

void printUnreadable(std::string const& name) {
  std::cout << "\n# cannot read data from " << name << std::endl;
}

void printModelError(int line, char const* message) {
  std::cout << '\n' << line << ": " << message << std::endl;
}

void printAssignment(std::vector<unsigned> const& assignment) {
  for (unsigned v = 0; v < assignment.size(); ++v) {
    std::cout << *variables.names[v] << " = "
              << *values[v]->names[assignment[v]] << std::endl;
  }
}

// The report on the best assignment. It must not allocate, because memory may
// be exhausted. The caller may have had to set the heading aside, so it is
// passed by value.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void printsol(std::string heading) {  // cppcheck-suppress passedByValue
  std::cout << std::endl << heading << std::endl;
  for (unsigned v = 0; v < wcsp->getNumVariables(); ++v) {
    std::cout << *variables.names[v] << ": "
              << *values[v]->names[wcsp->getValue(v)] << std::endl;
  }
  std::cout << std::endl;
  std::cout << "penalty: " << wcsp->getHardPenalty() << "/"
            << wcsp->getSoftPenalty() << " (hard/soft)" << std::endl;
  std::cout << std::endl << "[Violated constraints]" << std::endl;
  for (unsigned c = 0; c < wcsp->getNumConstraints(); ++c) {
    if (wcsp->getPenalty(c) > 0) {
      std::cout << constraintName[c] << ": " << wcsp->getPenalty(c)
                << std::endl;
    }
  }
}

void configure(Options const& options) {
  wcsp->setAdjustment(options.adjustment);
  wcsp->setDisplay(options.display);
  wcsp->setMaxIteration(static_cast<unsigned>(options.maxIteration));
  wcsp->setMaxIterationUnimproved(
      static_cast<unsigned>(options.maxIterationUnimproved));
  wcsp->setInterval(static_cast<unsigned>(options.interval));
  wcsp->setRandomSeed(options.seed);
  wcsp->setTarget(options.target < 0 ? 0 : options.target);
  wcsp->setMaxCpuTime(options.maxCpuTime);
}

// Whether the model could be read; prints the error if not.
bool loadModel(Lexer& lexer, int& target) {
  try {
    readModel(lexer, *wcsp, variables, values, constraintName, target);
  } catch (std::ios_base::failure const&) {
    printModelError(lexer.tokenLine, "cannot read the model");
    return false;
  } catch (std::runtime_error const& error) {
    printModelError(lexer.tokenLine, error.what());
    return false;
  }
  return true;
}

// Empty if the file cannot be opened or read.
std::optional<std::vector<unsigned>> loadStart(std::string const& name) {
  std::ifstream file;
  if (!openFile(file, name)) {
    return std::nullopt;
  }
  Lexer lexer(file, 1, Wcsp::inf);
  try {
    return readInitialSolution(lexer, variables, values);
  } catch (std::ios_base::failure const&) {
    return std::nullopt;
  }
}

// An empty assignment: the solver makes its own.
Status solve(std::vector<unsigned> const& initial) {
  // Too long for the string's own storage, so made while there is memory.
  std::string heading = "[incumbent solution]";
  try {
    if (initial.empty()) {
      wcsp->solve();
    } else {
      wcsp->solve(initial);
    }
  } catch (std::bad_alloc const&) {
    std::cout << "Memory overflow" << std::endl;
    printsol(std::move(heading));
    return outOfMemory;
  } catch (std::runtime_error const& error) {
    std::cout << error.what() << std::endl;
    if (std::strcmp(error.what(), "Interrupted.") != 0) {
      return failure;
    }
    printsol(std::move(heading));
    return interrupted;
  }
  printsol("[best solution]");
  return success;
}

// The exit status. A run whose output was lost must not look successful. A
// stopped solver is not deleted, because its destructor would flush the log
// file.
int endRun(Status status) {
  deleteAll(values);
  if (status == success) {
    delete wcsp;
  }
  std::cout.flush();
  bool const claimsReport =
      status == success || status == interrupted || status == outOfMemory;
  return claimsReport && !std::cout ? failure : status;
}

Status run(int argc, char** argv) {
  const CpuTime cpuTime;
  occupyClosedDescriptors();
  // Without this, standard input is read character by character.
  std::ios_base::sync_with_stdio(false);

  std::optional<Options> options = readOptions(argc, argv);
  if (!options) {
    std::cout << usageText(argv[0]) << std::flush;
    return success;
  }

  std::cout << "# reading data ..." << std::flush;
  std::ifstream modelFile;
  if (!options->inputFile.empty() && !openFile(modelFile, options->inputFile)) {
    printUnreadable(options->inputFile);
    return unreadableModel;
  }
  Lexer lexer(options->inputFile.empty() ? std::cin : modelFile, 1, Wcsp::inf);
  if (!loadModel(lexer, options->target)) {
    return wrongModel;
  }
  std::cout.setf(std::ios_base::fixed, std::ios_base::floatfield);
  std::cout.precision(2);
  std::cout << " done: " << cpuTime() << "(s)" << std::endl;
  modelFile.close();

  std::vector<unsigned> initial;
  if (!options->initialSolutionFile.empty()) {
    auto start = loadStart(options->initialSolutionFile);
    if (!start) {
      printUnreadable(options->initialSolutionFile);
      return unreadableStart;
    }
    initial = std::move(*start);
    printAssignment(initial);
  }

  configure(*options);
  if (!options->logFile.empty() &&
      (isInput(options->logFile, *options) ||
       wcsp->setLogFileName(options->logFile, false))) {
    std::cout << "Cannot open log file." << std::endl;
    return unwritableLog;
  }
  return solve(initial);
}

}  // namespace

int main(int argc, char** argv) {
  return endRun(run(argc, argv));
}
