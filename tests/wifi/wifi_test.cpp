// Wi-Fi reads and writes against the seeded `wireless` package.
#include "control/wps.h"
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
  static std::string walk(const char* top, const std::string& object, bool set) {
    return test::below({top}, object, set);
  }
  static std::string iface(int position, const char* name) {
    return option("wireless.@wifi-iface[" + std::to_string(position) + "]." + name);
  }
};

TEST_F(Wifi, BandChosenByCheckFreqBandIsConsumedByTheNextMember) {
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"CheckFreqBand":"5G","SSID":""}}})"),
            R"({"SSID":{"i1":{"CheckFreqBand":"5G","SSID":"HomeGateway-5G"}}})");
  EXPECT_EQ(wifi(R"({"SSID":{"i2":{"SSID":""}}})"), R"({"SSID":{"i2":{"SSID":"HomeGateway-2.4G"}}})");
  // Sent after the member, the band waits for the next read, in any request.
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSID":"","CheckFreqBand":"5G"}}})"),
            R"({"SSID":{"i1":{"SSID":"HomeGateway-2.4G","CheckFreqBand":"5G"}}})");
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"Enable":0}}})"), R"({"SSID":{"i1":{"Enable":1}}})");
  EXPECT_EQ(pending_get_band(), "");
  set_pending_get_band(std::string(40, 'x'));
  EXPECT_EQ(pending_get_band().size(), kMaxBandText);
}

TEST_F(Wifi, SecurityModeAndKeyReads) {
  const std::string ap = R"({"AccessPoint":{"i1":{"Security":{"ModeEnabled":"","PreShareKey":""}}}})";
  EXPECT_EQ(wifi(ap), R"({"AccessPoint":{"i1":{"Security":{"ModeEnabled":"WPA2PSK","PreShareKey":"homegateway24"}}}})");
  ASSERT_EQ(cfg_set("wireless.@wifi-iface[0].encryption", "NONE"), 0);
  EXPECT_EQ(wifi(ap), R"({"AccessPoint":{"i1":{"Security":{"ModeEnabled":"none","PreShareKey":""}}}})");
  ASSERT_EQ(cfg_set("wireless.@wifi-iface[0].encryption", "wep-open"), 0);
  EXPECT_EQ(wifi(ap), R"({"AccessPoint":{"i1":{"Security":{"ModeEnabled":"WEP","PreShareKey":""}}}})");
  // A missing key falls back to the first word of /tmp/tmppsk.
  test::write_file("/etc/config/wireless",
                   "config wifi-iface\n\toption encryption 'WPA2PSK'\n\toption ssid 'x'\n");
  test::write_file("/tmp/tmppsk", "fallback-key rest\n");
  EXPECT_EQ(wifi(ap), R"({"AccessPoint":{"i1":{"Security":{"ModeEnabled":"WPA2PSK","PreShareKey":"fallback-key"}}}})");
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSIDDefault":"","SSID":""}}})"),
            R"({"SSID":{"i1":{"SSIDDefault":"unknow","SSID":"x"}}})");
}

TEST_F(Wifi, UnreadableEncryptionFailsEveryMember) {
  test::write_file("/etc/config/wireless", "config wifi-iface\n\toption ssid 'x'\n");
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSID":""}}})"), "<-13>");
  test::write_file("/tmp/tmpSSID24G", "from-file\n");
  test::write_file("/etc/config/wireless", "config wifi-iface\n\toption encryption 'NONE'\n");
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSID":""}}})"), R"({"SSID":{"i1":{"SSID":"from-file"}}})");
}

