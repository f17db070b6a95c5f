#include "shell_completion.h"

#include <fmt/format.h>

namespace vorlan::companion {

namespace {

constexpr const char* kOrigin = "# Made by \"vorlan completion {}\".\n";

// The names of parameters are asked for when they are needed: the library may know others by then.
constexpr const char* kNamesOfParameters = "vorlan params 2>/dev/null | cut -d: -f1";

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::vector<std::string> command_names(const CommandTable& table) {
  std::vector<std::string> names;
  for (const Command& command : table.commands()) {
    if (!command.name.empty()) names.push_back(command.name);
  }
  return names;
}

std::vector<const CLI::Option*> options(const Command& command) {
  std::vector<const CLI::Option*> found;
  for (const CLI::Option* option : command.parser->get_options()) {
    if (!option->get_lnames().empty()) found.push_back(option);
  }
  return found;
}

std::vector<const CLI::Option*> positionals(const Command& command) {
  std::vector<const CLI::Option*> found;
  for (const CLI::Option* option : command.parser->get_options()) {
    if (option->get_lnames().empty()) found.push_back(option);
  }
  return found;
}

std::string flag(const CLI::Option& option) { return "--" + option.get_lnames().front(); }

std::vector<std::string> flags(const Command& command) {
  std::vector<std::string> found;
  for (const CLI::Option* option : options(command)) found.push_back(flag(*option));
  return found;
}

const char* quoted_shells() { return "bash zsh fish"; }

// What a shell offers for an argument: the words of bash's compgen.
std::string bash_words(ArgumentKind kind) {
  switch (kind) {
    case ArgumentKind::kFile:
      return "-f";
    case ArgumentKind::kSetting:
      return fmt::format("-S = -W \"$({})\"", kNamesOfParameters);
    case ArgumentKind::kShell:
      return fmt::format("-W '{}'", quoted_shells());
    default:
      return "-W ''";
  }
}

std::string bash_arguments(const CommandTable& table) {
  std::string cases;
  for (const Command& command : table.commands()) {
    for (const CLI::Option* option : options(command)) {
      if (argument_name(*option).empty()) continue;
      const ArgumentKind kind = kind_of(*option);
      const char* no_blank = kind == ArgumentKind::kSetting ? " compopt -o nospace;" : "";
      cases += fmt::format("    {}) _vorlan_offer {};{} return ;;\n", flag(*option),
                           bash_words(kind), no_blank);
    }
  }
  return cases;
}

std::string bash_commands(const CommandTable& table) {
  std::string cases;
  for (const Command& command : table.commands()) {
    const auto places = positionals(command);
    const std::string words = places.empty() ? "-W ''" : bash_words(kind_of(*places.front()));
    cases += fmt::format("    {}) flags='{}'; words=(-W ''); [[ $cur == -* ]] || words=({}) ;;\n",
                         command.name.empty() ? "*" : command.name, joined(flags(command)), words);
  }
  // The solve is the case of every other word, so it stands last.
  const std::size_t second = cases.find('\n') + 1;
  return cases.substr(second) + cases.substr(0, second);
}

std::string bash(const CommandTable& table) {
  return fmt::format(kOrigin, "bash") + fmt::format(R"(# shellcheck shell=bash
_vorlan_offer() {{
  mapfile -t -O "${{#COMPREPLY[@]}}" COMPREPLY < <(compgen "$@" -- "$cur")
}}

_vorlan() {{
  local cur=${{COMP_WORDS[COMP_CWORD]}} flags words
  COMPREPLY=()
  case ${{COMP_WORDS[COMP_CWORD - 1]}} in
{}  esac
  case ${{COMP_WORDS[1]}} in
{}  esac
  _vorlan_offer "${{words[@]}}"
  if [[ $cur == -* ]]; then _vorlan_offer -W "$flags"; fi
  if ((COMP_CWORD == 1)); then _vorlan_offer -W '{}'; fi
}}

complete -o filenames -F _vorlan vorlan
)",
                                                    bash_arguments(table), bash_commands(table),
                                                    joined(command_names(table)));
}

// Within single quotes of a shell; brackets and colons part the fields of zsh's specifications.
std::string zsh_text(const std::string& text) {
  std::string safe;
  for (const char character : text) {
    if (character == '\'') {
      safe += "'\\''";
      continue;
    }
    if (character == '[' || character == ']' || character == ':' || character == '\\') safe += '\\';
    safe += character;
  }
  return safe;
}

std::string zsh_action(ArgumentKind kind) {
  switch (kind) {
    case ArgumentKind::kFile:
      return "_files";
    case ArgumentKind::kSetting:
      return "_vorlan_settings";
    case ArgumentKind::kShell:
      return fmt::format("({})", quoted_shells());
    default:
      return " ";
  }
}

std::string zsh_option(const CLI::Option& option) {
  const bool repeats = kind_of(option) == ArgumentKind::kSetting;
  std::string text = fmt::format("'{}{}[{}]", repeats ? "*" : "", flag(option),
                                 zsh_text(option.get_description()));
  const std::string argument = argument_name(option);
  if (!argument.empty()) {
    text += fmt::format(":{}:{}", zsh_text(argument), zsh_action(kind_of(option)));
  }
  return text + "'";
}

std::string zsh_command(const Command& command) {
  std::string text = "_arguments";
  for (const CLI::Option* option : options(command)) text += " \\\n      " + zsh_option(*option);
  for (const CLI::Option* place : positionals(command)) {
    text += fmt::format(" \\\n      '{}:{}:{}'", command.name.empty() ? "*" : "",
                        zsh_text(argument_name(*place)), zsh_action(kind_of(*place)));
  }
  return text;
}

std::string zsh(const CommandTable& table) {
  std::string cases;
  std::string first_words;
  for (const Command& command : table.commands()) {
    if (command.name.empty()) continue;
    cases += fmt::format("    {}) shift words; ((CURRENT--))\n      {} ;;\n", command.name,
                         zsh_command(command));
    first_words +=
        fmt::format("    '{}:{}'\n", command.name, zsh_text(command.parser->get_description()));
  }
  return "#compdef vorlan\n" + fmt::format(kOrigin, "zsh") +
         fmt::format(R"zsh(
_vorlan_settings() {{
  local -a names
  names=(${{(f)"$({})"}})
  compadd "$@" -S = -a names
}}

_vorlan() {{
  local -a commands
  commands=(
{})
  if ((CURRENT == 2)) && [[ $words[2] != -* ]]; then _describe command commands; fi
  case $words[2] in
{}    *) {} ;;
  esac
}}

_vorlan "$@"
)zsh",
                     kNamesOfParameters, first_words, cases, zsh_command(table.commands().front()));
}

