// Any bytes as a model: wcsp-check tells a fault exactly where the solver
// refuses it, each at a place of the text, and its warnings stand on any model.

#include "tools/check/advice.h"
#include "tests/fuzz/fuzz.h"
#include "tools/check/reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  bool isRefused = false;
  try {
    ReadModel().read(text);
  } catch (std::runtime_error const&) {
    isRefused = true;
  }
  check::Reading reading = check::readWhole(text);
  require(isRefused == (reading.numFaults > 0),
          "a fault is told where the solver refuses the model");
  std::size_t begin = 0;
  for (check::Fault const& fault : reading.faults) {
    require(begin <= fault.begin && fault.begin <= fault.past &&
                fault.past <= size && !fault.message.empty(),
            "a fault has its place and a message");
    begin = fault.begin;
  }
  check::locate(text, reading.faults);
  check::textWarnings(text).take({});
  reading.warnings.take({});
  if (!isRefused) {
    check::modelWarnings(reading.model).take({});
    check::summary(reading.model);
  }
  return 0;
}
