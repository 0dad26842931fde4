// What a stranger on the LAN can do to the simulated gateway: each bound holds, and
// one started strict (every bound lifted) shows what it bounds.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include "core/guard.h"
#include "support/frames.h"
#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;
using Seconds = std::chrono::duration<double>;

constexpr const char* kSsidGet = R"({"Device":{"WiFi":{"SSID":{"i1":{"SSID":""}}}}})";
constexpr const char* kSsidReply = R"({ "Device": { "WiFi": { "SSID": { "i1": { "SSID": "HomeGateway-2.4G" } } } } })";

class Strangers : public testing::Test {
 protected:

  // The agent's processor time so far (/proc/PID/stat: user and system ticks,
  // the 12th and 13th fields after the command's closing parenthesis).
  Seconds cpu() const {
    const std::string stat = test::read_file("/proc/" + std::to_string(gateway_.agent_pid()) + "/stat");
    std::istringstream fields(stat.substr(stat.rfind(')') + 2));
    std::string skipped;
    for (int k = 0; k < 11; ++k) fields >> skipped;
    long user = 0, system = 0;
    fields >> user >> system;
    return Seconds(static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK)));
  }

  // One discovery exchange from a fresh socket: the answer's bytes, "" for none within `wait`.
  static std::string discover(const std::string& payload, std::chrono::milliseconds wait = 3s) {
    UniqueFd sock(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    test::send_to_agent(sock.get(), test::header_bytes(1, kTypeDiscovery, static_cast<int>(payload.size())) + payload);
    return test::answer_to(sock.get(), wait);
  }

  test::SimGateway gateway_;
};

// Guessers on eight connections of one address get a few answers at once and
// then one per pause, the pauses doubling to seconds; the right key is answered
// at once, and a wrong one after it is free again.
TEST_F(Strangers, WrongKeysFromOneAddressWaitTheirTurn) {
  ASSERT_TRUE(gateway_.start({"-d", "3"}, true));
  const auto window = 6s;
  const auto end = std::chrono::steady_clock::now() + window;
  std::atomic<int> answers{0}, others{0};
  std::vector<std::thread> guessers;
  for (int g = 0; g < 8; ++g) {
    // A guesser waits 2 s for an answer, then guesses again on the same connection.
    guessers.emplace_back([&, session = gateway_.connect("127.0.0.2", 2s), g]() mutable {
      for (int key = g; std::chrono::steady_clock::now() < end; key += 8) {
        const client::Reply reply = test::exchange(session, kTypeParamGet, kSsidGet, std::to_string(1000 + key));
        const bool refused = reply.header.version == 1 && reply.header.type == kTypeParamGet && reply.status() == -20;
        if (reply.status() != test::kNoAnswer) ++(refused ? answers : others);
      }
    });
  }
  for (auto& guesser : guessers) guesser.join();
  const Seconds per_key = std::chrono::duration_cast<Seconds>(window) / std::max(answers.load(), 1);
  std::printf("wrong keys: %d answers in %.0f s from 8 connections; 10,000 keys take %.1f h at that pace\n",
              answers.load(), Seconds(window).count(), per_key.count() * 10000 / 3600);
  // Three free, then 5 ms (a hundredth here), 1 and 2 s: six answers within
  // the window, and the next at 7 s.
  EXPECT_LE(answers.load(), 6);
  EXPECT_GE(answers.load(), 3);
  EXPECT_EQ(others.load(), 0);

  client::Session app = gateway_.connect("127.0.0.2");
  const auto asked = std::chrono::steady_clock::now();
  EXPECT_EQ(test::exchange(app, kTypeParamGet, kSsidGet).payload, kSsidReply);
  EXPECT_EQ(test::exchange(app, kTypeParamGet, kSsidGet, "0000").status(), -20);
  EXPECT_LT(std::chrono::steady_clock::now() - asked, kLongestWrongKeyPause / 2) << "a right key, then a free guess";
}

