// The compressed formats; see compression.h.
#include "file/compression.h"

#include <algorithm>
#include <new>
#include <string>

#include "file/compression_libraries.h"

namespace vorlan {
namespace {

constexpr const char* kOtherData = "other data follow the end of the compressed data";

// zlib's window of 32 KiB, with the gzip header and trailer.
constexpr int kGzipWindow = 15 + 16;
constexpr int kZlibMemory = 8;  // zlib's own default
constexpr size_t kLargestZlibPiece = size_t{1} << 30;

// The largest window that the zstd tool makes and takes without being asked for more: a header of a
// few bytes must not make us hold more memory than this.
constexpr int kZstdWindowLog = 27;

// Sets zlib's two windows and tells afterwards how far it came in them.
void set_windows(z_stream* stream, std::string_view input, std::span<char> output) {
  // zlib does not write through next_in; the type is from before const.
  stream->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));
  stream->avail_in = static_cast<uInt>(std::min(input.size(), kLargestZlibPiece));
  stream->next_out = reinterpret_cast<Bytef*>(output.data());
  stream->avail_out = static_cast<uInt>(std::min(output.size(), kLargestZlibPiece));
}

void take_windows(const z_stream& stream, std::string_view* input, std::span<char>* output) {
  const char* in = reinterpret_cast<const char*>(stream.next_in);
  const char* out = reinterpret_cast<const char*>(stream.next_out);
  input->remove_prefix(static_cast<size_t>(in - input->data()));
  *output = output->subspan(static_cast<size_t>(out - output->data()));
}

class GzipDecoder : public Decoder {
 public:
  explicit GzipDecoder(const Zlib& zlib) : zlib_(zlib) {
    const int result =
        zlib_.inflate_init(&stream_, kGzipWindow, ZLIB_VERSION, static_cast<int>(sizeof stream_));
    if (result != Z_OK) throw std::bad_alloc();
  }
  ~GzipDecoder() override { zlib_.inflate_end(&stream_); }
  GzipDecoder(const GzipDecoder&) = delete;
  GzipDecoder& operator=(const GzipDecoder&) = delete;

  const char* decode(std::string_view* input, std::span<char>* output) override {
    if (complete_) {
      if (input->empty()) return nullptr;
      zlib_.inflate_reset(&stream_);
      complete_ = false;
    }
    set_windows(&stream_, *input, *output);
    const int result = zlib_.inflate(&stream_, Z_NO_FLUSH);
    take_windows(stream_, input, output);
    switch (result) {
      case Z_STREAM_END:
        complete_ = true;
        ++members_;
        return nullptr;
      case Z_OK:
      case Z_BUF_ERROR:  // nothing to do without more input or room
        return nullptr;
      case Z_MEM_ERROR:
        throw std::bad_alloc();
      default:
        return cause();
    }
  }

  bool complete() const override { return complete_; }

 private:
  const char* cause() const {
    constexpr uLong kHeaderBytes = 10;
    if (members_ > 0 && stream_.total_in < kHeaderBytes) return kOtherData;
    return stream_.msg != nullptr ? stream_.msg : "invalid data";
  }

  const Zlib zlib_;
  z_stream stream_ = {};
  uint64_t members_ = 0;
  bool complete_ = false;
};

class ZstdDecoder : public Decoder {
 public:
  explicit ZstdDecoder(const Zstd& zstd) : zstd_(zstd), context_(zstd.create_decoder()) {
    if (context_ == nullptr) throw std::bad_alloc();
    zstd_.set_decoder(context_, ZSTD_d_windowLogMax, kZstdWindowLog);
  }
  ~ZstdDecoder() override { zstd_.free_decoder(context_); }
  ZstdDecoder(const ZstdDecoder&) = delete;
  ZstdDecoder& operator=(const ZstdDecoder&) = delete;

  const char* decode(std::string_view* input, std::span<char>* output) override {
    // A call without input would ask for the next frame once one is complete.
    if (complete_ && input->empty()) return nullptr;
    ZSTD_inBuffer in{input->data(), input->size(), 0};
    ZSTD_outBuffer out{output->data(), output->size(), 0};
    const size_t result = zstd_.decompress(context_, &out, &in);
    input->remove_prefix(in.pos);
    *output = output->subspan(out.pos);
    if (zstd_.is_error(result) != 0) return cause(result);
    complete_ = result == 0;
    if (complete_) ++frames_;
    return nullptr;
  }

  bool complete() const override { return complete_; }

 private:
  const char* cause(size_t result) const {
    const ZSTD_ErrorCode code = zstd_.error_code(result);
    switch (code) {
      case ZSTD_error_memory_allocation:
        throw std::bad_alloc();
      case ZSTD_error_prefix_unknown:
        return frames_ > 0 ? kOtherData : "no Zstandard frame begins here";
      case ZSTD_error_frameParameter_windowTooLarge:
        return "they need a window of more than 128 MiB";
      default:
        return zstd_.error_text(code);
    }
  }

