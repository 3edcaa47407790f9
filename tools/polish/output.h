// Reports and progress in the form of the solver, and files that are replaced
// as a whole.

#ifndef TOOLS_POLISH_OUTPUT_H_
#define TOOLS_POLISH_OUTPUT_H_

#include <cstdint>
#include <ostream>
#include <string>

#include "tools/check/model.h"
#include "tools/polish/polisher.h"

namespace polish {

// "penalty = 0/7 (hard/soft), time = 1.25(s), iteration = 3"
void writeProgress(std::ostream& out, const Solution& solution, double seconds,
                   std::uint64_t step);

// From "[best solution]" to the last violated constraint.
void writeReport(std::ostream& out, const check::Model& model,
                 const Solution& solution);

// A file whose content is there as a whole or not at all: written under a
// fresh name beside it and renamed, its mode kept, a link followed. What is no
// regular file (a device, a pipe) is written to as it is, by finish() alone.
class OutputFile {
 public:
  // Throws std::runtime_error if nothing can be written there.
  explicit OutputFile(const std::string& path);

  // Replaces the content. Throws std::runtime_error, leaving what was there.
  void replace(const std::string& content) const;

  // The same for the last content.
  void finish(const std::string& content) const;

 private:
  std::string goal;  // links followed
  bool isRegular = true;
  unsigned mode = 0;
};

}  // namespace polish

#endif  // TOOLS_POLISH_OUTPUT_H_
