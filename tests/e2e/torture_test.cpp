// Packages written by both uci tools and the agent's connections at once, and read
// through the platform's tool: nothing committed is lost, and no read fails to
// parse or goes back on a commit. PEMO_TORTURE_SECONDS and PEMO_TORTURE_SEED set a run.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <random>
#include <sstream>
#include <thread>

#include "platform/shell.h"
#include "platform/uci_files.h"
#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Options = std::map<std::string, std::string>;  // path -> value, as `uci show` prints them

const char* const kPackages[] = {"wireless", "parental", "firewall"};
constexpr int kPadOptions = 600;  // about 65 KB a package
constexpr int kReaders = 4;
// The platform's tool as installed into the gateway for this test.
const std::string kPlatformUci = "LD_LIBRARY_PATH=/opt/puci /opt/puci/uci";
// The tools' own sections: "tp" the platform's tool, "to" ours.
const std::pair<std::string, std::string> kToolWriters[] = {{"tp", kPlatformUci}, {"to", "uci"}};

unsigned env_number(const char* name, unsigned fallback) {
  const char* text = std::getenv(name);
  return text != nullptr && *text != '\0' ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : fallback;
}

// Loads a package as committed, with the platform's tool inside the gateway: its
// options, or a failure text. The change files are hidden from the tool, since
// its library empties them before its new package file is in place, so staged
// changes vanish for a moment in any reader's eyes; committed ones never may.
bool platform_show(const test::SimGateway& gateway, const std::string& package, Options& options,
                   std::string& failure) {
  const std::string out = gateway.run("mkdir -p /tmp/.uci; unshare -m sh -c " +
                                      shell_quote("mount -t tmpfs none /tmp/.uci && " + kPlatformUci + " show " +
                                                  package + " 2>&1; echo \"status=$?\""));
  if (out.find('\0') != std::string::npos) failure = "a NUL byte";
  else if (!out.ends_with("status=0\n")) failure = out.substr(0, 200);
  std::istringstream lines(out);
  for (std::string line; failure.empty() && std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    // The values written here hold no quotes of their own.
    if (equals != std::string::npos) options[line.substr(0, equals)] = line.substr(equals + 2, line.size() - equals - 3);
  }
  return failure.empty();
}

int count_prefixed(const Options& options, const std::string& prefix) {
  int count = 0;
  for (auto it = options.lower_bound(prefix); it != options.end() && it->first.starts_with(prefix); ++it) ++count;
  return count;
}

class Torture : public testing::Test {
 protected:
  void SetUp() override {
    const std::filesystem::path platform(PEMO_PLATFORM_UCI);
    PEMO_REQUIRE(test::file_exists(platform / "bin/uci"), "no platform uci tool: build it from ../shared/third_party");
    ASSERT_TRUE(gateway_.start());
    const std::filesystem::path into = gateway_.path("/opt/puci");
    std::filesystem::create_directories(into);
    for (const char* file : {"bin/uci", "lib/libuci.so", "lib/libubox.so"})
      std::filesystem::copy_file(platform / file, into / std::filesystem::path(file).filename());
    // Years of use make packages long, and their commits with them: the windows
    // where a reader waits on a file being replaced grow as they do in the field.
    std::string pad = "\nconfig pad 'history'\n";
    for (int k = 0; k < kPadOptions; ++k) pad += "\toption o" + std::to_string(k) + " '" + std::string(100, 'h') + "'\n";
    for (const std::string package : kPackages) gateway_.write("/etc/config/" + package, gateway_.read("/etc/config/" + package) + pad);
  }
  // Sends `request(k)` for k = 1, 2 ... until the run ends; the last k answered
  // with success, 0 when none was.
  template <typename Request>
  int agent_writer(const char* what, Request request) {
    int last = 0;
    for (int k = 1; Clock::now() < deadline_; ++k, ++operations_) {
      if (const int status = request(k); status > 0) {
        last = k;
      } else {
        std::lock_guard lock(mutex_);
        refused_.push_back(what + std::to_string(k) + ": " + std::to_string(status));
      }
    }
    return last;
  }

