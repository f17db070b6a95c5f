// JSON as one of the encodings of document.h. Numbers are written in the shortest form that reads
// back to the same bits; infinities and NaN, which JSON cannot say, are the texts "inf", "-inf" and
// "nan". A text that is not UTF-8 is the map {"bytes": "<hexadecimal digits>"}.
#pragma once

#include "file/output_file.h"
#include "file/read_buffer.h"
#include "format/document/document.h"

namespace vorlan {

class JsonWriter : public DocumentWriter {
 public:
  explicit JsonWriter(OutputFile* file) : file_(file) {}

  void begin_map(size_t count) override;
  void key(std::string_view key) override;
  void end_map() override;
  void begin_list(size_t count) override;
  void end_list() override;
  void text(std::string_view text) override;
  void integer(int64_t value) override;
  void number(double value) override;
  void array(std::span<const double> values) override { write_array(values); }
  void array(std::span<const int64_t> values) override { write_array(values); }
  void array(std::span<const int32_t> values) override { write_array(values); }
  void array(std::span<const uint8_t> values) override { write_array(values); }
  void finish() override { file_->append('\n'); }

 private:
  template <class Number>
  void write_array(std::span<const Number> values);
  void new_line();
  void separate_item();
  void quote(std::string_view text);
  size_t append_escaped(std::string_view text);

  OutputFile* file_;
  size_t depth_ = 0;
  bool first_ = true;
  bool in_list_ = false;
};

class JsonReader : public DocumentReader {
 public:
  explicit JsonReader(InputStream* input, size_t buffer_size = ReadBuffer::kUsualSize);

  bool enter_map() override { return enter('{', "a map"); }
  bool next_key(std::string* key) override;
  bool enter_list() override { return enter('[', "a list"); }
  bool next_item() override { return next(']'); }
  bool read(std::string_view* text) override;
  bool read(int64_t* value) override;
  bool read(double* value) override;
  bool read(std::vector<double>* values) override { return read_array(values); }
  bool read(std::vector<int64_t>* values) override { return read_array(values); }
  bool read(std::vector<int32_t>* values) override { return read_array(values); }
  bool read(std::vector<uint8_t>* values) override { return read_array(values); }
  using DocumentReader::read;
  Mark mark() override;
  bool finish() override;

 protected:
  Status failure(Mark mark, std::string_view what) const override;

 private:
  static constexpr int kEnd = -1;

  template <class Number>
  bool read_array(std::vector<Number>* values);
  bool read_element(double* value) { return read(value); }
  template <class Integer>
  bool read_element(Integer* value);

  // The next character that is no white space, not taken; kEnd at the end or after a failure.
  int peek();
  Mark here() const { return {line_, buffer_.offset() - line_start_ + 1}; }
  // Fails about the next character, with the word found there.
  bool fail_here(std::string_view what);
  bool enter(char open, const char* what);
  // Goes to the next element of a map or a list, or behind its end.
  bool next(char close);
  bool number_token(std::string_view* token);
  bool quoted(std::string_view* text);
  bool unescape(std::string_view raw);
  bool append_escaped(std::string_view raw, size_t* at);
  bool read_bytes(std::string_view* text);

  ReadBuffer buffer_;
  uint64_t line_ = 1;
  uint64_t line_start_ = 0;
  bool first_ = false;
  std::string scratch_;
};

}  // namespace vorlan
