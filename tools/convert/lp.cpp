#include "tools/check/command.h"
#include "tools/convert/format.h"
#include "tools/model/encode.h"
#include "tools/model/lp_file.h"

namespace convert {

namespace {

void write(std::ostream& out, check::Model const& model) {
  writeProgram(out, encode(lp::sourceOf(model), {}), model);
}

check::Assignment readBack(check::Model const& model,
                           std::string_view solution) {
  std::size_t numLabels = 0;
  for (auto const& values : model.values) {
    numLabels += values.size();
  }
  try {
    return lp::assignmentOf(model, lp::readSolution(solution, numLabels));
  } catch (lp::NoSolution const& error) {
    throw check::Failure(noSolution, error.what());
  }
}

}  // namespace

Format lpFormat() {
  return {"lp", &write, &readBack};
}

}  // namespace convert
