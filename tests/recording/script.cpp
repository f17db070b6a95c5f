// script.cpp - reads the rules of a script and says which of them match a call.
#include "script.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>

#include "quoting.h"

namespace recording {
namespace {

constexpr std::pair<std::string_view, int> signals[] = {
    {"TERM", SIGTERM}, {"INT", SIGINT}, {"HUP", SIGHUP}, {"KILL", SIGKILL}};

// Walks one line.
class Line {
 public:
  explicit Line(std::string_view text) : text_(text) { skip_blanks(); }

  bool at_end() const { return position_ == text_.size() || text_[position_] == '#'; }
  bool next_is(char c) const { return position_ < text_.size() && text_[position_] == c; }

  bool take(char c) {
    if (!next_is(c)) return false;
    ++position_;
    skip_blanks();
    return true;
  }

  void expect(char c) {
    if (!take(c)) throw std::runtime_error(std::string("'") + c + "' expected before " + rest());
  }

  std::string word() {
    const std::size_t end = text_.find_first_of(" =:;,]#", position_);
    std::string result(text_.substr(position_, end - position_));
    if (result.empty()) throw std::runtime_error("a word expected before " + rest());
    position_ += result.size();
    skip_blanks();
    return result;
  }

  double number() {
    const std::string digits = word();
    char* end = nullptr;
    const double result = std::strtod(digits.c_str(), &end);
    if (*end != '\0') throw std::runtime_error("not a number: " + digits);
    return result;
  }

  // The rest of the word as a count of nanoseconds, written with exactly nine decimals.
  int64_t nanoseconds() {
    std::string digits = word();
    const std::size_t point = digits.find('.');
    if (point == std::string::npos || digits.size() != point + 10) {
      throw std::runtime_error("a clock reading needs nine decimals: " + digits);
    }
    digits.erase(point, 1);
    return std::stoll(digits);
  }

  std::string quoted() {
    if (!next_is('"')) throw std::runtime_error("a quoted text expected before " + rest());
    std::string result = unquote(text_, position_);
    skip_blanks();
    return result;
  }

  Value value() {
    if (next_is('"')) return text_value();
    if (take('[')) return list_value();
    return number();
  }

  std::string rest() const { return quote(text_.substr(position_)); }

 private:
  void skip_blanks() {
    while (next_is(' ')) ++position_;
  }

  Value text_value() {
    const std::string once = quoted();
    if (!take('*')) return once;
    std::string result;
    for (auto count = static_cast<int64_t>(number()); count > 0; --count) result += once;
    return result;
  }

  Value list_value() {
    std::vector<double> result;
    while (!take(']')) {
      result.push_back(number());
      if (!next_is(']')) expect(',');
    }
    return result;
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

const Parameter* find_parameter(const Operation& operation, std::string_view name) {
  for (const Parameter& parameter : operation.parameters) {
    if (parameter.name == name) return &parameter;
  }
  return nullptr;
}

bool takes_text(Kind kind) {
  return kind == Kind::Text || kind == Kind::Secret || kind == Kind::SizedText ||
         kind == Kind::WideText;
}

bool takes_list(Kind kind) { return kind >= Kind::VariableInts && kind <= Kind::SliceDoubles; }

void check_value(const Parameter& parameter, const Value& value) {
  const bool fits = takes_text(parameter.kind) ? std::holds_alternative<std::string>(value)
                    : takes_list(parameter.kind)
                        ? std::holds_alternative<std::vector<double>>(value)
                        : std::holds_alternative<double>(value);
  if (!fits) throw std::runtime_error("wrong sort of value for " + std::string(parameter.name));
}

Action parse_signal(Line& line) {
  const std::string name = line.word();
  for (const auto& [known, number] : signals) {
    if (known == name) return {ActionKind::signal, {}, static_cast<double>(number)};
  }
  throw std::runtime_error("unknown signal " + name);
}

Action parse_assignment(Line& line, const Operation& operation, const std::string& name) {
  const Parameter* parameter = find_parameter(operation, name);
  if (parameter == nullptr || !is_out(parameter->kind) || parameter->kind == Kind::NewTask) {
    throw std::runtime_error("neither an action nor an out-argument: " + name);
  }
  line.expect('=');
  Action action{ActionKind::assign, name, line.value()};
  check_value(*parameter, action.value);
  return action;
}

Action parse_action(Line& line, const Operation& operation) {
  const std::string word = line.word();
  if (word == "code") return {ActionKind::code, {}, line.number()};
  if (word == "signal") return parse_signal(line);
  if (word == "callback") return {ActionKind::callback, {}, line.number()};
  if (word == "callback-until-stop") return {ActionKind::callback_until_stop, {}, 0.0};
  if (word == "log") return {ActionKind::log, {}, line.quoted()};
  if (word == "show") return {ActionKind::show, line.quoted(), 0.0};
  if (word == "sleep") return {ActionKind::sleep, {}, line.number()};
  if (word != "write") return parse_assignment(line, operation, word);
  Action action{ActionKind::write, line.quoted(), 0.0};
  action.value = line.quoted();
  return action;
}

void parse_condition(Line& line, Rule& rule) {
  const std::string name = line.word();
  line.expect('=');
  if (name == "call") {
    rule.call = static_cast<int64_t>(line.number());
    if (rule.call < 1) throw std::runtime_error("calls count from 1");
    return;
  }
  const Parameter* parameter = find_parameter(*rule.operation, name);
  if (parameter == nullptr || is_out(parameter->kind)) {
    throw std::runtime_error("not an in-argument: " + name);
  }
  rule.conditions.emplace_back(name, line.value());
  check_value(*parameter, rule.conditions.back().second);
}

Rule parse_rule(Line& line, const std::string& name) {
  Rule rule;
  rule.operation = find_operation(name);
  if (rule.operation == nullptr) throw std::runtime_error("unknown operation " + name);
  while (!line.take(':')) parse_condition(line, rule);
  do {
    rule.actions.push_back(parse_action(line, *rule.operation));
  } while (line.take(';'));
  if (!line.at_end()) throw std::runtime_error("not understood: " + line.rest());
  return rule;
}

void parse_line(std::string_view text, Script& script) {
  Line line(text);
  if (line.at_end()) return;
  const std::string name = line.word();
  if (name != "clock") {
    script.rules.push_back(parse_rule(line, name));
    return;
  }
  line.expect(':');
  while (!line.at_end()) script.clock.push_back(line.nanoseconds());
}

bool condition_holds(const Argument& argument, const Value& wanted) {
  if (!takes_text(argument.parameter.kind)) {
    return static_cast<double>(argument.number) == std::get<double>(wanted);
  }
  return argument.pointer != nullptr && std::get<std::string>(wanted) == argument.as<const char>();
}

}  // namespace

bool Rule::matches(const Operation& called, const std::vector<Argument>& arguments,
                   int64_t call_number) const {
  if (operation != &called || (call != 0 && call != call_number)) return false;
  return std::ranges::all_of(conditions, [&](const auto& condition) {
    return std::ranges::any_of(arguments, [&](const Argument& argument) {
      return argument.parameter.name == condition.first &&
             condition_holds(argument, condition.second);
    });
  });
}

Script parse_script(std::string_view text) {
  Script script;
  int number = 0;
  while (!text.empty()) {
    ++number;
    const std::size_t end = text.find('\n');
    try {
      parse_line(text.substr(0, end), script);
    } catch (const std::exception& error) {
      throw std::runtime_error("script line " + std::to_string(number) + ": " + error.what());
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return script;
}

}  // namespace recording
