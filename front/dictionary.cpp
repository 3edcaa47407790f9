// The dictionary looks a name up by the address of the caller's string and
// copies it only when it is new, so that a look-up allocates nothing.

#include "front/dictionary.h"

#include <memory>
#include <stdexcept>

Dictionary::~Dictionary() {
  for (auto const& entry : *this) {
    delete entry.first;
  }
}

unsigned Dictionary::getId(std::string const& name, bool lenient) const {
  const auto entry = find(&name);
  if (entry != end()) {
    return entry->second;
  }
  if (!lenient) {
    throw std::runtime_error(name + ": unknown variable/value\n");
  }
  return static_cast<unsigned>(size());
}

unsigned Dictionary::add(std::string const& name) {
  if (contains(&name)) {
    throw std::runtime_error(name + ": already defined\n");
  }
  const auto id = static_cast<unsigned>(size());
  auto copy = std::make_unique<const std::string>(name);
  emplace(copy.get(), id);
  names.push_back(copy.release());  // the map owns it from here on
  return id;
}
