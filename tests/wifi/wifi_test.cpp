// Wi-Fi reads and writes against the seeded `wireless` package.
#include "support/handler.h"
#include "wifi/memory.h"
#include "wifi/wifi.h"

namespace pemo {
namespace {

class Wifi : public test::HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    set_pending_get_band("");
    set_pending_set_band("");
  }
  static std::string wifi(const std::string& object, bool set = false) { return test::below({"WiFi"}, object, set); }
  // Options of wifi-iface `position`, joined by " | ".
  static std::string iface(int position, std::initializer_list<const char*> names) {
    std::vector<std::string> paths;
    for (const char* name : names) paths.push_back("wireless.@wifi-iface[" + std::to_string(position) + "]." + name);
    return options(paths);
  }
};

TEST_F(Wifi, BandChosenByCheckFreqBandIsConsumedByTheNextMember) {
  // (examples/wifi.batch reads a band sent before its member.) Sent after the
  // member, the band waits for the next read, in any request.
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSID":"","CheckFreqBand":"5G"}}})"),
            R"({"SSID":{"i1":{"SSID":"HomeGateway-2.4G","CheckFreqBand":"5G"}}})");
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"Enable":0}}})"), R"({"SSID":{"i1":{"Enable":1}}})");
  EXPECT_EQ(pending_get_band(), "");
  wifi(R"({"SSID":{"i1":{"CheckFreqBand":"5G","Enable":1}}})", true);
  EXPECT_EQ(pending_set_band(), "") << "a set's band goes with its member too";
  set_pending_get_band(std::string(40, 'x'));
  EXPECT_EQ(pending_get_band().size(), kMaxBandText);
}

TEST_F(Wifi, SecurityModeAndKeyReads) {
  const std::string ap = R"({"AccessPoint":{"i1":{"Security":{"ModeEnabled":"","PreShareKey":""}}}})";
  const auto security = [](const std::string& mode, const std::string& key) {
    return R"({"AccessPoint":{"i1":{"Security":{"ModeEnabled":")" + mode + R"(","PreShareKey":")" + key + R"("}}}})";
  };
  EXPECT_EQ(wifi(ap), security("WPA2PSK", "homegateway24"));
  for (const auto& [encryption, mode, key] : {std::tuple{"NONE", "none", ""}, std::tuple{"wep-open", "WEP", ""},
                                              std::tuple{"WPAPSK", "WPAPSK", "homegateway24"}, std::tuple{"WPA2", "WPA2", ""}}) {
    ASSERT_EQ(cfg_set("wireless.@wifi-iface[0].encryption", encryption), 0);
    EXPECT_EQ(wifi(ap), security(mode, key));
  }
  // A missing key falls back to the first word of /tmp/tmppsk.
  test::write_file("/etc/config/wireless", "config wifi-iface\n\toption encryption 'WPA2PSK'\n\toption ssid 'x'\n");
  test::write_file("/tmp/tmppsk", "fallback-key rest\n");
  EXPECT_EQ(wifi(ap), security("WPA2PSK", "fallback-key"));
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSIDDefault":"","SSID":""}}})"), R"({"SSID":{"i1":{"SSIDDefault":"unknow","SSID":"x"}}})");
}

TEST_F(Wifi, UnreadableEncryptionFailsEveryMember) {
  test::write_file("/etc/config/wireless", "config wifi-iface\n\toption ssid 'x'\n");
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSID":""}}})"), "<-13>");
  test::write_file("/tmp/tmpSSID24G", "from-file\n");
  test::write_file("/etc/config/wireless", "config wifi-iface\n\toption encryption 'NONE'\n");
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSID":""}}})"), R"({"SSID":{"i1":{"SSID":"from-file"}}})");
}

// A key alone switches an open radio to WPA2.
TEST_F(Wifi, KeyWriteSwitchesTheChosenRadioToWpa2) {
  ASSERT_EQ(cfg_set("wireless.@wifi-iface[4].encryption", "NONE"), 0);
  ASSERT_EQ(cfg_set("wireless.@wifi-iface[4].auth", "NONE"), 0);
  wifi(R"({"AccessPoint":{"i1":{"Security":{"CheckFreqBand":"5G","PreShareKey":"k3y"}}}})", true);
  EXPECT_EQ(iface(4, {"encryption", "auth", "WPAPSKkey"}), "WPA2PSK | WPA2PSK | k3y");
  EXPECT_EQ(pending_set_band(), "");
}

// Minutes restart the timer with the hours sent before them, in an earlier
// request here (the guest example shows the commands); a script that did not
// end by itself is no started timer.
TEST_F(Wifi, GuestTimerThatDidNotStartIsAnError) {
  wifi(R"({"X_Halvo_GuestAP":{"Timer":{"Hours":2}}})", true);
  runner_.answer("addGuestWifiBonus.sh 3 5G", ShellResult{-1, true, {}});
  EXPECT_EQ(wifi(R"({"X_Halvo_GuestAP":{"Timer":{"Minutes":5}}})", true), "<-26>");
  EXPECT_EQ(runner_.commands().back(), "/bin/addGuestWifiBonus.sh 3 5G 2:5");
}

// examples/password.batch shows the password read, refused and changed.
TEST_F(Wifi, ConfigPasswordWithoutItsOptionIsUnreadable) {
  test::write_file("/etc/config/system", "config system 'main'\n");
  EXPECT_EQ(test::below({"LANConfigSecurity"}, R"({"ConfigPassword":""})"), "<-13>");
}

}  // namespace
}  // namespace pemo
