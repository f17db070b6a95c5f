// One step with a problem file, as the optimizer library does it, for comparing.
// usage: bench_model_files read FILE
//        bench_model_files write FROM TO    prints the milliseconds of processor time of the
//        writing bench_model_files memory FILE      prints MiB: the model read, and the most
//        anonymous memory bench_model_files bare FROM TO     writes the arrays of the model one
//        behind the other bench_model_files floor BARE       reads such a file's bytes and builds
//        the model from them
//
// "floor" is the least that any reader of a binary file does.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "format/problem_file.h"
#include "processor_time.h"

namespace {

using vorlan::Model;
using vorlan::NameList;
using vorlan::Task;

[[noreturn]] void give_up(const std::string& message) {
  std::fprintf(stderr, "bench_model_files: %s\n", message.c_str());
  std::exit(1);
}

void read(Task* task, const char* file) {
  const vorlan::Status status = vorlan::read_problem_file(task, file);
  if (!status.ok()) give_up(status.message());
}

void write(Task* task, const char* from, const char* to) {
  read(task, from);
  const double start = processor_seconds();
  const vorlan::Status status = vorlan::write_problem_file(task, to);
  const double end = processor_seconds();
  if (!status.ok()) give_up(status.message());
  std::printf("%.3f\n", (end - start) * 1e3);
}

// ---- The arrays one behind the other

// Calls visit with each array that a linear model has.
template <class AnyModel, class Visit>
void for_each_array(AnyModel& model, Visit visit) {
  visit(model.cost);
  visit(model.var_lower);
  visit(model.var_upper);
  visit(model.var_kind);
  visit(model.con_lower);
  visit(model.con_upper);
  visit(model.matrix.start);
  visit(model.matrix.row);
  visit(model.matrix.value);
}

// Arrays begin where any number may.
size_t padded(size_t size) { return (size + 7) / 8 * 8; }

void write_bytes(std::ofstream& file, const void* data, size_t size) {
  file.write(reinterpret_cast<const char*>(&size), sizeof size);
  file.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
  file.write("\0\0\0\0\0\0\0", static_cast<std::streamsize>(padded(size) - size));
}

void write_names(std::ofstream& file, const NameList& names, int32_t count) {
  std::vector<uint32_t> lengths;
  std::string text;
  for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
    lengths.push_back(static_cast<uint32_t>(names[i].size()));
    text += names[i];
  }
  write_bytes(file, lengths.data(), lengths.size() * sizeof lengths[0]);
  write_bytes(file, text.data(), text.size());
}

void write_bare(Task* task, const char* from, const char* to) {
  read(task, from);
  std::ofstream file(to, std::ios::binary);
  for_each_array(task->model, [&file](const auto& array) {
    write_bytes(file, array.data(), array.size() * sizeof array[0]);
  });
  write_names(file, task->model.var_names, task->model.num_var());
  write_names(file, task->model.con_names, task->model.num_con());
  if (!file.flush()) give_up("cannot write the arrays");
}

class BareFile {
 public:
  explicit BareFile(const char* name) {
    const int file = ::open(name, O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (file < 0 || ::fstat(file, &status) != 0) give_up("cannot open the arrays");
    const auto size = static_cast<size_t>(status.st_size);
    // Not filled with zeros first: a floor wastes nothing.
    bytes_.reset(new char[size]);
    for (size_t done = 0; done < size;) {
      const ssize_t count = ::read(file, bytes_.get() + done, size - done);
      if (count <= 0) give_up("cannot read the arrays");
      done += static_cast<size_t>(count);
    }
    ::close(file);
  }

  std::string_view next() {
    size_t size = 0;
    std::memcpy(&size, bytes_.get() + at_, sizeof size);
    const std::string_view part(bytes_.get() + at_ + sizeof size, size);
    at_ += sizeof size + padded(size);
    return part;
  }

 private:
  std::unique_ptr<char[]> bytes_;
  size_t at_ = 0;
};

template <class Value>
void build(BareFile* file, std::vector<Value>* array) {
  const std::string_view bytes = file->next();
  const auto* first = reinterpret_cast<const Value*>(bytes.data());
  array->assign(first, first + bytes.size() / sizeof(Value));
}

void build(BareFile* file, NameList* names) {
  std::vector<uint32_t> lengths;
  build(file, &lengths);
  std::string_view text = file->next();
  names->reserve(lengths.size(), text.size());
  for (const uint32_t length : lengths) {
    names->add(text.substr(0, length));
    text.remove_prefix(length);
  }
}

void build_bare(const char* name) {
  BareFile file(name);
  Model model;
  for_each_array(model, [&file](auto& array) { build(&file, &array); });
  build(&file, &model.var_names);
  build(&file, &model.con_names);
  if (model.num_var() == 0) give_up("no model");
}

// ---- Memory

// A figure of /proc/self/status in KiB.
long kibibytes(std::string_view label) {
  std::ifstream file("/proc/self/status");
  long size = 0;
  for (std::string word; file >> word;) {
    if (word == label && file >> size) return size;
  }
  give_up("no figure of the memory");
}

size_t bytes_of_names(const NameList& names, int32_t count) {
  if (names.longest() == 0) return 0;  // nothing is kept of names that are not there
  size_t sum = 0;
  for (size_t i = 0; i < static_cast<size_t>(count); ++i) sum += names[i].size() + sizeof(size_t);
  return sum;
}

size_t bytes_of(const Model& model) {
  size_t sum = bytes_of_names(model.var_names, model.num_var()) +
               bytes_of_names(model.con_names, model.num_con());
  const auto add = [&sum](const auto& array) { sum += array.size() * sizeof array[0]; };
  for_each_array(model, add);
  add(model.quadratic_cost);
  add(model.quadratic_coefficients);
  add(model.matrix_cost);
  add(model.matrix_coefficients);
  return sum;
}

// The peak has the pages of the program and its libraries in it, which do not grow while it reads.
void measure_memory(Task* task, const char* file) {
  const long before = kibibytes("VmHWM:");
  read(task, file);
  const long peak = kibibytes("VmHWM:") - before;
  std::printf("%.1f %.1f\n", static_cast<double>(bytes_of(task->model)) / 1048576.0,
              static_cast<double>(peak) / 1024.0);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string step = argc > 2 ? argv[1] : "";
  Task task;
  if (step == "read" && argc == 3) {
    read(&task, argv[2]);
  } else if (step == "write" && argc == 4) {
    write(&task, argv[2], argv[3]);
  } else if (step == "memory" && argc == 3) {
    measure_memory(&task, argv[2]);
  } else if (step == "bare" && argc == 4) {
    write_bare(&task, argv[2], argv[3]);
  } else if (step == "floor" && argc == 3) {
    build_bare(argv[2]);
  } else {
    give_up("usage: see bench/formats/model_files.cpp");
  }
  return 0;
}
