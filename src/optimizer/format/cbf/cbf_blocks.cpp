// Reading blocks and their cones; see cbf_blocks.h.
#include "format/cbf/cbf_blocks.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "file/numbers.h"
#include "format/cbf/cbf_words.h"
#include "format/common/cone_sizes.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

// Names so short are near to any word: they are all named.
constexpr const char* kConeExpected =
    "the name of a cone was expected (F, L+, L-, L=, Q, QR, EXP, EXP*, @0:POW, @0:POW*)";

}  // namespace

// COUNT TOTAL, then for each the number of its exponents and these, one a line.
bool CbfBlocks::read_table(PowerTable* table) {
  int32_t count = 0;
  int32_t total = 0;
  if (!reading_.require_line("the number of power cones")) return false;
  if (!reading_.take_count(CbfReading::kMost, &count) ||
      !reading_.take_count(CbfReading::kMost, &total) || !lines_.expect_end()) {
    return false;
  }
  int64_t left = total;
  for (int32_t i = 0; i < count; ++i) {
    if (!read_exponents(table, &left)) return false;
  }
  return left == 0 || lines_.fail_line(counted(left, "exponent") + " less than announced");
}

bool CbfBlocks::read_exponents(PowerTable* table, int64_t* left) {
  int32_t count = 0;
  if (!reading_.require_line("the number of exponents")) return false;
  if (!lines_.take_integer("a number of exponents", 1, *left, &count) || !lines_.expect_end()) {
    return false;
  }
  *left -= count;
  table->emplace_back();
  for (int32_t i = 0; i < count; ++i) {
    double exponent = 0.0;
    if (!reading_.require_line("an exponent")) return false;
    const std::string_view word = lines_.rest();
    if (!lines_.take_number(&exponent)) return false;
    if (exponent <= 0.0) return lines_.fail(word, "an exponent must be positive");
    if (!lines_.expect_end()) return false;
    table->back().push_back(exponent);
  }
  return true;
}

// COUNT BLOCKS, then the cone and the size of each block.
bool CbfBlocks::read(const char* noun, int64_t bytes_each, std::vector<CbfBlock>* blocks) {
  int32_t count = 0;
  int32_t num_blocks = 0;
  if (!reading_.require_line(format_text("the number of %ss", noun).c_str())) return false;
  if (!reading_.take_count(CbfReading::kMost, &count) || !reading_.declare(count, bytes_each)) {
    return false;
  }
  if (!reading_.take_count(count, &num_blocks) || !lines_.expect_end()) return false;
  int64_t begin = 0;
  for (int32_t i = 0; i < num_blocks; ++i) {
    if (!read_block(begin, count, blocks)) return false;
    begin += blocks->back().size;
  }
  return begin == count ||
         lines_.fail_line(format_text("the blocks have %s, but the number announced is %d",
                                      counted(begin, noun).c_str(), count));
}

bool CbfBlocks::read_block(int64_t begin, int64_t count, std::vector<CbfBlock>* blocks) {
  CbfBlock block = {};
  block.begin = static_cast<int32_t>(begin);
  if (!reading_.require_line("a cone") || !read_domain(&block.domain)) return false;
  const std::string_view word = lines_.rest();
  if (!lines_.take_integer("the size of a block", 1, count - begin, &block.size)) return false;
  if (!check_size(word, &block) || !lines_.expect_end()) return false;
  blocks->push_back(block);
  return true;
}

bool CbfBlocks::read_domain(CbfDomain* domain) {
  const std::string_view word = lines_.take_word();
  for (const CbfLinearCone& linear : kCbfLinearCones) {
    if (linear.word != word) continue;
    domain->lower = linear.lower;
    domain->upper = linear.upper;
    return true;
  }
  domain->is_cone = true;
  domain->lower = -kInfinity;
  domain->upper = kInfinity;
  if (word.starts_with('@')) return read_power_domain(word, domain);
  for (const CbfCone& cone : kCbfCones) {
    if (cone.word != word || is_power(cone.kind)) continue;
    domain->kind = cone.kind;
    return true;
  }
  return lines_.fail(word, is_vectorized_cone(word)
                               ? "a cone of version 4, which cannot be taken: for the order of its "
                                 "members no two programs vouch"
                               : kConeExpected);
}

// "@K:POW"
bool CbfBlocks::read_power_domain(std::string_view word, CbfDomain* domain) {
  const size_t colon = word.find(':');
  const std::string_view name = colon == std::string_view::npos ? "" : word.substr(colon + 1);
  const auto* const cone =
      std::find_if(std::begin(kCbfCones), std::end(kCbfCones),
                   [name](const CbfCone& c) { return c.word == name && is_power(c.kind); });
  int32_t place = 0;
  if (cone == std::end(kCbfCones) || !parse_int32(word.substr(1, colon - 1), &place)) {
    return lines_.fail(word, kConeExpected);
  }
  const PowerTable& table = cone->kind == ConeKind::kPower ? power_cones_ : dual_power_cones_;
  if (place < 0 || place >= static_cast<int64_t>(table.size())) {
    return lines_.fail(word, "the exponents of this power cone are not there before this");
  }
  domain->kind = cone->kind;
  domain->exponents = &table[index(place)];
  return true;
}

bool CbfBlocks::check_size(std::string_view word, CbfBlock* block) {
  CbfDomain* domain = &block->domain;
  if (!domain->is_cone) return true;
  const size_t exponents = domain->exponents == nullptr ? 0 : domain->exponents->size();
  const ConeSizes rule = cone_sizes(domain->kind, exponents);
  const size_t size = index(block->size);
  if (size < rule.least || size > rule.most) {
    return lines_.fail(
        word,
        format_text("a cone of this kind has %s%s", rule.least == rule.most ? "" : "at least ",
                    counted(static_cast<int64_t>(rule.least), "member").c_str()));
  }
  // A quadratic cone of one member is the non-negative numbers.
  if (domain->kind == ConeKind::kQuadratic && size == 1) {
    domain->is_cone = false;
    domain->lower = 0.0;
  }
  return true;
}

}  // namespace vorlan
