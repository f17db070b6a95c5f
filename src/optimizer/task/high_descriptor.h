// The library's open descriptors: their owner, and how they are kept off the numbers of standard
// input, output and error. A caller that was started with one of these closed would otherwise read
// from, or print into, a file of ours.
#pragma once

namespace vorlan {

// An open descriptor that is closed with its owner.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;

  bool is_open() const { return number_ >= 0; }
  int get() const { return number_; }
  int release();
  // Closes it; the error number of a failed close, by which some file systems tell of a failed
  // write, else 0.
  int close();

 private:
  int number_ = -1;
};

// The descriptor if it is none of these three or no descriptor at all (-1); else a copy above them,
// closed on exec like all of ours, and the given one is closed. -1 with errno set on failure.
int above_standard(int descriptor);

// A copy of another's descriptor, above the standard ones; -1 with errno set on failure.
int copy_above_standard(int descriptor);

}  // namespace vorlan