  const Zstd zstd_;
  ZSTD_DCtx* context_;
  uint64_t frames_ = 0;
  bool complete_ = false;
};

class GzipEncoder : public Encoder {
 public:
  explicit GzipEncoder(const Zlib& zlib) : zlib_(zlib) {
    const int result =
        zlib_.deflate_init(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kZlibMemory,
                           Z_DEFAULT_STRATEGY, ZLIB_VERSION, static_cast<int>(sizeof stream_));
    if (result != Z_OK) throw std::bad_alloc();
  }
  ~GzipEncoder() override { zlib_.deflate_end(&stream_); }
  GzipEncoder(const GzipEncoder&) = delete;
  GzipEncoder& operator=(const GzipEncoder&) = delete;

  bool encode(std::string_view* input, std::span<char>* output, bool last) override {
    set_windows(&stream_, *input, *output);
    const bool finishing = last && stream_.avail_in == input->size();
    const int result = zlib_.deflate(&stream_, finishing ? Z_FINISH : Z_NO_FLUSH);
    take_windows(stream_, input, output);
    return last ? result == Z_STREAM_END : input->empty();
  }

 private:
  const Zlib zlib_;
  z_stream stream_ = {};
};

class ZstdEncoder : public Encoder {
 public:
  explicit ZstdEncoder(const Zstd& zstd) : zstd_(zstd), context_(zstd.create_encoder()) {
    if (context_ == nullptr) throw std::bad_alloc();
    zstd_.set_encoder(context_, ZSTD_c_checksumFlag, 1);
  }
  ~ZstdEncoder() override { zstd_.free_encoder(context_); }
  ZstdEncoder(const ZstdEncoder&) = delete;
  ZstdEncoder& operator=(const ZstdEncoder&) = delete;

  bool encode(std::string_view* input, std::span<char>* output, bool last) override {
    ZSTD_inBuffer in{input->data(), input->size(), 0};
    ZSTD_outBuffer out{output->data(), output->size(), 0};
    const size_t left = zstd_.compress(context_, &out, &in, last ? ZSTD_e_end : ZSTD_e_continue);
    if (zstd_.is_error(left) != 0) throw std::bad_alloc();  // nothing else can fail in memory
    input->remove_prefix(in.pos);
    *output = output->subspan(out.pos);
    return last ? left == 0 : input->empty();
  }

 private:
  const Zstd zstd_;
  ZSTD_CCtx* context_;
};

template <class Gzip, class Zstandard, class Coder>
Status make_coder(Compression compression, std::unique_ptr<Coder>* coder) {
  coder->reset();
  Status status;
  if (compression == Compression::kGzip) {
    Zlib zlib;
    status = load_zlib(&zlib);
    if (status.ok()) *coder = std::make_unique<Gzip>(zlib);
  } else if (compression == Compression::kZstd) {
    Zstd zstd;
    status = load_zstd(&zstd);
    if (status.ok()) *coder = std::make_unique<Zstandard>(zstd);
  }
  return status;
}

// Tells whether the content starts with the magic number, or ends within it.
bool begins_with(std::string_view content, std::string_view magic) {
  const size_t compared = std::min(content.size(), magic.size());
  return compared > 0 && content.substr(0, compared) == magic.substr(0, compared);
}

}  // namespace

const char* compression_name(Compression compression) {
  switch (compression) {
    case Compression::kGzip:
      return "gzip";
    case Compression::kZstd:
      return "Zstandard";
    default:
      return "plain";
  }
}

Compression compression_of_name(std::string_view filename) {
  if (filename.ends_with(".gz")) return Compression::kGzip;
  if (filename.ends_with(".zst")) return Compression::kZstd;
  return Compression::kNone;
}

Compression compression_of_content(std::string_view head) {
  if (begins_with(head, "\x1f\x8b")) return Compression::kGzip;
  // A lone '(' or 'P' is the first letter of a text rather than of a frame.
  if (head.size() < 2) return Compression::kNone;
  if (begins_with(head, "\x28\xb5\x2f\xfd")) return Compression::kZstd;
  // A skippable frame has one of sixteen magic numbers.
  const bool skippable = (static_cast<unsigned char>(head[0]) & 0xf0) == 0x50 &&
                         begins_with(head.substr(1), "\x2a\x4d\x18");
  return skippable && head.size() >= kCompressionHead ? Compression::kZstd : Compression::kNone;
}

Status make_decoder(Compression compression, std::unique_ptr<Decoder>* decoder) {
  return make_coder<GzipDecoder, ZstdDecoder>(compression, decoder);
}

Status make_encoder(Compression compression, std::unique_ptr<Encoder>* encoder) {
  return make_coder<GzipEncoder, ZstdEncoder>(compression, encoder);
}

}  // namespace vorlan
