// The packages of a gateway in use, written and read by everyone at once: the
// platform's own uci tool and ours committing options of their own, the agent's
// connections setting Wi-Fi, parental and blocking values, and readers loading
// the packages through the platform's tool, which opens a file before it locks
// it. Nothing committed may be lost; no read may fail to parse, hold a NUL byte,
// or go back on what an earlier read showed as committed. PEMO_TORTURE_SECONDS and
// PEMO_TORTURE_SEED set a run (scripts/torture.sh runs a long one).
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

#include "support/gateway.h"
#include "platform/shell.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

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

// `uci show` output as path -> value (values carry no quotes of their own here).
std::map<std::string, std::string> shown(const std::string& text) {
  std::map<std::string, std::string> options;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    std::string value = line.substr(equals + 1);
    if (value.size() >= 2 && value.front() == '\'' && value.back() == '\'') value = value.substr(1, value.size() - 2);
    options[line.substr(0, equals)] = value;
  }
  return options;
}

// How many k<i> options section `writer` of a shown package holds.
int tool_options(const std::map<std::string, std::string>& options, const std::string& prefix) {
  int count = 0;
  for (auto it = options.lower_bound(prefix); it != options.end() && it->first.starts_with(prefix); ++it) ++count;
  return count;
}

// Loads a package as committed, with the platform's tool inside the gateway: its
// options, or a failure text. The change files are hidden from the tool, since
// its library empties them before its new package file is in place, so staged
// changes vanish for a moment in any reader's eyes; committed ones never may.
bool platform_show(const test::SimGateway& gateway, const std::string& package,
                   std::map<std::string, std::string>& options, std::string& failure) {
  const std::string out = gateway.run("mkdir -p /tmp/.uci; unshare -m sh -c " +
                                      shell_quote("mount -t tmpfs none /tmp/.uci && " + kPlatformUci + " show " +
                                                  package + " 2>&1; echo \"status=$?\""));
  if (out.find('\0') != std::string::npos) failure = "a NUL byte";
  else if (!out.ends_with("status=0\n")) failure = out.substr(0, 200);
  else options = shown(out);
  return failure.empty();
}

class Torture : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
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
    for (const char* package : kPackages)
      gateway_.write("/etc/config/" + std::string(package), gateway_.read("/etc/config/" + std::string(package)) + pad);
  }
  bool running() const { return Clock::now() < deadline_; }
  void refuse(const std::string& what) {
    std::lock_guard lock(mutex_);
    refused_.push_back(what);
  }

  test::SimGateway gateway_;
  const unsigned seed_ = env_number("PEMO_TORTURE_SEED", static_cast<unsigned>(std::time(nullptr)));
  const unsigned seconds_ = env_number("PEMO_TORTURE_SECONDS", test::kSanitizedBuild ? 8 : 20);
  Clock::time_point deadline_ = Clock::now() + std::chrono::seconds(seconds_);
  std::atomic<int> operations_ = 0;
  std::vector<std::string> refused_;  // agent requests that did not succeed, with their answers
  std::mutex mutex_;
  std::vector<std::string> corrupt_;  // what each bad read showed
};

