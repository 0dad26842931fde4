// End-to-end figures against the simulated gateway, side by side with the floor
// of a bare loopback exchange. Prints one table; see ./scripts/bench.sh.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <fstream>
#include <map>
#include <sstream>
#include <cstdio>
#include <thread>
#include <vector>

#include "wire/cipher.h"
#include "pemo-cli/client.h"
#include "platform/fd.h"
#include "support/gateway.h"
#include "support/sandbox.h"
#include "workloads.h"

namespace pemo {
namespace {

using Clock = std::chrono::steady_clock;
using Micros = std::chrono::duration<double, std::micro>;

struct Figures {
  double p50 = 0, p99 = 0, throughput = 0;
};

Figures summarise(std::vector<double> samples, double seconds) {
  if (samples.empty()) return {};
  std::sort(samples.begin(), samples.end());
  auto at = [&](double q) { return samples[std::min(samples.size() - 1, static_cast<std::size_t>(q * static_cast<double>(samples.size())))]; };
  return {at(0.50), at(0.99), static_cast<double>(samples.size()) / seconds};
}

bool read_exact(int fd, char* data, std::size_t n) {
  for (std::size_t got = 0; got < n;) {
    ssize_t r = recv(fd, data + got, n - got, 0);
    if (r <= 0) return false;
    got += static_cast<std::size_t>(r);
  }
  return true;
}

// The floor: a loopback echo of a 4-byte header and a 64-byte payload, optionally
// with the two key schedules every agent exchange costs.
Figures floor(bool with_cipher, int rounds) {
  UniqueFd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
  listen(listener.get(), 1);
  getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &length);
  std::thread server([&] {
    UniqueFd peer(accept(listener.get(), nullptr, nullptr));
    char message[68];
    while (read_exact(peer.get(), message, sizeof message)) {
      if (with_cipher) {
        SessionCipher("5927").crypt(message + 4, 64);
        SessionCipher("5927").crypt(message + 4, 64);
      }
      send(peer.get(), message, sizeof message, MSG_NOSIGNAL);
    }
  });
  UniqueFd client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  connect(client.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
  std::vector<double> samples;
  char message[68] = {1, 5, 64, 0};
  const auto start = Clock::now();
  for (int k = 0; k < rounds; ++k) {
    const auto t = Clock::now();
    send(client.get(), message, sizeof message, MSG_NOSIGNAL);
    read_exact(client.get(), message, sizeof message);
    samples.push_back(Micros(Clock::now() - t).count());
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  client.reset();
  server.join();
  return summarise(samples, seconds);
}

// `clients` connections, each sending `requests` to the agent; reply statuses
// that are not a document count as errors.
Figures exchange_load(const test::SimGateway& gateway, int clients, int requests, std::uint8_t type,
                      const std::vector<std::string>& sequence, std::atomic<int>& errors) {
  std::vector<client::Session> sessions;
  for (int c = 0; c < clients; ++c) sessions.push_back(gateway.connect());
  // The agent accepts one connection per 500 ms: warm every one up before timing.
  for (client::Session& session : sessions) {
    client::Reply reply;
    std::string error;
    session.exchange(kTypeParamGet, bench::kOneLeaf, "5927", reply, error);
  }
  std::vector<std::vector<double>> samples(static_cast<std::size_t>(clients));
  std::vector<std::thread> threads;
  const auto start = Clock::now();
  for (int c = 0; c < clients; ++c) {
    threads.emplace_back([&, c] {
      client::Reply reply;
      std::string error;
      for (int k = 0; k < requests; ++k) {
        const auto t = Clock::now();
        for (const std::string& text : sequence) {
          if (!sessions[static_cast<std::size_t>(c)].exchange(type, text, "5927", reply, error) || reply.status() <= 0)
            ++errors;
        }
        samples[static_cast<std::size_t>(c)].push_back(Micros(Clock::now() - t).count());
      }
    });
  }
  for (auto& t : threads) t.join();
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  std::vector<double> all;
  for (auto& s : samples) all.insert(all.end(), s.begin(), s.end());
  return summarise(all, seconds);
}

// A Wi-Fi set closes its connection: connections are opened first (the agent
// accepts one per 500 ms), then each carries one set.
Figures ssid_sets(const test::SimGateway& gateway, int count, std::atomic<int>& errors) {
  std::vector<client::Session> sessions;
  for (int k = 0; k < count; ++k) sessions.push_back(gateway.connect());
  std::this_thread::sleep_for(std::chrono::milliseconds(600 * count));
  std::vector<double> samples;
  const auto start = Clock::now();
  for (int k = 0; k < count; ++k) {
    client::Reply reply;
    std::string error;
    const auto t = Clock::now();
    const std::string text = R"({"Device":{"WiFi":{"SSID":{"i1":{"CheckFreqBand":"5G","SSID":"Bench)" +
                             std::to_string(k) + R"("}}}}})";
    if (!sessions[static_cast<std::size_t>(k)].exchange(kTypeParamSet, text, "5927", reply, error) ||
        reply.payload != "{}")
      ++errors;
    samples.push_back(Micros(Clock::now() - t).count());
  }
  return summarise(samples, std::chrono::duration<double>(Clock::now() - start).count());
}

void row(const char* name, int clients, const Figures& f, double floor_p50) {
  std::printf("%-34s %7d %10.0f %10.0f %8.1fx %12.0f\n", name, clients, f.p50, f.p99, f.p50 / floor_p50,
              f.throughput);
}

