// Headings, objective and constraints of LP files; see lp_reader.h.
#include "format/lp/lp_reader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <span>

#include "format/common/nearest.h"
#include "format/lp/lp.h"
#include "format/lp/lp_advice.h"
#include "format/lp/lp_names.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
// Numbers from here on are infinite where there can be infinities: what most programs mean by them.
// Some have a smaller limit.
constexpr double kLpInfinity = 1e30;
constexpr double kSomeInfinity = 1e20;
constexpr size_t kLongestHeading = 15;

struct SenseWord {
  std::string_view word;
  bool maximize;
};
constexpr SenseWord kSenses[] = {
    {"minimize", false}, {"minimum", false}, {"minimise", false}, {"min", false},
    {"maximize", true},  {"maximum", true},  {"maximise", true},  {"max", true},
};

const SenseWord* find_sense(std::string_view word) {
  for (const SenseWord& sense : kSenses) {
    if (is_lp_word(word, sense.word)) return &sense;
  }
  return nullptr;
}

std::string_view first_word(std::string_view text) { return take_word(&text); }

// Why a section that other programs know cannot be taken, by its first word.
std::string_view advice_on_section(std::string_view word) {
  if (is_lp_word(word.substr(0, 3), "sos")) {
    return "special ordered sets cannot be taken; binary variables and constraints can say them";
  }
  if (is_lp_word(word, "general")) {
    return "general constraints (min, max, abs and the like) cannot be taken; binary variables and "
           "linear constraints can say them";
  }
  return "lazy constraints and user cuts cannot be taken; constraints stand under 'Subject To'";
}

// As much of the line as the heading has; "solution" has its kind behind it.
std::string_view first_words(std::string_view line, std::string_view heading) {
  return heading == "solution" ? line.substr(0, line.find(' ')) : line;
}

std::string lower_case(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

}  // namespace

// A heading of two words has one blank between them here, any number in a file.
struct LpReader::Heading {
  std::string_view words;
  Section section;
  bool extended;
};

const LpReader::Heading LpReader::kHeadings[] = {
    {"subject to", Section::kConstraints, false},
    {"such that", Section::kConstraints, false},
    {"st", Section::kConstraints, false},
    {"s.t.", Section::kConstraints, false},
    {"st.", Section::kConstraints, false},
    {"bounds", Section::kBounds, false},
    {"bound", Section::kBounds, false},
    {"general constraints", Section::kForeign, false},
    {"generals", Section::kGenerals, false},
    {"general", Section::kGenerals, false},
    {"gen", Section::kGenerals, false},
    {"integers", Section::kGenerals, false},
    {"integer", Section::kGenerals, false},
    {"int", Section::kGenerals, false},
    {"binaries", Section::kBinaries, false},
    {"binary", Section::kBinaries, false},
    {"bin", Section::kBinaries, false},
    {"semi-continuous", Section::kSemi, false},
    {"semis", Section::kSemi, false},
    {"semi", Section::kSemi, false},
    {"sos", Section::kForeign, false},
    {"sos1", Section::kForeign, false},
    {"sos2", Section::kForeign, false},
    {"lazy constraints", Section::kForeign, false},
    {"user cuts", Section::kForeign, false},
    {"end", Section::kEnd, false},
    {"matrix variables", Section::kMatrixVariables, true},
    {"cones", Section::kCones, true},
    {"parameters", Section::kParameters, true},
    {"solution", Section::kSolution, true},
};

LpReader::LpReader(InputStream* input, const ReadLimits& limits, bool may_extend, ProblemFile* file,
                   Warnings* warnings)
    : tokens_(input),
      shown_name_(input->shown_name()),
      may_extend_(may_extend),
      file_(file),
      model_(&file->model),
      warnings_(warnings),
      var_table_(&model_->var_names),
      con_table_(&model_->con_names),
      matrix_var_table_(&model_->matrix_var_names),
      cone_table_(&model_->cone_names),
      declared_(limits.declared) {}

