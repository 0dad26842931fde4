#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/sandbox.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  std::string why;
  // Every test here runs in the private namespaces entered now: without them
  // none runs, skipped with the reason (CTest reads the marker), failed under CI=true.
  if (!testing::GTEST_FLAG(list_tests) && !pemo::test::enter_sandbox(why)) {
    const bool ci = pemo::test::in_ci();
    std::printf("%s needs private namespaces: %s\n", ci ? "[  FAILED  ]" : "[  SKIPPED ]", why.c_str());
    return ci ? 1 : 0;
  }
  return RUN_ALL_TESTS();
}
