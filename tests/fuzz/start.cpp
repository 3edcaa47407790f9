// Any bytes as a start file for one model. Every value is in its domain, and
// the assignment, written as a report writes it, is read back as it was.

#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data,
                                      std::size_t size) {
  static ReadModel model;
  if (model.values.empty()) {
    model.read(
        "variable x in {a, b, c} variable y[1] in {0, 1, 007, -1, +1}"
        "variable EOF in {x, EOF, inf} variable \x83\x5c in {\x95#, <, :}");
  }
  auto const start =
      model.readStart(std::string(reinterpret_cast<char const*>(data), size));
  std::string report = "\n[best solution]\n";
  for (unsigned v = 0; v < model.values.size(); ++v) {
    require(start.at(v) < model.values[v]->size(), "values are in range");
    report += *model.variables.names[v] + ": " +
              *model.values[v]->names[start[v]] + '\n';
  }
  require(model.readStart(report) == start, "a report is read back");
  return 0;
}