// Hardened, a discovery datagram walks only AppInfo's MagicNum and AppVersion:
// the identity is the same, and no other handler runs; strict, they run.
TEST_F(Strangers, DiscoveryRunsNoHandlerButTheAppsTwo) {
  const std::string plain = R"({"Device":{"X_Halvo_Ext":{"AppInfo":{"MagicNum":"Q5190","AppVersion":1}}}})";
  const std::string loaded = R"({"Device":{"X_Halvo_Ext":{"AppInfo":{"MagicNum":"Q5190","AppVersion":1},)"
                             R"("GwSpeedTestInfo":{"Enable":1}},"DeviceInfo":{"X_Halvo_SoftwareUpdateOTA":)"
                             R"({"CheckSoftwareVersion":""}}}})";
  std::string hardened;
  for (const bool strict : {false, true}) {
    ASSERT_TRUE(gateway_.start({}, false, strict ? test::kStrictSetup : ""));
    const std::string identity = discover(plain);
    ASSERT_NE(identity.find("\"DeviceMode\""), std::string::npos) << identity;
    EXPECT_TRUE(!strict || identity == hardened) << "the app's discovery is answered alike";
    hardened = identity;
    const std::vector<std::string> calls = gateway_.calls();
    const std::string answer = discover(loaded, 10s);
    EXPECT_TRUE(gateway_.wait_quiet(500ms));
    if (strict) {
      EXPECT_NE(gateway_.calls(), calls) << "strict, the speed test and the version check run";
    } else {
      EXPECT_EQ(answer, identity);
      EXPECT_EQ(gateway_.calls(), calls);
      EXPECT_EQ(discover(R"({"Device":{"X_Halvo_Ext":{"AppInfo":{"MagicNum":"X","AppVersion":1}}}})").substr(2, 2),
                "\xfc\xff")
          << "the magic number is still checked: -4";
    }
    gateway_.stop();
  }
}

