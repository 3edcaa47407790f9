// The names behind the numbers: the solver knows variables and values only by
// number, a dictionary maps the names of one kind to these numbers and back.

#pragma once

#include <map>
#include <string>
#include <vector>

/// Orders two pointers by the strings that they point at, byte by byte.
struct Dictionarylt {
  bool operator()(const std::string* a, const std::string* b) const {
    return a->compare(*b) < 0;
  }
};

/// Names numbered 0, 1, 2, ... in the order in which they were added, each name
/// once. The map and `names` point at the same strings, which the dictionary
/// owns.
class Dictionary : public std::map<const std::string*, unsigned, Dictionarylt> {
 public:
  std::vector<const std::string*> names;  ///< names[k] has the number k

  Dictionary() = default;
  Dictionary(Dictionary const&) = delete;
  Dictionary& operator=(Dictionary const&) = delete;
  virtual ~Dictionary();

  /// The number of `name`. Of an unknown name: size(), a number that no name
  /// has, when `lenient`, else throws std::runtime_error.
  unsigned getId(std::string const& name, bool lenient) const;

  /// Adds `name` and returns its number. Throws std::runtime_error, changing
  /// nothing, when it is already there.
  unsigned add(std::string const& name);
};
