// Readers of platform output, traceroute, routing table, WAN information, and
// the WAN watcher.
#include <filesystem>
#include <set>

#include "core/wan_watch.h"
#include "diag/probes.h"
#include "diag/wan_state.h"
#include "support/handler.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

// What the WAN watcher reads; an answer without a verdict leaves the last one.
TEST(PlatformOutput, PingStatisticsAndPortSpeed) {
  EXPECT_EQ(ping_received("6 packets transmitted, 0 received, 100% packet loss, time 5005ms\n"), 0);
  EXPECT_EQ(ping_received("ping: connect: Network is unreachable\n"), std::nullopt);
  EXPECT_EQ(port_speed("Port 4: 1000M\n"), 1000);
  EXPECT_EQ(port_speed("Port 3: 100M"), std::nullopt);
}

TEST(PlatformOutput, TracerouteHops) {
  auto hops = parse_traceroute("traceroute to h (1.2.3.4), 30 hops max\n 1  gw (10.0.0.1)  1.2 ms\n 2  *\n"
                               " 3  garbage that does not scan\n");
  ASSERT_EQ(hops.size(), 3u);
  EXPECT_EQ(hops[2].address, "*") << "an unscannable line repeats the hop before it";
  // A name longer than its 63 characters is cut; the hop keeps its own address.
  hops = parse_traceroute(" 1  gw.example (10.0.0.1)  1.2 ms\n 2  " + std::string(90, 'n') + ".example (10.0.0.2)  3.4 ms\n");
  ASSERT_EQ(hops.size(), 2u);
  EXPECT_EQ(hops[1].host, std::string(63, 'n'));
  EXPECT_EQ(hops[1].address, "10.0.0.2");
  EXPECT_EQ(hops[1].time, "3.4");
}

TEST(PlatformOutput, RoutesAndWanInfo) {
  // Each field is cut to its width (23, interface 15): nothing spills into the next.
  // A blank or short line (a header, a wrapped tail) is no route.
  auto routes = parse_routes("\nDestination Gateway\ndefault gateway-of-a-very-long-isp-name.example 0.0.0.0 UG 0 0 0 "
                             "an-interface-name-too-long\n10.0.0.0 * 255.0.0.0 U 0 0\n   \n");
  ASSERT_EQ(routes.size(), 1u);
  EXPECT_EQ(routes[0].gateway, "gateway-of-a-very-long-");
  EXPECT_EQ(routes[0].mask, "0.0.0.0");
  EXPECT_EQ(routes[0].interface, "an-interface-na");
  WanAddresses wan = parse_wan_info("ipaddr: 100.64.1.2 x\nmac:02:aa:bb:cc:dd:ee\nnoise\nmac: 02:aa:bb:cc:dd:ff\n");
  EXPECT_EQ(wan.ip, "100.64.1.2");
  EXPECT_EQ(wan.mac, "02:aa:bb:cc:dd:ee") << "the first MAC line is the WAN's";
}

class Diagnostics : public test::HandlerTest {
 protected:
  static std::string device(const std::string& object, bool set = false) { return test::device(object, set); }
};

// examples/traceroute.batch shows the hops kept for the session's gets.
TEST_F(Diagnostics, TracerouteQuotesItsHostAndOutwaitsItsWorstCase) {
  test::write_file("/tmp/tracert", "traceroute to x\n 1  a (10.0.0.1)  1.0 ms\n 2  * * *\n");
  EXPECT_EQ(device(R"j({"IP":{"Diagnostics":{"TraceRoute":{"Host":"x; reboot $(id)","NumberOfTries":3,)j"
                   R"("DiagnosticsState":"Requested","RouteHopsNumberOfEntries":0}}}})", true),
            R"j({"IP":{"Diagnostics":{"TraceRoute":{"Host":"x; reboot $(id)","NumberOfTries":3,)j"
            R"("DiagnosticsState":"Complete","RouteHopsNumberOfEntries":2}}}})");
  EXPECT_EQ(runner_.commands().back(), "traceroute -q 1 'x; reboot $(id)' > /tmp/tracert");
  // Waited for beyond the tool's own worst case: 30 hops x 1 probe x 5 s.
  EXPECT_GT(runner_.timeout_of("traceroute"), 150s);
}

// A traceroute cut at its bound fails the request: its hops are not complete.
// One that leaves no output file has no hops.
TEST_F(Diagnostics, TracerouteWithoutOutputHasNoHopsAndOneCutShortFails) {
  const std::string request = R"({"IP":{"Diagnostics":{"TraceRoute":{"Host":"x","DiagnosticsState":"Requested",)"
                              R"("RouteHopsNumberOfEntries":5}}}})";
  EXPECT_EQ(device(request, true), R"({"IP":{"Diagnostics":{"TraceRoute":{"Host":"x","DiagnosticsState":"Complete",)"
                                   R"("RouteHopsNumberOfEntries":0}}}})");
  runner_.answer("traceroute", ShellResult{-1, true, {}});
  test::write_file("/tmp/tracert", "traceroute to x\n 1  a (10.0.0.1)  1.0 ms\n");
  EXPECT_EQ(device(request, true), "<-26>");
}

