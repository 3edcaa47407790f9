// The names behind the numbers: the solver knows variables and values only by
// number, a dictionary maps the names of one kind to these numbers and back.

#pragma once

#include <string>
#include <vector>

/// Names numbered 0, 1, 2, ... in the order in which they were added, each name
/// once. A hash table with linear probing finds the number of a name.
class Dictionary {
 public:
  std::vector<std::string const*> names;  ///< names[k] has the number k; owned

  Dictionary() = default;
  Dictionary(Dictionary const&) = delete;
  Dictionary& operator=(Dictionary const&) = delete;
  virtual ~Dictionary();

  /// The number of names.
  std::size_t size() const { return names.size(); }

  /// The number of `name`. Of an unknown name: size(), a number that no name
  /// has, when `lenient`, else throws std::runtime_error. Allocates nothing but
  /// the message.
  unsigned getId(std::string const& name, bool lenient) const;

  /// Adds `name` and returns its number. Throws std::runtime_error, changing
  /// nothing, when it is already there.
  unsigned add(std::string const& name);

 private:
  static constexpr unsigned noName = 4294967295U;

  /// Numbers of names or `noName`; the size is 0 or a power of two, and at
  /// least every second slot is empty.
  std::vector<unsigned> slots;

  std::size_t findSlot(std::string const& name) const;
  void grow();
};

/// Deletes each dictionary once and empties the list. Those in a row may be
/// one.
void deleteAll(std::vector<Dictionary*>& dictionaries);
