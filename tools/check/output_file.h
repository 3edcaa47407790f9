// Files that are replaced as a whole.

#pragma once

#include <string>

namespace check {

// A file whose content is there as a whole or not at all: written under a
// fresh name beside it and renamed, its mode kept, a link followed. What is no
// regular file (a device, a pipe) is written to as it is, by finish() alone.
class OutputFile {
 public:
  // Throws std::runtime_error if nothing can be written there.
  explicit OutputFile(std::string const& path);

  // Replaces the content. Throws std::runtime_error, leaving what was there.
  void replace(std::string const& content) const;

  // The same for the last content.
  void finish(std::string const& content) const;

 private:
  std::string goal;  // links followed
  bool isRegular = true;
  unsigned mode = 0;
};

}  // namespace check
