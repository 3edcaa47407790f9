// Any bytes as a model: wcsp-check reports errors exactly if the solver refuses
// it, each with a position in the text, and computes warnings for any model.

#include "tools/check/advice.h"
#include "tests/fuzz/fuzz.h"
#include "tools/check/reader.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data,
                                      std::size_t size) {
  const std::string text(reinterpret_cast<char const*>(data), size);
  bool isRefused = false;
  try {
    ReadModel().read(text);
  } catch (std::runtime_error const&) {
    isRefused = true;
  }
  check::Reading reading = check::readWhole(text);
  require(isRefused == (reading.numErrors > 0),
          "an error is reported where the solver refuses the model");
  std::size_t begin = 0;
  for (check::Error const& error : reading.errors) {
    require(begin <= error.begin && error.begin <= error.past &&
                error.past <= size && !error.message.empty(),
            "an error has its place and a message");
    begin = error.begin;
  }
  check::locate(text, reading.errors);
  check::textWarnings(text).take({});
  reading.warnings.take({});
  if (!isRefused) {
    check::modelWarnings(reading.model).take({});
    check::summary(reading.model);
  }
  return 0;
}
