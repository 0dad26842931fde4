// The connection loop, driven over a socket pair as a phone application would.
#include "core/session.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "pemo-cli/client.h"
#include "core/guard.h"
#include "contract/connection.h"
#include "firmware/fw_flags.h"
#include "wire/status.h"
#include "support/clock.h"
#include "support/frames.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;
using test::header_bytes;
using test::seed_system_package;

// A reply as Peer::reply gives it: "VERSION/TYPE: STATUS".
std::string status(int version, int type, int code) {
  return std::to_string(version) + "/" + std::to_string(type) + ": " + std::to_string(code);
}

// One served connection: the agent side runs tcp_handler on its own thread, the
// test holds the application's end.
class Peer {
 public:
  Peer() {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) throw std::runtime_error("socketpair");
    timeval tv{5, 0};
    setsockopt(fds[0], SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    session_ = client::Session(UniqueFd(fds[0]));
    server_ = std::thread([agent = UniqueFd(fds[1])]() mutable { tcp_handler(std::move(agent)); });
  }
  ~Peer() {
    session_ = {};
    server_.join();
  }

  void send(std::string_view bytes) {
    std::string error;
    ASSERT_TRUE(session_.send_raw(bytes, error)) << error;
  }
  void request(std::uint8_t type, std::string_view text, std::string_view key = "5927") {
    send(header_bytes(1, type, static_cast<int>(text.size())) + client::crypt(text, key));
  }
  // The next reply, "VERSION/TYPE: " and its status or its payload deciphered
  // with `key`; "closed" when the agent closed instead.
  std::string reply(std::string_view key = "5927") {
    client::Reply r;
    std::string error;
    if (!session_.receive(key, r, error)) return "closed";
    if (r.status() <= 0) return status(r.header.version, r.header.type, r.status());
    return std::to_string(r.header.version) + "/" + std::to_string(r.header.type) + ": " + r.payload;
  }
  bool closed_by_agent() {
    char c;
    return recv(session_.fd(), &c, 1, 0) == 0;
  }
  void shutdown_write() { ::shutdown(session_.fd(), SHUT_WR); }

 private:
  client::Session session_;
  std::thread server_;
};

class Session : public testing::Test {
 protected:
  void SetUp() override {
    seed_system_package("5927");
  }
  // The first connection's WAN probes are recorded, never run.
  test::RecordingRunner recorder_;
  ScopedRunner scoped_{recorder_};
};

struct Rejection {
  int version, type, length, code;
};

TEST_F(Session, RejectedHeadersEchoVersionAndTypeThenClose) {
  const Rejection cases[] = {
      {2, 11, 10, -10},  // type is tested before version
      {1, 0, 10, -10},   {1, 5, 0, -9},    {1, 5, -1, -9},
      {1, 5, 4093, -9},  {2, 5, 16, -8},   {0, 7, 1, -8},
  };
  for (const Rejection& c : cases) {
    Peer peer;
    peer.send(header_bytes(c.version, c.type, c.length));
    EXPECT_EQ(peer.reply(), status(c.version, c.type, c.code))
        << "version " << c.version << " type " << c.type << " length " << c.length;
    EXPECT_TRUE(peer.closed_by_agent());
  }
  EXPECT_EQ(active_connections.load(), 0) << "every connection that ended is uncounted";
}

TEST_F(Session, LargestPayloadIsAcceptedAndTheConnectionStays) {
  Peer peer;
  std::string text = "{" + std::string(4090, ' ') + "}";
  ASSERT_EQ(text.size(), 4092u);
  peer.request(kTypeParamGet, text);
  EXPECT_EQ(peer.reply(), "1/6: { }");
  peer.request(2, "{}");  // a type without a handler: -1, still open
  EXPECT_EQ(peer.reply(), status(1, 2, kUnserved));
}

// A Wi-Fi change is answered "{}", and the agent closes to restart Wi-Fi.
TEST_F(Session, AWifiSetIsAnsweredEmptyThenTheAgentCloses) {
  test::seed_gateway_config();
  Peer peer;
  peer.request(kTypeParamSet, R"({"Device":{"WiFi":{"SSID":{"i1":{"SSID":"x"}}}}})");
  EXPECT_EQ(peer.reply(), "1/8: {}");
  EXPECT_TRUE(peer.closed_by_agent());
}

