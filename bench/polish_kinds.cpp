// Polishes a model without one kind of neighbourhood.
//
// Usage: wcsp_polish_kinds MODEL CPU-SECONDS SEED all|rows|columns|values|
// violated|random. Prints the progress of wcsp-polish, in CPU time.

#include <cstdlib>
#include <ctime>
#include <iostream>
#include <string>

#include "tools/check/files.h"
#include "tools/check/layout.h"
#include "tools/check/reader.h"
#include "tools/polish/output.h"
#include "tools/polish/polisher.h"

namespace {

double cpuSeconds() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::cerr << "usage: wcsp_polish_kinds MODEL CPU-SECONDS SEED KIND\n";
    return EXIT_FAILURE;
  }
  const std::string text = check::readFile(argv[1]);
  const check::Model model = check::readWhole(text).model;
  const check::Grids grids = layOut(model, {}, {}).variables;
  polish::Polisher polisher(model, grids, std::strtoul(argv[3], nullptr, 10),
                            argv[4]);
  double const limit = cpuSeconds() + std::strtod(argv[2], nullptr);
  polisher.setSolution(polisher.begin());
  polisher.search();
  polish::writeProgress(std::cout, polisher.solution(), 0.0, 0);
  for (std::uint64_t step = 1; cpuSeconds() < limit; ++step) {
    if (polisher.step()) {
      polish::writeProgress(
          std::cout, polisher.solution(),
          cpuSeconds() - (limit - std::strtod(argv[2], nullptr)), step);
    }
  }
  return EXIT_SUCCESS;
}
