// Compressed streams, decoded and encoded piece by piece: gzip (RFC 1952) through zlib and
// Zstandard (RFC 8878) through libzstd, which are loaded for the first compressed file.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "task/status.h"
#include "vorlan.h"

namespace vorlan {

// The numbers are those of the interface's compression selector.
enum class Compression : uint8_t {
  kNone = VLN_COMPRESSION_NONE,
  kGzip = VLN_COMPRESSION_GZIP,
  kZstd = VLN_COMPRESSION_ZSTD
};

// "plain", "gzip", "Zstandard".
const char* compression_name(Compression compression);

// The compression that a name's last suffix says: .gz, .zst, else none.
Compression compression_of_name(std::string_view filename);

// The compression that the first bytes of a file say. They are all of the file when it is shorter
// than kCompressionHead. A file that ends within a magic number counts as compressed, so that it is
// found to be cut short.
inline constexpr size_t kCompressionHead = 4;
Compression compression_of_content(std::string_view head);

class Decoder {
 public:
  virtual ~Decoder() = default;

  // Decodes from the front of *input to the front of *output and takes off both what was used. To
  // be called while there is input or the last call filled the output. What is wrong with the data,
  // or nullptr. Members or frames in a row are one content.
  virtual const char* decode(std::string_view* input, std::span<char>* output) = 0;

  // True if the data may end after what was decoded.
  virtual bool complete() const = 0;
};

// *decoder is nullptr for kNone. kErrNotAvailable where the system lacks the library.
Status make_decoder(Compression compression, std::unique_ptr<Decoder>* decoder);

class Encoder {
 public:
  virtual ~Encoder() = default;

  // Encodes from the front of *input to the front of *output and takes off both what was used; with
  // `last`, ends the data behind the input. True when all input is taken, and with `last` all
  // output given; false when it wants more room.
  virtual bool encode(std::string_view* input, std::span<char>* output, bool last) = 0;
};

// *encoder is nullptr for kNone. The same input gives the same bytes: no time stamp, no name.
// kErrNotAvailable where the system lacks the library.
Status make_encoder(Compression compression, std::unique_ptr<Encoder>* encoder);

}  // namespace vorlan