Status LpReader::read() {
  tokens_.next();
  encoded_ = tokens_.encoded_names();
  exact_ = tokens_.exact_numbers();
  const bool good = read_opening() && read_sense() && read_objective() && read_sections();
  if (good) return finish();
  if (tokens_.line_number() > 0) return tokens_.status();
  return {Code::kErrFileContent, format_text("%s:1: the file is empty", shown_name_.c_str())};
}

// The file's opening line and what comes before the objective.
bool LpReader::read_opening() {
  const LpToken& token = tokens_.token();
  const std::string_view line(token.text.data(), token.text.size() + tokens_.rest().size());
  if (token.kind != LpKind::kName || !tokens_.at_margin() || line != kPtfOpening) return true;
  if (!may_extend_) {
    return tokens_.fail(line,
                        "the file has sections of PTF files and must be read as .ptf or .opf");
  }
  extended_ = true;
  tokens_.drop_rest();
  tokens_.next();
  while (match_heading() == Section::kMatrixVariables) {
    heading();
    if (!read_matrix_variables()) return false;
  }
  return tokens_.status().ok();
}

bool LpReader::read_sense() {
  const SenseWord* const found = find_sense(tokens_.token().text);
  if (tokens_.kind() != LpKind::kName || found == nullptr) {
    return tokens_.fail("'minimize' or 'maximize' was expected");
  }
  model_->maximize = found->maximize;
  tokens_.next();
  return true;
}

bool LpReader::read_objective() {
  if (tokens_.kind() == LpKind::kName && tokens_.following() == ':') {
    model_->objective_name = tokens_.token().text;
    tokens_.next();
    tokens_.next();
  }
  Part part;
  if (!read_expression(kObjective, 1.0, LineEnd::kGoesOn, &part)) return false;
  if (!std::isfinite(model_->constant)) return tokens_.fail("the constant must be finite");
  return true;
}

bool LpReader::read_sections() {
  bool solved = false;
  while (true) {
    if (tokens_.kind() == LpKind::kEnd) return tokens_.fail("the file ends here, without 'End'");
    const std::string_view word = tokens_.token().text;
    const Section section = heading();
    if (section == Section::kEnd) return true;
    if (section == Section::kForeign) return tokens_.fail(word, advice_on_section(word));
    if (section == Section::kNone) {
      return tokens_.fail(word, "a sign or the name of a section was expected", nearest_heading());
    }
    if (solved && section != Section::kSolution && section != Section::kParameters) {
      return tokens_.fail("solutions come behind the model, but this follows them");
    }
    solved = solved || section == Section::kSolution;
    if (!read_section(section)) return false;
  }
}

bool LpReader::read_section(Section section) {
  switch (section) {
    case Section::kConstraints:
      return read_constraints();
    case Section::kBounds:
      return read_bounds();
    case Section::kMatrixVariables:
      return tokens_.fail("matrix variables come before the objective");
    case Section::kCones:
      return read_cones();
    case Section::kParameters:
      return read_parameters();
    case Section::kSolution:
      return read_solution();
    default:
      return read_list(section);
  }
}

// The section whose heading the token begins.
LpReader::Section LpReader::match_heading() {
  const LpToken& token = tokens_.token();
  if (token.kind != LpKind::kName || token.text.size() > kLongestHeading) return Section::kNone;
  for (const Heading& heading : kHeadings) {
    const size_t size = std::min(heading.words.find_first_of(" -"), heading.words.size());
    if (size != token.text.size() || !is_lp_word(token.text, heading.words.substr(0, size))) {
      continue;
    }
    if (heading.extended && (!extended_ || !tokens_.at_margin())) continue;
    if (size == heading.words.size()) {
      const char next = tokens_.following();
      if (next == ':' || next == '<' || next == '>' || next == '=' || next == '^' || next == '*') {
        continue;
      }
      if (heading.section != Section::kSolution && heading.extended && next != '\0') continue;
      return heading.section;
    }
    const std::string_view second = heading.words.substr(size + 1);
    std::string_view rest = tokens_.rest();
    if (heading.words[size] == '-') {
      if (rest.starts_with('-') && is_lp_word(first_word(rest.substr(1)), second)) {
        return heading.section;
      }
      continue;
    }
    if (is_lp_word(first_word(rest), second)) return heading.section;
  }
  return Section::kNone;
}

