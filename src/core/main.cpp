#include <cstdio>
#include <cstdlib>

#include "core/service.h"

int main(int argc, char** argv) {
  const int status = pemo::run_agent(argc, argv);
  // run_agent returns only when start-up fails, possibly with threads already
  // running: leave without destroying the shared state they use.
  std::fflush(nullptr);
  std::_Exit(status);
}