TEST_F(Torture, EveryCommitLandsAndEveryReadParses) {
  std::printf("torture: seed %u, %u s\n", seed_, seconds_);
  std::fflush(stdout);
  // The tools: each commits k<i>=i into a section of its own in every package,
  // and prints what it committed.
  std::map<std::string, std::string> tool_output;
  std::vector<std::thread> threads;
  for (const auto& [writer, tool] : kToolWriters) {
    threads.emplace_back([&, writer = writer, tool = tool] {
      const std::string loop =
          "end=$(( $(date +%s) + " + std::to_string(seconds_) + " )); i=0; while [ $(date +%s) -lt $end ]; do "
          "i=$((i + 1)); for p in wireless parental firewall; do "
          "if " + tool + " set $p." + writer + "=torture && " + tool + " set $p." + writer + ".k$i=$i && " +
          tool + " commit $p; then echo \"$p $i\"; else echo \"fail $p $i\"; fi; done; done";
      const std::string out = gateway_.run(loop, std::chrono::seconds(seconds_ + 60));
      std::lock_guard lock(mutex_);
      tool_output[writer] = out;
    });
  }
  // The agent's connections, each writing values of its own.
  std::string ssid, rule_name;
  std::vector<std::string> blocked;
  threads.emplace_back([&] {
    std::minstd_rand random(seed_);
    for (int k = 1; running(); ++k) {
      const std::string name = "T" + std::to_string(k);
      const std::string reply =
          gateway_.set(R"({"Device":{"WiFi":{"SSID":{"i1":{"CheckFreqBand":"24G","SSID":")" + name + R"("}}}}})");
      if (reply == "{}") ssid = name;
      else refuse("SSID " + reply);
      ++operations_;
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 50));  // a person's pace, varied by the seed
    }
  });
  threads.emplace_back([&] {
    client::Session session = gateway_.connect();
    test::exchange(session, kTypeParamGet, R"({"Device":{"Hosts":{"HostNumberOfEntries":0}}})");
    const client::Reply added =
        test::exchange(session, kTypeParamSet, R"({"Device":{"Hosts":{"Host":{"i1":{"X_Halvo_AddPcpRule":"1"}}}}})");
    if (added.status() <= 0) refuse("rule add " + std::to_string(added.status()));
    for (int k = 1; running(); ++k) {
      const std::string name = "n" + std::to_string(k);
      const std::string set = R"({"Device":{"X_Halvo_Ext":{"ParentalControl":{"i1":{"PcpName":")" + name + R"("}}}}})";
      const client::Reply reply = test::exchange(session, kTypeParamSet, set);
      if (reply.status() > 0) rule_name = name;
      else refuse("rule name " + std::to_string(reply.status()));
      ++operations_;
    }
  });
  threads.emplace_back([&] {
    for (int k = 1; running(); ++k) {
      char mac[18];
      std::snprintf(mac, sizeof mac, "02:7e:00:00:%02x:%02x", k / 256 % 256, k % 256);
      // A block runs the uci tool 54 times: under this load it may outlast the
      // usual wait, and what is measured here is what it leaves, not its speed.
      std::string error;
      client::Session session = client::Session::connect("127.0.0.1", kServicePort, 60s, error);
      const client::Reply reply = test::exchange(
          session, kTypeParamSet,
          R"({"Device":{"X_Halvo_Ext":{"EndDevCtrl_Blocking":{"HostMAC":")" + std::string(mac) + R"("}}}})");
      if (reply.status() > 0) blocked.push_back(mac);
      else refuse("block " + std::to_string(reply.status()));
      ++operations_;
    }
  });
  // Readers: what one showed of a tool's section never shrinks in a later read.
  for (int reader = 0; reader < kReaders; ++reader) {
    threads.emplace_back([&, reader] {
      std::map<std::string, int> seen;
      for (int k = 0; running(); ++k) {
        const std::string package = kPackages[(k + reader) % 3];
        std::map<std::string, std::string> options;
        std::string failure;
        if (platform_show(gateway_, package, options, failure)) {
          for (const auto& [writer, tool] : kToolWriters) {
            const std::string prefix = package + "." + writer + ".k";
            const int count = tool_options(options, prefix);
            if (count < seen[prefix])
              failure = prefix + " went from " + std::to_string(seen[prefix]) + " to " + std::to_string(count);
            seen[prefix] = std::max(seen[prefix], count);
          }
        }
        ++operations_;
        if (failure.empty()) continue;
        std::lock_guard lock(mutex_);
        corrupt_.push_back(package + ": " + failure);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  // Every change that was reported committed is in the final files.
  std::map<std::string, std::map<std::string, std::string>> final_options;
  for (const char* package : kPackages) {
    std::string failure;
    ASSERT_TRUE(platform_show(gateway_, package, final_options[package], failure)) << package << ": " << failure;
  }
  std::vector<std::string> lost;
  for (const auto& [writer, out] : tool_output) {
    std::istringstream lines(out);
    int committed = 0;
    for (std::string package, index; lines >> package >> index;) {
      if (package == "fail") continue;  // a refused commit promised nothing
      ++committed;
      const std::string path = package + "." + writer + ".k" + index;
      if (final_options[package][path] != index) lost.push_back(path);
    }
    operations_ += committed;
    EXPECT_GT(committed, 0) << writer << " committed nothing: " << out.substr(0, 300);
  }
  if (!ssid.empty() && gateway_.uci_get("wireless.@wifi-iface[0].ssid") != ssid) lost.push_back("SSID " + ssid);
  if (!rule_name.empty() && final_options["parental"]["parental.rule1.name"] != rule_name)
    lost.push_back("rule name " + rule_name);
  for (const std::string& mac : blocked) {
    int rules = 0;
    for (const auto& [path, value] : final_options["firewall"]) rules += path.ends_with(".mac_address") && value == mac;
    if (rules != 3) lost.push_back(std::to_string(rules) + " rules of " + mac);
  }
  std::printf("torture: seed %u, %u s, %d operations, %zu changes lost, %zu corrupt reads, %zu agent refusals\n",
              seed_, seconds_, operations_.load(), lost.size(), corrupt_.size(), refused_.size());
  EXPECT_FALSE(ssid.empty() || rule_name.empty() || blocked.empty()) << "an agent writer never succeeded";
  EXPECT_EQ(refused_, std::vector<std::string>{});
  EXPECT_EQ(lost, std::vector<std::string>{});
  EXPECT_EQ(corrupt_, std::vector<std::string>{});
}

}  // namespace
}  // namespace pemo
