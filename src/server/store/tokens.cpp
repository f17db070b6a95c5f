// The table of tokens; see tokens.h.
#include "store/tokens.h"

#include "base/digest.h"
#include "base/files.h"

namespace vorlan::server {
namespace {

constexpr std::string_view kPrefix = "vln_";
constexpr size_t kIdBytes = 6;
constexpr size_t kSecretBytes = 32;
constexpr size_t kTextLength = kPrefix.size() + 2 * kIdBytes + 1 + 2 * kSecretBytes;

struct RoleWord {
  std::string_view word;
  Role role;
};
constexpr RoleWord kRoles[] = {
    {"read", Role::kRead}, {"submit", Role::kSubmit}, {"admin", Role::kAdmin}};

constexpr const char* kColumns =
    "SELECT id, owner, role, created, expires, revoked, hash, most_jobs, most_bytes, most_threads, "
    "most_time, most_variables FROM tokens";

Token read_row(const Statement& row) {
  return {row.text(0),
          row.text(1),
          role_of_word(row.text(2)).value_or(Role::kRead),
          row.number(3),
          row.number(4),
          row.number(5),
          {row.integer(7), row.integer(8), row.integer(9), row.number(10), row.integer(11)}};
}

bool is_valid(const Token& token) {
  const bool is_expired = token.expires != 0.0 && token.expires <= unix_time();
  return !is_expired && token.revoked == 0.0;
}

}  // namespace

std::optional<Role> role_of_word(std::string_view word) {
  for (const RoleWord& role : kRoles) {
    if (role.word == word) return role.role;
  }
  return {};
}

const char* word_of(Role role) { return kRoles[static_cast<size_t>(role)].word.data(); }

std::string add_token(Database* database, const std::string& owner, Role role, double expires,
                      const Quota& quota) {
  const std::string id = random_hex(kIdBytes);
  const std::string secret = random_hex(kSecretBytes);
  Statement insert(*database, "INSERT INTO tokens VALUES (?, ?, ?, ?, ?, ?, 0.0, ?, ?, ?, ?, ?)");
  insert.bind(0, id);
  insert.bind(1, sha256(secret));
  insert.bind(2, owner);
  insert.bind(3, std::string_view(word_of(role)));
  insert.bind(4, unix_time());
  insert.bind(5, expires);
  insert.bind(6, quota.jobs);
  insert.bind(7, quota.bytes);
  insert.bind(8, quota.threads);
  insert.bind(9, quota.time);
  insert.bind(10, quota.variables);
  insert.step();
  return std::string(kPrefix) + id + '_' + secret;
}

std::string token_id(std::string_view text) {
  return std::string(text.substr(kPrefix.size(), 2 * kIdBytes));
}

std::vector<Token> list_tokens(const Database& database) {
  Statement rows(database, (std::string(kColumns) + " ORDER BY created").c_str());
  std::vector<Token> tokens;
  while (rows.step()) tokens.push_back(read_row(rows));
  return tokens;
}

bool revoke_token(Database* database, const std::string& id) {
  Statement update(*database,
                   "UPDATE tokens SET revoked = ? WHERE id = ? AND revoked = 0.0 RETURNING id");
  update.bind(0, unix_time());
  update.bind(1, id);
  const bool found = update.step();
  while (found && update.step()) continue;
  return found;
}

bool has_tokens(const Database& database) {
  return Statement(database, "SELECT 1 FROM tokens LIMIT 1").step();
}

bool is_valid_token(const Database& database, const std::string& id) {
  Statement row(database, (std::string(kColumns) + " WHERE id = ?").c_str());
  row.bind(0, id);
  return row.step() && is_valid(read_row(row));
}

std::optional<Token> find_token(const Database& database, std::string_view text) {
  if (text.size() != kTextLength || !text.starts_with(kPrefix)) return {};
  Statement row(database, (std::string(kColumns) + " WHERE id = ?").c_str());
  row.bind(0, token_id(text));
  if (!row.step()) return {};
  const Token token = read_row(row);
  const bool is_its_secret =
      equal_secrets(sha256(text.substr(kTextLength - 2 * kSecretBytes)), row.text(6));
  if (!is_its_secret || !is_valid(token)) return {};
  return token;
}

}  // namespace vorlan::server
