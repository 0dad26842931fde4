// The README's examples, sent by pemo-cli to the simulated gateway as a user
// sends them: every request of every example is served.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/shell.h"
#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

// The output of pemo-cli run with `arguments` from the source folder (its
// standard error in /tmp/stderr), and its exit status.
std::string cli(const std::string& arguments, int& status) {
  const ShellResult run = posix_runner().execute(
      {"cd " PEMO_SOURCE_DIR " && " PEMO_CLI_PATH " " + arguments + " 2>/tmp/stderr", true, 1 << 20, std::chrono::minutes(1)});
  status = run.status;
  return run.output;
}

TEST(Examples, EveryRequestOfEveryExampleIsServed) {
  PEMO_REQUIRE_SANDBOX();
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start({}, true));
  int examples = 0;
  for (const auto& entry : std::filesystem::directory_iterator(PEMO_SOURCE_DIR "/examples")) {
    if (entry.path().extension() != ".batch") continue;
    ++examples;
    int status = 0;
    const std::string out = cli("--compact batch examples/" + entry.path().filename().string(), status);
    EXPECT_EQ(status, 0) << entry.path() << "\n" << out << test::read_file("/tmp/stderr");
    EXPECT_NE(out.find("{\"Device\":"), std::string::npos) << entry.path();
  }
  EXPECT_GE(examples, 11);
}

// Without an address, discovery asks every local network, as the application
// does: here a LAN of the test's own network namespace.
TEST(Examples, DiscoveryAsksEveryLocalNetwork) {
  PEMO_REQUIRE_SANDBOX();
  PEMO_REQUIRE(std::system("ip link add lan0 type veth peer name lan1 && ip addr add 10.9.0.1/24 brd + dev lan0 && "
                           "ip link set lan0 up && ip link set lan1 up") == 0,
               "cannot make a LAN in the test's network namespace (needs ip and veth)");
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start());
  int status = 0;
  const std::string out = cli("--json discover", status);
  EXPECT_EQ(status, 0) << test::read_file("/tmp/stderr");
  EXPECT_NE(out.find(R"("address": "10.9.0.1")"), std::string::npos) << out;
  for (const char* member : {R"("ModelName": "HG-2400")", R"("SerialNumber": "HG24A0001234")",
                             R"("SystemName": "HomeGateway")"})
    EXPECT_NE(out.find(member), std::string::npos) << out;
  EXPECT_EQ(out.find("127.0.0.1"), std::string::npos) << "loopback has no broadcast address";
}

}  // namespace
}  // namespace pemo
