// 64 application connections at once, each making 500 mixed gets and sets (100
// in a sanitized build): nothing is lost, every write reads back, nothing leaks.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

constexpr int kClients = 64;
constexpr int kRequests = test::kSanitizedBuild ? 100 : 500;

std::string mac_of(int client) {
  char mac[18];
  std::snprintf(mac, sizeof mac, "02:10:aa:00:00:%02x", client);
  return mac;
}

// What the agent holds: resident anonymous memory (KiB), threads, open files.
struct Footprint {
  long memory, threads, files;
};
Footprint footprint(pid_t agent) {
  const std::filesystem::directory_iterator files("/proc/" + std::to_string(agent) + "/fd");
  return {test::proc_status_field(agent, "RssAnon"), test::proc_status_field(agent, "Threads"),
          std::distance(files, std::filesystem::directory_iterator())};
}

// One pass: every client connects, then alternates a get and a rename of its own host.
void run_pass(const test::SimGateway& gateway, int requests, std::atomic<int>& errors) {
  std::vector<client::Session> sessions;
  // The agent's listen queue holds five: connecting faster than it accepts (each
  // 5 ms here) would have the kernel drop handshakes, which clients retry a second later.
  for (int c = 0; c < kClients; ++c) {
    // Two addresses, as the agent serves at most half its connections from one.
    sessions.push_back(gateway.connect(c % 2 == 0 ? "127.0.0.1" : "127.0.0.2"));
    std::this_thread::sleep_for(10ms);
  }
  std::vector<std::thread> clients;
  for (int c = 0; c < kClients; ++c) {
    clients.emplace_back([&, c] {
      for (int k = 0; k < requests; ++k) {
        const std::string rename = R"({"Device":{"X_Halvo_Ext":{"DevNameChange":{"HostMAC":")" + mac_of(c) +
                                   R"(","Name":"c)" + std::to_string(c) + "-" + std::to_string(k) + R"("}}}})";
        const client::Reply reply =
            k % 2 == 1 ? test::exchange(sessions[static_cast<std::size_t>(c)], kTypeParamSet, rename)
                       : test::exchange(sessions[static_cast<std::size_t>(c)], kTypeParamGet,
                                        R"({"Device":{"WiFi":{"SSID":{"i1":{"SSID":""}}}}})");
        if (reply.status() <= 0) ++errors;
      }
    });
  }
  for (auto& client : clients) client.join();
}

TEST(Load, SixtyFourClientsLoseNothingAndLeakNothing) {
  PEMO_REQUIRE_SANDBOX();
  test::SimGateway gateway;
  // Connections do not each wait out the agent's pause between accepts.
  ASSERT_TRUE(gateway.start({"-d", "3"}, true));
  std::string rows;
  for (int c = 0; c < kClients; ++c)
    rows += "INSERT INTO Device (DevType,DevMac,Alive,nNotAlive) VALUES ('Host','" + mac_of(c) + "',1,0);";
  gateway.sql(rows);
  const pid_t agent = gateway.agent_pid();
  ASSERT_GT(agent, 0);

  // The connection threads end after their clients: a pass is over when none is left.
  const auto settled = [&] {
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(agent) + "/task"))
      if (test::read_file(task.path() / "comm") == "pemo-conn\n") return false;
    return true;
  };
  std::atomic<int> errors{0};
  run_pass(gateway, 4, errors);  // warm-up: every path once, every thread stack used
  ASSERT_TRUE(test::eventually(settled));
  const Footprint before = footprint(agent);
  run_pass(gateway, kRequests, errors);
  EXPECT_EQ(errors.load(), 0);
  std::vector<std::string> last_names;
  for (int c = 0; c < kClients; ++c)
    last_names.push_back(mac_of(c) + "|c" + std::to_string(c) + "-" + std::to_string(kRequests - 1));
  EXPECT_EQ(gateway.sql("SELECT DevMac, DevName FROM Device WHERE DevMac LIKE '02:10:aa:%' ORDER BY DevMac;"),
            last_names);
  EXPECT_TRUE(test::eventually(settled));
  const Footprint after = footprint(agent);
  EXPECT_EQ(after.threads, before.threads);
  EXPECT_EQ(after.files, before.files);
  std::printf("load: %d requests, agent memory %ld -> %ld KiB\n", kClients * kRequests, before.memory, after.memory);
  // A sanitized agent keeps freed blocks in quarantine and maps shadow memory for
  // every thread, so its resident size says nothing about our own allocations.
  if (test::kSanitizedBuild) {
    std::printf("load: memory growth not checked in a sanitizer build\n");
  } else {
    EXPECT_LT(after.memory - before.memory, 1024) << "KiB of growth";
  }
}

}  // namespace
}  // namespace pemo
