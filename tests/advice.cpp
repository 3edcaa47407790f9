// Checks many models in one process. Reads texts from standard input, each
// after a line with its size. For each, writes the errors and warnings of
// wcsp-check, and
// "= 1" if the solver refuses it.

#include "tools/check/advice.h"

#include <iostream>

#include "tests/fuzz/fuzz.h"
#include "tools/check/output.h"

namespace {

void judge(std::string const& text) {
  bool isRefused = false;
  try {
    ReadModel().read(text);
  } catch (std::runtime_error const&) {
    isRefused = true;
  }
  check::Reading reading = check::readWhole(text);
  check::Warnings warnings = check::textWarnings(text);
  warnings.append(reading.warnings);
  if (reading.numErrors == 0) {
    warnings.append(check::modelWarnings(reading.model));
  }
  writeErrors(std::cout, "m", check::locate(text, reading.errors), {});
  writeWarnings(std::cout, "m", warnings.take({}));
  std::cout << "= " << isRefused << "\n";
}

}  // namespace

int main() {
  for (std::size_t size = 0; std::cin >> size;) {
    std::string text(size, '\0');
    std::cin.ignore();
    std::cin.read(text.data(), static_cast<std::streamsize>(size));
    judge(text);
  }
}
