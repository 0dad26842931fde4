// The probe database as tests prepare and inspect it.
#pragma once

#include <string>
#include <vector>

namespace pemo::test {

// Creates `path` with the seeded tables and rows of the simulated gateway, then
// runs `extra` (more SQL). Throws when it cannot.
void seed_probe_db(const std::string& path, const std::string& extra = "");
// Runs SQL on a database file; rows of text cells ("NULL" for a null cell).
std::vector<std::vector<std::string>> sql(const std::string& path, const std::string& statement);

}  // namespace pemo::test