bool LpReader::starts_section() { return match_heading() != Section::kNone; }

// Goes behind the heading. What follows the end of the file's content is not looked at.
LpReader::Section LpReader::heading() {
  const Section section = match_heading();
  if (section == Section::kNone || section == Section::kForeign || section == Section::kEnd) {
    return section;
  }
  const bool two_words = is_lp_word(tokens_.token().text, "subject") ||
                         is_lp_word(tokens_.token().text, "such") ||
                         is_lp_word(tokens_.token().text, "matrix");
  const bool hyphen = is_lp_word(tokens_.token().text, "semi") && tokens_.rest().starts_with('-');
  tokens_.next();
  if (two_words) tokens_.next();
  if (hyphen) {
    tokens_.next();
    tokens_.next();
  }
  return section;
}

bool LpReader::is_infinity_word() const {
  const std::string_view word = tokens_.token().text;
  return is_lp_word(word, "inf") || is_lp_word(word, "infinity");
}

bool LpReader::read_constraints() {
  while (tokens_.kind() != LpKind::kEnd && !starts_section()) {
    if (tokens_.line_number() >= looked_at_) look_ahead();
    if (!read_constraint()) return false;
  }
  return tokens_.status().ok();
}

// Lets the names of the next lines be fetched together, as MpsReader::look_ahead does: whatever
// looks like one, which is found all the same when it is read.
void LpReader::look_ahead() {
  std::array<std::string_view, NameTable::kAtOnce> names;
  size_t count = 0;
  std::string_view text = tokens_.ahead();
  looked_at_ = tokens_.line_number();
  while (count < names.size()) {
    const size_t end = text.find('\n');
    if (end == std::string_view::npos) break;
    std::string_view line = text.substr(0, end);
    for (std::string_view word = take_word(&line); !word.empty() && count < names.size();
         word = take_word(&line)) {
      if (static_cast<unsigned char>(word[0]) >= 'A') names[count++] = word;
    }
    text.remove_prefix(end + 1);
    ++looked_at_;
  }
  const NameTable::Likely vars = var_table_.prefetch(std::span(names).first(count));
  rows_.prefetch(std::span(vars).first(count));
}

bool LpReader::read_constraint() {
  const int32_t con = model_->num_con();
  if (con == std::numeric_limits<int32_t>::max()) return tokens_.fail("too many constraints");
  const bool labelled = tokens_.kind() == LpKind::kName && tokens_.following() == ':';
  if (!labelled && tokens_.at_margin() && !check_heading()) return false;
  if (!read_label(con)) return false;
  rows_.begin_row();
  row_has_range_ = false;
  Part left, right;
  if (!read_expression(con, 1.0, LineEnd::kGoesOn, &left)) return false;
  const LpKind relation = tokens_.kind();
  const bool nothing = !left.said && labelled && is_relation(relation);
  if (!left.said && !nothing) return tokens_.fail("an expression was expected");
  if (nothing)
    warn(tokens_.token().text, "a constraint without an expression, which is taken as 0");
  if (!is_relation(relation)) return tokens_.fail("a relation ('<=', '>=' or '=') was expected");
  tokens_.next();
  const LineEnd line_end = left.terms ? LineEnd::kEnds : LineEnd::kEndsConstant;
  right_of_terms_ = left.terms;
  const size_t num_doubtful = doubtful_.size();
  if (!read_expression(con, left.terms ? -1.0 : 1.0, line_end, &right)) return false;
  right_of_terms_ = false;
  if (!right.said || (nothing && right.terms)) return tokens_.fail("a number was expected");
  // A unit is the only thing on its side.
  if (!right.alone) doubtful_.resize(num_doubtful);
  return finish_constraint(con, left, relation, right) && check_line_end();
}

// A constraint without a name begins a line: what follows another one in its line belongs to that.
bool LpReader::check_line_end() {
  const LpToken& token = tokens_.token();
  if (token.first || token.kind == LpKind::kEnd || starts_section()) return tokens_.status().ok();
  if (token.kind == LpKind::kName && tokens_.following() == ':') return true;
  return tokens_.fail("a sign or the end of the constraint was expected");
}

