// The README's examples, sent by pemo-cli to the simulated gateway as a user
// sends them: every request of every example is served.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

TEST(Examples, EveryRequestOfEveryExampleIsServed) {
  PEMO_REQUIRE_SANDBOX();
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start({}, true));
  int examples = 0;
  for (const auto& entry : std::filesystem::directory_iterator(PEMO_SOURCE_DIR "/examples")) {
    if (entry.path().extension() != ".batch") continue;
    ++examples;
    const std::string command = "cd " PEMO_SOURCE_DIR " && " PEMO_CLI_PATH " --compact batch examples/" +
                                entry.path().filename().string() + " 2>/tmp/stderr";
    std::FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string out;
    for (char buffer[4096]; std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe);) out.append(buffer, n);
    const int status = pclose(pipe);
    EXPECT_EQ(status, 0) << entry.path() << "\n" << out << test::read_file("/tmp/stderr");
    EXPECT_NE(out.find("{\"Device\":"), std::string::npos) << entry.path();
  }
  EXPECT_GE(examples, 11);
}

}  // namespace
}  // namespace pemo