// Where the agent's own pages are, from /proc/PID/smaps: its anonymous pages
// summed by what maps them (the heap, the copied pages of each file's
// writable data, thread stacks and the allocator's other maps), largest first.
void report_own_pages(pid_t agent) {
  std::ifstream smaps("/proc/" + std::to_string(agent) + "/smaps");
  std::map<std::string, long> by_owner;
  std::string owner;
  for (std::string line; std::getline(smaps, line);) {
    if (!line.empty() && std::isxdigit(static_cast<unsigned char>(line[0])) && line.find('-') < 16) {
      std::istringstream fields(line);
      std::string range, perms, offset, device, inode, path;
      fields >> range >> perms >> offset >> device >> inode >> path;
      owner = path.empty() ? "anonymous (thread stacks, other allocator maps)" : path;
    } else if (line.rfind("Anonymous:", 0) == 0) {
      by_owner[owner] += std::stol(line.substr(10));
    }
  }
  std::vector<std::pair<long, std::string>> rows;
  for (const auto& [name, kib] : by_owner)
    if (kib > 0) rows.emplace_back(kib, name);
  std::sort(rows.rbegin(), rows.rend());
  for (const auto& [kib, name] : rows) std::printf("  %6ld KiB  %s\n", kib, name.c_str());
}

// The agent's resident memory idle, then with 20 idle connections open.
void report_memory(const test::SimGateway& gateway) {
  std::this_thread::sleep_for(std::chrono::seconds(2));
  const pid_t agent = gateway.agent_pid();
  // VmRSS counts every resident page, RssAnon only the agent's own memory.
  const long idle = test::proc_status_field(agent, "VmRSS");
  const long idle_own = test::proc_status_field(agent, "RssAnon");
  std::printf("\nresident memory, idle agent: %ld KiB in all, %ld KiB its own (the rest are pages mapped from the binary and its libraries)\n",
              idle, idle_own);
  report_own_pages(agent);
  std::vector<client::Session> idle_sessions;
  for (int k = 0; k < 20; ++k) idle_sessions.push_back(gateway.connect());
  std::this_thread::sleep_for(std::chrono::milliseconds(600 * 20));
  for (auto& s : idle_sessions) {
    client::Reply reply;
    std::string error;
    s.exchange(kTypeParamGet, bench::kOneLeaf, "5927", reply, error);
  }
  const long busy = test::proc_status_field(agent, "VmRSS");
  const long busy_own = test::proc_status_field(agent, "RssAnon");
  std::printf("with 20 idle connections: %ld KiB in all, %ld KiB its own (%.0f KiB more each)\n", busy, busy_own,
              static_cast<double>(busy_own - idle_own) / 20.0);
}

}  // namespace
}  // namespace pemo

// With --memory-only, a short warm-up and the memory figures: for a second
// build of the agent (statically linked) without running every workload again.
int main(int argc, char** argv) {
  using namespace pemo;
  std::string why;
  if (!test::enter_sandbox(why)) {
    std::fprintf(stderr, "the load benchmark needs private namespaces: %s\n", why.c_str());
    return 1;
  }
  test::SimGateway gateway;
  if (!gateway.start({"-d", "3"})) {
    std::fprintf(stderr, "the simulated gateway did not start\n");
    return 1;
  }
  std::atomic<int> errors{0};
  if (argc > 1 && std::string(argv[1]) == "--memory-only") {
    exchange_load(gateway, 1, 100, kTypeParamGet, {bench::kWifiRead}, errors);
    report_memory(gateway);
    std::printf("protocol errors: %d\n", errors.load());
    return errors.load() == 0 ? 0 : 1;
  }
  // 32 hosts in the list.
  std::string rows;
  for (int k = 0; k < 25; ++k)
    rows += "INSERT INTO Device (DevType,ConnType,DevName,IPAddr,DevMac,HostName,HostType,Alive,nNotAlive,ExtraInfo)"
            " VALUES ('Host','WiFi 5G','bench" + std::to_string(k) + "','192.168.1." + std::to_string(150 + k) +
            "','02:be:00:00:00:" + std::to_string(10 + k) + "','bench-host-" + std::to_string(k) +
            "','2',1,0,'{\"RxDataRate\":100,\"TxDataRate\":50}');";
  gateway.sql(rows);

  const Figures base = floor(false, 2000);
  const Figures cipher = floor(true, 2000);
  std::vector<std::string> host_sequence;
  for (int first = 1; first <= 32; first += 8)
    host_sequence.push_back(bench::host_list(first, std::min(first + 7, 32), first == 1));

  std::printf("%-34s %7s %10s %10s %9s %12s\n", "workload", "clients", "p50 us", "p99 us", "p50/floor",
              "per second");
  row("floor: loopback echo 4+64 bytes", 1, base, base.p50);
  row("floor + two key schedules", 1, cipher, base.p50);
  const std::string query(client::kFeatureRequest);
  row("system query", 1, exchange_load(gateway, 1, 300, kTypeSysQuery, {query}, errors), base.p50);
  row("get one SSID", 1, exchange_load(gateway, 1, 500, kTypeParamGet, {bench::kOneLeaf}, errors), base.p50);
  row("full Wi-Fi read (20 leaves)", 1, exchange_load(gateway, 1, 200, kTypeParamGet, {bench::kWifiRead}, errors),
      base.p50);
  row("host list, 32 hosts x 10 members", 1, exchange_load(gateway, 1, 50, kTypeParamGet, host_sequence, errors),
      base.p50);
  row("set one SSID (no apply wait)", 1, ssid_sets(gateway, 5, errors), base.p50);
  row("get one SSID", 16, exchange_load(gateway, 16, 300, kTypeParamGet, {bench::kOneLeaf}, errors), base.p50);
  row("full Wi-Fi read (20 leaves)", 16, exchange_load(gateway, 16, 60, kTypeParamGet, {bench::kWifiRead}, errors),
      base.p50);

  report_memory(gateway);
  std::printf("protocol errors: %d\n", errors.load());
  return errors.load() == 0 ? 0 : 1;
}