// A 300-byte request cut at every offset. The header is read with one receive, so
// a cut header is judged with zeros for its missing bytes; a cut payload is a
// receive error; either way the agent ends the connection and nothing else.
TEST_F(Session, PeerClosingAtEveryOffsetGetsOneVerdictThenClose) {
  const std::string text = R"({"Device":{)" + std::string(287, ' ') + "}}";
  ASSERT_EQ(text.size(), 300u);
  const std::string request = header_bytes(1, kTypeParamGet, 300) + client::crypt(text, "5927");
  for (std::size_t offset = 0; offset <= request.size(); ++offset) {
    Peer peer;
    if (offset > 0) peer.send(request.substr(0, offset));
    peer.shutdown_write();
    const std::string expected = offset == 0                ? "closed"
                                 : offset == 1              ? status(1, 0, kStatusBadType)
                                 : offset == 2              ? status(1, kTypeParamGet, kStatusBadLength)
                                 : offset < request.size() ? status(1, kTypeParamGet, kActionFailed)
                                                            : R"(1/6: { "Device": { } })";
    EXPECT_EQ(peer.reply(), expected) << "cut at " << offset;
    EXPECT_TRUE(peer.closed_by_agent()) << "cut at " << offset;
  }
}

// A message must be complete within the idle limit of the agent starting to
// wait for it, or the connection ends without a word; strict, it waits on.
TEST_F(Session, AMessageNotCompleteWithinTheIdleLimitEndsTheConnection) {
  test::ManualClock clock(test::ManualClock::Mode::kAdvanceByTest);
  ScopedClock scoped(clock);
  const std::string text = R"({"Device":{}})";
  const std::string request = header_bytes(1, kTypeParamGet, static_cast<int>(text.size())) + client::crypt(text, "5927");
  for (const bool strict : {false, true}) {
    guard_set_strict(strict);
    Peer peer;
    ASSERT_TRUE(strict || clock.wait_for_sleepers(1));
    clock.advance(kIdleLimit - 1s);
    peer.send(request);
    EXPECT_EQ(peer.reply(), R"(1/6: { "Device": { } })");
    peer.send(request.substr(0, 6));  // and then nothing
    ASSERT_TRUE(strict || clock.wait_for_sleepers(1));
    clock.advance(kIdleLimit);
    if (strict) peer.send(request.substr(6));
    EXPECT_EQ(peer.reply(), strict ? R"(1/6: { "Device": { } })" : "closed") << (strict ? "strict" : "hardened");
  }
}

TEST_F(Session, ControlBytesAreRefusedButTabIsNot) {
  Peer peer;
  using namespace std::string_view_literals;
  for (std::string_view bad : {"{\n}"sv, "{\r}"sv, "{\0}"sv, "{\x1f}"sv, "{\x7f}"sv}) {
    peer.request(kTypeParamGet, bad);
    EXPECT_EQ(peer.reply(), status(1, kTypeParamGet, kStatusBadPassword));
  }
  peer.request(kTypeParamGet, "{\"\xc3\xa9\":\t1}");
  EXPECT_EQ(peer.reply(), "1/6: { \"\xc3\xa9\": 1 }");
}

TEST_F(Session, UnusablePasswordsAnswerMinus20WithTheRequestTypeAndOneCharacterIsAKey) {
  // Empty, too long, and a package that does not parse (which keys nothing: not
  // even its option's path text).
  for (std::string_view password : {"", "0123456789abcdef0123456789abcdef", "'unterminated"}) {
    seed_system_package(password);
    Peer peer;
    for (std::string_view key : {password, std::string_view("system.main.pwd")}) {
      peer.request(kTypeSysQuery, "{}", key.empty() ? "x" : key);
      EXPECT_EQ(peer.reply(), status(1, kTypeSysQuery, kStatusBadPassword)) << password;
    }
  }
  seed_system_package("7");
  Peer peer;
  peer.request(kTypeParamGet, R"({"Device":{"WiFi":{"RadioNumberOfEntries":0}}})", "7");
  EXPECT_EQ(peer.reply("7"), R"(1/6: { "Device": { "WiFi": { "RadioNumberOfEntries": 2 } } })");
}

// While an update runs the key comes from the cache, filled by the request that
// started it even when that request's reply carried no payload.
TEST_F(Session, AnUpdateKeepsTheKeyOfTheRequestThatStartedIt) {
  Peer peer;
  peer.request(kTypeParamSet, R"({"Device":{"WiFi":{"Radio":{"i1":{"Enable":0}}}}})");
  EXPECT_EQ(peer.reply(), status(1, kTypeParamSet + 1, kNotWritable));
  fw_upgrade_running = true;  // as the request's handler would have set it
  seed_system_package("'unterminated");  // the flash has the configuration
  peer.request(kTypeParamGet, R"({"Device":{"WiFi":{"RadioNumberOfEntries":0}}})");
  const std::string during = peer.reply();
  fw_upgrade_running = false;
  EXPECT_EQ(during, R"(1/6: { "Device": { "WiFi": { "RadioNumberOfEntries": 2 } } })");
}

}  // namespace
}  // namespace pemo
