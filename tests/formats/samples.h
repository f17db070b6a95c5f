// The files that every format is tried on: the seeds of its fuzz target with mutations of them, and
// the public instances in the folder that VORLAN_DATA names.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>

#include "format/common/format.h"

namespace vorlan::test {

// Expects that each seed in the folder of the corpus is read, and that it and its mutations hold
// the property of round_trip.h.
void expect_round_trips(const std::string& corpus, ProblemReader reader, ProblemWriter writer);

struct Instance {
  std::string path;

  bool ends_with(std::string_view suffix) const { return path.ends_with(suffix); }
  bool is_bad() const { return path.find("/bad/") != std::string::npos; }
  std::string text() const;  // without its compression
};

bool has_instances();
inline constexpr const char* kNoInstances = "VORLAN_DATA names no folder of instances";

// Expects that `use` takes some of the instances in these folders, which it says by true.
void expect_instances(std::initializer_list<const char*> folders,
                      const std::function<bool(const Instance&)>& use);

}  // namespace vorlan::test
