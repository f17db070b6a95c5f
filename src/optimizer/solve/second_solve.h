// A solve has one log. Where a backend solves a model again, in other units, by other rules or by
// another method, that second solve is silent and ends with one line. To everything else it is a part
// of the solve: it obeys stops, tells better points and keeps them.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "solve/backend.h"

namespace vorlan {

class SecondSolve : public BackendMonitor {
 public:
  // The words behind "Solved again", such as "with another scaling"; the outside goes on counting
  // from the progress before.
  SecondSolve(std::string_view how, BackendMonitor* outside, const Progress& before = {});

  void log(std::string_view) override {}
  bool should_stop(const Progress& progress) override;
  void milestone(const Progress& progress, std::string_view origin) override;
  void incumbent(std::span<const double> x, std::span<const double> barx) override {
    outside_->incumbent(x, barx);
  }
  bool wants_point() override { return outside_->wants_point(); }
  void keep(const BackendResult& point, double primal_violation) override {
    outside_->keep(point, primal_violation);
  }
  void keep_answer(const Answer& answer) override { outside_->keep_answer(answer); }

  // Which of two answers stands.
  enum class Stands { kFirst, kSecond, kOnlyOne };

  // Logs the line: what was found, the work of this solve alone, its time, and which answer stands.
  void sum_up(std::string_view found, const Progress& work, Stands stands) const;

 private:
  Progress with_before(const Progress& progress) const;
  double elapsed() const;

  std::string how_;
  BackendMonitor* outside_;
  Progress before_;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  bool is_announced_ = false;
};

// What a solve ended with, in a few words: "primal infeasible".
const char* words_of(Outcome outcome);

}  // namespace vorlan
