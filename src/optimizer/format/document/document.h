// The two encodings of the library's own files behind one face: JSON (RFC 8259) for people and
// other programs, CBOR (RFC 8949, arrays of numbers as in RFC 8746) for size and speed. A document
// consists of maps, lists, texts, numbers and arrays of numbers; what it means is the business of
// the layers above. Both readers work on a moving window and keep nothing but the values that are
// asked for.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "task/status.h"

namespace vorlan {

class DocumentWriter {
 public:
  virtual ~DocumentWriter() = default;

  virtual void begin_map(size_t count) = 0;
  virtual void key(std::string_view key) = 0;  // UTF-8
  virtual void end_map() = 0;
  // A list is of texts and numbers.
  virtual void begin_list(size_t count) = 0;
  virtual void end_list() = 0;

  // Any bytes; what is not UTF-8 is written in a form of its own that the reader undoes.
  virtual void text(std::string_view text) = 0;
  virtual void integer(int64_t value) = 0;
  virtual void number(double value) = 0;
  virtual void array(std::span<const double> values) = 0;
  virtual void array(std::span<const int64_t> values) = 0;
  virtual void array(std::span<const int32_t> values) = 0;
  virtual void array(std::span<const uint8_t> values) = 0;

  // Ends the document.
  virtual void finish() = 0;
};

struct WriteField {
  std::string_view key;
  std::function<void()> write;
  bool present = true;
};

// Writes the fields that are present as a map, in the order that makes an encoding deterministic
// (RFC 8949, 4.2.1): shorter keys first, keys of one length by their bytes.
void write_map(DocumentWriter* writer, std::vector<WriteField> fields);

// A place in a document, for messages about a value after it was read: line and column of text,
// the offset (as column) of bytes.
struct Mark {
  uint64_t line = 0;
  uint64_t column = 0;
};

// Reads values in the order of the document. Each function returns false after a failure, the first
// of which stays in status(); the functions need not be checked one by one.
class DocumentReader {
 public:
  virtual ~DocumentReader() = default;

  // Between enter_map() and the false of next_key(), each key is followed by reading its value; the
  // same with enter_list() and next_item().
  virtual bool enter_map() = 0;
  virtual bool next_key(std::string* key) = 0;
  virtual bool enter_list() = 0;
  virtual bool next_item() = 0;

  // The view is valid until the next call.
  virtual bool read(std::string_view* text) = 0;
  virtual bool read(int64_t* value) = 0;
  virtual bool read(double* value) = 0;
  virtual bool read(std::vector<double>* values) = 0;
  virtual bool read(std::vector<int64_t>* values) = 0;
  virtual bool read(std::vector<int32_t>* values) = 0;
  virtual bool read(std::vector<uint8_t>* values) = 0;
  bool read(std::string* text);

  // The place of the value that comes next.
  virtual Mark mark() = 0;
  // Remembers what was wrong with a value, if it is the first failure. Always false.
  bool fail(Mark mark, std::string_view what);

  // Ends the document: nothing may follow the value.
  virtual bool finish() = 0;

  bool ok() const { return status_.ok(); }
  const Status& status() const { return status_; }

 protected:
  virtual Status failure(Mark mark, std::string_view what) const = 0;

  Status status_;
};

struct ReadField {
  std::string_view key;
  std::function<bool()> read;
  bool required = false;
  Mark* mark = nullptr;  // receives the place of the value
};

// Reads a map whose keys are those of the fields, in any order, each once. `what` names the map in
// messages.
bool read_map(DocumentReader* reader, std::string_view what,
              std::initializer_list<ReadField> fields);

bool is_utf8(std::string_view text);

}  // namespace vorlan
