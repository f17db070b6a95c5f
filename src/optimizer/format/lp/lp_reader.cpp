// The frame of LP and PTF files, from the opening line to the last section; see lp_reader.h.
#include "format/lp/lp_reader.h"

#include <cmath>

#include "format/common/nearest.h"
#include "format/common/slips.h"
#include "format/lp/lp.h"
#include "format/lp/lp_names.h"
#include "task/letters.h"
#include "task/text.h"

namespace vorlan {
namespace {

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

// Why a section that other programs know cannot be taken, by its first word.
std::string_view advice_on_section(std::string_view word) {
  if (is_lp_word(word, "general")) {
    return "general constraints (min, max, abs and the like) cannot be taken; binary variables and "
           "linear constraints can say them";
  }
  return "lazy constraints and user cuts cannot be taken; constraints stand under 'Subject To'";
}

}  // namespace

LpReader::LpReader(InputStream* input, const ReadLimits& limits, LpFormat format, ProblemFile* file,
                   Warnings* warnings)
    : shown_name_(input->shown_name()),
      format_(format),
      reading_(input, limits, file, warnings),
      tokens_(reading_.tokens),
      expressions_(&reading_),
      constraints_(&reading_, &expressions_),
      bounds_(&reading_, &constraints_),
      sets_(&reading_, &bounds_),
      extended_sections_(&reading_, &expressions_),
      solutions_(&reading_) {}

Status LpReader::read() {
  tokens_.next();
  if (!tokens_.status().ok()) return tokens_.status();
  const bool good = read_opening() && read_sense() && read_objective() && read_sections();
  if (good) return finish();
  if (tokens_.line_number() > 0) return tokens_.status();
  return {Code::kErrFileContent, format_text("%s:1: the file is empty", shown_name_.c_str())};
}

// The opening line of a PTF file, and the matrix variables, which come before the objective.
bool LpReader::read_opening() {
  const LpToken& token = tokens_.token();
  const std::string_view line(token.text.data(), token.text.size() + tokens_.rest().size());
  if (token.kind != LpKind::kName || !tokens_.at_margin() || line != kPtfOpening) return true;
  if (format_ != LpFormat::kPtf) {
    return tokens_.fail(line,
                        "the file has sections of PTF files and must be read as .ptf or .opf");
  }
  reading_.headings.allow_extended();
  tokens_.drop_rest();
  tokens_.next();
  while (reading_.headings.match() == LpSection::kMatrixVariables) {
    reading_.headings.take();
    if (!reading_.matrices.read_section(reading_.headings)) return false;
  }
  return tokens_.status().ok();
}

bool LpReader::read_sense() {
  const SenseWord* const found = find_sense(tokens_.token().text);
  if (tokens_.kind() != LpKind::kName || found == nullptr) {
    return tokens_.fail(tokens_.token().text, "'minimize' or 'maximize' was expected",
                        advice_on_words(kSenses, in_small_letters(tokens_.token().text)));
  }
  reading_.model.maximize = found->maximize;
  const std::string word(tokens_.token().text);
  tokens_.next();
  if (!tokens_.token().first && tokens_.token().text == ":") {
    return tokens_.fail(tokens_.token().text, "the name of the objective was expected before ':'",
                        "; '" + word + "' is no name here and stands without ':'");
  }
  return tokens_.status().ok();
}

bool LpReader::read_objective() {
  Model& model = reading_.model;
  if (tokens_.kind() == LpKind::kName && tokens_.following() == ':') {
    model.objective_name = tokens_.token().text;
    tokens_.next();
    tokens_.next();
  }
  LpContent content;
  if (!expressions_.read({LpTerms::kObjective}, &content)) return false;
  return std::isfinite(model.constant) || tokens_.fail("the constant must be finite");
}

bool LpReader::read_sections() {
  bool solved = false;
  while (true) {
    if (tokens_.kind() == LpKind::kEnd) return tokens_.fail("the file ends here, without 'End'");
    const std::string_view word = tokens_.token().text;
    const LpSection section = reading_.headings.take();
    if (section == LpSection::kEnd) {
      tokens_.warn_of_rest();
      return tokens_.status().ok();
    }
    if (section == LpSection::kForeign) return tokens_.fail(word, advice_on_section(word));
    if (section == LpSection::kNone) {
      return tokens_.fail(word, "a sign or the name of a section was expected",
                          reading_.headings.advice());
    }
    if (solved && section != LpSection::kSolution && section != LpSection::kParameters) {
      return tokens_.fail("solutions come behind the model, but this follows them");
    }
    solved = solved || section == LpSection::kSolution;
    if (!read_section(section)) return false;
  }
}

bool LpReader::read_section(LpSection section) {
  switch (section) {
    case LpSection::kConstraints:
      return constraints_.read();
    case LpSection::kBounds:
      return bounds_.read_bounds();
    case LpSection::kSets:
    case LpSection::kSets1:
    case LpSection::kSets2:
      return sets_.read(section);
    case LpSection::kMatrixVariables:
      return tokens_.fail("matrix variables come before the objective");
    case LpSection::kCones:
      return extended_sections_.read_cones();
    case LpSection::kParameters:
      return extended_sections_.read_parameters();
    case LpSection::kSolution:
      return solutions_.read();
    default:
      return bounds_.read_list(section);
  }
}

Status LpReader::finish() {
  Model& model = reading_.model;
  if (!reading_.variables.check_doubtful()) return tokens_.status();
  bounds_.finish(shown_name_);
  if (!reading_.terms.finish(&model)) {
    return {
        Code::kErrFileContent,
        format_text("%s: a sum of coefficients at one place is not finite", shown_name_.c_str())};
  }
  if (!constraints_.finish_conditions()) return tokens_.status();
  expressions_.rows().finish(model.cost.size(), &model.matrix);
  warn_of_slips(model, shown_name_, &reading_.warnings);
  model.name = tokens_.problem_name();
  if (tokens_.encoded_names()) decode_names();
  return tokens_.finish();
}

void LpReader::decode_names() {
  Model& model = reading_.model;
  model.name = decode_lp_name(model.name);
  model.objective_name = decode_lp_name(model.objective_name);
  model.var_names = decode_lp_names(model.var_names, model.cost.size());
  model.con_names = decode_lp_names(model.con_names, model.con_lower.size());
  model.matrix_var_names = decode_lp_names(model.matrix_var_names, model.matrix_vars.size());
  model.cone_names = decode_lp_names(model.cone_names, model.cones.size());
  model.set_names = decode_lp_names(model.set_names, model.sets.size());
}

bool is_lp_sense(std::string_view word) { return find_sense(word) != nullptr; }

Status read_lp(InputStream* input, const ReadLimits& limits, ProblemFile* file,
               Warnings* warnings) {
  return LpReader(input, limits, LpFormat::kLp, file, warnings).read();
}

Status read_ptf(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                Warnings* warnings) {
  return LpReader(input, limits, LpFormat::kPtf, file, warnings).read();
}

}  // namespace vorlan
