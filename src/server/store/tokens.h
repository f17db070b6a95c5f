// Access tokens: "vln_ID_SECRET". The database holds the SHA-256 of the secret, never the secret
// itself: it is shown once, when the token is made. A secret of 256 random bits needs no slow hash.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/database.h"

namespace vorlan::server {

// What a token may do: look at its owner's jobs; submit and stop them as well; see and stop
// everybody's.
enum class Role { kRead, kSubmit, kAdmin };
std::optional<Role> role_of_word(std::string_view word);
const char* word_of(Role role);

struct Token {
  std::string id, owner;
  Role role = Role::kRead;
  double created = 0.0;
  double expires = 0.0;  // 0: never
  double revoked = 0.0;  // 0: not
};

// Makes a token and returns its whole text.
std::string add_token(Database* database, const std::string& owner, Role role, double expires);
std::vector<Token> list_tokens(const Database& database);
// False when there is no such token that is not revoked.
bool revoke_token(Database* database, const std::string& id);
// Whether the token of this id is neither revoked nor expired.
bool is_valid_token(const Database& database, const std::string& id);
bool has_tokens(const Database& database);

// The token of this text, if it is one, and is neither revoked nor expired.
std::optional<Token> find_token(const Database& database, std::string_view text);

}  // namespace vorlan::server