TEST_F(Diagnostics, WanStatusAndRates) {
  const std::string info = R"({"X_Halvo_Ext":{"DeviceInfo":{"WanInfo":)";
  EXPECT_EQ(device(info + R"({"Wan_IPAddress":"x"}}}})"), info + R"({"Wan_IPAddress":""}}}})");
  test::write_file("/tmp/wan_info", "ipaddr: 100.64.1.2\nmac: 02:00:00:00:00:01\n");
  const std::int32_t rates[2] = {-5, 7000};
  test::write_file("/tmp/bwm_result", std::string(reinterpret_cast<const char*>(rates), sizeof rates));
  wan_port_speed = 0;
  wan_ping_ok = 1;
  EXPECT_EQ(device(info + R"({"WanStatus":"","Wan_IPAddress":"","Wan_Mac":"","Wan_PhyRate":0,"Wan_RX_Rate":0,"Wan_TX_Rate":0}}}})"),
            info + R"({"WanStatus":"LinkDown","Wan_IPAddress":"100.64.1.2","Wan_Mac":"02:00:00:00:00:01",)"
                   R"("Wan_PhyRate":0,"Wan_RX_Rate":0,"Wan_TX_Rate":7000}}}})");
  // The first MAC ever read stays the WAN's.
  test::write_file("/tmp/wan_info", "ipaddr: 100.64.1.3\nmac: 02:00:00:00:00:02\n");
  const std::string status = info + R"({"WanStatus":"","Wan_Mac":"","Wan_PhyRate":0}}}})";
  wan_port_speed = 1000;
  EXPECT_EQ(device(status), info + R"({"WanStatus":"Enable","Wan_Mac":"02:00:00:00:00:01","Wan_PhyRate":1000}}}})");
  wan_ping_ok = 0;
  EXPECT_EQ(device(status), info + R"({"WanStatus":"Disable","Wan_Mac":"02:00:00:00:00:01","Wan_PhyRate":1000}}}})");
}

// This process's threads, by id.
std::set<std::string> thread_ids() {
  std::set<std::string> ids;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) ids.insert(entry.path().filename());
  return ids;
}

// A thread's scheduling state ('R' running, 'S' asleep ...), from /proc.
char thread_state(const std::string& id) {
  const std::string stat = test::read_file("/proc/self/task/" + id + "/stat");
  const std::size_t end = stat.rfind(')');  // the name may hold blanks and parentheses
  return end != std::string::npos && end + 2 < stat.size() ? stat[end + 2] : '?';
}

// The first connection is probed for at once, by its own thread: here no
// watcher runs that could do it instead.
TEST(WanWatcher, TheFirstConnectionProbesBeforeItIsServed) {
  test::RecordingRunner recorder;
  recorder.answer("portspeed", ShellResult{0, false, "Port 4: 10M\n"});
  ScopedRunner scoped(recorder);
  test::write_file("/tmp/ping.wan", "6 packets transmitted, 0 packets received\n");
  wan_ping_ok = 1;
  wan_port_speed = 0;
  wan_first_connection();
  EXPECT_EQ(recorder.commands(), (std::vector<std::string>{"ping -c 6 " + std::string(kWanProbeAddress) +
                                                            " > /tmp/ping.wan 2>&1", "sys portspeed 4 2>/dev/null"}));
  EXPECT_EQ(wan_ping_ok.load(), 0);
  EXPECT_EQ(wan_port_speed.load(), 10);
}

// The watcher probes once for the first connection, then once a second while
// any is open, and not at all while none is.
TEST(WanWatcher, ProbesOnlyWhileConnectionsAreOpen) {
  test::RecordingRunner recorder;
  ScopedRunner scoped(recorder);
  test::ManualClock& clock = test::process_clock(test::ManualClock::Mode::kAdvanceByTest);
  ScopedClock scoped_clock(clock);
  const std::set<std::string> before = thread_ids();
  wan_chk_init();
  // Asleep means waiting for a connection, or, had it probed unasked, for the clock.
  ASSERT_TRUE(test::eventually([&] {
    for (const std::string& id : thread_ids())
      if (!before.contains(id)) return thread_state(id) == 'S';
    return false;
  }));
  clock.advance(5s);
  EXPECT_EQ(recorder.commands().size(), 0u) << "no probe while no connection is open";
  active_connections = 1;
  wan_first_connection();
  ASSERT_TRUE(clock.wait_for_sleepers(1));
  const std::size_t first = recorder.commands().size();
  clock.advance(999ms);
  EXPECT_EQ(recorder.commands().size(), first);
  clock.advance(1ms);
  ASSERT_TRUE(clock.wait_for_sleepers(1));
  EXPECT_EQ(recorder.commands().size(), first + 2) << "a ping and a port query a second later";
  active_connections = 0;
  clock.advance(1s);  // the round under way ends; the watcher then waits for a connection
  clock.advance(10s);
  EXPECT_EQ(recorder.commands().size(), first + 2);
}

}  // namespace
}  // namespace pemo
