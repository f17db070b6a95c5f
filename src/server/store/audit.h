// Who did what, kept in the database beside what was done: rows are only added, and go by age.
// There is no content of a model in them, and no secret.
#pragma once

#include <string>

#include "store/database.h"

namespace vorlan::server {

// Who asks: a token from an address. Empty for the server itself.
struct Actor {
  std::string owner, token, peer;
};

// `job` may be empty. `detail` is a digest, a code or the like.
void add_audit(Database* database, const Actor& actor, const std::string& what,
               const std::string& job, const std::string& detail);

// Removes rows that are older.
void expire_audit(Database* database, double oldest);

}  // namespace vorlan::server
