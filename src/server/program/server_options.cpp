// The table of options and its two readers; see options.h.
#include "program/server_options.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <variant>

namespace vorlan::server {
namespace {

using Target =
    std::variant<std::string Options::*, bool Options::*, int64_t Options::*, double Options::*>;

struct Option {
  const char* name;
  const char* value;  // its word in the help; empty for a switch
  Target target;
  double least, most;  // of numbers
  const char* help;
};

constexpr double kMany = 1e15;

constexpr Option kOptions[] = {
    {"data", "DIR", &Options::data, 0, 0, "the folder with jobs, tokens and results; it is made"},
    {"database", "FILE", &Options::database, 0, 0,
     "the database, when DIR is shared between machines (DIR/server.sqlite)"},
    {"listen", "ADDRESS", &Options::listen, 0, 0, "the IP address to listen at (127.0.0.1)"},
    {"port", "N", &Options::port, 0, 65535, "the port; 0 takes any free one (7467)"},
    {"tls-certificate", "FILE", &Options::tls_certificate, 0, 0,
     "serve https with this certificate chain (PEM); SIGHUP reads it again"},
    {"tls-key", "FILE", &Options::tls_key, 0, 0, "the certificate's key (PEM)"},
    {"insecure", "", &Options::insecure, 0, 0,
     "allow an address beyond this machine: requests and tokens are not encrypted"},
    {"worker", "PROGRAM", &Options::worker, 0, 0, "the program vorlancli (the one beside this)"},
    {"runner", "WHERE", &Options::runner, 0, 0,
     "where workers run: local, or slurm for the nodes of a Slurm cluster (local)"},
    {"slurm-options", "WORDS", &Options::slurm_options, 0, 0,
     "further options for sbatch, as '--partition=main --account=x'"},
    {"jail", "MODE", &Options::jail, 0, 0,
     "keep workers to their folders: yes, must (refuse to start where the system cannot), no "
     "(yes)"},
    {"worker-memory", "MIB", &Options::worker_memory, 0, 1e9,
     "memory of each process of a worker (the machine's)"},
    {"slots", "N", &Options::slots, 0, 4096,
     "jobs that run at a time (by processors and threads; 100 with a cluster)"},
    {"threads", "N", &Options::threads, 0, 512, "threads of a job (half of the processors)"},
    {"memory", "MIB", &Options::memory, 0, kMany, "memory of a solve (no limit)"},
    {"time-limit", "SECONDS", &Options::time_limit, 0, kMany, "time of a solve (no limit)"},
    {"max-variables", "N", &Options::max_variables, 0, 2147483647, "variables (no limit)"},
    {"max-constraints", "N", &Options::max_constraints, 0, 2147483647, "constraints (no limit)"},
    {"max-jobs", "N", &Options::max_jobs, 1, kMany, "jobs that have not ended (10000)"},
    {"max-requests", "N", &Options::max_requests, 1, kMany,
     "requests of a token that are open at a time, streams included (1500)"},
    {"max-upload", "MIB", &Options::max_upload, 1e-3, 1e9, "size of a problem file (4096)"},
    {"patience", "SECONDS", &Options::patience, 0.1, 3600,
     "for a client that sends or takes nothing (30; 10 for a header)"},
    {"heartbeat", "SECONDS", &Options::heartbeat, 0.1, 30,
     "silence after which a stream of events says that it lives (15)"},
    {"retention", "DAYS", &Options::retention, 0, 1e6, "days for which ended jobs are kept (7)"},
    {"help", "", &Options::help, 0, 0, "print this text"},
    {"version", "", &Options::version, 0, 0, "print the version"},
};

const Option* find_option(const std::string& name) {
  for (const Option& option : kOptions) {
    if (name == option.name) return &option;
  }
  return nullptr;
}

std::string shortest(double value) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

template <class Number>
void set_number(const Option& option, const std::string& text, const std::string& place,
                Number* value) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number);
  const auto as_double = static_cast<double>(number);
  if (error != std::errc() || last != end) {
    throw OptionError(place + ": '" + text + "' is no number");
  }
  if (!(as_double >= option.least && as_double <= option.most)) {
    throw OptionError(place + ": '" + text + "' is not within " + shortest(option.least) + " and " +
                      shortest(option.most));
  }
  *value = number;
}

