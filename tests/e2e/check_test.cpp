// pemo-cli check against the simulated gateway: every check passes and the
// gateway's configuration is left as found, even after an interrupted run; each
// broken platform hook fails exactly the checks that rest on it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>

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

// The kit's whole output and exit status, compared with its checked-in copy in
// examples/check-kit (PEMO_UPDATE_TRANSCRIPTS=1, as scripts/examples.sh --update, rewrites it).
void expect_output(const std::string& name, const KitRun& run) {
  const std::string text = "== exit " + std::to_string(run.status) + "\n" + run.output;
  const std::string path = PEMO_SOURCE_DIR "/examples/check-kit/" + name + ".out";
  if (std::getenv("PEMO_UPDATE_TRANSCRIPTS") != nullptr) test::write_file(path, text);
  EXPECT_EQ(text, test::read_file(path)) << name << ": scripts/examples.sh --update rewrites it; review its diff";
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
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start({}, true));
  const auto before = configuration(gateway);

  expect_output("read-only", check(""));
  EXPECT_EQ(configuration(gateway), before);
  expect_output("write", check("--write"));
  EXPECT_EQ(configuration(gateway), before);
  EXPECT_FALSE(test::file_exists(kUndoFile));
  expect_output("json-session", check("--json --only session"));
  EXPECT_EQ(check("--only nosuch").status, 3);
  gateway.stop();
  EXPECT_EQ(check("").status, 2);
}

// A run stopped with Ctrl-C undoes its changes itself; a killed one leaves them
// to the next run, which undoes them before anything else.
TEST(CheckKit, AnInterruptedWriteRunIsUndone) {
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

// Each knob breaks one platform hook; the kit fails exactly what rests on it,
// with its hint, and passes the rest.
// A knob and its value; strings, so the test names hold them and not addresses.
using Knob = std::pair<std::string, std::string>;
class CheckKitFault : public testing::TestWithParam<Knob> {};

TEST_P(CheckKitFault, FailsExactlyTheChecksThatRestOnTheHook) {
  const auto& [knob, value] = GetParam();
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start({}, true, "echo " + value + " >/sim/knobs/" + knob));
  expect_output(knob + "-" + value, check("--write"));
}

INSTANTIATE_TEST_SUITE_P(Knobs, CheckKitFault,
                         testing::Values(Knob{"hv1905", "silent"}, Knob{"uci_apply", "fail"}, Knob{"uci_apply", "keep"},
                                         Knob{"probe_db", "missing"}, Knob{"wps", "none"}, Knob{"fw_online", "no"},
                                         Knob{"wan_link", "down"}),
                         [](const auto& knob) { return knob.param.first + "_" + knob.param.second; });

}  // namespace
}  // namespace pemo
