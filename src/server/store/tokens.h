// Access tokens: "vln_ID_SECRET". The database holds the SHA-256 of the secret, never the secret
// itself: it is shown once, when the token is made. A secret of 256 random bits needs no slow hash.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/database.h"

namespace vorlan::server {

// A role says what a token may do: look at its owner's jobs; submit and stop them as well; see and
// stop everybody's.
enum class Role { kRead, kSubmit, kAdmin };
std::optional<Role> role_of_word(std::string_view word);
const char* word_of(Role role);

// A quota limits what the jobs of a token take; 0 is no limit beside the server's.
struct Quota {
  int64_t jobs = 0;     // that have not ended
  int64_t bytes = 0;    // of the problem files of all its jobs that are kept
  int64_t threads = 0;  // of a job
  double time = 0.0;    // seconds of a solve
  int64_t variables = 0;
};

// The smaller of two limits, of which 0 is none.
template <class Number>
Number least_limit(Number a, Number b) {
  if (a <= Number{0} || b <= Number{0}) return a > b ? a : b;
  return a < b ? a : b;
}

struct Token {
  std::string id, owner;
  Role role = Role::kRead;
  double created = 0.0;
  double expires = 0.0;  // 0: never
  double revoked = 0.0;  // 0: not
  Quota quota;
};

// Makes a token and returns its whole text.
std::string add_token(Database* database, const std::string& owner, Role role, double expires,
                      const Quota& quota = {});
// The id in a token's text.
std::string token_id(std::string_view text);
std::vector<Token> list_tokens(const Database& database);
// False when there is no such token that is not revoked.
bool revoke_token(Database* database, const std::string& id);
// True when the token of this id is neither revoked nor expired.
bool is_valid_token(const Database& database, const std::string& id);
bool has_tokens(const Database& database);

// The token of this text, if it is one, and is neither revoked nor expired.
std::optional<Token> find_token(const Database& database, std::string_view text);

}  // namespace vorlan::server