// Within single quotes fish knows \\ and \' alone.
std::string fish_text(const std::string& text) {
  std::string safe;
  for (const char character : text) {
    if (character == '\'' || character == '\\') safe += '\\';
    safe += character;
  }
  return safe;
}

std::string fish_argument(ArgumentKind kind) {
  switch (kind) {
    case ArgumentKind::kFile:
      return " -r -F";
    case ArgumentKind::kSetting:
      return fmt::format(" -x -a '({})'", kNamesOfParameters);
    default:
      return " -x";
  }
}

std::string fish(const CommandTable& table) {
  const std::string names = joined(command_names(table));
  std::string text = fmt::format(kOrigin, "fish");
  for (const Command& command : table.commands()) {
    const std::string condition = command.name.empty()
                                      ? fmt::format("not __fish_seen_subcommand_from {}", names)
                                      : "__fish_seen_subcommand_from " + command.name;
    if (!command.name.empty()) {
      text += fmt::format("complete -c vorlan -n __fish_use_subcommand -a {} -d '{}'\n",
                          command.name, fish_text(command.parser->get_description()));
    }
    for (const CLI::Option* option : options(command)) {
      text += fmt::format("complete -c vorlan -n '{}' -l {}{} -d '{}'\n", condition,
                          option->get_lnames().front(),
                          argument_name(*option).empty() ? "" : fish_argument(kind_of(*option)),
                          fish_text(option->get_description()));
    }
    const auto places = positionals(command);
    const ArgumentKind kind = places.empty() ? ArgumentKind::kFree : kind_of(*places.front());
    if (kind == ArgumentKind::kFile) continue;
    text +=
        fmt::format("complete -c vorlan -n '{}' -f{}\n", condition,
                    kind == ArgumentKind::kShell ? fmt::format(" -a '{}'", quoted_shells()) : "");
  }
  return text;
}

}  // namespace

std::string shell_completion(const CommandTable& table, const std::string& shell) {
  if (shell == "zsh") return zsh(table);
  return shell == "fish" ? fish(table) : bash(table);
}

}  // namespace vorlan::companion
