#include "solver/id_lists.h"

#include <utility>

void IdLists::initialize(std::size_t numLabels) {
  begins.resize(numLabels);
  ids.assign(numLabels, endMark);
  for (std::size_t label = 0; label < numLabels; ++label) {
    begins[label] = label;
  }
}

// Counting sort by label, which keeps the order of the ids. An id noted twice
// for a label stands once, so that a move evaluates its constraint once.
void IdLists::merge() {
  if (noted.empty()) {
    return;
  }
  std::vector<std::size_t> ends(begins.size(), 0);
  for (Entry const& entry : noted) {
    ++ends[entry.label];
  }
  std::vector<unsigned> merged(ids.size() + noted.size(), endMark);
  std::size_t end = 0;
  for (std::size_t label = 0; label < begins.size(); ++label) {
    const std::size_t numNoted = ends[label];
    const std::size_t begin = end;
    for (unsigned const* id = (*this)[static_cast<unsigned>(label)];
         *id != endMark; ++id) {
      merged[end++] = *id;
    }
    ends[label] = end;
    end += numNoted + 1;
    begins[label] = begin;
  }
  for (Entry const& entry : noted) {
    std::size_t& next = ends[entry.label];
    if (next == begins[entry.label] || merged[next - 1] != entry.id) {
      merged[next++] = entry.id;
    }
  }
  ids = std::move(merged);
  noted.clear();
  noted.shrink_to_fit();
}
