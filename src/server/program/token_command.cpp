// The commands on tokens; see token_command.h.
#include "program/token_command.h"

#include <charconv>
#include <cstdio>

#include "base/files.h"
#include "program/server_options.h"
#include "store/audit.h"
#include "store/store.h"
#include "store/tokens.h"

namespace vorlan::server {
namespace {

constexpr double kSecondsOfADay = 86400.0;

double parse_amount(const std::string& text, const char* what) {
  double amount = 0.0;
  const char* end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, amount);
  if (error != std::errc() || last != end || !(amount > 0.0 && amount < 1e15)) {
    throw OptionError("'" + text + "' is no number of " + what);
  }
  return amount;
}

// Takes the words NAME=VALUE off the others.
Quota take_quota(std::vector<std::string>* words) {
  Quota quota;
  for (const std::string& word : *words) {
    const size_t equals = word.find('=');
    if (equals == std::string::npos) continue;
    const std::string name = word.substr(0, equals);
    const double value = parse_amount(word.substr(equals + 1), "things");
    if (name == "jobs")
      quota.jobs = static_cast<int64_t>(value);
    else if (name == "bytes")
      quota.bytes = static_cast<int64_t>(value);
    else if (name == "threads")
      quota.threads = static_cast<int64_t>(value);
    else if (name == "time")
      quota.time = value;
    else if (name == "variables")
      quota.variables = static_cast<int64_t>(value);
    else
      throw OptionError("there is no quota '" + name + "'");
  }
  std::erase_if(*words, [](const std::string& w) { return w.find('=') != std::string::npos; });
  return quota;
}

int add(Database* database, std::vector<std::string> words) {
  const Quota quota = take_quota(&words);
  if (words.size() < 2 || words.size() > 4) {
    throw OptionError("expected: token add OWNER [ROLE] [DAYS] [NAME=VALUE...]");
  }
  const std::string word = words.size() > 2 ? words[2] : "submit";
  const auto role = role_of_word(word);
  if (!role) throw OptionError("'" + word + "' is none of read, submit and admin");
  const double expires =
      words.size() > 3 ? unix_time() + kSecondsOfADay * parse_amount(words[3], "days") : 0.0;
  const std::string token = add_token(database, words[1], *role, expires, quota);
  add_audit(database, {words[1], "", ""}, "token add", "", token_id(token) + " " + word_of(*role));
  std::printf("token: %s\n", token.c_str());
  return 0;
}

int list(const Database& database) {
  for (const Token& token : list_tokens(database)) {
    const bool expired = token.expires != 0.0 && token.expires <= unix_time();
    const char* state = token.revoked != 0.0 ? "revoked" : expired ? "expired" : "valid";
    std::printf("%s %-7s %-7s %s\n", token.id.c_str(), word_of(token.role), state,
                token.owner.c_str());
  }
  return 0;
}

int revoke(Database* database, const std::vector<std::string>& words) {
  if (words.size() != 2) throw OptionError("expected: token revoke ID");
  if (revoke_token(database, words[1])) {
    add_audit(database, {}, "token revoke", "", words[1]);
    return 0;
  }
  throw OptionError("there is no valid token '" + words[1] + "'");
}

}  // namespace

int run_token_command(const std::vector<std::string>& words) {
  std::vector<std::string> plain;
  std::vector<std::string> options;
  for (size_t i = 0; i < words.size(); ++i) {
    if (!words[i].starts_with("--")) {
      plain.push_back(words[i]);
      continue;
    }
    options.push_back(words[i]);
    if (words[i].find('=') == std::string::npos && i + 1 < words.size()) {
      options.push_back(words[++i]);
    }
  }
  const Options parsed = parse_options(options);
  if (parsed.data.empty()) throw OptionError("--data DIR is missing");
  const std::string path = database_path(parsed);
  if (!exists(path))
    throw OptionError("'" + parsed.data + "' is no data folder: no '" + path + "'");
  Database database(path);
  prepare_tables(&database);
  const std::string command = plain.empty() ? "" : plain.front();
  if (command == "add") return add(&database, plain);
  if (command == "list") return list(database);
  if (command == "revoke") return revoke(&database, plain);
  throw OptionError("expected token add, token list or token revoke");
}

}  // namespace vorlan::server
