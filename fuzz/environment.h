// A hermetic gateway for the fuzz targets: private namespaces, the seeded
// configuration and probe database, and a runner that runs nothing.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/probe_db.h"
#include "platform/shell.h"
#include "support/probe.h"
#include "support/sandbox.h"

namespace pemo::fuzz {

class NullRunner final : public CommandRunner {
 public:
  ShellResult execute(const ShellRequest&) override { return ShellResult{0, false, {}}; }
};

inline void enter_gateway(bool with_database) {
  std::string why;
  if (!test::enter_sandbox(why)) {
    std::fprintf(stderr, "fuzzing needs private namespaces: %s\n", why.c_str());
    std::abort();
  }
  test::seed_gateway_config();
  if (with_database) {
    test::seed_probe_db(kProbeDbPath);
    if (probe_db_open() != 0) {
      std::fprintf(stderr, "cannot open the seeded probe database\n");
      std::abort();
    }
  }
  static NullRunner runner;
  static ScopedRunner scoped(runner);
}

}  // namespace pemo::fuzz
