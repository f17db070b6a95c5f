// Files of the data folder: small ones read and written whole, and what makes them survive a fall
// of the machine.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vorlan::server {

// An open descriptor, closed with it.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }

  int get() const { return number_; }
  bool valid() const { return number_ >= 0; }
  int release() {
    const int number = number_;
    number_ = -1;
    return number;
  }
  void reset(int number = -1);

 private:
  int number_ = -1;
};

// All are opened with close-on-exec: a worker inherits nothing but its lock.
Descriptor open_for_reading(const std::string& path);
Descriptor create_file(const std::string& path);

// Failures are told as open() tells them: false with errno set. EINTR is dealt with.
[[nodiscard]] bool write_all(int descriptor, std::string_view bytes);
// A small file as a whole: readers find the old one or all of the new one.
[[nodiscard]] bool write_file(const std::string& path, std::string_view text);
// Writes the content of a file, or of a folder's list of names, to the disk.
[[nodiscard]] bool sync_path(const std::string& path);
[[nodiscard]] bool make_folder(const std::string& path);

bool exists(const std::string& path);
// Nothing when there is no such file.
std::optional<uint64_t> file_size(const std::string& path);
// The time of the last change in seconds since 1970.
std::optional<double> file_time(const std::string& path);
// At most `limit` bytes from the start, or from the end, of a file; nothing when it cannot be read.
std::optional<std::string> read_start(const std::string& path, size_t limit);
std::optional<std::string> read_end(const std::string& path, size_t limit);

// At most `limit` bytes from that byte on.
std::optional<std::string> read_part(const std::string& path, uint64_t from, size_t limit);

void remove_tree(const std::string& path);

// An exclusive flock() on the file, which is made when it is missing; not valid when another open
// file has it. It lasts until every copy of the descriptor, inherited ones included, is closed.
Descriptor lock_file(const std::string& path);
// True when somebody holds such a lock.
bool is_locked(const std::string& path);
// True also where the file is there, but the disk does not let it be opened.
bool may_be_locked(const std::string& path);

// Free bytes for the folder's file system.
uint64_t free_bytes(const std::string& folder);

// The text of errno after a failure.
std::string system_error();

// Seconds since 1970.
double unix_time();

}  // namespace vorlan::server
