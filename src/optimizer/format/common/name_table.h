// Finds the index of a name: an open-addressing hash table over names that a NameList holds.
//
// The names come from a file that anyone may have made, so the hash is drawn at random for each
// table (universal hashing): for two different names, whatever they are, the chance that they meet
// is that of random numbers, and no file can be made beforehand that is slow to read.
//
// A slot has 16 bytes. Names of up to 8 bytes, the usual ones in MPS files, are compared in the
// slot itself, one access to memory a search; longer ones by a 61-bit fingerprint and then in full.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "task/model.h"

namespace vorlan {

class NameTable {
 public:
  // The list is borrowed; an index given to insert() is the name's place in it.
  explicit NameTable(const NameList* names);

  // The index of the name, -1 when it is not there.
  int32_t find(std::string_view name) const;

  // Enters the name with this index, unless it is there already: returns the index that it has
  // then. The list must hold the name by the next call, as it is here.
  int32_t insert(std::string_view name, int32_t index);

  void reserve(size_t count);

  // Lets the processor fetch what searching for these names, not more than kAtOnce, will look at:
  // the accesses to memory overlap then, which one search after the other would wait for in turn.
  // Gives the indices that find() will most likely give.
  static constexpr size_t kAtOnce = 64;
  using Likely = std::array<int32_t, kAtOnce>;
  Likely prefetch(std::span<const std::string_view> names) const;

  // Steps of the longest search so far possible, for tests.
  size_t longest_search() const;

 private:
  struct Slot {
    uint64_t key;   // the name itself, or its fingerprint
    uint32_t hash;  // low bits exchanged for the length class
    int32_t index;  // -1: free
  };
  struct Wanted {
    uint64_t key;
    uint32_t hash;
  };

  Wanted prepare(std::string_view name) const;
  uint64_t fingerprint(std::string_view name) const;
  const Slot* search(const Wanted& wanted, std::string_view name) const;
  int32_t find_key(const Wanted& wanted) const;
  bool holds(const Slot& slot, const Wanted& wanted, std::string_view name) const;
  size_t home(uint32_t hash) const { return hash >> shift_; }
  void rebuild(unsigned bits);

  const NameList* names_;
  std::vector<Slot> slots_;
  size_t count_ = 0;
  unsigned shift_ = 0;
  std::array<uint64_t, 5> seeds_;
};

}  // namespace vorlan