// A heading that is misspelt, or needs an opening line that is not there, would be a variable.
bool LpReader::check_heading() {
  const LpToken& token = tokens_.token();
  if (token.kind != LpKind::kName || !tokens_.at_margin() || var_table_.find(token.text) >= 0) {
    return true;
  }
  const std::string help = nearest_heading();
  if (help.empty()) return true;
  return tokens_.fail(token.text, "this looks like the name of a section", help);
}

// What a heading that the line at hand is nearest to would need; empty if it is near to none.
std::string LpReader::nearest_heading() const {
  std::string_view rest = tokens_.rest().substr(0, tokens_.rest().find('\\'));
  std::string line = lower_case(tokens_.token().text);
  for (std::string_view word = take_word(&rest); !word.empty(); word = take_word(&rest)) {
    line += " " + lower_case(word);
    if (line.size() > 2 * kLongestHeading) return {};
  }
  Nearest nearest(line);
  for (const Heading& heading : kHeadings) {
    if (heading.words.size() < 4) continue;
    if (heading.extended && !extended_ && heading.words == first_words(line, heading.words)) {
      return "; a section of PTF files, which begin with the line '" + std::string(kPtfOpening) +
             "' and have the suffix .ptf or .opf";
    }
    nearest.consider(heading.words);
  }
  return nearest.advice();
}

bool LpReader::read_label(int32_t con) {
  if (tokens_.kind() != LpKind::kName || tokens_.following() != ':') {
    model_->con_names.add({});
    con_word_.clear();
    return true;
  }
  const std::string_view word = tokens_.token().text;
  if (con_table_.insert(word, con) != con) {
    return tokens_.fail("a second constraint of this name");
  }
  model_->con_names.add(word);
  if (encoded_) con_word_ = word;
  tokens_.next();
  tokens_.next();
  return tokens_.status().ok();
}

// Brings the constants to the side where no terms are.
bool LpReader::finish_constraint(int32_t con, const Part& left, LpKind relation,
                                 const Part& right) {
  const bool third = is_relation(tokens_.kind()) && !(tokens_.token().first && left.terms);
  const bool terms_left = left.terms || (!right.terms && !third);
  const Part& middle = terms_left ? left : right;
  const auto side = [this, &middle](double value) {
    return middle.constant == 0.0 ? as_side(value) : as_side(value) - middle.constant;
  };
  if (!std::isfinite(middle.constant)) return tokens_.fail("a constant must be finite");
  double lower = -kInf;
  double upper = kInf;
  const auto apply = [&lower, &upper](LpKind kind, double value) {
    if (kind != LpKind::kLess) lower = value;
    if (kind != LpKind::kGreater) upper = value;
  };
  if (terms_left) {
    apply(relation, side(right.constant));
  } else {
    apply(mirrored(relation), side(left.constant));
  }
  if (third) {
    if (left.terms || relation == LpKind::kEqual || tokens_.kind() != relation) {
      return tokens_.fail("a second relation must be as the first, with constants on both sides");
    }
    tokens_.next();
    Part end;
    if (!read_expression(con, 1.0, LineEnd::kEnds, &end)) return false;
    if (end.terms || !end.said) return tokens_.fail("a number was expected");
    apply(relation, side(end.constant));
  }
  return close_constraint(con, lower, upper);
}

bool LpReader::close_constraint(int32_t con, double lower, double upper) {
  if (row_has_range_) {
    if (lower != 0.0 || upper != 0.0) {
      return tokens_.fail("a constraint with a variable for its value must be '= 0' before this");
    }
    upper = kInf;
    con_flags_.resize(static_cast<size_t>(con) + 1);
    con_flags_[static_cast<size_t>(con)] |= kHasRange;
  }
  model_->con_lower.push_back(lower);
  model_->con_upper.push_back(upper);
  return tokens_.status().ok();
}

