// The main of the in-process benchmarks: they run in private namespaces on the
// seeded gateway configuration, logging errors only, as the agent runs under load.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "platform/log.h"
#include "support/sandbox.h"

namespace pemo::bench {

inline int run_sandboxed(int argc, char** argv) {
  std::string why;
  if (!test::enter_sandbox(why)) {
    std::fprintf(stderr, "benchmarks need private namespaces: %s\n", why.c_str());
    return 1;
  }
  test::seed_gateway_config();
  log_level = 3;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace pemo::bench