// A burst of 400 discovery datagrams keeps a fresh one waiting for seconds,
// not for 400 pauses of half a second.
TEST_F(Strangers, ADiscoveryBurstDrainsInSeconds) {
  ASSERT_TRUE(gateway_.start());
  UniqueFd burst(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const int buffer = 1 << 20;
  setsockopt(burst.get(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
  const std::string payload(client::kFeatureRequest);
  const std::string datagram = test::header_bytes(1, kTypeDiscovery, static_cast<int>(payload.size())) + payload;
  for (int k = 0; k < 400; ++k) test::send_to_agent(burst.get(), datagram);
  const auto sent = std::chrono::steady_clock::now();
  std::string answer;
  while (answer.empty() && std::chrono::steady_clock::now() - sent < 30s) answer = discover(payload, 1s);
  const Seconds waited = std::chrono::steady_clock::now() - sent;
  std::printf("discovery: answered %.1f s after a burst of 400\n", waited.count());
  EXPECT_NE(answer.find("\"DeviceMode\""), std::string::npos);
  EXPECT_LT(waited, Seconds(kDiscoveryStaleAfter) + 3s);
}

// 300 clients that stall in a header hold at most one address's share of the
// agent's threads, and a client from another address is served meanwhile.
TEST_F(Strangers, StalledClientsHoldABoundedShare) {
  ASSERT_TRUE(gateway_.start({"-d", "3"}, true));
  ASSERT_TRUE(gateway_.wait_quiet(1500ms));  // the start-up connection's thread is gone
  const pid_t agent = gateway_.agent_pid();
  const long threads = test::proc_status_field(agent, "Threads");
  const long memory = test::proc_status_field(agent, "RssAnon");
  std::vector<client::Session> stalled;
  std::string error;
  for (int k = 0; k < 300; ++k) {
    stalled.push_back(gateway_.connect("127.0.0.2"));
    static_cast<void>(stalled.back().send_raw(test::header_bytes(1, kTypeParamGet, 100) + "{\"Dev", error));
  }
  EXPECT_EQ(gateway_.get(kSsidGet), kSsidReply);
  // Under load the last of the share's threads may still be starting.
  EXPECT_TRUE(test::eventually([&] { return test::proc_status_field(agent, "Threads") == threads + static_cast<long>(kMaxConnectionsPerPeer); }));
  const long held = test::proc_status_field(agent, "Threads") - threads;
  const long grown = test::proc_status_field(agent, "RssAnon") - memory;
  std::printf("stalled: 300 clients hold %ld threads and %ld KiB\n", held, grown);
  EXPECT_EQ(held, static_cast<long>(kMaxConnectionsPerPeer));
  EXPECT_LT(grown, test::kSanitizedBuild ? 64 * 1024 : 2048);
}

// Out of descriptors, the accept loop waits instead of spinning; served again
// once some close.
TEST_F(Strangers, OutOfDescriptorsTheAcceptLoopRests) {
  ASSERT_TRUE(gateway_.start({"-d", "3"}, true));
  const pid_t agent = gateway_.agent_pid();
  const long open = static_cast<long>(std::distance(std::filesystem::directory_iterator("/proc/" + std::to_string(agent) + "/fd"),
                                                    std::filesystem::directory_iterator()));
  rlimit usual{};
  ASSERT_EQ(prlimit(agent, RLIMIT_NOFILE, nullptr, &usual), 0) << error_text(errno);
  const rlimit tight{static_cast<rlim_t>(open + 2), usual.rlim_max};
  ASSERT_EQ(prlimit(agent, RLIMIT_NOFILE, &tight, nullptr), 0) << error_text(errno);
  std::vector<client::Session> clients;
  for (int k = 0; k < 6; ++k) clients.push_back(gateway_.connect("127.0.0.2"));
  const Seconds before = cpu();
  std::this_thread::sleep_for(2s);  // a stretch of time to measure the agent's use of it over
  const Seconds used = cpu() - before;
  std::printf("out of descriptors: the agent used %.0f%% of a core\n", used.count() / 2 * 100);
  EXPECT_LT(used, 0.5s) << "a spinning loop takes the whole core";
  ASSERT_EQ(prlimit(agent, RLIMIT_NOFILE, &usual, nullptr), 0);
  clients.clear();
  EXPECT_TRUE(test::eventually([&] { return gateway_.get(kSsidGet) == kSsidReply; }));
}

// Passwords and keys set by the app appear in the debug log as "***"; strict,
// as they are.
TEST_F(Strangers, SecretsAreMaskedInTheLog) {
  const std::vector<std::string> secrets = {"psk-Zq81secret", "ppp-Zq82secret"};
  for (const bool strict : {false, true}) {
    ASSERT_TRUE(gateway_.start({"-d", "7"}, false, strict ? test::kStrictSetup : ""));
    EXPECT_EQ(gateway_.set(R"({"Device":{"X_Halvo_Ext":{"Tovi123":{"Wan":{"PPPoE":{"Password":")" + secrets[1] +
                           R"("}}}}}})"),
              "status 0");
    EXPECT_EQ(gateway_.set(R"({"Device":{"WiFi":{"AccessPoint":{"i1":{"Security":{"PreShareKey":")" + secrets[0] +
                           R"("}}}}}})"),
              "{}");
    EXPECT_EQ(gateway_.uci_get("network.wan.password"), secrets[1]);
    const auto logged = [&](const std::string& text) { return gateway_.read("/var/log/messages").find(text) != std::string::npos; };
    EXPECT_TRUE(test::eventually([&] { return logged("Resp : {}"); }));
    for (const std::string& secret : secrets) EXPECT_EQ(logged(secret), strict) << secret;
    EXPECT_EQ(logged(R"("PreShareKey":"***")"), !strict);
    EXPECT_EQ(logged("value:***"), !strict);
    gateway_.stop();
  }
}

}  // namespace
}  // namespace pemo