TEST_F(Wifi, GuestTimerReadsHoursThenMinutesAndRestartsOnMinutes) {
  test::write_file("/tmp/guest_wifi_bonus_remaining_time", "3725\n");
  EXPECT_EQ(wifi(R"({"X_Halvo_GuestAP":{"Timer":{"Minutes":9}}})"),
            R"({"X_Halvo_GuestAP":{"Timer":{"Minutes":0}}})");
  EXPECT_EQ(wifi(R"({"X_Halvo_GuestAP":{"Timer":{"Hours":0,"Minutes":0}}})"),
            R"({"X_Halvo_GuestAP":{"Timer":{"Hours":1,"Minutes":2}}})");
  test::write_file("/tmp/guest_wifi_bonus_remaining_time", "59");
  EXPECT_EQ(wifi(R"({"X_Halvo_GuestAP":{"Timer":{"Hours":5,"Minutes":5}}})"),
            R"({"X_Halvo_GuestAP":{"Timer":{"Hours":0,"Minutes":0}}})");
  wifi(R"({"X_Halvo_GuestAP":{"Timer":{"Hours":2,"Minutes":30}}})", true);
  auto commands = runner_.commands();
  EXPECT_EQ(std::vector<std::string>(commands.end() - 4, commands.end()),
            (std::vector<std::string>{"/bin/removeGuestWifiBonus.sh remove_rule 3 24G",
                                      "/bin/removeGuestWifiBonus.sh remove_rule 3 5G",
                                      "/bin/addGuestWifiBonus.sh 3 24G 2:30",
                                      "/bin/addGuestWifiBonus.sh 3 5G 2:30"}));
  wifi(R"({"X_Halvo_GuestAP":{"Timer":{"Hours":0,"Minutes":0}}})", true);
  EXPECT_EQ(runner_.commands().back(), "/bin/removeGuestWifiBonus.sh remove_rule 3 5G");
}

TEST_F(Wifi, SsidOnBothRadiosGetsTheSuffixAndMarks) {
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSID":"My Net $(id) `x`; 'q'"}}})", true),
            R"({"SSID":{"i1":{"SSID":"My Net $(id) `x`; 'q'"}}})");
  EXPECT_EQ(iface(0, "ssid"), "My Net $(id) `x`; 'q'");
  EXPECT_EQ(iface(4, "ssid"), "My Net $(id) `x`; 'q'.speed");
  EXPECT_EQ(test::read_file("/tmp/wifi24G_Apply"), "ath0\n");
  EXPECT_EQ(test::read_file("/tmp/wifi5G_Apply"), "ath10\n");
  EXPECT_EQ(test::read_file("/tmp/wifi5G_macfilter_Apply"), "ath10\n");
  EXPECT_EQ(option("wps.wps.conf"), "1");
  EXPECT_EQ(option("wps5G.wps.conf"), "1");
  // Nothing reached a shell but the WPS watcher stop of entering "WiFi".
  for (const std::string& command : runner_.commands()) EXPECT_NE(command.find("wps_conf"), std::string::npos);
}

TEST_F(Wifi, KeyWriteSwitchesToWpa2OnTheChosenRadioAndAGuestKeyIsTakenWhole) {
  ASSERT_EQ(cfg_set("wireless.@wifi-iface[4].encryption", "NONE"), 0);
  wifi(R"({"AccessPoint":{"i1":{"Security":{"CheckFreqBand":"5G","ModeEnabled":"WPA2-Personal","PreShareKey":"\"k3y\""}}}})",
       true);
  EXPECT_EQ(iface(4, "encryption"), "WPA2PSK");
  EXPECT_EQ(iface(4, "auth"), "WPA2PSK");
  EXPECT_EQ(iface(4, "WPAPSKkey"), "k3y");
  EXPECT_EQ(iface(0, "WPAPSKkey"), "homegateway24");
  EXPECT_EQ(pending_set_band(), "");
  wifi(R"({"AccessPoint":{"i1":{"Security":{"ModeEnabled":"none"}}}})", true);
  EXPECT_EQ(iface(0, "encryption"), "NONE");
  EXPECT_EQ(iface(4, "auth"), "NONE");
  wifi(R"({"X_Halvo_GuestAP":{"PreShareKey":"\"quoted\" key"}})", true);
  EXPECT_EQ(iface(3, "WPAPSKkey"), "\"quoted\" key");
  EXPECT_EQ(iface(7, "WPAPSKkey"), "\"quoted\" key");
}

