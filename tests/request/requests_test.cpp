// The three request types, the feature list and the apply workers.
#include "request/requests.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

#include "support/clock.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

class Requests : public testing::Test {
 protected:
  void SetUp() override {
    test::write_file(kFeatureFile, test::read_file(PEMO_SOURCE_DIR "/data/feature.json"));
    ASSERT_EQ(sys_query_response_init(), 0);
  }
  // Runs a handler on a payload area as the session would; the reply text, or
  // the status in angle brackets.
  std::string serve(int (*handler)(std::span<char, kMaxPayload>, int), std::string_view text) {
    if (text.size() > kMaxPayload) return "<request too long for the test>";
    std::copy(text.begin(), text.end(), buffer_.begin());
    int r = handler(std::span<char, kMaxPayload>(buffer_), static_cast<int>(text.size()));
    if (r <= 1) return "<" + std::to_string(r) + ">";
    return std::string(buffer_.data(), static_cast<std::size_t>(r));
  }
  std::array<char, kMaxPayload> buffer_{};
  test::RecordingRunner recorder_;
  ScopedRunner scoped_{recorder_};
  // The applies a second after a set wait until a test moves time on.
  test::ManualClock& clock_ = test::process_clock(test::ManualClock::Mode::kAdvanceByTest);
  ScopedClock scoped_clock_{clock_};
};

TEST_F(Requests, SystemQueryAnswersTheFeatureListAfterMagicThenVersion) {
  const std::string info = R"({"Device":{"X_Halvo_Ext":{"AppInfo":)";
  EXPECT_EQ(serve(doSysQueryReq, info + R"({"MagicNum":"Q5190","AppVersion":1}}}})"), feature_response());
  EXPECT_EQ(serve(doSysQueryReq, R"({"Device":{}})"), feature_response());
  EXPECT_EQ(serve(doSysQueryReq, info + R"({"MagicNum":"Q5191","AppVersion":2}}}})"), "<-4>");
  EXPECT_EQ(serve(doSysQueryReq, info + R"({"MagicNum":"Q5190","AppVersion":2}}}})"), "<-3>");
  EXPECT_EQ(serve(doSysQueryReq, info + R"({"MagicNum":""}}}})"), "<-4>");
  test::write_file(kFeatureFile, R"({"Device":)");  // cut short: no list to start with
  EXPECT_EQ(sys_query_response_init(), -1);
}

TEST_F(Requests, PayloadsThatAreNotAnObjectAndRepliesThatWouldNotFitAreStatuses) {
  for (const char* text : {"{", "", "5", "\"x\"", "[1,2]", "null", "{\"Device\":}"})
    EXPECT_EQ(serve(doParaGetReq, text), "<-2>") << text;
  std::string deep(4000, '[');
  EXPECT_EQ(serve(doParaGetReq, R"({"Device":)" + deep), "<-2>");
  std::string objects;
  for (int k = 0; k < 800; ++k) objects += R"({"a":)";
  EXPECT_EQ(serve(doParaSetReq, objects), "<-2>");
  // A reply that would not fit is a status.
  std::string members = R"({"Device":{"WiFi":{)";
  for (int k = 0; members.size() < 4000; ++k) members += R"("m)" + std::to_string(k) + R"(":1,)";
  members += R"("RadioNumberOfEntries":0}}})";
  ASSERT_LE(members.size(), kMaxPayload);
  EXPECT_EQ(serve(doParaGetReq, members), "<" + std::to_string(kStatusBadLength) + ">");
}

TEST_F(Requests, SetRepliesByWhatItChanged) {
  EXPECT_EQ(serve(doParaSetReq, R"({"Device":{"Hosts":{}}})"), R"({ "Device": { "Hosts": { } } })");
  EXPECT_EQ(serve(doParaSetReq, R"({"Device":{"X_Halvo_Ext":{"Tovi123":{"Wan":{}}}}})"), "<0>");
  // Wi-Fi wins over WAN: only Wi-Fi is applied.
  EXPECT_EQ(serve(doParaSetReq,
                  R"({"Device":{"WiFi":{},"X_Halvo_Ext":{"Tovi123":{"Wan":{}}}}})"),
            "<1>");
}

TEST_F(Requests, AppliesRunAboutOneSecondAfterTheSet) {
  test::write_file("/etc/config/wireless", "config wifi-device 'wifi0'\n");
  test::write_file("/etc/config/network",
                   "config interface 'wan'\n\toption proto 'dhcp'\nconfig general 'general'\n");
  ASSERT_EQ(serve(doParaSetReq, R"({"Device":{"WiFi":{}}})"), "<1>");
  ASSERT_EQ(serve(doParaSetReq, R"({"Device":{"X_Halvo_Ext":{"Tovi123":{"Wan":{}}}}})"), "<0>");
  ASSERT_TRUE(clock_.wait_for_sleepers(2));
  const auto applied = [this] { return recorder_.ran("/sbin/uci_apply 'wireless'") + recorder_.ran("/sbin/uci_apply 'network'"); };
  clock_.advance(999ms);
  EXPECT_EQ(applied(), 0);
  clock_.advance(1ms);
  // The workers run on once their pause ended: wait for them, in real time.
  EXPECT_TRUE(test::eventually([&] { return applied() == 2; }));
  const std::string network = test::read_file("/etc/config/network");
  EXPECT_NE(network.find("option IP_version 'IPv4_Only'"), std::string::npos) << network;
  EXPECT_NE(network.find("option config_section 'wan'"), std::string::npos);
}

}  // namespace
}  // namespace pemo
