// Which public instances a test solves: with sanitizers, ten times as slow, every third; else all.
// The release build's run of the same tests proves the answers; the sanitizers look for faults of
// memory, which the third finds as well.
#pragma once

namespace vorlan::test {

#if defined(__SANITIZE_ADDRESS__)
constexpr int kInstanceStep = 3;
#else
constexpr int kInstanceStep = 1;
#endif

// Counts the instances that a test comes upon, and says whether it is this one's turn.
class InstanceShare {
 public:
  bool takes_next() { return seen_++ % kInstanceStep == 0; }

 private:
  int seen_ = 0;
};

}  // namespace vorlan::test
