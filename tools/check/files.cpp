#include "tools/check/files.h"

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace check {

namespace {

// C streams report a directory as an error, where C++ streams see an empty
// file.
std::string readAll(std::FILE* file, std::string const& name) {
  std::string text;
  char buffer[65536];
  std::size_t size = 0;
  while (file != nullptr &&
         (size = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
    text.append(buffer, size);
  }
  if (file == nullptr || std::ferror(file) != 0) {
    throw std::runtime_error("cannot read '" + name + "'");
  }
  return text;
}

}  // namespace

std::string readFile(std::string const& name) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
      std::fopen(name.c_str(), "rb"), &std::fclose);
  return readAll(file.get(), name);
}

std::string readFileOrInput(std::string const& name) {
  return name == "-" ? readAll(stdin, "standard input") : readFile(name);
}

}  // namespace check
