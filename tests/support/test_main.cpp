#include <gtest/gtest.h>

#include <cstdio>

#include "support/sandbox.h"

int main(int argc, char** argv) {
  std::string why;
  if (!pemo::test::enter_sandbox(why))
    std::fprintf(stderr, "note: no private namespaces (%s); tests that need them skip\n",
                 why.c_str());
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
