// Any bytes as a model: the lexer alone, whose line numbers are counted again,
// then the reader, which accepts them or throws what it may.

#include <algorithm>

#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data,
                                      std::size_t size) {
  const std::string text(reinterpret_cast<char const*>(data), size);
  auto const numLines = 1 + std::count(text.begin(), text.end(), '\n');
  std::istringstream stream(text);
  Lexer lexer(stream, 1, Wcsp::inf);
  for (lexer.getnext(); lexer.kind != Lexer::eof; lexer.getnext()) {
    require(!lexer.text.empty(), "a token has a text");
    require(lexer.tokenLine >= lexer.previousLine, "lines ascend");
  }
  // A comment that the input ends in ends a line too.
  require(lexer.line == numLines || lexer.line == numLines + 1,
          "every newline counts once");
  ReadModel model;
  try {
    model.read(text);
  } catch (std::runtime_error const&) {
    return 0;
  }
  require(model.solver.getNumVariables() == model.values.size() &&
              model.solver.getNumConstraints() == model.constraintName.size(),
          "everything read has its names");
  return 0;
}