bool LpReader::read_expression(int32_t con, double factor, LineEnd line_end, Part* part) {
  while (true) {
    bool sign = false;
    bool negative = false;
    for (; is_sign(tokens_.kind()); tokens_.next()) {
      sign = true;
      negative ^= tokens_.kind() == LpKind::kMinus;
      if (negative && tokens_.rest().starts_with('>')) {
        return tokens_.fail(
            "a constraint that holds under a condition cannot be taken; with a "
            "bound M of its left side, 'x + M b <= c + M' holds where b is 1");
      }
    }
    const LpKind kind = tokens_.kind();
    if (part->said && !sign && kind != LpKind::kOpen) return check_expression_end();
    const double signed_factor = negative ? -factor : factor;
    bool good = false;
    if (kind == LpKind::kNumber) {
      good = read_number_term(con, negative ? -1.0 : 1.0, signed_factor, line_end, part);
    } else if (kind == LpKind::kName) {
      if (!sign && starts_section()) return true;
      // Left of the relation a variable may have this name, but none alone with a sign.
      const bool infinite =
          con != kObjective && !part->said && is_infinity_word() &&
          (line_end != LineEnd::kGoesOn || (sign && is_relation_character(tokens_.following())));
      if (infinite) {
        part->constant = std::copysign(kInf, negative ? -1.0 : 1.0);
        tokens_.next();
        good = true;
      } else {
        good = (!right_of_terms_ || check_right_name(false)) &&
               read_name_term(con, signed_factor, part);
      }
    } else if (kind == LpKind::kOpen) {
      part->terms = true;
      good = read_quadratic(con, signed_factor);
    } else if (sign || !tokens_.status().ok()) {
      return tokens_.fail("a term was expected");
    } else {
      return true;
    }
    if (!good) return false;
    part->alone = !part->said;
    part->said = true;
    const bool may_end =
        line_end == LineEnd::kEnds || (line_end == LineEnd::kEndsConstant && !part->terms);
    if (may_end && tokens_.token().first) return tokens_.status().ok();
  }
}

// A number that a name follows is its coefficient, unless the name begins something else. A
// constant keeps its sign as it stands there; terms have that of their side of the relation, too.
bool LpReader::read_number_term(int32_t con, double sign, double factor, LineEnd line_end,
                                Part* part) {
  double value = tokens_.token().number;
  tokens_.next();
  if (!read_divisor(&value)) return false;
  const LpToken& token = tokens_.token();
  if (token.kind == LpKind::kStar) {
    tokens_.next();
    if (tokens_.kind() != LpKind::kName) return tokens_.fail("a variable was expected");
    if (right_of_terms_ && !check_right_name(false)) return false;
    return read_name_term(con, factor * value, part);
  }
  if (token.kind == LpKind::kName) {
    if (token.glued && !begins_like_lp_name(token.text) && !check_behind_number()) return false;
    const bool may_end =
        line_end == LineEnd::kEnds || (line_end == LineEnd::kEndsConstant && !part->terms);
    bool ends = (may_end && token.first) || tokens_.following() == ':';
    if (!ends && (token.first || may_end || is_lp_word(token.text, "subject") ||
                  is_lp_word(token.text, "such"))) {
      ends = starts_section();
    }
    if (!ends) {
      if (right_of_terms_ && !check_right_name(true)) return false;
      return read_name_term(con, factor * value, part);
    }
  }
  if (con == kObjective) {
    add_constant(sign * value);
  } else {
    part->constant = part->said ? part->constant + sign * value : sign * value;
  }
  return tokens_.status().ok();
}

bool LpReader::read_name_term(int32_t con, double coefficient, Part* part) {
  const LpToken& token = tokens_.token();
  part->terms = true;
  if (!std::isfinite(coefficient)) return tokens_.fail("a coefficient must be finite");
  if (!doubtful_.empty() && !right_of_terms_) settle(token.text);
  if (!add_term(con, coefficient, token.text)) return false;
  tokens_.next();
  return true;
}

bool LpReader::check_expression_end() {
  if (tokens_.kind() != LpKind::kStar && tokens_.kind() != LpKind::kCaret) {
    return tokens_.status().ok();
  }
  return tokens_.fail(
      "a product or a power of variables stands in brackets, as in '[ 2 x * y + z ^ 2 ]', and a "
      "number in front of its variable");
}