void set_switch(const std::string& text, const std::string& place, bool* value) {
  if (text != "yes" && text != "no") throw OptionError(place + ": expected yes or no");
  *value = text == "yes";
}

// `place` is what messages begin with.
void set(const Option& option, const std::string& text, const std::string& place,
         Options* options) {
  if (const auto* string = std::get_if<std::string Options::*>(&option.target)) {
    options->** string = text;
  } else if (const auto* flag = std::get_if<bool Options::*>(&option.target)) {
    set_switch(text, place, &(options->**flag));
  } else if (const auto* integer = std::get_if<int64_t Options::*>(&option.target)) {
    set_number(option, text, place, &(options->**integer));
  } else {
    set_number(option, text, place, &(options->*std::get<double Options::*>(option.target)));
  }
}

std::string trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

void read_line(const std::string& line, const std::string& place, Options* options) {
  const std::string text = trimmed(line);
  if (text.empty() || text.front() == '#') return;
  const size_t equals = text.find('=');
  if (equals == std::string::npos) throw OptionError(place + ": expected 'name = value'");
  const std::string name = trimmed(text.substr(0, equals));
  const Option* option = find_option(name);
  if (option == nullptr) throw OptionError(place + ": there is no option '" + name + "'");
  set(*option, trimmed(text.substr(equals + 1)), place + ": " + name, options);
}

void read_file(const std::string& path, Options* options) {
  std::ifstream file(path);
  if (!file) throw OptionError("cannot open the configuration file '" + path + "'");
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    read_line(line, path + ":" + std::to_string(number), options);
  }
}

// The word's value: behind an equals sign, or the next word, which is then taken.
std::string take_value(const std::vector<std::string>& words, size_t* i) {
  const size_t equals = words[*i].find('=');
  if (equals != std::string::npos) return words[*i].substr(equals + 1);
  if (*i + 1 == words.size()) throw OptionError(words[*i] + ": expected a value");
  return words[++*i];
}

void read_word(const std::vector<std::string>& words, size_t* i, bool only_config,
               Options* options) {
  const std::string& word = words[*i];
  const std::string name = word.substr(0, word.find('='));
  if (name == "--config") {
    const std::string path = take_value(words, i);
    if (only_config) read_file(path, options);
    return;
  }
  const Option* option = name.starts_with("--") ? find_option(name.substr(2)) : nullptr;
  if (option == nullptr) throw OptionError("unknown option '" + word + "'; --help lists them");
  const bool is_switch = option->value[0] == '\0' && name == word;
  const std::string value = is_switch ? "yes" : take_value(words, i);
  if (!only_config) set(*option, value, name, options);
}

}  // namespace

Options parse_options(const std::vector<std::string>& words) {
  Options options;
  for (const bool only_config : {true, false}) {
    for (size_t i = 0; i < words.size(); ++i) read_word(words, &i, only_config, &options);
  }
  return options;
}

std::string database_path(const Options& options) {
  return options.database.empty() ? options.data + "/server.sqlite" : options.database;
}

std::string options_help() {
  std::string text =
      "usage: vorlanserver --data DIR [OPTION...]         run the server\n"
      "       vorlanserver token add OWNER [read|submit|admin] [DAYS] [QUOTA...] --data DIR\n"
      "           QUOTA: jobs=N bytes=N threads=N time=SECONDS variables=N\n"
      "       vorlanserver token list --data DIR\n"
      "       vorlanserver token revoke ID --data DIR      beside a running server\n\n";
  for (const Option& option : kOptions) {
    std::string name = std::string("  --") + option.name + " " + option.value;
    name.resize(std::max<size_t>(name.size() + 1, 28), ' ');
    text += name + option.help + "\n";
  }
  text += "  --config FILE             a file of lines 'name = value'; the command line wins\n";
  return text;
}

}  // namespace vorlan::server