TEST_F(Wifi, GuestEnableWakesAnOffRadio) {
  ASSERT_EQ(cfg_set("wireless.@wifi-device[1].disabled", "1"), 0);
  wifi(R"({"X_Halvo_GuestAP":{"Enable":1}})", true);
  EXPECT_EQ(option("wireless.@wifi-device[1].disabled"), "0");
  EXPECT_EQ(iface(3, "disabled"), "0");
  EXPECT_EQ(iface(7, "enable_guest_wlan"), "1");
  EXPECT_EQ(test::read_file("/tmp/wifi5G_Apply"), "ath10\n");
  wifi(R"({"X_Halvo_GuestAP":{"Enable":0}})", true);
  EXPECT_EQ(iface(3, "disabled"), "1");
  EXPECT_EQ(runner_.commands().back(), "/bin/removeGuestWifiBonus.sh remove_rule 3 5G");
}

TEST_F(Wifi, RefusedValues) {
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSID":""}}})", true), "<-21>");
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSID":"\"\""}}})", true), "<-21>");
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSID":")" + std::string(128, 's') + R"("}}})", true), "<-21>");
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"SSID":")" + std::string(122, 's') + R"("}}})", true), "<-21>");
  EXPECT_EQ(iface(0, "ssid"), "HomeGateway-2.4G");
  wifi(R"({"SSID":{"i1":{"CheckFreqBand":"24G","SSID":")" + std::string(127, 's') + R"("}}})", true);
  EXPECT_EQ(iface(0, "ssid"), std::string(127, 's'));
  EXPECT_EQ(wifi(R"({"SSID":{"i1":{"CheckFreqBand":"24G","SSID":""}}})"),
            R"({"SSID":{"i1":{"CheckFreqBand":"24G","SSID":")" + std::string(127, 's') + R"("}}})");
}

TEST_F(Wifi, ConfigPasswordIsStoredWholeAndApplied) {
  const std::string security = R"({"ConfigPassword":"ne\"w pass"})";
  EXPECT_EQ(walk("LANConfigSecurity", security, true), security);
  EXPECT_EQ(option("system.main.pwd"), "ne\"w pass");
  EXPECT_EQ(runner_.commands().back(), "/sbin/uci_apply 'system'");
  EXPECT_EQ(walk("LANConfigSecurity", R"({"ConfigPassword":""})", false), R"({"ConfigPassword":"ne\"w pass"})");
  EXPECT_EQ(walk("LANConfigSecurity", R"({"ConfigPassword":")" + std::string(32, 'p') + R"("})", true), "<-21>");
  test::write_file("/etc/config/system", "config system 'main'\n");
  EXPECT_EQ(walk("LANConfigSecurity", R"({"ConfigPassword":""})", false), "<-13>");
}

TEST_F(Wifi, WpsStartsAndReportsByMarkerPrecedence) {
  EXPECT_EQ(wps_status(), "0");
  EXPECT_EQ(wps_start("2"), 0);
  EXPECT_EQ(runner_.commands(), (std::vector<std::string>{"rm /tmp/pemo_agent_wps",
                                                            "/bin/halvo_WPS_ctrl WPS5G_GUI",
                                                            "touch /tmp/pemo_agent_wps"}));
  EXPECT_EQ(wps_start("7"), 0);
  EXPECT_EQ(runner_.commands().size(), 3u);
  // Later markers win: started 1, success 2, overlap 3, time-out 4.
  for (const auto& [marker, status] : {std::pair{"pemo_agent_wps", "1"}, std::pair{"wps_success", "2"},
                                       std::pair{"pbc_overlap", "3"}, std::pair{"wps_timeout", "4"}}) {
    test::write_file(std::string("/tmp/") + marker, "");
    EXPECT_EQ(wps_status(), status) << marker;
  }
}

}  // namespace
}  // namespace pemo