// What follows a number without a blank and does not begin as names do: the rest of a number that
// is written in another way, unless there is such a variable.
bool LpReader::check_behind_number() {
  const std::string_view word = tokens_.token().text;
  return var_table_.find(word) >= 0 || tokens_.fail(advice_on_typo(word));
}

// Right of a relation with variables on its left, no program writes anything but a number. A person
// may write a variable there; a new one must look like a name, and one behind a number is doubtful.
bool LpReader::check_right_name(bool behind_number) {
  const LpToken& token = tokens_.token();
  if (var_table_.find(token.text) >= 0) {
    if (!behind_number) settle(token.text);
    return true;
  }
  int32_t matrix_var = 0;
  int32_t row = 0;
  int32_t col = 0;
  const bool helper = encoded_ && token.text.find('%') != std::string_view::npos;
  if (helper || find_element(token.text, &matrix_var, &row, &col)) return true;
  const bool exponent = token.glued && is_lp_word(token.text, "e");
  if (!begins_like_lp_name(token.text) || exponent) {
    return tokens_.fail(advice_on_typo(token.text));
  }
  if (behind_number) doubtful_.push_back({model_->num_var(), tokens_.place(), false});
  return true;
}

// "(x + y)": two names here, of which the second one closes what the first one opens.
bool LpReader::check_brackets() {
  const std::string_view word = tokens_.token().text;
  if (word.find(')') != std::string_view::npos) return true;
  const std::string_view rest = tokens_.rest();
  const size_t close = rest.find_first_of("()\\");
  return close == std::string_view::npos || rest[close] != ')' ||
         tokens_.fail(advice_on_typo(word));
}

void LpReader::settle(std::string_view word) {
  const int32_t var = var_table_.find(word);
  if (var >= 0) var_flags_[static_cast<size_t>(var)] |= kSettled;
}

bool LpReader::check_doubtful() {
  for (const Doubtful& doubtful : doubtful_) {
    const auto index = static_cast<size_t>(doubtful.var);
    if ((var_flags_[index] & kSettled) != 0) continue;
    const std::string_view word = model_->var_names[index];
    const std::string help = nearest_settled(word);
    if (doubtful.in_cone) {
      constexpr std::string_view kAlone = "a member of a cone that is nowhere else in the model";
      if (!help.empty()) return tokens_.fail_at(doubtful.place, word, kAlone, help);
      warnings_->add(tokens_.message_at(doubtful.place, word, kAlone));
      continue;
    }
    return tokens_.fail_at(doubtful.place, word,
                           "a number has no unit; a variable that is only behind numbers right of "
                           "relations must be in the objective, in Bounds or in a list, too",
                           help);
  }
  for (const Doubtful& doubtful : semicolons_) {
    const std::string_view word = model_->var_names[static_cast<size_t>(doubtful.var)];
    if (var_table_.find(word.substr(0, word.size() - 1)) < 0) continue;
    return tokens_.fail_at(doubtful.place, word, "a line ends without ';'");
  }
  return true;
}

// As the next, among the variables that are in no doubt themselves.
std::string LpReader::nearest_settled(std::string_view word) const {
  std::vector<int32_t> others;
  for (const Doubtful& doubtful : doubtful_) {
    if ((var_flags_[static_cast<size_t>(doubtful.var)] & kSettled) == 0) {
      others.push_back(doubtful.var);
    }
  }
  Nearest nearest(word);
  for (int32_t var = 0; var < model_->num_var(); ++var) {
    if (std::binary_search(others.begin(), others.end(), var)) continue;
    nearest.consider(model_->var_names[static_cast<size_t>(var)]);
  }
  return nearest.advice();
}

std::string LpReader::nearest_variable(std::string_view word) const {
  return advice_on(model_->var_names, model_->cost.size(), word);
}

