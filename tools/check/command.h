// What the programs that read a model have in common.

#pragma once

#include <functional>
#include <stdexcept>
#include <string>

#include "tools/check/model.h"

namespace check {

// What ends a program with a message and a status.
struct Failure : std::runtime_error {
  int status;

  Failure(int itsStatus, std::string const& message)
      : std::runtime_error(message), status(itsStatus) {}
};

// The status if something cannot be read, written or understood.
inline constexpr int failed = 2;

// "PROGRAM: MESSAGE" on standard error, escaped.
void complain(std::string const& program, std::string const& message);

// Reads the model. Writes its errors to standard error and throws Failure if
// there are any; throws std::runtime_error if it cannot be read.
Model readModel(std::string const& name);

// The status of the program, 0 unless `run` throws. Messages of what it throws
// and of what cannot be written go to standard error.
int runCommand(std::string const& program, std::function<void()> const& run);

}  // namespace check
