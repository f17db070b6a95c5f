// "-read-solution" and "-write-solution" bring the task's solutions from and to a file.
//
// Format and compression come from the file's name, and "format=" items may override them. The two
// commands check in different orders and accept different words, on purpose.
#include <vorlanplainsol.h>

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "commands.h"
#include "filename.h"
#include "keywordargparser.h"
#include "vlnexception.h"

namespace {

enum class SolutionReader { b, plain };
enum class SolutionWriter { json, task, plain, b };

struct ReadTarget {
  SolutionReader reader;
  CompressionCode compression;
};

struct WriteTarget {
  SolutionWriter writer;
  CompressionCode compression;
};

struct WriterName {
  std::string_view name;
  SolutionWriter writer;
};

constexpr std::array<WriterName, 6> kWriterExtensions = {{{".json", SolutionWriter::json},
                                                          {".jtask", SolutionWriter::json},
                                                          {".task", SolutionWriter::task},
                                                          {".b", SolutionWriter::b},
                                                          {".plain", SolutionWriter::plain},
                                                          {"", SolutionWriter::plain}}};

constexpr std::array<WriterName, 5> kWriterWords = {{{"json", SolutionWriter::json},
                                                     {"jtask", SolutionWriter::json},
                                                     {"task", SolutionWriter::task},
                                                     {"plain", SolutionWriter::plain},
                                                     {"b", SolutionWriter::b}}};

std::optional<SolutionWriter> findwriter(std::span<const WriterName> names, std::string_view name) {
  for (const WriterName& entry : names) {
    if (entry.name == name) return entry.writer;
  }
  return std::nullopt;
}

ReadTarget readtargetofname(std::string_view file) {
  const FilenameParts parts = split_filename(file);
  const auto compression = compressionofextension(parts.compression_extension);
  if (!compression) {
    throw std::string("Invalid file compression extension for -read-solution");
  }
  const bool is_b = parts.format_extension == ".b";
  return {is_b ? SolutionReader::b : SolutionReader::plain, *compression};
}

void applyreadformat(ReadTarget& target, std::string_view value) {
  const auto [word, suffix] = split_format(value);
  if (word != "b" && word != "plain") throw std::string("Invalid format for -read-solution");
  target.reader = word == "b" ? SolutionReader::b : SolutionReader::plain;

  const auto compression = compressionofsuffix(suffix);
  if (!compression) throw std::string("Invalid format extension for -read-solution:format");
  target.compression = *compression;
}

WriteTarget writetargetofname(std::string_view file) {
  const FilenameParts parts = split_filename(file);
  const auto compression = compressionofextension(parts.compression_extension);
  if (!compression) {
    throw std::string("Invalid file compression extension for -write-solution");
  }
  const auto writer = findwriter(kWriterExtensions, parts.format_extension);
  if (!writer) throw std::string("Invalid file extension for -write-solution");
  return {*writer, *compression};
}

WriteTarget writetargetofformat(std::string_view value) {
  const auto [word, suffix] = split_format(value);
  const auto compression = compressionofsuffix(suffix);
  if (!compression) throw std::string("Invalid format for -write-solution");
  const auto writer = findwriter(kWriterWords, word);
  if (!writer) throw std::string("Invalid format for -write-solution");
  return {*writer, *compression};
}

void writesolution(LibraryTask& task, const std::string& file, WriteTarget target) {
  switch (target.writer) {
    case SolutionWriter::task:
      CHKR_(kDriverSource, 705, task.writetasksolverresult(file, target.compression));
      break;
    case SolutionWriter::json:
      CHKR_(kDriverSource, 708, task.writejsonsol(file));
      break;
    case SolutionWriter::plain:
      CHKR_(kDriverSource, 711,
            static_cast<VLNrescode_enum>(VLN_writeplainsol(task.handle(), file.c_str())));
      break;
    case SolutionWriter::b:
      CHKR_(kDriverSource, 714, task.writebsolution(file, target.compression));
      break;
  }
}

}  // namespace

void runreadsolution(RunState& run, std::string_view args) {
  const auto file = run.words.take();
  if (!file) return;
  ReadTarget target = readtargetofname(*file);
  KeywordArgParser items{args};
  while (items.next()) {
    if (items.key == "format") applyreadformat(target, items.value);
  }

  run.task.echo("Read solution file: %s\n", run.shownname(*file));
  // There is no reader of plain reports: such a file is noted and left alone.
  if (target.reader == SolutionReader::plain) return;
  CHKR_(kDriverSource, 648, run.task.readbsolution(*file, target.compression));
}

void runwritesolution(RunState& run, std::string_view args) {
  const auto file = run.words.take();
  if (!file) return;
  WriteTarget target = writetargetofname(*file);
  KeywordArgParser items{args};
  while (items.next()) {
    if (items.key != "format") throw std::string("Invalid argument for -write-solution");
    target = writetargetofformat(items.value);
  }

  run.task.echo("Write solution file: %s\n", run.shownname(*file));
  writesolution(run.task, *file, target);
}
