// The README's examples, sent by pemo-cli to the simulated gateway as a user
// sends them, against their checked-in transcripts; and discovery.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "platform/shell.h"
#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

// The output of pemo-cli run with `arguments` from the source folder (its
// standard error in /tmp/stderr), and its exit status.
std::string cli(const std::string& arguments, int& status) {
  const ShellResult run = posix_runner().execute(
      {"cd " PEMO_SOURCE_DIR " && " PEMO_CLI_PATH " " + arguments + " 2>/tmp/stderr", true, 1 << 20, std::chrono::minutes(1)});
  status = run.status;
  return run.output;
}

// What a gateway holds that a request may change: configuration, the agent's
// lists, /tmp (each file by path), and the probe database as SQL.
using State = std::map<std::string, std::string>;

// Files up to this size are shown whole; larger ones by their size.
constexpr std::uintmax_t kShownFileSize = 16 * 1024;

State state_of(const test::SimGateway& gateway) {
  State state;
  for (const char* folder : {"/etc/config", "/etc/pemo-agent", "/tmp"}) {
    const std::filesystem::path root = gateway.path(folder);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
      if (!entry.is_regular_file() || entry.path().filename().string().starts_with("lanwatch.db")) continue;
      const std::string inside = folder + ("/" + entry.path().lexically_relative(root).string());
      state[inside] = entry.file_size() <= kShownFileSize ? test::read_file(entry.path())
                                                          : "<" + std::to_string(entry.file_size()) + " bytes>";
    }
  }
  state["probe database"] = gateway.run("sqlite3 /tmp/lanwatch.db .dump");
  return state;
}

// A line diff ("-" gone, "+" new), as diff(1) finds it.
std::string line_diff(std::string before, std::string after) {
  for (std::string* text : {&before, &after})
    if (!text->empty() && text->back() != '\n') *text += '\n';
  test::write_file("/tmp/before", before);
  test::write_file("/tmp/after", after);
  return posix_runner()
      .execute({"diff --old-line-format='-%L' --new-line-format='+%L' --unchanged-line-format='' /tmp/before /tmp/after",
                true, 1 << 20, std::chrono::seconds(10)})
      .output;
}

std::string state_diff(const State& before, const State& after) {
  std::string diff;
  for (const auto& [name, text] : after) {
    const auto old = before.find(name);
    if (old == before.end()) diff += "new " + name + "\n" + line_diff("", text);
    else if (old->second != text) diff += "changed " + name + "\n" + line_diff(old->second, text);
  }
  for (const auto& [name, text] : before)
    if (!after.contains(name)) diff += "removed " + name + "\n";
  return diff;
}

// The only texts that differ from run to run, each replaced by a placeholder.
std::string placeholders(std::string text) {
  static const std::pair<std::regex, const char*> kRules[] = {
      {std::regex(R"(("UpTime": ?)\d+)"), "$1<seconds>"},  // the gateway's uptime
      {std::regex(R"(("SystemTime": ?")[^"]*)"), "$1<date>"},  // its clock
      {std::regex(R"(("CPUUsage": ?)\d+)"), "$1<percent>"},  // the host's processor use, as the gateway's
  };
  for (const auto& [pattern, placeholder] : kRules) text = std::regex_replace(text, pattern, placeholder);
  return text;
}

// The WAN watcher probes once a second while a session is open, so how many of
// its calls a run makes depends on how long it takes: they are left out.
bool watcher_probe(const std::string& call) { return call == "ping -c 6 8.8.8.8" || call == "sys portspeed 4"; }

// An example is a batch (NAME.batch) or a line of pemo-cli arguments (NAME.cli).
std::vector<std::string> example_names() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(PEMO_SOURCE_DIR "/examples"))
    if (entry.path().extension() == ".batch" || entry.path().extension() == ".cli") names.push_back(entry.path().stem());
  std::sort(names.begin(), names.end());
  return names;
}

// Each example, run by pemo-cli on a freshly seeded gateway, leaves exactly its
// transcript: replies, platform calls and changes (scripts/examples.sh --update).
class ExampleTranscript : public testing::TestWithParam<std::string> {};

TEST_P(ExampleTranscript, IsReproducedExactly) {
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start({}, true));
  gateway.wait_quiet(1500ms);  // the start-up check's connection has had its WAN probes
  const State before = state_of(gateway);
  int status = 0;
  std::string arguments = test::read_file(PEMO_SOURCE_DIR "/examples/" + GetParam() + ".cli");
  if (arguments.empty()) arguments = "--compact batch examples/" + GetParam() + ".batch";
  const std::string out = cli(arguments.substr(0, arguments.find('\n')), status);
  gateway.wait_quiet(1500ms);  // the apply a second after a Wi-Fi or WAN set has run
  std::string calls;
  for (const std::string& call : gateway.calls())
    if (!watcher_probe(call)) calls += call + "\n";
  const std::string transcript = placeholders("== replies (exit " + std::to_string(status) + ")\n" + out +
                                              "== messages\n" + test::read_file("/tmp/stderr") +
                                              "== platform calls\n" + calls + "== changes\n" +
                                              state_diff(before, state_of(gateway)));
  const std::string path = PEMO_SOURCE_DIR "/examples/" + GetParam() + ".transcript";
  if (std::getenv("PEMO_UPDATE_TRANSCRIPTS") != nullptr) test::write_file(path, transcript);
  EXPECT_EQ(transcript, test::read_file(path)) << "scripts/examples.sh --update rewrites it; review its diff";
}

INSTANTIATE_TEST_SUITE_P(Examples, ExampleTranscript, testing::ValuesIn(example_names()),
                         [](const testing::TestParamInfo<std::string>& example) {
                           std::string name = example.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

// Without an address, discovery asks every local network, as the application
// does: here a LAN of the test's own network namespace.
TEST(Examples, DiscoveryAsksEveryLocalNetwork) {
  PEMO_REQUIRE(std::system("ip link add lan0 type veth peer name lan1 && ip addr add 10.9.0.1/24 brd + dev lan0 && "
                           "ip link set lan0 up && ip link set lan1 up") == 0,
               "cannot make a LAN in the test's network namespace (needs ip and veth)");
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start());
  int status = 0;
  const std::string out = cli("--json discover", status);
  EXPECT_EQ(status, 0) << test::read_file("/tmp/stderr");
  // examples/discover-json.transcript shows the whole answer.
  EXPECT_NE(out.find(R"("address": "10.9.0.1")"), std::string::npos) << out;
  EXPECT_EQ(out.find("127.0.0.1"), std::string::npos) << "loopback has no broadcast address";
}

}  // namespace
}  // namespace pemo
