// pemo-cli check against the simulated gateway: every check passes and the
// gateway's configuration is left as found, even after an interrupted run; each
// broken platform hook fails exactly the checks that rest on it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "platform/json.h"
#include "platform/shell.h"
#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

// The kit keeps its undo file under $HOME, here in the test's private /tmp.
constexpr const char* kCheck = "env HOME=/tmp/check-home " PEMO_CLI_PATH " -t 3 check ";
constexpr const char* kUndoFile = "/tmp/check-home/.local/state/pemo-cli/check-127.0.0.1-263.undo";

struct KitRun {
  int status;
  std::string output;
};

KitRun check(const std::string& arguments) {
  const ShellResult run =
      posix_runner().execute({kCheck + arguments + " 2>&1", true, 1 << 20, std::chrono::minutes(4)});
  return {run.status, run.output};
}

// Each line's verdict with its family and name: "fail mesh approval switch".
std::multiset<std::string> verdicts(const std::string& output, const std::string& verdict) {
  std::multiset<std::string> found;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string first, family, name;
    words >> first >> family;
    std::getline(words >> std::ws, name);
    name = name.substr(0, name.find("  "));
    if (first == verdict) found.insert(family + " " + name);
  }
  return found;
}

// The gateway's configuration: the packages and the agent's own files.
std::map<std::string, std::string> configuration(const test::SimGateway& gateway) {
  std::map<std::string, std::string> files;
  for (const char* folder : {"/etc/config", "/etc/pemo-agent"})
    for (const auto& entry : std::filesystem::directory_iterator(gateway.path(folder)))
      if (entry.is_regular_file()) files[folder + ("/" + entry.path().filename().string())] = test::read_file(entry.path());
  // The one record a Wi-Fi change leaves on purpose: the radio is marked WPS-configured.
  std::string& wps = files["/etc/config/wps"];
  if (const auto mark = wps.find("option conf '1'"); mark != std::string::npos) wps.replace(mark, 15, "option conf '0'");
  return files;
}

TEST(CheckKit, PassesEveryCheckAndLeavesTheConfigurationAsFound) {
  PEMO_REQUIRE_SANDBOX();
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start({}, true));
  const auto before = configuration(gateway);

  const KitRun read_only = check("");
  EXPECT_EQ(read_only.status, 0) << read_only.output;
  EXPECT_EQ(verdicts(read_only.output, "pass").size(), 19u) << read_only.output;
  EXPECT_EQ(verdicts(read_only.output, "skipped").size(), 6u) << read_only.output;
  EXPECT_EQ(configuration(gateway), before);

  const KitRun written = check("--write");
  EXPECT_EQ(written.status, 0) << written.output;
  EXPECT_EQ(verdicts(written.output, "pass").size(), 25u) << written.output;
  EXPECT_EQ(configuration(gateway), before);
  EXPECT_FALSE(test::file_exists(kUndoFile));

  const KitRun json = check("--json --only session");
  JsonPtr document(json_parse_object(json.output.c_str()));
  json_object* checks = json_member(document.get(), "checks");
  ASSERT_EQ(json_object_array_length(checks), 3u) << json.output;
  for (std::size_t k = 0; k < 3; ++k)
    EXPECT_EQ(json_text(json_member(json_object_array_get_idx(checks, k), "result")), "pass") << json.output;

  EXPECT_EQ(check("--only nosuch").status, 3);
  gateway.stop();
  EXPECT_EQ(check("").status, 2);
}

// A run stopped with Ctrl-C undoes its changes itself; a killed one leaves them
// to the next run, which undoes them before anything else.
TEST(CheckKit, AnInterruptedWriteRunIsUndone) {
  PEMO_REQUIRE_SANDBOX();
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start({}, true));
  const auto before = configuration(gateway);
  for (int signal : {SIGINT, SIGKILL}) {
    const pid_t kit = fork();
    ASSERT_GE(kit, 0);
    if (kit == 0) {
      execl("/bin/sh", "sh", "-c", (std::string("exec ") + kCheck + "--write >/dev/null 2>&1").c_str(), nullptr);
      _exit(127);
    }
    // Stopped while a change is in flight: once its undo is written down.
    ASSERT_TRUE(test::eventually([] { return test::file_exists(kUndoFile); }, 60s));
    kill(kit, signal);
    int status = 0;
    waitpid(kit, &status, 0);
    if (signal == SIGINT) {
      EXPECT_EQ(WEXITSTATUS(status), 1);
      EXPECT_FALSE(test::file_exists(kUndoFile));
    } else {
      EXPECT_TRUE(test::file_exists(kUndoFile));
      const KitRun next = check("--only discovery");
      EXPECT_NE(next.output.find("pass    restore     earlier run"), std::string::npos) << next.output;
    }
    gateway.wait_quiet(1500ms);  // a Wi-Fi change is applied a second after its reply
    EXPECT_EQ(configuration(gateway), before) << "after signal " << signal;
  }
}

// Each knob breaks one platform hook; the kit names exactly what rests on it,
// with its hint, and passes the rest.
struct Fault {
  const char* knob;
  const char* value;
  std::multiset<std::string> failing;
  const char* hint;
};

class CheckKitFault : public testing::TestWithParam<Fault> {};

TEST_P(CheckKitFault, FailsExactlyTheChecksThatRestOnTheHook) {
  PEMO_REQUIRE_SANDBOX();
  const Fault& fault = GetParam();
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start({}, true, std::string("echo ") + fault.value + " >/sim/knobs/" + fault.knob));
  const KitRun run = check("--write");
  EXPECT_EQ(run.status, 1) << run.output;
  EXPECT_EQ(verdicts(run.output, "fail"), fault.failing) << run.output;
  EXPECT_NE(run.output.find(fault.hint), std::string::npos) << run.output;
  EXPECT_EQ(verdicts(run.output, "pass").size() + fault.failing.size() + verdicts(run.output, "skipped").size(), 25u)
      << run.output;
}

INSTANTIATE_TEST_SUITE_P(
    Knobs, CheckKitFault,
    testing::Values(Fault{"hv1905", "silent", {"mesh approval switch"}, "/usr/sbin/hv1905App"},
                    Fault{"uci_apply", "fail", {"parental rule", "blocking block"}, "/sbin/uci_apply firewall"},
                    Fault{"probe_db", "missing",
                          {"discovery identity", "tree Device.Hosts", "hosts host table", "parental rule"},
                          "/tmp/lanwatch.db"},
                    Fault{"wps", "none", {"wps push button"}, "/bin/halvo_WPS_ctrl"},
                    Fault{"fw_online", "no", {"firmware version check"}, "get_online_info"},
                    Fault{"wan_link", "down", {"diagnostics WAN"}, "sys portspeed 4"}),
    [](const testing::TestParamInfo<Fault>& knob) { return std::string(knob.param.knob) + "_" + knob.param.value; });

}  // namespace
}  // namespace pemo