  // The agent's open descriptors by what they lead to: a package file it replaced
  // (kept for readers that opened it first) by its path, any other as "other".
  std::map<std::string, long> descriptors() const {
    std::map<std::string, long> count;
    std::istringstream targets(gateway_.run("for fd in /proc/$(pidof pemo-agent)/fd/*; do readlink $fd; done"));
    for (std::string target; std::getline(targets, target);)
      ++count[target.starts_with("/etc/config/") && target.ends_with(" (deleted)") ? target : "other"];
    return count;
  }

  test::SimGateway gateway_;
  const unsigned seed_ = env_number("PEMO_TORTURE_SEED", static_cast<unsigned>(std::time(nullptr)));
  const unsigned seconds_ = env_number("PEMO_TORTURE_SECONDS", test::kSanitizedBuild ? 8 : 20);
  const Clock::time_point deadline_ = Clock::now() + std::chrono::seconds(seconds_);
  std::atomic<int> operations_ = 0;
  std::mutex mutex_;
  std::vector<std::string> refused_;  // agent requests that did not succeed, with their statuses
  std::vector<std::string> corrupt_;  // what each bad read showed
};

TEST_F(Torture, EveryCommitLandsAndEveryReadParses) {
  std::printf("torture: seed %u, %u s\n", seed_, seconds_);
  std::fflush(stdout);
  ASSERT_TRUE(gateway_.wait_quiet(1500ms));  // the start-up connection and its WAN probes are over
  const long threads_before = test::proc_status_field(gateway_.agent_pid(), "Threads");
  const long others_before = descriptors()["other"];
  const long stacks_before = test::guard_pages(gateway_.agent_pid());
  std::vector<std::thread> threads;
  // The tools: each commits k<i>=i into a section of its own in every package,
  // and prints what it committed.
  std::map<std::string, std::string> tool_output;
  for (const auto& [writer, tool] : kToolWriters) {
    const std::string set = tool + " set $p." + writer;
    const std::string loop = "end=$(( $(date +%s) + " + std::to_string(seconds_) + " )); i=0; "
                             "while [ $(date +%s) -lt $end ]; do i=$((i + 1)); for p in wireless parental firewall; do "
                             "if " + set + "=torture && " + set + ".k$i=$i && " + tool + " commit $p; "
                             "then echo \"$p $i\"; else echo \"fail $p $i\"; fi; done; done";
    threads.emplace_back([&, writer = writer, loop] {
      const std::string out = gateway_.run(loop, std::chrono::seconds(seconds_ + 60));
      std::lock_guard lock(mutex_);
      tool_output[writer] = out;
    });
  }
  // The agent's connections, each writing values of its own.
  int ssid = 0, rule_name = 0, blocks = 0;
  const auto mac = [](int k) {
    char text[18];
    std::snprintf(text, sizeof text, "02:7e:00:00:%02x:%02x", k / 256 % 256, k % 256);
    return std::string(text);
  };
  threads.emplace_back([&] {
    std::minstd_rand random(seed_);
    ssid = agent_writer("SSID ", [&](int k) {
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 50));  // a person's pace, varied by the seed
      const std::string set = R"({"Device":{"WiFi":{"SSID":{"i1":{"CheckFreqBand":"24G","SSID":"T)";
      return gateway_.exchange(kTypeParamSet, set + std::to_string(k) + R"("}}}}})").status();
    });
  });
  threads.emplace_back([&] {
    client::Session session = gateway_.connect();
    test::exchange(session, kTypeParamGet, R"({"Device":{"Hosts":{"HostNumberOfEntries":0}}})");
    test::exchange(session, kTypeParamSet, R"({"Device":{"Hosts":{"Host":{"i1":{"X_Halvo_AddPcpRule":"1"}}}}})");
    rule_name = agent_writer("rule name ", [&](int k) {
      const std::string set = R"({"Device":{"X_Halvo_Ext":{"ParentalControl":{"i1":{"PcpName":"n)";
      return test::exchange(session, kTypeParamSet, set + std::to_string(k) + R"("}}}}})").status();
    });
  });
  threads.emplace_back([&] {
    blocks = agent_writer("block ", [&](int k) {
      // A block runs the uci tool 54 times: under this load it may outlast the
      // usual wait, and what is measured here is what it leaves, not its speed.
      std::string error;
      client::Session session = client::Session::connect("127.0.0.1", kServicePort, 60s, error);
      const std::string set = R"({"Device":{"X_Halvo_Ext":{"EndDevCtrl_Blocking":{"HostMAC":")";
      return test::exchange(session, kTypeParamSet, set + mac(k) + R"("}}}})").status();
    });
  });
  // Readers: what one showed of a tool's section never shrinks in a later read.
  for (int reader = 0; reader < kReaders; ++reader) {
    threads.emplace_back([&, reader] {
      std::map<std::string, int> seen;
      for (int k = 0; Clock::now() < deadline_; ++k, ++operations_) {
        const std::string package = kPackages[(k + reader) % 3];
        Options options;
        std::string failure;
        for (const auto& [writer, tool] : kToolWriters) {
          const std::string prefix = package + "." + writer + ".k";
          if (options.empty() && !platform_show(gateway_, package, options, failure)) break;
          const int count = count_prefixed(options, prefix);
          if (count < seen[prefix]) failure = prefix + " went from " + std::to_string(seen[prefix]) + " to " + std::to_string(count);
          seen[prefix] = std::max(seen[prefix], count);
        }
        std::lock_guard lock(mutex_);
        if (!failure.empty()) corrupt_.push_back(package + ": " + failure);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  // Every change that was reported committed is in the final files.
  std::map<std::string, Options> files;
  for (const char* package : kPackages) {
    std::string failure;
    ASSERT_TRUE(platform_show(gateway_, package, files[package], failure)) << package << ": " << failure;
  }
  std::vector<std::string> lost;
  for (const auto& [writer, out] : tool_output) {
    std::istringstream lines(out);
    int committed = 0;
    for (std::string package, index; lines >> package >> index;) {
      if (package == "fail") continue;  // a refused commit promised nothing
      ++committed;
      if (files[package][package + "." + writer + ".k" + index] != index) lost.push_back(package + "." + writer + index);
    }
    operations_ += committed;
    EXPECT_GT(committed, 0) << writer << " committed nothing: " << out.substr(0, 300);
  }
  if (gateway_.uci_get("wireless.@wifi-iface[0].ssid") != "T" + std::to_string(ssid)) lost.push_back("SSID");
  if (files["parental"]["parental.rule1.name"] != "n" + std::to_string(rule_name)) lost.push_back("rule name");
  for (int k = 1; k <= blocks; ++k) {
    int rules = 0;
    for (const auto& [path, value] : files["firewall"]) rules += path.ends_with(".mac_address") && value == mac(k);
    if (rules != 3) lost.push_back(std::to_string(rules) + " rules of " + mac(k));
  }
  std::printf("torture: seed %u, %u s, %d operations, %zu changes lost, %zu corrupt reads, %zu agent refusals\n",
              seed_, seconds_, operations_.load(), lost.size(), corrupt_.size(), refused_.size());
  EXPECT_TRUE(ssid > 0 && rule_name > 0 && blocks > 0) << "an agent writer never succeeded";
  EXPECT_EQ(refused_, std::vector<std::string>{});
  EXPECT_EQ(lost, std::vector<std::string>{});
  EXPECT_EQ(corrupt_, std::vector<std::string>{});
  // Hundreds of connections came and went, each with its thread, stack and
  // descriptor; what stays open is the bounded set of replaced package files,
  // and of the stacks the last ended thread's (one was there before).
  EXPECT_TRUE(test::eventually([&] {
    return test::proc_status_field(gateway_.agent_pid(), "Threads") == threads_before &&
           descriptors()["other"] == others_before && test::guard_pages(gateway_.agent_pid()) <= stacks_before + 1;
  })) << threads_before << " threads, " << others_before << " other descriptors and " << stacks_before
      << " stacks before, " << test::guard_pages(gateway_.agent_pid()) << " after";
  for (const auto& [target, count] : descriptors())
    EXPECT_TRUE(target == "other" || count <= static_cast<long>(uci::files::kKeepReplacedMax)) << target << " " << count;
}

}  // namespace
}  // namespace pemo
