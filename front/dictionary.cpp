#include "front/dictionary.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <stdexcept>

namespace {

constexpr std::size_t minNumSlots = 8;

}  // namespace

Dictionary::~Dictionary() {
  for (std::string const* name : names) {
    delete name;
  }
}

unsigned Dictionary::getId(std::string const& name, bool lenient) const {
  if (!slots.empty()) {
    unsigned const id = slots[findSlot(name)];
    if (id != noName) {
      return id;
    }
  }
  if (!lenient) {
    throw std::runtime_error(name + ": unknown variable/value\n");
  }
  return static_cast<unsigned>(size());
}

unsigned Dictionary::add(std::string const& name) {
  if (2 * (size() + 1) > slots.size()) {
    grow();
  }
  const std::size_t slot = findSlot(name);
  if (slots[slot] != noName) {
    throw std::runtime_error(name + ": already defined\n");
  }
  auto const id = static_cast<unsigned>(size());
  auto copy = std::make_unique<const std::string>(name);
  names.push_back(copy.get());
  copy.release();
  slots[slot] = id;
  return id;
}

// The slot of the name, or the empty slot where it belongs.
std::size_t Dictionary::findSlot(std::string const& name) const {
  const std::size_t mask = slots.size() - 1;
  std::size_t slot = std::hash<std::string>()(name) & mask;
  while (slots[slot] != noName && *names[slots[slot]] != name) {
    slot = (slot + 1) & mask;
  }
  return slot;
}

void Dictionary::grow() {
  std::vector<unsigned> old(std::max(2 * slots.size(), minNumSlots), noName);
  old.swap(slots);
  for (unsigned id = 0; id < size(); ++id) {
    slots[findSlot(*names[id])] = id;
  }
}

void deleteAll(std::vector<Dictionary*>& dictionaries) {
  auto const end = std::unique(dictionaries.begin(), dictionaries.end());
  std::for_each(dictionaries.begin(), end,
                [](Dictionary const* names) { delete names; });
  dictionaries.clear();
}
