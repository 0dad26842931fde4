// Discovery: identity answers and the UDP service's header handling.
#include "core/discovery.h"
#include "core/discovery_seam.h"

#include <gtest/gtest.h>

#include <thread>

#include "wire/frame.h"
#include "info/identity.h"
#include "platform/fd.h"
#include "platform/json.h"
#include "platform/probe_db.h"
#include "platform/probe_db_seam.h"
#include "support/clock.h"
#include "support/frames.h"
#include "support/probe.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;
using test::header_bytes;
using test::send_to_agent;

const std::string kRequest = R"({"Device":{"X_Halvo_Ext":{"AppInfo":{"MagicNum":"Q5190","AppVersion":1}}}})";

void seed_system(const std::string& mode, const std::string& password, const std::string& quick_setup) {
  test::write_file("/etc/config/system", "config system 'main'\n\toption hostname 'HomeGateway'\n"
                                         "\toption pwd '" + password + "'\n\toption system_mode '" + mode +
                                         "'\n\toption Tovi123 '" + quick_setup + "'\n");
}

class Discovery : public testing::Test {
 protected:
  void SetUp() override {
    seed_system("1", "5927", "0");
    test::write_file("/tmp/mfsh.info",
                     "LD Version: 1.0.12-extra-long-version-text-cut\nModel Name: HG-2400\n"
                     "Serial Number: HG24A0001234\nIgnored: after serial\n");
    test::seed_probe_db(kProbeDbPath);
    ASSERT_EQ(probe_db_open(), 0);
    manufacturing_cache_reset();
  }
  void TearDown() override { probe_db_close(); }

  // The identity reply as a plain document, or the status.
  std::string discover(const std::string& request = kRequest) {
    std::string reply;
    int r = doDevDiscoverReq(request, reply);
    if (r < 0) return "<" + std::to_string(r) + ">";
    JsonPtr document(json_tokener_parse(reply.c_str()));
    return json_object_to_json_string_ext(document.get(), JSON_C_TO_STRING_PLAIN);
  }
};

TEST_F(Discovery, IdentityFollowsModePasswordAndFlags) {
  EXPECT_EQ(discover(),
            R"({"Device":{"DeviceInfo":{"ModelName":"HG-2400","SerialNumber":"HG24A0001234",)"
            R"("SoftwareVersion":"1.0.12-extra-long-version-text-","DeviceMode":"Router","WIFIConfigFlag":0,)"
            R"("UserConfigFlag":0,"GatewayAPautoconfigEnable":1,"LoginFlag":0,"DirectConnect":0},)"
            R"("X_Halvo_Ext":{"SystemInfo":{"SystemName":"HomeGateway"}}}})");
  seed_system("0", "s3cret", "1");
  test::write_file("/etc/pemo-agent/wifi_setting_flag", "");
  const std::string reply = discover();
  EXPECT_NE(reply.find(R"("DeviceMode":"AP","WIFIConfigFlag":1,"UserConfigFlag":1)"), std::string::npos) << reply;
  EXPECT_NE(reply.find(R"("LoginFlag":1)"), std::string::npos);
}

// A system package that cannot be read leaves the mode and login flag at their
// template values, never what the text of an option path would give.
TEST_F(Discovery, UnreadableSystemPackageReportsNoModeAndNoLogin) {
  for (const char* text : {"config system 'main'\n\toption pwd 'unterminated\n", ""}) {
    test::write_file("/etc/config/system", text);
    if (*text == '\0') unlink("/etc/config/system");
    const std::string reply = discover();
    EXPECT_NE(reply.find(R"("DeviceMode":"",)"), std::string::npos) << reply;
    EXPECT_NE(reply.find(R"("LoginFlag":0,)"), std::string::npos) << reply;
    EXPECT_NE(reply.find(R"("SystemName":"")"), std::string::npos) << reply;
  }
}

