// Rows of the audit; see audit.h.
#include "store/audit.h"

#include "base/files.h"

namespace vorlan::server {

void add_audit(Database* database, const Actor& actor, const std::string& what,
               const std::string& job, const std::string& detail) {
  Statement row(*database, "INSERT INTO audit VALUES (?, ?, ?, ?, ?, ?, ?)");
  row.bind(0, unix_time());
  int column = 1;
  for (const std::string* text : {&what, &actor.owner, &actor.token, &actor.peer, &job, &detail}) {
    row.bind(column++, *text);
  }
  row.step();
}

void expire_audit(Database* database, double oldest) {
  Statement row(*database, "DELETE FROM audit WHERE time < ?");
  row.bind(0, oldest);
  row.step();
}

}  // namespace vorlan::server
