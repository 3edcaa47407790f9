#include "tools/check/model.h"

namespace check {

bool Names::add(std::string const& name) {
  auto const [node, isNew] = numbers.try_emplace(name, size());
  if (isNew) {
    names.push_back(&node->first);
  }
  return isNew;
}

unsigned Names::find(std::string_view name) const {
  auto const node = numbers.find(name);
  return node == numbers.end() ? size() : node->second;
}

}  // namespace check
