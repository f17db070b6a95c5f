// Walks over the corpus and the instances; see samples.h.
#include "samples.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "round_trip.h"
#include "scratch_folder.h"
#include "test_bytes.h"

namespace vorlan::test {
namespace {

constexpr uint32_t kMutations = 300;

const char* instances_folder() { return std::getenv("VORLAN_DATA"); }

}  // namespace

void expect_round_trips(const std::string& corpus, ProblemReader reader, ProblemWriter writer) {
  int num_files = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::string(VORLAN_CORPUS "/") + corpus)) {
    ++num_files;
    const std::string text = read_all(entry.path());
    ProblemFile file;
    Warnings warnings;
    EXPECT_EQ(read_text(reader, text, &file, &warnings).message(), "") << entry.path();
    for (uint32_t seed = 0; seed < kMutations; ++seed) {
      const std::string input = seed == 0 ? text : mutated(text, seed);
      EXPECT_EQ(round_trip_fault(reader, writer, input), "")
          << entry.path() << " with seed " << seed << ":\n"
          << input;
    }
  }
  EXPECT_GT(num_files, 0);
}

std::string Instance::text() const {
  std::string content;
  const Status status = read_input(path, &content, 1 << 16);
  EXPECT_EQ(status.message(), "");
  return content;
}

bool has_instances() { return instances_folder() != nullptr; }

void expect_instances(std::initializer_list<const char*> folders,
                      const std::function<bool(const Instance&)>& use) {
  int num_used = 0;
  for (const char* folder : folders) {
    const std::string path = std::string(instances_folder()) + "/" + folder;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      num_used += use({entry.path()}) ? 1 : 0;
    }
  }
  EXPECT_GT(num_used, 0);
}

}  // namespace vorlan::test
