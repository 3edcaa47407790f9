#include "tools/check/command.h"

#include <fcntl.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <utility>

#include "tools/check/advice.h"
#include "tools/check/files.h"
#include "tools/check/reader.h"
#include "tools/check/text.h"

namespace check {

namespace {

// No file that is opened may take the place of a closed standard descriptor.
void fillDescriptors() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) == -1 && open("/", O_RDONLY) != descriptor) {
      std::_Exit(failed);
    }
  }
}

}  // namespace

void complain(std::string const& program, std::string const& message) {
  std::cerr << program << ": " << printable(message) << std::endl;
}

Model readModel(std::string const& name) {
  const std::string text = readFile(name);
  Reading reading = readWhole(text);
  if (reading.numErrors > 0) {
    writeErrors(std::cerr, name, locate(text, reading.errors), {});
    throw Failure(failed, "no model: " + std::to_string(reading.numErrors) +
                              (reading.numErrors == 1 ? " error" : " errors"));
  }
  return std::move(reading.model);
}

int runCommand(std::string const& program, std::function<void()> const& run) {
  fillDescriptors();
  int status = failed;
  try {
    run();
    status = 0;
  } catch (Failure const& failure) {
    complain(program, failure.what());
    status = failure.status;
  } catch (std::bad_alloc const&) {
    complain(program, "out of memory");
  } catch (std::exception const& error) {
    complain(program, error.what());
  }
  if (!std::cout.flush()) {
    complain(program, "cannot write to standard output");
    status = failed;
  }
  return status;
}

}  // namespace check
