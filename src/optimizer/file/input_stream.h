// The bytes of a file, whatever way it comes: by name, on standard input ("-"), through a pipe,
// plain or compressed. Compression is told by content. Data are decompressed as they are asked for,
// so that a small file with a huge content costs the memory that its reader keeps and no more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "file/compression.h"
#include "file/descriptor_io.h"
#include "task/parameters.h"
#include "task/status.h"

namespace vorlan {

class InputStream {
 public:
  InputStream();
  ~InputStream();
  InputStream(const InputStream&) = delete;
  InputStream& operator=(const InputStream&) = delete;

  // Opens the file and looks at its first bytes. shown_name is what messages call it. A compression
  // that is given must be the content's; kNone then takes the bytes as they are.
  [[nodiscard]] Status open(const char* filename, std::string_view shown_name,
                            std::optional<Compression> compression = std::nullopt);

  // The first bytes of what read() would give, `size` of them or all that there are; they are still
  // to be read. To be called once, before the first read().
  [[nodiscard]] Status peek(size_t size, std::string_view* content);

  // Reads into the buffer what comes next: at least one byte, none only at the end. A compressed
  // content is known to be whole only when the end has been reached: take nothing for good before.
  [[nodiscard]] Status read(char* buffer, size_t size, size_t* count);

  const std::string& shown_name() const { return shown_name_; }
  // The most bytes that a reader keeps at once, for a line or a text: VLN_IPAR_READ_TOKEN_LIMIT.
  void set_longest_token(size_t bytes) { longest_token_ = bytes; }
  size_t longest_token() const { return longest_token_; }
  Compression compression() const { return compression_; }

 private:
  Status open_descriptor(const char* filename);
  Status read_content(char* buffer, size_t size, size_t* count);
  Status fill_raw();
  Status fill_head();
  Status read_plain(char* buffer, size_t size, size_t* count);
  Status read_decoded(char* buffer, size_t size, size_t* count);
  Status read_failure(int error) const;
  Status data_failure(const char* cause) const;

  std::string shown_name_;
  size_t longest_token_ = size_t{256} << 20;
  Descriptor owned_;
  int descriptor_ = -1;
  Compression compression_ = Compression::kNone;
  std::unique_ptr<Decoder> decoder_;

  std::unique_ptr<char[]> raw_buffer_;
  std::string_view raw_;         // bytes of the file that are read but not used
  uint64_t raw_bytes_read_ = 0;  // where in the file they end
  bool raw_end_ = false;

  std::string ahead_;  // what peek() has taken from the content
  size_t ahead_used_ = 0;
};

// The limit in the form that set_longest_token() takes.
size_t longest_token(const Parameters& parameters);

}  // namespace vorlan
