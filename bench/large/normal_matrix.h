// The matrix on which sparse factorizations are compared.
#pragma once

#include "large/structured_model.h"
#include "solve/conic/compress.h"
#include "solve/conic/sparse_ldl.h"

// A A' + I, the matrix A being that of a model with structure.
inline vorlan::conic::UpperTriangle normal_matrix(const StructuredModel& model) {
  vorlan::conic::UpperTriangle matrix;
  matrix.order = static_cast<int32_t>(model.rows.size());
  const auto for_each = [&model](const auto& act) {
    for (const StructuredModel::Column& column : model.columns) {
      for (const StructuredModel::Entry& a : column.entries) {
        for (const StructuredModel::Entry& b : column.entries) {
          if (a.row > b.row) continue;
          act(static_cast<size_t>(a.row), static_cast<size_t>(b.row), a.value * b.value);
        }
      }
    }
    for (size_t i = 0; i < model.rows.size(); ++i) act(i, i, 1.0);
  };
  vorlan::conic::compress(model.rows.size(), for_each, &matrix);
  return matrix;
}