bool LpReader::add_term(int32_t con, double coefficient, std::string_view word) {
  int32_t var = var_table_.find(word);
  if (var < 0) {
    bool taken = false;
    if (encoded_ && !add_helper(con, coefficient, word, &taken)) return false;
    if (!taken && extended_ && !take_element(word, con, coefficient, &taken)) return false;
    if (taken) return true;
    if (word[0] == '(' && !check_brackets()) return false;
    if (!add_variable(word, &var)) return false;
  }
  if (con == kObjective) return add_cost(var, coefficient, word);
  if (rows_.add(var, coefficient)) return true;
  warn(word, "the constraint has the variable more than once, the coefficients are summed");
  if (std::isfinite(rows_.coefficient(var))) return true;
  return tokens_.fail(word, "a coefficient must be finite");
}

// The variables that stand for a constant and for the value of a constraint.
bool LpReader::add_helper(int32_t con, double coefficient, std::string_view word, bool* taken) {
  if (word == kLpConstantWord) {
    if (con != kObjective) return tokens_.fail(word, "the constant is the objective's alone");
    add_constant(coefficient);
    *taken = true;
    return true;
  }
  if (!word.ends_with(kLpRangeMark)) return true;
  if (con == kObjective || con_word_.empty() || !word.starts_with(con_word_) ||
      word.size() != con_word_.size() + kLpRangeMark.size()) {
    return tokens_.fail(word, "the variable of another constraint's value");
  }
  if (row_has_range_ || coefficient != -1.0) {
    return tokens_.fail(word, "the variable of a constraint's value must be there once, with -1");
  }
  row_has_range_ = true;
  *taken = true;
  return true;
}

bool LpReader::add_variable(std::string_view word, int32_t* var) {
  *var = model_->num_var();
  if (*var == std::numeric_limits<int32_t>::max()) return tokens_.fail("too many variables");
  if (word.back() == ';') semicolons_.push_back({*var, tokens_.place(), false});
  var_table_.insert(word, *var);
  model_->var_names.add(word);
  model_->cost.push_back(0.0);
  model_->var_lower.push_back(0.0);
  model_->var_upper.push_back(kInf);
  model_->var_kind.push_back(VarKind::kContinuous);
  var_flags_.push_back(0);
  return true;
}

// The first cost replaces the zero, so that its sign stays if it is a zero itself.
bool LpReader::add_cost(int32_t var, double cost, std::string_view word) {
  const auto index = static_cast<size_t>(var);
  if ((var_flags_[index] & kHasCost) == 0) {
    var_flags_[index] |= kHasCost;
    model_->cost[index] = cost;
    return true;
  }
  warn(word, "the objective has the variable more than once, the coefficients are summed");
  model_->cost[index] += cost;
  if (std::isfinite(model_->cost[index])) return true;
  return tokens_.fail(word, "a coefficient must be finite");
}

void LpReader::add_constant(double value) {
  model_->constant = has_constant_ ? model_->constant + value : value;
  has_constant_ = true;
}

bool LpReader::read_quadratic(int32_t con, double factor) {
  const size_t begin = terms_.num_quadratic();
  tokens_.next();
  do {
    if (!read_quadratic_term(con, factor)) return false;
  } while (is_sign(tokens_.kind()));
  if (tokens_.kind() != LpKind::kClose) return tokens_.fail("a sign or ']' was expected");
  tokens_.next();
  double divisor = 1.0;
  const bool halved = tokens_.kind() == LpKind::kSlash;
  if (halved) {
    tokens_.next();
    divisor = tokens_.token().number;
    if (tokens_.kind() != LpKind::kNumber || divisor != 2.0) {
      return tokens_.fail("'2' was expected");
    }
    tokens_.next();
  } else if (con == kObjective) {
    return tokens_.fail("'/ 2' was expected behind the bracket of an objective");
  }
  terms_.end_bracket(begin, halved);
  return tokens_.status().ok();
}

