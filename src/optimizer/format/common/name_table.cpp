// The hash table of names and its hash; see name_table.h.
//
// Source of the hash: M. Dietzfelbinger, "Universal hashing and k-wise independent random variables
// via integer arithmetic without primes" (1996), for the 64-bit keys; polynomials modulo 2^61 - 1
// (J. L. Carter and M. N. Wegman, 1981) reduce longer names to such keys.
#include "format/common/name_table.h"

#include <sys/random.h>

#include <algorithm>
#include <chrono>
#include <cstring>

#include "task/numeric.h"

namespace vorlan {
namespace {

constexpr uint64_t kPrime = (uint64_t{1} << 61) - 1;
constexpr size_t kShortName = 8;
constexpr uint32_t kLongName = 15;  // the length class of longer names; the others' is the length
constexpr uint32_t kClassMask = 15;
constexpr unsigned kFewestBits = 4;
constexpr unsigned kMostBits = 32;
__extension__ using Wide = unsigned __int128;

template <class Word>
uint64_t load(const char* at) {
  Word word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

// A name of at most 8 bytes as a number; different names of one length give different numbers.
uint64_t pack(std::string_view name) {
  const size_t size = name.size();
  const char* at = name.data();
  if (size == 8) return load<uint64_t>(at);
  if (size >= 4) return load<uint32_t>(at) | load<uint32_t>(at + size - 4) << 32;
  if (size == 0) return 0;
  return load<uint8_t>(at) | load<uint8_t>(at + size / 2) << 8 | load<uint8_t>(at + size - 1) << 16;
}

// A value below 2^64 times one below the prime, modulo the prime, as a value below 2^62.
uint64_t multiply(uint64_t a, uint64_t b) {
  const Wide product = static_cast<Wide>(a) * b;
  const uint64_t low = static_cast<uint64_t>(product) & kPrime;
  const auto high = static_cast<uint64_t>(product >> 61);
  const uint64_t sum = low + (high & kPrime) + (high >> 61);
  return (sum & kPrime) + (sum >> 61);
}

// A fixed exchange of the 32-bit numbers: it keeps the universality of what goes in, and scatters
// the runs that a product makes of numbered names, which would crowd a linear search.
uint32_t scatter(uint32_t hash) {
  hash ^= hash >> 16;
  hash *= 0x85ebca6bU;
  hash ^= hash >> 13;
  hash *= 0xc2b2ae35U;
  return hash ^ hash >> 16;
}

std::array<uint64_t, 5> random_seeds() {
  std::array<uint64_t, 5> seeds = {};
  if (::getrandom(seeds.data(), sizeof seeds, GRND_NONBLOCK) == sizeof seeds) return seeds;
  // A system this early in its life serves no strangers; the clock is good enough.
  auto state = static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  for (uint64_t& seed : seeds) {
    state = state * 6364136223846793005U + 1442695040888963407U;
    seed = state ^ state >> 29;
  }
  return seeds;
}

}  // namespace

NameTable::NameTable(const NameList* names) : names_(names), seeds_(random_seeds()) {
  seeds_[4] %= kPrime;
  rebuild(kFewestBits);
}

int32_t NameTable::find(std::string_view name) const { return search(prepare(name), name)->index; }

int32_t NameTable::insert(std::string_view name, int32_t index) {
  const Wanted wanted = prepare(name);
  const Slot* found = search(wanted, name);
  if (found->index >= 0) return found->index;
  slots_[static_cast<size_t>(found - slots_.data())] = {wanted.key, wanted.hash, index};
  ++count_;
  reserve(count_);
  return index;
}

// At most five slots of eight are taken: searches stay short, and the table is at most doubled.
void NameTable::reserve(size_t count) {
  unsigned bits = kMostBits - shift_;
  while (bits < kMostBits && count > ((size_t{1} << bits) / 8) * 5) ++bits;
  if (bits != kMostBits - shift_) rebuild(bits);
}

// A search goes to three places, each of which the one before tells: the slot, the name's place in
// the list, and the name.
NameTable::Likely NameTable::prefetch(std::span<const std::string_view> names) const {
  constexpr ptrdiff_t kCacheLine = 64;
  std::array<Wanted, kAtOnce> wanted;
  Likely likely;
  for (size_t i = 0; i < names.size(); ++i) {
    wanted[i] = prepare(names[i]);
    __builtin_prefetch(&slots_[home(wanted[i].hash)]);
  }
  for (size_t i = 0; i < names.size(); ++i) {
    likely[i] = find_key(wanted[i]);
    if (likely[i] >= 0 && names[i].size() > kShortName) {
      names_->prefetch(index(likely[i]));
    }
  }
  for (size_t i = 0; i < names.size(); ++i) {
    if (likely[i] < 0 || names[i].size() <= kShortName) continue;
    const std::string_view name = (*names_)[index(likely[i])];
    __builtin_prefetch(name.data());
    __builtin_prefetch(name.data() + kCacheLine);
  }
  return likely;
}

size_t NameTable::longest_search() const {
  size_t longest = 0;
  for (size_t at = 0; at < slots_.size(); ++at) {
    if (slots_[at].index < 0) continue;
    const size_t steps = (at - home(slots_[at].hash)) & (slots_.size() - 1);
    longest = std::max(longest, steps + 1);
  }
  return longest;
}

NameTable::Wanted NameTable::prepare(std::string_view name) const {
  const bool is_short = name.size() <= kShortName;
  const uint64_t key = is_short ? pack(name) : fingerprint(name);
  const uint32_t length_class = is_short ? static_cast<uint32_t>(name.size()) : kLongName;
  const uint64_t low = key & 0xffffffffU;
  const uint64_t high = key >> 32;
  const uint64_t mixed =
      (seeds_[0] + low) * (seeds_[1] + high) + seeds_[2] + seeds_[3] * length_class;
  const uint32_t hash = scatter(static_cast<uint32_t>(mixed >> 32));
  return {key, (hash & ~kClassMask) | length_class};
}

// The polynomial with the name's length and its 7-byte pieces as coefficients at a random place:
// two names agree with a chance of at most (length / 7 + 2) / 2^61.
uint64_t NameTable::fingerprint(std::string_view name) const {
  constexpr size_t kPiece = 7;
  const char* at = name.data();
  const char* const end = at + name.size();
  uint64_t sum = multiply(name.size(), seeds_[4]);
  for (; static_cast<size_t>(end - at) > kPiece; at += kPiece) {
    sum = multiply(sum + (load<uint64_t>(at) & 0xffffffffffffffU), seeds_[4]);
  }
  // The last piece overlaps the one before, so that each load stays within the name.
  sum = multiply(sum + (load<uint64_t>(end - 8) >> 8), seeds_[4]);
  return sum >= kPrime ? sum - kPrime : sum;
}

// The slot that holds the name, or the free one where it belongs.
const NameTable::Slot* NameTable::search(const Wanted& wanted, std::string_view name) const {
  const size_t mask = slots_.size() - 1;
  size_t at = home(wanted.hash);
  while (slots_[at].index >= 0 && !holds(slots_[at], wanted, name)) at = (at + 1) & mask;
  return &slots_[at];
}

// The index of the first slot with this key, -1 when there is none.
int32_t NameTable::find_key(const Wanted& wanted) const {
  const size_t mask = slots_.size() - 1;
  size_t at = home(wanted.hash);
  while (slots_[at].index >= 0 && slots_[at].key != wanted.key) at = (at + 1) & mask;
  return slots_[at].index;
}

bool NameTable::holds(const Slot& slot, const Wanted& wanted, std::string_view name) const {
  if (slot.hash != wanted.hash || slot.key != wanted.key) return false;
  if ((wanted.hash & kClassMask) != kLongName) return true;
  return (*names_)[index(slot.index)] == name;
}

void NameTable::rebuild(unsigned bits) {
  const std::vector<Slot> earlier = std::move(slots_);
  slots_.assign(size_t{1} << bits, Slot{0, 0, -1});
  shift_ = kMostBits - bits;
  const size_t mask = slots_.size() - 1;
  for (const Slot& slot : earlier) {
    if (slot.index < 0) continue;
    size_t at = home(slot.hash);
    while (slots_[at].index >= 0) at = (at + 1) & mask;
    slots_[at] = slot;
  }
}

}  // namespace vorlan
