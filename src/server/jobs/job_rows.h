// Jobs as rows of the database.
#pragma once

#include <vector>

#include "jobs/job.h"
#include "store/database.h"

namespace vorlan::server {

// Writes the whole row, new or not, and the rows of its results.
void save_job(Database* database, const Job& job);
void delete_job(Database* database, const std::string& id);
// All jobs in the order of their ids. Throws DatabaseError.
std::vector<Job> load_jobs(const Database& database);

}  // namespace vorlan::server