bool LpReader::read_quadratic_term(int32_t con, double factor) {
  double value = factor;
  for (; is_sign(tokens_.kind()); tokens_.next()) {
    if (tokens_.kind() == LpKind::kMinus) value = -value;
  }
  if (tokens_.kind() == LpKind::kNumber) {
    double number = 0.0;
    if (!read_factor(&number)) return false;
    value *= number;
    if (tokens_.kind() == LpKind::kStar) tokens_.next();
  }
  if (!std::isfinite(value)) return tokens_.fail("a coefficient must be finite");
  int32_t first = 0;
  if (!read_variable(&first)) return false;
  int32_t second = first;
  if (tokens_.kind() == LpKind::kCaret) {
    tokens_.next();
    if (tokens_.kind() != LpKind::kNumber || tokens_.token().number != 2.0) {
      return tokens_.fail("the exponent '2' was expected");
    }
    tokens_.next();
  } else if (tokens_.kind() == LpKind::kStar) {
    tokens_.next();
    if (!read_variable(&second)) return false;
  } else {
    return tokens_.fail("'^ 2' or '*' was expected");
  }
  terms_.add_quadratic(con, first, second, value);
  return true;
}

// A number or a quotient of two.
bool LpReader::read_factor(double* value) {
  *value = tokens_.token().number;
  tokens_.next();
  return read_divisor(value);
}

bool LpReader::read_divisor(double* value) {
  if (tokens_.kind() != LpKind::kSlash) return true;
  tokens_.next();
  const LpToken& token = tokens_.token();
  if (token.kind != LpKind::kNumber || token.number == 0.0) {
    return tokens_.fail("a number other than zero was expected");
  }
  *value /= token.number;
  tokens_.next();
  return true;
}

// A variable that is one of the model, new or not.
bool LpReader::read_variable(int32_t* var) {
  if (tokens_.kind() != LpKind::kName) return tokens_.fail("a variable was expected");
  const std::string_view word = tokens_.token().text;
  if (!doubtful_.empty()) settle(word);
  *var = var_table_.find(word);
  if (*var < 0) {
    int32_t matrix_var = 0;
    int32_t row = 0;
    int32_t col = 0;
    const bool helper = encoded_ && (word == kLpConstantWord || word.ends_with(kLpRangeMark));
    if (helper || find_element(word, &matrix_var, &row, &col)) {
      return tokens_.fail("a variable of the model was expected");
    }
    if (!add_variable(word, var)) return false;
  }
  tokens_.next();
  return true;
}

double LpReader::as_side(double value) {
  const double size = std::fabs(value);
  if (size < kSomeInfinity || size == kInf || exact_) return value;
  if (size >= kLpInfinity) return std::copysign(kInf, value);
  if (!said_large_) {
    warn(tokens_.token().text, "a number below 1e30, before this, is not taken as infinite");
    said_large_ = true;
  }
  return value;
}

void LpReader::warn(std::string_view word, std::string_view what) {
  warnings_->add(tokens_.message(word, what));
}

Status LpReader::finish() {
  if (!check_doubtful()) return tokens_.status();
  for (const auto& [var, line] : negative_uppers_) {
    const auto index = static_cast<size_t>(var);
    if ((var_flags_[index] & kHasLower) != 0 || !(model_->var_upper[index] < 0.0)) continue;
    warnings_->add(format_text(
        "%s:%lld: the upper bound of '%s' is negative, the lower one stays 0", shown_name_.c_str(),
        static_cast<long long>(line), printable(model_->var_names[index]).c_str()));
  }
  if (!terms_.finish(model_)) {
    return {
        Code::kErrFileContent,
        format_text("%s: a sum of coefficients at one place is not finite", shown_name_.c_str())};
  }
  rows_.finish(model_->cost.size(), &model_->matrix);
  model_->name = tokens_.problem_name();
  if (encoded_) decode_names();
  return tokens_.finish();
}

void LpReader::decode_names() {
  Model& model = *model_;
  model.name = decode_lp_name(model.name);
  model.objective_name = decode_lp_name(model.objective_name);
  model.var_names = decode_lp_names(model.var_names, model.cost.size());
  model.con_names = decode_lp_names(model.con_names, model.con_lower.size());
  model.matrix_var_names = decode_lp_names(model.matrix_var_names, model.matrix_vars.size());
  model.cone_names = decode_lp_names(model.cone_names, model.cones.size());
}

bool is_lp_sense(std::string_view word) { return find_sense(word) != nullptr; }

Status read_lp(InputStream* input, const ReadLimits& limits, ProblemFile* file,
               Warnings* warnings) {
  return LpReader(input, limits, false, file, warnings).read();
}

}  // namespace vorlan
