// The solver uses numbers for variables and values. A dictionary maps the names
// of one kind to these numbers and back.

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

  /// The number of `name`. For an unknown name, returns size() if `lenient`,
  /// otherwise throws std::runtime_error. Allocates only the message.
  unsigned getId(std::string const& name, bool lenient) const;

  /// Adds `name` and returns its number. Throws std::runtime_error and changes
  /// nothing if it already exists.
  unsigned add(std::string const& name);

 private:
  static constexpr unsigned noName = 4294967295U;

  /// Numbers of names or `noName`; the size is 0 or a power of two, and at
  /// least every second slot is empty.
  std::vector<unsigned> slots;

  std::size_t findSlot(std::string const& name) const;
  void grow();
};

/// Deletes each dictionary once and clears the list. Consecutive entries may be
/// the same dictionary.
void deleteAll(std::vector<Dictionary*>& dictionaries);
