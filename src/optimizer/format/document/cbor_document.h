// CBOR (RFC 8949) as one of the encodings of document.h, deterministic as its section 4.2.1 asks:
// shortest heads, definite lengths, shortest floats, sorted keys. An array of numbers is one
// little-endian typed array (RFC 8746). A text that is not UTF-8 is a byte string. A document
// begins with the tag of self-described CBOR, by which it is known from all else.
#pragma once

#include "file/output_file.h"
#include "file/read_buffer.h"
#include "format/document/document.h"

namespace vorlan {

inline constexpr std::string_view kCborMagic = "\xd9\xd9\xf7";

class CborWriter : public DocumentWriter {
 public:
  explicit CborWriter(OutputFile* file) : file_(file) { file_->append(kCborMagic); }

  void begin_map(size_t count) override;
  void key(std::string_view key) override { text(key); }
  void end_map() override {}
  void begin_list(size_t count) override;
  void end_list() override {}
  void text(std::string_view text) override;
  void integer(int64_t value) override;
  void number(double value) override;
  void array(std::span<const double> values) override;
  void array(std::span<const int64_t> values) override;
  void array(std::span<const int32_t> values) override;
  void array(std::span<const uint8_t> values) override;
  void finish() override {}

 private:
  void head(unsigned major, uint64_t argument);
  void big_endian(uint64_t value, size_t bytes);
  void typed_array(unsigned tag, const void* elements, size_t bytes);

  OutputFile* file_;
};

class CborReader : public DocumentReader {
 public:
  explicit CborReader(InputStream* input, size_t buffer_size = ReadBuffer::kUsualSize);

  bool enter_map() override;
  bool next_key(std::string* key) override;
  bool enter_list() override;
  bool next_item() override;
  bool read(std::string_view* text) override;
  bool read(int64_t* value) override;
  bool read(double* value) override;
  bool read(std::vector<double>* values) override { return read_array(values); }
  bool read(std::vector<int64_t>* values) override { return read_array(values); }
  bool read(std::vector<int32_t>* values) override { return read_array(values); }
  bool read(std::vector<uint8_t>* values) override { return read_array(values); }
  using DocumentReader::read;
  Mark mark() override { return {0, buffer_.offset() + text_size_}; }
  bool finish() override;

 protected:
  Status failure(Mark mark, std::string_view what) const override;

 private:
  struct Head {
    unsigned major = 0;
    unsigned info = 0;
    uint64_t argument = 0;
  };

  void drop_text();
  bool require(size_t count, const char* what);
  // Takes the head of a data item.
  bool read_head(Head* head, const char* wanted);
  bool expect(unsigned major, const char* wanted, uint64_t* argument);
  bool take_one();
  template <class Number>
  bool read_array(std::vector<Number>* values);
  template <class Source, class Number>
  bool read_elements(uint64_t count, std::vector<Number>* values);
  template <class Source, class Number>
  bool convert(const char* bytes, size_t count, Number* values);
  template <class Number>
  bool read_plain_array(uint64_t count, std::vector<Number>* values);

  ReadBuffer buffer_;
  // Elements to come in the maps and lists that are open.
  std::vector<uint64_t> left_;
  size_t text_size_ = 0;
};

}  // namespace vorlan