TEST_F(Discovery, RefusedRequests) {
  EXPECT_EQ(discover("{"), "<-2>");
  EXPECT_EQ(discover("[]"), "<-2>");
  EXPECT_EQ(discover(R"({"Device":{"X_Halvo_Ext":{"AppInfo":{"MagicNum":"Q5191","AppVersion":2}}}})"), "<-4>");
  EXPECT_EQ(discover(R"({"Device":{"X_Halvo_Ext":{"AppInfo":{"MagicNum":"Q5190","AppVersion":2}}}})"), "<-3>");
}

// The UDP service on its own thread, talked to over loopback.
class DiscoveryService : public Discovery {
 protected:
  void SetUp() override {
    Discovery::SetUp();
    if (HasFatalFailure()) return;
    std::thread(app_discover_main).detach();  // serves until the test process ends
    sock_ = UniqueFd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    // Header errors are answered at once: wait for the service to be bound.
    for (int k = 0; k < 30 && ask(header_bytes(2, 5, 1) + "x", 100ms).empty(); ++k) {
    }
  }
  std::string ask(const std::string& datagram, std::chrono::milliseconds wait = std::chrono::seconds(3)) {
    send_to_agent(sock_.get(), datagram);
    return test::answer_to(sock_.get(), wait);
  }
  UniqueFd sock_;
};

TEST_F(DiscoveryService, HeadersAreCheckedLastFailureWinning) {
  EXPECT_EQ(ask(header_bytes(2, 5, 10) + "x"), header_bytes(2, 5, -8));
  EXPECT_EQ(ask(header_bytes(1, 5, 0)), header_bytes(1, 5, -9));
  EXPECT_EQ(ask(header_bytes(1, 5, 10)), header_bytes(1, 5, -10));
  EXPECT_EQ(ask(header_bytes(1, 1, 4097)), header_bytes(1, 1, -9));
  // Invalid JSON: the status and the request's first payload byte.
  EXPECT_EQ(ask(header_bytes(1, 1, 4096) + "{"), header_bytes(1, 2, -2) + "{");
  EXPECT_EQ(ask(header_bytes(1, 1, 3) + "Q51"), header_bytes(1, 2, -2) + "Q");
  const std::string answer = ask(header_bytes(1, 1, static_cast<int>(kRequest.size())) + kRequest);
  ASSERT_GT(answer.size(), 4u);
  EXPECT_EQ(answer.substr(0, 2), header_bytes(1, 2, 0).substr(0, 2));
  FrameHeader h = decode_header({static_cast<std::uint8_t>(answer[0]), static_cast<std::uint8_t>(answer[1]),
                                 static_cast<std::uint8_t>(answer[2]), static_cast<std::uint8_t>(answer[3])});
  EXPECT_EQ(static_cast<std::size_t>(h.length), answer.size() - 4);
  EXPECT_NE(answer.find(R"("DeviceMode": "Router")"), std::string::npos);
}

TEST(DiscoveryWait, NothingIsServedUntilTheDatabaseExists) {
  test::seed_system_package();
  test::ManualClock& clock = test::process_clock(test::ManualClock::Mode::kAdvanceByTest);
  ScopedClock scoped_clock(clock);
  std::thread(app_discover_main).detach();
  UniqueFd sock(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ASSERT_TRUE(clock.wait_for_sleepers(1));  // the loop waits for the database, a second at a time
  send_to_agent(sock.get(), header_bytes(2, 5, 1) + "x");
  for (int round = 0; round < 3; ++round) {
    clock.advance(std::chrono::seconds(1));
    ASSERT_TRUE(clock.wait_for_sleepers(1));
  }
  EXPECT_EQ(test::answer_to(sock.get(), 100ms), "") << "answered without a database";
  test::seed_probe_db(kProbeDbPath);
  clock.advance(std::chrono::seconds(1));   // opened now, and found open a second later
  ASSERT_TRUE(clock.wait_for_sleepers(1));
  EXPECT_EQ(test::answer_to(sock.get(), 100ms), "") << "answered before the database was found open";
  clock.advance(std::chrono::seconds(1));
  EXPECT_NE(test::answer_to(sock.get()), "") << "no answer once the database appeared";
  probe_db_close();
}

}  // namespace
}  // namespace pemo
