// The solutions in a PTF file. They stand behind the model, so that their sizes are known.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "format/lp/lp_reading.h"
#include "task/solution.h"

namespace vorlan {

class PtfSolutions {
 public:
  // The reading is borrowed.
  explicit PtfSolutions(LpReading* reading) : reading_(*reading), tokens_(reading->tokens) {}

  // Reads a section "Solution KIND" up to the next heading. False after a failure, which the tokens
  // then have.
  bool read();

 private:
  bool prepare();
  bool read_line();
  template <class Words, class Value>
  bool read_status(const Words& words, Value* value);
  bool read_objective(double* value);
  bool read_item(std::string_view kind);
  std::string advice_on_constraint(std::string_view word) const;
  std::optional<size_t> find_element(std::string_view word) const;
  bool read_variable(size_t var);
  bool read_constraint(size_t con);
  bool read_element(size_t place);
  bool read_status_key(StatusKey* key);
  bool read_item_figures(size_t most, double* figures);
  bool starts_figure() const;
  bool read_figures(size_t count, double* values);

  LpReading& reading_;
  LpTokens& tokens_;
  Solution* solution_ = nullptr;      // the one at hand
  std::vector<size_t> matrix_start_;  // of each matrix variable in barx and bars
};

}  // namespace vorlan
